#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "results/bless.h"
#include "selftest/unit/results/results_fixture.h"

namespace quorle::selftest {
namespace {

/// The same choices each time, on every machine.
class Choices {
 public:
  explicit Choices(std::uint32_t seed) : numbers_(seed) {}
  /// 0 to `count` - 1.
  std::size_t Below(std::size_t count) { return numbers_() % count; }
  bool OneIn(std::size_t count) { return Below(count) == 0; }
  template <class Range>
  const auto& Of(const Range& range) {
    return range[Below(std::size(range))];
  }

 private:
  std::mt19937 numbers_;
};

constexpr std::array<const char*, 3> kFilesystems = {"fs 53.1 (1.1.2026)", "fs 54.2", "fs 1.0"};
constexpr std::array<const char*, 2> kPorts = {"vector", "packet"};
constexpr std::array<const char*, 2> kHandlers = {"ram", "plugin"};
constexpr std::array<const char*, 2> kDosTypes = {"0x444F5309", "0x444F5303"};
constexpr std::array<std::int32_t, 4> kCodes = {0, 205, 209, 212};
// Few groups, so that entries meet.
constexpr std::array<const char*, 4> kGroups = {"CreateHardLink", "Delete", "Lock", "Relabel"};

RunRecord RandomRun(Choices& choices) {
  std::vector<CheckEvent> checks;
  for (const char* const group : kGroups) {
    // Often all of a group comes out the same.
    const bool is_uniform = choices.OneIn(2);
    const auto uniform = static_cast<Verdict>(1 + choices.Below(kVerdictCount - 1));
    for (const CheckInfo& info : AllChecks()) {
      if (info.group != group || choices.OneIn(10)) continue;
      const auto verdict =
          is_uniform ? uniform : static_cast<Verdict>(1 + choices.Below(kVerdictCount - 1));
      const bool can_show = verdict == Verdict::kFail || verdict == Verdict::kWarn;
      checks.push_back(CheckOf(info.id, verdict, can_show ? choices.Of(kCodes) : 0,
                               verdict == Verdict::kSkipped ? "nothing to do" : ""));
    }
  }
  RunRecord run = RunOf(checks);
  run.start.port = choices.Of(kPorts);
  run.start.handler = choices.Of(kHandlers);
  run.target->filesystem = choices.Of(kFilesystems);
  run.target->dostype = choices.Of(kDosTypes);
  return run;
}

/// As somebody would write it; it may contradict others.
std::string RandomEntry(Choices& choices) {
  static constexpr std::array<const char*, 6> kPatterns = {
      "CreateHardLink.*", "Delete.*", "*.RootDirectory", "Lock.*", "Lock.[EM]*", "Relabel.*"};
  static constexpr std::array<const char*, 6> kVerdicts = {
      "'fail'", "\"unsupported\" # not yet", "[ 'fail', # mostly\n 'unsupported', ]", "\"pass\"",
      "'warn'", "['skipped','fail']"};
  static constexpr std::array<const char*, 6> kConditions = {
      "when = { port = 'packet' }",    "when.version = '<54.2'",
      "when = { handler = 'ram' }",    "when.dostype = '0x444F5309'",
      "when.version = '>=54.2,<60.0'", "[expect.when]\nport = \"vector\""};
  std::string text = choices.OneIn(2) ? "# A comment.\n[[expect]]\n" : "[[expect]] # \xC3\xA9\n";
  const std::vector<CheckInfo>& checks = AllChecks();
  const std::string check = choices.OneIn(2) ? choices.Of(kPatterns) : choices.Of(checks).id;
  text += "check = '" + check + "'\nverdict = " + choices.Of(kVerdicts) + "\n";
  if (choices.OneIn(3)) text += "code = 212 # why\n";
  text += "reason = '''\n# not a\n[[expect]]'''\n";
  if (choices.OneIn(2)) text += std::string(choices.Of(kConditions)) + "\n";
  if (choices.OneIn(2)) text += "# Behind.\n";
  if (choices.OneIn(2)) text += "\n";
  return text;
}

bool Reads(const std::string& text) {
  Expectations expectations;
  std::string problem;
  return expectations.Read("quorle.toml", text, AllChecks(), problem,
                           Expectations::StrictTodo::kRead);
}

/// A file with the entries of `count` attempts that do not contradict those before.
std::string RandomFile(Choices& choices, std::size_t count) {
  std::string text = choices.OneIn(3) ? "strict = true\n" : "";
  for (std::size_t i = 0; i < count; ++i) {
    const std::string more = text + RandomEntry(choices);
    if (Reads(more)) text = more;
  }
  return text;
}

/// That the file expects `run` but for what is blocked.
void ExpectHolds(const std::string& text, const RunRecord& run) {
  Expectations expectations;
  std::string problem;
  ASSERT_TRUE(
      expectations.Read("quorle.toml", text, AllChecks(), problem, Expectations::StrictTodo::kRead))
      << problem << "\n"
      << text;
  for (const CheckEvent& check : run.checks) {
    const bool is_blocked = check.verdict == Verdict::kBlocked;
    EXPECT_NE(expectations.Judge(run, check).is_fine(), is_blocked) << check.id << "\n" << text;
  }
}

TEST(BlessRandomTest, AFileExpectsTheRunThatWasWrittenToItAndChangesNoMore) {
  const ScratchFolder folder;
  const std::string file = folder.path("quorle.toml");
  for (std::uint32_t seed = 1; seed <= 60 && !testing::Test::HasFailure(); ++seed) {
    Choices choices(seed);
    folder.Write("quorle.toml", RandomFile(choices, choices.Below(12)));
    for (int step = 0; step < 8 && !testing::Test::HasFailure(); ++step) {
      const RunRecord run = RandomRun(choices);
      const std::string before = folder.Read("quorle.toml");
      BlessReport report;
      std::string problem;
      ASSERT_TRUE(Bless(file, {run}, AllChecks(), report, problem))
          << "seed " << seed << " " << problem << "\n"
          << before;
      const std::string after = folder.Read("quorle.toml");
      ExpectHolds(after, run);
      EXPECT_EQ(report.added + report.changed + report.removed == 0, before == after);
      ASSERT_TRUE(Bless(file, {run}, AllChecks(), report, problem)) << problem;
      EXPECT_EQ(folder.Read("quorle.toml"), after) << "seed " << seed;
    }
  }
}

TEST(BlessRandomTest, WhatIsForOtherRunsKeepsItsBytes) {
  for (std::uint32_t seed = 1; seed <= 60; ++seed) {
    Choices choices(seed);
    const ScratchFolder folder;
    std::string others;
    for (int i = 0; i < 8; ++i) {
      const std::string more = others + RandomEntry(choices) + "when.port = 'packet'\n";
      if (Reads(more)) others = more;
    }
    const std::string file = folder.Write("quorle.toml", others);
    RunRecord run = RandomRun(choices);
    run.start.port = "vector";
    BlessReport report;
    std::string problem;
    ASSERT_TRUE(Bless(file, {run}, AllChecks(), report, problem)) << problem;
    EXPECT_TRUE(folder.Read("quorle.toml").starts_with(others)) << folder.Read("quorle.toml");
    EXPECT_EQ(report.changed + report.removed, 0U);
  }
}

/// `text` with a few places changed.
std::string Mutated(std::string text, Choices& choices) {
  static constexpr std::array<const char*, 24> kPieces = {"[[expect]]\n",
                                                          "[expect.when]\n",
                                                          "[[",
                                                          "]]",
                                                          "[",
                                                          "]",
                                                          "{",
                                                          "}",
                                                          "\"",
                                                          "'",
                                                          "=",
                                                          ".",
                                                          ",",
                                                          "\n",
                                                          "\r\n",
                                                          "#",
                                                          "\"\"\"",
                                                          "'''",
                                                          "\\",
                                                          "*",
                                                          "strict",
                                                          "code",
                                                          "\xC3",
                                                          "\xEF\xBB\xBF"};
  const std::size_t changes = 1 + choices.Below(3);
  for (std::size_t i = 0; i < changes; ++i) {
    const std::size_t at = choices.Below(text.size() + 1);
    const std::size_t length = choices.Below(8);
    switch (choices.Below(4)) {
      case 0:
        text.erase(at, length);
        break;
      case 1:
        text.insert(at, choices.Of(kPieces));
        break;
      case 2:
        text.insert(choices.Below(text.size() + 1), text.substr(at, length * length));
        break;
      default:
        if (at < text.size()) text[at] = static_cast<char>(choices.Below(256));
    }
  }
  return text;
}

TEST(BlessRandomTest, NoTextIsTooOddToBeReadOrRefusedInOneLine) {
  std::size_t read = 0;
  std::size_t refused = 0;
  for (std::uint32_t seed = 1; seed <= 1500 && !testing::Test::HasFailure(); ++seed) {
    Choices choices(seed);
    const std::string text = Mutated(RandomFile(choices, 3), choices);
    Expectations expectations;
    std::string problem;
    if (expectations.Read("quorle.toml", text, AllChecks(), problem,
                          Expectations::StrictTodo::kRead)) {
      ++read;
      const ScratchFolder folder;
      const RunRecord run = RandomRun(choices);
      BlessReport report;
      ASSERT_TRUE(Bless(folder.Write("quorle.toml", text), {run}, AllChecks(), report, problem))
          << "seed " << seed << " " << problem << "\n"
          << text;
      ExpectHolds(folder.Read("quorle.toml"), run);
    } else {
      ++refused;
      EXPECT_TRUE(problem.starts_with("quorle.toml:")) << problem;
      EXPECT_EQ(problem.find('\n'), std::string::npos) << problem;
    }
  }
  EXPECT_GT(read, 100U);
  EXPECT_GT(refused, 500U);
}

}  // namespace
}  // namespace quorle::selftest
