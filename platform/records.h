#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/handles.h"

/// The platform's records, with the fields that the tester reads. Strings are zero-ended Latin-1.
namespace quorle {

/// A moment: days since 1 January 1978, minutes since midnight, ticks (1/50 s) since the minute.
struct DateStamp {
  std::int32_t ds_Days;
  std::int32_t ds_Minute;
  std::int32_t ds_Tick;
};
static_assert(sizeof(DateStamp) == 12);

/// What `GetDiskInfo()` fills. Nine 32-bit words on the platform; the last two are of its own use.
struct InfoData {
  std::int32_t id_NumSoftErrors;
  std::int32_t id_UnitNumber;
  std::int32_t id_DiskState;  ///< ID_DISKSTATE_...
  std::int32_t id_NumBlocks;
  std::int32_t id_NumBlocksUsed;
  std::int32_t id_BytesPerBlock;
  std::int32_t id_DiskType;  ///< a DOS type, four bytes, most significant first
  std::uint32_t id_VolumeNode;
  std::uint32_t id_InUse;
};
static_assert(sizeof(InfoData) == 36);

/// What is known of one object, from `ExamineObject()`. The platform owns it until `FreeDosObject()`.
/// The strings are never null.
struct ExamineData {
  std::uint32_t Type;     ///< FSO_TYPE_... in the low byte, flags above it
  std::int64_t FileSize;  ///< bytes; -1 when the object is not a file
  DateStamp Date;
  std::uint32_t RefCount;  ///< 0: not supported; 1: no further link to the object
  std::uint64_t ObjectID;
  const char* Name;
  const char* Comment;
  const char* Link;
  std::uint32_t Protection;  ///< EXDF_... bits
  std::uint32_t OwnerUID;
  std::uint32_t OwnerGID;
};

/// A running process, from `FindTask()`.
struct Process {
  bool cli;         ///< started from a shell; false: from the desktop
  PortHandle port;  ///< where the start-up message of a desktop start arrives
};

/// An open library, from `OpenLibrary()`.
struct Library {
  std::uint16_t lib_Version;
  std::uint16_t lib_Revision;
};

/// The handler behind a name, from `GetDeviceProc()`.
struct DevProc {
  PortHandle dvp_Port;
};

/// What stands in a handler's port.
struct PortRecord {
  std::uint8_t node_type;  ///< NT_FILESYSTEM: a vector port; NT_MSGPORT: packets only
  std::uint32_t version;   ///< of the vector table; 0 for a packet port
  bool word78;             ///< the 32-bit word at byte 78 is not zero; false for a packet port
};

/// What stands behind a lock.
struct FileLock {
  PortHandle fl_Port;  ///< the port of the handler that granted the lock
};

/// One word of the array that `ReadArgs()` fills. Which member counts is said by the template: text
/// for a plain argument, flag for /S, number (null when absent) for /N.
union ArgumentWord {
  const char* text;
  std::intptr_t flag;
  const std::int32_t* number;
};
static_assert(sizeof(ArgumentWord) == sizeof(void*));

/// What `DateToStr()` converts. A null buffer asks for nothing; a buffer holds 16 bytes.
struct DateTime {
  DateStamp dat_Stamp;
  std::uint8_t dat_Format;  ///< FORMAT_...
  std::uint8_t dat_Flags;
  char* dat_StrDay;
  char* dat_StrDate;
  char* dat_StrTime;
};

}  // namespace quorle
