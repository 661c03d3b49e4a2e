#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "explore/traits.h"

namespace quorle::explore {
namespace {

/// The file of the reference's traits, with `from` replaced by `to`.
std::string Changed(const std::string& from, const std::string& to) {
  std::string text = TraitsText(Traits());
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return text.replace(at, from.size(), to);
}

TEST(TraitsText, WhatIsOtherwiseIsALineEach) {
  Traits traits;
  traits.name_limit = 30;
  traits.owner = 0xFFFF;
  std::vector<std::string> unlike;
  std::string problem;
  ASSERT_TRUE(HoldTraits(traits, TraitsText(Traits()), unlike, problem)) << problem;
  EXPECT_EQ(unlike, (std::vector<std::string>{"name-limit is 30, and was 255",
                                              "owner is 0xffff, and was 0xffffffff"}));
}

TEST(TraitsText, OfATornOrHostileFileOneLineSaysWhatIsWrong) {
  const std::string whole = TraitsText(Traits());
  const auto lines = std::count(whole.begin(), whole.end(), '\n');
  const std::string last = "line " + std::to_string(lines);
  const std::string behind = "line " + std::to_string(lines + 1);
  const std::string no_value = " has no such value";
  const struct {
    std::string text;
    std::string problem;
  } kFiles[] = {
      {"", "line 1: no file of traits: it does not begin with \"quorle-traits 1\""},
      {std::string(100000, '\0'),
       "line 1: no file of traits: it does not begin with \"quorle-traits 1\""},
      {Changed("quorle-traits 1", "quorle-traits 2"),
       "line 1: no file of traits: it does not begin with \"quorle-traits 1\""},
      {"quorle-traits 1\n", "line 2: the file ends before comment-limit"},
      {whole.substr(0, whole.size() - 1), last + ": it has no end: the file is not whole"},
      {whole.substr(0, whole.size() - 2), last + ": it has no end: the file is not whole"},
      {whole + "name-limit 255\n", behind + ": there is no such trait, or it was there before"},
      {whole + "\n", behind + ": there is no such trait, or it was there before"},
      {Changed("comment-limit 255", "\x1b[2J 255"),
       "line 2: there is no such trait, or it was there before"},
      {Changed("comment-limit 255", "comment-limit"),
       "line 2: there is no such trait, or it was there before"},
      {Changed("comment-limit 255", "comment-limit 255\r"), "line 2: comment-limit" + no_value},
      {Changed("comment-limit 255", "comment-limit  255"), "line 2: comment-limit" + no_value},
      {Changed("comment-limit 255", "comment-limit -1"), "line 2: comment-limit" + no_value},
      {Changed("comment-limit 255", "comment-limit 0xff"), "line 2: comment-limit" + no_value},
      {Changed("comment-limit 255", "comment-limit 99999999999999999999"),
       "line 2: comment-limit" + no_value},
      {Changed("counts-links yes", "counts-links Yes"), "line 3: counts-links" + no_value},
      {Changed("group 0xffffffff", "group 0x"), "line 8: group" + no_value},
      {Changed("group 0xffffffff", "group 4294967295"), "line 8: group" + no_value},
  };
  for (const auto& file : kFiles) {
    std::vector<std::string> unlike;
    std::string problem;
    EXPECT_FALSE(HoldTraits(Traits(), file.text, unlike, problem)) << file.problem;
    EXPECT_EQ(problem, file.problem);
  }
}

}  // namespace
}  // namespace quorle::explore
