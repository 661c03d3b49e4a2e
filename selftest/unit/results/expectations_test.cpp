#include "results/expectations.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "selftest/unit/results/results_fixture.h"

namespace quorle::selftest {
namespace {

using Type = Judgement::Type;

/// What is wrong with a file "quorle.toml" of this text; empty when nothing is.
std::string ProblemOf(const std::string& text) {
  Expectations expectations;
  std::string problem;
  const bool done = expectations.Read("quorle.toml", text, AllChecks(), problem);
  EXPECT_EQ(done, problem.empty());
  return problem;
}

Expectations Expecting(const std::string& text) {
  Expectations expectations;
  std::string problem;
  EXPECT_TRUE(expectations.Read("quorle.toml", text, AllChecks(), problem)) << problem;
  return expectations;
}

/// One entry, with `keys` beside its check and its reason.
std::string EntryText(const std::string& check, const std::string& keys) {
  return "[[expect]]\ncheck = \"" + check + "\"\n" + keys + "\nreason = \"known\"\n";
}

Judgement JudgeOne(const std::string& text, const CheckEvent& check) {
  return Expecting(text).Judge(RunOf({}), check);
}

Type JudgedType(const std::string& text, const CheckEvent& check) {
  return JudgeOne(text, check).type;
}

const char* const kMissingObject = "Lock.MissingObject";

// ---- Without an entry --------------------------------------------------------------------------

TEST(ExpectationsTest, WithoutAnEntryACheckIsExpectedToPassOrToBeSkipped) {
  for (const std::string text : {"", "strict = false\n"}) {
    EXPECT_EQ(JudgedType(text, CheckOf(kMissingObject, Verdict::kPass)), Type::kAsExpected);
    EXPECT_EQ(JudgedType(text, CheckOf(kMissingObject, Verdict::kSkipped)), Type::kAsExpected);
    EXPECT_EQ(JudgedType(text, CheckOf(kMissingObject, Verdict::kWarn)), Type::kAsExpected);
    EXPECT_EQ(JudgedType(text, CheckOf(kMissingObject, Verdict::kUnsupported)), Type::kUnexpected);
    EXPECT_EQ(JudgedType(text, CheckOf(kMissingObject, Verdict::kBlocked)), Type::kUnexpected);
    EXPECT_EQ(JudgedType(text, CheckOf(kMissingObject, Verdict::kFail)), Type::kUnexpected);
  }
}

TEST(ExpectationsTest, StrictExpectsNoWarning) {
  EXPECT_EQ(JudgedType("strict = true", CheckOf(kMissingObject, Verdict::kWarn)),
            Type::kUnexpected);
  EXPECT_EQ(JudgedType("strict = true", CheckOf(kMissingObject, Verdict::kPass)),
            Type::kAsExpected);
  const std::string warns = "strict = true\n" + EntryText(kMissingObject, "verdict = \"warn\"");
  EXPECT_EQ(JudgedType(warns, CheckOf(kMissingObject, Verdict::kWarn)), Type::kKnownFailure);
}

// ---- Verdicts and codes ------------------------------------------------------------------------

TEST(ExpectationsTest, AKnownFailureHasItsReasonAndItsPlace) {
  const Judgement judgement =
      JudgeOne("\n\n" + EntryText("Delete.RootDirectory", "verdict = \"fail\""),
               CheckOf("Delete.RootDirectory", Verdict::kFail));
  EXPECT_EQ(judgement.type, Type::kKnownFailure);
  EXPECT_TRUE(judgement.is_fine());
  EXPECT_EQ(judgement.reason, "known");
  EXPECT_EQ(judgement.at, "quorle.toml:3");
  EXPECT_EQ(judgement.expected, "fail");
}

TEST(ExpectationsTest, AnotherVerdictThanTheEntrysIsUnexpected) {
  const std::string fails = EntryText(kMissingObject, "verdict = \"fail\"");
  EXPECT_EQ(JudgedType(fails, CheckOf(kMissingObject, Verdict::kUnsupported)), Type::kUnexpected);
  const std::string passes = EntryText(kMissingObject, "verdict = \"pass\"");
  EXPECT_EQ(JudgedType(passes, CheckOf(kMissingObject, Verdict::kWarn)), Type::kUnexpected);
  EXPECT_EQ(JudgedType(passes, CheckOf(kMissingObject, Verdict::kFail)), Type::kUnexpected);
}

TEST(ExpectationsTest, AListAllowsEachOfItsVerdicts) {
  const std::string text = EntryText(kMissingObject, "verdict = [\"fail\", \"unsupported\"]");
  EXPECT_EQ(JudgedType(text, CheckOf(kMissingObject, Verdict::kFail)), Type::kKnownFailure);
  EXPECT_EQ(JudgedType(text, CheckOf(kMissingObject, Verdict::kUnsupported)), Type::kKnownFailure);
  EXPECT_EQ(JudgeOne(text, CheckOf(kMissingObject, Verdict::kFail)).expected,
            "fail or unsupported");
}

TEST(ExpectationsTest, AGroupPatternIsForEachOfItsChecks) {
  const std::string text = EntryText("CreateHardLink.*", "verdict = \"unsupported\"");
  EXPECT_EQ(JudgedType(text, CheckOf("CreateHardLink.LinkToFile", Verdict::kUnsupported)),
            Type::kKnownFailure);
  EXPECT_EQ(JudgedType(text, CheckOf("CreateSoftLink.LinkToFile", Verdict::kUnsupported)),
            Type::kUnexpected);
}

TEST(ExpectationsTest, ACodeMustBeShownByADiagnostic) {
  const std::string text = EntryText("Delete.RootDirectory", "verdict = \"fail\"\ncode = 212");
  EXPECT_EQ(JudgedType(text, CheckOf("Delete.RootDirectory", Verdict::kFail, 212)),
            Type::kKnownFailure);
  const Judgement other = JudgeOne(text, CheckOf("Delete.RootDirectory", Verdict::kFail, 205));
  EXPECT_EQ(other.type, Type::kUnexpected);
  EXPECT_EQ(other.missing_code, 212);
  EXPECT_EQ(JudgedType(text, CheckOf("Delete.RootDirectory", Verdict::kFail)), Type::kUnexpected);
  CheckEvent both = CheckOf("Delete.RootDirectory", Verdict::kFail, 205);
  both.diagnostics.push_back({.type = DiagnosticClass::kWarn, .code = 212, .text = "Again."});
  EXPECT_EQ(JudgedType(text, both), Type::kKnownFailure) << "any of its diagnostics";
}

TEST(ExpectationsTest, UnsupportedNeedsNoCodeAndShows209ByItself) {
  const CheckEvent check = CheckOf(kMissingObject, Verdict::kUnsupported);
  EXPECT_EQ(JudgedType(EntryText(kMissingObject, "verdict = \"unsupported\""), check),
            Type::kKnownFailure);
  EXPECT_EQ(JudgedType(EntryText(kMissingObject, "verdict = \"unsupported\"\ncode = 209"), check),
            Type::kKnownFailure);
  EXPECT_EQ(JudgedType(EntryText(kMissingObject, "verdict = \"unsupported\"\ncode = 212"), check),
            Type::kUnexpected);
}

TEST(ExpectationsTest, OfACheckThatPassesNoCodeIsAsked) {
  const std::string text = EntryText(kMissingObject, "verdict = [\"pass\", \"fail\"]\ncode = 205");
  EXPECT_EQ(JudgedType(text, CheckOf(kMissingObject, Verdict::kPass)), Type::kAsExpected);
}

TEST(ExpectationsTest, BlockedIsNeverExpected) {
  const std::string text =
      EntryText("Lock.*", "verdict = [\"fail\", \"unsupported\", \"skipped\"]");
  EXPECT_EQ(JudgedType(text, CheckOf(kMissingObject, Verdict::kBlocked)), Type::kUnexpected);
  EXPECT_EQ(
      ProblemOf(EntryText(kMissingObject, "verdict = \"blocked\"")),
      "quorle.toml:3: entry 1, \"Lock.MissingObject\": \"blocked\" is never expected; what is "
      "in the way can be");
}

TEST(ExpectationsTest, ACheckThatWasSkippedIsAsExpectedWhateverItsEntrySays) {
  for (const char* const why : {"not selected", "the group ended", "nothing to do"}) {
    const CheckEvent check = CheckOf(kMissingObject, Verdict::kSkipped, 0, why);
    EXPECT_EQ(JudgedType(EntryText(kMissingObject, "verdict = \"fail\"\ncode = 205"), check),
              Type::kAsExpected);
    EXPECT_EQ(JudgedType(EntryText(kMissingObject, "verdict = \"pass\""), check),
              Type::kAsExpected);
  }
}

// ---- Surprise passes ---------------------------------------------------------------------------

TEST(ExpectationsTest, ASurprisePassShowsTheEntryToDelete) {
  const std::string entry =
      "[[expect]]  # since the last release\r\ncheck = \"Delete.RootDirectory\"\r\n"
      "verdict = \"fail\"\r\nreason = \"\"\"\r\nIt is not\r\nrefused.\"\"\" # why";
  const Judgement judgement =
      JudgeOne("strict = true\r\n# A comment.\r\n" + entry + "\r\n\r\n# Below.\r\n",
               CheckOf("Delete.RootDirectory", Verdict::kPass));
  EXPECT_EQ(judgement.type, Type::kSurprisePass);
  EXPECT_FALSE(judgement.is_fine());
  EXPECT_EQ(judgement.entry, entry);
  EXPECT_EQ(judgement.at, "quorle.toml:3");
  EXPECT_EQ(judgement.missing_code, 0);
}

TEST(ExpectationsTest, AnEntryThatListsPassNeverSurprises) {
  const std::string text = EntryText(kMissingObject, "verdict = [\"fail\", \"pass\"]");
  EXPECT_EQ(JudgedType(text, CheckOf(kMissingObject, Verdict::kPass)), Type::kAsExpected);
  EXPECT_EQ(JudgedType(text, CheckOf(kMissingObject, Verdict::kWarn)), Type::kUnexpected);
}

TEST(ExpectationsTest, AWarningIsASurprisePassWhereWarningsAreFine) {
  const std::string text = EntryText(kMissingObject, "verdict = \"fail\"");
  EXPECT_EQ(JudgedType(text, CheckOf(kMissingObject, Verdict::kWarn)), Type::kSurprisePass);
  EXPECT_EQ(JudgedType("strict = true\n" + text, CheckOf(kMissingObject, Verdict::kWarn)),
            Type::kUnexpected);
}

// ---- Conditions --------------------------------------------------------------------------------

/// Whether an entry with `when` is applied to the run of RunOf(): its check fails, as it says.
bool Applies(const std::string& when) {
  const std::string text = EntryText(kMissingObject, "verdict = \"fail\"\nwhen = { " + when + " }");
  return JudgedType(text, CheckOf(kMissingObject, Verdict::kFail)) == Type::kKnownFailure;
}

TEST(ExpectationsTest, AnEntryWhoseConditionsDoNotHoldIsNotThere) {
  EXPECT_TRUE(Applies("port = \"vector\""));
  EXPECT_FALSE(Applies("port = \"packet\""));
  EXPECT_TRUE(Applies("handler = \"ram\""));
  EXPECT_FALSE(Applies("handler = \"plugin\""));
  EXPECT_TRUE(Applies("dostype = \"0x444F5309\""));
  EXPECT_TRUE(Applies("dostype = \"0x444f5309\""));
  EXPECT_FALSE(Applies("dostype = \"0x444F5303\""));
  EXPECT_TRUE(Applies("port = \"vector\", handler = \"ram\", version = \">=53.1\""));
  EXPECT_FALSE(Applies("port = \"vector\", handler = \"ram\", version = \">53.1\""));
  EXPECT_TRUE(Applies(""));
  const std::string other =
      EntryText(kMissingObject, "verdict = \"fail\"\nwhen = { port = \"packet\" }");
  EXPECT_EQ(JudgedType(other, CheckOf(kMissingObject, Verdict::kPass)), Type::kAsExpected)
      << "no surprise";
}

TEST(ExpectationsTest, VersionsAreComparedAsNumbers) {
  // The filesystem is version 53.1.
  EXPECT_TRUE(Applies("version = \"<54.2\""));
  EXPECT_FALSE(Applies("version = \"<53.1\""));
  EXPECT_TRUE(Applies("version = \"<53.10\""));
  EXPECT_TRUE(Applies("version = \"<=53.1\""));
  EXPECT_FALSE(Applies("version = \"<=53.0\""));
  EXPECT_TRUE(Applies("version = \">53.0\""));
  EXPECT_FALSE(Applies("version = \">53.1\""));
  EXPECT_TRUE(Applies("version = \">=53.1\""));
  EXPECT_FALSE(Applies("version = \">=53.2\""));
  EXPECT_TRUE(Applies("version = \"=53.1\""));
  EXPECT_TRUE(Applies("version = \"53.1\""));
  EXPECT_FALSE(Applies("version = \"53.10\""));
  EXPECT_TRUE(Applies("version = \">=9.0\"")) << "9 is less than 53";
  EXPECT_TRUE(Applies("version = \">=53.0, <54.0\""));
  EXPECT_TRUE(Applies("version = \"> 53.0 <54.0\""));
  EXPECT_FALSE(Applies("version = \">=53.0,<53.1\""));
}

TEST(ExpectationsTest, TheVersionIsTheFirstWordThatIsOne) {
  EXPECT_EQ(VersionIn("ram-handler 53.1 (21.11.2026)"), (std::uint64_t{53} << 32) + 1);
  EXPECT_EQ(VersionIn("fs2.0 1.293, (1.2.2015)"), (std::uint64_t{1} << 32) + 293);
  EXPECT_EQ(VersionIn("\t7.0"), std::uint64_t{7} << 32);
  for (const char* const text : {"", "ram-handler", "a 53", "a 53.", "a .1", "a 1.2.3", "a v53.1",
                                 "a 53.1b", "a 99999999999.1", "a -1.2"}) {
    EXPECT_EQ(VersionIn(text), std::nullopt) << text;
  }
}

TEST(ExpectationsTest, NothingIsKnownOfARunWithoutATarget) {
  RunRecord run = RunOf({});
  run.target.reset();
  const CheckEvent check = CheckOf(kMissingObject, Verdict::kFail);
  for (const char* const when : {"version = \"<54.2\"", "dostype = \"0x444F5309\""}) {
    const Expectations expectations = Expecting(
        EntryText(kMissingObject, std::string("verdict = \"fail\"\nwhen = { ") + when + " }"));
    EXPECT_EQ(expectations.Judge(run, check).type, Type::kUnexpected) << when;
  }
}

TEST(ExpectationsTest, WrongConditionsAreRefused) {
  const auto problem = [](const std::string& when) {
    const std::string start = "quorle.toml:4: entry 1, \"Lock.MissingObject\": ";
    const std::string text =
        ProblemOf(EntryText(kMissingObject, "verdict = \"fail\"\nwhen = " + when));
    EXPECT_TRUE(text.starts_with(start)) << text;
    return text.substr(std::min(start.size(), text.size()));
  };
  EXPECT_EQ(problem("\"packet\""), "\"when\" is no table such as { port = \"packet\" }");
  EXPECT_EQ(problem("{ prot = \"packet\" }"),
            "\"prot\" is no key of \"when\"; there are port, handler, dostype, version");
  EXPECT_EQ(problem("{ port = \"socket\" }"), "\"socket\" is no port; there are vector, packet");
  EXPECT_EQ(problem("{ port = 1 }"), "\"port\" is no text");
  EXPECT_EQ(problem("{ handler = [\"ram\"] }"), "\"handler\" is no text");
  EXPECT_EQ(problem("{ handler = \" \" }"), "\"handler\" is empty");
  for (const std::string type : {"DOS9", "444F5309", "0x", "0x444F53091", "0x-1", "0x44 "}) {
    EXPECT_EQ(problem("{ dostype = \"" + type + "\" }"),
              "\"" + type + "\" is no DOS type such as \"0x444F5303\"");
  }
  for (const std::string version : {"<54", "~54.2", "<54.2beta", "<54.2.1", "<", ",", "54.2>53.1",
                                    "!=54.2", "==54.2", "<54.99999999999"}) {
    EXPECT_EQ(problem("{ version = \"" + version + "\" }"),
              "\"" + version +
                  "\" does not compare with a version, as \"<54.2\" and \">=53.1, <54.2\" do");
  }
  for (const std::string version :
       {"<0.0", ">=54.0, <53.0", "=54.0 =54.1", ">4294967295.4294967295"}) {
    EXPECT_EQ(problem("{ version = \"" + version + "\" }"), "no version is \"" + version + "\"");
  }
}

// ---- Several entries ---------------------------------------------------------------------------

TEST(ExpectationsTest, TwoEntriesThatContradictEachOtherAreRefused) {
  const std::string fails = EntryText(kMissingObject, "verdict = \"fail\"");
  EXPECT_EQ(ProblemOf(fails + EntryText(kMissingObject, "verdict = \"unsupported\"")),
            "quorle.toml:5: entry 2, \"Lock.MissingObject\": it contradicts entry 1 in line 1");
  EXPECT_EQ(ProblemOf(fails + EntryText(kMissingObject, "verdict = \"fail\"\ncode = 205")),
            "quorle.toml:5: entry 2, \"Lock.MissingObject\": it contradicts entry 1 in line 1");
  // Patterns do when they meet in a check.
  const std::string group = EntryText("Delete.*", "verdict = \"fail\"");
  EXPECT_EQ(ProblemOf(group + EntryText("*.RootDirectory", "verdict = \"unsupported\"")),
            "quorle.toml:5: entry 2, \"*.RootDirectory\": it contradicts entry 1 in line 1");
  EXPECT_EQ(ProblemOf(group + EntryText("Lock.*", "verdict = \"unsupported\"")), "");
  EXPECT_EQ(ProblemOf(group + EntryText("*.RootDirectory", "verdict = \"fail\"")), "") << "agree";
}

TEST(ExpectationsTest, TheSameEntryTwiceIsRefused) {
  const std::string fails = EntryText(kMissingObject, "verdict = [\"fail\", \"warn\"]");
  EXPECT_EQ(
      ProblemOf(fails + EntryText(kMissingObject, "verdict = [\"warn\", \"fail\"]")),
      "quorle.toml:5: entry 2, \"Lock.MissingObject\": it is there already, as entry 1 in line "
      "1");
  EXPECT_EQ(
      ProblemOf(fails + EntryText(kMissingObject,
                                  "verdict = [\"warn\", \"fail\"]\nwhen = { port = \"packet\" }")),
      "quorle.toml:5: entry 2, \"Lock.MissingObject\": it is there already, as entry 1 in line "
      "1");
}

TEST(ExpectationsTest, EntriesForDifferentRunsDoNotMeet) {
  const auto both = [](const std::string& one, const std::string& other) {
    return ProblemOf(
        EntryText(kMissingObject, "verdict = \"fail\"\nwhen = { " + one + " }") +
        EntryText(kMissingObject, "verdict = \"unsupported\"\nwhen = { " + other + " }"));
  };
  const std::string contradicts =
      "quorle.toml:6: entry 2, \"Lock.MissingObject\": it contradicts entry 1 in line 1";
  EXPECT_EQ(both("port = \"vector\"", "port = \"packet\""), "");
  EXPECT_EQ(both("handler = \"ram\"", "handler = \"plugin\""), "");
  EXPECT_EQ(both("dostype = \"0x1\"", "dostype = \"0x2\""), "");
  EXPECT_EQ(both("version = \"<54.2\"", "version = \">=54.2\""), "");
  EXPECT_EQ(both("version = \"<54.2\"", "version = \">=54.1\""), contradicts);
  EXPECT_EQ(both("version = \"<=54.2\"", "version = \">=54.2\""), contradicts);
  EXPECT_EQ(both("port = \"vector\"", "handler = \"ram\""), contradicts) << "a run can be both";
}

TEST(ExpectationsTest, AnIdIsAnExceptionFromAPattern) {
  const std::string pattern = EntryText("CreateHardLink.*", "verdict = \"unsupported\"");
  const std::string exception = EntryText("CreateHardLink.LinkToFile", "verdict = \"fail\"");
  for (const std::string& text : {pattern + exception, exception + pattern}) {
    EXPECT_EQ(JudgedType(text, CheckOf("CreateHardLink.LinkToFile", Verdict::kFail)),
              Type::kKnownFailure);
    EXPECT_EQ(JudgedType(text, CheckOf("CreateHardLink.LinkToFile", Verdict::kUnsupported)),
              Type::kUnexpected);
    EXPECT_EQ(JudgedType(text, CheckOf("CreateHardLink.DirectoryLoop", Verdict::kUnsupported)),
              Type::kKnownFailure);
  }
  const std::string elsewhere =
      EntryText("CreateHardLink.LinkToFile", "verdict = \"fail\"\nwhen = { port = \"packet\" }");
  EXPECT_EQ(
      JudgedType(pattern + elsewhere, CheckOf("CreateHardLink.LinkToFile", Verdict::kUnsupported)),
      Type::kKnownFailure)
      << "an exception for other runs";
}

TEST(ExpectationsTest, ACheckOfAnotherVersionIsMatchedByPatterns) {
  const std::string text = EntryText("Lock.*", "verdict = \"fail\"");
  EXPECT_EQ(JudgedType(text, CheckOf("Lock.NotYetThere", Verdict::kFail)), Type::kKnownFailure);
  EXPECT_EQ(JudgedType(text, CheckOf("Unlock.NotYetThere", Verdict::kFail)), Type::kUnexpected);
}

// ---- What is wrong with a file -----------------------------------------------------------------

TEST(ExpectationsTest, AnUnknownIdIsRefusedWithTheNearestOne) {
  const std::string fails = "verdict = \"fail\"";
  EXPECT_EQ(ProblemOf(EntryText("Lock.MisingObject", fails)),
            "quorle.toml:2: entry 1, \"Lock.MisingObject\": there is no such check; did you mean "
            "\"Lock.MissingObject\"?");
  EXPECT_EQ(ProblemOf(EntryText("CreateHardlinks.*", fails)),
            "quorle.toml:2: entry 1, \"CreateHardlinks.*\": no check fits it; did you mean "
            "\"CreateHardLink.*\"?");
  EXPECT_EQ(
      ProblemOf(EntryText("Renam", fails)),
      "quorle.toml:2: entry 1, \"Renam\": there is no such check; did you mean \"Rename.*\"?");
  EXPECT_EQ(ProblemOf(EntryText("Lock", fails)),
            "quorle.toml:2: entry 1, \"Lock\": it is a group; its checks are \"Lock.*\"");
  EXPECT_EQ(ProblemOf(EntryText("SomethingQuiteDifferent", fails)),
            "quorle.toml:2: entry 1, \"SomethingQuiteDifferent\": there is no such check; quorle "
            "--list-checks lists all");
  EXPECT_EQ(ProblemOf(EntryText("Lock.[0-9]*", fails)),
            "quorle.toml:2: entry 1, \"Lock.[0-9]*\": no check fits it; quorle --list-checks lists "
            "all");
}

TEST(ExpectationsTest, TheReasonIsObligatory) {
  const std::string start = "[[expect]]\ncheck = \"Lock.MissingObject\"\nverdict = \"fail\"\n";
  const std::string entry = "entry 1, \"Lock.MissingObject\": ";
  EXPECT_EQ(ProblemOf(start), "quorle.toml:1: " + entry + "\"reason\" is missing");
  EXPECT_EQ(ProblemOf(start + "reason = \"\""), "quorle.toml:4: " + entry + "\"reason\" is empty");
  EXPECT_EQ(ProblemOf(start + "reason = \" \\n\""),
            "quorle.toml:4: " + entry + "\"reason\" is empty");
}

TEST(ExpectationsTest, ATodoIsMentionedAndRefusedByAStrictFile) {
  const std::string todo =
      "[[expect]]\ncheck = \"Lock.MissingObject\"\nverdict = \"fail\"\nreason = \"TODO\"\n";
  EXPECT_EQ(
      Expecting(EntryText("Rename.*", "verdict = \"fail\"") + todo).TodoLines(),
      std::vector<std::string>{"quorle.toml:5: entry 2, \"Lock.MissingObject\": the reason is "
                               "still \"TODO\""});
  EXPECT_EQ(ProblemOf("strict = true\n" + todo),
            "quorle.toml:2: entry 1, \"Lock.MissingObject\": the reason is still \"TODO\", which a "
            "strict file does not allow");
}

TEST(ExpectationsTest, MissingKeysAreNamed) {
  EXPECT_EQ(ProblemOf("[[expect]]\nverdict = \"fail\"\nreason = \"r\"\n"),
            "quorle.toml:1: entry 1: \"check\" is missing");
  EXPECT_EQ(ProblemOf("\n[[expect]]\ncheck = \"Lock.*\"\nreason = \"r\"\n"),
            "quorle.toml:2: entry 1, \"Lock.*\": \"verdict\" is missing");
}

TEST(ExpectationsTest, WrongTypesAreNamed) {
  const std::string start = "quorle.toml:3: entry 1, \"Lock.MissingObject\": ";
  const auto problem = [](const std::string& keys) {
    return ProblemOf(EntryText(kMissingObject, keys));
  };
  EXPECT_EQ(problem("verdict = 1"), start + "\"verdict\" is neither a text nor a list of texts");
  EXPECT_EQ(problem("verdict = [\"fail\", 1]"),
            start + "\"verdict\" is neither a text nor a list of texts");
  EXPECT_EQ(problem("verdict = []"), start + "\"verdict\" is an empty list");
  for (const std::string name : {"failed", "note", "FAIL", ""}) {
    EXPECT_EQ(
        problem("verdict = \"" + name + "\""),
        start + "\"" + name + "\" is no verdict; there are pass, warn, unsupported, fail, skipped");
  }
  for (const std::string code : {"\"212\"", "0", "-1", "2147483648", "1.5", "[212]"}) {
    EXPECT_EQ(problem("code = " + code + "\nverdict = \"fail\""),
              start + "\"code\" is no error code, which is a number from 1");
  }
  EXPECT_EQ(ProblemOf("[[expect]]\ncheck = [\"Lock.*\"]\n"),
            "quorle.toml:2: entry 1: \"check\" is no text");
  EXPECT_EQ(ProblemOf("[[expect]]\ncheck = \"Lock.*\"\nreason = 1\n"),
            "quorle.toml:3: entry 1, \"Lock.*\": \"reason\" is no text");
  EXPECT_EQ(ProblemOf("strict = 1\n"), "quorle.toml:1: \"strict\" is not true or false");
}

TEST(ExpectationsTest, UnknownKeysAreNamed) {
  EXPECT_EQ(
      ProblemOf(EntryText(kMissingObject, "verdit = \"fail\"")),
      "quorle.toml:3: entry 1, \"Lock.MissingObject\": \"verdit\" is no key; there are check, "
      "verdict, code, when, reason");
  EXPECT_EQ(ProblemOf("\nstrikt = true\n"),
            "quorle.toml:2: \"strikt\" is no key; there are strict and [[expect]]");
  EXPECT_EQ(ProblemOf("[other]\nkey = 1\n"),
            "quorle.toml:1: \"other\" is no key; there are strict and [[expect]]");
}

TEST(ExpectationsTest, EntriesStandInLinesOfTheirOwn) {
  const std::string why = "an entry begins with [[expect]], in a line of its own";
  EXPECT_EQ(ProblemOf("expect = [{check = \"Lock.*\", verdict = \"fail\", reason = \"r\"}]\n"),
            "quorle.toml:1: " + why);
  EXPECT_EQ(ProblemOf("[expect]\ncheck = \"Lock.*\"\n"), "quorle.toml:1: " + why);
  EXPECT_EQ(ProblemOf("\nexpect = []\n"), "quorle.toml:2: " + why);
  EXPECT_EQ(ProblemOf("expect = 1\n"), "quorle.toml:1: " + why);
}

TEST(ExpectationsTest, ConditionsCanBeWrittenInEachWayOfToml) {
  for (const std::string when :
       {"when = { port = \"packet\" }", "when.port = \"packet\"", "when.'port' = 'packet'"}) {
    const std::string text = EntryText(kMissingObject, "verdict = \"fail\"\n" + when);
    EXPECT_EQ(JudgedType(text, CheckOf(kMissingObject, Verdict::kFail)), Type::kUnexpected) << when;
  }
  const std::string table = EntryText(kMissingObject, "verdict = \"fail\"") +
                            "[expect.when]\nport = \"vector\"\n" +
                            EntryText("Lock.ExclusiveOverShared", "verdict = \"fail\"");
  const Judgement judgement = JudgeOne(table, CheckOf(kMissingObject, Verdict::kPass));
  EXPECT_EQ(judgement.type, Type::kSurprisePass);
  EXPECT_TRUE(judgement.entry.ends_with("\n[expect.when]\nport = \"vector\"")) << judgement.entry;
}

TEST(ExpectationsTest, WhatIsNoTomlIsRefusedWithItsLine) {
  for (const std::string& text :
       {EntryText(kMissingObject, "verdict = fail"), EntryText(kMissingObject, "verdict ="),
        std::string("\n\n[[expect]\n"), std::string("\n\n\"\xFF\" = 1\n"),
        std::string("\n\na = 1\0", 8)}) {
    const std::string problem = ProblemOf(text);
    EXPECT_TRUE(problem.starts_with("quorle.toml:3: ")) << problem;
    EXPECT_EQ(problem.find('\n'), std::string::npos) << problem;
  }
}

TEST(ExpectationsTest, TablesWithinTablesWithoutEndAreRefused) {
  std::string dotted = "a";
  for (int i = 0; i < 100'000; ++i) dotted += ".a";
  const std::string nested(100'000, '[');
  EXPECT_EQ(ProblemOf("# a.b.c\n" + dotted + " = 1\n"),
            "quorle.toml:2: a name of more parts than any key has");
  EXPECT_TRUE(ProblemOf("a = " + nested).starts_with("quorle.toml:1: "));
  const std::string points(100, '.');
  EXPECT_EQ(ProblemOf("# " + points + "\n" +
                      "[[expect]]\ncheck = \"Lock.*\"\nverdict = 'fail'\nreason = \"\"\"\\\"\"\"" +
                      points + "\"\"\" # '" + points + "\n"),
            "")
      << "texts and comments have as many as they like";
}

TEST(ExpectationsTest, CharactersBeyondAsciiAreInTextsAndComments) {
  const std::string why = ": a character beyond ASCII outside of texts and comments";
  for (const std::string line :
       {"\xC3\xA9 = 1", "strict = true \xC3\xA9", "strict =\xE3\x80\x81 true",
        "a = '''b''''' \xC3\xA9", "a = \"b\\\"\" \xC3\xA9", "[\xFF]"}) {
    EXPECT_EQ(ProblemOf("# \xC3\xA9\n" + line), "quorle.toml:2" + why) << line;
    EXPECT_EQ(ProblemOf("\xEF\xBB\xBF# \xC3\xA9\n" + line), "quorle.toml:2" + why) << line;
  }
  EXPECT_EQ(ProblemOf("# \xC3\xA9\n[[expect]]\ncheck = 'Lock.*' # \xC3\xA9\nverdict = 'fail'\n"
                      "reason = \"\"\"\xC3\xA9\"\n\\\"\"\xC3\xA9\"\"\"\"\" # '\xC3\xA9"),
            "");
}

TEST(ExpectationsTest, WhatTheParserAssertsIsRefused) {
  for (const std::string line :
       {"[=]", "[[.a]]", "[ # ]", "[[\t", "\t[", "[\xC3\xA9]", "a = [,]", "a = [#", "a = {b = ]}",
        "a = \xC2\xA0", "a.", "a.=1", "\"\".[", "="}) {
    const std::string problem = ProblemOf("\n" + line);
    EXPECT_TRUE(problem.starts_with("quorle.toml:2: ")) << problem;
  }
}

TEST(ExpectationsTest, LongNamesAndControlCharactersMakeNoLongMessage) {
  const std::string problem = ProblemOf(EntryText(std::string(100'000, 'x'), "verdict = 'fail'"));
  EXPECT_LT(problem.size(), 250U);
  EXPECT_EQ(ProblemOf(EntryText("a\\nb\\u001B", "verdict = 'fail'")),
            "quorle.toml:2: entry 1, \"a?b?\": there is no such check; quorle --list-checks lists "
            "all");
}

TEST(ExpectationsTest, ByteOrderMarkReturnsAndNoLastLineBreakAreFine) {
  const std::string text =
      "\xEF\xBB\xBF[[expect]]\r\ncheck = \"Lock.*\"\r\nverdict = \"fail\"\r\nreason = \"r\xC3\xA9\"";
  const Judgement judgement = JudgeOne(text, CheckOf(kMissingObject, Verdict::kPass));
  EXPECT_EQ(judgement.type, Type::kSurprisePass);
  EXPECT_EQ(judgement.entry, text.substr(3));
}

/// The indented blocks of a page that hold entries.
std::vector<std::string> BlocksOf(const char* path) {
  std::vector<std::string> blocks(1);
  std::ifstream page(path);
  for (std::string line; std::getline(page, line);) {
    const bool is_inside = line.empty() || line.starts_with("    ");
    if (is_inside && !line.empty()) blocks.back() += line.substr(4) + "\n";
    if (!is_inside) blocks.emplace_back();
  }
  std::erase_if(blocks, [](const std::string& block) {
    return block.find("[[expect]]") == std::string::npos;
  });
  return blocks;
}

TEST(ExpectationsTest, TheExamplesForAuthorsAreRight) {
  const std::vector<std::string> blocks = BlocksOf(QUORLE_EXPECTATIONS_PAGE);
  ASSERT_EQ(blocks.size(), 2U);
  for (const std::string& block : blocks) EXPECT_EQ(ProblemOf(block), "") << block;
  EXPECT_EQ(JudgedType(blocks[0], CheckOf("Delete.RootDirectory", Verdict::kFail, 212)),
            Type::kKnownFailure);
  EXPECT_EQ(JudgedType(blocks[1], CheckOf("CreateHardLink.LinkToFile", Verdict::kPass)),
            Type::kAsExpected);
}

TEST(ExpectationsTest, AFileThatCannotBeReadIsNamed) {
  const ScratchFolder folder;
  Expectations expectations;
  std::string problem;
  EXPECT_FALSE(expectations.Load(folder.path("none.toml"), AllChecks(), problem));
  EXPECT_EQ(problem, "cannot read " + folder.path("none.toml") + ": No such file or directory");
  EXPECT_FALSE(expectations.Load(folder.path(""), AllChecks(), problem));
  EXPECT_EQ(problem, "cannot read " + folder.path("") + ": Is a directory");
  EXPECT_FALSE(expectations.Load("/dev/zero", AllChecks(), problem));
  EXPECT_EQ(problem, "/dev/zero: no file of expectations: it is larger than 1048576 bytes");
  const std::string file = folder.Write("quorle.toml", EntryText("Lok.*", "verdict = \"fail\""));
  EXPECT_FALSE(expectations.Load(file, AllChecks(), problem));
  EXPECT_EQ(problem, file + ":2: entry 1, \"Lok.*\": no check fits it; did you mean \"Lock.*\"?");
}

TEST(ExpectationsTest, AWrongFileLeavesWhatWasReadBefore) {
  Expectations expectations = Expecting(EntryText(kMissingObject, "verdict = \"fail\""));
  std::string problem;
  EXPECT_FALSE(expectations.Read("other.toml", "[[expect]]", AllChecks(), problem));
  EXPECT_EQ(expectations.Judge(RunOf({}), CheckOf(kMissingObject, Verdict::kFail)).at,
            "quorle.toml:1");
}

}  // namespace
}  // namespace quorle::selftest
