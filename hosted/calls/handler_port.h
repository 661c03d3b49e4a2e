#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "hosted/calls/breach.h"
#include "hosted/calls/call_gate.h"
#include "hosted/calls/handler_program.h"
#include "hosted/calls/handler_services.h"
#include "hosted/calls/port_type.h"
#include "hosted/calls/run_watch.h"
#include "platform/records.h"
#include "quorle/handler.h"

namespace quorle {

class ClassicAdapter;
class ClassicFallback;
template <auto kFunction>
class Invocation;
class MountedHandler;
struct NamedLayer;

/// One mounted handler as dos sees it: an operation for each function of the vector table.
///
/// Every operation sets `res2` to 0 first and leaves the error code there; it counts when the
/// result is the failure value (false, null, -1). On a vector port the function of the table is
/// called; when it is missing, and always on a packet port, the matching packet is sent
/// (packet_adapter.h lists them), and where the handler's packet function does not know that one, the
/// classic ones (classic_fallback.h). A packet that nobody answers is a failure with 209, with -1 where
/// the operation fails with -1 (our choice: 0 would pass for the end of a file or a position). On a
/// device without a filesystem every operation fails that way.
///
/// Names are single components, never null; "" means the object of `rel`, a null `rel` the root.
/// A packet holds at most 255 bytes of a text: a longer name is refused with 120, a longer comment
/// with 220, before anything is sent.
///
/// Locks and examine records belong to the handler's memory: locks go back with UnLock(), records
/// with FreeExamineData(). `::FileHandle`s belong to the caller; Open() and OpenFromLock() fill
/// fh_MsgPort, every lock that comes back has its fl_Port filled.
///
/// A handler is not believed. Locks and records that AllocDosObject() did not make or that are
/// freed, counts above the size that was given, and texts that do not end are no answers: the call
/// fails, with 211 for a lock and 115 for anything else, and the watch gets a line that names it.
class HandlerPort {
 public:
  /// A device without a filesystem. `device_name` is without its colon.
  explicit HandlerPort(std::string device_name);
  /// A mounted handler; made by MountHandler() (mount.h). `type` is not kNone. `watch`, which may be
  /// null, must outlive this.
  HandlerPort(PortType type, std::unique_ptr<MountedHandler> mounted, RunWatch* watch);
  /// Unmounts.
  ~HandlerPort();
  HandlerPort(const HandlerPort&) = delete;
  HandlerPort& operator=(const HandlerPort&) = delete;

  /// Lets every call go through `gate`, which must outlive this. A call that it does not admit fails
  /// with ERROR_DEVICE_NOT_MOUNTED. Null: no gate.
  void SetGate(CallGate* gate) { gate_ = gate; }
  /// Reports what the handler did wrong in the call that it got last: `what` behind the device's name and
  /// the function or packet, "DH0: FSExamineDir() gives ...".
  void ReportLastCall(const std::string& what);
  /// Reports that the handler is gone, since MountAgain() failed with `problem`.
  void ReportFailedRemount(const std::string& problem);
  /// Has the handler's notifications handed to `listener`; null: nobody gets them. Of no handler there
  /// are none.
  void SetNotifyListener(NotifyListener listener);
  /// Puts a layer over the handler; false, with one line in `problem`, when there is none such.
  bool Cover(const NamedLayer& layer, std::string_view value, std::string& problem);

  // ---- The port itself -----------------------------------------------------------------------

  PortType type() const { return type_; }
  const std::string& device_name() const { return device_name_; }
  /// The name of the volume without its colon; none when the handler has no volume node.
  const std::optional<std::string>& volume_name() const;
  /// The message port that is in fl_Port and fh_MsgPort: each handler has its own.
  ::MsgPort* port() const { return port_; }
  /// What is in the port's memory.
  PortRecord Record() const;
  /// Whether it is a filesystem. A packet port is asked (packet 1027); one that does not know the
  /// question is one when its root can be locked.
  bool IsFileSystem();
  /// Sends `packet` as it is and fills its results. The function that it stands for answers;
  /// when that is missing the handler's own packet function; when that is missing too, 0 and 209.
  void Send(::DosPacket& packet);
  /// Takes the volume's name from the root when the handler takes packets alone and has named no
  /// volume; from then on again after Relabel() and after Inhibit(false). False, with one line in
  /// `problem`, when the volume cannot have that name. Without a root there is no volume.
  bool NameVolumeByRoot(std::string& problem);
  /// Frees a record that an Examine operation gave, or the Entry of a scan; null is allowed.
  void FreeExamineData(::ExamineData* data);
  /// Ends the handler and frees what it left behind. One line for each wrong or forgotten release
  /// that was seen. Afterwards the port is a device without a filesystem.
  std::vector<std::string> Unmount();
  /// Unmounts the handler until MountAgain(): every call fails with ERROR_DEVICE_NOT_MOUNTED. Its locks
  /// and files are gone: none may be open.
  void UnmountForNow();
  /// Mounts the handler again as it was mounted, with its layers. False, with one line in `problem`,
  /// when it refuses or does not fit: then calls fail as before.
  bool MountAgain(std::string& problem);
  /// What became of the handler; of none, that it is over.
  HandlerProgram::Life life() const;

  // ---- Locks ---------------------------------------------------------------------------------

  ::Lock* Lock(std::int32_t& res2, ::Lock* rel, const char* name, std::int32_t mode);
  bool UnLock(std::int32_t& res2, ::Lock* lock);
  ::Lock* DupLock(std::int32_t& res2, ::Lock* lock);
  ::Lock* CreateDir(std::int32_t& res2, ::Lock* rel, const char* name);
  /// Null with `res2` 0 for the root.
  ::Lock* ParentDir(std::int32_t& res2, ::Lock* lock);
  ::Lock* DupLockFromFH(std::int32_t& res2, ::FileHandle& file);
  ::Lock* ParentOfFH(std::int32_t& res2, ::FileHandle& file);
  bool ChangeLockMode(std::int32_t& res2, ::Lock* lock, std::int32_t mode);
  bool SameLock(std::int32_t& res2, ::Lock* a, ::Lock* b);

  // ---- Files ---------------------------------------------------------------------------------

  bool Open(std::int32_t& res2, ::FileHandle& file, ::Lock* rel, const char* name,
            std::int32_t mode);
  /// On success `lock` belongs to the handle.
  bool OpenFromLock(std::int32_t& res2, ::FileHandle& file, ::Lock* lock);
  bool Close(std::int32_t& res2, ::FileHandle& file);
  /// Bytes read, 0 at the end, -1 on failure; never more than `bytes`.
  std::int32_t Read(std::int32_t& res2, ::FileHandle& file, void* buffer, std::int32_t bytes);
  /// Bytes written, -1 on failure; never more than `bytes`.
  std::int32_t Write(std::int32_t& res2, ::FileHandle& file, const void* data, std::int32_t bytes);
  bool Flush(std::int32_t& res2);
  /// Mind the order: the mode comes before the position, as in the vector table.
  bool ChangeFilePosition(std::int32_t& res2, ::FileHandle& file, std::int32_t mode,
                          std::int64_t position);
  /// Mind the order: the mode comes before the size, as in the vector table.
  bool ChangeFileSize(std::int32_t& res2, ::FileHandle& file, std::int32_t mode, std::int64_t size);
  /// The position, or -1.
  std::int64_t GetFilePosition(std::int32_t& res2, ::FileHandle& file);
  /// The size, or -1.
  std::int64_t GetFileSize(std::int32_t& res2, ::FileHandle& file);
  bool ChangeFileMode(std::int32_t& res2, ::FileHandle& file, std::int32_t mode);
  bool SameFile(std::int32_t& res2, ::FileHandle& a, ::FileHandle& b);
  bool LockRecord(std::int32_t& res2, ::FileHandle& file, std::int64_t offset, std::int64_t length,
                  std::uint32_t mode, std::uint32_t ticks);
  bool UnLockRecord(std::int32_t& res2, ::FileHandle& file, std::int64_t offset,
                    std::int64_t length);

  // ---- Objects -------------------------------------------------------------------------------

  bool Delete(std::int32_t& res2, ::Lock* rel, const char* name);
  bool SetDate(std::int32_t& res2, ::Lock* rel, const char* name, const ::DateStamp& date);
  bool SetProtection(std::int32_t& res2, ::Lock* rel, const char* name, std::uint32_t mask);
  bool SetComment(std::int32_t& res2, ::Lock* rel, const char* name, const char* comment);
  bool SetGroup(std::int32_t& res2, ::Lock* rel, const char* name, std::uint32_t group);
  bool SetOwner(std::int32_t& res2, ::Lock* rel, const char* name, std::uint32_t owner);
  bool Rename(std::int32_t& res2, ::Lock* source_rel, const char* source, ::Lock* destination_rel,
              const char* destination);
  bool CreateSoftLink(std::int32_t& res2, ::Lock* rel, const char* name, const char* target);
  bool CreateHardLink(std::int32_t& res2, ::Lock* rel, const char* name, ::Lock* target);
  /// The length of the link's target, -1 on failure, -2 with 120 when `size` bytes are too few;
  /// never more than `size`.
  std::int32_t ReadSoftLink(std::int32_t& res2, ::Lock* rel, const char* name, char* buffer,
                            std::int32_t size);
  ::ExamineData* ExamineObj(std::int32_t& res2, ::Lock* rel, const char* name);
  ::ExamineData* ExamineLock(std::int32_t& res2, ::Lock* lock);
  ::ExamineData* ExamineFile(std::int32_t& res2, ::FileHandle& file);
  /// The next object of a scan, in context.Entry; false with 232 at the end.
  bool ExamineDir(std::int32_t& res2, ::PRIVATE_ExamineDirContext& context);
  /// Ends a scan, wherever it is: whoever calls ExamineDir() calls this once when he is done with
  /// `context`, as long as its lock is one. Frees the Entry and what dos keeps for the scan.
  void EndDir(::PRIVATE_ExamineDirContext& context);

  // ---- Volume --------------------------------------------------------------------------------

  /// `tags` are QUORLE_FSA_... questions.
  bool FileSystemAttr(std::int32_t& res2, const ::TagItem* tags);
  bool VolumeInfoData(std::int32_t& res2, ::InfoData& info);
  bool DeviceInfoData(std::int32_t& res2, ::InfoData& info);
  /// The handler gets the platform's truth value, -1 or 0, on both kinds of port.
  bool Inhibit(std::int32_t& res2, bool on);
  bool WriteProtect(std::int32_t& res2, bool on, std::uint32_t key);
  bool Format(std::int32_t& res2, const char* volume, std::uint32_t dos_type);
  bool Serialize(std::int32_t& res2);
  /// Where dos names the volume by its root, a name that is taken is refused with 203, before anything
  /// is sent.
  bool Relabel(std::int32_t& res2, const char* volume);
  /// Fills nr_Handler. The handler may notify of `request` from this call on, also while it lasts, until
  /// the request is removed, whatever comes of that, or the handler unmounted; when it fails, no longer.
  bool AddNotify(std::int32_t& res2, ::NotifyRequest* request);
  bool RemoveNotify(std::int32_t& res2, ::NotifyRequest* request);

  // ---- Any function --------------------------------------------------------------------------

  /// Calls the function that `kFunction`, a member of FileSystemVectors, points to, with `args` after
  /// the port and the error code: what all operations above do. The answer is as theirs. Defined in
  /// invoke.h, which the caller includes.
  template <auto kFunction, class... Args>
  auto Invoke(std::int32_t& res2, Args... args);

 private:
  friend class ClassicAdapter;
  friend class ClassicFallback;
  template <auto kFunction>
  friend class Invocation;

  /// A function of the table that is called through the gate; false when a packet must be sent.
  template <class Function>
  struct Vectored;
  template <class Function>
  Vectored<Function> Vector(Function(::FileSystemVectors::*member),
                            CallGate::Purpose purpose = CallGate::Purpose::kAnything) const;
  /// Takes the port of the handler, which was mounted.
  void Adopt();
  /// Forgets it again.
  void Leave();
  bool Admits(CallGate::Purpose purpose) const;
  CallGate::Passage Pass() const;
  /// Starts an operation: `function` is the one that stands for it, "FSLock()".
  void Begin(std::int32_t& res2, const char* function);
  /// Sends `packet`. True when a function of the vector table answered it.
  bool Deliver(::DosPacket& packet);
  // What the handler gave, or a failure that was reported and whose code is in `res2`.
  bool IsLive(std::int32_t& res2, const ::Lock* lock);
  ::Lock* Accepted(std::int32_t& res2, ::Lock* lock);
  ::ExamineData* Accepted(std::int32_t& res2, ::ExamineData* record);
  std::int32_t CheckedCount(std::int32_t& res2, std::int64_t count, std::int32_t room);
  static bool EndTexts(const ::TagItem* tags);
  void Report(Breach breach, std::int32_t& res2);
  void Report(const std::string& what, std::int32_t code, std::int32_t& res2);
  /// The volume may have another name now; one that it cannot have is reported, and the old one stays.
  void ReadVolumeName();

  PortType type_;
  std::string device_name_;
  CallGate* gate_ = nullptr;
  RunWatch* watch_ = nullptr;
  int moves_ = -1;                           ///< of the watch, when the check was last asked for
  std::unique_ptr<MountedHandler> mounted_;  ///< none without a filesystem
  ::FileSystemVectorPort* vector_port_ = nullptr;  ///< the handler's; null without one
  std::unique_ptr<ClassicFallback> classic_;       ///< null when nobody would answer
  std::unique_ptr<ClassicAdapter> adapter_;        ///< of a classic port alone
  bool is_named_by_root_ = false;
  PortRecord record_{QUORLE_NT_MSGPORT, 0, false};  ///< while the handler is unmounted for now
  ::MsgPort own_port_{QUORLE_NT_MSGPORT};           ///< where there is none of a handler
  ::MsgPort* port_ = &own_port_;
};

}  // namespace quorle
