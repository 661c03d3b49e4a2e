#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "selftest/unit/handlers/hostdir_fixture.h"

// What somebody else does in a directory between two calls shows in the second, in whatever tick of
// the host's clock.

namespace quorle::selftest {
namespace {

namespace fs = std::filesystem;

/// So many that some are in one tick of the clock with what comes before and after them.
constexpr int kTimes = 100;

/// On which filesystem: "temporary", or "ramfs", which has no times but the ticks of the clock.
class BehindTheBackTest : public HostdirTest, public ::testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    volume_ = root();
    if (std::string(GetParam()) == "temporary") return;
    std::string why_not;
    host_ = HostFilesystem::Make(GetParam(), "", why_not);
    if (host_ == nullptr) GTEST_SKIP() << why_not;
    volume_ = host_->path();
  }
  void TearDown() override { Unmount(); }

  /// Tries `directory` of the volume. Before each thing that somebody else does the mount makes a change
  /// of its own there, when `with_own_changes`.
  void LookBehind(const std::string& directory, bool with_own_changes) {
    const fs::path path = volume_ / directory;
    const std::string prefix = "DH0:" + (directory.empty() ? "" : directory + "/");
    const auto change = [&](const std::string& name) {
      if (!with_own_changes) return;
      Make((prefix + name).c_str());
      EXPECT_EQ(Code(dos().Delete((prefix + name).c_str())), 0);
    };
    for (int i = 0; i < kTimes; ++i) {
      SCOPED_TRACE(prefix + std::to_string(i));
      const std::string number = std::to_string(i);
      EXPECT_EQ(LockCode(prefix + "NAME" + number), ERROR_OBJECT_NOT_FOUND);
      change("own" + number);
      Put(path / ("name" + number), "x");
      EXPECT_EQ(LockCode(prefix + "NAME" + number), 0) << "added";
      EXPECT_EQ(LockCode(prefix + "OTHER" + number), ERROR_OBJECT_NOT_FOUND);
      change("own" + number);
      fs::rename(path / ("name" + number), path / ("other" + number));
      EXPECT_EQ(LockCode(prefix + "OTHER" + number), 0) << "renamed";
      EXPECT_EQ(LockCode(prefix + "NAME" + number), ERROR_OBJECT_NOT_FOUND) << "renamed";
      if (with_own_changes) {
        EXPECT_EQ(OpenCode(prefix + "OTHER" + number, MODE_NEWFILE), ERROR_INVALID_LOCK);
        EXPECT_EQ(DirectoryCode(prefix + "Other" + number), ERROR_OBJECT_EXISTS);
      }
      change("own" + number);
      fs::remove(path / ("other" + number));
      EXPECT_EQ(LockCode(prefix + "other" + number), ERROR_OBJECT_NOT_FOUND) << "removed";
      EXPECT_EQ(LockCode(prefix + "OTHER" + number), ERROR_OBJECT_NOT_FOUND) << "removed";
    }
  }

  std::unique_ptr<HostFilesystem> host_;
  fs::path volume_;
};

TEST_P(BehindTheBackTest, WhatOthersDoIsSeenInTheNextCall) {
  fs::create_directory(volume_ / "theirs");
  MountAt(volume_);
  EXPECT_EQ(DirectoryCode("DH0:mine"), 0);
  LookBehind("", false);
  LookBehind("", true);
  LookBehind("theirs", false);
  LookBehind("mine", false);
  LookBehind("mine", true);
  EXPECT_EQ(Code(dos().Delete("DH0:mine")), 0);
}

TEST_P(BehindTheBackTest, ADirectoryThatOthersFillIsNotRemoved) {
  MountAt(volume_);
  for (int i = 0; i < kTimes; ++i) {
    EXPECT_EQ(DirectoryCode("DH0:dir"), 0);
    Put(volume_ / "dir" / "theirs", "x");
    EXPECT_EQ(Code(dos().Delete("DH0:dir")), ERROR_DIRECTORY_NOT_EMPTY);
    fs::remove(volume_ / "dir" / "theirs");
    EXPECT_EQ(Code(dos().Delete("DH0:dir")), 0);
  }
}

TEST_P(BehindTheBackTest, ADateThatComesAgainHidesNothing) {
  MountAt(volume_);
  EXPECT_EQ(DirectoryCode("DH0:dir"), 0);
  const DateStamp date{16000, 2, 3};
  for (int i = 0; i < kTimes; ++i) {
    const std::string number = std::to_string(i);
    EXPECT_EQ(Code(dos().SetDate("DH0:dir", date)), 0);
    EXPECT_EQ(LockCode("DH0:dir/NAME" + number), ERROR_OBJECT_NOT_FOUND);
    Put(volume_ / "dir" / ("name" + number), "x");
    EXPECT_EQ(Code(dos().SetDate("DH0:dir", date)), 0);
    EXPECT_EQ(LockCode("DH0:dir/NAME" + number), 0);
    fs::remove(volume_ / "dir" / ("name" + number));
  }
}

TEST_P(BehindTheBackTest, AnArchiveBitOfADirectoryGoesWithTheNextChange) {
  MountAt(volume_);
  for (int i = 0; i < kTimes; ++i) {
    EXPECT_EQ(Code(dos().SetProtection("DH0:", EXDF_ARCHIVE)), 0);
    EXPECT_EQ(DirectoryCode("DH0:dir"), 0);
    EXPECT_EQ(Look("DH0:").protection, 0U);
    EXPECT_EQ(Code(dos().SetProtection("DH0:", EXDF_ARCHIVE)), 0);
    EXPECT_EQ(Code(dos().SetComment("DH0:dir", "x")), 0);
    EXPECT_EQ(Look("DH0:").protection, 0U);
    EXPECT_EQ(Code(dos().SetProtection("DH0:dir", EXDF_ARCHIVE)), 0);
    Make("DH0:dir/file");
    EXPECT_EQ(Look("DH0:dir").protection, 0U);
    EXPECT_EQ(Code(dos().Delete("DH0:dir/file")), 0);
    EXPECT_EQ(Code(dos().Delete("DH0:dir")), 0);
  }
}

INSTANTIATE_TEST_SUITE_P(Hosts, BehindTheBackTest, ::testing::Values("temporary", "ramfs"),
                         [](const auto& row) { return std::string(row.param); });

}  // namespace
}  // namespace quorle::selftest
