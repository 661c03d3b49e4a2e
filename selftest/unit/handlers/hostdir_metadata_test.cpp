#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <ctime>
#include <filesystem>
#include <string>

#include "selftest/unit/handlers/hostdir_fixture.h"

// Where attributes are kept: in extended attributes, or in the side file.

namespace quorle::selftest {
namespace {

namespace fs = std::filesystem;

// ---- What is kept where -------------------------------------------------------------------------

class HostdirMetadataTest : public HostdirTest, public ::testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    if (std::string(GetParam()) == "xattr" && !KeepsAttributes(root())) {
      GTEST_SKIP() << "no extended attributes in the directory for temporary files";
    }
  }
  void MountSo() { Mount(std::string(",metadata=") + GetParam()); }
};

TEST_P(HostdirMetadataTest, AttributesOutliveTheMount) {
  const DateStamp far_date{2000000, 1439, 2999};
  const DateStamp near_date{16000, 2, 2};
  MountSo();
  EXPECT_EQ(DirectoryCode("DH0:dir"), 0);
  Make("DH0:dir/file", "content");
  EXPECT_EQ(Code(dos().MakeLink("DH0:soft", "DH0:dir/file", LINK_SOFT)), 0);
  EXPECT_EQ(Code(dos().SetComment("DH0:dir/file", "a comment with \xe4 and %20")), 0);
  EXPECT_EQ(Code(dos().SetProtection("DH0:dir/file", 0x80000022)), 0);
  EXPECT_EQ(Code(dos().SetOwnerInfo("DH0:dir/file", OI_OwnerUID, 7)), 0);
  EXPECT_EQ(Code(dos().SetDate("DH0:dir/file", far_date)), 0);
  EXPECT_EQ(Code(dos().SetDate("DH0:dir", near_date)), 0);
  EXPECT_EQ(Code(dos().SetComment("DH0:", "the root")), 0);
  EXPECT_EQ(Code(dos().SetDate("DH0:", near_date)), 0);
  EXPECT_EQ(Code(dos().Relabel("DH0:", "Its Own Name")), 0);
  EXPECT_EQ(Code(dos().SetDate("DH0:", near_date)), 0);
  const std::string before = Listing();

  MountSo();
  EXPECT_EQ(Listing(), before);
  const Attributes file = Look("DH0:dir/file");
  EXPECT_EQ(file.comment, "a comment with \xe4 and %20");
  EXPECT_EQ(file.protection, 0x80000022U);
  EXPECT_EQ(file.owner, 7U);
  EXPECT_EQ(file.date.ds_Days, far_date.ds_Days);
  EXPECT_EQ(file.date.ds_Minute, far_date.ds_Minute);
  EXPECT_EQ(file.date.ds_Tick, far_date.ds_Tick);
  EXPECT_EQ(Look("DH0:dir").date.ds_Minute, near_date.ds_Minute);
  EXPECT_EQ(Look("DH0:").comment, "the root");
  EXPECT_EQ(Look("DH0:").date.ds_Days, near_date.ds_Days);
  EXPECT_EQ(ReadAll("DH0:soft"), "content");
  EXPECT_EQ(LockCode("Its Own Name:"), 0);
  EXPECT_EQ(Content(root() / "soft"), "DH0:dir/file");
}

TEST_P(HostdirMetadataTest, AChangeOfTheHostsShowsItsDate) {
  MountSo();
  Make("DH0:file", "x");
  EXPECT_EQ(Code(dos().SetDate("DH0:file", {2000000, 1, 1})), 0);
  const std::timespec times[2] = {{0, UTIME_OMIT}, {1000000000, 0}};
  ASSERT_EQ(::utimensat(AT_FDCWD, (root() / "file").c_str(), times, 0), 0);
  EXPECT_NEAR(Look("DH0:file").date.ds_Days, 1000000000 / 86400 - 2922, 1);
}

TEST_P(HostdirMetadataTest, AllNamesOfAFileShareItsAttributes) {
  MountSo();
  Make("DH0:one", "x");
  const LockHandle lock = MustLock("DH0:one");
  EXPECT_EQ(Code(dos().MakeLink("DH0:two", lock, LINK_HARD)), 0);
  dos().UnLock(lock);
  EXPECT_EQ(fs::hard_link_count(root() / "one"), 2U);
  EXPECT_EQ(Code(dos().SetComment("DH0:two", "both")), 0);
  EXPECT_EQ(Look("DH0:one").comment, "both");
  EXPECT_EQ(Look("DH0:one").links, 2U);
  EXPECT_EQ(Code(dos().Delete("DH0:one")), 0);
  EXPECT_EQ(Look("DH0:two").comment, "both");
  EXPECT_EQ(Look("DH0:two").links, 1U);
}

TEST_P(HostdirMetadataTest, ANameGivenAgainHasNothingOfTheOld) {
  MountSo();
  for (int i = 0; i < 20; ++i) {
    Make("DH0:file");
    EXPECT_EQ(Look("DH0:file").comment, "");
    EXPECT_EQ(Look("DH0:file").protection, 0U);
    EXPECT_EQ(Code(dos().SetComment("DH0:file", "old")), 0);
    EXPECT_EQ(Code(dos().SetProtection("DH0:file", 0xFF00)), 0);
    EXPECT_EQ(Code(dos().Delete("DH0:file")), 0);
  }
}

TEST_P(HostdirMetadataTest, ALabelIsKeptUnlessTheMountGivesOne) {
  MountSo();
  EXPECT_EQ(LockCode("DH0 Disk:"), 0);
  EXPECT_EQ(Code(dos().Relabel("DH0:", "Kept 100%")), 0);
  MountSo();
  EXPECT_EQ(LockCode("Kept 100%:"), 0);
  Mount(std::string(",volume=Given,metadata=") + GetParam());
  EXPECT_EQ(LockCode("Given:"), 0);
  EXPECT_EQ(LockCode("Kept 100%:"), ERROR_DEVICE_NOT_MOUNTED);
  MountSo();
  EXPECT_EQ(LockCode("Kept 100%:"), 0);
}

TEST_P(HostdirMetadataTest, ANameThatIsGivenBackLeavesNoLabel) {
  const std::string metadata = std::string(",metadata=") + GetParam();
  // Relabels a volume that is mounted with `keys`, gives it its name back, and mounts it again.
  const auto there_and_back = [this, &metadata](const std::string& keys, const char* name) {
    Mount(keys + metadata);
    EXPECT_EQ(Code(dos().Relabel("DH0:", "Other")), 0);
    EXPECT_EQ(Code(dos().Relabel("DH0:", name)), 0);
    MountSo();
  };
  there_and_back(",volume=Given", "Given");
  EXPECT_EQ(LockCode("DH0 Disk:"), 0) << "the name of the device";
  EXPECT_EQ(Code(dos().Relabel("DH0:", "Kept")), 0);
  there_and_back(",volume=Given", "Given");
  EXPECT_EQ(LockCode("Kept:"), 0);
  there_and_back(",volume=", "DH0");
  EXPECT_EQ(LockCode("Kept:"), 0);
  there_and_back("", "Kept");
  EXPECT_EQ(LockCode("Kept:"), 0);
}

TEST_P(HostdirMetadataTest, ARunLeavesTheDirectoryToEveryDevice) {
  MountSo();
  EXPECT_EQ(bench_->Run(), RETURN_ERROR) << "no hard links to directories";
  Unmount();
  const fs::path other = outside() / "inner";
  const std::string metadata = std::string(",metadata=") + GetParam();
  TestBench both({"--mount", "DH0=dir:" + other.string() + metadata, "--mount",
                  "DH1=dir:" + root().string() + metadata, "DH1:"});
  EXPECT_NE(both.Volumes().find("DH1 Disk"), std::string::npos) << both.Volumes();
}

TEST_P(HostdirMetadataTest, FilesOfTheHostsArePlain) {
  Put(root() / "file", "content");
  fs::create_directory(root() / "dir");
  MountSo();
  const Attributes file = Look("DH0:file");
  EXPECT_TRUE(file.found);
  EXPECT_EQ(file.type, static_cast<std::uint32_t>(FSO_TYPE_FILE));
  EXPECT_EQ(file.protection, 0U);
  EXPECT_EQ(file.comment, "");
  EXPECT_EQ(file.owner, 0U);
  EXPECT_EQ(ReadAll("DH0:file"), "content");
  EXPECT_EQ(Look("DH0:dir").type, static_cast<std::uint32_t>(FSO_TYPE_DIRECTORY));
}

TEST_P(HostdirMetadataTest, WhatAKilledRunLeftIsNamedAndRemoved) {
  Put(root() / "theirs", "their data");
  const std::string keys = std::string(",metadata=") + GetParam();
  const pid_t process = DieAfter(keys, [this] {
    Make("DH0:FILE01", "x");
    Make("DH0:gone", "x");
    EXPECT_EQ(Code(dos().Delete("DH0:gone")), 0);
    EXPECT_EQ(DirectoryCode("DH0:DIRECTORY01"), 0);
    Make("DH0:DIRECTORY01/inner", "x");
    EXPECT_EQ(Code(dos().SetProtection("DH0:FILE01", EXDF_NO_DELETE)), 0);
    EXPECT_EQ(Code(dos().MakeLink("DH0:LINK01", "target", LINK_SOFT)), 0);
    const LockHandle lock = MustLock("DH0:FILE01");
    EXPECT_EQ(Code(dos().MakeLink("DH0:second", lock, LINK_HARD)), 0);
    EXPECT_EQ(Code(dos().Rename("DH0:DIRECTORY01", "DH0:moved")), 0);
  });
  EXPECT_EQ(Journals(), 1);
  EXPECT_EQ(HostNames(root()), (Names{"FILE01", "LINK01", "moved", "second", "theirs"}));
  MountSo();
  EXPECT_EQ(HostNames(root()), Names{"theirs"});
  EXPECT_EQ(Journals(), 1) << "its own";
  const std::string said = bench_->TakeErrors();
  EXPECT_NE(said.find("quorle: DH0: the run of 20"), std::string::npos) << said;
  EXPECT_NE(said.find("(process " + std::to_string(process) +
                      "), which was killed, left moved/inner, FILE01, LINK01, second, moved: "
                      "removed\n"),
            std::string::npos)
      << said;
  EXPECT_EQ(said.find('\n'), said.size() - 1) << said;
  MountSo();
  EXPECT_EQ(bench_->TakeErrors(), "") << "once";
  EXPECT_EQ(Content(root() / "theirs"), "their data");
}

INSTANTIATE_TEST_SUITE_P(Metadata, HostdirMetadataTest, ::testing::Values("xattr", "file"),
                         [](const auto& row) { return std::string(row.param); });

TEST_F(HostdirTest, TheSideFileIsNoPartOfTheVolume) {
  Mount(",metadata=file");
  EXPECT_TRUE(fs::exists(root() / kSideFile));
  EXPECT_EQ(Shown(), Names());
  EXPECT_EQ(LockCode("DH0:.quorle-metadata"), ERROR_OBJECT_NOT_FOUND);
  Make("DH0:.QUORLE-metadata", "mine");
  EXPECT_EQ(Shown(), Names{"DH0:.QUORLE-metadata"});
  EXPECT_EQ(ReadAll("DH0:.quorle-metadata"), "mine");
  EXPECT_EQ(Code(dos().Delete("DH0:.quorle-METADATA")), 0);
  EXPECT_TRUE(fs::exists(root() / kSideFile));
}

TEST_F(HostdirTest, TheSideFileIsReadAsFarAsItWasFinished) {
  Mount(",metadata=file");
  Make("DH0:one");
  Make("DH0:two");
  EXPECT_EQ(Code(dos().SetComment("DH0:one", "first")), 0);
  EXPECT_EQ(Code(dos().SetComment("DH0:one", "second")), 0);
  EXPECT_EQ(Code(dos().SetComment("DH0:two", "third")), 0);
  Unmount();
  std::string text = Content(root() / kSideFile);
  ASSERT_TRUE(text.ends_with("comment=third\n"));
  text.resize(text.size() - 3);  // the host went down while it was written
  Put(root() / kSideFile, text);
  Mount(",metadata=file,scratch=no");
  EXPECT_EQ(Look("DH0:one").comment, "second");
  EXPECT_EQ(Look("DH0:two").comment, "");
  EXPECT_EQ(Content(root() / kSideFile).find("first"), std::string::npos) << "written again";
  EXPECT_EQ(Code(dos().Delete("DH0:one")), 0);
  Mount(",metadata=file");
  EXPECT_EQ(Content(root() / kSideFile).find("second"), std::string::npos) << "gone for good";
  EXPECT_FALSE(fs::exists(root() / ".quorle-metadata.new"));
}

TEST_F(HostdirTest, ASideFileThatIsNoFileIsRefused) {
  fs::create_symlink(outside() / "file", root() / kSideFile);
  EXPECT_NE(Refusal(root(), ",metadata=file").find("cannot read .quorle-metadata"),
            std::string::npos);
}

TEST_F(HostdirTest, ASideFileThatIsAPipeIsRefused) {
  ASSERT_EQ(::mkfifo((root() / kSideFile).c_str(), 0600), 0);
  EXPECT_NE(Refusal(root(), ",metadata=file").find("cannot read .quorle-metadata"),
            std::string::npos);
}

TEST_F(HostdirTest, ANewSideFileIsNotWrittenIntoWhatIsInItsPlace) {
  const std::string content = Content(outside() / "file");
  ASSERT_NE(content, "");
  fs::create_hard_link(outside() / "file", root() / (std::string(kSideFile) + ".new"));
  Mount(",metadata=file");
  EXPECT_EQ(Content(outside() / "file"), content);
  Unmount();
  EXPECT_EQ(Content(outside() / "file"), content);
}

}  // namespace
}  // namespace quorle::selftest
