#include "explore/operation.h"

#include <algorithm>

namespace quorle::explore {
namespace {

using enum Argument;

constexpr auto kTable = std::to_array<OperationRow>({
    {Operation::kOpen, "open", "Open", {kName, kOpenMode}, Result::kFile},
    {Operation::kClose, "close", "Close", {kFile}, Result::kTruth},
    {Operation::kRead, "read", "Read", {kFile, kCount}, Result::kData},
    {Operation::kWrite, "write", "Write", {kFile, kData}, Result::kNumber},
    {Operation::kChangeFilePosition,
     "change-file-position",
     "ChangeFilePosition",
     {kFile, kPosition, kOffsetMode},
     Result::kTruth},
    {Operation::kGetFilePosition, "get-file-position", "GetFilePosition", {kFile}, Result::kNumber},
    {Operation::kChangeFileSize,
     "change-file-size",
     "ChangeFileSize",
     {kFile, kPosition, kOffsetMode},
     Result::kTruth},
    {Operation::kGetFileSize, "get-file-size", "GetFileSize", {kFile}, Result::kNumber},
    {Operation::kChangeLockMode,
     "change-lock-mode",
     "ChangeMode",
     {kChangeLockWord, kLock, kLockMode},
     Result::kTruth},
    {Operation::kChangeFileMode,
     "change-file-mode",
     "ChangeMode",
     {kChangeFileWord, kFile, kLockMode},
     Result::kTruth},
    {Operation::kLock, "lock", "Lock", {kName, kLockMode}, Result::kLock},
    {Operation::kUnLock, "unlock", "UnLock", {kLock}, Result::kNothing},
    {Operation::kDupLock, "dup-lock", "DupLock", {kLock}, Result::kLock},
    {Operation::kDupLockFromFH, "dup-lock-from-fh", "DupLockFromFH", {kFile}, Result::kLock},
    {Operation::kOpenFromLock, "open-from-lock", "OpenFromLock", {kLock}, Result::kFile},
    {Operation::kParentDir, "parent-dir", "ParentDir", {kLock}, Result::kLock},
    {Operation::kParentOfFH, "parent-of-fh", "ParentOfFH", {kFile}, Result::kLock},
    {Operation::kSameLock, "same-lock", "SameLock", {kLock, kLock}, Result::kRelation},
    {Operation::kSetCurrentDir, "set-current-dir", "SetCurrentDir", {kLock}, Result::kNothing},
    {Operation::kCreateDir, "create-dir", "CreateDir", {kName}, Result::kLock},
    {Operation::kCreateDirTree, "create-dir-tree", "CreateDirTree", {kName}, Result::kLock},
    {Operation::kDelete, "delete", "Delete", {kName}, Result::kTruth},
    {Operation::kRename, "rename", "Rename", {kName, kName}, Result::kTruth},
    {Operation::kMakeHardLink,
     "make-hard-link",
     "MakeLink",
     {kName, kLock, kHardWord},
     Result::kTruth},
    {Operation::kMakeSoftLink,
     "make-soft-link",
     "MakeLink",
     {kName, kText, kSoftWord},
     Result::kTruth},
    {Operation::kReadSoftLink,
     "read-soft-link",
     "ReadSoftLink",
     {kLock, kName, kCount},
     Result::kText},
    {Operation::kSetComment, "set-comment", "SetComment", {kName, kText}, Result::kTruth},
    {Operation::kSetProtection, "set-protection", "SetProtection", {kName, kMask}, Result::kTruth},
    {Operation::kSetDate, "set-date", "SetDate", {kName, kDate}, Result::kTruth},
    {Operation::kSetOwner, "set-owner", "SetOwnerInfo", {kName, kOwnerWord, kId}, Result::kTruth},
    {Operation::kSetGroup, "set-group", "SetOwnerInfo", {kName, kGroupWord, kId}, Result::kTruth},
    {Operation::kExamineName,
     "examine-name",
     "ExamineObject",
     {kStringNameWord, kName},
     Result::kRecord},
    {Operation::kExamineObject,
     "examine-object",
     "ExamineObject",
     {kObjectNameWord, kName},
     Result::kRecord},
    {Operation::kExamineFile,
     "examine-file",
     "ExamineObject",
     {kFileHandleWord, kFile},
     Result::kRecord},
    {Operation::kExamineLock, "examine-lock", "ExamineObject", {kLockWord, kLock}, Result::kRecord},
    {Operation::kScanLock, "scan-lock", "ObtainDirContext", {kLockWord, kLock}, Result::kScan},
    {Operation::kScanName,
     "scan-name",
     "ObtainDirContext",
     {kStringNameWord, kName},
     Result::kScan},
    {Operation::kExamineDir, "examine-dir", "ExamineDir", {kScan}, Result::kRecord},
    {Operation::kReleaseScan, "release-scan", "ReleaseDirContext", {kScan}, Result::kNothing},
    {Operation::kSameFile, "same-file", "SameFile", {kFile, kFile}, Result::kRelation},
    {Operation::kLockRecord,
     "lock-record",
     "LockRecord",
     {kFile, kPosition, kPosition, kRecordMode, kCount},
     Result::kTruth},
    {Operation::kUnLockRecord,
     "unlock-record",
     "UnLockRecord",
     {kFile, kPosition, kPosition},
     Result::kTruth},
    {Operation::kStartNotify,
     "start-notify",
     "StartNotify",
     {kName, kNotifyFlags},
     Result::kRequest},
    {Operation::kEndNotify, "end-notify", "EndNotify", {kRequest}, Result::kNothing},
    {Operation::kGetNotifyMsg, "get-notify-msg", "GetNotifyMsg", {kRequest}, Result::kNumber},
    {Operation::kDiskInfo, "get-disk-info", "GetDiskInfo", {}, Result::kInfo},
    {Operation::kVolumeInfo, "volume-info", "VolumeInfoData", {}, Result::kInfo},
    {Operation::kFileSystemAttr, "file-system-attr", "FileSystemAttr", {kTag}, Result::kNumber},
    {Operation::kFlush, "flush", "Flush", {}, Result::kTruth},
    {Operation::kInhibit, "inhibit", "Inhibit", {kTruth}, Result::kTruth},
    {Operation::kWriteProtect,
     "write-protect",
     "WriteProtectVolume",
     {kTruth, kId},
     Result::kTruth},
    {Operation::kRelabel, "relabel", "Relabel", {kText}, Result::kTruth},
    {Operation::kMakeFiles, "make-files", "MakeFiles", {kName, kCount}, Result::kNumber},
});

constexpr bool IsInOrder() {
  for (std::size_t i = 0; i != kTable.size(); ++i) {
    if (static_cast<std::size_t>(kTable[i].operation) != i) return false;
  }
  return kTable.size() == kOperations;
}
static_assert(IsInOrder(), "a row for each operation, in the order of the enumeration");

}  // namespace

std::span<const Argument> OperationRow::Arguments() const {
  const auto end = std::find(arguments.begin(), arguments.end(), kNone);
  return {arguments.data(), static_cast<std::size_t>(end - arguments.begin())};
}

std::span<const OperationRow> Operations() {
  return kTable;
}

const OperationRow& RowOf(Operation operation) {
  return kTable[static_cast<std::size_t>(operation)];
}

}  // namespace quorle::explore
