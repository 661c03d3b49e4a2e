#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "hosted/dos/volume_listing.h"
#include "selftest/unit/hosted/machine_fixture.h"
#include "selftest/unit/hosted/notifying_handler.h"

namespace quorle {
namespace {

using Differing = std::vector<std::string>;

/// A machine whose DH0: is mounted again.
class MountedAgainTest : public MachineTest {
 protected:
  MountedAgainTest() : root_(MustLock("DH0:")), port_(*machine_->list().Find("DH0").port) {
    dos().SetCurrentDir(root_);
  }

  void Write(const char* name, const std::string& text) {
    const FileHandle file = dos().Open(name, MODE_NEWFILE);
    const auto size = static_cast<std::int32_t>(text.size());
    EXPECT_EQ(dos().Write(file, text.data(), size), size);
    dos().Close(file);
  }
  VolumeListing List(const ListingBounds& bounds = {}) { return ListVolume(port_, bounds); }
  /// What differs once `change` has changed the volume.
  Differing Differences(const std::function<void()>& change, const ListingBounds& bounds = {}) {
    const VolumeListing before = List(bounds);
    change();
    return CompareListings(port_, before, List(bounds));
  }

  LockHandle root_;
  HandlerPort& port_;
};

// ---- Mounting again ----------------------------------------------------------------------------

TEST_F(MountedAgainTest, TheProgramKeepsItsRootAndItsCurrentDirectory) {
  Write("file", "text");
  dos().SetIoErr(4711);
  EXPECT_EQ(dos().ReleasePort(port_, root_), OpenObjects{});
  port_.UnmountForNow();
  std::string problem;
  ASSERT_TRUE(port_.MountAgain(problem)) << problem;
  EXPECT_EQ(dos().LockRootAgain(port_, root_), 0);
  EXPECT_EQ(dos().IoErr(), 4711);
  EXPECT_EQ(dos().CountOpen().locks, 1U);
  dos().UnLock(MustLock("file"));
  EXPECT_EQ(dos().SameLock(root_, MustLock("DH0:")), LOCK_SAME);
}

TEST_F(MountedAgainTest, WhatElseIsOpenThereIsClosed) {
  Write("file", "");
  const LockHandle lock = MustLock("file");
  const FileHandle file = dos().Open("file", MODE_OLDFILE);
  const LockHandle elsewhere = MustLock("DH1:");
  EXPECT_EQ(dos().ReleasePort(port_, root_), (OpenObjects{.locks = 1, .files = 1}));
  EXPECT_EQ(dos().CountOpen().locks, 2U) << "the root, and the one of another device";
  EXPECT_EQ(Code(dos().DupLock(lock)), ERROR_INVALID_LOCK);
  EXPECT_EQ(Code(dos().Close(file)), ERROR_INVALID_LOCK);
  dos().UnLock(elsewhere);
}

TEST_F(MountedAgainTest, CallsFailMeanwhile) {
  const PortRecord before = dos().PortRecordOf(PortOf("DH0:"));
  dos().ReleasePort(port_, root_);
  port_.UnmountForNow();
  EXPECT_EQ(port_.life(), HandlerProgram::Life::kIsOver);
  EXPECT_EQ(Code(dos().Lock("DH0:file", SHARED_LOCK)), ERROR_DEVICE_NOT_MOUNTED);
  EXPECT_EQ(Code(dos().Lock("file", SHARED_LOCK)), ERROR_DEVICE_NOT_MOUNTED);
  EXPECT_EQ(Code(dos().DupLock(root_)), ERROR_DEVICE_NOT_MOUNTED);
  EXPECT_FALSE(port_.volume_name());
  EXPECT_EQ(dos().PortRecordOf(PortOf("DH0:")).node_type, before.node_type);
  EXPECT_EQ(dos().PortRecordOf(PortOf("DH0:")).word78, before.word78);
  EXPECT_NE(dos().LockRootAgain(port_, root_), 0);
  dos().UnLock(root_);
  EXPECT_EQ(dos().LockRootAgain(port_, root_), ERROR_INVALID_LOCK);
}

TEST_F(MountedAgainTest, AVolumeWhoseNameIsTakenMeanwhileStaysUnmountedAndKeepsItsTree) {
  Write("file", "");
  dos().ReleasePort(port_, root_);
  port_.UnmountForNow();
  EXPECT_TRUE(dos().Relabel("DH1:", "Work"));
  std::string problem;
  EXPECT_FALSE(port_.MountAgain(problem));
  EXPECT_EQ(problem, "the volume name Work is taken");
  EXPECT_TRUE(dos().Relabel("DH1:", "Other Disk"));
  ASSERT_TRUE(port_.MountAgain(problem)) << problem;
  EXPECT_EQ(port_.volume_name(), "Work");
  dos().UnLock(MustLock("DH0:file"));
}

TEST_F(MountedAgainTest, AVolumeInMemoryKeepsItsNameAndItsProtection) {
  EXPECT_TRUE(dos().Relabel("DH0:", "Renamed"));
  EXPECT_TRUE(dos().WriteProtectVolume("DH0:", true, 7, 0));
  const Differing lines = Differences([this] {
    dos().ReleasePort(port_, root_);
    port_.UnmountForNow();
    std::string problem;
    EXPECT_TRUE(port_.MountAgain(problem));
  });
  EXPECT_EQ(lines, Differing{});
  EXPECT_EQ(port_.volume_name(), "Renamed");
  EXPECT_FALSE(dos().WriteProtectVolume("DH0:", false, 8, 0));
  EXPECT_TRUE(dos().WriteProtectVolume("DH0:", false, 7, 0));
}

TEST_F(MountedAgainTest, NobodyInhibitsAVolumeThatIsMountedAgain) {
  FurtherDosInterface& further = machine_->further();
  EXPECT_TRUE(further.Inhibit("DH0:", true));
  EXPECT_TRUE(further.Inhibit("DH0:", true));
  dos().ReleasePort(port_, root_);
  port_.UnmountForNow();
  std::string problem;
  ASSERT_TRUE(port_.MountAgain(problem)) << problem;
  EXPECT_EQ(dos().LockRootAgain(port_, root_), 0);
  dos().UnLock(MustLock("DH0:"));
  EXPECT_TRUE(further.Inhibit("DH0:", true));
  EXPECT_EQ(Code(dos().Lock("DH0:", SHARED_LOCK)), ERROR_OBJECT_IN_USE);
  EXPECT_TRUE(further.Inhibit("DH0:", false));
  dos().UnLock(MustLock("DH0:"));
}

// ---- Scans and requests for notification ---------------------------------------------------------

/// A machine whose DH0: reports what is freed and removed there, and whose DH1: is in memory.
class NotifyingMountedAgainTest : public MachineTest {
 protected:
  NotifyingMountedAgainTest() {
    MachineOptions options;
    options.handlers = {{"ram", QuorleRamHandler()}, {"notifying", &NotifyingHandler()}};
    options.mounts = {Spec("DH0", "notifying", {{"locks", "1"}}),
                      Spec("DH1", "ram", {{"volume", "Work"}})};
    std::string problem;
    machine_ = Machine::Build(options, Parts(), problem);
    EXPECT_NE(machine_, nullptr) << problem;
  }

  FurtherDosInterface& further() { return machine_->further(); }
  std::string TakeReports() { return std::exchange(errors_.text, {}); }
};

TEST_F(NotifyingMountedAgainTest, ScansAndRequestsEndWithTheMount) {
  HandlerPort& port = *machine_->list().Find("DH0").port;
  const LockHandle root = MustLock("DH0:");
  const DirContextHandle scan = further().ObtainDirContext(EX_StringNameInput, "DH0:dir");
  EXPECT_NE(further().ExamineDir(scan), nullptr) << dos().IoErr();
  const NotifyHandle request = further().StartNotify("DH0:file", NRF_SEND_MESSAGE);
  const DirContextHandle scan_elsewhere = further().ObtainDirContext(EX_StringNameInput, "DH1:");
  const NotifyHandle request_elsewhere = further().StartNotify("DH1:file", NRF_SEND_MESSAGE);
  EXPECT_TRUE(further().Flush("DH0:"));
  EXPECT_TRUE(further().Flush("DH0:"));
  const MessageHandle taken = further().GetNotifyMsg(request);
  EXPECT_TRUE(taken);
  EXPECT_EQ(TakeReports(), "quorle: DH0: add DH0:file DH0:file 1 0\n");

  // The scan's lock, the request, and the program's root: each once.
  EXPECT_EQ(dos().ReleasePort(port, root), OpenObjects{});
  EXPECT_EQ(TakeReports(),
            "quorle: DH0: free lock\nquorle: DH0: remove DH0:file\nquorle: DH0: free lock\n");
  EXPECT_EQ(dos().CountOpen().examine_records, 0U) << "the scan's last one";
  port.UnmountForNow();
  const auto use_what_ended = [&] {
    EXPECT_EQ(Code(further().ExamineDir(scan)), ERROR_INVALID_LOCK);
    further().ReleaseDirContext(scan);
    EXPECT_FALSE(further().GetNotifyMsg(request));
    EXPECT_FALSE(further().CheckNotifySignal(request));
    further().ReplyNotifyMsg(taken);
    further().EndNotify(request);
  };
  use_what_ended();
  EXPECT_EQ(Code(further().ObtainDirContext(EX_StringNameInput, "DH0:")), ERROR_DEVICE_NOT_MOUNTED);
  EXPECT_EQ(Code(further().StartNotify("DH0:file", 0)), ERROR_DEVICE_NOT_MOUNTED);

  std::string problem;
  ASSERT_TRUE(port.MountAgain(problem)) << problem;
  EXPECT_EQ(dos().LockRootAgain(port, root), 0);
  use_what_ended();
  EXPECT_TRUE(further().Flush("DH0:"));
  EXPECT_FALSE(further().GetNotifyMsg(request));
  EXPECT_EQ(TakeReports(), "") << "nothing of it comes to the handler, which was given no request";

  // What is elsewhere goes on.
  EXPECT_EQ(Code(further().ExamineDir(scan_elsewhere)), ERROR_NO_MORE_ENTRIES);
  MakeFile("DH1:file");
  EXPECT_TRUE(further().GetNotifyMsg(request_elsewhere));
  // What is begun again is ended with the machine.
  EXPECT_NE(further().ExamineDir(further().ObtainDirContext(EX_StringNameInput, "DH0:")), nullptr);
  EXPECT_TRUE(further().StartNotify("DH0:file", NRF_SEND_MESSAGE));
  TakeReports();
  EXPECT_EQ(machine_->ShutDown(), std::vector<std::string>{});
  EXPECT_EQ(TakeReports(),
            "quorle: DH0: free lock\nquorle: DH0: remove DH0:file\nquorle: DH0: free lock\n");
}

// ---- Listing -----------------------------------------------------------------------------------

TEST_F(MountedAgainTest, AListingHasEveryObjectAndLeavesNothingOpen) {
  MakeDirectory("dir");
  Write("dir/file", "text");
  Write("other", std::string(100'000, 'x'));
  EXPECT_TRUE(dos().SetComment("other", "a comment"));
  EXPECT_TRUE(dos().MakeLink("soft", "dir/file", LINK_SOFT));
  InfoData before{};
  EXPECT_TRUE(dos().GetDiskInfo("DH0:", before));
  const VolumeListing listing = List();
  InfoData after{};
  EXPECT_TRUE(dos().GetDiskInfo("DH0:", after));
  EXPECT_EQ(after.id_InUse, before.id_InUse);
  EXPECT_EQ(listing.volume_name, "Work");
  EXPECT_EQ(listing.state, ID_DISKSTATE_VALIDATED);
  EXPECT_FALSE(listing.is_cut);
  ASSERT_EQ(listing.objects.size(), 4U);
  EXPECT_EQ(listing.objects.at("dir").type & FSO_TYPE_MASK, FSO_TYPE_DIRECTORY);
  EXPECT_EQ(listing.objects.at("dir/file").size, 4);
  EXPECT_EQ(listing.objects.at("dir/file").content_bytes, 4);
  EXPECT_EQ(listing.objects.at("other").comment, "a comment");
  EXPECT_EQ(listing.objects.at("other").content_bytes, 64 << 10);
  EXPECT_EQ(listing.objects.at("soft").target, "dir/file");
}

TEST_F(MountedAgainTest, AListingIsBounded) {
  for (const char* const name : {"a", "b", "c"}) Write(name, "text");
  EXPECT_TRUE(List({.objects = 2}).is_cut);
  EXPECT_EQ(List({.objects = 2}).objects.size(), 2U);
  EXPECT_FALSE(List({.objects = 3}).is_cut);
  const VolumeListing listing = List({.file_bytes = 3, .all_bytes = 7});
  std::int64_t bytes = 0;
  for (const auto& [path, object] : listing.objects) bytes += object.content_bytes;
  EXPECT_EQ(bytes, 7);
}

TEST_F(MountedAgainTest, NoDifferenceIsSeenWhereThereIsNone) {
  MakeDirectory("dir");
  Write("dir/file", "text");
  EXPECT_EQ(Differences([] {}), Differing{});
}

TEST_F(MountedAgainTest, EachDifferenceIsNamed) {
  MakeDirectory("dir");
  Write("dir/file", "text");
  Write("other", "text");
  EXPECT_TRUE(dos().MakeLink("soft", "other", LINK_SOFT));
  const auto change = [this](const std::function<void()>& what) { return Differences(what); };
  EXPECT_EQ(change([this] { Write("other", "TEXT"); }), Differing{"other has another content"});
  EXPECT_EQ(change([this] { Write("other", "texts"); }),
            Differing{"other has the size 5, it was 4"});
  EXPECT_EQ(change([this] { dos().SetComment("dir", "new"); }),
            Differing{"dir has the comment \"new\", it was \"\""});
  EXPECT_EQ(change([this] { dos().SetProtection("other", 1); }),
            Differing{"other has the protection 0x00000001, it was 0x00000000"});
  EXPECT_EQ(change([this] { dos().SetOwnerInfo("other", OI_OwnerUID, 5); }),
            Differing{"other has the owner 5, it was 0"});
  EXPECT_EQ(change([this] { dos().SetOwnerInfo("other", OI_OwnerGID, 6); }),
            Differing{"other has the group 6, it was 0"});
  EXPECT_EQ(
      change([this] { dos().SetDate("other", {.ds_Days = 1, .ds_Minute = 2, .ds_Tick = 3}); }),
      Differing{"other has the date 1/2/3, it was 17000/601/2999"});
  EXPECT_EQ(change([this] { dos().Relabel("DH0:", "New"); }),
            Differing{"the volume is called \"New\", it was called \"Work\""});
  EXPECT_EQ(change([this] { dos().Rename("other", "second"); }),
            (Differing{"other is missing", "second is new"}));
  EXPECT_EQ(change([this] {
              dos().Delete("soft");
              dos().MakeLink("soft", "dir", LINK_SOFT);
            }),
            Differing{"soft leads to \"dir\", it was \"other\""});
  EXPECT_EQ(change([this] {
              dos().Delete("soft");
              MakeDirectory("soft");
            }),
            Differing{"soft is a directory, it was a soft link"});
  EXPECT_EQ(change([this] { dos().WriteProtectVolume("DH0:", true, 0, 0); }),
            Differing{"the volume has the state 80, it was 82"});
}

TEST_F(MountedAgainTest, NamesOfOneObjectAreCompared) {
  Write("a", "text");
  Write("c", "text");
  const LockHandle lock = MustLock("a");
  EXPECT_TRUE(dos().MakeLink("b", lock, LINK_HARD));
  dos().UnLock(lock);
  const VolumeListing before = List();
  dos().Delete("b");
  Write("b", "text");
  EXPECT_EQ(CompareListings(port_, before, List()),
            (Differing{"a has the link count 1, it was 2", "b and a are no longer one object"}));
  EXPECT_EQ(CompareListings(port_, List(), before),
            (Differing{"a has the link count 2, it was 1", "b and a have become one object"}));
}

TEST_F(MountedAgainTest, OfATreeThatWasCutWhatOneListingDidNotComeToIsNoDifference) {
  for (const char* const name : {"a", "b", "c"}) Write(name, "");
  EXPECT_EQ(Differences(
                [this] {
                  // Now "a" comes last.
                  dos().Delete("a");
                  Write("a", "");
                },
                {.objects = 2}),
            Differing{});
  EXPECT_EQ(Differences([this] { dos().Delete("b"); }, {.objects = 1}), Differing{"b is missing"});
}

TEST_F(MountedAgainTest, WhatFailsIsADifferenceWhenItDidNotFailBefore) {
  Write("file", "text");
  EXPECT_EQ(Differences([this] { dos().SetProtection("file", EXDF_NO_READ); }).front(),
            "file gives error 224, it was no error");
  EXPECT_EQ(Differences([this] {
              dos().ReleasePort(port_, root_);
              port_.UnmountForNow();
            }).front(),
            "the volume is not called anything, it was called \"Work\"");
}

}  // namespace
}  // namespace quorle
