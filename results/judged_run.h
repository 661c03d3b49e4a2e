#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "results/expectations.h"
#include "results/run_record.h"

namespace quorle {

/// A check beside what was expected of it.
struct JudgedCheck {
  const CheckEvent* check = nullptr;
  Judgement judgement;
};

/// What is not as it should be in a run and is no verdict of a check: an object left behind, something
/// lost or freed twice, a remount that failed, an end of a handler outside of the checks, a run that was
/// interrupted, cut off or refused; a difference that a search found. A run with one ends with 10 (exit_status.h).
struct Finding {
  std::string id;    ///< of the check or group that it belongs to; empty: of the run
  std::string name;  ///< what reports call it: "left-behind", "complaint", "remount" ...
  std::string text;  ///< one line
  std::size_t place =
      0;  ///< it follows that check of the run; as many as there are: the run itself
};

/// How many checks have a verdict, and how many of them are not what that verdict is otherwise.
struct VerdictCount {
  std::int32_t all = 0;
  std::int32_t known = 0;     ///< known failures
  std::int32_t surprise = 0;  ///< surprise passes
};

/// A run as reports show it. It points into the record.
struct JudgedRun {
  const RunRecord* record = nullptr;
  std::vector<JudgedCheck> checks;  ///< those of the record, in their order
  std::vector<Finding> findings;    ///< in the order of their checks; of the run last
  std::map<Verdict, VerdictCount> counts;
  std::size_t unexpected = 0;  ///< how many checks are not as expected

  /// Whether each check is as expected and there is no finding.
  bool is_fine() const;
};

/// `record`, which must stay where it is, beside what was expected. All texts that come from the record
/// are as it has them; a report shows their control characters.
JudgedRun JudgeRun(const RunRecord& record, const Expectations& expectations);

/// "107 checks: 3 failed (2 known), 74 blocked, 30 passed": the worst first, without what there is none
/// of. "no checks" when that is all; of a search what it did.
std::string CountsLine(const JudgedRun& run);

/// What a report says of a check first: of its diagnostics the first error, else warning, else any, in
/// one line with its class; else why it has its verdict. Empty when there is nothing to say.
std::string HeadLine(const CheckEvent& check);

/// All that is to be said of a check of `run`, a line each: what was expected otherwise; each diagnostic
/// with its class; how a handler ended; why it has its verdict. Empty for one that passed in silence.
std::vector<std::string> DetailLines(const JudgedRun& run, const JudgedCheck& check);

/// Why a check is blocked or has no verdict of its own: "blocked by Lock.X". Empty when it has one.
std::string CauseText(const CheckEvent& check);

/// What the entry that was applied has to say of how the check came out; of a surprise pass the lines of
/// the entry follow. Empty without one.
std::string ExpectationText(const Judgement& judgement);

/// "the handler ended in FSLock(): signal 11 (SIGSEGV)"
std::string EndText(const HandlerEndedEvent& end);

/// The command that runs the check of `id` alone, made from the arguments of its run and quoted for a
/// shell; empty when they are not known.
std::string CommandFor(const RunEvent& run, const std::string& id);

/// What a list of runs calls this one: its file's name without folder and ".jsonl".
std::string LabelOf(const RunRecord& record);

/// What was tested, in one line: device, filesystem and kind of port, as far as they are known.
std::string TargetText(const RunRecord& record);

/// "1 check", "2 checks".
std::string Plural(std::size_t count, const std::string& what);

}  // namespace quorle
