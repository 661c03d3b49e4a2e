#pragma once

#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "harness/catalogue.h"
#include "harness/context.h"
#include "harness/run_listener.h"
#include "hosted/calls/port_type.h"

namespace quorle {
class CallHook;
class DosInterface;
class FurtherDosInterface;
class Machine;
}  // namespace quorle

namespace quorle::selftest {

/// A machine with the tester on it, in this process: Quorle's platform on Linux with RAM: mounted,
/// over it the layer of fault rules, over that the call trace. What the program prints is kept.
class TestBench {
 public:
  /// `words` are the host options and the command line, as a shell hands them over. Waits are over
  /// at once. With `port` every volume has a port of that kind, whatever the words say. Throws
  /// std::runtime_error when the words or the rules cannot be read.
  explicit TestBench(const std::vector<std::string>& words, const std::string& rules = "",
                     std::optional<PortType> port = {});
  ~TestBench();
  TestBench(const TestBench&) = delete;
  TestBench& operator=(const TestBench&) = delete;

  /// What the words ask for: a catalogue, or what they select of it. "all" is the first alone.
  const Catalogue& catalogue() const;

  /// One run of the tester; returns the process result. Rules count from 0 in every run.
  std::int32_t Run();
  /// The same; `listener` hears of each group and sub-test.
  std::int32_t Run(RunListener& listener);
  /// The same of other tests.
  std::int32_t Run(const Catalogue& catalogue, RunListener& listener);
  /// The same with `hook` around every call, over dos().
  std::int32_t Run(const Catalogue& catalogue, RunListener& listener, CallHook& hook);
  /// The same for a tester that is not in this program: the platform as it is at the start of a run.
  ExecInterface& Begin();
  /// From now on rules misbehave at the calls at which they did in the last run of `other`: a tester
  /// that is not in this program does not say in which sub-test it is.
  void TakeRulesFrom(const TestBench& other);

  /// A context as the tests get it, with the target's root as current directory, for calling a
  /// helper of the harness by itself. What the opening printed and traced is forgotten.
  TestContext& Context();

  /// What was printed since the last time.
  std::string TakeOutput();
  /// What went to standard error since the last time.
  std::string TakeErrors();
  /// The calls since the last time, one object each.
  std::vector<nlohmann::json> TakeTrace();
  /// The same as the lines that a trace file holds, without their line breaks.
  std::vector<std::string> TakeTraceLines();
  /// The first handle that the last run released and did not hold, or an empty text.
  std::string SecondRelease();
  /// From now on traces show no data that a call read.
  void LeaveOutData();

  /// From now on no trace is kept.
  void LeaveOutTrace();

  /// Replaces the rules, which count from 0.
  void SetRules(const std::string& rules);
  /// The first rule that has not fired, as its operation's name; empty when all have.
  std::string UnusedRule() const;
  /// Everything on the mounted volumes, one line an object: path and attributes, dates left out. The
  /// root's own protection, comment, owner and group, which some tests overwrite, are left out too.
  std::string Volumes();
  /// What a program still holds: empty, or one line that says it. `records` false: examine records
  /// do not count, which some sub-tests are meant to leave.
  std::string StillOpen(bool records = true) const;

  Machine& machine();
  /// What the tester calls: above the rules and the trace.
  DosInterface& dos();
  FurtherDosInterface& further();

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

/// The operations' names of a trace, in order, blanks between them; Output is left out.
std::string Operations(const std::vector<nlohmann::json>& trace);

/// One call of a trace as text: `Lock("FILE01",-2)=null #205`.
std::string CallText(const nlohmann::json& call);

}  // namespace quorle::selftest
