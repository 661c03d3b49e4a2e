#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "platform/exec.h"
#include "platform/format.h"
#include "platform/handles.h"
#include "platform/records.h"

namespace quorle {

/// dos.library: every operation on files, locks, objects and volumes, console output, error codes.
///
/// Conventions. An operation that fails returns zero (false, null, no handle) unless its comment
/// says otherwise, and `IoErr()` then says why (ERROR_...). An operation that succeeds leaves
/// `IoErr()` alone, with the exceptions that are named. Names are resolved against the current
/// directory ("" is the current directory itself, ":" the root of its volume, a leading "/" its
/// parent), or against the device, volume or assign before their colon.
class DosInterface : public Interface {
 public:
  // ---- Files ---------------------------------------------------------------------------------

  /// Opens `name` in a MODE_... A directory is refused with 212.
  virtual FileHandle Open(const char* name, std::int32_t mode) = 0;
  /// Closes `file`, which is gone even when the result is false. No file: false, nothing happens.
  virtual bool Close(FileHandle file) = 0;
  /// Reads up to `bytes` bytes at the position. Returns the count, 0 at the end, -1 on failure.
  virtual std::int32_t Read(FileHandle file, void* buffer, std::int32_t bytes) = 0;
  /// Writes `bytes` bytes at the position. Returns the count, or -1 on failure.
  virtual std::int32_t Write(FileHandle file, const void* data, std::int32_t bytes) = 0;
  /// Moves the position to `position` bytes from where `mode` (OFFSET_...) says. A move outside the
  /// file is refused with 219.
  virtual bool ChangeFilePosition(FileHandle file, std::int64_t position, std::int32_t mode) = 0;
  /// The position in bytes, or -1.
  virtual std::int64_t GetFilePosition(FileHandle file) = 0;
  /// Makes the file `size` bytes long, counted from where `mode` (OFFSET_...) says.
  virtual bool ChangeFileSize(FileHandle file, std::int64_t size, std::int32_t mode) = 0;
  /// The size in bytes, or -1.
  virtual std::int64_t GetFileSize(FileHandle file) = 0;
  /// Changes the mode of a lock (`type` CHANGE_LOCK) to SHARED_LOCK or EXCLUSIVE_LOCK.
  virtual bool ChangeMode(std::int32_t type, LockHandle lock, std::int32_t mode) = 0;
  /// Changes the mode of a file handle (`type` CHANGE_FH) to SHARED_LOCK or EXCLUSIVE_LOCK.
  virtual bool ChangeMode(std::int32_t type, FileHandle file, std::int32_t mode) = 0;

  // ---- Locks ---------------------------------------------------------------------------------

  /// Locks `name` in SHARED_LOCK or EXCLUSIVE_LOCK mode.
  virtual LockHandle Lock(const char* name, std::int32_t mode) = 0;
  /// Releases `lock`; none is allowed.
  virtual void UnLock(LockHandle lock) = 0;
  /// A second lock on the same object. An exclusive lock is refused with 202.
  virtual LockHandle DupLock(LockHandle lock) = 0;
  /// A lock on the object that `file` has open.
  virtual LockHandle DupLockFromFH(FileHandle file) = 0;
  /// Opens the file that `lock` refers to. On success the lock belongs to the handle.
  virtual FileHandle OpenFromLock(LockHandle lock) = 0;
  /// A shared lock on the directory that holds the object. Sets `IoErr()` also when it gives none:
  /// 0 for the root, which has no parent.
  virtual LockHandle ParentDir(LockHandle lock) = 0;
  /// A shared lock on the directory that holds the open file.
  virtual LockHandle ParentOfFH(FileHandle file) = 0;
  /// How two locks relate: LOCK_SAME, LOCK_SAME_VOLUME or LOCK_DIFFERENT.
  virtual std::int32_t SameLock(LockHandle a, LockHandle b) = 0;
  /// Makes `lock` the current directory and returns the previous one. Neither is released.
  virtual LockHandle SetCurrentDir(LockHandle lock) = 0;

  // ---- Objects, links, attributes ------------------------------------------------------------

  /// Makes a directory and returns a lock on it.
  virtual LockHandle CreateDir(const char* name) = 0;
  /// Makes every missing level of `path` and returns a lock on the last one.
  virtual LockHandle CreateDirTree(const char* path) = 0;
  virtual bool Delete(const char* name) = 0;
  virtual bool Rename(const char* old_name, const char* new_name) = 0;
  /// Makes a hard link (`kind` LINK_HARD) to the object of `target`, which stays the caller's.
  virtual bool MakeLink(const char* name, LockHandle target, std::int32_t kind) = 0;
  /// Makes a soft link (`kind` LINK_SOFT) that holds the path `target`.
  virtual bool MakeLink(const char* name, const char* target, std::int32_t kind) = 0;
  /// Reads the path that the soft link `name`, relative to `lock`, holds into `buffer`. Returns its
  /// length in bytes; -1 on failure; -2 with 120 when `size` bytes are too few.
  virtual std::int32_t ReadSoftLink(PortHandle port, LockHandle lock, const char* name,
                                    char* buffer, std::int32_t size) = 0;
  virtual bool SetComment(const char* name, const char* comment) = 0;
  /// Sets all 32 protection bits (EXDF_...).
  virtual bool SetProtection(const char* name, std::uint32_t mask) = 0;
  virtual bool SetDate(const char* name, const quorle::DateStamp& date) = 0;
  /// Sets the owner (`id_tag` OI_OwnerUID) or the group (OI_OwnerGID) of `name`.
  virtual bool SetOwnerInfo(const char* name, std::uint32_t id_tag, std::uint32_t id) = 0;
  /// The current moment. Leaves its seconds since 1978 in `IoErr()`, as the platform does.
  virtual void DateStamp(quorle::DateStamp& now) = 0;

  /// Examines an object by name: `tag` EX_StringNameInput (through a lock, links followed) or
  /// EX_ObjectNameInput (the object itself). The record is the caller's until `FreeDosObject()`.
  virtual const ExamineData* ExamineObject(std::uint32_t tag, const char* name) = 0;
  /// The same through an open file; `tag` is EX_FileHandleInput.
  virtual const ExamineData* ExamineObject(std::uint32_t tag, FileHandle file) = 0;
  /// The same through a lock; `tag` is EX_LockInput.
  virtual const ExamineData* ExamineObject(std::uint32_t tag, LockHandle lock) = 0;
  /// Frees what `ExamineObject()` gave (`type` DOS_EXAMINEDATA); null is allowed. Leaves `IoErr()` alone.
  virtual void FreeDosObject(std::uint32_t type, const ExamineData* data) = 0;

  // ---- Volumes and handlers ------------------------------------------------------------------

  /// The handler behind the device, volume or assign of `name`; `previous` is always null.
  virtual const DevProc* GetDeviceProc(const char* name, const DevProc* previous) = 0;
  /// Gives a DevProc back; null is allowed. Leaves `IoErr()` alone.
  virtual void FreeDeviceProc(const DevProc* devproc) = 0;
  /// Whether the handler of `port` is a filesystem.
  virtual bool IsFileSystem(PortHandle port) = 0;
  /// The device name of a handler into `buffer` of `size` bytes; 120 when it does not fit.
  virtual bool DevNameFromPort(PortHandle port, char* buffer, std::uint32_t size,
                               bool add_colon) = 0;
  /// The volume name of a handler into `buffer`; fails, with the buffer empty, when it has none.
  virtual bool VolNameFromPort(PortHandle port, char* buffer, std::uint32_t size,
                               bool add_colon) = 0;
  /// Asks a filesystem for its version text and its DOS type. What it does not fill stays as it was.
  virtual bool FileSystemAttr(PortHandle port, char* version, std::uint32_t version_size,
                              std::uint32_t& dos_type) = 0;
  /// The disk information of a handler.
  virtual bool GetDiskInfo(PortHandle port, InfoData& info) = 0;
  /// The disk information of the handler of a device, no volume required.
  virtual bool GetDiskInfo(const char* device, InfoData& info) = 0;
  /// Renames the volume in `device` (with its colon) to `volume` (without).
  virtual bool Relabel(const char* device, const char* volume) = 0;
  /// Switches the write protection of the volume in `device`. `key` and `reserved` are 0.
  virtual bool WriteProtectVolume(const char* device, bool on, std::uint32_t key,
                                  std::uint32_t reserved) = 0;
  /// Sets the window for system requesters and returns the previous one; kNoRequesters: none appear.
  virtual void* SetProcWindow(void* window) = 0;

  /// Sends a packet straight to a handler and returns its first result, here a lock; `IoErr()` is
  /// its second result, whatever the first is. `name` and `arg5` are length-prefixed texts at
  /// addresses that 4 divides.
  virtual LockHandle DoPkt(PortHandle port, std::int32_t action, LockHandle lock,
                           const std::uint8_t* name, std::int32_t arg3, std::int32_t arg4,
                           const std::uint8_t* arg5) = 0;
  /// Copies `text` into `buffer` of `size` bytes as a length byte and its characters, cut to fit.
  /// Returns false when it was cut.
  virtual bool CopyStringSTRToBSTR(const char* text, std::uint8_t* buffer, std::uint32_t size) = 0;

  // ---- Records in place ----------------------------------------------------------------------
  // Reads of fields that stand in the platform's memory; no operations, they cannot fail.

  virtual FileLock FileLockOf(LockHandle lock) = 0;
  virtual PortRecord PortRecordOf(PortHandle port) = 0;

  // ---- Command line, output, errors, signals -------------------------------------------------

  /// Parses the command line by `argument_template` into `words`, one word for each of its fields.
  /// The words stay valid until `FreeArgs()`.
  virtual RdArgsHandle ReadArgs(const char* argument_template, ArgumentWord* words,
                                RdArgsHandle rdargs) = 0;
  /// Frees the results of `ReadArgs()`; none is allowed.
  virtual void FreeArgs(RdArgsHandle rdargs) = 0;

  /// Prints a message; "%n" and "%m" show the current error code and its text. Leaves `IoErr()` alone.
  template <class... Args>
  void Printf(CheckedFormat<std::type_identity_t<Args>...> format, const Args&... args) {
    const FormatArgument list[sizeof...(Args) + 1] = {FormatArgument(args)..., FormatArgument()};
    VPrintf(format.text, list, sizeof...(Args));
  }
  /// The list form of `Printf()`.
  virtual void VPrintf(const char* format, const FormatArgument* args, std::size_t count) = 0;
  /// Prints `text` as it stands. Leaves `IoErr()` alone.
  virtual void PutStr(const char* text) = 0;

  /// The error code of the last failure.
  virtual std::int32_t IoErr() = 0;
  virtual void SetIoErr(std::int32_t code) = 0;
  /// The signals of `mask` (SIGBREAKF_...) that were set; they are cleared.
  virtual std::uint32_t CheckSignal(std::uint32_t mask) = 0;
  /// Waits `ticks` ticks.
  virtual void Delay(std::uint32_t ticks) = 0;
  /// Shows a requester for at most `timeout` seconds. Returns the button's number, 0 for the last.
  virtual std::int32_t TimedDosRequesterTags(std::uint32_t timeout, const char* body,
                                             const char* buttons, std::int32_t image) = 0;
  /// Turns a date into text. False for a date that is none.
  virtual bool DateToStr(DateTime& date) = 0;

 protected:
  ~DosInterface() = default;
};

/// The window value for `SetProcWindow()` that switches system requesters off: -1.
inline void* const kNoRequesters =
    reinterpret_cast<void*>(~std::uintptr_t{0});  // NOLINT: the platform's value is no address

}  // namespace quorle
