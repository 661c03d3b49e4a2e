#include "harness/diagnostics.h"

#include <gtest/gtest.h>

#include "harness/vector_port.h"
#include "selftest/support/test_bench.h"

namespace quorle {
namespace {

using selftest::TestBench;

class DiagnosticsTest : public testing::Test {
 protected:
  TestBench bench_{{"RAM:"}};
  TestContext& ctx_ = bench_.Context();
};

TEST_F(DiagnosticsTest, StylesAreTheConsolesEscapes) {
  BoldOn(ctx_);
  EXPECT_EQ(bench_.TakeOutput(), "\033[1m");
  ItalicOn(ctx_);
  EXPECT_EQ(bench_.TakeOutput(), "\033[3m");
  StyleOff(ctx_);
  EXPECT_EQ(bench_.TakeOutput(), "\033[0m");
  ClearScreen(ctx_);
  EXPECT_EQ(bench_.TakeOutput(), "\n\f\n");
}

TEST_F(DiagnosticsTest, StylesKeepTheErrorCode) {
  ctx_.IDOS->SetIoErr(ERROR_OBJECT_EXISTS);
  BoldOn(ctx_);
  ItalicOn(ctx_);
  StyleOff(ctx_);
  ClearScreen(ctx_);
  EXPECT_EQ(ctx_.IDOS->IoErr(), ERROR_OBJECT_EXISTS);
}

TEST_F(DiagnosticsTest, StylesKeepTheErrorCodeOnAConsoleThatSetsOne) {
  bench_.SetRules("PutStr code 77");
  ctx_.IDOS->SetIoErr(ERROR_OBJECT_EXISTS);
  BoldOn(ctx_);
  EXPECT_EQ(ctx_.IDOS->IoErr(), ERROR_OBJECT_EXISTS);
  StyleOff(ctx_);
  EXPECT_EQ(ctx_.IDOS->IoErr(), ERROR_OBJECT_EXISTS);
  EXPECT_EQ(bench_.UnusedRule(), "");
}

TEST_F(DiagnosticsTest, MessageInAStyleShowsTheCodeOfTheFailedCall) {
  EXPECT_FALSE(ctx_.IDOS->Lock("nothing", SHARED_LOCK));
  {
    const Italic italic(ctx_);
    ctx_.IDOS->Printf("#%n %m\n");
  }
  EXPECT_EQ(bench_.TakeOutput(), "\033[3m#205 object not found\n\033[0m");
}

TEST_F(DiagnosticsTest, BoldEndsWithItsBlock) {
  {
    const Bold bold(ctx_);
    ctx_.IDOS->PutStr("line\n");
  }
  EXPECT_EQ(bench_.TakeOutput(), "\033[1mline\n\033[0m");
}

TEST_F(DiagnosticsTest, NotImplementedRecordsTheCode) {
  ctx_.IDOS->SetIoErr(ERROR_ACTION_NOT_KNOWN);
  EXPECT_TRUE(NotImplemented(ctx_));
  EXPECT_EQ(ctx_.last_error, ERROR_ACTION_NOT_KNOWN);

  ctx_.IDOS->SetIoErr(ERROR_OBJECT_IN_USE);
  EXPECT_FALSE(NotImplemented(ctx_));
  EXPECT_EQ(ctx_.last_error, ERROR_OBJECT_IN_USE);
  EXPECT_EQ(bench_.TakeOutput(), "");
}

TEST_F(DiagnosticsTest, WrongErrorComparesUnlessWarningsAreOff) {
  ctx_.IDOS->SetIoErr(ERROR_OBJECT_IN_USE);
  EXPECT_FALSE(WrongError(ctx_, ERROR_OBJECT_IN_USE));
  EXPECT_TRUE(WrongError(ctx_, ERROR_OBJECT_NOT_FOUND));

  ctx_.args[kNoWarnMessagesArgument].flag = 1;
  EXPECT_FALSE(WrongError(ctx_, ERROR_OBJECT_NOT_FOUND));
}

TEST_F(DiagnosticsTest, ShouldHaveBeenShowsTheExpectedCode) {
  ctx_.IDOS->SetIoErr(ERROR_OBJECT_EXISTS);
  ShouldHaveBeen(ctx_, ERROR_OBJECT_IN_USE);
  EXPECT_EQ(bench_.TakeOutput(),
            "       instead, the error code should have been; #202 object is in use.\n\n");
  EXPECT_EQ(ctx_.IDOS->IoErr(), ERROR_OBJECT_IN_USE);
}

TEST_F(DiagnosticsTest, VectorPortNeedsTypeAndVersion) {
  const PortHandle port = ctx_.IDOS->FileLockOf(ctx_.root_lock).fl_Port;
  EXPECT_EQ(VectorPort(ctx_, port, 53), port);
  EXPECT_FALSE(VectorPort(ctx_, port, 54));
  EXPECT_FALSE(VectorPort(ctx_, PortHandle{}, 53));
  EXPECT_TRUE(TargetIsVectorPort(ctx_));

  bench_.SetRules("PortRecordOf#1 set node_type=4\nPortRecordOf#2 set version=52");
  EXPECT_FALSE(TargetIsVectorPort(ctx_));
  EXPECT_FALSE(TargetIsVectorPort(ctx_));
  EXPECT_TRUE(TargetIsVectorPort(ctx_));
}

TEST_F(DiagnosticsTest, NoRootLockNoVectorPort) {
  const LockHandle root = ctx_.root_lock;
  ctx_.root_lock = {};
  EXPECT_FALSE(TargetIsVectorPort(ctx_));
  ctx_.root_lock = root;
}

TEST(PacketTargetTest, IsNoVectorPort) {
  TestBench bench({"--mount", "DH0=ram,port=packet", "DH0:"});
  EXPECT_FALSE(TargetIsVectorPort(bench.Context()));
}

}  // namespace
}  // namespace quorle
