#include "results/compare_runs.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <map>
#include <set>
#include <string_view>
#include <utility>

namespace quorle {
namespace {

/// How a check came out in the runs of a file.
struct ComparedCheck {
  Verdict verdict = Verdict::kSkipped;
  std::set<std::int32_t> codes;
  std::string why;  ///< it was skipped
};

/// What happened beside the checks: a text for people by what is compared.
using Troubles = std::map<std::pair<std::string, std::string>, std::string>;

/// The runs of a file as one.
struct ComparedRuns {
  std::vector<std::string> ids;  ///< in the order of the runs
  std::map<std::string, ComparedCheck> checks;
  Troubles troubles;
  bool was_cut_off = false;
  bool was_refused = false;
};

std::set<std::int32_t> CodesOf(const CheckEvent& check) {
  std::set<std::int32_t> codes;
  for (const Diagnostic& diagnostic : check.diagnostics) {
    const bool asserts =
        diagnostic.type == DiagnosticClass::kError || diagnostic.type == DiagnosticClass::kWarn;
    if (asserts && diagnostic.code != 0) codes.insert(diagnostic.code);
  }
  return codes;
}

void AddCheck(const CheckEvent& check, ComparedRuns& summary) {
  const auto [place, is_new] = summary.checks.try_emplace(check.id);
  ComparedCheck& outcome = place->second;
  if (is_new) summary.ids.push_back(check.id);
  if (!is_new && check.verdict < outcome.verdict) return;
  if (is_new || check.verdict > outcome.verdict) {
    outcome = {.verdict = check.verdict, .codes = {}, .why = check.why};
  }
  outcome.codes.merge(CodesOf(check));
}

void AddTroubles(const RunRecord& run, Troubles& troubles) {
  for (const HandlerEndedEvent& end : run.handler_ends) {
    troubles[{"handler-ended", end.id}] =
        (end.id.empty() ? "outside of the tests" : end.id) + ": the handler ended: " + end.how;
  }
  for (const LeftBehindEvent& left : run.left_behind) {
    troubles[{"left-behind", left.id}] = left.id + ": left behind: " + left.object;
  }
  for (const ComplaintEvent& complaint : run.complaints) {
    troubles[{"complaint", complaint.id}] = complaint.id + ": " + complaint.text;
  }
  for (const RemountEvent& remount : run.remounts) {
    if (!remount.ok) troubles[{"remount", remount.id}] = remount.id + ": " + remount.text;
  }
}

ComparedRuns Merge(const std::vector<RunRecord>& runs) {
  ComparedRuns summary;
  for (const RunRecord& run : runs) {
    for (const CheckEvent& check : run.checks) AddCheck(check, summary);
    AddTroubles(run, summary.troubles);
    summary.was_cut_off = summary.was_cut_off || !run.end;
    summary.was_refused = summary.was_refused || run.was_refused();
  }
  return summary;
}

std::string ShownCheck(const ComparedCheck& outcome) {
  std::string text(NameOf(outcome.verdict));
  for (const std::int32_t code : outcome.codes) text += " " + std::to_string(code);
  if (!outcome.why.empty()) text += " (" + outcome.why + ")";
  return text;
}

bool IsFailure(Verdict verdict) {
  return verdict >= Verdict::kUnsupported;
}

/// The type of a change between two verdicts that differ.
CheckChange::Type TypeOf(const ComparedCheck& before, const ComparedCheck& now) {
  using Type = CheckChange::Type;
  if (now.verdict == Verdict::kSkipped) {
    const bool was_lost = now.why == kRunEnded || now.why == kGroupEnded;
    return was_lost ? Type::kLost : Type::kSkipped;
  }
  if (IsFailure(now.verdict) && !IsFailure(before.verdict)) return Type::kNewFailure;
  if (before.verdict == Verdict::kSkipped) return Type::kTried;
  if (IsFailure(before.verdict) && !IsFailure(now.verdict)) return Type::kNewPass;
  return now.verdict > before.verdict ? Type::kWorse : Type::kBetter;
}

void CompareCheck(const std::string& id, const ComparedRuns& before, const ComparedRuns& now,
                  std::vector<CheckChange>& changes) {
  using Type = CheckChange::Type;
  const auto old_one = before.checks.find(id);
  const auto new_one = now.checks.find(id);
  if (old_one == before.checks.end()) {
    const bool is_failure = IsFailure(new_one->second.verdict);
    changes.push_back({is_failure ? Type::kNewFailure : Type::kAdded, id,
                       "not there -> " + ShownCheck(new_one->second)});
    return;
  }
  const ComparedCheck& was = old_one->second;
  if (new_one == now.checks.end()) {
    const bool had_verdict = was.verdict != Verdict::kSkipped;
    const bool ended_early = now.was_cut_off || now.was_refused;
    const Type type = ended_early && had_verdict ? Type::kLost : Type::kRemoved;
    changes.push_back({type, id, ShownCheck(was) + " -> not there"});
    return;
  }
  const ComparedCheck& is = new_one->second;
  if (was.verdict == is.verdict && was.codes == is.codes) return;
  const Type type = was.verdict == is.verdict ? Type::kNewCode : TypeOf(was, is);
  changes.push_back({type, id, ShownCheck(was) + " -> " + ShownCheck(is)});
}

/// Adds that runs ended early, "cut off", which is a trouble where it is new.
void CompareEnds(bool before, bool now, const std::string& how, RunComparison& comparison) {
  if (before) comparison.remarks.push_back("the old run was " + how);
  if (now) {
    (before ? comparison.remarks : comparison.troubles).push_back("the new run was " + how);
  }
}

constexpr std::size_t kTypes = static_cast<std::size_t>(CheckChange::Type::kRemoved) + 1;
constexpr std::array<std::string_view, kTypes> kHeadings = {
    "new failures", "worse",       "not reached", "new passes", "better",
    "other codes",  "skipped now", "tried now",   "new checks", "removed checks"};

void AppendList(std::string_view heading, const std::vector<std::string>& lines,
                std::string& text) {
  if (lines.empty()) return;
  text += std::string(heading) + " (" + std::to_string(lines.size()) + "):\n";
  for (const std::string& line : lines) text += "  " + line + "\n";
}

}  // namespace

bool RunComparison::is_worse() const {
  return !troubles.empty() ||
         std::any_of(changes.begin(), changes.end(),
                     [](const CheckChange& change) { return change.is_worse(); });
}

RunComparison CompareRuns(const std::vector<RunRecord>& old_runs,
                          const std::vector<RunRecord>& new_runs) {
  const ComparedRuns before = Merge(old_runs);
  const ComparedRuns now = Merge(new_runs);
  RunComparison comparison;
  for (const std::string& id : now.ids) CompareCheck(id, before, now, comparison.changes);
  for (const std::string& id : before.ids) {
    if (!now.checks.contains(id)) CompareCheck(id, before, now, comparison.changes);
  }
  CompareEnds(before.was_cut_off, now.was_cut_off, "cut off", comparison);
  CompareEnds(before.was_refused, now.was_refused, "refused", comparison);
  for (const auto& [what, text] : now.troubles) {
    if (!before.troubles.contains(what)) comparison.troubles.push_back(text);
  }
  return comparison;
}

std::string ToText(const RunComparison& comparison) {
  std::array<std::vector<std::string>, kTypes> lines;
  for (const CheckChange& change : comparison.changes) {
    lines.at(static_cast<std::size_t>(change.type)).push_back(change.id + ": " + change.text);
  }
  std::string text;
  for (const std::string& remark : comparison.remarks) text += remark + "\n";
  AppendList("new troubles", comparison.troubles, text);
  for (std::size_t i = 0; i < kTypes; ++i) AppendList(kHeadings.at(i), lines.at(i), text);
  if (comparison.is_worse()) return text + "Something got worse.\n";
  return text + (comparison.changes.empty() ? "No check changed.\n" : "Nothing got worse.\n");
}

}  // namespace quorle
