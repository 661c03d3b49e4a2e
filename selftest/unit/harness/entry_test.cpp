#include "harness/entry.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "selftest/support/test_bench.h"
#include "tests/catalogue.h"

namespace quorle {
namespace {

using selftest::CallText;
using selftest::Operations;
using selftest::TestBench;

constexpr char kClear[] = "\n\f\n";

// What a catalogue of three rows did, in order.
std::string& Log() {
  static std::string log;
  return log;
}

template <char kLetter, std::int32_t kResult>
std::int32_t LogAndReturn(TestContext&, const TestGroup&, RunListener&) {
  Log() += kLetter;
  return kResult;
}

template <char kLetter, std::int32_t kResult = 0>
constexpr TestGroup kGroup = {.label = "Some()", .run = LogAndReturn<kLetter, kResult>};

constexpr TestEntry kThreeRows[] = {
    {&kGroup<'a'>, "First"}, {&kGroup<'b', 10>, "Second"}, {&kGroup<'c'>, "Third"}, {nullptr, ""}};
constexpr TestEntry kPassingRows[] = {
    {&kGroup<'a'>, "First"}, {&kGroup<'b'>, nullptr}, {&kGroup<'c'>, "Third"}, {nullptr, ""}};

std::string Header() {
  return std::string(kClear) + kClear +
         "Starting tests for Device Name= RAM:        Volume Name= Ram Disk\n";
}

class EntryTest : public testing::Test {
 protected:
  void SetUp() override { Log().clear(); }

  /// Runs the tester with the words of one command line; keeps what it printed and called.
  std::int32_t Run(const std::vector<std::string>& words, const std::string& rules = "",
                   const TestEntry* entries = kThreeRows) {
    TestBench bench(words, rules);
    SilentListener listener;
    const std::int32_t result = bench.Run({.name = "rows", .entries = entries}, listener);
    output_ = bench.TakeOutput();
    trace_ = bench.TakeTrace();
    unused_rule_ = bench.UnusedRule();
    still_open_ = bench.StillOpen();
    EXPECT_EQ(unused_rule_, "");
    EXPECT_EQ(still_open_, "");
    return result;
  }

  std::string output_;
  std::vector<nlohmann::json> trace_;
  std::string unused_rule_;
  std::string still_open_;
};

// ---- Order of a whole run ----------------------------------------------------------------------

TEST_F(EntryTest, WholeRunCallsAndReleasesInOrder) {
  EXPECT_EQ(Run({"RAM:"}, "", kPassingRows), RETURN_OK);
  EXPECT_EQ(Log(), "abc");
  EXPECT_EQ(
      Operations(trace_),
      "FindTask AllocVecTags OpenLibrary GetInterface OpenLibrary GetInterface ReadArgs "
      "GetDeviceProc IsFileSystem DevNameFromPort VolNameFromPort FileSystemAttr GetDiskInfo "
      "Delay Lock SetCurrentDir SetProcWindow "
      "CheckSignal CheckSignal CheckSignal "
      "SetProcWindow SetCurrentDir UnLock "
      "FreeArgs FreeDeviceProc DropInterface CloseLibrary DropInterface CloseLibrary FreeVec");
  std::vector<std::string> calls;
  for (const nlohmann::json& call : trace_) calls.push_back(CallText(call));
  const auto has = [&](const std::string& call) {
    return std::count(calls.begin(), calls.end(), call) == 1;
  };
  EXPECT_TRUE(has("OpenLibrary(\"dos.library\",50)={\"revision\":113,\"version\":53} #0"));
  EXPECT_TRUE(has("GetInterface(\"dos.library\",\"main\",1)=true #0"));
  EXPECT_TRUE(has("GetInterface(\"utility.library\",\"main\",1)=true #0"));
  EXPECT_TRUE(has(
      "GetDeviceProc(\"RAM:\")={\"devproc\":\"devproc:3\",\"node_type\":28,\"port\":\"port:4\",\"version\":53,\"word78\":true} #0"));
  EXPECT_TRUE(has("Delay(25)=null #0"));
  EXPECT_TRUE(has("Lock(\"RAM:\",-2)=\"lock:5\" #0"));
  EXPECT_TRUE(has("SetProcWindow(-1)=null #0"));
  EXPECT_TRUE(has("SetProcWindow(\"previous\")=null #0"));
  EXPECT_TRUE(has("UnLock(\"lock:5\")=null #0"));
  EXPECT_TRUE(output_.ends_with("\n\n\033[0m\n")) << "the identity, then the closing line break";
}

// ---- Listeners ---------------------------------------------------------------------------------

std::int32_t Passes(TestContext&, std::int32_t) {
  return kPassed;
}

constexpr SubTest kPassingTable[] = {{"Passes", Passes}, {}};
constexpr TestGroup kPassingGroup = {"Some()", kPassingTable};
constexpr TestEntry kRowsWithSubTests[] = {{&kPassingGroup, "First"},
                                           {&kGroup<'b', 10>, "Second"},
                                           {&kPassingGroup, "Third"},
                                           {nullptr, ""}};

/// Records each call.
class LoggingListener final : public RunListener {
 public:
  void OnRunStart(const TestContext&, std::int32_t first, std::int32_t last) override {
    Log() += std::to_string(first) + "-" + std::to_string(last);
  }
  void OnGroupStart(const TestEntry& entry, std::int32_t row) override {
    Log().append(" ").append(entry.title).append(std::to_string(row)).append("(");
  }
  void OnGroupEnd(const TestEntry&, std::int32_t result) override {
    Log() += ")" + std::to_string(result);
  }
};

TEST_F(EntryTest, AListenerHearsOfEachGroupThatRuns) {
  const auto heard = [](const std::vector<std::string>& words) {
    Log().clear();
    TestBench bench(words);
    LoggingListener listener;
    bench.Run({.name = "rows", .entries = kRowsWithSubTests}, listener);
    return Log();
  };
  EXPECT_EQ(heard({"RAM:"}), "0-2 First1()0 Second2(b)10 Third3()0");
  EXPECT_EQ(heard({"RAM:", "FTN=2"}), "1-2 Second2(b)10 Third3()0");
  EXPECT_EQ(heard({"RAM:", "TN=2"}), "1-1 Second2(b)10");
  EXPECT_EQ(heard({"RAM:", "AOE"}), "0-2 First1()0 Second2(b)10");
  EXPECT_EQ(heard({"Nowhere:"}), "") << "refused before the tests";
}

TEST_F(EntryTest, AListenerIsNotNeeded) {
  EXPECT_EQ(Run({"RAM:"}, "", kRowsWithSubTests), RETURN_ERROR);
  EXPECT_EQ(Log(), "b");
  EXPECT_NE(output_.find("Some() tests passed.\nSome() tests passed.\n"), std::string::npos);
}

// ---- Refusals ----------------------------------------------------------------------------------

TEST_F(EntryTest, NoMemoryForTheContext) {
  EXPECT_EQ(Run({"RAM:"}, "AllocVecTags fail 103"), RETURN_FAIL);
  EXPECT_EQ(output_, "");
  EXPECT_EQ(Operations(trace_), "FindTask AllocVecTags");
}

TEST_F(EntryTest, NoMemoryAtADesktopStartRepliesTheMessage) {
  EXPECT_EQ(Run({"--workbench", "RAM:"}, "AllocVecTags fail 103"), RETURN_FAIL);
  EXPECT_EQ(output_, "");
  EXPECT_EQ(Operations(trace_), "FindTask WaitPort GetMsg AllocVecTags ReplyMsg");
}

TEST_F(EntryTest, LibrariesAndInterfacesThatDoNotOpen) {
  EXPECT_EQ(Run({"RAM:"}, "OpenLibrary(dos.library) fail 122"), RETURN_FAIL);
  EXPECT_EQ(output_, "");
  EXPECT_EQ(Operations(trace_), "FindTask AllocVecTags OpenLibrary FreeVec");

  EXPECT_EQ(Run({"RAM:"}, "GetInterface(dos.library) fail 122"), RETURN_FAIL);
  EXPECT_EQ(output_, "");
  EXPECT_EQ(Operations(trace_),
            "FindTask AllocVecTags OpenLibrary GetInterface CloseLibrary FreeVec");

  EXPECT_EQ(Run({"RAM:"}, "OpenLibrary(utility.library) fail 122"), RETURN_FAIL);
  EXPECT_EQ(output_, "");
  EXPECT_EQ(Operations(trace_),
            "FindTask AllocVecTags OpenLibrary GetInterface OpenLibrary "
            "FreeArgs FreeDeviceProc DropInterface CloseLibrary FreeVec");

  EXPECT_EQ(Run({"RAM:"}, "GetInterface(utility.library) fail 122"), RETURN_FAIL);
  EXPECT_EQ(output_, "");
  EXPECT_EQ(Operations(trace_),
            "FindTask AllocVecTags OpenLibrary GetInterface OpenLibrary GetInterface "
            "FreeArgs FreeDeviceProc DropInterface CloseLibrary CloseLibrary FreeVec");
}

TEST_F(EntryTest, DesktopStart) {
  EXPECT_EQ(Run({"--workbench", "RAM:"}), RETURN_FAIL);
  EXPECT_EQ(output_, "");
  EXPECT_EQ(Operations(trace_),
            "FindTask WaitPort GetMsg AllocVecTags OpenLibrary GetInterface OpenLibrary "
            "GetInterface TimedDosRequesterTags FreeArgs FreeDeviceProc DropInterface CloseLibrary "
            "DropInterface CloseLibrary FreeVec ReplyMsg");
  EXPECT_TRUE(CallText(trace_[8]).starts_with(
      "TimedDosRequesterTags(20,\"This program is for CLI only.\",\"OK\",3)="));
}

TEST_F(EntryTest, OldDosLibrary) {
  EXPECT_EQ(Run({"--dos-version", "53.89", "RAM:"}), RETURN_FAIL);
  EXPECT_EQ(output_, "\n\nYou need dos.library 53.90+\n\n");
  EXPECT_EQ(Run({"--dos-version", "52.200", "RAM:"}), RETURN_FAIL);
  EXPECT_EQ(output_, "\n\nYou need dos.library 53.90+\n\n");
  EXPECT_EQ(Run({"--dos-version", "53.90", "RAM:"}, "", kPassingRows), RETURN_OK);
  EXPECT_EQ(Run({"--dos-version", "54.0", "RAM:"}, "", kPassingRows), RETURN_OK);
}

TEST_F(EntryTest, CommandLineThatCannotBeParsed) {
  EXPECT_EQ(Run({}), RETURN_FAIL);
  const std::string usage = output_;
  EXPECT_TRUE(usage.starts_with("\n\f\n\nQuorle 53.24 (4.1.2021)\r\n")) << usage;
  EXPECT_TRUE(usage.ends_with("\n\n\r 1:   First\n 2:   Second\n 3:   Third\n")) << usage;
  EXPECT_EQ(
      Operations(trace_),
      "FindTask AllocVecTags OpenLibrary GetInterface OpenLibrary GetInterface ReadArgs "
      "FreeArgs FreeDeviceProc DropInterface CloseLibrary DropInterface CloseLibrary FreeVec");

  EXPECT_EQ(Run({"RAM:", "TN"}), RETURN_FAIL);
  EXPECT_EQ(output_, usage);
  EXPECT_EQ(Run({"RAM:", "TN=x"}), RETURN_FAIL);
  EXPECT_EQ(output_, usage);
  EXPECT_EQ(Run({"RAM:", "more"}), RETURN_FAIL);
  EXPECT_EQ(output_, usage);
}

TEST_F(EntryTest, RowsWithoutATitleAreNotListed) {
  EXPECT_EQ(Run({}, "", kPassingRows), RETURN_FAIL);
  EXPECT_TRUE(output_.ends_with("\n\n\r 1:   First\n 3:   Third\n")) << output_;
}

// ---- Selection -----------------------------------------------------------------------------------

TEST_F(EntryTest, NumbersOutOfRange) {
  const auto refused = [this](const std::vector<std::string>& words) {
    EXPECT_EQ(Run(words), RETURN_FAIL);
    EXPECT_EQ(Log(), "");
    return output_.substr(sizeof kClear - 1);
  };
  for (const char* const number : {"0", "3", "4", "-1", "2147483647", "-2147483648"}) {
    EXPECT_EQ(refused({"RAM:", "TN", number}), "Error: Test number must be 1 - 2\n");
    EXPECT_EQ(refused({"RAM:", "FTN", number}), "Error: First test number must be 1 - 2\n");
    EXPECT_EQ(refused({"RAM:", "LTN", number}), "Error: Last test number must be 1 - 2\n");
  }
  EXPECT_EQ(refused({"RAM:", "FTN=0", "LTN=0"}), "Error: First test number must be 1 - 2\n");
}

TEST_F(EntryTest, BoundOfTheRealCatalogueIs46) {
  EXPECT_EQ(Run({"RAM:", "TN=47"}, "", kStandardCatalogue.entries), RETURN_FAIL);
  EXPECT_EQ(output_, "\n\f\nError: Test number must be 1 - 46\n");
}

TEST_F(EntryTest, SelectedRange) {
  const auto ran = [this](const std::vector<std::string>& words) {
    Log().clear();
    Run(words, "", kPassingRows);
    return Log();
  };
  EXPECT_EQ(ran({"RAM:"}), "abc");
  EXPECT_EQ(ran({"RAM:", "TN", "1"}), "a");
  EXPECT_EQ(ran({"RAM:", "TN", "2"}), "b");
  EXPECT_EQ(ran({"RAM:", "FTN", "2"}), "bc") << "an open end runs the last row";
  EXPECT_EQ(ran({"RAM:", "LTN", "2"}), "ab");
  EXPECT_EQ(ran({"RAM:", "FTN", "1", "LTN", "2"}), "ab");
  EXPECT_EQ(ran({"RAM:", "FTN", "2", "LTN", "1"}), "b")
      << "the first one runs whatever the last is";
  EXPECT_EQ(ran({"RAM:", "TN", "1", "FTN", "99", "LTN", "0"}), "a") << "not looked at beside TN";
}

// ---- The main loop -------------------------------------------------------------------------------

TEST_F(EntryTest, FailedGroupGivesTen) {
  EXPECT_EQ(Run({"RAM:"}), RETURN_ERROR);
  EXPECT_EQ(Log(), "abc");
  EXPECT_EQ(Run({"RAM:", "TN", "1"}), RETURN_OK);
}

TEST_F(EntryTest, AbortOnErrStopsAfterTheFailedGroup) {
  EXPECT_EQ(Run({"RAM:", "AOE"}), RETURN_ERROR);
  EXPECT_EQ(Log(), "ab");
  EXPECT_TRUE(output_.ends_with("\033[1m\nError - Aborting...\n\033[0m\n"));
}

TEST_F(EntryTest, BreakIsSeenAfterTheGroupThatRan) {
  EXPECT_EQ(Run({"RAM:"}, "CheckSignal#1 return 4096"), RETURN_OK);
  EXPECT_EQ(Log(), "a");
  EXPECT_TRUE(output_.ends_with("\033[1m\nBREAK ^C - Aborting...\n\033[0m\n"));

  Log().clear();
  EXPECT_EQ(Run({"RAM:", "AOE"}, "CheckSignal#2 return 4096"), RETURN_ERROR);
  EXPECT_EQ(Log(), "ab");
  EXPECT_TRUE(output_.ends_with("\033[1m\nBREAK ^C - Aborting...\n\033[0m\n"))
      << "the break comes before the failure";
}

TEST_F(EntryTest, NoRowNoTest) {
  static constexpr TestEntry kEmpty[] = {{nullptr, ""}, {nullptr, ""}};
  EXPECT_EQ(Run({"RAM:"}, "", kEmpty), RETURN_OK);
}

TEST_F(EntryTest, RootThatCannotBeLocked) {
  EXPECT_EQ(Run({"RAM:"}, "Lock(RAM:,-2) fail 202"), RETURN_FAIL);
  EXPECT_EQ(Log(), "");
  EXPECT_TRUE(output_.ends_with("\n\n\033[0m\n")) << "only the closing line break";
  EXPECT_TRUE(Operations(trace_).ends_with(
      "GetDiskInfo Delay Lock FreeArgs FreeDeviceProc DropInterface CloseLibrary DropInterface "
      "CloseLibrary FreeVec"))
      << "nothing was changed, nothing is restored";
}

TEST_F(EntryTest, EarlyRefusalsReleaseTheSame) {
  EXPECT_EQ(Run({"RAM:", "TN=0"}), RETURN_FAIL);
  EXPECT_TRUE(Operations(trace_).ends_with(
      "ReadArgs FreeArgs FreeDeviceProc DropInterface CloseLibrary DropInterface CloseLibrary FreeVec"));
}

TEST_F(EntryTest, HeaderOfTheRun) {
  Run({"RAM:"}, "", kPassingRows);
  EXPECT_TRUE(output_.starts_with(Header())) << output_;
}

}  // namespace
}  // namespace quorle
