#include <cstring>

#include "selftest/contract/contract_test.h"

namespace quorle::selftest {
namespace {

constexpr std::int32_t kDosType = 0x51545301;

TEST_P(ContractTest, ThePortShowsItsKind) {
  const PortRecord record = dos().PortRecordOf(port());
  if (GetParam().port == PortType::kVector) {
    EXPECT_EQ(record.node_type, NT_FILESYSTEM);
    EXPECT_EQ(record.version, FS_VECTORPORT_VERSION);
    EXPECT_TRUE(record.word78);
  } else {
    EXPECT_EQ(record.node_type, NT_MSGPORT);
    EXPECT_EQ(record.version, 0U);
    EXPECT_FALSE(record.word78);
  }
  EXPECT_TRUE(dos().IsFileSystem(port()));
}

TEST_P(ContractTest, AFilesystemReportsItsVersionAndType) {
  char version[256] = {};
  std::uint32_t type = 0;
  if (IsClassic()) {
    EXPECT_EQ(Code(dos().FileSystemAttr(port(), version, sizeof version, type)),
              ERROR_ACTION_NOT_KNOWN);
    return;
  }
  EXPECT_TRUE(dos().FileSystemAttr(port(), version, sizeof version, type));
  EXPECT_STREQ(version, "subject 1.2 (3.4.2005)");
  EXPECT_EQ(type, static_cast<std::uint32_t>(kDosType));
}

TEST_P(ContractTest, ATooSmallVersionBufferIsRefused) {
  if (IsClassic()) GTEST_SKIP() << "no classic packet asks for a version";
  char version[23] = {};
  std::uint32_t type = 0;
  EXPECT_TRUE(dos().FileSystemAttr(port(), version, 23, type));
  EXPECT_STREQ(version, "subject 1.2 (3.4.2005)");
  type = 0;
  EXPECT_EQ(Code(dos().FileSystemAttr(port(), version, 22, type)), ERROR_LINE_TOO_LONG);
  EXPECT_EQ(type, static_cast<std::uint32_t>(kDosType));
}

TEST_P(ContractTest, AValidatedVolumeSaysSo) {
  InfoData by_port{};
  InfoData by_name{};
  EXPECT_TRUE(dos().GetDiskInfo(port(), by_port));
  EXPECT_TRUE(dos().GetDiskInfo("DH0:", by_name));
  EXPECT_EQ(std::memcmp(&by_port, &by_name, sizeof by_port), 0);
  EXPECT_EQ(by_port.id_DiskState, ID_DISKSTATE_VALIDATED);
  EXPECT_EQ(by_port.id_DiskType, kDosType);
  EXPECT_NE(by_port.id_VolumeNode, 0U);
}

TEST_P(ContractTest, TheVolumeCountsWhatIsOpen) {
  MakeFile("file");
  InfoData before{};
  EXPECT_TRUE(dos().GetDiskInfo(port(), before));
  MustLock("file");
  MustOpen("file");
  InfoData after{};
  EXPECT_TRUE(dos().GetDiskInfo(port(), after));
  EXPECT_EQ(after.id_InUse, before.id_InUse + 2);
}

TEST_P(ContractTest, WriteProtectionShowsAndGoesAgain) {
  InfoData info{};
  WriteProtect(true);
  EXPECT_TRUE(dos().GetDiskInfo(port(), info));
  EXPECT_EQ(info.id_DiskState, ID_DISKSTATE_WRITE_PROTECTED);
  WriteProtect(false);
  EXPECT_TRUE(dos().GetDiskInfo(port(), info));
  EXPECT_EQ(info.id_DiskState, ID_DISKSTATE_VALIDATED);
}

TEST_P(ContractTest, AKeyThatLocksTheVolumeUnlocksIt) {
  EXPECT_EQ(Code(dos().WriteProtectVolume("DH0:", true, 4711, 0)), 0);
  EXPECT_EQ(Code(dos().WriteProtectVolume("DH0:", false, 4712, 0)), ERROR_BAD_NUMBER);
  EXPECT_EQ(OpenCode("new", MODE_NEWFILE), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().WriteProtectVolume("DH0:", false, 4711, 0)), 0);
  EXPECT_EQ(OpenCode("new", MODE_NEWFILE), 0);
}

TEST_P(ContractTest, AVolumeTakesANewName) {
  char name[256];
  EXPECT_EQ(Code(dos().Relabel("DH0:", "_0_new_name_0_")), 0);
  EXPECT_TRUE(dos().VolNameFromPort(port(), name, sizeof name, false));
  EXPECT_STREQ(name, "_0_new_name_0_");
  EXPECT_EQ(Look(":").name, "_0_new_name_0_");
  EXPECT_EQ(LockCode("_0_NEW_NAME_0_:", SHARED_LOCK), 0);
  EXPECT_EQ(LockCode("Subject Disk:", SHARED_LOCK), ERROR_DEVICE_NOT_MOUNTED);
  EXPECT_EQ(Code(dos().Relabel("DH0:", "Subject Disk")), 0);
  EXPECT_EQ(LockCode("Subject Disk:", SHARED_LOCK), 0);
}

TEST_P(ContractTest, AVolumeTakesNoNameThatIsTaken) {
  for (const char* const name : {"Other Disk", "OTHER", "dh0", "NIL"}) {
    EXPECT_EQ(Code(dos().Relabel("DH0:", name)), ERROR_OBJECT_EXISTS) << name;
    EXPECT_EQ(LockCode("Subject Disk:", SHARED_LOCK), 0) << name;
  }
}

TEST_P(ContractTest, AVolumeTakesNoNameThatIsNone) {
  for (const char* const name : {"", "a:b", "a/b"}) {
    EXPECT_EQ(Code(dos().Relabel("DH0:", name)), ERROR_INVALID_COMPONENT_NAME) << name;
    EXPECT_EQ(LockCode("Subject Disk:", SHARED_LOCK), 0) << name;
  }
}

TEST_P(ContractTest, AVolumeMayHaveNoName) {
  Remount({{"volume", ""}});
  char name[16] = "before";
  EXPECT_NE(Code(dos().VolNameFromPort(port(), name, sizeof name, false)), 0);
  EXPECT_STREQ(name, "");
  EXPECT_TRUE(dos().DevNameFromPort(port(), name, sizeof name, false));
  EXPECT_STREQ(name, "DH0");
  InfoData info{};
  EXPECT_TRUE(dos().GetDiskInfo(port(), info));
  EXPECT_EQ(info.id_VolumeNode, 0U);
}

TEST_P(ContractTest, AVolumeMayBeMountedInAnotherState) {
  InfoData info{};
  Remount({{"state", "validating"}});
  EXPECT_TRUE(dos().GetDiskInfo(port(), info));
  EXPECT_EQ(info.id_DiskState, ID_DISKSTATE_VALIDATING);
  EXPECT_EQ(OpenCode("new", MODE_NEWFILE), ERROR_DISK_NOT_VALIDATED);
  Remount({{"state", "write-protected"}});
  EXPECT_TRUE(dos().GetDiskInfo(port(), info));
  EXPECT_EQ(info.id_DiskState, ID_DISKSTATE_WRITE_PROTECTED);
  EXPECT_EQ(OpenCode("new", MODE_NEWFILE), ERROR_DISK_WRITE_PROTECTED);
}

}  // namespace
}  // namespace quorle::selftest
