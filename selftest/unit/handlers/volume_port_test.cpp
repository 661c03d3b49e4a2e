#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "handlers/hostdir/hostdir_handler.h"
#include "handlers/ram/ram_handler.h"
#include "hosted/calls/clock.h"
#include "hosted/calls/mount.h"
#include "platform/constants.h"
#include "selftest/support/temporary_directory.h"

namespace quorle {
namespace {

using Seen = std::vector<std::string>;

class StillClock final : public Clock {
 public:
  quorle::DateStamp Now() override { return now; }
  void Sleep(std::uint32_t) override {}
  quorle::DateStamp now{16000, 1, 2};
};

/// A handler behind its port, without dos.
class MountedVolumeTest : public testing::Test {
 protected:
  void Mount(const ::Handler& handler, MountKeys keys = {}) {
    std::string problem;
    port_ = MountHandler(
        handler,
        {.device_name = "DH0",
         .keys = std::move(keys),
         .may_be_named = [](const ::MsgPort&, const std::string& name) { return name != "Taken"; }},
        clock_, problem);
    ASSERT_NE(port_, nullptr) << problem;
    port_->SetNotifyListener(
        [this](::NotifyRequest& request) { seen_.push_back(request.nr_Name); });
  }
  void MountRam(MountKeys keys = {}) { Mount(*QuorleRamHandler(), std::move(keys)); }
  void TearDown() override {
    if (port_) {
      EXPECT_EQ(port_->Unmount(), Seen());
    }
  }

  /// Watches `path`, by which it is called in what TakeSeen() returns.
  void Watch(const char* path, std::uint32_t flags = 0) {
    auto request = std::make_unique<::NotifyRequest>();
    request->nr_Name = request->nr_FullName = path;
    request->nr_Flags = flags;
    EXPECT_TRUE(port_->AddNotify(code_, request.get())) << code_;
    requests_.push_back(std::move(request));
  }
  Seen TakeSeen() { return std::exchange(seen_, {}); }

  ::Lock* Directory(const char* name) {
    ::Lock* const lock = port_->CreateDir(code_, nullptr, name);
    EXPECT_NE(lock, nullptr) << code_;
    return lock;
  }
  void Open(::FileHandle& file, ::Lock* rel, const char* name, std::int32_t mode) {
    EXPECT_TRUE(port_->Open(code_, file, rel, name, mode)) << code_;
  }
  void MakeFile(::Lock* rel, const char* name) {
    ::FileHandle file{};
    Open(file, rel, name, MODE_NEWFILE);
    EXPECT_TRUE(port_->Close(code_, file));
  }

  StillClock clock_;
  std::unique_ptr<HandlerPort> port_;
  std::vector<std::unique_ptr<::NotifyRequest>> requests_;
  Seen seen_;
  std::int32_t code_ = 0;
};

// ---- Notification ------------------------------------------------------------------------------

TEST_F(MountedVolumeTest, EachChangeOfAWatchedObjectIsNotifiedOnce) {
  MountRam();
  Watch("DH0:FILE");
  ::FileHandle file{};
  Open(file, nullptr, "file", MODE_NEWFILE);
  EXPECT_EQ(TakeSeen(), Seen{"DH0:FILE"}) << "made";
  EXPECT_EQ(port_->Write(code_, file, "text", 4), 4);
  EXPECT_EQ(port_->Write(code_, file, "text", 4), 4);
  EXPECT_TRUE(TakeSeen().empty());
  EXPECT_TRUE(port_->Close(code_, file));
  EXPECT_EQ(TakeSeen(), Seen{"DH0:FILE"}) << "written and closed";
  Open(file, nullptr, "file", MODE_OLDFILE);
  EXPECT_TRUE(port_->Close(code_, file));
  EXPECT_TRUE(TakeSeen().empty()) << "nothing was written";
  Open(file, nullptr, "file", MODE_NEWFILE);
  EXPECT_TRUE(port_->Close(code_, file));
  EXPECT_EQ(TakeSeen(), Seen{"DH0:FILE"}) << "emptied";
  EXPECT_TRUE(port_->SetProtection(code_, nullptr, "file", 0));
  EXPECT_TRUE(port_->SetComment(code_, nullptr, "file", "text"));
  EXPECT_TRUE(port_->SetDate(code_, nullptr, "file", {1, 2, 3}));
  EXPECT_EQ(TakeSeen().size(), 3U) << "attributes";
  EXPECT_TRUE(port_->Rename(code_, nullptr, "file", nullptr, "other"));
  EXPECT_TRUE(port_->Rename(code_, nullptr, "other", nullptr, "third"));
  EXPECT_EQ(TakeSeen(), Seen{"DH0:FILE"}) << "the old name alone";
  EXPECT_TRUE(port_->Rename(code_, nullptr, "third", nullptr, "file"));
  EXPECT_EQ(TakeSeen(), Seen{"DH0:FILE"}) << "the new name";
  EXPECT_TRUE(port_->Delete(code_, nullptr, "file"));
  EXPECT_EQ(TakeSeen(), Seen{"DH0:FILE"}) << "deleted";
  EXPECT_FALSE(port_->Delete(code_, nullptr, "file"));
  EXPECT_TRUE(TakeSeen().empty());
  EXPECT_TRUE(port_->CreateSoftLink(code_, nullptr, "file", "target"));
  EXPECT_EQ(TakeSeen(), Seen{"DH0:FILE"}) << "a link";
  EXPECT_TRUE(port_->RemoveNotify(code_, requests_[0].get()));
  EXPECT_TRUE(port_->Delete(code_, nullptr, "file"));
  EXPECT_TRUE(TakeSeen().empty());
  EXPECT_FALSE(port_->RemoveNotify(code_, requests_[0].get()));
  EXPECT_EQ(code_, ERROR_OBJECT_NOT_FOUND);
}

TEST_F(MountedVolumeTest, ADirectoryIsNotifiedOfItsEntries) {
  MountRam();
  ::Lock* const directory = Directory("dir");
  ::Lock* const other = Directory("other");
  Watch("DH0:dir/");
  Watch("DH0:");
  MakeFile(directory, "file");
  EXPECT_EQ(TakeSeen(), Seen{"DH0:dir/"});
  ::FileHandle file{};
  Open(file, directory, "file", MODE_READWRITE);
  EXPECT_TRUE(port_->ChangeFileSize(code_, file, OFFSET_BEGINNING, 9));
  EXPECT_TRUE(port_->Close(code_, file));
  EXPECT_EQ(TakeSeen(), Seen{"DH0:dir/"});
  EXPECT_TRUE(port_->SetOwner(code_, directory, "file", 7));
  EXPECT_TRUE(TakeSeen().empty()) << "attributes are the file's business";
  EXPECT_TRUE(port_->Rename(code_, directory, "file", directory, "new"));
  EXPECT_EQ(TakeSeen(), Seen{"DH0:dir/"}) << "once";
  EXPECT_TRUE(port_->Rename(code_, directory, "new", other, "new"));
  EXPECT_EQ(TakeSeen(), Seen{"DH0:dir/"});
  EXPECT_TRUE(port_->Rename(code_, other, "new", nullptr, "new"));
  EXPECT_EQ(TakeSeen(), Seen{"DH0:"});
  EXPECT_TRUE(port_->CreateHardLink(code_, directory, "link", other));
  EXPECT_EQ(TakeSeen(), Seen{"DH0:dir/"});
  EXPECT_TRUE(port_->Delete(code_, directory, "link"));
  EXPECT_EQ(TakeSeen(), Seen{"DH0:dir/"});
  EXPECT_TRUE(port_->SetComment(code_, nullptr, "dir", "text"));
  EXPECT_EQ(TakeSeen(), Seen{"DH0:dir/"});
  EXPECT_TRUE(port_->Relabel(code_, "Other"));
  EXPECT_EQ(TakeSeen(), Seen{"DH0:"});
  EXPECT_TRUE(port_->UnLock(code_, directory));
  EXPECT_TRUE(port_->UnLock(code_, other));
  EXPECT_TRUE(port_->Delete(code_, nullptr, "dir"));
  EXPECT_EQ(TakeSeen(), (Seen{"DH0:dir/", "DH0:"}));
}

TEST_F(MountedVolumeTest, AnObjectHasAllItsNames) {
  MountRam();
  ::Lock* const directory = Directory("dir");
  MakeFile(nullptr, "file");
  ::Lock* const target = port_->Lock(code_, nullptr, "file", SHARED_LOCK);
  EXPECT_TRUE(port_->CreateHardLink(code_, directory, "link", target));
  EXPECT_TRUE(port_->UnLock(code_, target));
  EXPECT_TRUE(port_->UnLock(code_, directory));
  Watch("Any:dir/sub//link");
  Watch("DH0:dir/none/link");
  Watch("DH0:file/link");
  EXPECT_TRUE(port_->SetGroup(code_, nullptr, "file", 7));
  EXPECT_EQ(TakeSeen(), Seen{"Any:dir/sub//link"});
  EXPECT_TRUE(port_->Delete(code_, nullptr, "file"));
  EXPECT_TRUE(TakeSeen().empty()) << "one of its names is not the others, and nothing is in a file";
}

TEST_F(MountedVolumeTest, TheFirstNotificationIsForWhatIsThere) {
  MountRam();
  MakeFile(nullptr, "file");
  Watch("DH0:file", NRF_NOTIFY_INITIAL);
  Watch("DH0:none", NRF_NOTIFY_INITIAL);
  Watch("DH0:", NRF_NOTIFY_INITIAL);
  EXPECT_EQ(TakeSeen(), (Seen{"DH0:file", "DH0:"}));
  ::NotifyRequest nameless{};
  EXPECT_FALSE(port_->AddNotify(code_, &nameless));
  EXPECT_EQ(code_, ERROR_REQUIRED_ARG_MISSING);
  EXPECT_FALSE(port_->AddNotify(code_, nullptr));
  EXPECT_EQ(code_, ERROR_REQUIRED_ARG_MISSING);
}

TEST_F(MountedVolumeTest, ADirectoryOfTheHostIsNotWatched) {
  const selftest::TemporaryDirectory directory;
  Mount(*QuorleHostdirHandler(), {{"path", directory.path()}});
  ::NotifyRequest request{};
  request.nr_Name = request.nr_FullName = "DH0:";
  EXPECT_FALSE(port_->AddNotify(code_, &request));
  EXPECT_EQ(code_, ERROR_ACTION_NOT_KNOWN);
  EXPECT_FALSE(port_->RemoveNotify(code_, &request));
  EXPECT_EQ(code_, ERROR_ACTION_NOT_KNOWN);
}

// ---- Inhibition --------------------------------------------------------------------------------

constexpr std::int32_t kBusy = 0x42555359;

/// Every call but those that give something back.
void ExpectAllRefused(HandlerPort& port, ::Lock* lock, ::FileHandle& file) {
  const auto refused = [](bool failed, const std::int32_t& code) {
    return failed && code == ERROR_OBJECT_IN_USE;
  };
  std::int32_t c = 0;
  ::FileHandle other{};
  ::InfoData info{};
  ::PRIVATE_ExamineDirContext scan{};
  ::NotifyRequest request{};
  char text[8] = {};
  const ::TagItem tags[] = {{QUORLE_TAG_DONE, 0}};
  EXPECT_TRUE(refused(port.Lock(c, nullptr, "", SHARED_LOCK) == nullptr, c));
  EXPECT_TRUE(refused(port.DupLock(c, lock) == nullptr, c));
  EXPECT_TRUE(refused(port.CreateDir(c, lock, "x") == nullptr, c));
  EXPECT_TRUE(refused(port.ParentDir(c, lock) == nullptr, c));
  EXPECT_TRUE(refused(port.DupLockFromFH(c, file) == nullptr, c));
  EXPECT_TRUE(refused(port.ParentOfFH(c, file) == nullptr, c));
  EXPECT_TRUE(refused(!port.ChangeLockMode(c, lock, SHARED_LOCK), c));
  EXPECT_TRUE(refused(!port.SameLock(c, lock, lock), c));
  EXPECT_TRUE(refused(!port.Open(c, other, nullptr, "x", MODE_NEWFILE), c));
  EXPECT_TRUE(refused(!port.OpenFromLock(c, other, lock), c));
  EXPECT_TRUE(refused(port.Read(c, file, text, 8) == -1, c));
  EXPECT_TRUE(refused(port.Write(c, file, text, 8) == -1, c));
  EXPECT_TRUE(refused(!port.Flush(c), c));
  EXPECT_TRUE(refused(!port.ChangeFilePosition(c, file, OFFSET_BEGINNING, 0), c));
  EXPECT_TRUE(refused(!port.ChangeFileSize(c, file, OFFSET_BEGINNING, 0), c));
  EXPECT_TRUE(refused(port.GetFilePosition(c, file) == -1, c));
  EXPECT_TRUE(refused(port.GetFileSize(c, file) == -1, c));
  EXPECT_TRUE(refused(!port.ChangeFileMode(c, file, SHARED_LOCK), c));
  EXPECT_TRUE(refused(!port.SameFile(c, file, file), c));
  EXPECT_TRUE(refused(!port.LockRecord(c, file, 0, 1, 0, 0), c));
  EXPECT_TRUE(refused(!port.Delete(c, nullptr, "file"), c));
  EXPECT_TRUE(refused(!port.SetDate(c, nullptr, "file", {}), c));
  EXPECT_TRUE(refused(!port.SetProtection(c, nullptr, "file", 0), c));
  EXPECT_TRUE(refused(!port.SetComment(c, nullptr, "file", "y"), c));
  EXPECT_TRUE(refused(!port.SetGroup(c, nullptr, "file", 0), c));
  EXPECT_TRUE(refused(!port.SetOwner(c, nullptr, "file", 0), c));
  EXPECT_TRUE(refused(!port.Rename(c, nullptr, "file", nullptr, "y"), c));
  EXPECT_TRUE(refused(!port.CreateSoftLink(c, nullptr, "x", "y"), c));
  EXPECT_TRUE(refused(!port.CreateHardLink(c, nullptr, "x", lock), c));
  EXPECT_TRUE(refused(port.ReadSoftLink(c, nullptr, "x", text, 8) == -1, c));
  EXPECT_TRUE(refused(port.ExamineObj(c, nullptr, "file") == nullptr, c));
  EXPECT_TRUE(refused(port.ExamineLock(c, lock) == nullptr, c));
  EXPECT_TRUE(refused(port.ExamineFile(c, file) == nullptr, c));
  EXPECT_TRUE(refused(!port.ExamineDir(c, scan), c));
  EXPECT_TRUE(refused(!port.FileSystemAttr(c, tags), c));
  EXPECT_TRUE(refused(!port.VolumeInfoData(c, info), c));
  EXPECT_TRUE(refused(!port.WriteProtect(c, true, 0), c));
  EXPECT_TRUE(refused(!port.Relabel(c, "x"), c));
  EXPECT_TRUE(refused(!port.AddNotify(c, &request), c));
}

TEST_F(MountedVolumeTest, WhileItIsInhibitedNothingIsAccessed) {
  const selftest::TemporaryDirectory directory;
  for (const bool on_host : {false, true}) {
    if (on_host) {
      Mount(*QuorleHostdirHandler(), {{"path", directory.path()}});
    } else {
      MountRam();
    }
    ::InfoData info{};
    EXPECT_TRUE(port_->DeviceInfoData(code_, info));
    const std::int32_t type = info.id_DiskType;
    MakeFile(nullptr, "file");
    ::Lock* const lock = Directory("dir");
    ::FileHandle file{};
    Open(file, nullptr, "file", MODE_OLDFILE);
    EXPECT_TRUE(port_->LockRecord(code_, file, 0, 1, REC_EXCLUSIVE, 0)) << code_;
    EXPECT_TRUE(port_->Inhibit(code_, true)) << code_;
    ExpectAllRefused(*port_, lock, file);
    EXPECT_TRUE(port_->DeviceInfoData(code_, info));
    EXPECT_EQ(info.id_DiskType, kBusy);
    EXPECT_TRUE(port_->UnLockRecord(code_, file, 0, 1)) << code_;
    EXPECT_TRUE(port_->UnLock(code_, lock));
    EXPECT_TRUE(port_->Close(code_, file));
    EXPECT_TRUE(port_->Inhibit(code_, true));
    EXPECT_TRUE(port_->Inhibit(code_, false)) << "dos counts";
    EXPECT_TRUE(port_->Inhibit(code_, false)) << "always a success";
    EXPECT_TRUE(port_->DeviceInfoData(code_, info));
    EXPECT_EQ(info.id_DiskType, type);
    EXPECT_TRUE(port_->Delete(code_, nullptr, "file")) << "it is there still";
    EXPECT_TRUE(port_->Delete(code_, nullptr, "dir"));
    EXPECT_EQ(port_->Unmount(), Seen());
  }
}

TEST_F(MountedVolumeTest, OnlyAnInhibitedVolumeIsFormatted) {
  MountRam({{"volume", "Work"}, {"state", "validating"}});
  EXPECT_EQ(port_->volume_name(), "Work");
  EXPECT_FALSE(port_->Format(code_, "Empty", 0x51545302));
  EXPECT_EQ(code_, ERROR_OBJECT_IN_USE);
  EXPECT_FALSE(port_->Serialize(code_));
  EXPECT_EQ(code_, ERROR_OBJECT_IN_USE);
  EXPECT_TRUE(port_->Inhibit(code_, true));
  EXPECT_TRUE(port_->Serialize(code_)) << code_;
  EXPECT_TRUE(port_->Format(code_, "Empty", 0x51545302)) << code_;
  EXPECT_EQ(port_->volume_name(), "Empty");
  EXPECT_TRUE(port_->Inhibit(code_, false));
  ::InfoData info{};
  EXPECT_TRUE(port_->VolumeInfoData(code_, info));
  EXPECT_EQ(info.id_DiskType, 0x51545302);
  EXPECT_EQ(info.id_DiskState, 82) << "validated";
  EXPECT_EQ(info.id_NumBlocksUsed, 1U);
}

TEST_F(MountedVolumeTest, FormattingEmptiesTheVolume) {
  MountRam();
  ::Lock* const directory = Directory("dir");
  MakeFile(directory, "file");
  EXPECT_TRUE(port_->SetComment(code_, nullptr, "", "of the root"));
  EXPECT_TRUE(port_->Inhibit(code_, true));
  EXPECT_FALSE(port_->Format(code_, "Empty", 1)) << "there is a lock";
  EXPECT_EQ(code_, ERROR_OBJECT_IN_USE);
  EXPECT_TRUE(port_->Inhibit(code_, false));
  Watch("DH0:");
  Watch("DH0:dir/file");
  Watch("DH0:none");
  EXPECT_TRUE(port_->Delete(code_, directory, "file")) << "nothing was destroyed";
  MakeFile(directory, "file");
  EXPECT_TRUE(port_->UnLock(code_, directory));
  TakeSeen();
  EXPECT_TRUE(port_->Inhibit(code_, true));
  EXPECT_FALSE(port_->Format(code_, "a/b", 1));
  EXPECT_EQ(code_, ERROR_INVALID_COMPONENT_NAME);
  clock_.now = {16001, 3, 4};
  EXPECT_TRUE(port_->Format(code_, "Empty", 1)) << code_;
  EXPECT_EQ(TakeSeen(), (Seen{"DH0:", "DH0:dir/file"}));
  EXPECT_TRUE(port_->Inhibit(code_, false));
  EXPECT_EQ(port_->Lock(code_, nullptr, "dir", SHARED_LOCK), nullptr);
  EXPECT_EQ(code_, ERROR_OBJECT_NOT_FOUND);
  ::ExamineData* const root = port_->ExamineObj(code_, nullptr, "");
  ASSERT_NE(root, nullptr);
  EXPECT_STREQ(root->Name, "Empty");
  EXPECT_STREQ(root->Comment, "");
  EXPECT_EQ(root->Date.ds_Days, 16001);
  port_->FreeExamineData(root);
  EXPECT_TRUE(port_->WriteProtect(code_, true, 0));
  EXPECT_TRUE(port_->Inhibit(code_, true));
  EXPECT_FALSE(port_->Format(code_, "Other", 1));
  EXPECT_EQ(code_, ERROR_DISK_WRITE_PROTECTED);
}

TEST_F(MountedVolumeTest, WhoeverHoldsTheRootKeepsItFromBeingFormatted) {
  MountRam();
  ::Lock* const root = port_->Lock(code_, nullptr, "", SHARED_LOCK);
  EXPECT_TRUE(port_->Inhibit(code_, true));
  EXPECT_FALSE(port_->Format(code_, "Empty", 1));
  EXPECT_EQ(code_, ERROR_OBJECT_IN_USE);
  EXPECT_TRUE(port_->UnLock(code_, root));
  EXPECT_TRUE(port_->Format(code_, "Empty", 1)) << code_;
  EXPECT_TRUE(port_->Inhibit(code_, false));
}

TEST_F(MountedVolumeTest, ANameThatCannotBeFormatsNothing) {
  MountRam({{"volume", "Work"}});
  MakeFile(nullptr, "file");
  EXPECT_TRUE(port_->Inhibit(code_, true));
  for (const char* const name : {"", "a:b", "a/b"}) {
    EXPECT_FALSE(port_->Format(code_, name, 1)) << name;
    EXPECT_EQ(code_, ERROR_INVALID_COMPONENT_NAME) << name;
  }
  EXPECT_FALSE(port_->Format(code_, "Taken", 1));
  EXPECT_EQ(code_, ERROR_OBJECT_EXISTS);
  EXPECT_TRUE(port_->Inhibit(code_, false));
  EXPECT_EQ(port_->volume_name(), "Work");
  EXPECT_TRUE(port_->Delete(code_, nullptr, "file")) << "it is there still";
}

TEST_F(MountedVolumeTest, SerializingGivesTheVolumeAnotherDate) {
  MountRam();
  MakeFile(nullptr, "file");
  ::Lock* const root = port_->Lock(code_, nullptr, "", SHARED_LOCK);
  const auto date = [&] {
    ::ExamineData* const data = port_->ExamineLock(code_, root);
    const ::DateStamp found = data->Date;
    port_->FreeExamineData(data);
    return std::vector{found.ds_Days, found.ds_Minute, found.ds_Tick};
  };
  const auto serialize = [&] {
    EXPECT_TRUE(port_->Inhibit(code_, true));
    const bool done = port_->Serialize(code_);
    const std::int32_t code = code_;
    EXPECT_TRUE(port_->Inhibit(code_, false));
    return done ? 0 : code;
  };
  using Date = std::vector<std::int32_t>;
  EXPECT_EQ(date(), (Date{16000, 1, 2}));
  Watch("DH0:");
  EXPECT_EQ(serialize(), 0) << "somebody has a lock";
  EXPECT_EQ(date(), (Date{16000, 1, 3})) << "in the same tick";
  EXPECT_EQ(TakeSeen(), Seen{"DH0:"});
  clock_.now = {16002, 3, 2999};
  EXPECT_EQ(serialize(), 0);
  EXPECT_EQ(date(), (Date{16002, 3, 2999}));
  EXPECT_EQ(serialize(), 0);
  EXPECT_EQ(date(), (Date{16002, 3, 0}));
  EXPECT_TRUE(port_->WriteProtect(code_, true, 0));
  EXPECT_EQ(serialize(), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(date(), (Date{16002, 3, 0}));
  EXPECT_TRUE(port_->WriteProtect(code_, false, 0));
  EXPECT_TRUE(port_->UnLock(code_, root));
  EXPECT_TRUE(port_->Delete(code_, nullptr, "file")) << "it is there still";
}

TEST_F(MountedVolumeTest, WhatIsOfOneMountEndsWithIt) {
  MountRam();
  MakeFile(nullptr, "file");
  Watch("DH0:file");
  EXPECT_TRUE(port_->Inhibit(code_, true));
  port_->UnmountForNow();
  std::string problem;
  ASSERT_TRUE(port_->MountAgain(problem)) << problem;
  EXPECT_TRUE(port_->SetComment(code_, nullptr, "file", "text")) << "inhibited no more: " << code_;
  EXPECT_TRUE(TakeSeen().empty());
}

TEST_F(MountedVolumeTest, ADirectoryOfTheHostIsNotFormatted) {
  const selftest::TemporaryDirectory directory;
  Mount(*QuorleHostdirHandler(), {{"path", directory.path()}});
  EXPECT_TRUE(port_->Inhibit(code_, true));
  EXPECT_FALSE(port_->Format(code_, "Empty", 1));
  EXPECT_EQ(code_, ERROR_ACTION_NOT_KNOWN);
  EXPECT_FALSE(port_->Serialize(code_));
  EXPECT_EQ(code_, ERROR_ACTION_NOT_KNOWN);
}

}  // namespace
}  // namespace quorle
