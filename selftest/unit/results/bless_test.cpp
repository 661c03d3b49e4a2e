#include "results/bless.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "selftest/unit/results/results_fixture.h"

namespace quorle::selftest {
namespace {

using Strings = std::vector<std::string>;

/// What --bless makes of a file of the text `text`, and that the file then expects `runs`.
std::string Blessed(const std::string& text, const std::vector<RunRecord>& runs,
                    BlessReport* report_out = nullptr) {
  const ScratchFolder folder;
  const std::string file = folder.Write("quorle.toml", text);
  BlessReport report;
  std::string problem;
  EXPECT_TRUE(Bless(file, runs, AllChecks(), report, problem)) << problem;
  const std::string result = folder.Read("quorle.toml");
  EXPECT_EQ(folder.Names(), Strings{"quorle.toml"});

  Expectations again;
  EXPECT_TRUE(again.Read(file, result, AllChecks(), problem, Expectations::StrictTodo::kRead))
      << problem;
  for (const RunRecord& run : runs) {
    for (const CheckEvent& check : run.checks) {
      if (check.verdict == Verdict::kBlocked) continue;
      EXPECT_TRUE(again.Judge(run, check).is_fine()) << check.id << "\n" << result;
      EXPECT_TRUE(report.expectations.Judge(run, check).is_fine()) << check.id;
    }
  }
  if (report_out != nullptr) *report_out = report;
  return result;
}

std::string Blessed(const std::string& text, std::vector<CheckEvent> checks) {
  return Blessed(text, std::vector<RunRecord>{RunOf(std::move(checks))});
}

std::vector<CheckEvent> ChecksOfGroup(const std::string& group, Verdict verdict,
                                      std::int32_t code = 0) {
  std::vector<CheckEvent> checks;
  for (const CheckInfo& check : AllChecks()) {
    if (check.group == group) checks.push_back(CheckOf(check.id, verdict, code));
  }
  return checks;
}

// ---- New entries -------------------------------------------------------------------------------

TEST(BlessTest, WhatDoesNotPassIsAppendedWithATodo) {
  EXPECT_EQ(Blessed("", {CheckOf("Lock.MissingObject", Verdict::kFail, 209),
                         CheckOf("Lock.ExclusiveOverShared", Verdict::kPass),
                         CheckOf("Delete.OpenFile", Verdict::kUnsupported),
                         CheckOf("Open.MissingFile", Verdict::kWarn, 205)}),
            EntryText("Delete.OpenFile", "verdict = \"unsupported\"", "TODO") + "\n" +
                EntryText("Lock.MissingObject", "verdict = \"fail\"\ncode = 209", "TODO"))
      << "in the order of the catalogue";
}

TEST(BlessTest, AFileThatIsNotThereIsMade) {
  const ScratchFolder folder;
  BlessReport report;
  std::string problem;
  const RunRecord run = RunOf({CheckOf("Lock.MissingObject", Verdict::kFail)});
  ASSERT_TRUE(Bless(folder.path("new.toml"), {run}, AllChecks(), report, problem)) << problem;
  EXPECT_EQ(folder.Read("new.toml"),
            "# The checks that do not pass, each with the reason: see docs/expectations.md of "
            "quorle.\n\n" +
                EntryText("Lock.MissingObject", "verdict = \"fail\"", "TODO"));
  EXPECT_EQ(report.added, 1U);
}

TEST(BlessTest, AppendedEntriesAreSetOffByABlankLine) {
  const std::string entry = EntryText("Lock.MissingObject", "verdict = \"fail\"", "TODO");
  const std::vector<CheckEvent> fails = {CheckOf("Lock.MissingObject", Verdict::kFail)};
  EXPECT_EQ(Blessed("# No line break", fails), "# No line break\n\n" + entry);
  EXPECT_EQ(Blessed("# One\n", fails), "# One\n\n" + entry);
  EXPECT_EQ(Blessed("# A blank line\n\n", fails), "# A blank line\n\n" + entry);
}

TEST(BlessTest, ReturnsAndAByteOrderMarkStay) {
  const std::string returned = Blessed("\xEF\xBB\xBF# First\r\n# Second\r\n",
                                       {CheckOf("Lock.MissingObject", Verdict::kFail)});
  EXPECT_EQ(
      returned,
      "\xEF\xBB\xBF# First\r\n# Second\r\n\r\n[[expect]]\r\ncheck = \"Lock.MissingObject\"\r\n"
      "verdict = \"fail\"\r\nreason = \"TODO\"\r\n");
}

TEST(BlessTest, AGroupThatCameOutTheSameIsOneEntry) {
  EXPECT_EQ(Blessed("", ChecksOfGroup("CreateHardLink", Verdict::kUnsupported)),
            EntryText("CreateHardLink.*", "verdict = \"unsupported\"", "TODO"));
  EXPECT_EQ(Blessed("", ChecksOfGroup("CreateHardLink", Verdict::kFail, 212)),
            EntryText("CreateHardLink.*", "verdict = \"fail\"\ncode = 212", "TODO"));
  std::vector<CheckEvent> mixed = ChecksOfGroup("CreateSoftLink", Verdict::kUnsupported);
  mixed.back().verdict = Verdict::kPass;
  EXPECT_EQ(Blessed("", mixed), EntryText(mixed.front().id, "verdict = \"unsupported\"", "TODO"));
  mixed.pop_back();
  EXPECT_EQ(Blessed("", mixed), EntryText(mixed.front().id, "verdict = \"unsupported\"", "TODO"))
      << "nobody knows what the other would be";
}

TEST(BlessTest, OnlyStrictFilesNameWarnings) {
  const std::vector<CheckEvent> warns = {CheckOf("Lock.MissingObject", Verdict::kWarn)};
  EXPECT_EQ(Blessed("", warns), "");
  EXPECT_EQ(Blessed("strict = true\n", warns),
            "strict = true\n\n" + EntryText("Lock.MissingObject", "verdict = \"warn\"", "TODO"));
}

TEST(BlessTest, OfSeveralRunsEachVerdictIsListed) {
  const std::vector<RunRecord> runs = {RunOf({CheckOf("Lock.MissingObject", Verdict::kFail, 205),
                                              CheckOf("Open.MissingFile", Verdict::kFail, 205)}),
                                       RunOf({CheckOf("Lock.MissingObject", Verdict::kPass),
                                              CheckOf("Open.MissingFile", Verdict::kFail, 210)})};
  EXPECT_EQ(Blessed("", runs),
            EntryText("Lock.MissingObject", "verdict = [\"pass\", \"fail\"]\ncode = 205", "TODO") +
                "\n" + EntryText("Open.MissingFile", "verdict = \"fail\"", "TODO"));
  EXPECT_EQ(Blessed(EntryText("Lock.MissingObject", "verdict = \"fail\"") +
                        EntryText("Open.MissingFile", "verdict = \"fail\"\ncode = 205"),
                    runs),
            EntryText("Lock.MissingObject", "verdict = [\"pass\", \"fail\"]") +
                EntryText("Open.MissingFile", "verdict = \"fail\""));
}

TEST(BlessTest, BlockedIsNeverWritten) {
  BlessReport report;
  const std::string text = EntryText("Lock.MissingObject", "verdict = \"fail\"");
  EXPECT_EQ(Blessed(text,
                    {RunOf({CheckOf("Lock.MissingObject", Verdict::kBlocked),
                            CheckOf("Open.MissingFile", Verdict::kBlocked)})},
                    &report),
            text);
  EXPECT_EQ(report.blocked, (Strings{"Lock.MissingObject", "Open.MissingFile"}));
}

// ---- Entries that hold -------------------------------------------------------------------------

TEST(BlessTest, WhatStillHoldsKeepsEachByte) {
  const std::string text =
      "# Of the release.\r\nstrict=false # not yet\n\n\n"
      "  [[expect]] # odd\ncheck='Lock.MissingObject'\n  verdict  =  [ 'fail' , # or\n'unsupported',]\n"
      "when.version='<54.2'\nreason='''\n[[expect]]\n# no comment'''\n# below\n\n"
      "[[expect]]\ncheck = \"Delete.*\"\nverdict = \"fail\"\nreason = \"\xC3\xA9\"\n[expect.when]\n"
      "port = \"vector\"\n\n# The end.";
  std::vector<CheckEvent> checks = ChecksOfGroup("Delete", Verdict::kFail);
  checks.push_back(CheckOf("Lock.MissingObject", Verdict::kUnsupported));
  BlessReport report;
  EXPECT_EQ(Blessed(text, {RunOf(checks)}, &report), text);
  EXPECT_EQ(report.added + report.changed + report.removed, 0U);
}

TEST(BlessTest, EntriesForOtherRunsStay) {
  const std::string text =
      EntryText("Lock.MissingObject", "verdict = \"fail\"\nwhen = { port = \"packet\" }");
  EXPECT_EQ(Blessed(text, {CheckOf("Lock.MissingObject", Verdict::kPass)}), text);
}

TEST(BlessTest, EntriesOfChecksThatWereNotTriedStay) {
  const std::string text = EntryText("Lock.MissingObject", "verdict = \"fail\"") +
                           EntryText("Open.*", "verdict = \"fail\"");
  EXPECT_EQ(Blessed(text, {CheckOf("Delete.OpenFile", Verdict::kPass)}), text);
  for (const char* const why : {"not selected", "the group ended", "nothing to do"}) {
    EXPECT_EQ(Blessed(text, {CheckOf("Lock.MissingObject", Verdict::kSkipped, 0, why),
                             CheckOf("Open.MissingFile", Verdict::kSkipped, 0, why)}),
              text);
  }
}

TEST(BlessTest, AFileThatNeedsNoChangeIsNotWritten) {
  const ScratchFolder folder;
  const std::string text = EntryText("Lock.MissingObject", "verdict = \"fail\"");
  const std::string file = folder.Write("quorle.toml", text);
  struct stat before {};
  ASSERT_EQ(::stat(file.c_str(), &before), 0);
  BlessReport report;
  std::string problem;
  EXPECT_TRUE(Bless(file, {RunOf({CheckOf("Lock.MissingObject", Verdict::kFail)})}, AllChecks(),
                    report, problem));
  struct stat after {};
  ASSERT_EQ(::stat(file.c_str(), &after), 0);
  EXPECT_EQ(before.st_ino, after.st_ino);
}

TEST(BlessTest, AStrictFileWithTodosCanBeBlessedAgain) {
  const std::string text =
      "strict = true\n" + EntryText("Lock.MissingObject", "verdict = \"fail\"", "TODO");
  EXPECT_EQ(Blessed(text, {CheckOf("Lock.MissingObject", Verdict::kFail)}), text);
}

// ---- Entries that no longer hold ---------------------------------------------------------------

TEST(BlessTest, ASurprisePassGoesWithItsComments) {
  const std::string first =
      "# Expectations.\n\n" + EntryText("Open.MissingFile", "verdict = \"fail\"");
  const std::string gone = "# Why this one\n# is there.\n" +
                           EntryText("Lock.MissingObject", "verdict = \"fail\"") + "# More.\n\n";
  const std::string last =
      "# About links.\n\n# Of the next.\n" + EntryText("Delete.OpenFile", "verdict = \"fail\"");
  const std::vector<CheckEvent> checks = {CheckOf("Open.MissingFile", Verdict::kFail),
                                          CheckOf("Lock.MissingObject", Verdict::kPass),
                                          CheckOf("Delete.OpenFile", Verdict::kFail)};
  BlessReport report;
  EXPECT_EQ(Blessed(first + "\n" + gone + last, {RunOf(checks)}, &report), first + "\n" + last);
  EXPECT_EQ(report.removed, 1U);
  // At the end of the file no blank line is left over.
  EXPECT_EQ(Blessed(first + "\n" + gone, {RunOf(checks)}),
            first + "\n" + EntryText("Delete.OpenFile", "verdict = \"fail\"", "TODO"));
  EXPECT_EQ(Blessed(first + "\n" + gone, {CheckOf("Open.MissingFile", Verdict::kFail),
                                          CheckOf("Lock.MissingObject", Verdict::kPass)}),
            first);
  // Directly below the last key, directly above the next entry: the next one's.
  EXPECT_EQ(Blessed(EntryText("Lock.MissingObject", "verdict = \"fail\"") + "# Of the next.\n" +
                        EntryText("Delete.OpenFile", "verdict = \"fail\""),
                    {CheckOf("Lock.MissingObject", Verdict::kPass)}),
            "# Of the next.\n" + EntryText("Delete.OpenFile", "verdict = \"fail\""));
}

TEST(BlessTest, CommentsThatBeginTheFileStay) {
  const std::vector<CheckEvent> passes = {CheckOf("Lock.MissingObject", Verdict::kPass)};
  const std::string entry = EntryText("Lock.MissingObject", "verdict = \"fail\"");
  EXPECT_EQ(Blessed("# quorle.toml, kept\n# beside the sources\n" + entry, passes),
            "# quorle.toml, kept\n# beside the sources\n");
  EXPECT_EQ(Blessed("\xEF\xBB\xBF# kept\n# here\n" + entry, passes),
            "\xEF\xBB\xBF# kept\n# here\n");
  EXPECT_EQ(Blessed("\xEF\xBB\xBF" + entry, passes), "\xEF\xBB\xBF");
  EXPECT_EQ(Blessed(entry, passes), "");
}

TEST(BlessTest, ACommentLookalikeInTheReasonBeforeStays) {
  const std::string first =
      "[[expect]]\ncheck = \"Open.MissingFile\"\nverdict = \"fail\"\nreason = \"\"\"\n# one\n# two\"\"\"\n";
  EXPECT_EQ(Blessed(first + EntryText("Lock.MissingObject", "verdict = \"fail\""),
                    {CheckOf("Lock.MissingObject", Verdict::kPass)}),
            first);
}

TEST(BlessTest, AVerdictThatChangedIsChangedInPlace) {
  EXPECT_EQ(
      Blessed("# above\n[[expect]]\ncheck = \"Lock.MissingObject\"\nverdict = 'fail' # since May\n"
              "reason = \"known\" # here\n# below\n",
              {CheckOf("Lock.MissingObject", Verdict::kUnsupported)}),
      "# above\n[[expect]]\ncheck = \"Lock.MissingObject\"\nverdict = \"unsupported\" # since May\n"
      "reason = \"known\" # here\n# below\n");
}

TEST(BlessTest, APlaceBehindOtherCharactersIsFound) {
  EXPECT_EQ(
      Blessed(
          "[[expect]]\nreason = '\xC3\xA9\xE2\x82\xAC'\n\"verdict\" = 'fail'#\xC3\xA9\ncheck = 'Lock.MissingObject'\n",
          {CheckOf("Lock.MissingObject", Verdict::kUnsupported)}),
      "[[expect]]\nreason = '\xC3\xA9\xE2\x82\xAC'\n\"verdict\" = \"unsupported\"#\xC3\xA9\ncheck = 'Lock.MissingObject'\n");
  EXPECT_EQ(
      Blessed(
          "\xEF\xBB\xBF[[expect]]\r\n\"\\u0063heck\" = 'Lock.MissingObject'\r\n\"v\\u0065rdict\" =\t'fail'\r\nreason = '\xC3\xA9'",
          {CheckOf("Lock.MissingObject", Verdict::kUnsupported)}),
      "\xEF\xBB\xBF[[expect]]\r\n\"\\u0063heck\" = 'Lock.MissingObject'\r\n\"v\\u0065rdict\" =\t\"unsupported\"\r\nreason = '\xC3\xA9'");
}

TEST(BlessTest, AListGetsWhatCameOutBesideWhatItHas) {
  EXPECT_EQ(
      Blessed(EntryText("Lock.MissingObject",
                        "verdict = [\n  \"fail\", # mostly\n  \"pass\", # rarely\n]"),
              {CheckOf("Lock.MissingObject", Verdict::kUnsupported)}),
      EntryText("Lock.MissingObject",
                "verdict = [\n  \"fail\", # mostly\n  \"pass\", \"unsupported\", # rarely\n]"));
}

TEST(BlessTest, ACodeThatChangedIsChangedInPlace) {
  const auto after = [](const CheckEvent& check) {
    return Blessed(
        "[[expect]]\ncode = 212 # wrong type\ncheck = \"Lock.MissingObject\"\nverdict = \"fail\"\nreason = \"r\"\n",
        {check});
  };
  EXPECT_EQ(
      after(CheckOf("Lock.MissingObject", Verdict::kFail, 205)),
      "[[expect]]\ncode = 205 # wrong type\ncheck = \"Lock.MissingObject\"\nverdict = \"fail\"\nreason = \"r\"\n");
  EXPECT_EQ(after(CheckOf("Lock.MissingObject", Verdict::kFail)),
            "[[expect]]\ncheck = \"Lock.MissingObject\"\nverdict = \"fail\"\nreason = \"r\"\n")
      << "no code is shown";
  EXPECT_EQ(
      after(CheckOf("Lock.MissingObject", Verdict::kUnsupported)),
      "[[expect]]\ncheck = \"Lock.MissingObject\"\nverdict = \"unsupported\"\nreason = \"r\"\n");
}

// ---- Groups ------------------------------------------------------------------------------------

TEST(BlessTest, AGroupThatPassesNowGoes) {
  const std::string text = EntryText("Open.MissingFile", "verdict = \"fail\"") + "\n" +
                           EntryText("CreateHardLink.*", "verdict = \"unsupported\"");
  EXPECT_EQ(Blessed(text, ChecksOfGroup("CreateHardLink", Verdict::kPass)),
            EntryText("Open.MissingFile", "verdict = \"fail\""));
  std::vector<CheckEvent> idle = ChecksOfGroup("CreateHardLink", Verdict::kPass);
  idle.back() = CheckOf(idle.back().id, Verdict::kSkipped, 0, "nothing to do");
  EXPECT_EQ(Blessed(text, idle), EntryText("Open.MissingFile", "verdict = \"fail\""));
}

TEST(BlessTest, AGroupThatCameOutOtherwiseIsChangedInPlace) {
  EXPECT_EQ(Blessed(EntryText("CreateHardLink.*", "verdict = \"unsupported\" # all"),
                    ChecksOfGroup("CreateHardLink", Verdict::kFail, 212)),
            EntryText("CreateHardLink.*", "verdict = \"fail\" # all"));
}

TEST(BlessTest, WhatLeftItsGroupBecomesAnException) {
  const std::string text =
      EntryText("CreateHardLink.*",
                "verdict = \"unsupported\"\nwhen = { port = \"vector\", version = \"<54.2\" }");
  std::vector<CheckEvent> checks = ChecksOfGroup("CreateHardLink", Verdict::kUnsupported);
  checks.back().verdict = Verdict::kPass;
  const std::string exception =
      "\n[[expect]]\ncheck = \"" + checks.back().id +
      "\"\nverdict = \"pass\"\nwhen = { port = \"vector\", version = \"<54.2\" }\nreason = \"TODO\"\n";
  EXPECT_EQ(Blessed(text, checks), text + exception);
  // The exception is changed in place too, and stays while the group's entry is there.
  checks.back() = CheckOf(checks.back().id, Verdict::kFail, 205);
  std::string changed = exception;
  changed.replace(changed.find("\"pass\""), 6, "\"fail\"");
  EXPECT_EQ(Blessed(text + exception, checks), text + changed);
  EXPECT_EQ(Blessed(text + changed, {CheckOf(checks.back().id, Verdict::kPass)}), text + exception);
}

TEST(BlessTest, AGroupInPartSelectedKeepsItsEntry) {
  const std::string text = EntryText("CreateHardLink.*", "verdict = \"unsupported\"");
  EXPECT_EQ(Blessed(text, {CheckOf("CreateHardLink.LinkToFile", Verdict::kPass),
                           CheckOf("CreateHardLink.DirectoryLoop", Verdict::kSkipped, 0,
                                   "not selected")}),
            text + "\n" + EntryText("CreateHardLink.LinkToFile", "verdict = \"pass\"", "TODO"));
}

TEST(BlessTest, AnExceptionGoesWithItsGroup) {
  const std::string text = EntryText("CreateHardLink.*", "verdict = \"unsupported\"") +
                           EntryText("CreateHardLink.LinkToFile", "verdict = \"fail\"");
  EXPECT_EQ(Blessed(text, ChecksOfGroup("CreateHardLink", Verdict::kPass)), "");
}

TEST(BlessTest, PatternsThatAgreedDoNotContradictAfterwards) {
  const std::string text = EntryText("Delete.*", "verdict = \"fail\"") +
                           EntryText("*.RootDirectory", "verdict = \"fail\"");
  const std::string result = Blessed(text, ChecksOfGroup("Delete", Verdict::kUnsupported));
  EXPECT_TRUE(result.starts_with(text)) << result;
  EXPECT_NE(result.find(EntryText("Delete.RootDirectory", "verdict = \"unsupported\"", "TODO")),
            std::string::npos)
      << result;
}

// ---- Beside entries for other runs -------------------------------------------------------------

TEST(BlessTest, ANewEntryIsToldApartFromThoseForOtherRuns) {
  const auto added = [](const std::string& when) {
    const std::string text =
        EntryText("Lock.MissingObject", "verdict = \"unsupported\"\nwhen = { " + when + " }");
    const std::string result = Blessed(text, {CheckOf("Lock.MissingObject", Verdict::kFail)});
    EXPECT_TRUE(result.starts_with(text)) << result;
    return result.substr(std::min(result.size(), text.size()));
  };
  const auto entry = [](const std::string& when) {
    return "\n" +
           EntryText("Lock.MissingObject", "verdict = \"fail\"\nwhen = { " + when + " }", "TODO");
  };
  // The run is: vector, ram, 0x444F5309, 53.1.
  EXPECT_EQ(added("port = \"packet\""), entry("port = \"vector\""));
  EXPECT_EQ(added("handler = \"plugin\""), entry("handler = \"ram\""));
  EXPECT_EQ(added("dostype = \"0x444F5303\""), entry("dostype = \"0x444F5309\""));
  EXPECT_EQ(added("version = \"<53.1\""), entry("version = \">=53.1\""));
  EXPECT_EQ(added("version = \">=54.2\""), entry("version = \"<54.2\""));
  EXPECT_EQ(added("version = \"=53.0\""), entry("version = \">=53.1\""));
  const std::string three =
      EntryText("Lock.MissingObject", "verdict = \"pass\"\nwhen = { version = \"<53.1\" }") +
      EntryText("Lock.MissingObject",
                "verdict = \"pass\"\nwhen = { version = \">54.2\", port = \"vector\" }");
  EXPECT_EQ(Blessed(three, {CheckOf("Lock.MissingObject", Verdict::kFail)}),
            three + entry("version = \">=53.1, <54.3\""));
  const std::string group =
      EntryText("CreateHardLink.*", "verdict = \"fail\"\nwhen.port = \"packet\"");
  EXPECT_EQ(Blessed(group, ChecksOfGroup("CreateHardLink", Verdict::kUnsupported)),
            group + "\n" +
                EntryText("CreateHardLink.*",
                          "verdict = \"unsupported\"\nwhen = { port = \"vector\" }", "TODO"));
}

TEST(BlessTest, WithoutAnythingThatTellsThemApartItIsRefused) {
  const ScratchFolder folder;
  const std::string text =
      EntryText("Lock.MissingObject", "verdict = \"unsupported\"\nwhen = { version = \"<53.1\" }");
  const std::string file = folder.Write("quorle.toml", text);
  RunRecord run = RunOf({CheckOf("Lock.MissingObject", Verdict::kFail)});
  run.target->filesystem = "nameless";
  BlessReport report;
  std::string problem;
  EXPECT_FALSE(Bless(file, {run}, AllChecks(), report, problem));
  EXPECT_EQ(problem,
            file +
                ":1: entry 1, \"Lock.MissingObject\": it has conditions of which the run says "
                "nothing, so no entry for \"Lock.MissingObject\" can be beside it");
  EXPECT_EQ(folder.Read("quorle.toml"), text);
}

// ---- What cannot be ----------------------------------------------------------------------------

/// The problem of blessing `file`, which fails and leaves `text` in it.
std::string RefusalOf(const ScratchFolder& folder, const std::string& name, const std::string& text,
                      const std::vector<RunRecord>& runs) {
  const std::string file = folder.Write(name, text);
  const Strings names = folder.Names();
  BlessReport report;
  std::string problem;
  EXPECT_FALSE(Bless(file, runs, AllChecks(), report, problem));
  EXPECT_EQ(folder.Read(name), text);
  EXPECT_EQ(folder.Names(), names);
  return problem;
}

const RunRecord& FailingRun() {
  static const RunRecord run = RunOf({CheckOf("Lock.MissingObject", Verdict::kFail)});
  return run;
}

TEST(BlessTest, AWrongFileIsRefusedAndStays) {
  const ScratchFolder folder;
  EXPECT_EQ(
      RefusalOf(folder, "a.toml",
                "[[expect]]\ncheck = \"Lock.MisingObject\"\nverdict = \"fail\"\nreason = \"r\"\n",
                {FailingRun()}),
      folder.path("a.toml") +
          ":2: entry 1, \"Lock.MisingObject\": there is no such check; did you mean "
          "\"Lock.MissingObject\"?");
  std::string problem;
  EXPECT_FALSE(CanBless(folder.path("a.toml"), AllChecks(), problem));
  EXPECT_TRUE(CanBless(folder.path("new.toml"), AllChecks(), problem));
}

TEST(BlessTest, RunsOfDifferentTargetsAreRefused) {
  const ScratchFolder folder;
  RunRecord other = FailingRun();
  other.start.port = "packet";
  EXPECT_EQ(RefusalOf(folder, "a.toml", "", {FailingRun(), other}),
            "runs of different ports or targets cannot be written to one file at once");
}

TEST(BlessTest, AForeignCheckIsRefused) {
  const ScratchFolder folder;
  EXPECT_EQ(
      RefusalOf(folder, "a.toml", "# mine", {RunOf({CheckOf("Other.Check", Verdict::kFail)})}),
      "cannot write what came out: this program has no check \"Other.Check\"");
}

TEST(BlessTest, WhatCannotBeWrittenIsNamed) {
  const ScratchFolder folder;
  BlessReport report;
  std::string problem;
  const auto refused = [&](const std::string& path) {
    EXPECT_FALSE(Bless(path, {FailingRun()}, AllChecks(), report, problem));
    return problem;
  };
  EXPECT_EQ(refused("/dev/full"), "cannot write /dev/full: No space left on device");
  EXPECT_EQ(refused(folder.path("none/a.toml")),
            "cannot write " + folder.path("none/a.toml") + ": No such file or directory");
  EXPECT_FALSE(CanBless(folder.path("none/a.toml"), AllChecks(), problem));
  EXPECT_EQ(problem, "cannot write " + folder.path("none/a.toml") + ": No such file or directory");
  EXPECT_EQ(refused(folder.path("")), "cannot write " + folder.path("") + ": Is a directory");
  const std::string file = folder.Write("file", "");
  EXPECT_EQ(refused(file + "/a.toml"), "cannot read " + file + "/a.toml: Not a directory");
  EXPECT_EQ(folder.Names(), Strings{"file"});
}

TEST(BlessTest, AFileThatMayNotBeWrittenIsRefusedBeforeTheRun) {
  const ScratchFolder folder;
  const std::string file = folder.Write("a.toml", "# mine\n");
  ASSERT_EQ(::chmod(file.c_str(), 0444), 0);
  ASSERT_EQ(::chmod(folder.path("").c_str(), 0755), 0);
  const auto is_refused = [&] {
    // Root may write everything.
    constexpr uid_t kNobody = 65534;
    if (::geteuid() == 0 && ::setuid(kNobody) != 0) return false;
    const std::string expected = "cannot write " + file + ": Permission denied";
    std::string before;
    std::string after;
    BlessReport report;
    return !CanBless(file, AllChecks(), before) && before == expected &&
           !Bless(file, {FailingRun()}, AllChecks(), report, after) && after == expected;
  };
  EXPECT_EXIT(std::exit(is_refused() ? 0 : 1), testing::ExitedWithCode(0), "");
  EXPECT_EQ(folder.Read("a.toml"), "# mine\n");
  EXPECT_EQ(folder.Names(), Strings{"a.toml"});
}

}  // namespace
}  // namespace quorle::selftest
