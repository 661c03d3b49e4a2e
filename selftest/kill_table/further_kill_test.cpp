#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "handlers/deviate/deviation.h"
#include "handlers/deviate/further_notices.h"
#include "handlers/deviate/hidden.h"
#include "results/check_list.h"
#include "selftest/kill_table/kept_outcomes.h"
#include "selftest/kill_table/kill_program.h"
#include "selftest/kill_table/watched_run.h"
#include "selftest/support/diff.h"
#include "selftest/support/transcripts.h"
#include "tests/catalogue.h"

// Runs the further catalogue against a volume that misbehaves in each way that is hidden from the standard
// one, and in those that further_notices.cpp names, and compares with the same run on the same volume
// without the deviation. What differs, check by check and byte by byte, is kept in the file that the
// program is given. The whole catalogue is run on a vector port; on a packet port, and without infos,
// warnings and the root's, the groups that notice it.
//
// With QUORLE_APPROVE=NAME,... in the environment (or "all") what these deviations come to is written
// in place of being compared.

namespace quorle::selftest {
namespace {

struct NamedDeviation {
  std::string name;
  std::string does;
};

/// Those that are run, in the order of the tables.
std::vector<NamedDeviation> FurtherKills() {
  std::vector<NamedDeviation> all;
  for (const deviate::Deviation& deviation : deviate::Deviations()) {
    if (deviate::FurtherNotices(deviation.name).empty()) continue;
    all.push_back({std::string(deviation.name), std::string(deviation.does)});
  }
  for (const auto& some : {deviate::HiddenDeviations(), deviate::FurtherDeviations()}) {
    for (const deviate::HiddenDeviation& deviation : some) {
      all.push_back({std::string(deviation.name), std::string(deviation.does)});
    }
  }
  return all;
}

/// How the tester is run on the volume.
struct FurtherSetting {
  const char* name;
  const char* port;
  std::vector<std::string> switches;

  std::vector<std::string> Words(const std::string& deviation, const std::string& select) const {
    std::string mount = std::string("DH0=ram,port=") + port;
    if (!deviation.empty()) mount += ",deviate=" + deviation;
    std::vector<std::string> words = {"--catalogue", "further", "--allow-destroy", "--mount",
                                      mount};
    if (!select.empty()) words.insert(words.end(), {"--select", select});
    words.emplace_back("DH0:");
    words.insert(words.end(), switches.begin(), switches.end());
    return words;
  }
};

const std::vector<FurtherSetting>& FurtherSettings() {
  static const std::vector<FurtherSetting> settings = {
      {"vector", "vector", {}},
      {"packet", "packet", {}},
      {"vector NI NW NR", "vector", {"NI", "NW", "NR"}},
  };
  return settings;
}

/// The volumes without the number of users, which a deviation may count wrongly.
std::string ObjectsOf(TestBench& bench) {
  std::istringstream lines(VolumesOf(bench));
  std::string text;
  for (std::string line; std::getline(lines, line);) {
    text += line.substr(0, line.find(" in-use=")) + '\n';
  }
  return text;
}

/// Drops what came behind the first group that failed.
void KeepToFirstFailure(WatchedRun& run) {
  const auto failed = std::find_if(run.parts.begin(), run.parts.end(), [](const WatchedPart& part) {
    return part.sub_test == 0 && part.status != 0;
  });
  if (failed != run.parts.end()) run.parts.erase(failed + 1, run.parts.end());
}

WatchedRun RunOn(const std::vector<std::string>& words) {
  TestBench bench(words);
  bench.LeaveOutTrace();
  const std::string volumes = ObjectsOf(bench);
  WatchedRun run = RunWatched(bench);
  EXPECT_TRUE(run.result == 0 || run.result == 10 || run.result == 20) << run.result;
  EXPECT_EQ(bench.StillOpen(false), "");
  const std::string after = ObjectsOf(bench);
  // A volume that cannot be mounted again is gone with all that is on it.
  const bool is_gone = after.find(" cannot be listed: 218") != std::string::npos;
  if (!is_gone && run.output.find("CLEANUP ERROR") == std::string::npos) {
    EXPECT_EQ(after, volumes) << "the volume is not what it was";
  }
  // What is said behind the group that found out follows from it.
  if (is_gone) KeepToFirstFailure(run);
  return run;
}

/// The run on the conforming volume, made once for each setting.
const WatchedRun& ConformingRun(const FurtherSetting& setting) {
  static std::map<std::string, WatchedRun> runs;
  const auto [place, is_new] = runs.try_emplace(setting.name);
  if (is_new) place->second = RunOn(setting.Words({}, {}));
  return place->second;
}

/// The id of the check of `part` without "Further.".
std::string ShortId(const WatchedPart& part) {
  return part.id().substr(std::string_view("Further.").size());
}

/// What each check printed and returned other than on the conforming volume, in their order.
struct Difference {
  std::string id;
  std::int32_t status = 0;
  std::string text;
};

std::vector<Difference> DifferencesOf(const WatchedRun& run, const WatchedRun& conforming) {
  std::vector<Difference> differences;
  for (const WatchedPart& part : run.parts) {
    const WatchedPart* const usual = conforming.Find(part.test, part.sub_test);
    if (usual == nullptr) {
      ADD_FAILURE() << "not reached on the conforming volume: " << part.text;
      continue;
    }
    // What the group says at its end follows from its checks.
    if (part.sub_test == 0 || part == *usual) continue;
    differences.push_back({ShortId(part), part.status, part.text});
  }
  return differences;
}

std::string TextOf(const std::vector<Difference>& differences) {
  std::string text;
  for (const Difference& difference : differences) {
    text += "-- " + difference.id + ": " + std::to_string(difference.status) + "\n";
    text += difference.text;
    if (!difference.text.empty() && !difference.text.ends_with('\n')) text += "\n";
  }
  return text;
}

/// Which checks failed under some deviation, and for the table what each said first.
class FurtherTable {
 public:
  static FurtherTable& Get() {
    static FurtherTable table;
    return table;
  }
  void Add(const NamedDeviation& deviation, const std::vector<Difference>& differences) {
    ++runs_;
    text_ += "\n## `" + deviation.name + "`\n\nThe filesystem " + deviation.does + ".\n";
    if (differences.empty()) text_ += "\nNo check notices it; `quorle explore` finds it.\n";
    for (const Difference& difference : differences) {
      if (difference.status != 0) failing_.insert(difference.id);
      text_ += "\n- `Further." + difference.id + "`: " + OneLine(difference.text) + "\n";
    }
  }
  std::size_t runs() const { return runs_; }
  bool HasFailed(const std::string& id) const { return failing_.contains(id); }
  const std::string& text() const { return text_; }

 private:
  std::size_t runs_ = 0;
  std::set<std::string> failing_;
  std::string text_ =
      "# The kill table of the further catalogue\n\n"
      "Made by the target `kill-table` from real runs on a vector port; all of it, byte by byte, is in\n"
      "`selftest/transcripts/further_deviations.txt`.\n";
};

class FurtherDeviationTest : public testing::Test {
 public:
  FurtherDeviationTest(NamedDeviation deviation, KeptOutcomes& kept)
      : deviation_(std::move(deviation)), kept_(kept) {}

  void TestBody() override {
    std::string select;
    for (const FurtherSetting& setting : FurtherSettings()) {
      SCOPED_TRACE(setting.name);
      if (&setting != &FurtherSettings().front() && select.empty()) break;
      const std::vector<Difference> differences =
          DifferencesOf(RunOn(setting.Words(deviation_.name, select)), ConformingRun(setting));
      if (&setting == &FurtherSettings().front()) {
        CompareNotices(differences);
        FurtherTable::Get().Add(deviation_, differences);
        select = GroupsOf(differences);
      }
      Note(setting.name, TextOf(differences));
    }
    CompareOutcomes();
  }

 private:
  void CompareNotices(const std::vector<Difference>& differences) const {
    std::string noticed;
    for (const Difference& difference : differences) {
      noticed += (noticed.empty() ? "" : " ") + difference.id;
    }
    EXPECT_EQ(noticed, deviate::FurtherNotices(deviation_.name))
        << "handlers/deviate/further_notices.cpp says otherwise";
  }

  /// The groups of `differences` as --select takes them.
  static std::string GroupsOf(const std::vector<Difference>& differences) {
    std::string groups;
    for (const Difference& difference : differences) {
      const std::string group = "Further." + difference.id.substr(0, difference.id.find('.'));
      if (("," + groups + ",").find("," + group + ",") != std::string::npos) continue;
      groups += (groups.empty() ? "" : ",") + group;
    }
    return groups;
  }

  void Note(const std::string& name, const std::string& text) {
    const auto same = std::find_if(outcomes_.begin(), outcomes_.end(),
                                   [&text](const auto& outcome) { return outcome.second == text; });
    if (same != outcomes_.end()) {
      same->first += ", " + name;
    } else {
      outcomes_.emplace_back(name, text);
    }
  }

  void CompareOutcomes() {
    std::string text;
    for (const auto& [names, outcome] : outcomes_) {
      text += outcomes_.size() == 1 ? "in all settings\n" : "in " + names + "\n";
      for (const std::string& line : EscapedLines(outcome)) text += "|" + line + "\n";
    }
    if (IsToBeApproved(deviation_.name)) return kept_.Approve(deviation_.name, text);
    const std::string* const expected = kept_.Find(deviation_.name);
    ASSERT_NE(expected, nullptr) << "not approved yet: scripts/approve-deviations "
                                 << deviation_.name;
    EXPECT_EQ(Diff(*expected, text), "");
  }

  NamedDeviation deviation_;
  KeptOutcomes& kept_;
  std::vector<std::pair<std::string, std::string>> outcomes_;
};

/// The conforming volume passes every check, whatever the port and the switches.
class FurtherConformingTest : public testing::Test {
 public:
  void TestBody() override {
    for (const char* const port : {"vector", "packet"}) {
      for (int bits = 0; bits < 8; ++bits) {
        FurtherSetting setting{"", port, {}};
        if ((bits & 1) != 0) setting.switches.emplace_back("NI");
        if ((bits & 2) != 0) setting.switches.emplace_back("NW");
        if ((bits & 4) != 0) setting.switches.emplace_back("NR");
        SCOPED_TRACE(testing::Message() << port << " " << bits);
        const WatchedRun run = RunOn(setting.Words({}, {}));
        EXPECT_EQ(run.result, 0) << run.output;
        EXPECT_EQ(run.output.find("ERROR"), std::string::npos) << run.output;
        EXPECT_EQ(run.output.find("WARN"), std::string::npos) << run.output;
      }
    }
  }
};

/// Each row of the notices is about a deviation that is run, and some deviation makes every check fail.
/// Writes the table for people.
class FurtherTableTest : public testing::Test {
 public:
  FurtherTableTest(const KeptOutcomes& kept, std::size_t deviations, std::string document)
      : kept_(kept), deviations_(deviations), document_(std::move(document)) {}

  void TestBody() override {
    EXPECT_EQ(kept_.Stale(), "") << "belongs to no deviation";
    const FurtherTable& table = FurtherTable::Get();
    if (table.runs() != deviations_) GTEST_SKIP() << "not every deviation was run";
    for (const CheckInfo& check : ListChecks(kFurtherCatalogue)) {
      const std::string id = check.id.substr(std::string_view("Further.").size());
      EXPECT_TRUE(table.HasFailed(id)) << id << " fails under no deviation";
    }
    if (document_.empty()) return;
    std::FILE* const file = std::fopen(document_.c_str(), "wb");
    ASSERT_NE(file, nullptr) << document_;
    std::fputs(table.text().c_str(), file);
    EXPECT_EQ(std::fclose(file), 0);
  }

 private:
  const KeptOutcomes& kept_;
  std::size_t deviations_;
  std::string document_;
};

void RegisterFurtherKills(KeptOutcomes& kept, const std::string& document) {
  static const std::vector<NamedDeviation> deviations = FurtherKills();
  RegisterKillTest("FurtherKillTable", "ConformingVolumeRaisesNothing",
                   [] { return new FurtherConformingTest; });
  for (const NamedDeviation& deviation : deviations) {
    RegisterKillTest("FurtherDeviation", KillTestName(deviation.name),
                     [&] { return new FurtherDeviationTest(deviation, kept); });
  }
  RegisterKillTest("FurtherTable", "IsComplete", [&kept, document] {
    return new FurtherTableTest(kept, deviations.size(), document);
  });
}

std::vector<std::string> FurtherKillNames() {
  std::vector<std::string> names;
  for (const NamedDeviation& deviation : FurtherKills()) names.push_back(deviation.name);
  return names;
}

}  // namespace

int RunFurtherKills(int argc, char** argv) {
  return RunKillProgram(argc, argv,
                        {"further_kill_tests", FurtherKillNames(), RegisterFurtherKills});
}

}  // namespace quorle::selftest

int main(int argc, char** argv) {
  return quorle::selftest::RunFurtherKills(argc, argv);
}
