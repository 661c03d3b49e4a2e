#include "results/summary.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "results/judged_run.h"
#include "selftest/unit/results/report_fixture.h"

namespace quorle {
namespace {

std::string Summary(const RunRecord& run) {
  return SummaryOf(run, Expectations(), false);
}

TEST(SummaryTest, OfARunAsExpectedIsOneLine) {
  EXPECT_EQ(Summary(MakeRun({MakeCheck("Lock.A", Verdict::kPass),
                             MakeCheck("Lock.B", Verdict::kWarn, "wrong code"),
                             MakeCheck("Lock.C", Verdict::kSkipped)})),
            "3 checks: 1 with a warning, 1 passed, 1 skipped\n");
  EXPECT_EQ(Summary(MakeRun({})), "no checks\n");
}

TEST(SummaryTest, NamesWhatIsNotAsExpectedItsFirstErrorAndItsCommand) {
  CheckEvent delete_open = MakeCheck("Delete.OpenFile", Verdict::kFail);
  delete_open.diagnostics = {
      {.type = DiagnosticClass::kInfo, .text = "a note"},
      {.type = DiagnosticClass::kError, .bold = true, .text = "Delete(\"FILE01\") succeeded."},
      {.type = DiagnosticClass::kError, .text = "the second"}};
  CheckEvent silent = MakeCheck("Delete.Root", Verdict::kFail);
  silent.result = 5;
  EXPECT_EQ(Summary(MakeRun({MakeCheck("Lock.A", Verdict::kPass), delete_open, silent,
                             MakeCheck("Link.A", Verdict::kUnsupported)})),
            "4 checks: 2 failed, 1 unsupported, 1 passed\n"
            "Delete.OpenFile: fail\n"
            "    ERROR: Delete(\"FILE01\") succeeded.\n"
            "    the rule: a file that is open, in any of the three modes, stays: 202.\n"
            "    quorle --select Delete.OpenFile --mount DH0=ram DH0: NI\n"
            "Delete.Root: fail\n"
            "    returned 5 without a message\n"
            "    quorle --select Delete.Root --mount DH0=ram DH0: NI\n"
            "Link.A: unsupported\n"
            "    answered 209 (not implemented)\n"
            "    quorle --select Link.A --mount DH0=ram DH0: NI\n");
}

TEST(SummaryTest, OfAnImportedRunHasNoCommand) {
  RunRecord run = MakeRun({MakeCheck("Lock.A", Verdict::kFail, "failed")});
  run.start.arguments.clear();
  EXPECT_EQ(Summary(run), "1 check: 1 failed\nLock.A: fail\n    ERROR: failed\n");
}

TEST(SummaryTest, WhatBlockedOthersIsNamedOnce) {
  RunRecord run = MakeRun({MakeCheck("Lock.A", Verdict::kFail), MakeBlocked("Lock.B", "Lock.A"),
                           MakeBlocked("Lock.C", "Lock.A")});
  run.handler_ends.push_back(
      {.id = "Lock.A", .call = "FSLock", .how = "signal 11 (SIGSEGV)", .restarted = true});
  EXPECT_EQ(Summary(run),
            "3 checks: 1 failed, 2 blocked\n"
            "Lock.A: fail\n"
            "    the handler ended in FSLock(): signal 11 (SIGSEGV)\n"
            "    2 checks blocked by Lock.A\n"
            "    quorle --select Lock.A --mount DH0=ram DH0: NI\n");
}

TEST(SummaryTest, ABlockerThatHasNoEntryIsNamedByTheFirstThatItBlocked) {
  CheckEvent no_name = MakeCheck("Open.A", Verdict::kBlocked);
  no_name.objects = {"FILE01", "FILE02"};
  EXPECT_EQ(
      Summary(MakeRun({MakeBlocked("Lock.B", "Lock.A"), MakeBlocked("Lock.C", "Lock.A"), no_name})),
      "3 checks: 3 blocked\n"
      "Lock.B: blocked, and 1 more\n"
      "    2 checks blocked by Lock.A\n"
      "    quorle --select Lock.B --mount DH0=ram DH0: NI\n"
      "Open.A: blocked\n"
      "    no unique name is left; in the way: FILE01 FILE02\n"
      "    quorle --select Open.A --mount DH0=ram DH0: NI\n");
}

TEST(SummaryTest, FindingsAreAtTheirChecks) {
  RunRecord run =
      MakeRun({MakeCheck("Lock.A", Verdict::kFail, "failed"), MakeCheck("Lock.B", Verdict::kPass),
               MakeCheck("Open.A", Verdict::kPass)});
  run.left_behind = {{.id = "Lock.B", .object = "FILE02", .code = 0},
                     {.id = "Lock.A", .object = "FILE01", .code = 202}};
  run.complaints = {{.id = "", .text = "DH0: never freed: a lock, made in FSLock()"}};
  run.remounts = {{.id = "Lock", .ok = true, .text = "the same"},
                  {.id = "Lock", .ok = false, .text = "FILE01 is missing"}};
  run.handler_ends = {{.id = "Open", .call = "", .how = "exit status 1"}};
  EXPECT_EQ(Summary(run),
            "3 checks: 1 failed, 2 passed\n"
            "Lock.A: fail\n"
            "    ERROR: failed\n"
            "    left behind: \"FILE01\" (error 202)\n"
            "    quorle --select Lock.A --mount DH0=ram DH0: NI\n"
            "Lock.B: left behind: \"FILE02\"\n"
            "Lock: FILE01 is missing\n"
            "Open: the handler ended: exit status 1\n"
            "DH0: never freed: a lock, made in FSLock()\n");
}

TEST(SummaryTest, ARunThatWasCutOffOrRefused) {
  RunRecord run = MakeRun({MakeCheck("Lock.A", Verdict::kPass)});
  run.end->result = 20;
  EXPECT_EQ(Summary(run), "1 check: 1 passed\nthe run ended with 20\n");
  run.end.reset();
  EXPECT_EQ(Summary(run),
            "1 check: 1 passed\nthe run was cut off after Lock.A: 1 check has its verdict\n");
  run.checks.clear();
  EXPECT_EQ(Summary(run), "no checks\nthe run was cut off before a check had its verdict\n");
}

TEST(SummaryTest, WhatASearchFound) {
  RunRecord run = MakeRun({});
  run.search = ExploreEvent{.sequences = 5,
                            .calls = 1,
                            .us = 0,
                            .differences = 1,
                            .expected = 2,
                            .notes = 1,
                            .traits = {}};
  DifferenceEvent difference;
  difference.id = "read-value";
  difference.weight = "error";
  difference.text = "one more";
  DifferenceEvent note = difference;
  note.weight = "note";
  DifferenceEvent known = difference;
  known.expected = true;
  run.differences = {difference, note, known};
  run.end->result = 10;
  const std::string counts = "a search: 5 sequences, 1 pair of calls, 1 difference, 2 known\n";
  EXPECT_EQ(Summary(run), counts + "difference read-value: one more\n");
  run.differences.clear();
  EXPECT_EQ(Summary(run), counts + "the search ended with 10\n");
}

TEST(SummaryTest, WhyACellOfAMatrixDidNotEndByItself) {
  RunRecord run = MakeRun({});
  run.cell.emplace();
  EXPECT_EQ(Summary(run), "no checks\n");
  run.cell->how = "did not end within 5 seconds";
  EXPECT_EQ(Summary(run), "no checks\nthe cell did not end within 5 seconds\n");
}

TEST(SummaryTest, ARunThatEndedBeforeItsLastCheck) {
  CheckEvent missing = MakeCheck("Lock.B", Verdict::kSkipped);
  missing.why = "the run ended";
  EXPECT_EQ(Summary(MakeRun({MakeCheck("Lock.A", Verdict::kPass), missing})),
            "2 checks: 1 passed, 1 skipped\nthe run ended before 1 check\n");
}

TEST(SummaryTest, SaysWhatOfTheExpectationsIsNotTrue) {
  const Expectations expectations = MakeExpectations(
      "[[expect]]\ncheck = \"Lock.A\"\nverdict = \"fail\"\nreason = \"issue 12\"\n"
      "[[expect]]\ncheck = \"Lock.B\"\nverdict = \"fail\"\ncode = 212\nreason = \"root\"\n"
      "[[expect]]\ncheck = \"Lock.C\"\nverdict = [\"warn\", \"unsupported\"]\nreason = \"old\"\n"
      "[[expect]]\ncheck = \"Lock.D\"\nverdict = \"fail\"\nreason = \"TODO\"\n");
  EXPECT_EQ(SummaryOf(MakeRun({MakeCheck("Lock.A", Verdict::kPass),
                               MakeCheck("Lock.B", Verdict::kFail, "wrong code"),
                               MakeCheck("Lock.C", Verdict::kFail, "failed"),
                               MakeCheck("Lock.D", Verdict::kFail, "failed")}),
                      expectations, false),
            "4 checks: 3 failed (1 known), 1 passed (1 unexpectedly)\n"
            "Lock.A: pass\n"
            "    passed, where q.toml:1 expects fail (issue 12); the entry to delete:\n"
            "    [[expect]]\n"
            "    check = \"Lock.A\"\n"
            "    verdict = \"fail\"\n"
            "    reason = \"issue 12\"\n"
            "    quorle --select Lock.A --mount DH0=ram DH0: NI\n"
            "Lock.B: fail\n"
            "    ERROR: wrong code\n"
            "    no message shows the code 212, which q.toml:5 expects\n"
            "    quorle --select Lock.B --mount DH0=ram DH0: NI\n"
            "Lock.C: fail\n"
            "    ERROR: failed\n"
            "    q.toml:10 expects warn or unsupported: old\n"
            "    quorle --select Lock.C --mount DH0=ram DH0: NI\n"
            "q.toml:14: entry 4, \"Lock.D\": the reason is still \"TODO\"\n");
}

TEST(SummaryTest, ControlCharactersOfARunAreShown) {
  const RunRecord run = MakeRun({MakeCheck("Lock.A", Verdict::kFail, "\x1b]0;title\x07\nnext")});
  EXPECT_EQ(Summary(run),
            "1 check: 1 failed\n"
            "Lock.A: fail\n"
            "    ERROR: \\x1b]0;title\\x07\\x0anext\n"
            "    quorle --select Lock.A --mount DH0=ram DH0: NI\n");
}

TEST(SummaryTest, ColoursOnlyWhenAskedFor) {
  const RunRecord run = MakeRun({MakeCheck("Lock.A", Verdict::kFail, "failed")});
  EXPECT_EQ(SummaryOf(run, Expectations(), true),
            "1 check: 1 failed\n"
            "\033[1;31mLock.A\033[0m: fail\n"
            "    ERROR: failed\n"
            "    \033[2mquorle --select Lock.A --mount DH0=ram DH0: NI\033[0m\n");
}

TEST(SummaryTest, OfSeveralRuns) {
  const std::vector<RunRecord> runs = {
      MakeRun({MakeCheck("Lock.A", Verdict::kPass)}),
      MakeRun({MakeCheck("Lock.A", Verdict::kBlocked)}, "out/ffs.jsonl 2")};
  EXPECT_EQ(SummaryReport(runs, Expectations(), false),
            "ram.jsonl (DH0:, ram-handler 53.1 (21.11.2026), vector port)\n"
            "1 check: 1 passed\n"
            "\n"
            "out/ffs.jsonl 2 (DH0:, ram-handler 53.1 (21.11.2026), vector port)\n"
            "1 check: 1 blocked\n"
            "Lock.A: blocked\n"
            "    blocked\n"
            "    quorle --select Lock.A --mount DH0=ram DH0: NI\n"
            "\n"
            "1 of 2 runs as expected\n");
}

// ---- The parts that all reports share -----------------------------------------------------------

TEST(JudgedRunTest, TheCommandLeavesOutWhatChoseChecksAndWhereResultsWent) {
  RunEvent run;
  run.arguments = {"--select=Lock.*",
                   "--skip",
                   "Lock.B",
                   "--mount",
                   "DH0=dir:/a b",
                   "--failed",
                   "x.jsonl",
                   "--events",
                   "y.jsonl",
                   "--expect=q.toml",
                   "--bless",
                   "q.toml",
                   "--repeat",
                   "3",
                   "--no-delay",
                   "--",
                   "DH0:",
                   "TN=5",
                   "ni",
                   "ftn",
                   "3",
                   "TestNumber=7"};
  EXPECT_EQ(CommandFor(run, "Lock.A"),
            "quorle --select Lock.A --mount 'DH0=dir:/a b' --no-delay -- DH0: ni");
}

TEST(JudgedRunTest, TheCommandIsQuotedForAShell) {
  RunEvent run;
  run.arguments = {"it's", "", "$HOME", "a\nb'\\", "DH0:"};
  EXPECT_EQ(CommandFor(run, "Lock.A"),
            "quorle --select Lock.A 'it'\\''s' '' '$HOME' $'a\\012b\\'\\\\' DH0:");
}

TEST(JudgedRunTest, TheLabelIsTheFileWithoutItsEnding) {
  const auto label = [](const char* source) {
    RunRecord run;
    run.source = source;
    return LabelOf(run);
  };
  EXPECT_EQ(label("out/ffs.jsonl"), "ffs");
  EXPECT_EQ(label("out/ffs.jsonl 2"), "ffs 2");
  EXPECT_EQ(label("ffs.events"), "ffs");
  EXPECT_EQ(label("ffs"), "ffs");
  EXPECT_EQ(label(".jsonl"), ".jsonl");
  EXPECT_EQ(label("ffs.jsonl.old"), "ffs.jsonl.old");
}

TEST(JudgedRunTest, IsFineWithoutFindingsAndUnexpectedVerdicts) {
  const auto is_fine = [](const RunRecord& run) { return JudgeRun(run, Expectations()).is_fine(); };
  RunRecord run = MakeRun({MakeCheck("Lock.A", Verdict::kPass)});
  EXPECT_TRUE(is_fine(run));
  run.complaints.push_back({.id = "Lock.A", .text = "freed twice"});
  EXPECT_FALSE(is_fine(run));
  EXPECT_FALSE(is_fine(MakeRun({MakeCheck("Lock.A", Verdict::kFail)})));
}

}  // namespace
}  // namespace quorle
