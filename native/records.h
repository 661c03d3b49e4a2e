#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/records.h"

/// The platform's records as they lie in its memory: the fields that the program touches under the
/// platform's names, everything between them reserved. The platform aligns nothing to more than two
/// bytes, except where the comment says so.
namespace quorle::native {

/// A pointer divided by four, as the platform passes locks, files and length-prefixed texts.
using Bptr = std::uint32_t;

/// The address of `place` as the platform's 32-bit word.
inline std::uint32_t Word(const void* place) {
  return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(place));
}
/// What stands at an address that the platform gave as a number.
template <class Record>
Record* At(std::uintptr_t address) {
  return reinterpret_cast<Record*>(
      address);  // NOLINT(performance-no-int-to-ptr): that is what it is
}
/// What stands behind a BPTR.
template <class Record>
Record* Behind(std::uintptr_t bptr) {
  return At<Record>(bptr << 2);
}

#pragma pack(push, 2)

struct Node {
  std::uint32_t ln_Succ;
  std::uint32_t ln_Pred;
  std::uint8_t ln_Type;  ///< NT_...
  std::int8_t ln_Pri;
  const char* ln_Name;
};

struct MsgPort {
  Node mp_Node;
  std::uint8_t mp_Flags;
  std::uint8_t mp_SigBit;
  std::uint32_t mp_SigTask;
  std::uint8_t mp_MsgList[14];
};

struct Message {
  Node mn_Node;
  MsgPort* mn_ReplyPort;
  std::uint16_t mn_Length;
};

/// The port of a vector-port filesystem: a message port, and the table behind it. A packet port
/// ends where the table begins.
struct FileSystemVectorPort {
  MsgPort MP;
  std::uint32_t StructSize;
  std::uint32_t Version;
  std::uint8_t reserved_42[36];
  std::uint32_t FSCreateDir;
};

struct LibraryBase {
  Node lib_Node;
  std::uint8_t reserved_14[6];
  Library version;  ///< lib_Version and lib_Revision: the part that the tester sees
  std::uint8_t reserved_24[10];
};

struct Process {
  std::uint8_t pr_Task[92];
  MsgPort pr_MsgPort;
  std::uint8_t reserved_126[46];
  Bptr pr_CLI;  ///< none for a start from the desktop
};

struct DevProcRecord {
  DevProc seen;  ///< dvp_Port: the part that the tester sees
  Bptr dvp_Lock;
  std::uint32_t dvp_Flags;
};

struct FileLockRecord {
  std::uint8_t reserved_0[12];
  MsgPort* fl_Port;
};

struct ExamineDataRecord {
  std::uint8_t EXDnode[8];
  std::uint32_t EXDinfo;
  std::uint8_t reserved_12[12];
  std::uint32_t StructSize;
  std::uint32_t Type;
  std::int64_t FileSize;
  DateStamp Date;
  std::uint32_t RefCount;
  std::uint64_t ObjectID;
  const char* Name;
  std::uint32_t NameSize;
  const char* Comment;
  std::uint32_t CommentSize;
  const char* Link;
  std::uint32_t LinkSize;
  std::uint32_t Protection;
  std::uint32_t OwnerUID;
  std::uint32_t OwnerGID;
  std::uint8_t reserved_100[12];
};

struct DateTimeRecord {
  DateStamp dat_Stamp;
  std::uint8_t dat_Format;
  std::uint8_t dat_Flags;
  char* dat_StrDay;
  char* dat_StrDate;
  char* dat_StrTime;
};

struct TagItem {
  std::uint32_t ti_Tag;
  std::uint32_t ti_Data;
};

struct ExecMain;

struct ExecBase {
  std::uint8_t reserved_0[632];
  ExecMain* MainInterface;
};

#pragma pack(pop)

/// The head of every interface; the methods follow it. Naturally aligned.
struct InterfaceData {
  std::uint8_t reserved_0[60];
};

// The offsets hold for the platform's 32-bit pointers only.
static_assert(sizeof(void*) == 4);
static_assert(sizeof(Node) == 14);
static_assert(offsetof(Node, ln_Type) == 8);
static_assert(sizeof(MsgPort) == 34);
static_assert(sizeof(Message) == 20);
static_assert(offsetof(FileSystemVectorPort, Version) == 38);
static_assert(offsetof(FileSystemVectorPort, FSCreateDir) == 78);
static_assert(offsetof(LibraryBase, version) == 20);
static_assert(sizeof(Library) == 4);
static_assert(offsetof(Library, lib_Revision) == 2);
static_assert(sizeof(LibraryBase) == 34);
static_assert(offsetof(Process, pr_MsgPort) == 92);
static_assert(offsetof(Process, pr_CLI) == 172);
static_assert(sizeof(DevProc) == 4);
static_assert(sizeof(DevProcRecord) == 12);
static_assert(offsetof(FileLockRecord, fl_Port) == 12);
static_assert(offsetof(ExamineDataRecord, StructSize) == 24);
static_assert(offsetof(ExamineDataRecord, Type) == 28);
static_assert(offsetof(ExamineDataRecord, FileSize) == 32);
static_assert(offsetof(ExamineDataRecord, Date) == 40);
static_assert(offsetof(ExamineDataRecord, RefCount) == 52);
static_assert(offsetof(ExamineDataRecord, ObjectID) == 56);
static_assert(offsetof(ExamineDataRecord, Name) == 64);
static_assert(offsetof(ExamineDataRecord, Comment) == 72);
static_assert(offsetof(ExamineDataRecord, Link) == 80);
static_assert(offsetof(ExamineDataRecord, Protection) == 88);
static_assert(offsetof(ExamineDataRecord, OwnerUID) == 92);
static_assert(offsetof(ExamineDataRecord, OwnerGID) == 96);
static_assert(sizeof(ExamineDataRecord) == 112);
static_assert(offsetof(DateTimeRecord, dat_StrDay) == 14);
static_assert(offsetof(DateTimeRecord, dat_StrDate) == 18);
static_assert(offsetof(DateTimeRecord, dat_StrTime) == 22);
static_assert(sizeof(DateTimeRecord) == 26);
static_assert(sizeof(TagItem) == 8);
static_assert(offsetof(ExecBase, MainInterface) == 632);
static_assert(sizeof(InterfaceData) == 60);
// These are the tester's own, and lie in the platform's memory as they are.
static_assert(sizeof(InfoData) == 36);
static_assert(offsetof(InfoData, id_DiskState) == 8);
static_assert(offsetof(InfoData, id_DiskType) == 24);
static_assert(sizeof(DateStamp) == 12);
static_assert(sizeof(ArgumentWord) == 4);

}  // namespace quorle::native
