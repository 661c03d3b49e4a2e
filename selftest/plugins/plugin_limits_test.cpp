#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "selftest/plugins/plugin_run.h"

namespace quorle::selftest {
namespace {

// ---- Signals and processes ---------------------------------------------------------------------

/// The same as RunOver(), started with the signal `name` ignored.
ProgramRun RunIgnoring(const std::string& name, const std::string& mount,
                       const std::vector<std::string>& rest = {"DH0:"}) {
  std::vector<std::string> arguments = {"--ignore-signal=" + name, QUORLE_PROGRAM, "--no-delay",
                                        "--mount", "DH0=" + mount};
  arguments.insert(arguments.end(), rest.begin(), rest.end());
  return RunProgram("/usr/bin/env", arguments, QUORLE_PLUGINS);
}

/// How many processes have `text` in their command line, as all have that a handler makes.
int ProcessesNaming(const std::string& text) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    std::ifstream file(entry.path() / "cmdline");
    const std::string line((std::istreambuf_iterator<char>(file)), {});
    if (line.find(text) != std::string::npos) ++count;
  }
  return count;
}

TEST(PluginRunTest, NothingThatTheHandlerMakesOutlivesTheRun) {
  const std::string mark = "ours-" + std::to_string(getpid());
  for (const char* const how : {"children", "daemons"}) {
    for (const char* const isolate : {"yes", "no"}) {
      SCOPED_TRACE(std::string(how) + ",isolate=" + isolate);
      const ProgramRun run = RunOver("plugin:rogue_plugin.so,in=FSRename,volume=" + mark +
                                         ",how=" + how + ",isolate=" + isolate,
                                     {"DH0:", "TN", "34"});
      EXPECT_NE(run.output.find("Rename() tests passed."), std::string::npos);
      EXPECT_EQ(run.errors, "");
      EXPECT_EQ(ProcessesNaming(mark), 0);
    }
  }
}

TEST(PluginRunTest, IgnoredEndsOfChildrenDoNotMatter) {
  const ProgramRun good = RunIgnoring("CHLD", "plugin:rogue_plugin.so,limit=3");
  EXPECT_EQ(good.errors, "");
  EXPECT_EQ(good.status, 0);
  const ProgramRun bad = RunIgnoring("CHLD", "plugin:rogue_plugin.so,limit=3,in=FSRename,how=exit");
  EXPECT_EQ(bad.errors,
            EndLine("exited with status 3 in FSRename(), test 34 (Rename.RenamedFile)"));
}

TEST(PluginRunTest, ARequestToEndFinishesTheGroup) {
  for (const char* const how : {"int", "term", "hup"}) {
    SCOPED_TRACE(how);
    const ProgramRun run =
        RunOver(std::string("plugin:rogue_plugin.so,in=FSOpen,how=") + how + ",at=5,volume=Work");
    const std::string aborting = "BREAK ^C - Aborting...\n";
    EXPECT_EQ(Count(run.output, aborting), 1);
    // The fifth file is opened by the second group, of which there are 33.
    EXPECT_EQ(Count(run.output, " tests passed.\n"), 2) << run.output;
    EXPECT_NE(run.status, -1);
  }
}

TEST(PluginRunTest, AnInterruptThatIsIgnoredStaysSo) {
  const ProgramRun run = RunIgnoring("INT", "plugin:rogue_plugin.so,in=FSOpen,how=int");
  EXPECT_EQ(run.output.find("BREAK"), std::string::npos);
  EXPECT_EQ(run.status, 0);
}

// ---- Limits ------------------------------------------------------------------------------------

TEST(PluginRunTest, AScanThatDoesNotGetOnIsEnded) {
  const std::string number = NumberOf("FSExamineObj()");
  for (const char* const how : {"", ",isolate=no", ",port=packet"}) {
    const ProgramRun run =
        RunOver(std::string("plugin:rogue_plugin.so,in=FSExamineDir,how=again") + how,
                {"DH0:", "TN", number});
    EXPECT_EQ(run.errors,
              "quorle: DH0: FSExamineDir() gives the same entry again and again, test " + number +
                  " (ExamineObj.SoftLinkIsNotFollowed)\n");
    EXPECT_NE(run.output.find("ERROR: ExamineObj()(\"LINK01\") failed."), std::string::npos)
        << run.output;
    EXPECT_EQ(run.status, 10);
  }
}

TEST(PluginRunTest, AScanWithoutAnEndIsEndedWithItsGroup) {
  const std::string number = NumberOf("FSExamineObj()");
  for (const char* const how : {"", ",isolate=no"}) {
    const ProgramRun run = RunProgram(
        QUORLE_PROGRAM,
        {"--no-delay", "--limit", "1", "--mount",
         std::string("DH0=plugin:./rogue_plugin.so,in=FSExamineDir,how=fresh") + how, "DH0:"},
        QUORLE_PLUGINS);
    EXPECT_EQ(run.errors,
              "quorle: test " + number +
                  " (ExamineObj.SoftLinkIsNotFollowed): the handler took more than 1 second "
                  "(--limit); the calls that are left fail\n");
    EXPECT_NE(run.output.find("ERROR: ExamineObj()(\"LINK01\") failed."), std::string::npos)
        << run.output;
    // The next one goes on, and finds nothing locked.
    EXPECT_NE(run.output.find("WriteProtectVolume() tests passed."), std::string::npos);
    EXPECT_EQ(run.status, 10);
  }
}

TEST(PluginRunTest, AGroupThatTakesTooLongFails) {
  const std::string number = NumberOf("FSSetProtection()");
  for (const char* const how : {"", ",port=packet", ",isolate=no"}) {
    SCOPED_TRACE(how);
    const ProgramRun run =
        RunOver(std::string("plugin:rogue_plugin.so,in=FSSetProtection,how=slow") + how,
                {"--limit", "1", "DH0:", "FTN", number});
    EXPECT_EQ(run.status, 10);
    EXPECT_EQ(run.errors.rfind("quorle: test " + number + " (SetProtection", 0), 0U) << run.errors;
    EXPECT_NE(
        run.errors.find("): the handler took more than 1 second (--limit); the calls that are "
                        "left fail\n"),
        std::string::npos)
        << run.errors;
    // Which call is the first that fails is a matter of time.
    EXPECT_EQ(run.output.find("SetProtection() tests passed."), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("WriteProtectVolume() tests passed."), std::string::npos);
  }
}

TEST(PluginRunTest, AHangInTheProgramItselfEndsIt) {
  const ProgramRun run =
      RunOver("plugin:rogue_plugin.so,in=FSRename,how=hang,isolate=no", {"--limit", "1", "DH0:"});
  EXPECT_EQ(
      run.errors,
      "quorle: DH0: the handler did not return within 1 second, test 34 (Rename.RenamedFile); "
      "it is in the tester's own process, which ends\n");
  EXPECT_NE(run.output.find("Read() tests passed."), std::string::npos);
  EXPECT_EQ(run.status, 20);
}

TEST(PluginRunTest, AHangAtTheMountEndsItToo) {
  const ProgramRun run =
      RunOver("plugin:rogue_plugin.so,in=Mount,how=hang,isolate=no", {"--limit", "1", "DH0:"});
  EXPECT_EQ(run.errors,
            "quorle: DH0: the handler did not return within 1 second; it is in the tester's own "
            "process, which ends\n");
  EXPECT_EQ(run.status, 20);
}

TEST(PluginRunTest, TheTimeInWhichAProcessIsStoppedDoesNotCount) {
  for (const char* const how : {"stopped", "stop"}) {
    SCOPED_TRACE(how);
    const ProgramRun run =
        RunOver(std::string("plugin:rogue_plugin.so,limit=1,in=FSRename,how=") + how,
                {"--limit", "2", "DH0:", "TN", "34"});
    EXPECT_EQ(run.errors, "");
    EXPECT_EQ(run.status, 0);
  }
}

TEST(PluginRunTest, AnInterruptEndsACallThatIsOverTheLimit) {
  const ProgramRun run =
      RunOver("plugin:rogue_plugin.so,limit=60,in=FSRename,how=int_hang", {"--limit", "1", "DH0:"});
  EXPECT_EQ(Count(run.errors, "did not answer within 1 second in FSRename(), test 34 (Rename."), 1)
      << run.errors;
  EXPECT_NE(run.output.find("BREAK ^C - Aborting..."), std::string::npos);
}

// ---- Answers that are none ---------------------------------------------------------------------

struct NoAnswer {
  const char* name;
  const char* in;        ///< the function
  const char* how;       ///< what it does wrong
  const char* reported;  ///< the line, from the verb on
  const char* test;      ///< that notices it
};

class NoAnswerTest : public testing::TestWithParam<NoAnswer> {};

/// Whether the handler runs in a process of its own or not, and by which port it is asked: the call
/// fails, one line names what it did, and the run goes on to its end.
TEST_P(NoAnswerTest, FailsTheCallAndIsNamed) {
  const NoAnswer& row = GetParam();
  for (const char* const port : {"", ",port=packet"}) {
    std::string output;
    for (const char* const how : {"", ",isolate=no"}) {
      const std::string mount =
          std::string("plugin:rogue_plugin.so,in=") + row.in + ",how=" + row.how + port + how;
      SCOPED_TRACE(mount);
      const ProgramRun run = RunOver(mount, {"DH0:", "TN", row.test});
      EXPECT_EQ(run.errors.substr(0, run.errors.find('\n')),
                std::string("quorle: handler of DH0: ") + row.reported);
      EXPECT_TRUE(run.status == 10 || run.status == 20) << run.status;
      if (output.empty()) output = run.output;
      EXPECT_EQ(run.output, output) << "another than in a process";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Ways, NoAnswerTest,
    testing::Values(
        NoAnswer{"ReadOver", "FSRead", "over",
                 "wrote outside of a buffer in FSRead(), test 30 (Read.ReadBack)", "30"},
        NoAnswer{"ReadFarOver", "FSRead", "far",
                 "wrote outside of a buffer in FSRead(), test 30 (Read.ReadBack)", "30"},
        NoAnswer{"ReadUnder", "FSRead", "under",
                 "wrote outside of a buffer in FSRead(), test 30 (Read.ReadBack)", "30"},
        NoAnswer{"ReadMore", "FSRead", "more",
                 "gave a count of 600 for 256 bytes in FSRead(), test 30 (Read.ReadBack)", "30"},
        NoAnswer{"WriteMore", "FSWrite", "more",
                 "gave a count of 600 for 7 bytes in FSWrite(), test 30 (Read.ReadBack)", "30"},
        NoAnswer{
            "LinkMore", "FSReadSoftLink", "more",
            "gave a count of 600 for 256 bytes in FSReadSoftLink(), test 31 (ReadSoftLink.ReadableLink)",
            "31"},
        NoAnswer{
            "LinkOver", "FSReadSoftLink", "over",
            "wrote outside of a buffer in FSReadSoftLink(), test 31 (ReadSoftLink.ReadableLink)",
            "31"},
        NoAnswer{"InfoOver", "FSDeviceInfoData", "over",
                 "wrote outside of a buffer in FSDeviceInfoData()", "10"},
        NoAnswer{"VersionOver", "FSFileSystemAttr", "over",
                 "wrote outside of a buffer in FSFileSystemAttr()", "10"},
        NoAnswer{"VersionWithoutEnd", "FSFileSystemAttr", "endless",
                 "gave a text without an end in FSFileSystemAttr()", "10"},
        NoAnswer{
            "RecordOver", "FSExamineLock", "over",
            "wrote outside of a buffer in FSExamineLock(), test 17 (ExamineLock.RootDirectory)",
            "17"},
        NoAnswer{
            "RecordWithoutEnd", "FSExamineLock", "endless",
            "gave a text without an end in FSExamineLock(), test 17 (ExamineLock.RootDirectory)",
            "17"},
        NoAnswer{
            "RecordPointsElsewhere", "FSExamineLock", "pointed",
            "gave an examine record with a text that is not in the record's buffer in FSExamineLock(), test 17 (ExamineLock.RootDirectory)",
            "17"},
        NoAnswer{
            "RecordMadeUp", "FSExamineLock", "made-up",
            "gave an examine record that is not from AllocDosObject() in FSExamineLock(), test 17 (ExamineLock.RootDirectory)",
            "17"},
        NoAnswer{
            "RecordStale", "FSExamineLock", "stale",
            "gave an examine record that is not from AllocDosObject() in FSExamineLock(), test 17 (ExamineLock.RootDirectory)",
            "17"},
        NoAnswer{"LockForeign", "FSLock", "foreign",
                 "gave a lock that is not from AllocDosObject() in FSLock()", "24"},
        NoAnswer{"LockMadeUp", "FSLock", "made-up",
                 "gave a lock that is not from AllocDosObject() in FSLock()", "24"},
        NoAnswer{"LockStale", "FSLock", "stale",
                 "gave a lock that is not from AllocDosObject() in FSLock()", "24"},
        NoAnswer{
            "LockFreed", "FSRead", "early",
            "was to use a lock that it has freed in FSSetProtection(), test 30 (Read.ReadBack)",
            "30"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(PluginRunTest, WhatTheHandlerLostIsNamedByCallAndCheck) {
  for (const char* const how : {"", ",isolate=no"}) {
    const ProgramRun kept = RunOver(
        std::string("plugin:rogue_plugin.so,in=FSUnLock,how=keep") + how, {"DH0:", "TN", "24"});
    EXPECT_EQ(
        kept.errors,
        "quorle: DH0: never freed: a lock (11), made in FSLock() (1), FSLock() of "
        "Lock.ExclusiveOverShared (2), FSCreateDir() of Lock.SharedOnlyOnDirectory (1), FSLock() of "
        "Lock.SharedOnlyOnDirectory (3), FSLock() of Lock.EmptyNameRelativeToFile (3), 1 "
        "elsewhere\n");
    EXPECT_EQ(kept.status, 10);
    const ProgramRun twice = RunOver(
        std::string("plugin:rogue_plugin.so,in=FSUnLock,how=twice") + how, {"DH0:", "TN", "24"});
    EXPECT_EQ(
        twice.errors,
        "quorle: DH0: freed twice or never allocated: a lock (7), in FSUnLock() of "
        "Lock.ExclusiveOverShared (1), FSUnLock() of Lock.SharedOnlyOnDirectory (3), FSUnLock() of "
        "Lock.EmptyNameRelativeToFile (2), FSUnLock() (1)\n");
    EXPECT_EQ(twice.status, 10);
  }
}

}  // namespace
}  // namespace quorle::selftest
