#include "hosted/break_signal.h"

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
