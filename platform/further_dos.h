#pragma once

#include <cstdint>

#include "platform/exec.h"
#include "platform/handles.h"
#include "platform/records.h"

namespace quorle {

/// The name under which `GetInterface()` gives a FurtherDosInterface for dos.library; version 1. A choice
/// of ours: on the platform all of it is in one interface.
inline constexpr const char* kFurtherInterface = "further";

/// dos.library: what the standard catalogue has no use for. The conventions are those of DosInterface,
/// the error code is read there. Where a handler does not know an operation (209) that dos can do by
/// itself, record locks and notification, dos does; WasEmulated() says so.
class FurtherDosInterface : public Interface {
 public:
  // ---- Scans of a directory --------------------------------------------------------------------

  /// Begins a scan of the directory of `lock`, which stays the caller's; `tag` is EX_LockInput. That it
  /// is a directory is found out by the first ExamineDir().
  virtual DirContextHandle ObtainDirContext(std::uint32_t tag, LockHandle lock) = 0;
  /// The same by name; `tag` is EX_StringNameInput.
  virtual DirContextHandle ObtainDirContext(std::uint32_t tag, const char* name) = 0;
  /// The next object; null with 232 at the end, with 212 for what is no directory. The record is dos's:
  /// it is valid until the next call for `context`.
  virtual const ExamineData* ExamineDir(DirContextHandle context) = 0;
  /// Ends the scan; none is allowed. Leaves `IoErr()` alone.
  virtual void ReleaseDirContext(DirContextHandle context) = 0;

  // ---- Files -----------------------------------------------------------------------------------

  /// How the files of two handles relate: LOCK_SAME, LOCK_SAME_VOLUME or LOCK_DIFFERENT.
  virtual std::int32_t SameFile(FileHandle a, FileHandle b) = 0;
  /// Locks `length` bytes from `offset`, which may lie beyond the end, in a REC_... mode. 241 when others
  /// have a part of it and the mode is immediate, else 242 after `ticks` ticks.
  virtual bool LockRecord(FileHandle file, std::int64_t offset, std::int64_t length,
                          std::uint32_t mode, std::uint32_t ticks) = 0;
  /// Releases exactly what one LockRecord() of `file` locked; 240 when there is none such.
  virtual bool UnLockRecord(FileHandle file, std::int64_t offset, std::int64_t length) = 0;

  // ---- Notification ----------------------------------------------------------------------------

  /// Waits for changes of the object `name`, which need not exist; `flags` are NRF_...
  virtual NotifyHandle StartNotify(const char* name, std::uint32_t flags) = 0;
  /// Ends that; messages that were not taken are gone. None is allowed. Leaves `IoErr()` alone.
  virtual void EndNotify(NotifyHandle request) = 0;
  /// The next message of `request` (NRF_SEND_MESSAGE), or none.
  virtual MessageHandle GetNotifyMsg(NotifyHandle request) = 0;
  /// Gives `message` back: the next one may come (NRF_WAIT_REPLY).
  virtual void ReplyNotifyMsg(MessageHandle message) = 0;
  /// Whether the signal of `request` (NRF_SEND_SIGNAL) was set; it is cleared.
  virtual bool CheckNotifySignal(NotifyHandle request) = 0;

  // ---- Volumes; `device` is the name of a device with its colon --------------------------------

  /// Has everything that was written brought to the medium.
  virtual bool Flush(const char* device) = 0;
  /// What the volume says of itself; 226 without one.
  virtual bool VolumeInfoData(const char* device, InfoData& info) = 0;
  /// Asks for one number: `tag` is FSA_...; 236 for a tag that the handler does not know.
  virtual bool FileSystemAttr(const char* device, std::uint32_t tag, std::uint32_t& value) = 0;
  /// Keeps everybody off the volume (202), or lets them back, which always succeeds. Nested. A name that
  /// is not a device's is refused with 218.
  virtual bool Inhibit(const char* device, bool on) = 0;
  /// Gives the volume another date, so that it is never taken for a copy.
  virtual bool Serialize(const char* device) = 0;
  /// Empties the volume and calls it `volume`. Only while it is inhibited, else 202.
  virtual bool Format(const char* device, const char* volume, std::uint32_t dos_type) = 0;
  /// Ends the filesystem of `device` and starts it again. `root`, a lock on its root, stays valid, and so does
  /// the current directory when it is that lock; all else that is open there goes back before, and its handles
  /// become stale. 236 where it cannot be started again: nothing has happened then; 218 when it is gone.
  virtual bool Remount(const char* device, LockHandle root) = 0;

  // ---- No operation ----------------------------------------------------------------------------

  /// Whether dos itself did what the last call asked for, since the handler does not know how.
  virtual bool WasEmulated() const = 0;

 protected:
  ~FurtherDosInterface() = default;
};

}  // namespace quorle
