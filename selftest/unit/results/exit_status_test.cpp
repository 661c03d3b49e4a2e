#include "results/exit_status.h"

#include <gtest/gtest.h>

#include "selftest/unit/results/results_fixture.h"

namespace quorle::selftest {
namespace {

const Expectations& KnownFailure() {
  static const Expectations expectations = [] {
    Expectations read;
    std::string problem;
    EXPECT_TRUE(read.Read("quorle.toml",
                          "[[expect]]\ncheck = \"Lock.*\"\nverdict = \"fail\"\nreason = \"r\"\n",
                          AllChecks(), problem))
        << problem;
    return read;
  }();
  return expectations;
}

/// A run that is as KnownFailure() expects it.
RunRecord Known() {
  return RunOf({CheckOf("Lock.MissingObject", Verdict::kFail),
                CheckOf("Open.MissingFile", Verdict::kPass),
                CheckOf("Open.EmptyNameRelativeToFile", Verdict::kSkipped, 0, "not selected")});
}

TEST(ExitStatusTest, WithoutExpectationsItIsTheResultOfTheTester) {
  EXPECT_EQ(ExitStatus(RunOf({CheckOf("Lock.MissingObject", Verdict::kPass)}), nullptr), 0);
  EXPECT_EQ(ExitStatus(Known(), nullptr), 10);
}

TEST(ExitStatusTest, KnownFailuresAreFine) {
  EXPECT_EQ(ExitStatus(Known(), &KnownFailure()), 0);
}

TEST(ExitStatusTest, ACheckThatIsNotAsExpectedGives10) {
  RunRecord run = Known();
  run.checks[1].verdict = Verdict::kFail;
  EXPECT_EQ(ExitStatus(run, &KnownFailure()), 10);
  run = Known();
  run.checks[1].verdict = Verdict::kBlocked;
  EXPECT_EQ(ExitStatus(run, &KnownFailure()), 10);
}

TEST(ExitStatusTest, ASurprisePassGives10) {
  RunRecord run = Known();
  run.checks[0].verdict = Verdict::kPass;
  run.end->result = 0;
  EXPECT_EQ(ExitStatus(run, &KnownFailure()), 10);
  EXPECT_EQ(ExitStatus(run, nullptr), 0);
}

TEST(ExitStatusTest, ARefusedRunGives20) {
  RunRecord run = RunOf({});
  run.end->result = 20;
  EXPECT_EQ(ExitStatus(run, nullptr), 20);
  EXPECT_EQ(ExitStatus(run, &KnownFailure()), 20);
}

/// Runs that are fine but for what `spoil` does; with and without expectations they give 10.
template <class Spoil>
void ExpectSpoiled(const Spoil& spoil) {
  RunRecord known = Known();
  spoil(known);
  EXPECT_EQ(ExitStatus(known, &KnownFailure()), 10);
  RunRecord clean = RunOf({CheckOf("Open.MissingFile", Verdict::kPass)});
  spoil(clean);
  EXPECT_EQ(ExitStatus(clean, nullptr), 10);
}

TEST(ExitStatusTest, ARunThatWasCutOffGives10) {
  ExpectSpoiled([](RunRecord& run) { run.end.reset(); });
}

TEST(ExitStatusTest, ASelectedCheckWithoutAVerdictGives10) {
  ExpectSpoiled([](RunRecord& run) {
    run.checks.push_back(CheckOf("Write.ToFile", Verdict::kSkipped, 0, "the run ended"));
  });
}

TEST(ExitStatusTest, ACheckThatHadNothingToDoIsFine) {
  RunRecord run = Known();
  run.checks.push_back(CheckOf("Write.ToFile", Verdict::kSkipped, 0, "nothing to do"));
  EXPECT_EQ(ExitStatus(run, &KnownFailure()), 0);
}

TEST(ExitStatusTest, WhatTheHandlerLostGives10) {
  ExpectSpoiled(
      [](RunRecord& run) { run.complaints.push_back({.id = "Lock.MissingObject", .text = "t"}); });
}

TEST(ExitStatusTest, AnObjectThatWasLeftBehindGives10) {
  ExpectSpoiled([](RunRecord& run) {
    run.left_behind.push_back({.id = "Lock.MissingObject", .object = "FILE01", .code = 0});
  });
}

TEST(ExitStatusTest, AFailedRemountGives10) {
  ExpectSpoiled(
      [](RunRecord& run) { run.remounts.push_back({.id = "Lock", .ok = false, .text = "t"}); });
  RunRecord run = Known();
  run.remounts.push_back({.id = "Lock", .ok = true, .text = {}});
  EXPECT_EQ(ExitStatus(run, &KnownFailure()), 0);
}

TEST(ExitStatusTest, AHandlerThatEndedInACheckIsThatChecksFailure) {
  RunRecord run = Known();
  run.handler_ends.push_back({.id = "Lock.MissingObject",
                              .call = "FSLock",
                              .how = "signal 11 (SIGSEGV)",
                              .restarted = true});
  EXPECT_EQ(ExitStatus(run, &KnownFailure()), 0);
}

TEST(ExitStatusTest, WithoutExpectationsAHandlerThatEndedDidNotPass) {
  RunRecord run = RunOf({CheckOf("Lock.MissingObject", Verdict::kFail)});
  run.end->result = 0;
  run.handler_ends.push_back(
      {.id = "Lock.MissingObject", .call = "FSLock", .how = "exit 1", .restarted = true});
  EXPECT_EQ(ExitStatus(run, nullptr), 10);
}

TEST(ExitStatusTest, ASearchHasJudgedByItself) {
  RunRecord run = RunOf({});
  run.search.emplace();
  EXPECT_EQ(ExitStatus(run, nullptr), 0);
  run.end->result = 10;
  EXPECT_EQ(ExitStatus(run, nullptr), 10);
  EXPECT_EQ(ExitStatus(run, &KnownFailure()), 10);
  run.end.reset();
  EXPECT_EQ(ExitStatus(run, nullptr), 10);
}

TEST(ExitStatusTest, AHandlerThatEndedOutsideOfChecksGives10) {
  for (const char* const id : {"", "Lock", "Open.MissingFile"}) {
    ExpectSpoiled([&](RunRecord& run) {
      run.handler_ends.push_back(
          {.id = id, .call = "FSUnLock", .how = "exit 1", .restarted = true});
    });
  }
}

}  // namespace
}  // namespace quorle::selftest
