#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>

#include "hosted/dos/dos_listener.h"
#include "hosted/dos/handle_table.h"
#include "hosted/dos/hosted_dos.h"
#include "hosted/dos/notifications.h"
#include "hosted/dos/record_locks.h"
#include "platform/further_dos.h"

namespace quorle {

/// The rest of dos.library on Linux, over the same names, handles and error code as HostedDos.
///
/// What handlers answer with 209 and dos does itself:
/// - Record locks bind the handles that lock records, by the file's object number, or its path where it has
///   none. Nobody releases a record while another waits, as there is one program: a wait is over when the
///   ticks are. Who locks a part of his own record collides with himself. (Both are choices of ours.)
/// - Notification follows what this program does through dos: an object that is made, deleted, renamed from
///   or to a name, closed after it was written or made longer or shorter, or given another attribute. A
///   request for a directory is notified of its entries too, but for their attributes, and each request once
///   for a change, whatever of it it watches. (Which changes of an entry count is a choice of ours, the same
///   as of handlers/ram.) Objects are known by their paths: what is done by another hard link of an object is
///   not seen. A file that was made while nobody watched counts as changed when it is closed.
class HostedFurtherDos final : public FurtherDosInterface, private DosListener {
 public:
  /// All references must outlive this. It is the listener of `dos`.
  HostedFurtherDos(HostedDos& dos, HandleNumbers& numbers);
  /// Gives back what the program left open.
  ~HostedFurtherDos();
  HostedFurtherDos(const HostedFurtherDos&) = delete;
  HostedFurtherDos& operator=(const HostedFurtherDos&) = delete;

  /// From now on Remount() mounts `port` again. Of another it is refused: its volume may not outlive the mount.
  void AllowRemount(const HandlerPort& port) { remountable_.insert(&port); }
  /// Ends all scans and requests; their handles become stale. Before HostedDos releases what is open.
  void ReleaseEverything();

  DirContextHandle ObtainDirContext(std::uint32_t tag, LockHandle lock) override;
  DirContextHandle ObtainDirContext(std::uint32_t tag, const char* name) override;
  const ExamineData* ExamineDir(DirContextHandle context) override;
  void ReleaseDirContext(DirContextHandle context) override;
  std::int32_t SameFile(FileHandle a, FileHandle b) override;
  bool LockRecord(FileHandle file, std::int64_t offset, std::int64_t length, std::uint32_t mode,
                  std::uint32_t ticks) override;
  bool UnLockRecord(FileHandle file, std::int64_t offset, std::int64_t length) override;
  NotifyHandle StartNotify(const char* name, std::uint32_t flags) override;
  void EndNotify(NotifyHandle request) override;
  MessageHandle GetNotifyMsg(NotifyHandle request) override;
  void ReplyNotifyMsg(MessageHandle message) override;
  bool CheckNotifySignal(NotifyHandle request) override;
  bool Flush(const char* device) override;
  bool VolumeInfoData(const char* device, InfoData& info) override;
  bool FileSystemAttr(const char* device, std::uint32_t tag, std::uint32_t& value) override;
  bool Inhibit(const char* device, bool on) override;
  bool Serialize(const char* device) override;
  bool Format(const char* device, const char* volume, std::uint32_t dos_type) override;
  bool Remount(const char* device, LockHandle root) override;
  bool WasEmulated() const override { return was_emulated_; }

 private:
  /// A scan, with a lock of its own.
  struct Scan {
    HandlerPort* port;
    ::PRIVATE_ExamineDirContext context;
    const ExamineData* record;
  };

  void OnEntry(HandlerPort& port, const ObjectName& object) override;
  void OnRename(HandlerPort& port, const ObjectName& from, const ObjectName& to) override;
  void OnAttribute(HandlerPort& port, const ObjectName& object) override;
  bool IsMissing(HandlerPort& port, const ObjectName& object) override;
  void OnClosing(HandlerPort& port, ::FileHandle& file, bool is_changed) override;
  void OnUnmount(HandlerPort& port) override;

  DirContextHandle AddScan(HandlerPort& port, ::Lock* lock);
  void EndScan(Scan& scan);
  /// Ends the scans and requests on `port`, or all of them when it is null.
  void Release(const HandlerPort* port);
  static void EndRequest(Notifications::Request& request);
  static bool IsThere(HandlerPort& port, ::Lock* directory, const char* name);
  /// The handler of the device `device`, which must end in its colon.
  HandlerPort* DeviceOf(const char* device);
  /// Calls `ask(port, res2)` on the handler of `device`.
  template <class Ask>
  bool OnDevice(const char* device, Ask ask);

  HostedDos& dos_;
  HandleTable<struct DirContextKind, std::unique_ptr<Scan>> scans_;
  Notifications notifications_;
  RecordLocks records_;
  std::map<HandlerPort*, int> inhibited_;  ///< how often
  std::set<const HandlerPort*> remountable_;
  bool was_emulated_ = false;
};

}  // namespace quorle
