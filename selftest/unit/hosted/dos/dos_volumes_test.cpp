#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "hosted/dos/hosted_dos.h"
#include "selftest/unit/hosted/machine_fixture.h"

namespace quorle {
namespace {

/// A code that no call gives.
constexpr std::int32_t kOldCode = 4711;

class DosVolumesTest : public MachineTest {};

// ---- Volumes and handlers ----------------------------------------------------------------------

TEST_F(DosVolumesTest, ADeviceIsFoundByEveryName) {
  const LockHandle lock = MustLock("DH1:");
  ASSERT_TRUE(machine_->list().AddAssign("Libs", *machine_->list().Find("DH1").port, nullptr));
  const PortHandle port = dos().FileLockOf(lock).fl_Port;
  EXPECT_EQ(PortOf("DH1:"), port);
  EXPECT_EQ(PortOf("other disk:some/path"), port);
  EXPECT_EQ(PortOf("LIBS:"), port);
  EXPECT_NE(PortOf("DH0:"), port);
  // Nowhere yet: a word without a device does not mean the first volume.
  EXPECT_EQ(Code(dos().GetDeviceProc("name", nullptr)), ERROR_DEVICE_NOT_MOUNTED);
  dos().SetCurrentDir(lock);
  EXPECT_EQ(PortOf("name"), port);
  EXPECT_EQ(PortOf(":"), port);
  EXPECT_EQ(PortOf(""), port);
  EXPECT_EQ(dos().CountOpen().device_procs, 0U);
}

TEST_F(DosVolumesTest, ThereIsNoSecondMemberOfAnAssign) {
  const DevProc* const first = dos().GetDeviceProc("DH0:", nullptr);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(Code(dos().GetDeviceProc("DH0:", first)), ERROR_NO_MORE_ENTRIES);
}

TEST_F(DosVolumesTest, NilIsADeviceWithoutAFilesystem) {
  const PortHandle nil = PortOf("NIL:");
  ASSERT_TRUE(nil);
  EXPECT_FALSE(dos().IsFileSystem(nil));
  char name[8];
  EXPECT_TRUE(dos().DevNameFromPort(nil, name, 8, true));
  EXPECT_STREQ(name, "NIL:");
  EXPECT_EQ(Code(dos().VolNameFromPort(nil, name, 8, true)), ERROR_NO_DISK);
  InfoData info;
  EXPECT_EQ(Code(dos().GetDiskInfo(nil, info)), ERROR_ACTION_NOT_KNOWN);
  EXPECT_EQ(Code(dos().Lock("NIL:", SHARED_LOCK)), ERROR_ACTION_NOT_KNOWN);
  EXPECT_EQ(Code(dos().Open("NIL:", MODE_OLDFILE)), ERROR_ACTION_NOT_KNOWN);
}

TEST_F(DosVolumesTest, NoPortIsNil) {
  char name[8];
  EXPECT_TRUE(dos().DevNameFromPort({}, name, 8, true));
  EXPECT_STREQ(name, "NIL:");
  EXPECT_TRUE(dos().VolNameFromPort({}, name, 8, false));
  EXPECT_STREQ(name, "NIL");
  EXPECT_FALSE(dos().IsFileSystem({}));
  InfoData info;
  std::uint32_t type = 0;
  EXPECT_EQ(Code(dos().GetDiskInfo(PortHandle{}, info)), ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(Code(dos().FileSystemAttr({}, name, 8, type)), ERROR_REQUIRED_ARG_MISSING);
}

TEST_F(DosVolumesTest, AForeignPortIsNotMounted) {
  const PortHandle foreign{MustLock("DH0:").value};
  char name[8] = "before";
  InfoData info;
  EXPECT_EQ(Code(dos().DevNameFromPort(foreign, name, 8, true)), ERROR_DEVICE_NOT_MOUNTED);
  EXPECT_STREQ(name, "");
  EXPECT_EQ(Code(dos().VolNameFromPort(foreign, name, 8, true)), ERROR_DEVICE_NOT_MOUNTED);
  EXPECT_EQ(Code(dos().GetDiskInfo(foreign, info)), ERROR_DEVICE_NOT_MOUNTED);
  EXPECT_EQ(dos().PortRecordOf(foreign).node_type, 0);
}

TEST_F(DosVolumesTest, NamesOfAPortNeedTheirRoom) {
  const PortHandle port = PortOf("DH0:");
  char name[8];
  for (const bool colon : {false, true}) {
    const std::string device = colon ? "DH0:" : "DH0";
    const std::string volume = colon ? "Work:" : "Work";
    const auto device_size = static_cast<std::uint32_t>(device.size());
    const auto volume_size = static_cast<std::uint32_t>(volume.size());
    EXPECT_TRUE(dos().DevNameFromPort(port, name, device_size + 1, colon));
    EXPECT_EQ(name, device);
    EXPECT_EQ(Code(dos().DevNameFromPort(port, name, device_size, colon)), ERROR_LINE_TOO_LONG);
    EXPECT_STREQ(name, "");
    EXPECT_TRUE(dos().VolNameFromPort(port, name, volume_size + 1, colon));
    EXPECT_EQ(name, volume);
    EXPECT_EQ(Code(dos().VolNameFromPort(port, name, volume_size, colon)), ERROR_LINE_TOO_LONG);
    EXPECT_STREQ(name, "");
  }
  name[0] = '?';
  EXPECT_EQ(Code(dos().DevNameFromPort(port, name, 0, false)), ERROR_LINE_TOO_LONG);
  EXPECT_EQ(name[0], '?');
}

std::int32_t OnlyTheType(::FileSystemVectorPort*, std::int32_t* res2, const ::TagItem* tags) {
  for (; tags->ti_Tag != QUORLE_TAG_DONE; ++tags) {
    if (tags->ti_Tag != QUORLE_FSA_DOSTypeR) {
      *res2 = ERROR_NOT_IMPLEMENTED;
      return 0;
    }
    *reinterpret_cast<std::uint32_t*>(tags->ti_Data) = 0x12345678;
  }
  return 1;
}

TEST_F(DosVolumesTest, AnUnknownQuestionLeavesTheOtherAnswered) {
  const PortHandle port = PortOf("DH0:");
  ::FileSystemVectors& table = RecordingHandler::TableOf(*machine_->list().Find("DH0").port);
  table.FSFileSystemAttr = OnlyTheType;
  char version[16] = "";
  std::uint32_t type = 0;
  EXPECT_EQ(Code(dos().FileSystemAttr(port, version, 16, type)), ERROR_NOT_IMPLEMENTED);
  EXPECT_STREQ(version, "");
  EXPECT_EQ(type, 0x12345678U);
  table.FSFileSystemAttr = nullptr;
  type = 0;
  EXPECT_EQ(Code(dos().FileSystemAttr(port, version, 16, type)), ERROR_ACTION_NOT_KNOWN);
  EXPECT_EQ(type, 0U);
}

TEST_F(DosVolumesTest, AVolumeIsChangedByItsDeviceWithColonOnly) {
  EXPECT_EQ(Code(dos().Relabel("DH0", "x")), ERROR_INVALID_COMPONENT_NAME);
  EXPECT_EQ(Code(dos().Relabel("", "x")), ERROR_INVALID_COMPONENT_NAME);
  EXPECT_EQ(Code(dos().Relabel(nullptr, "x")), ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(Code(dos().Relabel("DH0:", nullptr)), ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(Code(dos().Relabel("NOSUCH:", "x")), ERROR_DEVICE_NOT_MOUNTED);
  EXPECT_EQ(Code(dos().WriteProtectVolume("DH0", true, 0, 0)), ERROR_INVALID_COMPONENT_NAME);
  EXPECT_EQ(Code(dos().WriteProtectVolume("DH0:", true, 0, 1)), ERROR_BAD_NUMBER);
  EXPECT_TRUE(dos().Lock("Work:", SHARED_LOCK));
}

TEST_F(DosVolumesTest, OnlyPacketsThatGiveALockAreSent) {
  alignas(4) std::uint8_t name[16];
  ASSERT_TRUE(dos().CopyStringSTRToBSTR("dir", name, 16));
  const PortHandle port = PortOf("DH0:");
  const LockHandle root = MustLock("DH0:");
  EXPECT_EQ(Code(dos().DoPkt(port, QUORLE_ACTION_DELETE_OBJECT, root, name, 0, 0, name)),
            ERROR_ACTION_NOT_KNOWN);
  EXPECT_EQ(Code(dos().DoPkt(port, ACTION_CREATE_DIR, root, nullptr, 0, 0, nullptr)),
            ERROR_ACTION_NOT_KNOWN);
  EXPECT_EQ(Code(dos().DoPkt(port, ACTION_CREATE_DIR, LockHandle{999}, name, 0, 0, name)),
            ERROR_INVALID_LOCK);
  EXPECT_EQ(Code(dos().DoPkt({}, ACTION_CREATE_DIR, root, name, 0, 0, name)),
            ERROR_REQUIRED_ARG_MISSING);
  const LockHandle dir = dos().DoPkt(port, ACTION_CREATE_DIR, {}, name, 0, 0, name);
  ASSERT_TRUE(dir);
  const LockHandle parent = dos().DoPkt(port, QUORLE_ACTION_PARENT, dir, nullptr, 0, 0, nullptr);
  EXPECT_EQ(dos().SameLock(parent, root), LOCK_SAME);
}

TEST_F(DosVolumesTest, APacketsSecondResultIsAlwaysTheCode) {
  alignas(4) std::uint8_t name[16];
  ASSERT_TRUE(dos().CopyStringSTRToBSTR("dir", name, 16));
  const PortHandle port = PortOf("DH0:");
  dos().SetIoErr(kOldCode);
  EXPECT_TRUE(dos().DoPkt(port, ACTION_CREATE_DIR, {}, name, 0, 0, name));
  EXPECT_EQ(dos().IoErr(), 0);
  EXPECT_FALSE(dos().DoPkt(port, ACTION_CREATE_DIR, {}, name, 0, 0, name));
  EXPECT_EQ(dos().IoErr(), ERROR_OBJECT_EXISTS);
}

TEST_F(DosVolumesTest, APacketTextIsCutToFit) {
  std::uint8_t buffer[300];
  EXPECT_TRUE(dos().CopyStringSTRToBSTR("abc", buffer, 5));
  EXPECT_EQ(std::memcmp(buffer, "\3abc", 5), 0);
  EXPECT_FALSE(dos().CopyStringSTRToBSTR("abcd", buffer, 5));
  EXPECT_EQ(std::memcmp(buffer, "\3abc", 5), 0);
  EXPECT_TRUE(dos().CopyStringSTRToBSTR("", buffer, 2));
  EXPECT_EQ(buffer[0], 0);
  EXPECT_FALSE(dos().CopyStringSTRToBSTR("a", buffer, 1));
  EXPECT_EQ(buffer[0], 0);
  EXPECT_FALSE(dos().CopyStringSTRToBSTR("a", buffer, 0));
  const std::string long_text(256, 'x');
  EXPECT_FALSE(dos().CopyStringSTRToBSTR(long_text.c_str(), buffer, sizeof buffer));
  EXPECT_EQ(buffer[0], 255);
  EXPECT_TRUE(dos().CopyStringSTRToBSTR(long_text.c_str() + 1, buffer, sizeof buffer));
  EXPECT_EQ(buffer[0], 255);
}

// ---- The process -------------------------------------------------------------------------------

TEST_F(DosVolumesTest, TheCommandLineFillsTheWords) {
  Build({.arguments = "DH0: NI TN=5"});
  ArgumentWord words[3] = {};
  const RdArgsHandle args = dos().ReadArgs("DEVICE/A,NI/S,TN/K/N", words, {});
  ASSERT_TRUE(args);
  EXPECT_STREQ(words[0].text, "DH0:");
  EXPECT_NE(words[1].flag, 0);
  ASSERT_NE(words[2].number, nullptr);
  EXPECT_EQ(*words[2].number, 5);
  dos().FreeArgs(args);
  EXPECT_EQ(dos().CountOpen().argument_results, 0U);
}

TEST_F(DosVolumesTest, ACommandLineThatDoesNotFitIsRefused) {
  Build({.arguments = ""});
  ArgumentWord words[1] = {};
  EXPECT_EQ(Code(dos().ReadArgs("DEVICE/A", words, {})), ERROR_REQUIRED_ARG_MISSING);
  Build({.arguments = "a b"});
  EXPECT_EQ(Code(dos().ReadArgs("DEVICE/A", words, {})), ERROR_TOO_MANY_ARGS);
  EXPECT_EQ(Code(dos().ReadArgs(nullptr, words, {})), ERROR_REQUIRED_ARG_MISSING);
}

TEST_F(DosVolumesTest, AQuestionMarkAsksOnTheConsole) {
  Build({.arguments = "?"});
  input_.lines = {"DH0:"};
  ArgumentWord words[1] = {};
  ASSERT_TRUE(dos().ReadArgs("DEVICE/A", words, {}));
  EXPECT_STREQ(words[0].text, "DH0:");
  EXPECT_EQ(output_.text, "DEVICE/A: ");
}

TEST_F(DosVolumesTest, TheBreakSignalIsTakenOnce) {
  EXPECT_EQ(dos().CheckSignal(SIGBREAKF_CTRL_C), 0U);
  breaks_.pressed = true;
  EXPECT_EQ(dos().CheckSignal(0x2000), 0U);
  EXPECT_EQ(dos().CheckSignal(0xF000), SIGBREAKF_CTRL_C);
  EXPECT_EQ(dos().CheckSignal(SIGBREAKF_CTRL_C), 0U);
}

TEST_F(DosVolumesTest, TheWindowIsSwapped) {
  EXPECT_EQ(dos().SetProcWindow(kNoRequesters), nullptr);
  EXPECT_EQ(dos().SetProcWindow(nullptr), kNoRequesters);
}

TEST_F(DosVolumesTest, ARequesterGoesToStandardError) {
  EXPECT_EQ(dos().TimedDosRequesterTags(20, "This program is for CLI only.", "OK", 3), 0);
  EXPECT_EQ(errors_.text, "This program is for CLI only.\n");
  EXPECT_EQ(output_.text, "");
}

TEST_F(DosVolumesTest, DatesBecomeText) {
  char text[LEN_DATSTRING];
  DateTime date{{14612, 2, 2}, FORMAT_ISO, 0, nullptr, text, nullptr};
  EXPECT_TRUE(dos().DateToStr(date));
  EXPECT_STREQ(text, "2018-01-03");
  date.dat_Stamp.ds_Days = -1;
  EXPECT_FALSE(dos().DateToStr(date));
}

}  // namespace
}  // namespace quorle
