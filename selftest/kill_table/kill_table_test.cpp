#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "handlers/deviate/deviation.h"
#include "selftest/kill_table/classic_runs.h"
#include "selftest/kill_table/kept_outcomes.h"
#include "selftest/kill_table/kill_program.h"
#include "selftest/kill_table/watched_run.h"
#include "selftest/support/classic_limits.h"
#include "selftest/support/diff.h"
#include "selftest/support/recorded_run.h"
#include "selftest/support/test_bench.h"
#include "selftest/support/transcripts.h"

// Runs the whole catalogue against a volume that misbehaves in each known way, on a vector port and
// on a packet port, with every combination of NI, NW and NR, and compares with the same run on the
// same volume without the deviation. What differs, byte by byte and sub-test by sub-test, is kept in
// the file that the program is given. On a classic port the same must differ, but for what
// classic_limits.h lists. The kill table for people is written to a second one.
//
// With QUORLE_APPROVE=NAME,... in the environment (or "all") what these deviations come to is written
// in place of being compared.

namespace quorle::selftest {
namespace {

namespace fs = std::filesystem;
using deviate::Deviation;
using deviate::Notice;

/// How the tester is run on the volume.
struct Setting {
  bool packet = false;
  std::vector<std::string> switches;

  std::string Name() const {
    std::string name = packet ? "packet" : "vector";
    for (const std::string& word : switches) name += " " + word;
    return name;
  }
  std::vector<std::string> Words(const std::string& deviation) const {
    std::string mount = "DH0=ram";
    if (packet) mount += ",port=packet";
    if (!deviation.empty()) mount += ",deviate=" + deviation;
    std::vector<std::string> words = {"--mount", mount, "DH0:"};
    words.insert(words.end(), switches.begin(), switches.end());
    return words;
  }
};

std::vector<Setting> Settings() {
  std::vector<Setting> settings;
  for (const bool packet : {false, true}) {
    for (int bits = 0; bits < 8; ++bits) {
      Setting setting{.packet = packet, .switches = {}};
      if ((bits & 1) != 0) setting.switches.emplace_back("NI");
      if ((bits & 2) != 0) setting.switches.emplace_back("NW");
      if ((bits & 4) != 0) setting.switches.emplace_back("NR");
      settings.push_back(setting);
    }
  }
  return settings;
}

/// The run on the conforming volume, made once for each setting.
const WatchedRun& Conforming(const Setting& setting) {
  static std::map<std::string, WatchedRun> runs;
  const auto [place, is_new] = runs.try_emplace(setting.Name());
  if (is_new) {
    TestBench bench(setting.Words({}));
    bench.LeaveOutTrace();
    place->second = RunWatched(bench);
  }
  return place->second;
}

/// The same, recorded.
const RecordedRun& ConformingRecord(const Setting& setting) {
  static std::map<std::string, RecordedRun> runs;
  const auto [place, is_new] = runs.try_emplace(setting.Name());
  if (is_new) place->second = Record(setting.Words({}));
  return place->second;
}

/// What is not as on the conforming volume. What the group itself prints beside its sub-tests counts
/// when no sub-test of it differs: its closing line says nothing new then.
std::vector<WatchedPart> Differences(const WatchedRun& run, const WatchedRun& conforming) {
  std::vector<WatchedPart> parts;
  std::set<std::uint8_t> shown;
  for (const WatchedPart& part : run.parts) {
    const WatchedPart* const usual = conforming.Find(part.test, part.sub_test);
    if (usual != nullptr && *usual == part) continue;
    if (part.sub_test == 0 && part.text.empty() && shown.contains(part.test)) continue;
    shown.insert(part.test);
    parts.push_back(part);
  }
  return parts;
}

std::set<std::uint8_t> TestsOf(const std::vector<WatchedPart>& parts) {
  std::set<std::uint8_t> tests;
  for (const WatchedPart& part : parts) tests.insert(part.test);
  return tests;
}

/// The parts as text: a line that names each, and its bytes.
std::string AsText(const std::vector<WatchedPart>& parts, std::int32_t result) {
  std::string text;
  for (const WatchedPart& part : parts) {
    if (part.test == kBeforeTests || part.test == kAfterTests) {
      text += "-- outside of the tests\n" + part.text;
      continue;
    }
    text += "-- test " + std::to_string(part.test);
    text += part.sub_test == 0 ? ", the group" : ", sub-test " + std::to_string(part.sub_test);
    text += ": " + std::to_string(part.status) + "\n" + part.text;
    if (!part.text.empty() && !part.text.ends_with('\n')) text += "\n";
  }
  return text + "-- result " + std::to_string(result) + "\n";
}

/// One line of the kill table.
struct Kill {
  std::uint8_t test;
  std::int32_t sub_test;
  std::string diagnostic;
  bool fails;  ///< in some setting; otherwise it only prints
};

/// A deviation, run in every setting.
class Trial {
 public:
  explicit Trial(const Deviation& deviation) : deviation_(deviation) {}

  void Run() {
    for (const Setting& setting : Settings()) {
      SCOPED_TRACE(setting.Name());
      RunIn(setting);
    }
    for (const Notice& notice : deviation_.Notices()) {
      EXPECT_TRUE(noticed_.contains(notice.test))
          << "test " << int{notice.test} << " does not notice it in any setting";
    }
  }

  /// All outcomes, those that are the same under one heading.
  std::string Transcript() const {
    std::string text;
    for (const auto& [names, outcome] : outcomes_) {
      text += outcomes_.size() == 1 ? "in all settings\n" : "in " + names + "\n";
      for (const std::string& line : EscapedLines(outcome)) text += "|" + line + "\n";
    }
    return text;
  }

  const std::vector<Kill>& kills() const { return kills_; }

 private:
  void RunIn(const Setting& setting) {
    const WatchedRun& conforming = Conforming(setting);
    TestBench bench(setting.Words(std::string(deviation_.name)));
    bench.LeaveOutTrace();
    const std::string volumes = VolumesOf(bench);
    const WatchedRun run = RunWatched(bench);

    EXPECT_TRUE(run.result == 0 || run.result == 10 || run.result == 20) << run.result;
    EXPECT_EQ(bench.StillOpen(false), "");
    if (run.output.find("CLEANUP ERROR") == std::string::npos) {
      EXPECT_EQ(VolumesOf(bench), volumes) << "the volume is not what it was";
    }

    const std::vector<WatchedPart> parts = Differences(run, conforming);
    for (const std::uint8_t test : TestsOf(parts)) {
      EXPECT_TRUE(MayNotice(test)) << "test " << int{test} << " notices it, and nothing says why:\n"
                                   << AsText(parts, run.result);
    }
    const std::set<std::uint8_t> tests = TestsOf(parts);
    noticed_.insert(tests.begin(), tests.end());
    for (const WatchedPart& part : parts) NoteKill(part);
    if (setting.switches.empty()) CompareVerdicts(setting, run, parts);
    NoteOutcome(setting.Name(), AsText(parts, run.result));
  }

  /// The verdicts of the same run say by id what `run` came to, and name the sub-tests of `parts`.
  void CompareVerdicts(const Setting& setting, const WatchedRun& run,
                       const std::vector<WatchedPart>& parts) {
    const std::vector<CheckEvent>& usual_checks = ConformingRecord(setting).record.checks;
    std::size_t at = 0;
    std::set<std::string> different;
    std::set<std::string> named;
    for (const CheckEvent& check :
         Record(setting.Words(std::string(deviation_.name))).record.checks) {
      const auto test = static_cast<std::uint8_t>(check.row);
      EXPECT_TRUE(Fits(check.verdict, run.Find(test, check.number)))
          << check.id << " is " << Brief(check);
      const CheckEvent& usual = usual_checks[at++];
      const bool was_reached = check.result != 0 || check.calls.last != 0;
      const bool is_usual =
          check.verdict == usual.verdict && check.diagnostics == usual.diagnostics;
      if (was_reached && !is_usual) different.insert(check.id);
      if (std::any_of(parts.begin(), parts.end(), [&](const WatchedPart& part) {
            return part.test == test && part.sub_test == check.number;
          })) {
        named.insert(check.id);
      }
    }
    EXPECT_EQ(different, named);
  }

  /// Whether a check with this verdict came to `part`, which is null when it was not reached.
  static bool Fits(Verdict verdict, const WatchedPart* part) {
    switch (verdict) {
      case Verdict::kFail:
      case Verdict::kBlocked:
        return part != nullptr && part->status != 0;
      case Verdict::kUnsupported:
        return part == nullptr || part->status == kFatal;
      case Verdict::kWarn:
        return part != nullptr && part->status == 0 && part->text.find("WARN") != std::string::npos;
      case Verdict::kPass:
        return part != nullptr && part->status == 0 && part->text.find("WARN") == std::string::npos;
      default:
        return part == nullptr || part->status == 0;
    }
  }

  bool MayNotice(std::uint8_t test) const {
    if (!deviation_.elsewhere.empty()) return true;
    const std::span<const Notice> notices = deviation_.Notices();
    return std::any_of(notices.begin(), notices.end(),
                       [test](const Notice& notice) { return notice.test == test; });
  }

  void NoteKill(const WatchedPart& part) {
    const bool fails = part.status != 0;
    const auto known = std::find_if(kills_.begin(), kills_.end(), [&part](const Kill& kill) {
      return kill.test == part.test && kill.sub_test == part.sub_test;
    });
    if (known != kills_.end()) {
      known->fails |= fails;
    } else {
      kills_.push_back({part.test, part.sub_test, OneLine(part.text), fails});
    }
  }

  void NoteOutcome(const std::string& name, const std::string& text) {
    const auto same = std::find_if(outcomes_.begin(), outcomes_.end(),
                                   [&text](const auto& outcome) { return outcome.second == text; });
    if (same != outcomes_.end()) {
      same->first += ", " + name;
    } else {
      outcomes_.emplace_back(name, text);
    }
  }

  const Deviation& deviation_;
  std::set<std::uint8_t> noticed_;
  std::vector<std::pair<std::string, std::string>> outcomes_;
  std::vector<Kill> kills_;
};

/// A deviation on a classic port, with every combination of the switches: it must be noticed as on a
/// packet port, but for what classic packets do not carry.
void TryOnClassicPort(const Deviation& deviation) {
  const std::string_view because = WhyOtherwiseOnClassic(deviation.name);
  bool differs = false;
  for (const Setting& setting : Settings()) {
    if (!setting.packet) continue;
    SCOPED_TRACE("on a classic port: " + setting.Name());
    const std::vector<std::string> words = setting.Words(std::string(deviation.name));
    TestBench packet(words, kNoVersionRule);
    TestBench classic(words, "", PortType::kClassic);
    const WatchedRun on_packet_port = RunWatched(packet);
    const std::string volumes = VolumesOf(classic);
    const WatchedRun run = RunWatched(classic);
    EXPECT_EQ(classic.StillOpen(false), "");
    if (run.output.find("CLEANUP ERROR") == std::string::npos) {
      EXPECT_EQ(VolumesOf(classic), volumes) << "the volume is not what it was";
    }
    const std::string differences = DifferencesFromPacketPort(run, on_packet_port);
    differs = differs || !differences.empty();
    if (because.empty()) {
      EXPECT_EQ(differences, "");
    }
  }
  EXPECT_EQ(differs, !because.empty()) << "is it noticed otherwise? " << because;
}

/// What a deviation makes of a sub-test: nothing, a word on the console, a failure.
enum class Worst : std::uint8_t { kNothing, kWord, kFailure };

/// What all trials came to, for the table.
class KillTable {
 public:
  static KillTable& Get() {
    static KillTable table;
    return table;
  }

  void Add(const Deviation& deviation, const std::vector<Kill>& kills) {
    rows_.emplace(deviation.name, kills);
  }

  bool IsComplete() const { return rows_.size() == deviate::Deviations().size(); }

  /// What comes of a sub-test at the worst.
  Worst Of(std::uint8_t test, std::int32_t sub_test) const {
    Worst worst = Worst::kNothing;
    for (const auto& [name, kills] : rows_) {
      for (const Kill& kill : kills) {
        if (kill.test != test || kill.sub_test != sub_test) continue;
        worst = std::max(worst, kill.fails ? Worst::kFailure : Worst::kWord);
      }
    }
    return worst;
  }

  std::string Text() const;

 private:
  std::map<std::string_view, std::vector<Kill>> rows_;
};

std::string ForTable(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '|') result += '\\';
    result += c;
  }
  return result;
}

std::string KillTable::Text() const {
  std::string text =
      "# The kill table\n\n"
      "Made by the target `kill-table` from real runs. Every way in which a filesystem can be made to\n"
      "misbehave (`--mount DH0=ram,deviate=NAME`), and which sub-test of which test then says what, in any of the sixteen settings: a vector\n"
      "or a packet port, with and without NI, NW and NR. Shown is what is said in the first setting in which something is; all of it, byte by\n"
      "byte, is in `selftest/transcripts/deviations.txt`. A line without a sub-test is what the group said at its end.\n";
  for (const Deviation& deviation : deviate::Deviations()) {
    const auto row = rows_.find(deviation.name);
    if (row == rows_.end()) continue;
    text += "\n## `" + std::string(deviation.name) + "`\n\nThe filesystem " +
            std::string(deviation.does) + ".";
    for (const Notice& notice : deviation.Notices()) {
      if (notice.because.empty()) continue;
      text += " Test " + std::to_string(notice.test) +
              " notices it too: " + std::string(notice.because) + ".";
    }
    if (!deviation.elsewhere.empty()) {
      text += " It is noticed by " + std::string(deviation.elsewhere) + ".";
    }
    text += "\n\n| test | sub-test | diagnostic |\n|---|---|---|\n";
    for (const Kill& kill : row->second) {
      const bool is_test = kill.test != kBeforeTests && kill.test != kAfterTests;
      text += "| " + (is_test ? std::to_string(kill.test) : "none") + " | " +
              (kill.sub_test == 0 ? std::string() : std::to_string(kill.sub_test)) + " | " +
              ForTable(kill.diagnostic) + " |\n";
    }
  }
  return text;
}

class DeviationTest : public testing::Test {
 public:
  DeviationTest(const Deviation& deviation, KeptOutcomes& kept)
      : deviation_(deviation), kept_(kept) {}

  void TestBody() override {
    Trial trial(deviation_);
    trial.Run();
    TryOnClassicPort(deviation_);
    KillTable::Get().Add(deviation_, trial.kills());
    const std::string outcomes = trial.Transcript();
    if (IsToBeApproved(deviation_.name)) {
      kept_.Approve(deviation_.name, outcomes);
      return;
    }
    const std::string* const expected = kept_.Find(deviation_.name);
    ASSERT_NE(expected, nullptr) << "not approved yet: scripts/approve-deviations "
                                 << deviation_.name;
    EXPECT_EQ(Diff(*expected, outcomes), "");
  }

 private:
  const Deviation& deviation_;
  KeptOutcomes& kept_;
};

/// On a classic port the conforming volume fails the checks of kClassicFailures and no other.
class ClassicListTest : public testing::Test {
 public:
  void TestBody() override {
    TestBench bench({"--mount", "DH0=ram,port=classic", "DH0:"});
    const WatchedRun run = RunWatched(bench);
    EXPECT_EQ(run.result, 10);
    for (const WatchedPart& part : run.parts) {
      const bool cannot_pass = IsOtherOnClassic(part.id());
      EXPECT_EQ(part.status, cannot_pass ? 10 : 0)
          << "test " << int{part.test} << ", sub-test " << part.sub_test;
    }
    const RecordedRun recorded = Record({"--mount", "DH0=ram,port=classic", "DH0:"});
    for (const ClassicFailure& failure : kClassicFailures) {
      const CheckEvent& check = recorded.Find(std::string(failure.check));
      EXPECT_EQ(check.row, failure.test) << failure.check;
      EXPECT_EQ(check.number, failure.sub_test) << failure.check;
      EXPECT_EQ(check.verdict, Verdict::kFail) << failure.check;
    }
    for (const ClassicDifference& difference : kClassicDifferences) {
      EXPECT_NE(deviate::FindDeviation(difference.deviation), nullptr) << difference.deviation;
    }
  }
};

/// The conforming volume raises nothing.
class ConformingTest : public testing::Test {
 public:
  void TestBody() override {
    for (const Setting& setting : Settings()) {
      SCOPED_TRACE(setting.Name());
      const WatchedRun& run = Conforming(setting);
      EXPECT_EQ(run.result, 0);
      for (const WatchedPart& part : run.parts) {
        EXPECT_EQ(part.status, 0) << "test " << int{part.test};
        if (part.sub_test == 0) continue;
        EXPECT_EQ(part.text, "") << "test " << int{part.test};
      }
    }
  }
};

/// A sub-test that no filesystem can fail.
struct Exempt {
  std::uint8_t test;
  std::int32_t sub_test;
  Worst worst;
  const char* because;
};

constexpr Exempt kCannotFail[] = {
    {42, 5, Worst::kWord, "what the root does with a mask is warned of, and the sub-test passes"},
    {43, 1, Worst::kNothing, "UnLock() gives nothing back: the sub-test always passes"},
};

/// What is due from a sub-test at the worst, and why when it is no failure.
std::pair<Worst, const char*> Due(std::uint8_t test, std::int32_t sub_test) {
  for (const Exempt& exempt : kCannotFail) {
    if (exempt.test == test && exempt.sub_test == sub_test) {
      return {exempt.worst, exempt.because};
    }
  }
  return {Worst::kFailure, "it can fail"};
}

/// Some deviation makes every sub-test fail. Writes the table for people.
class TableTest : public testing::Test {
 public:
  TableTest(const KeptOutcomes& kept, fs::path document)
      : kept_(kept), document_(std::move(document)) {}

  void TestBody() override {
    EXPECT_EQ(kept_.Stale(), "") << "belongs to no deviation";
    const KillTable& table = KillTable::Get();
    if (!table.IsComplete()) GTEST_SKIP() << "not every deviation was run";
    for (const WatchedPart& part : Conforming(Settings().front()).parts) {
      if (part.sub_test == 0) continue;  // a group's own lines, and what is outside of the tests
      const auto [due, because] = Due(part.test, part.sub_test);
      EXPECT_EQ(table.Of(part.test, part.sub_test), due)
          << "test " << int{part.test} << ", sub-test " << part.sub_test << ": " << because;
    }
    if (document_.empty()) return;
    std::ofstream file(document_, std::ios::binary);
    file << table.Text();
    EXPECT_TRUE(file.flush()) << "cannot write " << document_;
  }

 private:
  const KeptOutcomes& kept_;
  fs::path document_;
};

void RegisterKills(KeptOutcomes& kept, const std::string& document) {
  RegisterKillTest("KillTable", "ConformingVolumeRaisesNothing", [] { return new ConformingTest; });
  RegisterKillTest("KillTable", "AClassicPortFailsWhatIsListed",
                   [] { return new ClassicListTest; });
  for (const Deviation& deviation : deviate::Deviations()) {
    RegisterKillTest("Deviation", KillTestName(deviation.name),
                     [&] { return new DeviationTest(deviation, kept); });
  }
  RegisterKillTest("Table", "IsComplete",
                   [&kept, document] { return new TableTest(kept, document); });
}

}  // namespace
}  // namespace quorle::selftest

int main(int argc, char** argv) {
  std::vector<std::string> names;
  for (const auto& deviation : quorle::deviate::Deviations()) names.emplace_back(deviation.name);
  return quorle::selftest::RunKillProgram(
      argc, argv, {"kill_table_tests", std::move(names), quorle::selftest::RegisterKills});
}
