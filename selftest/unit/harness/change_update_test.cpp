#include "harness/change_update.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "selftest/support/test_bench.h"

namespace quorle {
namespace {

using selftest::TestBench;

constexpr char kFile[] = "DIRECTORY01/DIRECTORY02/FILE03";
constexpr char kInner[] = "DIRECTORY01/DIRECTORY02";

class ChangeUpdateTest : public testing::Test {
 protected:
  void TearDown() override {
    bench_.SetRules("");
    EXPECT_FALSE(ctx_.IDOS->Lock("DIRECTORY01", SHARED_LOCK)) << "left behind";
  }

  ChangeUpdateRecord* SetUpRecord() {
    ChangeUpdateRecord* const record = ChangeUpdateSetUp(ctx_, "Some()");
    EXPECT_NE(record, nullptr);
    bench_.TakeOutput();
    bench_.TakeTrace();
    return record;
  }

  /// What a set-up prints that the rules make fail; it must return null.
  std::string FailedSetUp(const std::string& rules) {
    bench_.SetRules(rules);
    EXPECT_EQ(ChangeUpdateSetUp(ctx_, "Some()"), nullptr);
    EXPECT_EQ(bench_.UnusedRule(), "");
    bench_.SetRules("");
    return bench_.TakeOutput();
  }

  /// What the check prints of a fresh record whose file was changed, under `rules`.
  std::string FailedCheck(const std::string& rules, bool change = true) {
    ChangeUpdateRecord* const record = SetUpRecord();
    if (change) Change(record->file.path);
    bench_.SetRules(rules);
    EXPECT_FALSE(Change_Update_Test(ctx_, record));
    EXPECT_EQ(bench_.UnusedRule(), "");
    bench_.SetRules("");
    const std::string output = bench_.TakeOutput();
    ChangeUpdateTearDown(ctx_, record);
    return output;
  }

  void Change(const char* path) {
    const FileHandle file = ctx_.IDOS->Open(path, MODE_OLDFILE);
    ASSERT_TRUE(file);
    EXPECT_EQ(ctx_.IDOS->Write(file, "data", 4), 4);
    ctx_.IDOS->Close(file);
  }

  std::uint32_t ProtectionOf(const char* path) {
    const ExamineData* const data = ctx_.IDOS->ExamineObject(EX_StringNameInput, path);
    EXPECT_NE(data, nullptr) << path;
    const std::uint32_t result = data == nullptr ? 0 : data->Protection;
    ctx_.IDOS->FreeDosObject(DOS_EXAMINEDATA, data);
    return result;
  }

  TestBench bench_{{"RAM:"}};
  TestContext& ctx_ = bench_.Context();
};

TEST_F(ChangeUpdateTest, SetUpMakesTheObjectsADayBackWithArchiveBits) {
  ChangeUpdateRecord* const record = ChangeUpdateSetUp(ctx_, "Some()");
  ASSERT_NE(record, nullptr);
  EXPECT_STREQ(record->file.path, kFile);
  EXPECT_STREQ(record->inner_directory.path, kInner);
  EXPECT_STREQ(record->outer_directory.path, "DIRECTORY01");
  EXPECT_EQ(record->magic, 696969U);
  EXPECT_STREQ(record->label, "Some()");

  DateStamp now{};
  ctx_.IDOS->DateStamp(now);
  EXPECT_EQ(record->file.date.ds_Days, now.ds_Days - 1);
  EXPECT_EQ(record->inner_directory.date.ds_Days, record->file.date.ds_Days);
  EXPECT_EQ(record->outer_directory.date.ds_Days, record->file.date.ds_Days);
  EXPECT_EQ(ProtectionOf(kFile), EXDF_ARCHIVE);
  EXPECT_EQ(ProtectionOf(kInner), EXDF_ARCHIVE);
  EXPECT_EQ(ProtectionOf("DIRECTORY01"), EXDF_ARCHIVE);

  bench_.TakeTrace();
  ChangeUpdateTearDown(ctx_, record);
  EXPECT_EQ(bench_.TakeOutput(), "");
}

TEST_F(ChangeUpdateTest, FirstDayOfTheCalendarIsNotMovedBack) {
  bench_.SetRules("DateStamp set Days=0");
  ChangeUpdateRecord* const record = SetUpRecord();
  EXPECT_EQ(record->file.date.ds_Days, 0);
  bench_.SetRules("");
  ChangeUpdateTearDown(ctx_, record);
}

TEST_F(ChangeUpdateTest, SetUpFailures) {
  EXPECT_EQ(
      FailedSetUp("AllocVecTags fail 103"),
      "\nERROR: Some() test failed, cannot AllocVec(236) bytes; #103 not enough memory available\n\n");
  EXPECT_EQ(
      FailedSetUp("CreateDirTree fail 221"),
      "\nERROR: Some() test failed, cannot CreateDirTree(\"DIRECTORY01/DIRECTORY02\"); #221 disk is full\n\n");
  EXPECT_EQ(
      FailedSetUp("Open fail 221"),
      "\nERROR: Some() test failed, cannot Open(\"DIRECTORY01/DIRECTORY02/FILE03\",NEW); #221 disk is full\n\n");
  EXPECT_EQ(
      FailedSetUp("SetDate#1 fail 202"),
      "\nERROR: Some() test failed, cannot SetDate(\"DIRECTORY01/DIRECTORY02/FILE03\"); #202 object is in use\n\n");
  EXPECT_EQ(
      FailedSetUp("SetDate#2 fail 202"),
      "\nERROR: Some() test failed, cannot SetDate(\"DIRECTORY01/DIRECTORY02\"); #202 object is in use\n\n");
  EXPECT_EQ(
      FailedSetUp("SetDate#3 fail 202"),
      "\nERROR: Some() test failed, cannot SetDate(\"DIRECTORY01\"); #202 object is in use\n\n");
  EXPECT_EQ(
      FailedSetUp("SetProtection#1 fail 202"),
      "\nERROR: Some() test failed, cannot SetProtection(\"DIRECTORY01/DIRECTORY02/FILE03\",'A'); #202 object is in use\n\n");
  EXPECT_EQ(
      FailedSetUp("SetProtection#2 fail 202"),
      "\nERROR: Some() test failed, cannot SetProtection(\"DIRECTORY01/DIRECTORY02\",'A'); #202 object is in use\n\n");
  EXPECT_EQ(
      FailedSetUp("SetProtection#3 fail 202"),
      "\nERROR: Some() test failed, cannot SetProtection(\"DIRECTORY01\",'A'); #202 object is in use\n\n");
  EXPECT_EQ(FailedSetUp("Lock fail 202"),
            "\033[1m\nERROR: Cannot build unique object name string.\n\n\033[0m");
}

TEST_F(ChangeUpdateTest, FailedSetUpCleansUpUnderItsNumbers) {
  const std::string output =
      FailedSetUp("SetDate#3 fail 202\nDelete(DIRECTORY01/DIRECTORY02/FILE03)#1 fail 222");
  EXPECT_EQ(
      output,
      "\nERROR: Some() test failed, cannot SetDate(\"DIRECTORY01\"); #202 object is in use\n\n"
      "\033[1m\nCLEANUP ERROR[100]: Some() test left the object \"DIRECTORY01/DIRECTORY02/FILE03\" behind, error; 222 object is protected from deletion\n\n\033[0m"
      "\033[1m\nCLEANUP ERROR[200]: Some() test left the object \"DIRECTORY01/DIRECTORY02\" behind, error; 216 directory not empty\n\n\033[0m"
      "\033[1m\nCLEANUP ERROR[300]: Some() test left the object \"DIRECTORY01\" behind, error; 216 directory not empty\n\n\033[0m");
  ASSERT_TRUE(ctx_.IDOS->Delete(kFile));
  ASSERT_TRUE(ctx_.IDOS->Delete(kInner));
  ASSERT_TRUE(ctx_.IDOS->Delete("DIRECTORY01"));
}

TEST_F(ChangeUpdateTest, ChangedFilePasses) {
  ChangeUpdateRecord* const record = SetUpRecord();
  Change(record->file.path);
  bench_.TakeTrace();
  EXPECT_TRUE(Change_Update_Test(ctx_, record));
  EXPECT_EQ(selftest::Operations(bench_.TakeTrace()),
            "ExamineObject ExamineObject FreeDosObject FreeDosObject");
  EXPECT_EQ(bench_.TakeOutput(), "");
  ChangeUpdateTearDown(ctx_, record);
}

TEST_F(ChangeUpdateTest, DeletedFilePassesWhenItsDirectoryShowsIt) {
  ChangeUpdateRecord* const record = SetUpRecord();
  ASSERT_TRUE(ctx_.IDOS->Delete(record->file.path));
  EXPECT_TRUE(Change_Update_Test(ctx_, record));
  EXPECT_EQ(bench_.TakeOutput(), "");
  ChangeUpdateTearDown(ctx_, record);
}

TEST_F(ChangeUpdateTest, InvalidRecordsFailSilently) {
  EXPECT_FALSE(Change_Update_Test(ctx_, nullptr));
  ChangeUpdateRecord* const record = SetUpRecord();
  Change(record->file.path);
  record->magic ^= 1;
  EXPECT_FALSE(Change_Update_Test(ctx_, record));
  record->magic ^= 1;
  record->label = nullptr;
  EXPECT_FALSE(Change_Update_Test(ctx_, record));
  EXPECT_EQ(bench_.TakeOutput(), "");
  record->label = "Some()";
  ChangeUpdateTearDown(ctx_, record);
}

TEST_F(ChangeUpdateTest, UnchangedFileKeepsItsArchiveBit) {
  EXPECT_EQ(FailedCheck("", false),
            "\nERROR: Some() test failed. \n"
            "       Changes to the test file failed to clear its (A)rchive bit.\n\n");
}

TEST_F(ChangeUpdateTest, FileWithTheOldDate) {
  DateStamp now{};
  ctx_.IDOS->DateStamp(now);
  EXPECT_EQ(FailedCheck("ExamineObject(*,DIRECTORY01/DIRECTORY02/FILE03)#1 set Days=" +
                        std::to_string(now.ds_Days - 1)),
            "\nERROR: Some() test failed. \n"
            "       Changes to the test file failed to update its datestamp.\n\n");
}

TEST_F(ChangeUpdateTest, ObjectsThatCannotBeExamined) {
  EXPECT_EQ(
      FailedCheck("ExamineObject(*,DIRECTORY01/DIRECTORY02/FILE03)#1 fail 202"),
      "\nERROR: Some() test failed, cannot ExamineObject(\"DIRECTORY01/DIRECTORY02/FILE03\"); #202 object is in use \n\n");
  EXPECT_EQ(
      FailedCheck("ExamineObject(*,DIRECTORY01/DIRECTORY02)#1 fail 205"),
      "\nERROR: Some() test failed, cannot ExamineObject(\"DIRECTORY01/DIRECTORY02\"); #205 object not found \n\n");
}

TEST_F(ChangeUpdateTest, DirectoryThatDoesNotShowTheChange) {
  DateStamp now{};
  ctx_.IDOS->DateStamp(now);
  const std::string old_day = std::to_string(now.ds_Days - 1);
  const std::string head =
      "\nERROR: Some() test failed. \n"
      "       Changes to the test file successfully updated 'FILE03' in the path; \":DIRECTORY01/DIRECTORY02/FILE03\" \n"
      "       but the change update was incomplete for the parent 'DIRECTORY02' because;\n";
  const std::string examine = "ExamineObject(*,DIRECTORY01/DIRECTORY02)#1 set ";
  EXPECT_EQ(FailedCheck(examine + "Protection=16"),
            head + "       --  The (A)rchive bit was not cleared.\n\n");
  EXPECT_EQ(FailedCheck(examine + "Days=" + old_day),
            head + "       --  The datestamp was not updated.\n\n");
  EXPECT_EQ(
      FailedCheck(examine + "Protection=16 Days=" + old_day),
      head +
          "       --  The (A)rchive bit was not cleared.\n       --  The datestamp was not updated.\n\n");
}

TEST_F(ChangeUpdateTest, TearDownCleansUpUnderItsNumbers) {
  ChangeUpdateRecord* const record = SetUpRecord();
  bench_.SetRules("Delete(DIRECTORY01/DIRECTORY02/FILE03)#1 fail 202");
  ChangeUpdateTearDown(ctx_, record);
  EXPECT_EQ(
      bench_.TakeOutput(),
      "\033[1m\nCLEANUP ERROR[400]: Some() test left the object \"DIRECTORY01/DIRECTORY02/FILE03\" behind, error; 202 object is in use\n\n\033[0m"
      "\033[1m\nCLEANUP ERROR[500]: Some() test left the object \"DIRECTORY01/DIRECTORY02\" behind, error; 216 directory not empty\n\n\033[0m"
      "\033[1m\nCLEANUP ERROR[600]: Some() test left the object \"DIRECTORY01\" behind, error; 216 directory not empty\n\n\033[0m");
  ASSERT_TRUE(ctx_.IDOS->Delete(kFile));
  ASSERT_TRUE(ctx_.IDOS->Delete(kInner));
  ASSERT_TRUE(ctx_.IDOS->Delete("DIRECTORY01"));
}

TEST_F(ChangeUpdateTest, TearDownWithoutTheMagicTouchesNoObject) {
  ChangeUpdateRecord* const record = SetUpRecord();
  record->magic = 5;
  ChangeUpdateTearDown(ctx_, record);
  EXPECT_EQ(bench_.TakeOutput(),
            "\nERROR: Change_Update_Test() error, the magic has gone. [696969 != 5]\n\n");
  EXPECT_EQ(selftest::Operations(bench_.TakeTrace()), "FreeVec");
  ASSERT_TRUE(ctx_.IDOS->Delete(kFile));
  ASSERT_TRUE(ctx_.IDOS->Delete(kInner));
  ASSERT_TRUE(ctx_.IDOS->Delete("DIRECTORY01"));
}

TEST_F(ChangeUpdateTest, TearDownOfNothing) {
  bench_.TakeTrace();
  ChangeUpdateTearDown(ctx_, nullptr);
  EXPECT_EQ(selftest::Operations(bench_.TakeTrace()), "");
}

}  // namespace
}  // namespace quorle
