#include "explore/calls_file.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "explore/call_text.h"
#include "selftest/unit/explore/ram_side.h"

namespace quorle::explore {
namespace {

std::string ProblemOf(std::string_view text) {
  std::vector<CallsStep> steps;
  std::string problem;
  const bool is_read = ParseCalls("x.calls", text, steps, problem);
  EXPECT_EQ(is_read, problem.empty());
  EXPECT_EQ(problem.find('\n'), std::string::npos);
  return problem;
}

std::vector<CallsStep> Parsed(std::string_view text) {
  std::vector<CallsStep> steps;
  std::string problem;
  EXPECT_TRUE(ParseCalls("x.calls", text, steps, problem)) << problem;
  return steps;
}

TEST(CallsFile, HoldsCallsAndTrees) {
  const auto steps = Parsed(
      "\xEF\xBB\xBF# mailed by somebody\r\n"
      "quorle-calls 1\r\n"
      "\n"
      "Open(\"a\", MODE_NEWFILE) = f1   # made\r\n"
      "  Close(f1) => TRUE\n"
      "tree # all\r\n"
      "  \"a\" Type=FSO_TYPE_FILE FileSize=0 Content=\"\"\r\n"
      "\n"
      "\t# nothing in it\n"
      "  \"d/b\"\n"
      "Delete(\"a\")\n"
      "tree");
  ASSERT_EQ(steps.size(), 5U);
  EXPECT_EQ(steps[0].line, 4U);
  EXPECT_EQ(TextOf(steps[0].call.call), "Open(\"a\", MODE_NEWFILE) = f1");
  EXPECT_FALSE(steps[0].call.due);
  ASSERT_TRUE(steps[1].call.due);
  EXPECT_TRUE(steps[1].call.due->done);
  ASSERT_NE(steps[2].tree, nullptr);
  ASSERT_EQ(steps[2].tree->objects.size(), 2U);
  EXPECT_EQ(steps[2].tree->objects[0].path, "a");
  EXPECT_EQ(steps[2].tree->objects[0].record.fields.size(), 2U);
  EXPECT_EQ(steps[2].tree->objects[0].content.value, 0);
  EXPECT_EQ(steps[2].tree->objects[1].path, "d/b");
  EXPECT_EQ(steps[3].line, 11U);
  ASSERT_NE(steps[4].tree, nullptr);
  EXPECT_TRUE(steps[4].tree->objects.empty());
}

TEST(CallsFile, WrongOnesAreRefusedWithTheirLine) {
  EXPECT_EQ(ProblemOf(""), "x.calls:1: a file of calls begins with the line quorle-calls 1");
  EXPECT_EQ(ProblemOf("# only\n"),
            "x.calls:1: a file of calls begins with the line quorle-calls 1");
  EXPECT_EQ(ProblemOf("quorle-calls 2\n"),
            "x.calls:1: a file of calls begins with the line quorle-calls 1");
  EXPECT_EQ(ProblemOf("quorle-calls 12\n"),
            "x.calls:1: a file of calls begins with the line quorle-calls 1");
  EXPECT_EQ(ProblemOf("quorle-calls 1\nFlush()\nDelete(\"a"),
            "x.calls:3: the closing quote is missing");
  EXPECT_EQ(ProblemOf(std::string_view("quorle-calls 1\nFlush()\0\n", 24)),
            "x.calls:2: a byte that is 0");
  EXPECT_EQ(ProblemOf("quorle-calls 1\ntree all\n"),
            "x.calls:2: behind tree stands nothing; what should be there follows, indented");
  EXPECT_EQ(ProblemOf("quorle-calls 1\ntree\n  a\n"),
            "x.calls:3: a text in quotes is missing before \"a\"");
  EXPECT_EQ(ProblemOf("quorle-calls 1\ntree\n  \"a\"\n  \"a\"\n"),
            "x.calls:4: \"a\" is there twice");
  EXPECT_EQ(ProblemOf("quorle-calls 1\ntree\n  \"a\" Size=3\n"),
            "x.calls:3: a field such as Type=... is expected, not \"Size\"");
  EXPECT_EQ(ProblemOf("quorle-calls 1\n\"a\" FileSize=3\n"),
            "x.calls:2: a call is expected, such as Delete(\"a\")");
}

TEST(CallsFile, WhatIsTooLargeIsRefused) {
  std::string calls = "quorle-calls 1\n";
  for (int i = 0; i != 1'000'000; ++i) calls += "Flush()\n";
  EXPECT_EQ(ProblemOf(calls), "x.calls:100002: there are more than 100000 calls");

  std::string texts = "quorle-calls 1\n";
  for (int i = 0; i != 1025; ++i) texts += "Delete(\"a\" * 65536)\n";
  EXPECT_EQ(ProblemOf(texts), "x.calls:1026: all texts together have more than 67108864 bytes");

  std::string tree = "quorle-calls 1\ntree\n";
  for (int i = 0; i != 20001; ++i) tree += "  \"" + std::to_string(i) + "\"\n";
  EXPECT_EQ(ProblemOf(tree), "x.calls:20003: the trees have more than 20000 objects");

  EXPECT_EQ(ProblemOf(std::string(kLargestCallsFile + 1, '#')),
            "x.calls: it is larger than 16777216 bytes");
}

/// A volume on which some calls were made.
class CallsFileTree : public ::testing::Test {
 protected:
  CallsFileTree() {
    Make("CreateDir(\"d\")");
    Make("Open(\"d/a\", MODE_NEWFILE) = f1");
    Make("Write(f1, 300 bytes of 7)");
    Make("Close(f1)");
    Make("SetComment(\"d/a\", \"c\")");
    Make("SetProtection(\"d/a\", EXDF_NO_DELETE)");
    Make("MakeLink(\"s\", \"d/a\", LINK_SOFT)");
  }

  DueOutcome Make(std::string_view text) {
    CallLine line;
    std::string problem;
    EXPECT_TRUE(ReadCallLine(text, line, problem)) << problem;
    Outcome outcome;
    ram_.side().Make(line.call, outcome);
    return AllOf(line.call, outcome);
  }

  VolumeListing List() { return ListVolume(*ram_.machine().list().Find("DH0").port, kTreeBounds); }

  std::vector<std::string> Compared(const std::string& tree) {
    const auto steps = Parsed("quorle-calls 1\ntree\n" + tree);
    return CompareTree(*steps.front().tree, List());
  }

  RamSide ram_;
};

TEST_F(CallsFileTree, IsComparedInWhatIsGiven) {
  using Lines = std::vector<std::string>;
  EXPECT_EQ(Compared("  \"d\"\n  \"d/a\"\n  \"s\"\n"), Lines());
  EXPECT_EQ(Compared("  \"d\" Type=FSO_TYPE_DIRECTORY\n"
                     "  \"d/a\" FileSize=300 Comment=\"c\" Protection=1 Content=300 bytes of 7\n"
                     "  \"s\" Link=\"d/a\" Name=\"s\"\n"),
            Lines());
  EXPECT_EQ(Compared("  \"d\" Type=FSO_TYPE_FILE\n"
                     "  \"d/a\" FileSize=299 Content=300 bytes of 8 Comment=\"\"\n"
                     "  \"t\"\n"),
            Lines({"\"d\" has Type=FSO_TYPE_DIRECTORY, expected Type=FSO_TYPE_FILE",
                   "\"d/a\" has FileSize=300, expected FileSize=299",
                   "\"d/a\" has Comment=\"c\", expected Comment=\"\"",
                   "\"d/a\" has Content=300 bytes with checksum 0xF9675F0AD0F4D658, expected "
                   "Content=300 bytes of 8",
                   "\"t\" is missing", "\"s\" should not be there"}));
}

TEST_F(CallsFileTree, OfAFileThatCannotBeReadSaysWhy) {
  Make("Open(\"x\", MODE_NEWFILE) = f2");
  Make("Write(f2, \"abc\")");
  EXPECT_EQ(Compared("  \"d\"\n  \"d/a\"\n  \"s\"\n  \"x\" Content=\"abc\"\n"),
            std::vector<std::string>({"\"x\" cannot be read, error 202"}));
}

ShownCall Shown(std::string_view text, std::string device, std::string reference) {
  CallLine line;
  std::string problem;
  EXPECT_TRUE(ReadCallLine(text, line, problem)) << problem;
  return {line.call, std::move(device), std::move(reference)};
}

TEST_F(CallsFileTree, ADifferenceIsWrittenWithWhatTheReferenceDid) {
  Difference difference;
  difference.calls = {
      Shown("Open(\"d/none\", MODE_OLDFILE) = f1", "0 204", "0 205"),
      Shown("ExamineObject(EX_StringNameInput, \"d/a\")",
            "Type=FSO_TYPE_FILE FileSize=300 Date=1978-01-01 00:00:00.00 RefCount=0 Name=\"a\"",
            ""),
      Shown("UnLock(0)", "", ""),
      Shown("Rename(\"d/a\", \"d/b\")", "FALSE 222", ""),
  };
  difference.then = {"d/a is missing\x1B"};
  DifferenceNotes notes{
      .comments = {"difference x"}, .reference = {}, .looks = {}, .tree = nullptr};
  for (const ShownCall& shown : difference.calls) {
    notes.reference.push_back(Make(TextOf(shown.call)));
  }
  // The last one is granted here: as a difference it would have been the reference's.
  notes.reference.back() = {.done = false,
                            .codes = {222},
                            .value = {},
                            .bytes = {},
                            .pattern = {},
                            .checksum = {},
                            .fields = {}};
  const VolumeListing tree = List();
  notes.tree = &tree;
  const std::string text = CallsText(difference, notes);
  EXPECT_EQ(text,
            "quorle-calls 1\n"
            "# difference x\n"
            "Open(\"d/none\", MODE_OLDFILE) = f1 => 0 205|204\n"
            "ExamineObject(EX_StringNameInput, \"d/a\") => Type=FSO_TYPE_FILE FileSize=300 "
            "Name=\"a\"\n"
            "UnLock(0)\n"
            "Rename(\"d/a\", \"d/b\") => FALSE 222\n"
            "# then: d/a is missing?\n"
            "tree\n"
            "  \"d\" Type=FSO_TYPE_DIRECTORY Comment=\"\" Protection=0 OwnerUID=0 OwnerGID=0\n"
            "  \"d/b\" Type=FSO_TYPE_FILE FileSize=300 Comment=\"c\" Protection=EXDF_NO_DELETE "
            "OwnerUID=0 OwnerGID=0 Content=300 bytes with checksum 0xF9675F0AD0F4D658\n"
            "  \"s\" Type=FSO_TYPE_SOFTLINK Comment=\"\" Link=\"d/a\" Protection=0 OwnerUID=0 "
            "OwnerGID=0\n");
  EXPECT_EQ(Parsed(text).size(), 5U);
  EXPECT_EQ(CompareTree(*Parsed(text).back().tree, List()), std::vector<std::string>());
}

TEST(CallsFile, WhatWasLookedAtIsReadAsACall) {
  Call call;
  std::string field;
  ASSERT_TRUE(ReadLook("ExamineObject(\"d\"): date 2032-10-04; reference: 2033", call, field));
  EXPECT_EQ(TextOf(call), "ExamineObject(EX_ObjectNameInput, \"d\")");
  EXPECT_EQ(field, "Date");
  ASSERT_TRUE(ReadLook("ExamineObject(l12): gone", call, field));
  EXPECT_EQ(TextOf(call), "ExamineObject(EX_LockInput, l12)");
  EXPECT_EQ(field, "");
  ASSERT_TRUE(ReadLook("ExamineObject(f1): links 2; reference: 1", call, field));
  EXPECT_EQ(TextOf(call), "ExamineObject(EX_FileHandleInput, f1)");
  EXPECT_EQ(field, "RefCount");
  for (const char* const line :
       {"", "value 1", "ExamineObject(", "ExamineObject()", "ExamineObject(s1): x",
        "ExamineObject(\"d): x", "ExamineObject(f): x", "ExamineObject(f1) x"}) {
    EXPECT_FALSE(ReadLook(line, call, field)) << line;
  }
}

TEST_F(CallsFileTree, WhatWasLookedAtShowsADifference) {
  Difference difference;
  difference.calls = {Shown("SetComment(\"d/a\", \"e\")", "TRUE", "")};
  DifferenceNotes notes{.comments = {}, .reference = {}, .looks = {}, .tree = nullptr};
  notes.reference = {Make("SetComment(\"d/a\", \"e\")")};
  CallLine look;
  std::string problem;
  ASSERT_TRUE(
      ReadCallLine("ExamineObject(EX_ObjectNameInput, \"d/a\") => Comment=\"e\"", look, problem));
  notes.looks = {look};
  const VolumeListing tree = List();
  notes.tree = &tree;
  EXPECT_EQ(CallsText(difference, notes),
            "quorle-calls 1\n"
            "SetComment(\"d/a\", \"e\") => TRUE\n"
            "ExamineObject(EX_ObjectNameInput, \"d/a\") => Comment=\"e\"\n");
}

TEST_F(CallsFileTree, ADifferenceThatItsLastCallShowsNeedsNoTree) {
  Difference difference;
  difference.calls = {Shown("ExamineObject(EX_StringNameInput, \"d/a\")",
                            "Type=FSO_TYPE_FILE FileSize=256 Name=\"a\" Comment=\"c\"",
                            "Type=FSO_TYPE_FILE FileSize=300 Name=\"a\" Comment=\"c\"")};
  const VolumeListing tree = List();
  DueOutcome reference = Make(TextOf(difference.calls[0].call));
  std::erase_if(reference.fields, [](const DueField& field) {
    const std::string_view name = FieldsOf(Result::kRecord)[field.field].name;
    return name != "Type" && name != "FileSize" && name != "Comment";
  });
  const std::string text =
      CallsText(difference, {.comments = {}, .reference = {reference}, .looks = {}, .tree = &tree});
  EXPECT_EQ(text,
            "quorle-calls 1\n"
            "ExamineObject(EX_StringNameInput, \"d/a\") => FileSize=300\n");
}

}  // namespace
}  // namespace quorle::explore
