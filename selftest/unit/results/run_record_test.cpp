#include "results/run_record.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "results/event_json.h"
#include "selftest/support/temporary_directory.h"

namespace quorle::selftest {
namespace {

constexpr const char* kRunLine = R"({"event":"run","version":1,"device":"DH0:"})";
constexpr const char* kCheckLine =
    R"({"event":"check","id":"Lock.MissingObject","catalogue":"standard","row":24,"number":1,"verdict":"fail","result":10,"calls":[31,38],"us":41,"diagnostics":[{"class":"ERROR","bold":true,"code":205,"text":"no"}]})";
constexpr const char* kEndLine = R"({"event":"end","result":10,"checks":{"fail":1},"us":1600})";

class RunRecordTest : public ::testing::Test {
 protected:
  /// Reads a file of `text`; the problem in place of the runs when it is refused.
  std::string Read(const std::string& text) {
    const std::string path = (directory_.path() / "events").string();
    std::ofstream(path, std::ios::binary) << text;
    runs.clear();
    std::string problem;
    const bool ok = ReadEvents(path, runs, problem);
    EXPECT_EQ(ok, problem.empty());
    EXPECT_TRUE(ok || runs.empty());
    const std::size_t at = problem.find(path);
    return at == std::string::npos ? problem : problem.replace(at, path.size(), "FILE");
  }

  static std::string Lines(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    return text;
  }

  TemporaryDirectory directory_;
  std::vector<RunRecord> runs;
};

TEST_F(RunRecordTest, AStreamIsRead) {
  ASSERT_EQ(Read(Lines({kRunLine, kCheckLine, kEndLine})), "");
  ASSERT_EQ(runs.size(), 1U);
  const RunRecord& run = runs[0];
  EXPECT_EQ(run.start.device, "DH0:");
  ASSERT_EQ(run.checks.size(), 1U);
  const CheckEvent& check = run.checks[0];
  EXPECT_EQ(check.id, "Lock.MissingObject");
  EXPECT_EQ(check.row, 24);
  EXPECT_EQ(check.verdict, Verdict::kFail);
  EXPECT_EQ(check.calls.first, 31);
  EXPECT_EQ(check.calls.last, 38);
  ASSERT_EQ(check.diagnostics.size(), 1U);
  EXPECT_EQ(check.diagnostics[0].code, 205);
  ASSERT_TRUE(run.end);
  EXPECT_EQ(run.end->checks.at(Verdict::kFail), 1);
}

TEST_F(RunRecordTest, EveryEventIsReadAsItWasWritten) {
  CheckEvent check;
  check.id = "Lock.A";
  check.verdict = Verdict::kBlocked;
  check.cause = "Lock.B";
  check.objects = {"FILE01", "FILE02"};
  check.why = "why";
  check.ambiguous = true;
  check.diagnostics = {
      {.type = DiagnosticClass::kCleanup, .bold = true, .code = 202, .text = "\"x\"\n"}};
  const std::vector<Event> events = {
      RunEvent{.version = 1,
               .program = "1",
               .device = "A:",
               .words = "NI",
               .arguments = {"A:", "NI"},
               .port = "packet",
               .handler = "ram",
               .time = "now",
               .repeat = 3},
      TargetEvent{.device = "A:", .volume = "V", .filesystem = "fs", .dostype = "0x1"},
      check,
      GroupEvent{.id = "Lock", .row = 24, .verdict = Verdict::kWarn, .result = 10, .us = 7},
      HandlerEndedEvent{.id = "Lock.A", .call = "FSLock", .how = "h", .restarted = true},
      LeftBehindEvent{.id = "Lock.A", .object = "FILE01", .code = 202},
      ComplaintEvent{.id = "", .text = "t"},
      RemountEvent{.id = "Lock", .ok = false, .text = "t"},
      DifferenceEvent{.id = "rename-refused",
                      .rule = "refusal",
                      .weight = "error",
                      .text = "t",
                      .calls = {"Rename"},
                      .seed = 5,
                      .found_in = 6,
                      .times = 7,
                      .comes_again = false,
                      .expected = true,
                      .reason = "r"},
      ExploreEvent{.sequences = 1,
                   .calls = 2,
                   .us = 3,
                   .differences = 4,
                   .expected = 5,
                   .notes = 6,
                   .traits = {"names of at most 30 bytes"}},
      EndEvent{.result = 10, .checks = {{Verdict::kBlocked, 1}}, .us = 9}};
  std::string text;
  for (const Event& event : events) text += ToJsonLine(event);
  ASSERT_EQ(Read(text), "");
  ASSERT_EQ(runs.size(), 1U);
  const RunRecord& run = runs[0];
  std::string again = ToJsonLine(run.start) + ToJsonLine(*run.target) +
                      ToJsonLine(run.checks.at(0)) + ToJsonLine(run.groups.at(0)) +
                      ToJsonLine(run.handler_ends.at(0)) + ToJsonLine(run.left_behind.at(0)) +
                      ToJsonLine(run.complaints.at(0)) + ToJsonLine(run.remounts.at(0)) +
                      ToJsonLine(events.at(8)) + ToJsonLine(events.at(9)) + ToJsonLine(*run.end);
  EXPECT_EQ(again, text);
  // Those of a search are in no record.
  for (const std::size_t i : {8U, 9U}) {
    std::string line = ToJsonLine(events[i]);
    line.pop_back();
    std::string problem;
    const std::optional<Event> event = ReadJsonLine(line, problem);
    ASSERT_TRUE(event) << problem;
    EXPECT_EQ(ToJsonLine(*event), line + "\n");
  }
}

TEST_F(RunRecordTest, ATornLastLineIsDropped) {
  const std::string whole = Lines({kRunLine, kCheckLine});
  for (std::size_t cut = 0; cut < std::string(kEndLine).size(); ++cut) {
    ASSERT_EQ(Read(whole + std::string(kEndLine).substr(0, cut)), "") << cut;
    ASSERT_EQ(runs.size(), 1U);
    EXPECT_EQ(runs[0].checks.size(), 1U);
    EXPECT_FALSE(runs[0].end) << "a run that was cut off";
  }
}

TEST_F(RunRecordTest, UnknownEventsAndFieldsAreIgnored) {
  EXPECT_EQ(Read(Lines({R"({"event":"run","version":1,"colour":["blue"]})",
                        R"({"event":"weather","id":7})", kCheckLine, kEndLine})),
            "");
  EXPECT_EQ(runs.at(0).checks.size(), 1U);
}

TEST_F(RunRecordTest, SeveralRunsAreNamedByTheirNumber) {
  ASSERT_EQ(Read(Lines({kRunLine, kEndLine, kRunLine, kCheckLine})), "");
  ASSERT_EQ(runs.size(), 2U);
  EXPECT_EQ(runs[1].source, runs[0].source.substr(0, runs[0].source.size() - 1) + "2");
  EXPECT_TRUE(runs[0].end);
  EXPECT_FALSE(runs[1].end);
}

TEST_F(RunRecordTest, WhatIsNoStreamIsRefusedWithItsLine) {
  EXPECT_EQ(Read(""), "FILE: it holds no run");
  EXPECT_EQ(Read("{\"ev"), "FILE: it holds no run");
  EXPECT_EQ(Read("hello\n"), "FILE:1: no event: it is no JSON");
  EXPECT_EQ(Read("[1,2]\n"), "FILE:1: no event: it is no JSON object");
  EXPECT_EQ(Read("{}\n"), "FILE:1: no event: \"event\" is missing");
  EXPECT_EQ(Read(Lines({kCheckLine})), "FILE:1: no event stream: the first event is not \"run\"");
  EXPECT_EQ(Read(Lines({kRunLine, "{\"event\":7}"})), "FILE:2: no event: \"event\" is no text");
  EXPECT_EQ(Read(Lines({kRunLine, R"({"event":"check","id":"A.B"})"})),
            "FILE:2: no event: \"verdict\" is missing");
  EXPECT_EQ(Read(Lines({kRunLine, R"({"event":"check","id":"A.B","verdict":"great"})"})),
            "FILE:2: no event: \"verdict\" is no verdict");
  EXPECT_EQ(
      Read(Lines({kRunLine, R"({"event":"check","id":"A.B","verdict":"pass","row":99999999999})"})),
      "FILE:2: no event: \"row\" is no number that fits");
}

TEST_F(RunRecordTest, ANewerStreamIsRefused) {
  EXPECT_EQ(Read(Lines({R"({"event":"run","version":2})"})),
            "FILE:1: it is version 2 of the event stream; this program reads version 1");
}

TEST_F(RunRecordTest, ALineThatIsLargerThanAnyEventIsRefused) {
  EXPECT_EQ(Read(std::string(5 << 20, 'x')),
            "FILE:1: no event stream: the line is larger than any event");
  EXPECT_EQ(Read(std::string(100000, '[') + "\n"),
            "FILE:1: no event: it holds more than any event");
  std::string values = "{\"event\":\"x\",\"a\":[0";
  for (int i = 0; i < 70000; ++i) values += ",0";
  EXPECT_EQ(Read(values + "]}\n"), "FILE:1: no event: it holds more than any event");
}

TEST_F(RunRecordTest, AFileThatIsNotThereIsNamed) {
  std::string problem;
  EXPECT_FALSE(ReadEvents((directory_.path() / "none").string(), runs, problem));
  EXPECT_EQ(problem,
            "cannot read " + (directory_.path() / "none").string() + ": No such file or directory");
  EXPECT_FALSE(ReadEvents(directory_.path().string(), runs, problem));
  EXPECT_EQ(problem, "cannot read " + directory_.path().string() + ": Is a directory");
}

TEST(EventJsonTest, TextsThatAreNoUtf8DoNotBreakTheStream) {
  std::string problem;
  const std::string line = ToJsonLine(ComplaintEvent{.id = "", .text = "a\xff\xc3"});
  const auto event = ReadJsonLine(std::string_view(line).substr(0, line.size() - 1), problem);
  ASSERT_TRUE(event) << problem;
  EXPECT_EQ(std::get<ComplaintEvent>(*event).text, "a\xef\xbf\xbd\xef\xbf\xbd");
}

}  // namespace
}  // namespace quorle::selftest
