#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "harness/run_listener.h"
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

/// Records each call.
class EventLog final : public RunListener {
 public:
  void OnSubTestStart(const SubTest& sub_test, std::int32_t number) override {
    heard += std::string(sub_test.name) + std::to_string(number);
  }
  void OnSubTestEnd(const SubTest& sub_test, std::int32_t status) override {
    heard += "=" + std::string(sub_test.name) + std::to_string(status) + " ";
  }

  std::string heard;
};

class RunnerTest : public testing::Test {
 protected:
  void SetUp() override { Called().clear(); }

  std::int32_t RunGroup(const SubTest* table) {
    return RunTestGroup(ctx_, {"Some()", table}, listener_);
  }

  EventLog listener_;
  TestBench bench_{{"RAM:"}};
  TestContext& ctx_ = bench_.Context();
};

TEST_F(RunnerTest, EmptyTablePasses) {
  const SubTest table[] = {{}};
  EXPECT_EQ(RunGroup(table), 0);
  EXPECT_EQ(bench_.TakeOutput(), "Some() tests passed.\n");
}

TEST_F(RunnerTest, AllPassed) {
  const SubTest table[] = {{"a", Returns<0>}, {"b", Returns<0>}, {"c", Returns<0>}, {}};
  EXPECT_EQ(RunGroup(table), 0);
  EXPECT_EQ(bench_.TakeOutput(), "Some() tests passed.\n");
  EXPECT_EQ(Called(), (std::vector<std::int32_t>{0, 1, 2}));
}

TEST_F(RunnerTest, FailureLetsTheRestRunAndPrintsNothing) {
  const SubTest table[] = {
      {"a", Returns<0>}, {"b", Returns<0>}, {"c", Returns<5>}, {"d", Returns<0>}, {}};
  EXPECT_EQ(RunGroup(table), 10);
  EXPECT_EQ(bench_.TakeOutput(), "");
  EXPECT_EQ(Called(), (std::vector<std::int32_t>{0, 1, 2, 3}));
}

TEST_F(RunnerTest, StatusBounds) {
  const SubTest table[] = {
      {"a", Returns<1>}, {"b", Returns<19>}, {"c", Returns<-1>}, {"d", Returns<-1000>}, {}};
  EXPECT_EQ(RunGroup(table), 10);
  EXPECT_EQ(Called().size(), 4U) << "1 to 19 and negative results let the group go on";

  Called().clear();
  const SubTest fatal[] = {{"a", Returns<20>}, {"b", Returns<0>}, {}};
  EXPECT_EQ(RunGroup(fatal), 10);
  EXPECT_EQ(Called().size(), 1U);

  Called().clear();
  const SubTest worse[] = {{"a", Returns<1000>}, {"b", Returns<0>}, {}};
  EXPECT_EQ(RunGroup(worse), 10);
  EXPECT_EQ(Called().size(), 1U);
}

TEST_F(RunnerTest, NotImplementedIsNotedInItalics) {
  const SubTest table[] = {{"a", ReturnsWithLastError<20, 209>}, {"b", Returns<0>}, {}};
  EXPECT_EQ(RunGroup(table), 10);
  EXPECT_EQ(bench_.TakeOutput(),
            "\033[3mSome() test skipped because it is not implemented for RAM:\n\033[0m");
  EXPECT_EQ(Called().size(), 1U);
}

TEST_F(RunnerTest, NotImplementedIsSilentWithoutInfoMessages) {
  ctx_.args[kNoInfoMessagesArgument].flag = 1;
  const SubTest table[] = {{"a", ReturnsWithLastError<20, 209>}, {"b", Returns<0>}, {}};
  EXPECT_EQ(RunGroup(table), 10);
  EXPECT_EQ(bench_.TakeOutput(), "");
}

TEST_F(RunnerTest, FatalWithAnotherErrorIsSilent) {
  const SubTest table[] = {{"a", ReturnsWithLastError<20, 202>}, {"b", Returns<0>}, {}};
  EXPECT_EQ(RunGroup(table), 10);
  EXPECT_EQ(bench_.TakeOutput(), "");
}

TEST_F(RunnerTest, EarlierLastErrorDoesNotCount) {
  const SubTest table[] = {{"a", ReturnsWithLastError<10, 209>}, {"b", Returns<20>}, {}};
  EXPECT_EQ(RunGroup(table), 10);
  EXPECT_EQ(bench_.TakeOutput(), "") << "209 of the first sub-test is forgotten at the second";
  EXPECT_EQ(Called().size(), 2U);
}

TEST_F(RunnerTest, LastErrorOfAFailureIsNotReported) {
  const SubTest table[] = {{"a", ReturnsWithLastError<10, 209>}, {}};
  EXPECT_EQ(RunGroup(table), 10);
  EXPECT_EQ(bench_.TakeOutput(), "");
}

TEST_F(RunnerTest, ListenerHearsOfEachSubTestThatRuns) {
  const SubTest table[] = {
      {"a", Returns<0>}, {"b", Returns<10>}, {"c", Returns<20>}, {"d", Returns<0>}, {}};
  RunGroup(table);
  EXPECT_EQ(listener_.heard, "a1=a0 b2=b10 c3=c20 ");
}

}  // namespace
}  // namespace quorle
