#include "results/expectations.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "selftest/unit/results/results_fixture.h"

namespace quorle::selftest {
namespace {

using Type = Judgement::Type;

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
  EXPECT_EQ(problem("{ port = \"socket\" }"),
            "\"socket\" is no port; there are vector, packet, classic");
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

}  // namespace
}  // namespace quorle::selftest
