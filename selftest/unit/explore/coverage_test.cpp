#include "explore/coverage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "explore/argument_class.h"
#include "explore/generator.h"
#include "platform/constants.h"
#include "selftest/unit/explore/ram_side.h"

namespace quorle::explore {
namespace {

Outcome Done() {
  Outcome outcome;
  outcome.done = true;
  return outcome;
}

Outcome Refused(std::int32_t code) {
  Outcome outcome;
  outcome.code = code;
  return outcome;
}

Call RenameOf(const std::string& from, const std::string& to) {
  Call call;
  call.operation = Operation::kRename;
  call.text = {from, to};
  return call;
}

/// The lines that one call leads to.
std::string LinesOf(const Call& call, const Outcome& device) {
  CoverageTable table;
  table.OnCall(call, Done(), device);
  return table.Text();
}

/// Counts what `seeds` sequences reach on a volume in memory.
void Reach(std::uint64_t seeds, CoverageTable& table) {
  const Traits traits;
  Generator generator(traits);
  RamSide ram;
  Call call;
  Outcome outcome;
  for (std::uint64_t seed = 1; seed <= seeds; ++seed) {
    ram.Renew();
    const Choices choices = DrawChoices(seed, 200);
    for (std::size_t at = 0; at != choices.size(); at += kChoicesPerCall) {
      generator.Next({choices.data() + at, kChoicesPerCall}, ram.side(), call);
      ram.clock().Step();
      ram.side().Make(call, outcome);
      table.OnCall(call, outcome, outcome);
    }
  }
}

TEST(Coverage, ACallCountsForEachOfItsArguments) {
  EXPECT_EQ(LinesOf(RenameOf("a", "d/b"), Refused(ERROR_OBJECT_EXISTS)),
            "rename name2:path 203 1\n"
            "rename name:plain 203 1\n");
  Call flush;
  EXPECT_EQ(LinesOf(flush, Done()), "flush - ok 1\n");
  Call seek;
  seek.operation = Operation::kChangeFilePosition;
  seek.number = {1, -1, OFFSET_END};
  EXPECT_EQ(LinesOf(seek, Done()),
            "change-file-position file:held ok 1\n"
            "change-file-position mode:end ok 1\n"
            "change-file-position position:negative ok 1\n");
  // The words that choose among the ways of an operation are no arguments.
  Call owner;
  owner.operation = Operation::kSetOwner;
  owner.text[0] = "a";
  owner.number[2] = 0x10000;
  EXPECT_EQ(LinesOf(owner, Refused(ERROR_OBJECT_NOT_FOUND)),
            "set-owner id:32-bit 205 1\n"
            "set-owner name:plain 205 1\n");
}

TEST(Coverage, TheOutcomeIsThatOfTheDevice) {
  Call parent;
  parent.operation = Operation::kParentDir;
  parent.number[0] = 1;
  EXPECT_EQ(LinesOf(parent, Refused(0)), "parent-dir lock:held 0 1\n");
  EXPECT_EQ(LinesOf(parent, Refused(225)), "parent-dir lock:held other 1\n");
  EXPECT_EQ(LinesOf(parent, Refused(-1)), "parent-dir lock:held other 1\n");
  EXPECT_EQ(LinesOf(parent, Refused(100000)), "parent-dir lock:held other 1\n");
}

TEST(Coverage, NamesHaveTheirClasses) {
  const std::map<std::string, std::string> classes{
      {"a", "plain"},
      {"", "empty"},
      {"d/a", "path"},
      {"d/", "path"},
      {":", "root"},
      {":d/a", "root"},
      {"/", "up"},
      {"d//a", "up"},
      {"\xE4", "latin-1"},
      {"d/\xC4", "latin-1"},
      {"A", "other-case"},
      {std::string(255, 'n'), "plain"},
      {std::string(256, 'n'), "too-long"},
      {"d/" + std::string(256, 'N'), "too-long"},
      {std::string(200, 'm') + "/" + std::string(200, 'm'), "path"}};
  for (const auto& [name, expected] : classes) {
    const std::string lines = LinesOf(RenameOf(name, "b"), Done());
    EXPECT_NE(lines.find("name:" + expected + " ok 1\n"), std::string::npos) << name << lines;
  }
}

TEST(Coverage, CountsHaveTheirClasses) {
  const std::map<std::int64_t, std::string> classes{{-1, "negative"},       {0, "0"},
                                                    {1, "1-510"},           {510, "1-510"},
                                                    {511, "511-513"},       {513, "511-513"},
                                                    {514, "514-4094"},      {4095, "4095-4097"},
                                                    {4097, "4095-4097"},    {4098, "4098-65534"},
                                                    {65535, "65535-65537"}, {65537, "65535-65537"},
                                                    {65538, "more"},        {kMostBytes, "more"}};
  for (const auto& [bytes, expected] : classes) {
    Call write;
    write.operation = Operation::kWrite;
    write.number = {1, bytes};
    EXPECT_EQ(LinesOf(write, Done()), "write bytes:" + expected + " ok 1\nwrite file:held ok 1\n");
  }
}

TEST(Coverage, AnEarlierFileIsAddedAndWrittenAgain) {
  CoverageTable table;
  table.OnCall(RenameOf("a", "b"), Done(), Done());
  const std::string text = table.Text();
  EXPECT_EQ(text, "rename name2:plain ok 1\nrename name:plain ok 1\n");
  EXPECT_EQ(table.Add("# from another machine\n\n" + text), "");
  EXPECT_EQ(table.Add("rename name:plain ok 40\nflush - 202 7\n"), "");
  EXPECT_EQ(table.Text(),
            "flush - 202 7\n"
            "rename name2:plain ok 2\n"
            "rename name:plain ok 42\n");
  EXPECT_EQ(table.Add(""), "");
  // What cannot be counted any more stays where it is.
  EXPECT_EQ(table.Add("flush - 202 18446744073709551615\n"), "");
  EXPECT_NE(table.Text().find("flush - 202 18446744073709551615\n"), std::string::npos);
}

TEST(Coverage, OfATornOrHostileFileOneLineSaysWhatIsWrong) {
  const std::vector<std::pair<std::string, std::string>> files{
      {"flush - ok 1", "line 1: it has no end: the file is not whole"},
      {"flush - ok 1\nflush - ok\n", "line 2: \"\" is no count"},
      {"flush - ok 1\nflush - o", "line 2: it has no end: the file is not whole"},
      {"flush - ok -1\n", "line 1: \"-1\" is no count"},
      {"flush - ok 1x\n", "line 1: \"1x\" is no count"},
      {"flush - ok 1 2\n", "line 1: \"1\" is no count"},
      {"flush - ok 18446744073709551616\n", "line 1: \"18446744073709551616\" is no count"},
      {"flush name:plain ok 1\n", "line 1: there is no cell \"flush name:plain ok\""},
      {"burn - ok 1\n", "line 1: there is no cell \"burn - ok\""},
      {"flush - 999 1\n", "line 1: there is no cell \"flush - 999\""},
      {"\n\n\x1b[31m\x01\n", "line 3: there is no cell \"?[31m?  \""},
      {std::string("flush\0- ok 1\n", 13), "line 1: there is no cell \"flush?- ok 1\""},
      {std::string(100000, 'x') + "\n",
       "line 1: there is no cell \"" + std::string(40, 'x') + "...\""},
  };
  for (const auto& [text, problem] : files) {
    CoverageTable table;
    EXPECT_EQ(table.Add(text), problem);
    EXPECT_EQ(table.Text(), "") << "nothing of a file that is wrong is counted";
  }
}

TEST(Coverage, EachDeclaredCellIsWrittenOnceAndCanBeReadBack) {
  const std::vector<DeclaredCell> cells = DeclaredCells();
  std::string text;
  for (std::size_t i = 0; i != cells.size(); ++i) {
    text += CellText(cells[i].cell) + " " + std::to_string(i + 1) + "\n";
  }
  CoverageTable table;
  EXPECT_EQ(table.Add(text), "");
  for (std::size_t i = 0; i != cells.size(); ++i) {
    EXPECT_EQ(table.CountOf(cells[i].cell), i + 1) << CellText(cells[i].cell);
  }
  EXPECT_GT(cells.size(), 1000U);
}

TEST(Coverage, EachOperationAndEachClassOfItsArgumentsIsDrawn) {
  CoverageTable table;
  Reach(6000, table);
  std::map<std::string, std::uint64_t> classes;
  std::size_t reached = 0;
  std::size_t expected = 0;
  for (const DeclaredCell& declared : DeclaredCells()) {
    const std::uint64_t count = table.CountOf(declared.cell);
    classes[std::string(RowOf(declared.cell.operation).id) + " " + ClassText(declared.cell)] +=
        count;
    if (!declared.reason.empty()) {
      EXPECT_EQ(count, 0U) << CellText(declared.cell) << ": " << declared.reason;
      continue;
    }
    ++expected;
    if (count != 0) ++reached;
  }
  for (const auto& [name, count] : classes) EXPECT_GT(count, 0U) << name;
  // The rest is rare: all are reached by some ten million calls.
  EXPECT_GT(reached * 100, expected * 85) << reached << " of " << expected;
}

}  // namespace
}  // namespace quorle::explore
