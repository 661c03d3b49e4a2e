#include "handlers/deviate/hidden.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "handlers/deviate/deviation.h"
#include "program/built_in_handlers.h"
#include "selftest/hidden/caller.h"
#include "selftest/hidden/hidden_calls.h"
#include "selftest/kill_table/watched_run.h"
#include "selftest/support/diff.h"
#include "selftest/support/test_bench.h"

// Each hidden deviation is hidden: a run of the whole catalogue over it is that over a volume without it,
// byte by byte. And it is there: a few calls of a program show it, and go well without it.

namespace quorle::selftest {
namespace {

using deviate::HiddenDeviation;

/// How the tester is run on the volume.
struct HiddenSetting {
  bool packet;
  std::vector<std::string> switches;
};

std::vector<std::string> WordsFor(const HiddenSetting& setting, std::string_view deviation) {
  std::string mount = "DH0=ram";
  if (setting.packet) mount += ",port=packet";
  if (!deviation.empty()) mount += ",deviate=" + std::string(deviation);
  std::vector<std::string> words = {"--mount", mount, "DH0:"};
  words.insert(words.end(), setting.switches.begin(), setting.switches.end());
  return words;
}

std::vector<HiddenCalls> AllCalls() {
  std::vector<HiddenCalls> all;
  for (const auto some : {CallsOfData(), CallsOfLinks(), CallsOfNames(), CallsOfRefusals(),
                          CallsOfScans(), CallsOfVolumes()}) {
    all.insert(all.end(), some.begin(), some.end());
  }
  return all;
}

/// What `calls` come to on a fresh volume with that deviation, or with none.
std::string OutcomeOf(const HiddenCalls& calls, std::string_view deviation) {
  Caller caller(deviation);
  return calls.make(caller);
}

std::vector<std::string_view> AllNames() {
  std::vector<std::string_view> names;
  for (const HiddenDeviation& deviation : deviate::HiddenDeviations()) {
    names.push_back(deviation.name);
  }
  return names;
}

class HiddenTest : public testing::TestWithParam<std::string_view> {};

std::string NameOf(const testing::TestParamInfo<std::string_view>& info) {
  std::string name(info.param);
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Each, HiddenTest, testing::ValuesIn(AllNames()), NameOf);

TEST_P(HiddenTest, NoTestOfTheCatalogueNoticesIt) {
  for (const bool packet : {false, true}) {
    for (const auto& switches :
         {std::vector<std::string>{}, std::vector<std::string>{"NI", "NW", "NR"}}) {
      const HiddenSetting setting{packet, switches};
      TestBench usual_bench(WordsFor(setting, {}));
      const WatchedRun usual = RunWatched(usual_bench);
      TestBench bench(WordsFor(setting, GetParam()));
      const WatchedRun run = RunWatched(bench);
      EXPECT_EQ(usual.result, 0);
      EXPECT_EQ(run.result, usual.result);
      ASSERT_EQ(Diff(usual.output, run.output), "");
      EXPECT_TRUE(run.parts == usual.parts) << "a status of a test differs";
      EXPECT_EQ(bench.StillOpen(false), "");
    }
  }
}

TEST_P(HiddenTest, AFewCallsShowIt) {
  const std::vector<HiddenCalls> all = AllCalls();
  const auto calls = std::find_if(
      all.begin(), all.end(), [](const HiddenCalls& some) { return some.deviation == GetParam(); });
  ASSERT_NE(calls, all.end()) << "no calls show it";
  EXPECT_NE(calls->right, calls->wrong);
  EXPECT_EQ(OutcomeOf(*calls, {}), calls->right);
  EXPECT_EQ(OutcomeOf(*calls, GetParam()), calls->wrong);
}

TEST(HiddenTableTest, EachNameIsThereOnce) {
  std::set<std::string_view> names;
  for (const deviate::Deviation& deviation : deviate::Deviations()) names.insert(deviation.name);
  for (const HiddenDeviation& deviation : deviate::HiddenDeviations()) {
    EXPECT_TRUE(names.insert(deviation.name).second) << deviation.name;
    EXPECT_FALSE(deviation.does.empty());
  }
  for (const HiddenDeviation& deviation : deviate::FurtherDeviations()) {
    EXPECT_TRUE(names.insert(deviation.name).second) << deviation.name;
    EXPECT_FALSE(deviation.does.empty());
  }
  for (const HiddenCalls& calls : AllCalls()) {
    EXPECT_TRUE(deviate::FindHiddenDeviation(calls.deviation)) << calls.deviation;
  }
}

TEST(HiddenTableTest, TheListOfDeviationsSaysWhatFindsThem) {
  EXPECT_NE(DeviationList().find(
                "\nscan-stops-after-104: the filesystem ends a scan after 104 entries; noticed by "
                "Further.ExamineDir.ThousandsOfEntries; quorle explore finds it\n"),
            std::string::npos);
}

TEST(HiddenTableTest, ItLiesOverAnotherDeviation) {
  Caller caller("write-keeps-512+read-ends-at-page+seek-unknown");
  caller.Put("f", std::string(600, 'a'));
  EXPECT_EQ(caller.Get("f"), std::string(512, 'a'));
  const FileHandle file = caller.dos().Open("f", MODE_OLDFILE);
  EXPECT_EQ(caller.Result(caller.dos().ChangeFilePosition(file, 1, OFFSET_BEGINNING)), "FALSE 209");
  caller.dos().Close(file);
}

}  // namespace
}  // namespace quorle::selftest
