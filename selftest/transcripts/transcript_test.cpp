#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "selftest/kill_table/classic_runs.h"
#include "selftest/kill_table/watched_run.h"
#include "selftest/support/diff.h"
#include "selftest/support/test_bench.h"
#include "selftest/support/transcripts.h"

// Whole runs of the tester, compared byte by byte: the cases of one group file
// (selftest/support/transcript_file.h). Each is run twice on the same volume: what the first run leaves
// behind would show in the second. And each is run on a packet port and on a classic one, where it must
// print, return and call the same, but for what classic packets cannot carry.
//
// With QUORLE_APPROVE=GROUP/CASE,... in the environment (GROUP/CASE+SETTING, GROUP or "all") what these runs
// printed is written into the file instead of compared; scripts/approve sets it. Calls are written
// where they are compared already, be they none.

namespace quorle {
namespace {

namespace fs = std::filesystem;
using selftest::Diff;
using selftest::Starts;
using selftest::TestBench;
using selftest::Transcript;
using selftest::TranscriptFile;
using selftest::WatchedPart;
using selftest::WatchedRun;

bool IsToBeApproved(const std::string& name) {
  const char* const names = std::getenv("QUORLE_APPROVE");
  if (names == nullptr) return false;
  if (std::string_view(names) == "all") return true;
  return ("," + std::string(names) + ",").find("," + name + ",") != std::string::npos;
}

/// Whether the tester itself says that scratch objects stay behind.
bool LeavesObjectsBehind(const std::string& output) {
  return output.find("CLEANUP ERROR") != std::string::npos ||
         output.find("the magic has gone") != std::string::npos;
}

/// Shortens data of more than 100 bytes in `value`, of a call: to how many there are, and a number that others most
/// likely do not have (FNV-1a).
void ShortenData(nlohmann::json& value) {
  if (value.is_structured()) {
    for (nlohmann::json& part : value) ShortenData(part);
  }
  const std::string* const text = value.get_ptr<const std::string*>();
  if (text == nullptr) return;
  std::size_t bytes = 0;  // each of them is a character
  std::uint32_t sum = 2166136261;
  for (const char byte : *text) {
    if ((static_cast<unsigned char>(byte) & 0xC0) != 0x80) ++bytes;
    sum = (sum ^ static_cast<unsigned char>(byte)) * 16777619;
  }
  if (bytes > 100) value = std::to_string(bytes) + " bytes, " + std::to_string(sum);
}

/// The calls of the tests, one a line: what is done between the switching off of requesters and its
/// end. Of an examine record only the handle is shown, since its contents are the filesystem's, and no
/// size of an allocation, which is another where pointers are. Long data are shortened. What is asked after each group is left out where
/// groups are selected: that is as often as there are groups.
std::string CallsOfTests(const Transcript& test, const std::vector<std::string>& trace) {
  const bool is_selected = test.args.find("--select ") != std::string::npos;
  std::string text;
  bool in_tests = false;
  for (const std::string& line : trace) {
    nlohmann::json call = nlohmann::json::parse(line);
    if (call["op"] == "SetProcWindow") {
      in_tests = !in_tests;
      continue;
    }
    if (!in_tests || (is_selected && call["op"] == "CheckSignal")) continue;
    const bool is_record = call["op"] == "ExamineObject" || call["op"] == "ExamineDir";
    if (is_record && call["result"].is_object()) {
      call["result"] = call["result"]["handle"];
    }
    if (call["op"] == "AllocVecTags") call["args"].clear();
    if (call["op"] == "Read" || call["op"] == "Write") {
      ShortenData(call["args"]);
      ShortenData(call["result"]);
    }
    text += selftest::CallText(call);
    text += '\n';
  }
  return text;
}

/// What the sub-tests returned, in their order.
std::string StatusesOf(const WatchedRun& run) {
  std::string text;
  for (const WatchedPart& part : run.parts) {
    if (part.sub_test == 0) continue;
    if (!text.empty()) text += ' ';
    text += std::to_string(part.status);
  }
  return text;
}

/// One file of cases, in which approved texts are written.
class Group {
 public:
  explicit Group(const fs::path& path)
      : path_(path), file_(selftest::ReadTranscripts(path)), starts_(path) {}

  std::string name() const { return path_.stem().string(); }
  const Starts& starts() const { return starts_; }
  std::vector<Transcript>& cases() { return file_.transcripts(); }

  void Write() const { std::ofstream(path_, std::ios::binary) << file_.Text(); }
  /// Whether the file stands as it would be written.
  bool IsInOrder() const { return selftest::ReadFile(path_) == file_.Text(); }

 private:
  fs::path path_;
  TranscriptFile file_;
  Starts starts_;
};

class TranscriptTest : public testing::Test {
 public:
  TranscriptTest(Group& group, Transcript& test) : group_(group), test_(test) {}

  void TestBody() override {
    const std::string full_name = group_.name() + "/" + test_.name;
    TestBench bench(selftest::WordsOf(test_.args), selftest::RulesText(test_.rules));
    const std::string volumes = bench.Volumes();

    const WatchedRun run = selftest::RunWatched(bench);
    const std::string statuses = StatusesOf(run);
    const std::vector<std::string> trace = bench.TakeTraceLines();
    EXPECT_EQ(bench.UnusedRule(), "") << "a rule that never fires tests nothing";
    EXPECT_EQ(bench.StillOpen(false), "");
    EXPECT_EQ(bench.SecondRelease(), "") << "was released already";
    if (!LeavesObjectsBehind(run.output)) {
      EXPECT_EQ(bench.Volumes(), volumes) << "the volume is not what it was";
      const WatchedRun second = selftest::RunWatched(bench);
      EXPECT_EQ(second.result, run.result) << "the second run";
      EXPECT_EQ(Diff(run.output, second.output), "") << "the second run";
      EXPECT_EQ(StatusesOf(second), statuses) << "the second run";
    }

    const std::string start = group_.starts().Of(test_);
    if (IsToBeApproved(full_name) || IsToBeApproved(group_.name())) {
      const bool has_start = run.output.starts_with(start);
      if (!has_start) test_.start = selftest::kNoStart;
      test_.prints = run.output.substr(has_start ? start.size() : 0);
      test_.result = std::to_string(run.result);
      test_.returns = statuses;
      if (test_.calls) test_.calls = CallsOfTests(test_, trace);
      group_.Write();
      return;
    }
    ASSERT_TRUE(test_.prints) << "not approved yet: scripts/approve " << full_name;
    EXPECT_EQ(Diff(start + *test_.prints, run.output), "");
    EXPECT_EQ(std::to_string(run.result), test_.result);
    EXPECT_EQ(statuses, test_.returns);
    if (test_.calls) {
      EXPECT_EQ(Diff(*test_.calls, CallsOfTests(test_, trace)), "");
    }
  }

 private:
  Group& group_;
  Transcript& test_;
};

/// `calls` without the numbers of users: a classic packet asks the volume through a lock, which is one too.
std::string WithoutUsers(std::string calls) {
  constexpr std::string_view kUsers = "\"inuse\":";
  for (std::size_t at = calls.find(kUsers); at != std::string::npos;
       at = calls.find(kUsers, at + 1)) {
    const std::size_t number = at + kUsers.size();
    calls.erase(number, calls.find_first_not_of("0123456789", number) - number);
  }
  return calls;
}

/// The same case on a packet port and on a classic one.
class ClassicTest : public testing::Test {
 public:
  explicit ClassicTest(const Transcript& test) : test_(test) {}

  void TestBody() override {
    const std::vector<std::string> words = selftest::WordsOf(test_.args);
    const std::string rules = selftest::RulesText(test_.rules);
    if (rules.find("FileSystemAttr") != std::string::npos) {
      GTEST_SKIP() << "no classic packet asks for the version";
    }
    TestBench packet(words, rules + "\n" + selftest::kNoVersionRule, PortType::kPacket);
    TestBench classic(words, rules, PortType::kClassic);
    const WatchedRun on_packet_port = selftest::RunWatched(packet);
    const std::string volumes = classic.Volumes();
    const WatchedRun run = selftest::RunWatched(classic);
    EXPECT_EQ(selftest::DifferencesFromPacketPort(run, on_packet_port), "");
    if (!selftest::RanWhatIsOther(run)) {
      // A rule may be about calls that are made of a vector port alone.
      const std::string unused = packet.UnusedRule();
      EXPECT_EQ(classic.UnusedRule(), unused == "FileSystemAttr" ? "" : unused);
    }
    EXPECT_EQ(classic.StillOpen(false), "");
    EXPECT_EQ(classic.SecondRelease(), "") << "was released already";
    if (!LeavesObjectsBehind(run.output)) {
      EXPECT_EQ(classic.Volumes(), volumes) << "the volume is not what it was";
    }
    if (test_.calls && !selftest::RanWhatIsOther(run)) {
      EXPECT_EQ(Diff(WithoutUsers(CallsOfTests(test_, packet.TakeTraceLines())),
                     WithoutUsers(CallsOfTests(test_, classic.TakeTraceLines()))),
                "");
    }
  }

 private:
  const Transcript& test_;
};

/// That the file is as scripts/approve would write it: each setting with its differences alone.
class FileTest : public testing::Test {
 public:
  explicit FileTest(const Group& group) : group_(group) {}
  void TestBody() override {
    EXPECT_TRUE(group_.IsInOrder()) << "scripts/approve of any of its cases brings it in order";
  }

 private:
  const Group& group_;
};

void RegisterCases(Group& group) {
  const auto add = [&group](std::string name, const auto& make) {
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c == '-' || c == '+' || c == ' '; }, '_');
    testing::RegisterTest(group.name().c_str(), name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                          [make]() -> testing::Test* { return make(); });
  };
  for (Transcript& test : group.cases()) {
    add(test.name, [&group, &test] { return new TranscriptTest(group, test); });
  }
  if (std::getenv("QUORLE_APPROVE") == nullptr) {
    for (const Transcript& test : group.cases()) {
      add(test.name + " on a classic port", [&test] { return new ClassicTest(test); });
    }
    add("file in order", [&group] { return new FileTest(group); });
  }
}

}  // namespace
}  // namespace quorle

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (argc < 2) {
    std::fprintf(stderr, "usage: transcript_tests FILE...\n");
    return 2;
  }
  std::vector<std::unique_ptr<quorle::Group>> groups;
  for (int i = 1; i < argc; ++i) {
    try {
      groups.push_back(std::make_unique<quorle::Group>(argv[i]));
    } catch (const std::exception& error) {
      std::fprintf(stderr, "transcript_tests: %s\n", error.what());
      return 2;
    }
    quorle::RegisterCases(*groups.back());
  }
  return RUN_ALL_TESTS();
}
