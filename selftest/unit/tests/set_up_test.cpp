#include "tests/set_up.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "selftest/support/test_bench.h"

namespace quorle {
namespace {

using selftest::Operations;
using selftest::TestBench;

class SetUpTest : public testing::Test {
 protected:
  TestBench bench_{{"RAM:"}};
  TestContext& ctx_ = bench_.Context();
  const std::string held_ = bench_.StillOpen();  // what the context itself holds
};

TEST_F(SetUpTest, EachStepMakesItsCallsAndIsSilent) {
  EXPECT_TRUE(MakeFile(ctx_, "A", "Some()"));
  EXPECT_EQ(Operations(bench_.TakeTrace()), "Open Close");
  EXPECT_TRUE(MakeFileReadWrite(ctx_, "B", "Some()"));
  EXPECT_EQ(Operations(bench_.TakeTrace()), "Open Close");
  EXPECT_TRUE(MakeDirectory(ctx_, "C", "Some()"));
  EXPECT_EQ(Operations(bench_.TakeTrace()), "CreateDir UnLock");

  const FileHandle file = OpenReadWrite(ctx_, "D", "Some()");
  EXPECT_TRUE(file);
  ctx_.IDOS->Close(file);
  EXPECT_EQ(Operations(bench_.TakeTrace()), "Open Close");
  const LockHandle lock = SharedLock(ctx_, "A", "Some()");
  EXPECT_TRUE(lock);
  ctx_.IDOS->UnLock(lock);
  EXPECT_EQ(Operations(bench_.TakeTrace()), "Lock UnLock");
  const ExamineData* const data = Examine(ctx_, "C", "Some()");
  ASSERT_NE(data, nullptr);
  EXPECT_STREQ(data->Name, "C");
  ctx_.IDOS->FreeDosObject(DOS_EXAMINEDATA, data);
  EXPECT_EQ(Operations(bench_.TakeTrace()), "ExamineObject FreeDosObject");

  EXPECT_EQ(bench_.TakeOutput(), "");
  EXPECT_EQ(bench_.StillOpen(), held_);
}

// Each with a label of its own: the line names the group that asked.
TEST_F(SetUpTest, AFailureIsOneLineUnderTheLabelAndLeavesNothing) {
  EXPECT_FALSE(MakeFile(ctx_, "No/A", "One()"));
  EXPECT_EQ(bench_.TakeOutput(),
            "\nERROR: One() test failed, cannot Open(\"No/A\",MODE_NEWFILE); "
            "#205 object not found\n\n");
  EXPECT_FALSE(MakeFileReadWrite(ctx_, "No/B", "Two()"));
  EXPECT_EQ(bench_.TakeOutput(),
            "\nERROR: Two() test failed, cannot Open(\"No/B\",MODE_READWRITE); "
            "#205 object not found\n\n");
  EXPECT_FALSE(OpenReadWrite(ctx_, "No/C", "Three()"));
  EXPECT_EQ(bench_.TakeOutput(),
            "\nERROR: Three() test failed, cannot Open(\"No/C\",MODE_READWRITE); "
            "#205 object not found\n\n");
  EXPECT_FALSE(MakeDirectory(ctx_, "No/D", "Four()"));
  EXPECT_EQ(bench_.TakeOutput(),
            "\nERROR: Four() test failed, cannot CreateDir(\"No/D\"); #205 object not found\n\n");
  EXPECT_FALSE(SharedLock(ctx_, "E", "Five()"));
  EXPECT_EQ(bench_.TakeOutput(),
            "\nERROR: Five() test failed, cannot Lock(\"E\",SHARED_LOCK); "
            "#205 object not found\n\n");
  EXPECT_EQ(Examine(ctx_, "F", "Six()"), nullptr);
  EXPECT_EQ(bench_.TakeOutput(),
            "\nERROR: Six() test failed, cannot ExamineObject(\"F\"); #205 object not found\n\n");

  EXPECT_EQ(Operations(bench_.TakeTrace()), "Open Open Open CreateDir Lock ExamineObject");
  EXPECT_EQ(bench_.StillOpen(), held_);
}

TEST_F(SetUpTest, ContentIsTheNameWithItsZero) {
  ScratchName name;
  EXPECT_EQ(ContentBytes(name), 1);
  ASSERT_TRUE(UniqueFile(ctx_, name));
  EXPECT_EQ(ContentBytes(name), 7);
}

}  // namespace
}  // namespace quorle
