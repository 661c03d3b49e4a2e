#include "harness/stubs.h"

#include <gtest/gtest.h>

#include <string>

#include "harness/catalogue.h"
#include "selftest/support/test_bench.h"

namespace quorle {
namespace {

struct StubCase {
  const char* name;
  TestGroup group;
  std::string note;
};

class StubTest : public testing::TestWithParam<StubCase> {};

TEST_P(StubTest, PrintsItsNoteInItalicsAndPasses) {
  selftest::TestBench bench({"RAM:"});
  TestContext& ctx = bench.Context();
  EXPECT_EQ(GetParam().group(ctx), 0);
  EXPECT_EQ(bench.TakeOutput(), "\033[3m" + GetParam().note + "\033[0m");

  ctx.args[kNoInfoMessagesArgument].flag = 1;
  EXPECT_EQ(GetParam().group(ctx), 0);
  EXPECT_EQ(bench.TakeOutput(), "");
}

INSTANTIATE_TEST_SUITE_P(
    Stubs, StubTest,
    testing::Values(
        StubCase{"AddNotify", AddNotifyStub, ""},
        StubCase{"ExamineDir", ExamineDirStub, "-- ExamineDir() test not yet available.\n"},
        StubCase{"FileSystemAttr", FileSystemAttrStub,
                 "-- FileSystemAttr() test not yet available.\n"},
        StubCase{"Flush", FlushStub, "Flush() test skipped because it is not testable.\n"},
        StubCase{"Format", FormatStub, "Format() test skipped due to risk of data loss.\n"},
        StubCase{"GetFilePosition", GetFilePositionStub,
                 "-- GetFilePosition() test not yet available.\n"},
        StubCase{"Inhibit", InhibitStub, ""}, StubCase{"LockRecord", LockRecordStub, ""},
        StubCase{"RemoveNotify", RemoveNotifyStub, ""},
        StubCase{"SameFile", SameFileStub, "-- SameFile() test not yet available.\n"},
        StubCase{"SameLock", SameLockStub, "-- SameLock() test not yet available.\n"},
        StubCase{"Serialize", SerializeStub, "-- Serialize() test not yet available.\n"},
        StubCase{"UnLockRecord", UnLockRecordStub, ""},
        StubCase{"VolumeInfoData", VolumeInfoDataStub,
                 "-- VolumeInfoData() test not yet available.\n"}),
    [](const testing::TestParamInfo<StubCase>& stub) { return std::string(stub.param.name); });

}  // namespace
}  // namespace quorle
