#include "harness/stubs.h"

#include <gtest/gtest.h>

#include <string>

#include "harness/catalogue.h"
#include "harness/run_listener.h"
#include "selftest/support/test_bench.h"

namespace quorle {
namespace {

struct StubCase {
  const char* name;
  const TestGroup& group;
  std::string note;
};

class StubTest : public testing::TestWithParam<StubCase> {};

TEST_P(StubTest, PrintsItsNoteInItalicsAndPasses) {
  selftest::TestBench bench({"RAM:"});
  TestContext& ctx = bench.Context();
  const TestGroup& group = GetParam().group;
  SilentListener listener;
  EXPECT_EQ(group.run(ctx, group, listener), 0);
  EXPECT_EQ(bench.TakeOutput(), "\033[3m" + GetParam().note + "\033[0m");

  ctx.args[kNoInfoMessagesArgument].flag = 1;
  EXPECT_EQ(group.run(ctx, group, listener), 0);
  EXPECT_EQ(bench.TakeOutput(), "");
}

INSTANTIATE_TEST_SUITE_P(
    Stubs, StubTest,
    testing::Values(
        StubCase{"AddNotify", kAddNotifyStub, ""},
        StubCase{"ExamineDir", kExamineDirStub, "-- ExamineDir() test not yet available.\n"},
        StubCase{"FileSystemAttr", kFileSystemAttrStub,
                 "-- FileSystemAttr() test not yet available.\n"},
        StubCase{"Flush", kFlushStub, "Flush() test skipped because it is not testable.\n"},
        StubCase{"Format", kFormatStub, "Format() test skipped due to risk of data loss.\n"},
        StubCase{"GetFilePosition", kGetFilePositionStub,
                 "-- GetFilePosition() test not yet available.\n"},
        StubCase{"Inhibit", kInhibitStub, ""}, StubCase{"LockRecord", kLockRecordStub, ""},
        StubCase{"RemoveNotify", kRemoveNotifyStub, ""},
        StubCase{"SameFile", kSameFileStub, "-- SameFile() test not yet available.\n"},
        StubCase{"SameLock", kSameLockStub, "-- SameLock() test not yet available.\n"},
        StubCase{"Serialize", kSerializeStub, "-- Serialize() test not yet available.\n"},
        StubCase{"UnLockRecord", kUnLockRecordStub, ""},
        StubCase{"VolumeInfoData", kVolumeInfoDataStub,
                 "-- VolumeInfoData() test not yet available.\n"}),
    [](const testing::TestParamInfo<StubCase>& stub) { return std::string(stub.param.name); });

}  // namespace
}  // namespace quorle
