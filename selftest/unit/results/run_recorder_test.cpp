#include "results/run_recorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <iterator>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "results/call_recorder.h"
#include "selftest/support/recorded_run.h"

namespace quorle::selftest {
namespace {

// ---- A catalogue of our own --------------------------------------------------------------------

/// Returns `status` after one call and, when there is one, a text.
template <std::int32_t kStatus>
std::int32_t CallAndReturn(TestContext& ctx, std::int32_t) {
  ctx.IDOS->UnLock({});
  return kStatus;
}

std::int32_t DoNothing(TestContext&, std::int32_t) {
  return kPassed;
}

std::int32_t Warn(TestContext& ctx, std::int32_t) {
  ctx.IDOS->UnLock({});
  ctx.IDOS->Printf("\nWARN: Something is odd.\n");
  return kPassed;
}

std::int32_t AnswerUnknown(TestContext& ctx, std::int32_t) {
  ctx.IDOS->SetIoErr(ERROR_ACTION_NOT_KNOWN);
  return NotImplemented(ctx) ? kFatal : kPassed;
}

std::int32_t FailWithUnknownLookedAt(TestContext& ctx, std::int32_t position) {
  static_cast<void>(AnswerUnknown(ctx, position));
  return kFailed;
}

std::int32_t AskForAName(TestContext& ctx, std::int32_t) {
  ScratchName name;
  return UniqueFile(ctx, name) ? kPassed : kFailed;
}

constexpr SubTest kWays[] = {{"Passes", CallAndReturn<kPassed>},
                             {"Fails", CallAndReturn<kFailed>},
                             {"Warns", Warn},
                             {"DoesNothing", DoNothing},
                             {"LooksAtUnknown", FailWithUnknownLookedAt},
                             {}};
constexpr SubTest kUnknown[] = {{"First", CallAndReturn<kPassed>},
                                {"Second", AnswerUnknown},
                                {"Third", CallAndReturn<kPassed>},
                                {}};
constexpr SubTest kStops[] = {
    {"First", CallAndReturn<kFatal>}, {"Second", CallAndReturn<kPassed>}, {}};
constexpr SubTest kNames[] = {{"Unique", AskForAName}, {}};

constexpr TestGroup kWaysGroup = {.label = "Ways()", .sub_tests = kWays};
constexpr TestGroup kUnknownGroup = {.label = "Unknown()", .sub_tests = kUnknown};
constexpr TestGroup kStopsGroup = {.label = "Stops()", .sub_tests = kStops};
constexpr TestGroup kNamesGroup = {.label = "Names()", .sub_tests = kNames};
constexpr TestEntry kRows[] = {{&kWaysGroup, "Ways"},
                               {&kUnknownGroup, "Unknown"},
                               {&kStopsGroup, "Stops"},
                               {&kNamesGroup, "Names"},
                               {nullptr, ""}};

RecordedRun RecordRows(const std::string& words = "", const std::string& select = "") {
  std::vector<std::string> line = {"RAM:"};
  if (!words.empty()) line.push_back(words);
  const Catalogue catalogue = {.name = "standard", .entries = kRows};
  return Record(line, {.rules = "", .select = select, .catalogue = &catalogue});
}

std::string GroupBrief(const RecordedRun& run, const std::string& id) {
  for (const GroupEvent& group : run.record.groups) {
    if (group.id == id) return std::string(NameOf(group.verdict));
  }
  return "none";
}

TEST(RunRecorderTest, TheVerdictFollowsFromWhatACheckReturnsPrintsAndCalls) {
  const RecordedRun run = RecordRows();
  EXPECT_EQ(Brief(run.Find("Ways.Passes")), "pass");
  EXPECT_EQ(Brief(run.Find("Ways.Fails")), "fail");
  EXPECT_EQ(run.Find("Ways.Fails").result, 10);
  EXPECT_EQ(Brief(run.Find("Ways.Warns")), "warn");
  EXPECT_EQ(Brief(run.Find("Ways.DoesNothing")), "skipped: nothing to do");
  EXPECT_EQ(Brief(run.Find("Ways.LooksAtUnknown")), "fail")
      << "only what returns 20 ends its group";
  EXPECT_EQ(GroupBrief(run, "Ways"), "fail");
}

TEST(RunRecorderTest, WhatDoesNotRunAfterAnUnknownOperationIsUnsupportedToo) {
  const RecordedRun run = RecordRows();
  EXPECT_EQ(Brief(run.Find("Unknown.First")), "pass");
  EXPECT_EQ(Brief(run.Find("Unknown.Second")), "unsupported");
  EXPECT_EQ(Brief(run.Find("Unknown.Third")), "unsupported by Unknown.Second");
  EXPECT_EQ(GroupBrief(run, "Unknown"), "unsupported");
}

TEST(RunRecorderTest, WhatDoesNotRunAfterAFatalFailureIsSkipped) {
  const RecordedRun run = RecordRows();
  EXPECT_EQ(Brief(run.Find("Stops.First")), "fail");
  EXPECT_EQ(Brief(run.Find("Stops.Second")), "skipped: the group ended by Stops.First");
}

TEST(RunRecorderTest, TheEndCountsTheVerdictsOfAllChecks) {
  const RecordedRun run = RecordRows();
  ASSERT_TRUE(run.record.end);
  EXPECT_EQ(run.record.end->result, 10);
  const std::map<Verdict, std::int32_t> counts = {{Verdict::kPass, 3},
                                                  {Verdict::kFail, 3},
                                                  {Verdict::kWarn, 1},
                                                  {Verdict::kUnsupported, 2},
                                                  {Verdict::kSkipped, 2}};
  EXPECT_EQ(run.record.end->checks, counts);
  EXPECT_EQ(run.record.checks.size(), 11U);
}

TEST(RunRecorderTest, RowsThatWereNotAskedForAreNotSelected) {
  const RecordedRun run = RecordRows("TN=2");
  EXPECT_EQ(Brief(run.Find("Ways.Passes")), "skipped: not selected");
  EXPECT_EQ(Brief(run.Find("Unknown.First")), "pass");
  EXPECT_EQ(Brief(run.Find("Names.Unique")), "skipped: not selected");
  ASSERT_EQ(run.record.groups.size(), 1U);
  EXPECT_EQ(run.record.groups[0].id, "Unknown");
  EXPECT_EQ(run.record.groups[0].row, 2);
}

TEST(RunRecorderTest, OfAGroupInPartSelectedTheChosenChecksRun) {
  const RecordedRun run = RecordRows("", "Ways.Passes,Ways.Warns,Names");
  EXPECT_EQ(Brief(run.Find("Ways.Passes")), "pass");
  EXPECT_EQ(Brief(run.Find("Ways.Fails")), "skipped: not selected");
  EXPECT_EQ(Brief(run.Find("Ways.Warns")), "warn");
  EXPECT_EQ(run.Find("Ways.Warns").number, 3) << "its number in the whole group";
  EXPECT_EQ(Brief(run.Find("Stops.First")), "skipped: not selected");
  EXPECT_EQ(Brief(run.Find("Names.Unique")), "pass");
  EXPECT_EQ(run.result, 0);
  EXPECT_NE(
      run.output.find("\nWARN: Something is odd.\nWays() tests passed.\nNames() tests passed.\n"),
      std::string::npos)
      << run.output;
}

TEST(RunRecorderTest, ARunThatAbortsLeavesTheRestWithoutAVerdict) {
  const RecordedRun run = RecordRows("AOE");
  EXPECT_EQ(Brief(run.Find("Ways.Fails")), "fail");
  EXPECT_EQ(Brief(run.Find("Unknown.First")), "skipped: the run ended");
  EXPECT_EQ(Brief(run.Find("Names.Unique")), "skipped: the run ended");
}

TEST(RunRecorderTest, ARunThatIsRefusedHasNoChecks) {
  const RecordedRun run = RecordRows("TN=9");
  EXPECT_EQ(run.result, 20);
  EXPECT_FALSE(run.record.target.has_value());
  EXPECT_TRUE(run.record.checks.empty());
  ASSERT_TRUE(run.record.end);
  EXPECT_EQ(run.record.end->result, 20);
}

// ---- The catalogue -----------------------------------------------------------------------------

TEST(RunRecorderTest, TheTargetIsWhatTheTesterFoundOut) {
  const RecordedRun run = Record({"--mount", "DH0=ram,dostype=0x444F5307", "DH0:", "TN=1"});
  ASSERT_TRUE(run.record.target);
  EXPECT_EQ(run.record.target->device, "DH0:");
  EXPECT_EQ(run.record.target->volume, "DH0 Disk");
  EXPECT_EQ(run.record.target->dostype, "0x444F5307");
}

TEST(RunRecorderTest, TheCallsOfACheckAreItsLinesOfTheTrace) {
  const RecordedRun run = Record({"--mount", "DH0=ram,deviate=delete-open-file", "DH0:", "NI"});
  ASSERT_GT(run.record.checks.size(), 100U);
  for (const CheckEvent& check : run.record.checks) {
    if (check.verdict == Verdict::kSkipped) continue;
    ASSERT_GE(check.calls.first, 1) << check.id;
    ASSERT_LE(check.calls.last, static_cast<std::int64_t>(run.trace.size())) << check.id;
  }
  const CheckEvent& failed = run.Find("Delete.OpenFile");
  const auto line = [&](std::int64_t number) {
    return run.trace[static_cast<std::size_t>(number - 1)];
  };
  std::string calls;
  for (std::int64_t i = failed.calls.first; i <= failed.calls.last; ++i) calls += line(i) + "\n";
  EXPECT_NE(calls.find(R"({"op":"Delete","args":["FILE01"],"result":true)"), std::string::npos)
      << calls;
  EXPECT_NE(calls.find("as it was in use."), std::string::npos) << "texts are lines as well";
  EXPECT_EQ(line(failed.calls.last).find("Output"), std::string::npos);
  // The next check begins right behind it.
  EXPECT_EQ(run.Find("Delete.ProtectedFile").calls.first, failed.calls.last + 1);
}

TEST(RunRecorderTest, ADiagnosticHasItsClassStyleAndCode) {
  const RecordedRun run =
      Record({"RAM:", "TN=24"}, {.rules = "2/Lock(FILE01,EXCLUSIVE)#1 fail 205"});
  const CheckEvent& check = run.Find("Lock.ExclusiveOverShared");
  ASSERT_EQ(check.diagnostics.size(), 1U);
  const Diagnostic& diagnostic = check.diagnostics[0];
  EXPECT_EQ(diagnostic.type, DiagnosticClass::kError);
  EXPECT_TRUE(diagnostic.bold);
  EXPECT_EQ(diagnostic.code, 205);
  EXPECT_EQ(
      diagnostic.text,
      "Lock(\"FILE01\",EXCLUSIVE_LOCK) failed ok, but the error code was wrong; #205 object not "
      "found instead, the error code should have been; #202 object is in use.");
}

TEST(RunRecorderTest, ObjectsInTheWayBlockACheck) {
  const RecordedRun run = Record({"RAM:", "TN=22"}, {.rules = "1/Lock(*,SHARED) succeed"});
  const CheckEvent& check = run.Find("GetFileSize.SizeAfterWrite");
  EXPECT_EQ(Brief(check), "blocked");
  ASSERT_EQ(check.objects.size(), 98U);
  EXPECT_EQ(check.objects.front(), "FILE01");
  EXPECT_EQ(check.objects.back(), "FILE98");
  EXPECT_EQ(check.result, 10);
}

TEST(RunRecorderTest, NamesThatCannotBeLookedForBlockACheckWithoutObjects) {
  const RecordedRun run = Record({"RAM:", "TN=22"}, {.rules = "1/Lock(*,SHARED) fail 225"});
  const CheckEvent& check = run.Find("GetFileSize.SizeAfterWrite");
  EXPECT_EQ(Brief(check), "blocked");
  EXPECT_TRUE(check.objects.empty());
}

TEST(RunRecorderTest, AnObjectThatStaysIsLeftBehind) {
  const RecordedRun run = Record({"RAM:", "TN=22"}, {.rules = "1/Delete(FILE01) succeed"});
  ASSERT_FALSE(run.record.left_behind.empty());
  EXPECT_EQ(run.record.left_behind[0].id, "GetFileSize.SizeAfterWrite");
  EXPECT_EQ(run.record.left_behind[0].object, "FILE01");
}

// ---- Handlers that end -------------------------------------------------------------------------

/// The recorder that the sub-tests below report the end of their handler to.
RunRecorder*& TheRecorder() {
  static RunRecorder* recorder = nullptr;
  return recorder;
}

std::int32_t EndTheHandler(TestContext& ctx, std::int32_t) {
  ctx.IDOS->UnLock({});
  TheRecorder()->HandlerEnded("FSLock", "signal 11 (SIGSEGV)", true);
  return kPassed;
}

std::int32_t EndTheHandlerForGood(TestContext& ctx, std::int32_t) {
  ctx.IDOS->UnLock({});
  TheRecorder()->HandlerEnded("FSLock", "exited with status 3", false);
  return kFailed;
}

std::int32_t FailToRestart(TestContext& ctx, std::int32_t) {
  ctx.IDOS->UnLock({});
  TheRecorder()->RestartFailed();
  return kFailed;
}

class KeptEvents final : public EventSink {
 public:
  void Take(Event event) override { Append(std::move(event), record); }

  RunRecord record;
};

/// Runs `rows` and returns what became of the checks, by id.
RunRecord RunWithHandlerEnds(const TestEntry* rows) {
  const Catalogue catalogue = {.name = "standard", .entries = rows};
  const Selection everything(catalogue);
  KeptEvents events;
  RunRecorder recorder(everything, events);
  TheRecorder() = &recorder;
  TestBench bench({"RAM:"});
  CallRecorder calls(bench.dos(), recorder);
  recorder.Begin({});
  recorder.End(bench.Run(catalogue, recorder, calls));
  TheRecorder() = nullptr;
  return events.record;
}

std::vector<std::string> Briefs(const RunRecord& record) {
  std::vector<std::string> briefs;
  std::transform(record.checks.begin(), record.checks.end(), std::back_inserter(briefs),
                 [](const CheckEvent& check) { return check.id + ": " + Brief(check); });
  return briefs;
}

TEST(RunRecorderTest, AHandlerThatEndedBlocksTheRestOfItsGroup) {
  static constexpr SubTest kFirst[] = {{"Before", CallAndReturn<kPassed>},
                                       {"Ends", EndTheHandler},
                                       {"After", CallAndReturn<kFailed>},
                                       {"Also", CallAndReturn<kPassed>},
                                       {}};
  static constexpr SubTest kSecond[] = {{"Next", CallAndReturn<kPassed>}, {}};
  static constexpr TestGroup kFirstGroup = {.label = "A()", .sub_tests = kFirst};
  static constexpr TestGroup kSecondGroup = {.label = "B()", .sub_tests = kSecond};
  static constexpr TestEntry kTwo[] = {{&kFirstGroup, "A"}, {&kSecondGroup, "B"}, {nullptr, ""}};
  const RunRecord record = RunWithHandlerEnds(kTwo);
  EXPECT_EQ(Briefs(record), (std::vector<std::string>{"A.Before: pass", "A.Ends: fail",
                                                      "A.After: blocked by A.Ends",
                                                      "A.Also: blocked by A.Ends", "B.Next: pass"}))
      << "a handler that ends fails its check, whatever the check returns";
  ASSERT_EQ(record.handler_ends.size(), 1U);
  EXPECT_EQ(record.handler_ends[0].id, "A.Ends");
  EXPECT_EQ(record.handler_ends[0].call, "FSLock");
  EXPECT_EQ(record.handler_ends[0].how, "signal 11 (SIGSEGV)");
  EXPECT_TRUE(record.handler_ends[0].restarted);
}

TEST(RunRecorderTest, AHandlerThatDoesNotComeBackBlocksEveryGroup) {
  static constexpr SubTest kFirst[] = {{"Ends", EndTheHandlerForGood}, {}};
  static constexpr SubTest kSecond[] = {{"Next", CallAndReturn<kFailed>}, {}};
  static constexpr TestGroup kFirstGroup = {.label = "A()", .sub_tests = kFirst};
  static constexpr TestGroup kSecondGroup = {.label = "B()", .sub_tests = kSecond};
  static constexpr TestEntry kTwo[] = {{&kFirstGroup, "A"}, {&kSecondGroup, "B"}, {nullptr, ""}};
  EXPECT_EQ(Briefs(RunWithHandlerEnds(kTwo)),
            (std::vector<std::string>{"A.Ends: fail", "B.Next: blocked by A.Ends"}));
}

/// Mounts the handler again behind each group, and fails to behind the one called `last`.
class RemountingListener final : public RunListener {
 public:
  RemountingListener(RunRecorder& recorder, std::string last)
      : recorder_(recorder), last_(std::move(last)) {}

  void OnRunStart(const TestContext& ctx, std::int32_t first, std::int32_t end) override {
    recorder_.OnRunStart(ctx, first, end);
  }
  void OnGroupStart(const TestEntry& entry, std::int32_t row) override {
    begun_ = std::chrono::steady_clock::now();
    recorder_.OnGroupStart(entry, row);
  }
  void OnSubTestStart(const SubTest& sub_test, std::int32_t number) override {
    recorder_.OnSubTestStart(sub_test, number);
  }
  void OnSubTestEnd(const SubTest& sub_test, std::int32_t status) override {
    recorder_.OnSubTestEnd(sub_test, status);
  }
  void OnGroupEnd(const TestEntry& entry, std::int32_t result) override {
    const std::string group(IdOf(*entry.group));
    recorder_.BeginRemount();
    const auto took = std::chrono::steady_clock::now() - begun_;
    times.push_back(std::chrono::ceil<std::chrono::microseconds>(took).count());
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    const bool fails = group == last_;
    if (fails) {
      recorder_.HandlerIsGone();
    } else {
      recorder_.HandlerIsBack();
    }
    recorder_.EndRemount(group, !fails, fails ? "it does not mount" : "");
    recorder_.OnGroupEnd(entry, result);
  }

  std::vector<std::int64_t> times;  ///< of the groups, in microseconds

 private:
  RunRecorder& recorder_;
  std::string last_;
  std::chrono::steady_clock::time_point begun_;
};

TEST(RunRecorderTest, AHandlerThatIsMountedAgainIsBackAndOneThatIsNotBlocksTheRest) {
  static constexpr SubTest kFirst[] = {{"Ends", EndTheHandlerForGood}, {}};
  static constexpr SubTest kSecond[] = {{"Next", CallAndReturn<kPassed>}, {}};
  static constexpr SubTest kThird[] = {{"Last", CallAndReturn<kFailed>}, {}};
  static constexpr TestGroup kFirstGroup = {.label = "A()", .sub_tests = kFirst};
  static constexpr TestGroup kSecondGroup = {.label = "B()", .sub_tests = kSecond};
  static constexpr TestGroup kThirdGroup = {.label = "C()", .sub_tests = kThird};
  static constexpr TestEntry kThree[] = {
      {&kFirstGroup, "A"}, {&kSecondGroup, "B"}, {&kThirdGroup, "C"}, {nullptr, ""}};
  const Catalogue catalogue = {.name = "standard", .entries = kThree};
  const Selection everything(catalogue);
  KeptEvents events;
  RunRecorder recorder(everything, events);
  TheRecorder() = &recorder;
  TestBench bench({"RAM:"});
  CallRecorder calls(bench.dos(), recorder);
  RemountingListener listener(recorder, "B");
  recorder.Begin({});
  recorder.End(bench.Run(catalogue, listener, calls));
  TheRecorder() = nullptr;
  EXPECT_EQ(Briefs(events.record),
            (std::vector<std::string>{"A.Ends: fail", "B.Next: pass", "C.Last: blocked by B"}));
  ASSERT_EQ(events.record.remounts.size(), 3U);
  EXPECT_TRUE(events.record.remounts[0].ok);
  EXPECT_EQ(events.record.remounts[1].id, "B");
  EXPECT_EQ(events.record.remounts[1].text, "it does not mount");
  EXPECT_FALSE(events.record.remounts[1].ok);
  ASSERT_EQ(events.record.groups.size(), 3U);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_LE(events.record.groups[i].us, listener.times[i])
        << "what came behind it does not count";
  }
}

/// The calls of a handler that ended for good take the rest of the time that its group has.
std::int32_t EndForGoodAndTakeLong(TestContext& ctx, std::int32_t position) {
  const std::int32_t status = EndTheHandlerForGood(ctx, position);
  TheRecorder()->HandlerEnded("", "took more than 1 second", true);
  return status;
}

TEST(RunRecorderTest, AHandlerThatEndedForGoodDoesNotComeBackAfterALimit) {
  static constexpr SubTest kFirst[] = {
      {"Ends", EndForGoodAndTakeLong}, {"After", EndTheHandler}, {}};
  static constexpr SubTest kSecond[] = {{"Next", CallAndReturn<kFailed>}, {}};
  static constexpr TestGroup kFirstGroup = {.label = "A()", .sub_tests = kFirst};
  static constexpr TestGroup kSecondGroup = {.label = "B()", .sub_tests = kSecond};
  static constexpr TestEntry kTwo[] = {{&kFirstGroup, "A"}, {&kSecondGroup, "B"}, {nullptr, ""}};
  EXPECT_EQ(Briefs(RunWithHandlerEnds(kTwo)),
            (std::vector<std::string>{"A.Ends: fail", "A.After: blocked by A.Ends",
                                      "B.Next: blocked by A.Ends"}));
}

TEST(RunRecorderTest, ARestartThatFailsBlocksAsBefore) {
  static constexpr SubTest kFirst[] = {{"Ends", EndTheHandler}, {}};
  static constexpr SubTest kSecond[] = {
      {"Next", FailToRestart}, {"Later", CallAndReturn<kFailed>}, {}};
  static constexpr TestGroup kFirstGroup = {.label = "A()", .sub_tests = kFirst};
  static constexpr TestGroup kSecondGroup = {.label = "B()", .sub_tests = kSecond};
  static constexpr TestEntry kTwo[] = {{&kFirstGroup, "A"}, {&kSecondGroup, "B"}, {nullptr, ""}};
  EXPECT_EQ(Briefs(RunWithHandlerEnds(kTwo)),
            (std::vector<std::string>{"A.Ends: fail", "B.Next: blocked by A.Ends",
                                      "B.Later: blocked by A.Ends"}));
}

}  // namespace
}  // namespace quorle::selftest
