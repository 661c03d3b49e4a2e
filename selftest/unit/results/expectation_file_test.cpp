#include "results/expectation_file.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "results/expectations.h"
#include "selftest/unit/results/results_fixture.h"

namespace quorle::selftest {
namespace {

Judgement JudgeByFile(const std::string& text, const CheckEvent& check) {
  return Expecting(text).Judge(RunOf({}), check);
}

Judgement::Type TypeByFile(const std::string& text, const CheckEvent& check) {
  return JudgeByFile(text, check).type;
}

const char* const kFileCheck = "Lock.MissingObject";

TEST(ExpectationFileTest, AnUnknownIdIsRefusedWithTheNearestOne) {
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

TEST(ExpectationFileTest, TheReasonIsObligatory) {
  const std::string start = "[[expect]]\ncheck = \"Lock.MissingObject\"\nverdict = \"fail\"\n";
  const std::string entry = "entry 1, \"Lock.MissingObject\": ";
  EXPECT_EQ(ProblemOf(start), "quorle.toml:1: " + entry + "\"reason\" is missing");
  EXPECT_EQ(ProblemOf(start + "reason = \"\""), "quorle.toml:4: " + entry + "\"reason\" is empty");
  EXPECT_EQ(ProblemOf(start + "reason = \" \\n\""),
            "quorle.toml:4: " + entry + "\"reason\" is empty");
}

TEST(ExpectationFileTest, ATodoIsMentionedAndRefusedByAStrictFile) {
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

TEST(ExpectationFileTest, MissingKeysAreNamed) {
  EXPECT_EQ(ProblemOf("[[expect]]\nverdict = \"fail\"\nreason = \"r\"\n"),
            "quorle.toml:1: entry 1: \"check\" is missing");
  EXPECT_EQ(ProblemOf("\n[[expect]]\ncheck = \"Lock.*\"\nreason = \"r\"\n"),
            "quorle.toml:2: entry 1, \"Lock.*\": \"verdict\" is missing");
}

TEST(ExpectationFileTest, WrongTypesAreNamed) {
  const std::string start = "quorle.toml:3: entry 1, \"Lock.MissingObject\": ";
  const auto problem = [](const std::string& keys) {
    return ProblemOf(EntryText(kFileCheck, keys));
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

TEST(ExpectationFileTest, UnknownKeysAreNamed) {
  EXPECT_EQ(
      ProblemOf(EntryText(kFileCheck, "verdit = \"fail\"")),
      "quorle.toml:3: entry 1, \"Lock.MissingObject\": \"verdit\" is no key; there are check, "
      "verdict, code, when, reason");
  EXPECT_EQ(ProblemOf("\nstrikt = true\n"),
            "quorle.toml:2: \"strikt\" is no key; there are strict, [[expect]] and [[difference]]");
  EXPECT_EQ(ProblemOf("[other]\nkey = 1\n"),
            "quorle.toml:1: \"other\" is no key; there are strict, [[expect]] and [[difference]]");
}

TEST(ExpectationFileTest, KnownDifferencesHaveAnIdAndAReason) {
  ExpectationFile file;
  std::string problem;
  ASSERT_TRUE(ParseExpectations("quorle.toml",
                                EntryText(kFileCheck, "verdict = \"fail\"") +
                                    "[[difference]]\nid = \"rename-refused\"\nreason = \"r\"\n"
                                    "[[difference]]\nreason = \"s\"\nid = \"lock-code\"\n",
                                file, problem))
      << problem;
  ASSERT_EQ(file.differences.size(), 2U);
  EXPECT_EQ(file.differences[0].id, "rename-refused");
  EXPECT_EQ(file.differences[0].reason, "r");
  EXPECT_EQ(file.differences[1].id, "lock-code");
  EXPECT_EQ(file.entries.size(), 1U);

  const std::string known = "[[difference]]\nid = \"a\"\nreason = \"r\"\n";
  EXPECT_EQ(ProblemOf(known + known), "quorle.toml:4: \"a\" is there twice, at first in line 1");
  EXPECT_EQ(ProblemOf("[[difference]]\nid = \"a\"\n"), "quorle.toml:1: \"reason\" is missing");
  EXPECT_EQ(ProblemOf("[[difference]]\nreason = \"r\"\n"), "quorle.toml:1: \"id\" is missing");
  EXPECT_EQ(ProblemOf("[[difference]]\nid = 1\n"), "quorle.toml:2: \"id\" is no text, or empty");
  EXPECT_EQ(ProblemOf("[[difference]]\nid = \" \"\n"),
            "quorle.toml:2: \"id\" is no text, or empty");
  EXPECT_EQ(ProblemOf("[[difference]]\nidd = \"a\"\n"),
            "quorle.toml:2: \"idd\" is no key; there are id, reason");
  const std::string why = "a known difference begins with [[difference]], in a line of its own";
  EXPECT_EQ(ProblemOf("difference = 1\n"), "quorle.toml:1: " + why);
  EXPECT_EQ(ProblemOf("difference = [1]\n"), "quorle.toml:1: " + why);
}

TEST(ExpectationFileTest, EntriesStandInLinesOfTheirOwn) {
  const std::string why = "an entry begins with [[expect]], in a line of its own";
  EXPECT_EQ(ProblemOf("expect = [{check = \"Lock.*\", verdict = \"fail\", reason = \"r\"}]\n"),
            "quorle.toml:1: " + why);
  EXPECT_EQ(ProblemOf("[expect]\ncheck = \"Lock.*\"\n"), "quorle.toml:1: " + why);
  EXPECT_EQ(ProblemOf("\nexpect = []\n"), "quorle.toml:2: " + why);
  EXPECT_EQ(ProblemOf("expect = 1\n"), "quorle.toml:1: " + why);
}

TEST(ExpectationFileTest, ConditionsCanBeWrittenInEachWayOfToml) {
  for (const std::string when :
       {"when = { port = \"packet\" }", "when.port = \"packet\"", "when.'port' = 'packet'"}) {
    const std::string text = EntryText(kFileCheck, "verdict = \"fail\"\n" + when);
    EXPECT_EQ(TypeByFile(text, CheckOf(kFileCheck, Verdict::kFail)), Judgement::Type::kUnexpected)
        << when;
  }
  const std::string table = EntryText(kFileCheck, "verdict = \"fail\"") +
                            "[expect.when]\nport = \"vector\"\n" +
                            EntryText("Lock.ExclusiveOverShared", "verdict = \"fail\"");
  const Judgement judgement = JudgeByFile(table, CheckOf(kFileCheck, Verdict::kPass));
  EXPECT_EQ(judgement.type, Judgement::Type::kSurprisePass);
  EXPECT_TRUE(judgement.entry.ends_with("\n[expect.when]\nport = \"vector\"")) << judgement.entry;
}

TEST(ExpectationFileTest, WhatIsNoTomlIsRefusedWithItsLine) {
  for (const std::string& text :
       {EntryText(kFileCheck, "verdict = fail"), EntryText(kFileCheck, "verdict ="),
        std::string("\n\n[[expect]\n"), std::string("\n\n\"\xFF\" = 1\n"),
        std::string("\n\na = 1\0", 8)}) {
    const std::string problem = ProblemOf(text);
    EXPECT_TRUE(problem.starts_with("quorle.toml:3: ")) << problem;
    EXPECT_EQ(problem.find('\n'), std::string::npos) << problem;
  }
}

TEST(ExpectationFileTest, TablesWithinTablesWithoutEndAreRefused) {
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

TEST(ExpectationFileTest, CharactersBeyondAsciiAreInTextsAndComments) {
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

TEST(ExpectationFileTest, WhatTheParserAssertsIsRefused) {
  for (const std::string line :
       {"[=]", "[[.a]]", "[ # ]", "[[\t", "\t[", "[\xC3\xA9]", "a = [,]", "a = [#", "a = {b = ]}",
        "a = \xC2\xA0", "a.", "a.=1", "\"\".[", "="}) {
    const std::string problem = ProblemOf("\n" + line);
    EXPECT_TRUE(problem.starts_with("quorle.toml:2: ")) << problem;
  }
}

TEST(ExpectationFileTest, LongNamesAndControlCharactersMakeNoLongMessage) {
  const std::string problem = ProblemOf(EntryText(std::string(100'000, 'x'), "verdict = 'fail'"));
  EXPECT_LT(problem.size(), 250U);
  EXPECT_EQ(ProblemOf(EntryText("a\\nb\\u001B", "verdict = 'fail'")),
            "quorle.toml:2: entry 1, \"a?b?\": there is no such check; quorle --list-checks lists "
            "all");
}

TEST(ExpectationFileTest, ByteOrderMarkReturnsAndNoLastLineBreakAreFine) {
  const std::string text =
      "\xEF\xBB\xBF[[expect]]\r\ncheck = \"Lock.*\"\r\nverdict = \"fail\"\r\nreason = \"r\xC3\xA9\"";
  const Judgement judgement = JudgeByFile(text, CheckOf(kFileCheck, Verdict::kPass));
  EXPECT_EQ(judgement.type, Judgement::Type::kSurprisePass);
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

TEST(ExpectationFileTest, TheExamplesForAuthorsAreRight) {
  const std::vector<std::string> blocks = BlocksOf(QUORLE_EXPECTATIONS_PAGE);
  ASSERT_EQ(blocks.size(), 2U);
  for (const std::string& block : blocks) EXPECT_EQ(ProblemOf(block), "") << block;
  EXPECT_EQ(TypeByFile(blocks[0], CheckOf("Delete.RootDirectory", Verdict::kFail, 212)),
            Judgement::Type::kKnownFailure);
  EXPECT_EQ(TypeByFile(blocks[1], CheckOf("CreateHardLink.LinkToFile", Verdict::kPass)),
            Judgement::Type::kAsExpected);
}

TEST(ExpectationFileTest, AFileThatCannotBeReadIsNamed) {
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

TEST(ExpectationFileTest, AWrongFileLeavesWhatWasReadBefore) {
  Expectations expectations = Expecting(EntryText(kFileCheck, "verdict = \"fail\""));
  std::string problem;
  EXPECT_FALSE(expectations.Read("other.toml", "[[expect]]", AllChecks(), problem));
  EXPECT_EQ(expectations.Judge(RunOf({}), CheckOf(kFileCheck, Verdict::kFail)).at, "quorle.toml:1");
}

}  // namespace
}  // namespace quorle::selftest
