#include "results/compare_runs.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "selftest/unit/results/results_fixture.h"

namespace quorle::selftest {
namespace {

using Strings = std::vector<std::string>;

const char* const kComparedId = "Lock.MissingObject";

/// What the comparison of a run with another is, both of one check: its heading and its line.
std::string Compared(const CheckEvent& before, const CheckEvent& now) {
  const RunComparison comparison = CompareRuns({RunOf({before})}, {RunOf({now})});
  EXPECT_TRUE(comparison.remarks.empty() && comparison.troubles.empty());
  return ToText(comparison);
}

std::string Worse(const std::string& heading, const std::string& change) {
  return heading + " (1):\n  Lock.MissingObject: " + change + "\nSomething got worse.\n";
}

std::string NotWorse(const std::string& heading, const std::string& change) {
  return heading + " (1):\n  Lock.MissingObject: " + change + "\nNothing got worse.\n";
}

CheckEvent One(Verdict verdict, std::int32_t code = 0, const std::string& why = "") {
  return CheckOf(kComparedId, verdict, code, why);
}

TEST(CompareRunsTest, NewFailuresAreWorse) {
  const CheckEvent skipped = One(Verdict::kSkipped, 0, "not selected");
  EXPECT_EQ(Compared(One(Verdict::kPass), One(Verdict::kFail, 205)),
            Worse("new failures", "pass -> fail 205"));
  EXPECT_EQ(Compared(One(Verdict::kWarn), One(Verdict::kUnsupported)),
            Worse("new failures", "warn -> unsupported"));
  EXPECT_EQ(Compared(One(Verdict::kPass), One(Verdict::kBlocked)),
            Worse("new failures", "pass -> blocked"));
  EXPECT_EQ(Compared(skipped, One(Verdict::kFail)),
            Worse("new failures", "skipped (not selected) -> fail"));
}

TEST(CompareRunsTest, VerdictsHaveAnOrder) {
  EXPECT_EQ(Compared(One(Verdict::kPass), One(Verdict::kWarn)), Worse("worse", "pass -> warn"));
  EXPECT_EQ(Compared(One(Verdict::kUnsupported), One(Verdict::kFail)),
            Worse("worse", "unsupported -> fail"));
  EXPECT_EQ(Compared(One(Verdict::kUnsupported), One(Verdict::kBlocked)),
            Worse("worse", "unsupported -> blocked"));
  EXPECT_EQ(Compared(One(Verdict::kFail), One(Verdict::kUnsupported)),
            NotWorse("better", "fail -> unsupported"));
  EXPECT_EQ(Compared(One(Verdict::kWarn), One(Verdict::kPass)), NotWorse("better", "warn -> pass"));
}

TEST(CompareRunsTest, NewPassesAreNotWorse) {
  EXPECT_EQ(Compared(One(Verdict::kFail, 205), One(Verdict::kPass)),
            NotWorse("new passes", "fail 205 -> pass"));
  EXPECT_EQ(Compared(One(Verdict::kBlocked), One(Verdict::kWarn)),
            NotWorse("new passes", "blocked -> warn"));
}

TEST(CompareRunsTest, ChangedCodesAreNamedAndNotWorse) {
  EXPECT_EQ(Compared(One(Verdict::kFail, 205), One(Verdict::kFail, 212)),
            NotWorse("other codes", "fail 205 -> fail 212"));
  CheckEvent both = One(Verdict::kFail, 212);
  both.diagnostics.push_back({.type = DiagnosticClass::kWarn, .code = 205, .text = "t"});
  EXPECT_EQ(Compared(both, One(Verdict::kFail, 212)),
            NotWorse("other codes", "fail 205 212 -> fail 212"));
}

TEST(CompareRunsTest, SkippedIsWorseWhereTheRunEnded) {
  const auto skipped = [](const char* why) { return One(Verdict::kSkipped, 0, why); };
  EXPECT_EQ(Compared(One(Verdict::kPass), skipped("the run ended")),
            Worse("not reached", "pass -> skipped (the run ended)"));
  EXPECT_EQ(Compared(One(Verdict::kFail), skipped("the group ended")),
            Worse("not reached", "fail -> skipped (the group ended)"));
  EXPECT_EQ(Compared(One(Verdict::kPass), skipped("not selected")),
            NotWorse("skipped now", "pass -> skipped (not selected)"));
  EXPECT_EQ(Compared(skipped("not selected"), One(Verdict::kPass)),
            NotWorse("tried now", "skipped (not selected) -> pass"));
}

TEST(CompareRunsTest, TextsNumbersAndTimesDoNotMatter) {
  CheckEvent before = One(Verdict::kFail, 205);
  CheckEvent now = before;
  now.row = 25;
  now.number = 3;
  now.us = 1000;
  now.calls = {.first = 7, .last = 9};
  now.result = 20;
  now.diagnostics.front().text = "Reworded.";
  now.diagnostics.push_back({.type = DiagnosticClass::kInfo, .code = 103, .text = "An aside."});
  EXPECT_EQ(Compared(before, now), "No check changed.\n");
  EXPECT_EQ(Compared(One(Verdict::kSkipped, 0, "nothing to do"),
                     One(Verdict::kSkipped, 0, "not selected")),
            "No check changed.\n");
}

TEST(CompareRunsTest, NewAndRemovedChecksAreNamed) {
  const RunRecord before = RunOf({CheckOf("Lock.Old", Verdict::kPass), One(Verdict::kPass)});
  const RunRecord now = RunOf({One(Verdict::kPass), CheckOf("Lock.New", Verdict::kPass)});
  EXPECT_EQ(ToText(CompareRuns({before}, {now})),
            "new checks (1):\n  Lock.New: not there -> pass\n"
            "removed checks (1):\n  Lock.Old: pass -> not there\nNothing got worse.\n");
  const RunRecord failing = RunOf({One(Verdict::kPass), CheckOf("Lock.New", Verdict::kFail)});
  EXPECT_EQ(ToText(CompareRuns({now}, {failing})),
            "new failures (1):\n  Lock.New: pass -> fail\nSomething got worse.\n");
  EXPECT_EQ(ToText(CompareRuns({RunOf({One(Verdict::kPass)})}, {failing})),
            "new failures (1):\n  Lock.New: not there -> fail\nSomething got worse.\n");
}

TEST(CompareRunsTest, ARunThatWasCutOffIsWorse) {
  const RunRecord whole = RunOf({One(Verdict::kPass), CheckOf("Open.MissingFile", Verdict::kPass)});
  RunRecord torn = RunOf({One(Verdict::kPass)});
  torn.end.reset();
  EXPECT_EQ(ToText(CompareRuns({whole}, {torn})),
            "new troubles (1):\n  the new run was cut off\n"
            "not reached (1):\n  Open.MissingFile: pass -> not there\nSomething got worse.\n");
  EXPECT_EQ(ToText(CompareRuns({torn}, {whole})),
            "the old run was cut off\nnew checks (1):\n  Open.MissingFile: not there -> pass\n"
            "Nothing got worse.\n");
  EXPECT_EQ(ToText(CompareRuns({torn}, {torn})),
            "the old run was cut off\nthe new run was cut off\nNo check changed.\n");
}

TEST(CompareRunsTest, ARunThatWasRefusedIsWorse) {
  const RunRecord whole = RunOf({One(Verdict::kPass)});
  RunRecord refused = RunOf({});
  refused.end = EndEvent{.result = 20, .checks = {}};
  const RunComparison comparison = CompareRuns({whole}, {refused});
  EXPECT_TRUE(comparison.is_worse());
  EXPECT_EQ(ToText(comparison),
            "new troubles (1):\n  the new run was refused\n"
            "not reached (1):\n  Lock.MissingObject: pass -> not there\nSomething got worse.\n");
  EXPECT_EQ(ToText(CompareRuns({refused}, {whole})),
            "the old run was refused\n"
            "new checks (1):\n  Lock.MissingObject: not there -> pass\nNothing got worse.\n");
  EXPECT_FALSE(CompareRuns({refused}, {refused}).is_worse());
}

TEST(CompareRunsTest, OfSeveralRunsTheWorstVerdictCounts) {
  const std::vector<RunRecord> flaky = {
      RunOf({One(Verdict::kPass)}), RunOf({One(Verdict::kFail, 205)}),
      RunOf({One(Verdict::kWarn, 103)}), RunOf({One(Verdict::kFail, 212)})};
  EXPECT_EQ(ToText(CompareRuns({RunOf({One(Verdict::kPass)})}, flaky)),
            Worse("new failures", "pass -> fail 205 212"));
  EXPECT_EQ(ToText(CompareRuns(flaky, {RunOf({One(Verdict::kPass)})})),
            NotWorse("new passes", "fail 205 212 -> pass"));
  EXPECT_EQ(ToText(CompareRuns(flaky, flaky)), "No check changed.\n");
}

TEST(CompareRunsTest, WhatHappenedBesideTheChecksIsComparedByCheck) {
  const RunRecord clean = RunOf({One(Verdict::kPass)});
  RunRecord troubled = clean;
  troubled.handler_ends.push_back(
      {.id = kComparedId, .call = "FSLock", .how = "signal 11", .restarted = true});
  troubled.left_behind.push_back({.id = kComparedId, .object = "FILE01", .code = 0});
  troubled.complaints.push_back({.id = kComparedId, .text = "never freed: a lock"});
  troubled.remounts.push_back({.id = "Lock", .ok = false, .text = "the tree differs"});
  troubled.remounts.push_back({.id = "Open", .ok = true, .text = "fine"});
  const RunComparison comparison = CompareRuns({clean}, {troubled});
  EXPECT_TRUE(comparison.is_worse());
  EXPECT_EQ(comparison.troubles,
            (Strings{"Lock.MissingObject: never freed: a lock",
                     "Lock.MissingObject: the handler ended: signal 11",
                     "Lock.MissingObject: left behind: FILE01", "Lock: the tree differs"}));
  RunRecord reworded = troubled;
  reworded.complaints.front().text = "it lost a lock";
  EXPECT_FALSE(CompareRuns({troubled}, {reworded}).is_worse());
  EXPECT_FALSE(CompareRuns({troubled}, {clean}).is_worse());
}

}  // namespace
}  // namespace quorle::selftest
