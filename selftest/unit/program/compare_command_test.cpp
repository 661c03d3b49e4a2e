#include "program/compare_command.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "program/sub_commands.h"
#include "selftest/unit/hosted/memory_sink.h"

namespace quorle::selftest {
namespace {

/// A folder with event files, and what `quorle compare` makes of them.
class CompareCommandTest : public testing::Test {
 protected:
  CompareCommandTest() {
    std::string name = (std::filesystem::temp_directory_path() / "quorle-XXXXXX").string();
    folder_ = ::mkdtemp(name.data());
    std::filesystem::current_path(folder_);
  }
  ~CompareCommandTest() override {
    std::filesystem::current_path("/");
    std::filesystem::remove_all(folder_);
  }

  static void Write(const char* name, const std::string& text) { std::ofstream(name) << text; }

  /// Writes a run whose check has the verdict.
  static void WriteRun(const char* name, const std::string& verdict) {
    Write(name,
          "{\"event\":\"run\",\"version\":1}\n"
          "{\"event\":\"check\",\"id\":\"Lock.MissingObject\",\"verdict\":\"" +
              verdict + "\"}\n{\"event\":\"end\",\"result\":0}\n");
  }

  /// Calls it as main() does.
  std::int32_t Compare(std::vector<const char*> words) {
    output_.text.clear();
    errors_.text.clear();
    words.insert(words.begin(), "compare");
    const SubCommand* const command = FindSubCommand(words);
    EXPECT_NE(command, nullptr);
    Console console(output_, errors_, false);
    return command->run(std::span(words).subspan(1), console);
  }

  MemorySink output_;
  MemorySink errors_;

 private:
  std::filesystem::path folder_;
};

TEST_F(CompareCommandTest, WhatGotWorseGives10) {
  WriteRun("old", "pass");
  WriteRun("new", "fail");
  EXPECT_EQ(Compare({"old", "new"}), 10);
  EXPECT_EQ(output_.text,
            "new failures (1):\n  Lock.MissingObject: pass -> fail\nSomething got worse.\n");
  EXPECT_EQ(errors_.text, "");
}

TEST_F(CompareCommandTest, WhatIsTheSameOrBetterGives0) {
  WriteRun("old", "fail");
  WriteRun("new", "pass");
  EXPECT_EQ(Compare({"old", "new"}), 0);
  EXPECT_EQ(output_.text,
            "new passes (1):\n  Lock.MissingObject: fail -> pass\nNothing got worse.\n");
  EXPECT_EQ(Compare({"new", "new"}), 0);
  EXPECT_EQ(output_.text, "No check changed.\n");
}

TEST_F(CompareCommandTest, WrongFilesGive20AndOneLine) {
  WriteRun("old", "fail");
  Write("empty", "");
  Write("foreign", "hello\n");
  Write("newer", "{\"event\":\"run\",\"version\":2}\n");
  EXPECT_EQ(Compare({"old", "none"}), 20);
  EXPECT_EQ(errors_.text, "quorle: cannot read none: No such file or directory\n");
  EXPECT_EQ(Compare({"none", "old"}), 20);
  EXPECT_EQ(errors_.text, "quorle: cannot read none: No such file or directory\n");
  EXPECT_EQ(Compare({"old", "empty"}), 20);
  EXPECT_EQ(errors_.text, "quorle: empty: it holds no run\n");
  EXPECT_EQ(Compare({"foreign", "old"}), 20);
  EXPECT_TRUE(errors_.text.starts_with("quorle: foreign:1: ")) << errors_.text;
  EXPECT_EQ(Compare({"old", "newer"}), 20);
  EXPECT_TRUE(errors_.text.starts_with("quorle: newer:1: ")) << errors_.text;
  EXPECT_EQ(output_.text, "");
}

TEST_F(CompareCommandTest, TwoFilesAreNeeded) {
  const std::string needed =
      "quorle: compare: two event files are needed, the old one and the new one\n";
  EXPECT_EQ(Compare({}), 20);
  EXPECT_EQ(errors_.text, needed);
  EXPECT_EQ(Compare({"a"}), 20);
  EXPECT_EQ(errors_.text, needed);
  EXPECT_EQ(Compare({"a", "b", "c"}), 20);
  EXPECT_EQ(errors_.text, needed);
  EXPECT_EQ(Compare({"a", "--expect", "b"}), 20);
  EXPECT_EQ(errors_.text, "quorle: compare: --expect is not an option; there is --help\n");
  EXPECT_EQ(Compare({"--help"}), 0);
  EXPECT_TRUE(output_.text.starts_with("Usage: quorle compare OLD NEW\n")) << output_.text;
}

}  // namespace
}  // namespace quorle::selftest
