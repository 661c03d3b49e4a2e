#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "handlers/deviate/deviation.h"
#include "results/check_texts.h"
#include "results/diagnostics_reader.h"
#include "results/event_json.h"
#include "results/log_import.h"
#include "selftest/kill_table/watched_run.h"
#include "selftest/support/recorded_run.h"
#include "selftest/support/test_bench.h"
#include "selftest/support/transcripts.h"
#include "tests/catalogue.h"

// Runs of which is known what each check returned: what they printed is imported, and must name the
// checks that failed.

namespace quorle::selftest {
namespace {

namespace fs = std::filesystem;

/// What imports came to.
struct Tally {
  int runs = 0;
  int failed = 0;     ///< checks that failed
  int named = 0;      ///< of these: named, and nothing else was possible
  int marked = 0;     ///< named as one of several
  int missed = 0;     ///< not named, because an earlier one that fits as well is
  int silent = 0;     ///< not named, because they printed nothing
  int ambiguous = 0;  ///< checks that did not fail and are named as one of several
  int same =
      0;  ///< checks with messages whose verdict and messages are those of the run's own events
};

/// What was imported of one run.
struct Imported {
  std::map<std::string, CheckEvent> checks;
  std::map<std::string, GroupEvent> groups;
  std::optional<EndEvent> end;

  explicit Imported(const std::vector<Event>& events) {
    for (const Event& event : events) {
      if (const auto* const check = std::get_if<CheckEvent>(&event)) {
        EXPECT_TRUE(checks.emplace(check->id, *check).second) << check->id << " is there twice";
      } else if (const auto* const group = std::get_if<GroupEvent>(&event)) {
        EXPECT_TRUE(groups.emplace(group->id, *group).second) << group->id << " is there twice";
      } else if (const auto* const ended = std::get_if<EndEvent>(&event)) {
        end = *ended;
      }
    }
  }
};

/// Its messages, a line each, with all that is known of them.
std::string Texts(const CheckEvent& check) {
  std::string text;
  for (const Diagnostic& diagnostic : check.diagnostics) {
    text += std::string(NameOf(diagnostic.type)) + (diagnostic.bold ? " bold " : " plain ") +
            std::to_string(diagnostic.code) + " " + diagnostic.text + "\n";
  }
  return text;
}

bool IsFailure(const CheckEvent& check) {
  return check.result != 0;
}

class Comparison {
 public:
  /// `quiet`: some messages were switched off, so that checks fail without a word.
  Comparison(const WatchedRun& run, bool quiet, Tally& tally)
      : run_(run), quiet_(quiet), tally_(tally), imported_(EventsOf(run)) {}

  void Compare() {
    ++tally_.runs;
    for (const WatchedPart& part : run_.parts) {
      if (part.test == kBeforeTests || part.test == kAfterTests) continue;
      if (part.sub_test == 0) {
        CompareGroup(part);
      } else {
        CompareCheck(part);
      }
    }
    CompareEnd();
  }

 private:
  static Imported EventsOf(const WatchedRun& run) {
    std::vector<Event> events;
    std::string problem;
    EXPECT_TRUE(ImportLog(run.output, kStandardCatalogue, events, problem)) << problem;
    return Imported(events);
  }

  void CompareGroup(const WatchedPart& part) {
    const std::string group = GroupId(part);
    const auto found = imported_.groups.find(group);
    if (found == imported_.groups.end()) {
      // Before the first row that printed something, or behind the last; or what it printed could be
      // another's.
      EXPECT_TRUE(IsSilent(part.test) || HasMark()) << group;
      return;
    }
    EXPECT_EQ(found->second.result, part.status) << group;
  }

  /// Each line that a check prints is one of those that it is known to print; and what follows is what
  /// its status says.
  static void CompareTexts(const WatchedPart& part, const std::string& id) {
    DiagnosticsReader reader;
    reader.Add(part.text);
    for (const ConsoleMessage& message : reader.TakeMessages()) {
      std::set<TextEffect> effects;
      for (const std::string& line : message.lines) {
        const std::set<TextEffect> known = EffectsOf(Trimmed(line), id);
        EXPECT_FALSE(known.empty()) << id << " is not known to print " << line;
        effects.insert(known.begin(), known.end());
      }
      if (part.status != 0) continue;
      EXPECT_TRUE(effects.contains(TextEffect::kPasses) || effects.contains(TextEffect::kReleases))
          << id << " did not fail: " << message.diagnostic.text;
    }
  }

  static std::set<TextEffect> EffectsOf(const std::string& line, const std::string& id) {
    std::set<TextEffect> effects;
    for (const CheckText& text : CheckTexts()) {
      if (text.check == id && FitsText(text.line, line)) effects.insert(text.effect);
    }
    return effects;
  }

  static std::string Trimmed(const std::string& line) {
    const std::size_t begin = line.find_first_not_of(' ');
    return line.substr(begin, line.find_last_not_of(' ') + 1 - begin);
  }

  void CompareCheck(const WatchedPart& part) {
    const std::string id = IdOf(part);
    CompareTexts(part, id);
    const auto found = imported_.checks.find(id);
    const CheckEvent* const check = found == imported_.checks.end() ? nullptr : &found->second;
    if (part.status == 0) {
      if (check == nullptr || !IsFailure(*check)) return;
      ++tally_.ambiguous;
      EXPECT_TRUE(check->ambiguous) << id << " did not fail";
      return;
    }
    ++tally_.failed;
    if (check != nullptr && IsFailure(*check)) {
      ++(check->ambiguous ? tally_.marked : tally_.named);
      // Without notes nobody can see that it ended its group.
      if (!check->ambiguous && !quiet_) {
        EXPECT_EQ(check->result, part.status) << id;
      }
      return;
    }
    // It printed something: then another check that could have is marked in its place.
    if (!part.text.empty()) {
      ++tally_.missed;
      EXPECT_TRUE(HasMark()) << id << " failed, and no check is marked";
      return;
    }
    ++tally_.silent;
    EXPECT_TRUE(quiet_ || HasMark() || IsUnsupported(part)) << id << " failed without a word";
  }

  void CompareEnd() const {
    if (imported_.groups.empty()) return;
    ASSERT_TRUE(imported_.end) << "the log is complete";
    EXPECT_TRUE(imported_.end->result == run_.result || quiet_) << imported_.end->result;
  }

  /// A check that failed with 209 says nothing; the runner's note names the group.
  bool IsUnsupported(const WatchedPart& part) const {
    const WatchedPart* const group = run_.Find(part.test, 0);
    return group != nullptr && group->text.find("not implemented") != std::string::npos &&
           HasMark();
  }

  /// Whether nothing was printed that says which row it was.
  bool IsSilent(std::uint8_t test) const {
    return std::all_of(run_.parts.begin(), run_.parts.end(), [&](const WatchedPart& part) {
      return part.test != test || part.text.find_first_not_of(" \n\x1b[03m") == std::string::npos;
    });
  }

  bool HasMark() const {
    return std::any_of(imported_.checks.begin(), imported_.checks.end(),
                       [&](const auto& entry) { return entry.second.ambiguous; });
  }

  static std::string GroupId(const WatchedPart& part) {
    const std::string label = kStandardCatalogue.entries[part.test - 1].group->label;
    return label.substr(0, label.find('('));
  }
  static std::string IdOf(const WatchedPart& part) {
    return GroupId(part) + "." +
           kStandardCatalogue.entries[part.test - 1].group->sub_tests[part.sub_test - 1].name;
  }

  const WatchedRun& run_;
  bool quiet_;
  Tally& tally_;
  Imported imported_;
};

/// What the import says of a check for certain is what the events of the same run say. A check can only
/// come out better when one of its messages was given to an earlier one, which is marked.
void CompareWithEvents(const RecordedRun& run, bool quiet, Tally& tally) {
  std::vector<Event> events;
  std::string problem;
  ASSERT_TRUE(ImportLog(run.output, kStandardCatalogue, events, problem)) << problem;
  const Imported imported(events);
  const bool has_mark = std::any_of(imported.checks.begin(), imported.checks.end(),
                                    [](const auto& entry) { return entry.second.ambiguous; });
  for (const auto& [id, check] : imported.checks) {
    const CheckEvent& recorded = run.Find(id);
    // A check that made no call has no message either. Those that a word leaves out cannot be told.
    if (recorded.why == kNothingToDo && !quiet) {
      EXPECT_EQ(check.verdict, Verdict::kSkipped) << id;
    }
    if (check.ambiguous || check.diagnostics.empty()) continue;
    if (check.verdict == recorded.verdict && Texts(check) == Texts(recorded)) {
      ++tally.same;
      continue;
    }
    // Without notes nobody can see that a check ended its group since the operation is not known.
    const bool is_hidden = quiet && recorded.verdict == Verdict::kUnsupported;
    const bool lost_a_message = has_mark && !IsFailure(check);
    EXPECT_TRUE(is_hidden || lost_a_message)
        << id << " is " << Brief(check) << ", and was " << Brief(recorded) << "\n"
        << Texts(check) << "\n"
        << Texts(recorded);
  }
}

void Show(const Tally& tally) {
  std::printf(
      "%d runs: %d checks failed, %d named, %d marked, %d missed, %d silent; %d marked that did not "
      "fail; %d as in the events of the run\n",
      tally.runs, tally.failed, tally.named, tally.marked, tally.missed, tally.silent,
      tally.ambiguous, tally.same);
}

bool IsQuiet(const std::vector<std::string>& words) {
  return std::any_of(words.begin(), words.end(), [](const std::string& word) {
    return word == "NI" || word == "NW" || word == "NR";
  });
}

TEST(Import, NamesTheChecksOfTheTranscripts) {
  Tally tally;
  for (const fs::directory_entry& entry : fs::directory_iterator(QUORLE_TRANSCRIPTS)) {
    const std::string name = entry.path().stem();
    // Logs are of the native program, which has the standard catalogue.
    if (entry.path().extension() != ".txt" || name == "CMakeLists" || name == "deviations" ||
        name == "starts" || name.starts_with("further_")) {
      continue;
    }
    const TranscriptFile file = ReadTranscripts(entry.path());
    for (const Transcript& test : file.transcripts()) {
      if (test.result == "20") continue;
      SCOPED_TRACE(name + "/" + test.name);
      const std::vector<std::string> words = WordsOf(test.args);
      TestBench bench(words, RulesText(test.rules));
      const WatchedRun run = RunWatched(bench);
      Comparison(run, IsQuiet(words), tally).Compare();
      CompareWithEvents(Record(words, {.rules = RulesText(test.rules)}), IsQuiet(words), tally);
    }
  }
  Show(tally);
  EXPECT_EQ(tally.named + tally.marked + tally.missed + tally.silent, tally.failed);
  // Most cases run one group, whose log does not show which one it is: "Cannot build unique object name
  // string." is printed by all.
  EXPECT_GE(tally.named * 100, tally.failed * 65);
  EXPECT_GT(tally.runs, 2000);
  EXPECT_GE(tally.same, tally.named);
}

/// Every check is named where nothing is switched off and the whole catalogue is run, but for messages
/// that several checks of a group share.
TEST(Import, NamesTheChecksThatADeviationFails) {
  Tally loud;
  Tally quiet;
  for (const deviate::Deviation& deviation : deviate::Deviations()) {
    for (const char* const rest :
         {"DH0:", ",port=packet DH0:", ",port=classic DH0:", "DH0: NI NW NR"}) {
      SCOPED_TRACE(std::string(deviation.name) + " " + rest);
      std::string line = "--mount DH0=ram,deviate=" + std::string(deviation.name);
      if (*rest != ',') line += ' ';
      const std::vector<std::string> words = WordsOf(line + rest);
      TestBench bench(words);
      const WatchedRun run = RunWatched(bench);
      Tally& tally = IsQuiet(words) ? quiet : loud;
      Comparison(run, IsQuiet(words), tally).Compare();
      CompareWithEvents(Record(words), IsQuiet(words), tally);
    }
  }
  Show(loud);
  Show(quiet);
  EXPECT_GE(loud.named * 100, loud.failed * 99);
  EXPECT_EQ(loud.silent, 0);
  EXPECT_GE(quiet.named * 100, quiet.failed * 95);
}

}  // namespace
}  // namespace quorle::selftest
