#include "harness/scratch.h"

#include <gtest/gtest.h>

#include <cstring>
#include <nlohmann/json.hpp>
#include <string>

#include "selftest/support/test_bench.h"

namespace quorle {
namespace {

using selftest::Operations;
using selftest::TestBench;

class ScratchTest : public testing::Test {
 protected:
  void MakeFile(const std::string& name) {
    const FileHandle file = ctx_.IDOS->Open(name.c_str(), MODE_NEWFILE);
    ASSERT_TRUE(file) << name;
    ctx_.IDOS->Close(file);
  }

  bool Exists(const char* name) {
    const LockHandle lock = ctx_.IDOS->Lock(name, SHARED_LOCK);
    ctx_.IDOS->UnLock(lock);
    return static_cast<bool>(lock);
  }

  TestBench bench_{{"RAM:"}};
  TestContext& ctx_ = bench_.Context();
};

std::string Numbered(const char* base, int n) {
  char text[32];
  std::snprintf(text, sizeof text, "%s%02d", base, n);
  return text;
}

TEST_F(ScratchTest, FirstNameOfEachKind) {
  ScratchName name;
  EXPECT_STREQ(name, "");
  EXPECT_TRUE(UniqueFile(ctx_, name));
  EXPECT_STREQ(name, "FILE01");
  EXPECT_TRUE(UniqueDirectory(ctx_, name));
  EXPECT_STREQ(name, "DIRECTORY01");
  EXPECT_TRUE(UniqueLink(ctx_, name));
  EXPECT_STREQ(name, "LINK01");
  EXPECT_EQ(bench_.TakeOutput(), "");
}

TEST_F(ScratchTest, TakenNamesAreSkippedAndTheirLocksReleased) {
  MakeFile("FILE01");
  MakeFile("FILE02");
  bench_.TakeTrace();
  ScratchName name;
  EXPECT_TRUE(UniqueFile(ctx_, name));
  EXPECT_STREQ(name, "FILE03");
  EXPECT_EQ(Operations(bench_.TakeTrace()), "Lock UnLock Lock UnLock Lock");
}

TEST_F(ScratchTest, NameThatCannotBeLockedCountsAsTaken) {
  bench_.SetRules("Lock(FILE01,-2) fail 202");
  bench_.TakeTrace();
  ScratchName name;
  EXPECT_TRUE(UniqueFile(ctx_, name));
  EXPECT_STREQ(name, "FILE02");
  EXPECT_EQ(Operations(bench_.TakeTrace()), "Lock UnLock Lock") << "nothing is unlocked, too";
}

TEST_F(ScratchTest, NinetyEightIsTheLastNumber) {
  for (int n = 1; n <= 97; ++n) MakeFile(Numbered("FILE", n));
  ScratchName name;
  EXPECT_TRUE(UniqueFile(ctx_, name));
  EXPECT_STREQ(name, "FILE98");

  MakeFile("FILE98");
  EXPECT_FALSE(UniqueFile(ctx_, name));
  EXPECT_STREQ(name, "");
  EXPECT_EQ(bench_.TakeOutput(),
            "\033[1m\nERROR: Cannot build unique object name string.\n\n\033[0m");
}

TEST_F(ScratchTest, BufferBoundsTheName) {
  char buffer[5] = "????";
  EXPECT_TRUE(UniqueName(ctx_, "FILE", buffer, sizeof buffer));
  EXPECT_STREQ(buffer, "FILE");

  MakeFile("FILE");
  EXPECT_FALSE(UniqueName(ctx_, "FILE", buffer, sizeof buffer)) << "every number is cut off";
  EXPECT_STREQ(buffer, "");
}

TEST_F(ScratchTest, BufferWithoutRoomIsLeftAlone) {
  char buffer[] = "?";
  bench_.SetRules("Lock fail 202");
  EXPECT_FALSE(UniqueName(ctx_, "FILE", buffer, 0));
  EXPECT_STREQ(buffer, "?");
}

TEST_F(ScratchTest, CleanUpRemovesAProtectedObject) {
  MakeFile("FILE01");
  ASSERT_TRUE(ctx_.IDOS->SetProtection("FILE01", EXDF_NO_DELETE | EXDF_NO_WRITE));
  bench_.TakeTrace();
  CleanUp(ctx_, "FILE01", "Some()", 1);
  EXPECT_FALSE(Exists("FILE01"));
  EXPECT_EQ(bench_.TakeOutput(), "");
  EXPECT_EQ(Operations(bench_.TakeTrace()).substr(0, 25), "SetProtection Delete Lock");
}

TEST_F(ScratchTest, CleanUpOfNothingCallsNothing) {
  bench_.TakeTrace();
  CleanUp(ctx_, "", "Some()", 1);
  EXPECT_EQ(Operations(bench_.TakeTrace()), "");
}

TEST_F(ScratchTest, CleanUpOfAMissingObjectIsSilent) {
  CleanUp(ctx_, "FILE01", "Some()", 1);
  EXPECT_EQ(bench_.TakeOutput(), "");
}

TEST_F(ScratchTest, ObjectLeftBehindIsReportedWithTheCodeOfTheDelete) {
  MakeFile("FILE01");
  bench_.SetRules("Delete(FILE01)#1 fail 222");
  bench_.TakeTrace();
  CleanUp(ctx_, "FILE01", "Some()", 4);
  EXPECT_EQ(
      bench_.TakeOutput(),
      "\033[1m\nCLEANUP ERROR[4]: Some() test left the object \"FILE01\" behind, error; 222 object is protected from deletion\n\n\033[0m");
  EXPECT_EQ(Operations(bench_.TakeTrace()), "SetProtection Delete Lock UnLock");
  EXPECT_TRUE(Exists("FILE01"));
  CleanUp(ctx_, "FILE01", "Some()", 4);
}

TEST_F(ScratchTest, WithoutALabelTheComplaintIsEmpty) {
  MakeFile("FILE01");
  bench_.SetRules("Delete(FILE01)#1 fail 222");
  CleanUp(ctx_, "FILE01", nullptr, 4);
  EXPECT_EQ(bench_.TakeOutput(), "\033[1m\033[0m");
  CleanUp(ctx_, "FILE01", nullptr, 4);
}

TEST_F(ScratchTest, ObjectThatComesBackIsReportedWithoutACode) {
  MakeFile("FILE01");
  bench_.SetRules("Delete(FILE01)#1 succeed");
  CleanUp(ctx_, "FILE01", "Some()", 1);
  EXPECT_EQ(
      bench_.TakeOutput(),
      "\033[1m\nCLEANUP ERROR[1]: Some() test left the object \"FILE01\" behind, error; 0 \n\n\033[0m");
  CleanUp(ctx_, "FILE01", "Some()", 1);
}

}  // namespace
}  // namespace quorle
