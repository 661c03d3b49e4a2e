#include "harness/runner.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "selftest/support/test_bench.h"

namespace quorle {
namespace {

using selftest::TestBench;

/// Positions that sub-tests were called with, since the last Clear().
std::vector<std::int32_t>& Called() {
  static std::vector<std::int32_t> called;
  return called;
}

template <std::int32_t kStatus>
std::int32_t Returns(TestContext& ctx, std::int32_t position) {
  EXPECT_EQ(ctx.last_error, 0) << "the last error is cleared before each sub-test";
  Called().push_back(position);
  return kStatus;
}

template <std::int32_t kStatus, std::int32_t kLastError>
std::int32_t ReturnsWithLastError(TestContext& ctx, std::int32_t position) {
  EXPECT_EQ(ctx.last_error, 0);
  Called().push_back(position);
  ctx.last_error = kLastError;
  return kStatus;
}

class RunnerTest : public testing::Test {
 protected:
  void SetUp() override { Called().clear(); }

  std::int32_t RunGroup(const SubTest* table) { return RunTestGroup(ctx_, table, "Some()"); }

  TestBench bench_{{"RAM:"}};
  TestContext& ctx_ = bench_.Context();
};

TEST_F(RunnerTest, EmptyTablePasses) {
  const SubTest table[] = {nullptr};
  EXPECT_EQ(RunGroup(table), 0);
  EXPECT_EQ(bench_.TakeOutput(), "Some() tests passed.\n");
}

TEST_F(RunnerTest, AllPassed) {
  const SubTest table[] = {Returns<0>, Returns<0>, Returns<0>, nullptr};
  EXPECT_EQ(RunGroup(table), 0);
  EXPECT_EQ(bench_.TakeOutput(), "Some() tests passed.\n");
  EXPECT_EQ(Called(), (std::vector<std::int32_t>{0, 1, 2}));
}

TEST_F(RunnerTest, FailureLetsTheRestRunAndPrintsNothing) {
  const SubTest table[] = {Returns<0>, Returns<0>, Returns<5>, Returns<0>, nullptr};
  EXPECT_EQ(RunGroup(table), 10);
  EXPECT_EQ(bench_.TakeOutput(), "");
  EXPECT_EQ(Called(), (std::vector<std::int32_t>{0, 1, 2, 3}));
}

TEST_F(RunnerTest, StatusBounds) {
  const SubTest table[] = {Returns<1>, Returns<19>, Returns<-1>, Returns<-1000>, nullptr};
  EXPECT_EQ(RunGroup(table), 10);
  EXPECT_EQ(Called().size(), 4U) << "1 to 19 and negative results let the group go on";

  Called().clear();
  const SubTest fatal[] = {Returns<20>, Returns<0>, nullptr};
  EXPECT_EQ(RunGroup(fatal), 10);
  EXPECT_EQ(Called().size(), 1U);

  Called().clear();
  const SubTest worse[] = {Returns<1000>, Returns<0>, nullptr};
  EXPECT_EQ(RunGroup(worse), 10);
  EXPECT_EQ(Called().size(), 1U);
}

TEST_F(RunnerTest, NotImplementedIsNotedInItalics) {
  const SubTest table[] = {ReturnsWithLastError<20, 209>, Returns<0>, nullptr};
  EXPECT_EQ(RunGroup(table), 10);
  EXPECT_EQ(bench_.TakeOutput(),
            "\033[3mSome() test skipped because it is not implemented for RAM:\n\033[0m");
  EXPECT_EQ(Called().size(), 1U);
}

TEST_F(RunnerTest, NotImplementedIsSilentWithoutInfoMessages) {
  ctx_.args[kNoInfoMessagesArgument].flag = 1;
  const SubTest table[] = {ReturnsWithLastError<20, 209>, Returns<0>, nullptr};
  EXPECT_EQ(RunGroup(table), 10);
  EXPECT_EQ(bench_.TakeOutput(), "");
}

TEST_F(RunnerTest, FatalWithAnotherErrorIsSilent) {
  const SubTest table[] = {ReturnsWithLastError<20, 202>, Returns<0>, nullptr};
  EXPECT_EQ(RunGroup(table), 10);
  EXPECT_EQ(bench_.TakeOutput(), "");
}

TEST_F(RunnerTest, EarlierLastErrorDoesNotCount) {
  const SubTest table[] = {ReturnsWithLastError<10, 209>, Returns<20>, nullptr};
  EXPECT_EQ(RunGroup(table), 10);
  EXPECT_EQ(bench_.TakeOutput(), "") << "209 of the first sub-test is forgotten at the second";
  EXPECT_EQ(Called().size(), 2U);
}

TEST_F(RunnerTest, LastErrorOfAFailureIsNotReported) {
  const SubTest table[] = {ReturnsWithLastError<10, 209>, nullptr};
  EXPECT_EQ(RunGroup(table), 10);
  EXPECT_EQ(bench_.TakeOutput(), "");
}

}  // namespace
}  // namespace quorle
