#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <istream>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "selftest/plugins/plugin_run.h"

namespace quorle::selftest {
namespace {

// ---- The whole catalogue -----------------------------------------------------------------------

TEST(PluginRunTest, AConformingPluginIsAsGoodAsABuiltInHandler) {
  for (const char* const port : {"", ",port=packet"}) {
    const ProgramRun built_in = RunOver(std::string("ram") + port);
    ASSERT_EQ(built_in.status, 0);
    ASSERT_NE(built_in.output.find("Rename() tests passed."), std::string::npos);
    for (const char* const how :
         {"", ",isolate=no", ",isolate=yes", ",restart=yes,limit=60", ",restart=no"}) {
      SCOPED_TRACE(std::string(port) + how);
      const ProgramRun plugin = RunOver(std::string("plugin:./ram_plugin.so") + how + port);
      EXPECT_EQ(plugin.status, 0);
      EXPECT_EQ(plugin.output, built_in.output);
      EXPECT_EQ(plugin.errors, "");
    }
  }
}

/// With infos, checks print how long something took, and that the plugin keeps no volume from one mount
/// to the next.
TEST(PluginRunTest, AConformingPluginPassesTheFurtherCatalogue) {
  const std::vector<std::string> loud = {"--catalogue", "further", "DH0:"};
  const std::vector<std::string> quiet = {"--catalogue", "further", "DH0:", "NI", "NW", "NR"};
  for (const char* const port : {"", ",port=packet"}) {
    const ProgramRun built_in = RunOver(std::string("ram") + port, quiet);
    ASSERT_EQ(built_in.status, 0) << built_in.output;
    ASSERT_NE(built_in.output.find("Soft links tests passed."), std::string::npos);
    for (const char* const isolate : {"yes", "no"}) {
      SCOPED_TRACE(std::string(port) + " isolate=" + isolate);
      const std::string mount = std::string("plugin:./ram_plugin.so,isolate=") + isolate + port;
      const ProgramRun plugin = RunOver(mount, quiet);
      EXPECT_EQ(plugin.status, 0);
      EXPECT_EQ(plugin.output, built_in.output);
      EXPECT_EQ(plugin.errors, "");
      const ProgramRun with_infos = RunOver(mount, loud);
      EXPECT_EQ(with_infos.status, 0);
      EXPECT_EQ(Count(with_infos.output, "ERROR") + Count(with_infos.output, "WARN"), 0)
          << with_infos.output;
      EXPECT_EQ(with_infos.errors, "");
    }
  }
}

/// Replaces every date below `value` by "a date".
void TakeDatesOut(nlohmann::json& value) {
  if (value.is_object() && value.contains("ticks")) {
    value = "a date";
  } else if (value.is_structured()) {
    for (nlohmann::json& part : value) TakeDatesOut(part);
  }
}

/// The calls of a trace that a second run makes again at another time: without their dates, and with
/// "now" for the seconds that DateStamp() leaves where the error code is kept. These stand there until
/// a call fails, and are compared with the date that DateStamp() gave.
std::vector<nlohmann::json> CallsAtAnyTime(std::istream&& trace) {
  constexpr std::int64_t kNoTime = -1;
  std::int64_t seconds = kNoTime;
  std::vector<nlohmann::json> calls;
  for (std::string line; std::getline(trace, line);) {
    nlohmann::json call = nlohmann::json::parse(line);
    if (call["op"] == "DateStamp") {
      const nlohmann::json& now = call["result"];
      seconds = now["days"].get<std::int64_t>() * 86400 + now["minutes"].get<std::int64_t>() * 60 +
                now["ticks"].get<std::int64_t>() / 50;
    }
    if (seconds != kNoTime && call.contains("ioerr") && call["ioerr"] == seconds)
      call["ioerr"] = "now";
    TakeDatesOut(call);
    calls.push_back(std::move(call));
  }
  return calls;
}

/// A run with its trace.
struct TracedRun {
  ProgramRun run;
  std::vector<nlohmann::json> calls;
};

TracedRun TracedRunOver(const std::string& mount) {
  const std::string file =
      testing::TempDir() + "/plugin_test." + std::to_string(getpid()) + ".jsonl";
  TracedRun traced{RunOver(mount, {"--trace", file, "DH0:"}), {}};
  traced.calls = CallsAtAnyTime(std::ifstream(file));
  std::filesystem::remove(file);
  return traced;
}

TEST(PluginRunTest, TheTraceIsTheSame) {
  const std::vector<nlohmann::json> built_in = TracedRunOver("ram").calls;
  ASSERT_GT(built_in.size(), 1000U);
  EXPECT_EQ(TracedRunOver("plugin:ram_plugin.so").calls, built_in);
}

/// Nothing that a handler had with the header of version 1 has moved or changed.
TEST(PluginRunTest, APluginOfVersionOneIsAsGoodAsOneOfToday) {
  for (const char* const isolate : {"yes", "no"}) {
    SCOPED_TRACE(isolate);
    const std::string rest = std::string(".so,isolate=") + isolate;
    const TracedRun today = TracedRunOver("plugin:example_of_today" + rest);
    const TracedRun older = TracedRunOver("plugin:example_of_version_1" + rest);
    ASSERT_GT(today.calls.size(), 1000U);
    ASSERT_NE(today.run.output.find("Lock() tests passed."), std::string::npos);
    EXPECT_EQ(older.run.output, today.run.output);
    EXPECT_EQ(older.run.errors, today.run.errors);
    EXPECT_EQ(older.run.status, today.run.status);
    EXPECT_EQ(older.calls, today.calls);
  }
}

TEST(PluginRunTest, AMisbehaviourIsSeenOverAPlugin) {
  const std::string deviation = ",deviate=read-one-less+delete-open-file";
  const ProgramRun built_in = RunOver("ram" + deviation);
  EXPECT_EQ(built_in.status, 10);
  const ProgramRun plugin = RunOver("plugin:ram_plugin.so" + deviation);
  EXPECT_EQ(plugin.output, built_in.output);
  EXPECT_EQ(plugin.status, 10);
}

// ---- Handlers that do not last -----------------------------------------------------------------

struct Death {
  const char* how;
  const char* reported;
};

class DeathTest : public testing::TestWithParam<Death> {};

TEST_P(DeathTest, EndsTheHandlerAndNotTheRun) {
  const ProgramRun run = RunOver(
      std::string("plugin:rogue_plugin.so,limit=1,restart=no,in=FSRename,how=") + GetParam().how);
  EXPECT_EQ(WithoutFrames(run.errors),
            ReportedLine(std::string(GetParam().reported) +
                         " in FSRename(), test 34 (Rename.RenamedFile)"));
  EXPECT_EQ(run.status, 10);
  // What came before is as it always is, and the run goes on to its last group.
  EXPECT_NE(run.output.find("Read() tests passed."), std::string::npos);
  EXPECT_NE(run.output.find("#218"), std::string::npos);
  EXPECT_NE(run.output.find("ERROR: WriteProtectVolume(\"DH0:\",TRUE) failed; #218"),
            std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Ways, DeathTest,
                         testing::Values(Death{"signal", "ended by signal 11 (SIGSEGV)"},
                                         Death{"exit", "exited with status 3"},
                                         Death{"hang", "did not answer within 1 second"},
                                         Death{"turn", "gave a reply without shape"},
                                         Death{"garbage", "gave a reply without shape"},
                                         Death{"zeroes", "gave a reply without shape"},
                                         Death{"length", "gave a reply without shape"},
                                         Death{"short", "gave a reply without shape"}),
                         [](const auto& row) { return std::string(row.param.how); });

#ifdef QUORLE_SANITIZE
TEST(PluginRunTest, ALeakIsShownInTheSourceOfTheHandler) {
  const ProgramRun run =
      RunOver("plugin:rogue_plugin.so,isolate=no,in=FSRename,how=lose", {"DH0:", "TN", "34"});
  EXPECT_NE(run.errors.find("Lose"), std::string::npos) << run.errors;
  EXPECT_NE(run.errors.find("rogue_handler.cpp:"), std::string::npos) << run.errors;
}
#endif

#ifndef QUORLE_SANITIZE  // it takes the crash for itself
TEST(PluginRunTest, ACrashIsShownInTheSourceOfTheHandler) {
  struct Case {
    const char* how;
    const char* reported;
    const char* function;
  };
  for (const Case& row : {Case{"crash", "ended by signal 11 (SIGSEGV)", "Crash"},
                          Case{"spin", "did not answer within 1 second", "Spin"}}) {
    SCOPED_TRACE(row.how);
    const ProgramRun run =
        RunOver(std::string("plugin:rogue_plugin.so,limit=1,in=FSRename,how=") + row.how,
                {"DH0:", "TN", "34"});
    EXPECT_EQ(WithoutFrames(run.errors),
              EndLine(std::string(row.reported) + " in FSRename(), test 34 (Rename.RenamedFile)"));
#ifdef QUORLE_HAS_BACKTRACE
    const std::size_t frame = run.errors.find("quorle:   #0 ");
    ASSERT_NE(frame, std::string::npos) << run.errors;
    const std::string line = run.errors.substr(frame, run.errors.find('\n', frame) - frame);
    EXPECT_NE(line.find(std::string(row.function) + "()"), std::string::npos) << line;
    EXPECT_NE(line.find("rogue_handler.cpp:"), std::string::npos) << line;
    // The tester's own functions are nobody's business.
    EXPECT_EQ(run.errors.find("HandlerSide"), std::string::npos) << run.errors;
#endif
  }
}
#endif

TEST(PluginRunTest, ACrashInAPacketIsReportedByThePacketsName) {
  const ProgramRun run = RunOver("plugin:rogue_plugin.so,in=Packet,how=signal");
  EXPECT_EQ(
      run.errors,
      EndLine(
          "ended by signal 11 (SIGSEGV) in ACTION_RENAME_OBJECT, test 34 (Rename.RenamedFile)"));
  EXPECT_EQ(run.status, 10);
}

TEST(PluginRunTest, ACrashOutsideOfTheTestsNamesNone) {
  const ProgramRun run = RunOver("plugin:rogue_plugin.so,in=FSLock,how=signal");
  EXPECT_EQ(run.errors, EndLine("ended by signal 11 (SIGSEGV) in FSLock()"));
  EXPECT_EQ(run.status, 20);
}

TEST(PluginRunTest, AHandlerThatDiesWhenItIsUnmountedDidNotPass) {
  const ProgramRun good = RunOver("ram", {"DH0:", "TN", "6"});
  const ProgramRun run = RunOver("plugin:rogue_plugin.so,in=Unmount,how=exit", {"DH0:", "TN", "6"});
  EXPECT_EQ(run.output, good.output);
  EXPECT_EQ(run.errors, ReportedLine("exited with status 3 in Unmount()"));
  EXPECT_EQ(good.status, 0);
  EXPECT_EQ(run.status, 10);
}

TEST(PluginRunTest, AHandlerThatDiesWhenItIsMountedIsNotMounted) {
  const ProgramRun run = RunOver("plugin:rogue_plugin.so,in=Mount,how=signal");
  EXPECT_EQ(
      run.errors,
      "quorle: cannot mount DH0: the handler process ended by signal 11 (SIGSEGV) in Mount()\n");
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(run.status, 20);
}

TEST(PluginRunTest, WhatTheHandlerForgetsIsReportedInTheEnd) {
  for (const char* const how : {"", ",isolate=no"}) {
    const ProgramRun run = RunOver(std::string("plugin:rogue_plugin.so,in=FSUnLock,how=keep") + how,
                                   {"DH0:", "TN", "6"});
    EXPECT_EQ(Count(run.errors, "quorle: DH0: never freed: a lock ("), 1) << run.errors;
    EXPECT_EQ(Count(run.errors, "\n"), 1) << run.errors;
  }
}

TEST(PluginRunTest, WhatTheHandlerPrintsIsNoPartOfTheOutput) {
  const ProgramRun good = RunOver("ram", {"DH0:", "TN", "30"});
  for (const char* const isolate : {"yes", "no"}) {
    const ProgramRun run =
        RunOver(std::string("plugin:rogue_plugin.so,in=FSRead,how=print,isolate=") + isolate,
                {"DH0:", "TN", "30"});
    EXPECT_EQ(run.output, good.output);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors.substr(0, run.errors.find('\n')), "printed by the handler");
  }
}

// ---- Another process for the next test ---------------------------------------------------------

TEST(PluginRunTest, OneCrashDoesNotHideTheOtherGroups) {
  const ProgramRun good = RunOver("ram");
  const ProgramRun run = RunOver("plugin:rogue_plugin.so,in=FSRename,how=signal");
  EXPECT_EQ(run.errors,
            EndLine("ended by signal 11 (SIGSEGV) in FSRename(), test 34 (Rename.RenamedFile)"));
  EXPECT_EQ(run.status, 10);
  // Every group but the one says what it always says.
  const auto from = [](const std::string& text, const char* mark) { return text.find(mark); };
  const char* const kAfter = "-- SameFile() test";
  ASSERT_NE(from(good.output, kAfter), std::string::npos);
  ASSERT_NE(from(run.output, kAfter), std::string::npos);
  EXPECT_EQ(run.output.substr(from(run.output, kAfter)),
            good.output.substr(from(good.output, kAfter)));
  const char* const kBefore = "Relabel() tests passed.";
  ASSERT_NE(from(good.output, kBefore), std::string::npos);
  EXPECT_EQ(run.output.substr(0, from(run.output, kBefore)),
            good.output.substr(0, from(good.output, kBefore)));
}

TEST(PluginRunTest, AHandlerMayCrashInManyTests) {
  const ProgramRun run = RunOver("plugin:rogue_plugin.so,in=FSClose,how=signal");
  EXPECT_EQ(run.status, 10);
  EXPECT_GT(Count(run.errors, "started again for the next test\n"), 20) << run.errors;
  EXPECT_EQ(Count(run.errors, "\n"), Count(run.errors, " in FSClose(), test ")) << run.errors;
}

TEST(PluginRunTest, AHandlerThatCannotBeStartedAgainStaysAway) {
  // The second mount is another process: it counts for itself, so that what fails is the first lock
  // of each.
  const ProgramRun run = RunOver("plugin:rogue_plugin.so,at=2,in=FSLock,how=signal", {"DH0:"});
  EXPECT_NE(run.status, 0);
  EXPECT_GT(Count(run.errors, " in FSLock()"), 1) << run.errors;
}

// ---- What is not mounted -----------------------------------------------------------------------

struct Refusal {
  const char* name;
  const char* mount;
  const char* problem;
};

class RefusalTest : public testing::TestWithParam<Refusal> {};

TEST_P(RefusalTest, SaysWhyInOneLine) {
  for (const char* const isolate : {"", ",isolate=no"}) {
    const std::string mount = GetParam().mount;
    if (mount.find("limit=") != std::string::npos || mount.find("restart=") != std::string::npos ||
        mount.find("isolate=") != std::string::npos) {
      if (*isolate != '\0') continue;
    }
    const ProgramRun run = RunOver(mount + isolate);
    EXPECT_EQ(run.errors, std::string("quorle: cannot mount DH0: ") + GetParam().problem + "\n");
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.status, 20);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Reasons, RefusalTest,
    testing::Values(
        Refusal{"NoFile", "plugin", "plugin needs a file: DH0=plugin:./my.so"},
        Refusal{"NotThere", "plugin:nowhere.so",
                "./nowhere.so: cannot open shared object file: No such file or directory"},
        Refusal{"NotAnObject", "plugin:/etc/passwd", "/etc/passwd: invalid ELF header"},
        Refusal{"NoEntry", "plugin:refused_plugin_1.so",
                "refused_plugin_1.so exports no QuorleHandler()"},
        Refusal{"NewerHeader", "plugin:refused_plugin_2.so",
                "refused_plugin_2.so has no handler for version 2 of the header"},
        Refusal{"NoVersion", "plugin:refused_plugin_3.so",
                "the handler was not made for this header: version 0, size 48"},
        Refusal{"TooSmall", "plugin:refused_plugin_4.so",
                "the handler was not made for this header: version 2, size 16"},
        Refusal{"NoMount", "plugin:refused_plugin_5.so",
                "the handler has no Mount() or no Unmount()"},
        Refusal{"NothingAtAll", "plugin:refused_plugin_6.so",
                "the handler has neither functions nor Packet()"},
        Refusal{"SaysNo", "plugin:refused_plugin_7.so", "no room\\x0afor DH0"},
        Refusal{"OldTable", "plugin:refused_plugin_8.so",
                "the handler's table of functions has version 50, at least 53 is needed"},
        Refusal{"KeyOfItsOwn", "plugin:ram_plugin.so,colour=red",
                "the ram handler knows no key colour, only volume, dostype, version, state, size"},
        Refusal{"Isolate", "plugin:ram_plugin.so,isolate=maybe",
                "isolate=maybe: it is either yes or no"},
        Refusal{"Restart", "plugin:ram_plugin.so,restart=1", "restart=1: it is either yes or no"},
        Refusal{"LimitOfNothing", "plugin:ram_plugin.so,limit=0",
                "limit=0: it is a number of seconds, 1 to 86400"},
        Refusal{"LimitOfMuch", "plugin:ram_plugin.so,limit=86401",
                "limit=86401: it is a number of seconds, 1 to 86400"},
        Refusal{"LimitOfText", "plugin:ram_plugin.so,limit=1s",
                "limit=1s: it is a number of seconds, 1 to 86400"},
        Refusal{"LimitWithoutAProcess", "plugin:ram_plugin.so,isolate=no,limit=3",
                "limit needs a process: not with isolate=no"},
        Refusal{"RestartWithoutAProcess", "plugin:ram_plugin.so,isolate=no,restart=yes",
                "restart needs a process: not with isolate=no"}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace quorle::selftest
