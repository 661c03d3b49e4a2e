#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace quorle::explore {

/// What a search calls: every operation of the platform that touches a volume. Where one operation of the
/// platform takes different things each way is one here.
enum class Operation : std::uint8_t {
  // Files.
  kOpen,
  kClose,
  kRead,
  kWrite,
  kChangeFilePosition,
  kGetFilePosition,
  kChangeFileSize,
  kGetFileSize,
  kChangeLockMode,
  kChangeFileMode,
  // Locks.
  kLock,
  kUnLock,
  kDupLock,
  kDupLockFromFH,
  kOpenFromLock,
  kParentDir,
  kParentOfFH,
  kSameLock,
  kSetCurrentDir,
  // Objects.
  kCreateDir,
  kCreateDirTree,
  kDelete,
  kRename,
  kMakeHardLink,
  kMakeSoftLink,
  kReadSoftLink,
  kSetComment,
  kSetProtection,
  kSetDate,
  kSetOwner,
  kSetGroup,
  kExamineName,
  kExamineObject,
  kExamineFile,
  kExamineLock,
  // Scans, and what the second interface has for files.
  kScanLock,
  kScanName,
  kExamineDir,
  kReleaseScan,
  kSameFile,
  kLockRecord,
  kUnLockRecord,
  // Notification.
  kStartNotify,
  kEndNotify,
  kGetNotifyMsg,
  // The volume.
  kDiskInfo,
  kVolumeInfo,
  kFileSystemAttr,
  kFlush,
  kInhibit,
  kWriteProtect,
  kRelabel,
  // Many calls in one: so many empty files, made one by one.
  kMakeFiles,
};

inline constexpr std::size_t kOperations = static_cast<std::size_t>(Operation::kMakeFiles) + 1;

/// What stands at one place between the parentheses.
enum class Argument : std::uint8_t {
  kNone,     ///< ends a list of arguments
  kName,     ///< a path, relative to the current directory
  kText,     ///< a comment, the target of a soft link, the name of a volume
  kLock,     ///< an object by its number; 0: none
  kFile,     ///< the same
  kScan,     ///< the same
  kRequest,  ///< the same
  kData,     ///< bytes to write: how many, and of which pattern
  kDate,
  kCount,        ///< how many bytes, or files; 32 bits
  kPosition,     ///< a position, size or length in bytes; 64 bits
  kOpenMode,     ///< MODE_...
  kLockMode,     ///< SHARED_LOCK, EXCLUSIVE_LOCK
  kOffsetMode,   ///< OFFSET_...
  kRecordMode,   ///< REC_...
  kNotifyFlags,  ///< NRF_...
  kMask,         ///< EXDF_...
  kId,           ///< an owner, a group, a key
  kTag,          ///< FSA_...
  kTruth,        ///< TRUE, FALSE
  // Constants: they choose among the ways of an operation, and nothing is drawn for them.
  kChangeLockWord,  ///< CHANGE_LOCK
  kChangeFileWord,  ///< CHANGE_FH
  kHardWord,        ///< LINK_HARD
  kSoftWord,        ///< LINK_SOFT
  kOwnerWord,       ///< OI_OwnerUID
  kGroupWord,       ///< OI_OwnerGID
  kStringNameWord,  ///< EX_StringNameInput
  kObjectNameWord,  ///< EX_ObjectNameInput
  kFileHandleWord,  ///< EX_FileHandleInput
  kLockWord,        ///< EX_LockInput
};

/// What comes back.
enum class Result : std::uint8_t {
  kTruth,     ///< TRUE, or FALSE and a code
  kLock,      ///< an object, or 0 and a code
  kFile,      ///< the same
  kScan,      ///< the same
  kRequest,   ///< the same
  kRecord,    ///< what ExamineObject() gives, or 0 and a code
  kNumber,    ///< a number, or -1 and a code
  kData,      ///< the bytes that were read, or -1 and a code
  kText,      ///< a text and its length, or -1 (-2) and a code
  kRelation,  ///< LOCK_...; never refused
  kInfo,      ///< what a volume says of itself, or FALSE and a code
  kNothing,   ///< never refused
};

/// One operation, as it is written, parsed, drawn and made.
struct OperationRow {
  static constexpr std::size_t kMostArguments = 5;

  Operation operation;
  std::string_view id;    ///< unique, as the ids of differences begin: "examine-lock"
  std::string_view name;  ///< the platform's, as it is written: "ExamineObject"
  std::array<Argument, kMostArguments> arguments;
  Result result;

  std::span<const Argument> Arguments() const;
};

/// All of them, in the order of the enumeration.
std::span<const OperationRow> Operations();
const OperationRow& RowOf(Operation operation);

/// Whether an argument is an object by its number.
constexpr bool IsObject(Argument argument) {
  return argument >= Argument::kLock && argument <= Argument::kRequest;
}
/// Whether an argument is a constant that belongs to the operation.
constexpr bool IsWord(Argument argument) {
  return argument >= Argument::kChangeLockWord;
}
/// Whether a result is an object, which gets a number.
constexpr bool IsObject(Result result) {
  return result >= Result::kLock && result <= Result::kRequest;
}

}  // namespace quorle::explore
