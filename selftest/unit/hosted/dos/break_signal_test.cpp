#include "hosted/dos/break_signal.h"

#include <gtest/gtest.h>

#include <csignal>

namespace quorle {
namespace {

TEST(BreakSignalTest, NothingIsPendingAtFirst) {
  BreakSignal breaks;
  EXPECT_FALSE(breaks.TakeBreak());
}

TEST(BreakSignalTest, AnInterruptIsTakenOnce) {
  BreakSignal breaks;
  std::raise(SIGINT);
  EXPECT_TRUE(breaks.TakeBreak());
  EXPECT_FALSE(breaks.TakeBreak());
}

TEST(BreakSignalTest, ANewOneForgetsTheOld) {
  {
    BreakSignal breaks;
    std::raise(SIGINT);
  }
  BreakSignal breaks;
  EXPECT_FALSE(breaks.TakeBreak());
}

TEST(BreakSignalTest, ARequestToEndIsOneToo) {
  for (const int signal : {SIGTERM, SIGHUP}) {
    BreakSignal breaks;
    std::raise(signal);
    EXPECT_TRUE(breaks.TakeBreak()) << signal;
  }
}

TEST(BreakSignalTest, WhatWasIgnoredStaysSo) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    std::signal(signal, SIG_IGN);
    {
      BreakSignal breaks;
      std::raise(signal);
      std::raise(signal);
      EXPECT_FALSE(breaks.TakeBreak()) << signal;
      const int other = signal == SIGINT ? SIGTERM : SIGINT;
      std::raise(other);
      std::raise(signal);
      EXPECT_TRUE(breaks.TakeBreak()) << signal;
    }
    EXPECT_EQ(std::signal(signal, SIG_DFL), SIG_IGN) << signal;
  }
}

TEST(BreakSignalDeathTest, ASecondOneOfAnyKindEndsTheProcess) {
  const auto both = [](int first, int second) {
    BreakSignal breaks;
    std::raise(first);
    std::raise(second);
  };
  EXPECT_EXIT(both(SIGINT, SIGTERM), ::testing::KilledBySignal(SIGTERM), "");
  EXPECT_EXIT(both(SIGTERM, SIGHUP), ::testing::KilledBySignal(SIGHUP), "");
  EXPECT_EXIT(both(SIGHUP, SIGINT), ::testing::KilledBySignal(SIGINT), "");
}

TEST(BreakSignalDeathTest, ASecondInterruptEndsTheProcess) {
  const auto twice = [] {
    BreakSignal breaks;
    std::raise(SIGINT);
    std::raise(SIGINT);
  };
  EXPECT_EXIT(twice(), ::testing::KilledBySignal(SIGINT), "");
}

TEST(BreakSignalDeathTest, ASecondInterruptEndsTheProcessAlsoWhenTheFirstWasTaken) {
  const auto twice = [] {
    BreakSignal breaks;
    std::raise(SIGINT);
    breaks.TakeBreak();
    std::raise(SIGINT);
  };
  EXPECT_EXIT(twice(), ::testing::KilledBySignal(SIGINT), "");
}

}  // namespace
}  // namespace quorle
