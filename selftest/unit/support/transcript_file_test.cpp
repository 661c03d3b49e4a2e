#include "selftest/support/transcript_file.h"

#include <gtest/gtest.h>

namespace quorle::selftest {
namespace {

TranscriptFile Parsed(std::string_view text) {
  std::string problem;
  auto file = TranscriptFile::Parse(text, problem);
  EXPECT_TRUE(file) << problem;
  return file ? *std::move(file) : TranscriptFile();
}

constexpr std::string_view kFile =
    "# Two lines\n"
    "# about the first case.\n"
    "== first\n"
    "args --mount DH0=ram DH0: TN=24\n"
    "rule 2/Lock(FILE01,EXCLUSIVE)#1 fail 205\n"
    "returns 0 10\n"
    "result 10\n"
    "prints:\n"
    "|\\e[1m\\f\n"
    "|\n"
    "|a \\\\ b\\s\n"
    "|\\xe9\\\n"
    "calls:\n"
    "|Lock(\"FILE01\",-2)=null #205\n"
    "+ nw\n"
    "with NW\n"
    "returns 0 0\n"
    "result 0\n"
    "# About a setting.\n"
    "+ both\n"
    "also 2/Close(0)#1 fail 202\n"
    "calls none\n"
    "+ other\n"
    "args RAM: TN=24\n"
    "rule 1/Open fail 221\n"
    "start RAM:\n"
    "prints:\n"
    "+ without\n"
    "rules none\n"
    "\n"
    "== second\n"
    "args RAM:\n"
    "start none\n"
    "# At the end.\n";

TEST(TranscriptFileTest, ACaseIsWhatItSays) {
  const TranscriptFile file = Parsed(kFile);
  ASSERT_EQ(file.transcripts().size(), 6U);
  const Transcript& first = *file.Find("first");
  EXPECT_EQ(first.comment, "# Two lines\n# about the first case.\n");
  EXPECT_EQ(first.args, "--mount DH0=ram DH0: TN=24");
  EXPECT_EQ(first.rules, std::vector<std::string>{"2/Lock(FILE01,EXCLUSIVE)#1 fail 205"});
  EXPECT_EQ(first.start, "DH0:");
  EXPECT_EQ(first.returns, "0 10");
  EXPECT_EQ(first.result, "10");
  EXPECT_EQ(first.prints, "\x1b[1m\f\n\na \\ b \n\xe9");
  EXPECT_EQ(first.calls, "Lock(\"FILE01\",-2)=null #205\n");
}

TEST(TranscriptFileTest, ASettingIsItsCaseWithDifferences) {
  const TranscriptFile file = Parsed(kFile);
  const Transcript& first = *file.Find("first");
  const Transcript& nw = *file.Find("first+nw");
  EXPECT_EQ(nw.args, first.args + " NW");
  EXPECT_EQ(nw.rules, first.rules);
  EXPECT_EQ(nw.returns, "0 0");
  EXPECT_EQ(nw.result, "0");
  EXPECT_EQ(nw.prints, first.prints);
  EXPECT_EQ(nw.calls, first.calls);

  const Transcript& both = *file.Find("first+both");
  EXPECT_EQ(both.comment, "# About a setting.\n");
  EXPECT_EQ(both.args, first.args) << "settings do not build on each other";
  EXPECT_EQ(both.rules.size(), 2U);
  EXPECT_FALSE(both.calls);

  const Transcript& other = *file.Find("first+other");
  EXPECT_EQ(other.args, "RAM: TN=24");
  EXPECT_EQ(other.rules, std::vector<std::string>{"1/Open fail 221"});
  EXPECT_EQ(other.start, "RAM:");
  EXPECT_EQ(other.prints, "");

  EXPECT_TRUE(file.Find("first+without")->rules.empty());
  EXPECT_EQ(file.Find("second")->start, kNoStart);
  EXPECT_FALSE(file.Find("second")->prints) << "not approved yet";
}

TEST(TranscriptFileTest, ItIsWrittenAsItWasRead) {
  EXPECT_EQ(Parsed(kFile).Text(), kFile);
}

TEST(TranscriptFileTest, WhatASettingHasInCommonIsNotWritten) {
  TranscriptFile file =
      Parsed("== a\nargs RAM:\nresult 0\nprints:\n|x\n+ b\nresult 10\nprints:\n|y\n");
  Transcript& setting = file.transcripts()[1];
  setting.result = "0";
  setting.prints = "x\n";
  EXPECT_EQ(file.Text(), "== a\nargs RAM:\nresult 0\nprints:\n|x\n+ b\n");
}

TEST(TranscriptFileTest, ALineThatIsNoneIsNamed) {
  constexpr std::pair<std::string_view, std::string_view> kWrong[] = {
      {"args RAM:\n", "line 1 is not one of a transcript: args RAM:"},
      {"== a\nwith NW\n", "line 2 is not one of a transcript: with NW"},
      {"== a\n|x\n", "line 2 is not one of a transcript: |x"},
      {"== a\nprints:\n|\\q\n", "line 3 is not one of a transcript: |\\q"},
      {"== a\nprints:\n|\\xg0\n", "line 3 is not one of a transcript: |\\xg0"},
      {"== a+b\n", "line 1 is not one of a transcript: == a+b"},
      {"+ a\n", "line 1 is not one of a transcript: + a"},
      {"== \n", "line 1 is not one of a transcript: == "},
      {"== a\ncalls none\n", "line 2 is not one of a transcript: calls none"},
      {"== a\nprint:\n", "line 2 is not one of a transcript: print:"},
      {"== a\n== a\n", "there are two cases a"},
  };
  for (const auto& [text, report] : kWrong) {
    std::string problem;
    EXPECT_FALSE(TranscriptFile::Parse(text, problem)) << text;
    EXPECT_EQ(problem, report);
  }
}

}  // namespace
}  // namespace quorle::selftest
