// Each deviation has a file of calls that shows it, with `quorle replay`, wherever it is: on a vector port and on a
// packet port; over the same volume without the deviation the file shows nothing. `find_deviations --write` makes them.
#include "selftest/explore/replay_files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <set>
#include <string>
#include <string_view>

#include "explore/calls_file.h"
#include "results/whole_file.h"
#include "selftest/explore/all_deviations.h"

namespace quorle::selftest {
namespace {

/// The most lines that a file has: calls, and what is done to the whole device.
constexpr std::size_t kMostSteps = 9;

std::string PathOf(const std::string& name) {
  return std::string(QUORLE_REPLAYS) + "/" + name + ".calls";
}

std::string TextOf(const std::string& name) {
  std::string text;
  std::string problem;
  EXPECT_TRUE(ReadWholeFile(PathOf(name), explore::kLargestCallsFile, text, problem)) << problem;
  return text;
}

std::string Joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

TEST(ReplayFiles, EachDeviationHasOne) {
  for (const std::string& name : AllDeviations()) {
    const bool has_one = std::filesystem::exists(PathOf(name));
    EXPECT_EQ(has_one, !IsWithoutFile(name)) << name;
  }
}

TEST(ReplayFiles, EachIsOfADeviation) {
  const std::vector<std::string> names = AllDeviations();
  for (const auto& entry : std::filesystem::directory_iterator(QUORLE_REPLAYS)) {
    EXPECT_EQ(entry.path().extension(), ".calls");
    EXPECT_EQ(std::count(names.begin(), names.end(), entry.path().stem().string()), 1)
        << entry.path();
  }
}

TEST(ReplayFiles, EachIsShort) {
  for (const std::string& name : AllDeviations()) {
    if (IsWithoutFile(name)) continue;
    std::vector<explore::CallsStep> steps;
    std::string problem;
    ASSERT_TRUE(explore::ParseCalls(name, TextOf(name), steps, problem)) << problem;
    EXPECT_LE(steps.size(), kMostSteps) << name;
    EXPECT_GE(steps.size(), 1U) << name;
  }
}

class ReplayFilesOn : public testing::TestWithParam<PortType> {};

TEST_P(ReplayFilesOn, EachShowsItsDeviationAndNothingElse) {
  for (const std::string& name : AllDeviations()) {
    if (IsWithoutFile(name)) continue;
    const std::string text = TextOf(name);
    const bool shows = !ReplayText(name, text, "ram,deviate=" + name, GetParam()).is_fine;
    EXPECT_EQ(shows, !IsHiddenBy(name, GetParam())) << name;
    const ReplayVerdict plain = ReplayText(name, text, "ram", GetParam());
    EXPECT_TRUE(plain.is_fine) << name << ":\n" << Joined(plain.wrong);
  }
}

INSTANTIATE_TEST_SUITE_P(Ports, ReplayFilesOn, testing::ValuesIn(kReplayPorts),
                         [](const auto& run) {
                           return run.param == PortType::kVector ? "Vector" : "Packet";
                         });

}  // namespace
}  // namespace quorle::selftest
