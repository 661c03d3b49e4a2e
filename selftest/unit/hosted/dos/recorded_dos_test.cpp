#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "hosted/dos/hosted_dos.h"
#include "selftest/unit/hosted/machine_fixture.h"

namespace quorle {
namespace {

// Which functions of a handler dos calls, and what it makes of fixed answers.

/// A code that no call gives.
constexpr std::int32_t kNotSet = 4711;

class ClockThatCounts final : public Clock {
 public:
  quorle::DateStamp Now() override { return {}; }
  void Sleep(std::uint32_t ticks) override { slept += ticks; }
  std::uint32_t slept = 0;
};

class RecordedDosTest : public ::testing::Test {
 protected:
  RecordedDosTest() : port_(handler_.Mount(PortType::kVector)) {
    EXPECT_TRUE(list_.AddDevice(*port_));
    handler_.calls.clear();
  }

  HostedDosParts Parts() {
    return {.list = list_,
            .numbers = numbers_,
            .console = console_,
            .input = input_,
            .clock = clock_,
            .breaks = breaks_};
  }

  /// The names of the functions that were called, in order.
  std::string Functions() {
    std::string names;
    for (const RecordingHandler::Called& call : handler_.calls) names += call.function + " ";
    handler_.calls.clear();
    return names;
  }

  RecordingHandler handler_;
  std::unique_ptr<HandlerPort> port_;
  DosList list_;
  HandleNumbers numbers_;
  MemorySink output_;
  MemorySink errors_;
  Console console_{output_, errors_, false};
  FixedInput input_;
  FixedBreak breaks_;
  ClockThatCounts clock_;
};

TEST_F(RecordedDosTest, ANewDirectorysExclusiveLockBecomesShared) {
  HostedDos dos(Parts(), {});
  ::Lock& lock = *handler_.locks[0];
  handler_.result = reinterpret_cast<std::intptr_t>(&lock);
  lock.fl_Access = EXCLUSIVE_LOCK;
  EXPECT_TRUE(dos.CreateDir("dir"));
  EXPECT_EQ(Functions(), "FSCreateDir FSChangeLockMode ");
  lock.fl_Access = SHARED_LOCK;
  EXPECT_TRUE(dos.CreateDir("dir"));
  EXPECT_EQ(Functions(), "FSCreateDir ");
}

TEST_F(RecordedDosTest, OneComponentIsOneCall) {
  HostedDos dos(Parts(), {});
  handler_.res2 = ERROR_OBJECT_NOT_FOUND;
  EXPECT_FALSE(dos.Lock("x", SHARED_LOCK));
  EXPECT_EQ(Functions(), "FSLock ");
  EXPECT_FALSE(dos.Delete("x"));
  EXPECT_EQ(Functions(), "FSDelete ");
  EXPECT_FALSE(dos.SetProtection("x", 0));
  EXPECT_EQ(Functions(), "FSSetProtection ");
  EXPECT_FALSE(dos.Open("x", MODE_OLDFILE));
  EXPECT_EQ(Functions(), "FSOpen ");
  EXPECT_EQ(dos.ReadSoftLink({}, {}, "x", nullptr, 0), -1);
  EXPECT_EQ(Functions(), "");
}

TEST_F(RecordedDosTest, TheHandlersCodeIsPassedOnUnchanged) {
  HostedDos dos(Parts(), {});
  for (const std::int32_t code : {0, 1, 209, 99999, -1}) {
    handler_.res2 = code;
    EXPECT_FALSE(dos.Lock("x", SHARED_LOCK));
    EXPECT_EQ(dos.IoErr(), code);
  }
}

TEST_F(RecordedDosTest, DeleteAndRenameLeaveASoftLinkToTheHandler) {
  HostedDos dos(Parts(), {});
  handler_.res2 = ERROR_IS_SOFT_LINK;
  EXPECT_FALSE(dos.Delete("x"));
  EXPECT_EQ(dos.IoErr(), ERROR_IS_SOFT_LINK);
  EXPECT_FALSE(dos.Rename("x", "y"));
  EXPECT_EQ(dos.IoErr(), ERROR_IS_SOFT_LINK);
  EXPECT_EQ(Functions(), "FSDelete FSRename ");
}

TEST_F(RecordedDosTest, NoLinkArisesWhereSomethingCannotBeLocked) {
  HostedDos dos(Parts(), {});
  for (const std::int32_t code : {ERROR_OBJECT_IN_USE, ERROR_IS_SOFT_LINK}) {
    handler_.res2 = code;
    EXPECT_FALSE(dos.MakeLink("x", "target", LINK_SOFT));
    EXPECT_EQ(dos.IoErr(), ERROR_OBJECT_EXISTS);
    EXPECT_EQ(Functions(), "FSLock ");
  }
  // Any other refusal leaves the name to the handler.
  for (const std::int32_t code : {ERROR_OBJECT_NOT_FOUND, ERROR_ACTION_NOT_KNOWN}) {
    handler_.res2 = code;
    EXPECT_FALSE(dos.MakeLink("x", "target", LINK_SOFT));
    EXPECT_EQ(dos.IoErr(), code);
    EXPECT_EQ(Functions(), "FSLock FSCreateSoftLink ");
  }
}

TEST_F(RecordedDosTest, AnObjectExaminedItselfIsNeverFollowed) {
  HostedDos dos(Parts(), {});
  handler_.res2 = ERROR_IS_SOFT_LINK;
  EXPECT_EQ(dos.ExamineObject(EX_ObjectNameInput, "x"), nullptr);
  EXPECT_EQ(dos.IoErr(), ERROR_IS_SOFT_LINK);
  EXPECT_EQ(Functions(), "FSExamineObj ");
}

TEST_F(RecordedDosTest, AComparisonThatFailsLeavesItsCode) {
  HostedDos dos(Parts(), {});
  handler_.result = reinterpret_cast<std::intptr_t>(handler_.locks[0]);
  const LockHandle a = dos.Lock("a", SHARED_LOCK);
  handler_.result = reinterpret_cast<std::intptr_t>(handler_.locks[1]);
  const LockHandle b = dos.Lock("b", SHARED_LOCK);
  handler_.result = 0;
  handler_.res2 = ERROR_ACTION_NOT_KNOWN;
  EXPECT_EQ(dos.SameLock(a, b), LOCK_SAME_VOLUME);
  EXPECT_EQ(dos.IoErr(), ERROR_ACTION_NOT_KNOWN);
  dos.SetIoErr(kNotSet);
  handler_.res2 = 0;
  EXPECT_EQ(dos.SameLock(a, b), LOCK_SAME_VOLUME);
  EXPECT_EQ(dos.IoErr(), kNotSet);
}

TEST_F(RecordedDosTest, WithoutAHandlerThatComparesALockIsStillTheSameAsItself) {
  HostedDos dos(Parts(), {});
  handler_.result = reinterpret_cast<std::intptr_t>(handler_.locks[0]);
  const LockHandle a = dos.Lock("a", SHARED_LOCK);
  handler_.result = reinterpret_cast<std::intptr_t>(handler_.locks[1]);
  const LockHandle b = dos.Lock("a", SHARED_LOCK);
  handler_.result = 0;
  handler_.res2 = ERROR_ACTION_NOT_KNOWN;
  dos.SetIoErr(kNotSet);
  EXPECT_EQ(dos.SameLock(a, a), LOCK_SAME);
  EXPECT_EQ(dos.IoErr(), kNotSet);
  // Two locks on one object: nobody knows but the handler.
  EXPECT_EQ(dos.SameLock(a, b), LOCK_SAME_VOLUME);
  EXPECT_EQ(dos.IoErr(), ERROR_ACTION_NOT_KNOWN);
  // It was asked, and its no counts, whatever it looks like.
  handler_.res2 = 0;
  EXPECT_EQ(dos.SameLock(a, a), LOCK_SAME_VOLUME);
  handler_.res2 = ERROR_DEVICE_NOT_MOUNTED;
  EXPECT_EQ(dos.SameLock(a, a), LOCK_SAME_VOLUME);
  EXPECT_EQ(dos.IoErr(), ERROR_DEVICE_NOT_MOUNTED);
}

TEST_F(RecordedDosTest, AFileThatDoesNotCloseIsGoneAllTheSame) {
  HostedDos dos(Parts(), {});
  handler_.result = 1;
  const FileHandle file = dos.Open("x", MODE_OLDFILE);
  ASSERT_TRUE(file);
  handler_.result = 0;
  handler_.res2 = ERROR_DISK_FULL;
  EXPECT_FALSE(dos.Close(file));
  EXPECT_EQ(dos.IoErr(), ERROR_DISK_FULL);
  EXPECT_EQ(dos.CountOpen().files, 0U);
}

TEST_F(RecordedDosTest, ALockThatDoesNotUnlockIsGoneAllTheSame) {
  HostedDos dos(Parts(), {});
  handler_.result = reinterpret_cast<std::intptr_t>(handler_.locks[0]);
  const LockHandle handle = dos.Lock("x", SHARED_LOCK);
  ASSERT_TRUE(handle);
  handler_.result = 0;
  handler_.res2 = ERROR_INVALID_LOCK;
  dos.UnLock(handle);
  EXPECT_EQ(dos.IoErr(), ERROR_INVALID_LOCK);
  EXPECT_EQ(dos.CountOpen().locks, 0U);
}

TEST_F(RecordedDosTest, WhatIsLeftOpenIsClosedAtTheEnd) {
  {
    HostedDos dos(Parts(), {});
    handler_.result = reinterpret_cast<std::intptr_t>(handler_.locks[0]);
    EXPECT_TRUE(dos.Lock("x", SHARED_LOCK));
    handler_.result = 1;
    EXPECT_TRUE(dos.Open("x", MODE_OLDFILE));
    handler_.calls.clear();
  }
  EXPECT_EQ(Functions(), "FSClose FSUnLock ");
}

TEST_F(RecordedDosTest, DelaysMayBeSwitchedOff) {
  HostedDos dos(Parts(), {});
  dos.Delay(25);
  EXPECT_EQ(clock_.slept, 25U);
  HostedDos hurried(Parts(), {.arguments = "", .delays = false});
  hurried.Delay(25);
  EXPECT_EQ(clock_.slept, 25U);
}

}  // namespace
}  // namespace quorle
