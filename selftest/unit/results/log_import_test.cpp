#include "results/log_import.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "program/import_command.h"
#include "results/event_json.h"
#include "results/run_record.h"
#include "selftest/support/temporary_directory.h"
#include "selftest/support/test_bench.h"
#include "selftest/unit/hosted/memory_sink.h"
#include "tests/catalogue.h"

namespace quorle {
namespace {

using selftest::TemporaryDirectory;
using selftest::TestBench;

constexpr const char* kStart =
    "Starting tests for Device Name= DH0:        Volume Name= DH0 Disk\n"
    "\x1b[1mHost Filesystem = my-fs 1.2 (3.4.2025)   DOSType:0x444f530a [DOS\\0a]\n\n\x1b[0m";

/// What a run with these words prints.
std::string LogOf(const std::vector<std::string>& words, const std::string& rules = "") {
  TestBench bench(words, rules);
  bench.Run();
  return bench.TakeOutput();
}

std::vector<Event> Imported(std::string_view log) {
  std::vector<Event> events;
  std::string problem;
  EXPECT_TRUE(ImportLog(log, kStandardCatalogue, events, problem)) << problem;
  return events;
}

template <class Type>
std::vector<Type> EventsOf(const std::vector<Event>& events) {
  std::vector<Type> found;
  for (const Event& event : events) {
    if (const auto* const one = std::get_if<Type>(&event)) found.push_back(*one);
  }
  return found;
}

CheckEvent CheckNamed(const std::vector<Event>& events, const std::string& id) {
  for (CheckEvent& check : EventsOf<CheckEvent>(events)) {
    if (check.id == id) return std::move(check);
  }
  ADD_FAILURE() << id << " is not there";
  return {};
}

std::string StreamOf(const std::vector<Event>& events) {
  std::string stream;
  for (const Event& event : events) stream += ToJsonLine(event);
  return stream;
}

std::string WithCarriageReturns(const std::string& log) {
  std::string text;
  for (const char c : log) text += c == '\n' ? std::string("\r\n") : std::string(1, c);
  return text;
}

TEST(LogImport, OfAWholeRunHasAllRows) {
  const std::vector<Event> events = Imported(LogOf({"RAM:"}));
  const std::vector<TargetEvent> targets = EventsOf<TargetEvent>(events);
  ASSERT_EQ(targets.size(), 1U);
  EXPECT_EQ(targets[0].device, "RAM:");
  EXPECT_EQ(targets[0].volume, "Ram Disk");
  EXPECT_EQ(targets[0].filesystem, "ram-handler 53.1 (21.11.2026)");
  EXPECT_EQ(targets[0].dostype, "0x444F5309");
  EXPECT_EQ(EventsOf<RunEvent>(events).at(0).device, "RAM:");
  EXPECT_EQ(EventsOf<GroupEvent>(events).size(), 47U);
  const std::vector<CheckEvent> checks = EventsOf<CheckEvent>(events);
  EXPECT_EQ(checks.size(), 108U);
  // The placeholder makes no call.
  EXPECT_TRUE(std::all_of(checks.begin(), checks.end(), [](const CheckEvent& check) {
    const bool does_nothing = check.id == "UnLock.Placeholder" && check.why == kNothingToDo;
    return check.verdict == (does_nothing ? Verdict::kSkipped : Verdict::kPass) && !check.ambiguous;
  }));
  const std::vector<EndEvent> ends = EventsOf<EndEvent>(events);
  ASSERT_EQ(ends.size(), 1U);
  EXPECT_EQ(ends[0].result, 0);
  EXPECT_EQ(ends[0].checks.at(Verdict::kPass), 107);
  EXPECT_EQ(ends[0].checks.at(Verdict::kSkipped), 1);
}

TEST(LogImport, VerdictsAreThoseOfTheMessages) {
  const std::vector<Event> events = Imported(
      std::string(kStart) +
      "\x1b[1m\nERROR: Lock(\"FILE01\",EXCLUSIVE_LOCK) succeeded even though there was already a shared lock\n"
      "       being held on the same file, exclusive file locks must be exclusive.\n\n\x1b[0m"
      "\nWARN:  Lock(\"DIRECTORY01\",EXCLUSIVE_LOCK) returned an exclusive directory lock. \n"
      "\x1b[1m\nCLEANUP ERROR[4]: Lock() test left the object \"FILE01\" behind, error; 222 object is "
      "protected from deletion\n\n\x1b[0m"
      "\x1b[3mRead() test skipped because it is not implemented for DH0:\n\x1b[0m"
      "\nERROR: SetComment(\"FILE01\") failed while a shared lock is on the file; #202 object is in use\n"
      "       Internal filesystem locks must be shared locks.\n\n\x1b[0m"
      "SetDate() tests passed.\n\n");
  const CheckEvent failed = CheckNamed(events, "Lock.ExclusiveOverShared");
  EXPECT_EQ(failed.verdict, Verdict::kFail);
  EXPECT_EQ(failed.result, 10);
  EXPECT_FALSE(failed.ambiguous);
  ASSERT_EQ(failed.diagnostics.size(), 1U);
  EXPECT_TRUE(failed.diagnostics[0].bold);
  EXPECT_EQ(CheckNamed(events, "Lock.MissingObject").verdict, Verdict::kPass);
  EXPECT_EQ(CheckNamed(events, "Lock.SharedOnlyOnDirectory").verdict, Verdict::kWarn);
  const CheckEvent cleanup = CheckNamed(events, "Lock.EmptyNameRelativeToFile");
  EXPECT_EQ(cleanup.verdict, Verdict::kPass);
  ASSERT_EQ(cleanup.diagnostics.size(), 1U);
  const std::vector<LeftBehindEvent> left = EventsOf<LeftBehindEvent>(events);
  ASSERT_EQ(left.size(), 1U);
  EXPECT_EQ(left[0].id, "Lock.EmptyNameRelativeToFile");
  EXPECT_EQ(left[0].object, "FILE01");
  EXPECT_EQ(left[0].code, 222);

  EXPECT_EQ(CheckNamed(events, "Read.ReadBack").verdict, Verdict::kUnsupported);
  EXPECT_EQ(CheckNamed(events, "Read.ReadBack").result, 20);
  const CheckEvent not_run = CheckNamed(events, "Read.ReadProtectedFile");
  EXPECT_EQ(not_run.verdict, Verdict::kUnsupported);
  EXPECT_EQ(not_run.cause, "Read.ReadBack");

  const CheckEvent fatal = CheckNamed(events, "SetComment.SharedLockAllows");
  EXPECT_EQ(fatal.verdict, Verdict::kFail);
  EXPECT_EQ(fatal.result, 20);
  EXPECT_EQ(CheckNamed(events, "SetComment.NewDirectoryHasNone").verdict, Verdict::kPass);
  const CheckEvent skipped = CheckNamed(events, "SetComment.CommentIsStored");
  EXPECT_EQ(skipped.verdict, Verdict::kSkipped);
  EXPECT_EQ(skipped.cause, "SetComment.SharedLockAllows");

  // Between groups that are seen one without a word has failed, and nobody knows where.
  const CheckEvent silent = CheckNamed(events, "Open.MissingFile");
  EXPECT_EQ(silent.verdict, Verdict::kFail);
  EXPECT_TRUE(silent.ambiguous);
  EXPECT_EQ(CheckNamed(events, "Open.NewFileEmptiesFile").verdict, Verdict::kSkipped);
  EXPECT_EQ(EventsOf<EndEvent>(events).at(0).result, 10);
}

TEST(LogImport, BlockedIsWhatFindsNoName) {
  const std::vector<Event> events = Imported(
      std::string(kStart) +
      "Delete() tests passed.\n"
      "\x1b[1m\nERROR: Cannot build unique object name string.\n\n\x1b[0mDupLock() tests passed.\n\n");
  EXPECT_EQ(CheckNamed(events, "DeviceInfoData.ValidatedWhenUnprotected").verdict, Verdict::kFail)
      << "it builds no name";
  const std::vector<Event> lock = Imported(
      std::string(kStart) +
      "LockRecord() tests passed.\n"
      "\x1b[1m\nERROR: Cannot build unique object name string.\n\n\x1b[0mParentOfFH() tests passed.\n\n");
  EXPECT_EQ(CheckNamed(lock, "Open.MissingFile").verdict, Verdict::kBlocked);
  EXPECT_TRUE(CheckNamed(lock, "Open.MissingFile").ambiguous);
}

// A log that is cut off at any byte: what it holds counts, and only the whole one has an end.
TEST(LogImport, OfALogThatIsCutOff) {
  const std::string log =
      LogOf({"--mount", "DH0=ram,deviate=delete-open-file", "DH0:", "FTN=9", "LTN=13"});
  const std::vector<CheckEvent> whole = EventsOf<CheckEvent>(Imported(log));
  const std::size_t start = log.find("Starting tests for Device Name= ");
  std::size_t most = 0;
  for (std::size_t size = start + 32; size < log.size(); ++size) {
    const std::vector<Event> events = Imported(std::string_view(log).substr(0, size));
    // The empty line before a message looks like the one at the end of a run.
    const bool at_message = log.compare(size - 1, 6, "\nERROR") == 0;
    EXPECT_TRUE(at_message || EventsOf<EndEvent>(events).empty()) << size;
    const std::vector<CheckEvent> checks = EventsOf<CheckEvent>(events);
    most = std::max(most, checks.size());
    for (const CheckEvent& check : checks) {
      if (check.diagnostics.empty()) continue;
      EXPECT_EQ(check.id, "Delete.OpenFile") << size;
    }
  }
  EXPECT_EQ(most, whole.size());
  EXPECT_EQ(EventsOf<EndEvent>(Imported(log)).size(), 1U);
}

TEST(LogImport, TakesWhatTransfersMakeOfALog) {
  const std::string log = LogOf({"--mount", "DH0=ram,deviate=delete-open-file", "DH0:"});
  const std::string stream = StreamOf(Imported(log));
  EXPECT_EQ(StreamOf(Imported(WithCarriageReturns(log))), stream);
  EXPECT_EQ(StreamOf(Imported(log + std::string(100, '\0'))), stream);
  EXPECT_EQ(StreamOf(Imported(log + std::string(100, '\x1a'))), stream);
  EXPECT_EQ(StreamOf(Imported("5.RAM Disk:> quorle DH0:\n" + log)), stream);
  const std::vector<Event> twice = Imported(log + log);
  EXPECT_EQ(StreamOf(twice), stream + stream);
}

TEST(LogImport, NamesAreSafeText) {
  const std::vector<Event> events = Imported(
      "Starting tests for Device Name= D\xe9:        Volume Name= a\x07\xff\n"
      "\x1b[1mHost Filesystem = x   DOSType: y   DOSType:0x464f5fff [ABC\xff]\n\n\x1b[0mLock() tests passed.\n\n");
  const TargetEvent target = EventsOf<TargetEvent>(events).at(0);
  EXPECT_EQ(target.device, "D\xc3\xa9:");
  EXPECT_EQ(target.volume, "a\\x07\xc3\xbf");
  EXPECT_EQ(target.filesystem, "x   DOSType: y");
  EXPECT_EQ(target.dostype, "0x464F5FFF");
}

TEST(LogImport, OfARefusedTarget) {
  const std::vector<Event> events =
      Imported(LogOf({"--mount", "DH0=ram,state=validating", "DH0:"}));
  EXPECT_TRUE(EventsOf<CheckEvent>(events).empty());
  ASSERT_EQ(EventsOf<EndEvent>(events).size(), 1U);
  EXPECT_EQ(EventsOf<EndEvent>(events)[0].result, 20);
}

TEST(LogImport, RelabelOfAVolumeWithoutAName) {
  for (const char* const words :
       {"--mount DH0=ram,volume= DH0:", "--mount DH0=ram,volume= DH0: NI"}) {
    std::vector<std::string> line;
    std::istringstream stream(words);
    for (std::string word; stream >> word;) line.push_back(word);
    const std::vector<Event> events = Imported(LogOf(line));
    EXPECT_EQ(EventsOf<EndEvent>(events).at(0).result, 0) << words;
    EXPECT_EQ(EventsOf<CheckEvent>(events).size(), 108U);
  }
}

TEST(LogImport, MessagesOfAnotherVersionAreTheGroupsThatTheyName) {
  const std::vector<Event> events = Imported(
      std::string(kStart) +
      "\nERROR: Open() is not as it was; #205 object not found\n\nParentDir() tests passed.\n\n");
  const CheckEvent check = CheckNamed(events, "Open.MissingFile");
  EXPECT_EQ(check.verdict, Verdict::kFail);
  EXPECT_TRUE(check.ambiguous);
  EXPECT_EQ(check.diagnostics.at(0).code, 205);
}

TEST(LogImport, RefusesWhatIsNoLog) {
  for (const std::string& text :
       {std::string(), std::string(1000, '\0'), std::string("{\"event\":\"run\"}\n"),
        std::string("ERROR: Can't find DH0:\n"), LogOf({})}) {
    std::vector<Event> events;
    std::string problem;
    EXPECT_FALSE(ImportLog(text, kStandardCatalogue, events, problem));
    EXPECT_EQ(problem, "no log of a run: no line begins with \"Starting tests for Device Name=\"");
    EXPECT_TRUE(events.empty());
  }
  std::string flood = kStart;
  while (flood.size() < 1 << 20) flood += "\nERROR: Cannot build unique object name string.\n\n";
  std::vector<Event> events;
  std::string problem;
  EXPECT_FALSE(ImportLog(flood, kStandardCatalogue, events, problem));
  EXPECT_EQ(problem, "no log of a run: it has more messages than any");
  EXPECT_TRUE(events.empty());
}

// Logs with parts lost, doubled, swapped and overwritten: every one becomes a stream that is read back.
TEST(LogImport, CopesWithDamage) {
  const std::string log = LogOf({"--mount", "DH0=ram,deviate=delete-open-file", "DH0:"});
  TemporaryDirectory directory;
  const std::string path = (directory.path() / "events").string();
  std::mt19937 random(14);
  for (int i = 0; i < 100; ++i) {
    std::string damaged = log;
    for (int n = 0; n < 5; ++n) {
      const std::size_t from = random() % damaged.size();
      const std::size_t count = random() % 400;
      const std::string part = damaged.substr(from, count);
      switch (random() % 3) {
        case 0:
          damaged.erase(from, count);
          break;
        case 1:
          damaged.insert(random() % damaged.size(), part);
          break;
        default:
          damaged[from] = static_cast<char>(random());
          break;
      }
    }
    std::vector<Event> events;
    std::string problem;
    if (!ImportLog(damaged, kStandardCatalogue, events, problem)) continue;
    std::ofstream(path, std::ios::binary) << StreamOf(events);
    std::vector<RunRecord> runs;
    EXPECT_TRUE(ReadEvents(path, runs, problem)) << problem;
  }
}

/// What the command prints and reports.
struct ImportAnswer {
  std::int32_t status = 0;
  std::string output;
  std::string errors;
};

ImportAnswer Import(std::vector<const char*> words) {
  MemorySink output;
  MemorySink errors;
  Console console(output, errors, false);
  ImportAnswer said;
  said.status = ImportCommand(words, console);
  said.output = output.text;
  said.errors = errors.text;
  return said;
}

TEST(ImportCommand, WritesAStreamThatIsReadBack) {
  TemporaryDirectory directory;
  const std::string log = (directory.path() / "log").string();
  const std::string events = (directory.path() / "events").string();
  std::ofstream(log, std::ios::binary) << LogOf({"RAM:", "TN=24"});
  const ImportAnswer printed = Import({log.c_str()});
  EXPECT_EQ(printed.status, 0);
  EXPECT_EQ(printed.errors, "");
  const ImportAnswer written = Import({log.c_str(), "-o", events.c_str()});
  EXPECT_EQ(written.status, 0);
  EXPECT_EQ(written.output, "");
  std::ifstream file(events, std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), printed.output);
  std::vector<RunRecord> runs;
  std::string problem;
  ASSERT_TRUE(ReadEvents(events, runs, problem)) << problem;
  ASSERT_EQ(runs.size(), 1U);
  EXPECT_EQ(runs[0].checks.size(), 4U);
  EXPECT_TRUE(runs[0].end);
}

TEST(ImportCommand, HasHelp) {
  const ImportAnswer said = Import({"--help"});
  EXPECT_EQ(said.status, 0);
  EXPECT_EQ(said.errors, "");
  EXPECT_NE(said.output.find("Usage: quorle import CONSOLE-LOG [-o FILE]\n"), std::string::npos);
}

TEST(ImportCommand, RefusesInOneLine) {
  TemporaryDirectory directory;
  const std::string here = directory.path().string();
  const std::string empty = here + "/empty";
  std::ofstream(empty, std::ios::binary).flush();
  const std::string large = here + "/large";
  {
    std::ofstream file(large, std::ios::binary);
    file << kStart;
    file.seekp(std::streamoff{1} << 30);
    file << '\n';
  }
  const std::string log = here + "/log";
  std::ofstream(log, std::ios::binary) << kStart;
  const std::string missing = here + "/missing";
  const std::string nowhere = here + "/no/events";
  const std::vector<std::pair<std::vector<const char*>, std::string>> cases = {
      {{missing.c_str()}, "cannot read " + missing + ": No such file or directory"},
      {{here.c_str()}, "cannot read " + here + ": Is a directory"},
      {{empty.c_str()}, empty + ": no log of a run: no line begins with "},
      {{large.c_str()}, large + ": no log of a run: it is larger than any"},
      {{log.c_str(), "-o", nowhere.c_str()}, "cannot write " + nowhere + ": "},
      {{}, "usage: quorle import CONSOLE-LOG [-o FILE]"},
      {{log.c_str(), "-o"}, "usage: "},
      {{log.c_str(), log.c_str()}, "usage: "},
      {{"-x", log.c_str()}, "usage: "},
      {{"-o", "a", "-o", "b", log.c_str()}, "usage: "},
  };
  for (const auto& [words, line] : cases) {
    const ImportAnswer said = Import(words);
    EXPECT_EQ(said.status, 20) << line;
    EXPECT_EQ(said.output, "");
    EXPECT_TRUE(said.errors.starts_with("quorle: " + line)) << said.errors;
    EXPECT_EQ(std::count(said.errors.begin(), said.errors.end(), '\n'), 1) << said.errors;
  }
}

}  // namespace
}  // namespace quorle
