#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>

#include "hosted/calls/clock.h"
#include "hosted/calls/handler_port.h"
#include "hosted/dos/break_signal.h"
#include "hosted/dos/console.h"
#include "hosted/dos/dos_list.h"
#include "hosted/dos/dos_listener.h"
#include "hosted/dos/handle_table.h"
#include "hosted/dos/line_input.h"
#include "hosted/dos/read_args.h"
#include "hosted/dos/resolver.h"
#include "platform/constants.h"
#include "platform/dos.h"
#include "quorle/handler.h"

namespace quorle {

/// What dos needs from around it. All of it is somebody else's and must outlive dos.
struct HostedDosParts {
  DosList& list;
  HandleNumbers& numbers;
  Console& console;
  LineInput& input;
  Clock& clock;
  BreakSource& breaks;
};

struct HostedDosSettings {
  std::string arguments;  ///< the command line that ReadArgs() parses, without a line break
  bool delays = true;     ///< false: Delay() returns at once
};

/// What a program holds and has not given back.
struct OpenObjects {
  std::size_t locks = 0;
  std::size_t files = 0;
  std::size_t examine_records = 0;
  std::size_t device_procs = 0;
  std::size_t argument_results = 0;

  friend bool operator==(const OpenObjects&, const OpenObjects&) = default;
};

/// dos.library on Linux: names, locks and handles here, the filesystems behind HandlerPorts.
///
/// Error codes. An operation that succeeds leaves IoErr() alone, one that fails leaves its code; the
/// exceptions are ParentDir(), DateStamp(), DoPkt() and what dos.h names. Handles of nothing, given
/// back handles and foreign ones are distinguished from live ones and never dereferenced. Where the
/// platform does not say what they are answered with, our choice is 116 for a missing argument (no
/// name, no handle where one is needed) and 211 for a handle that is not live.
class HostedDos final : public DosInterface {
 public:
  HostedDos(const HostedDosParts& parts, HostedDosSettings settings);
  /// Gives back what the program left open.
  ~HostedDos();
  HostedDos(const HostedDos&) = delete;
  HostedDos& operator=(const HostedDos&) = delete;

  /// `listener` learns what the program does from now on; null: nobody.
  void SetListener(DosListener* listener) { listener_ = listener; }

  /// What is open at the moment.
  OpenObjects CountOpen() const;
  /// Closes and frees everything that is open; the handles become stale.
  void ReleaseEverything();
  /// Before the handler of `port` is unmounted for now: closes every file there and releases every lock.
  /// `root`, a lock on its root, stays a handle without a lock behind it until LockRootAgain(); the
  /// others become stale. Returns how many those were. The error code stays as it is.
  OpenObjects ReleasePort(HandlerPort& port, LockHandle root);
  /// Takes a lock behind `root` again, once the handler is mounted. Returns 0, or the error code with
  /// which it failed: then the handle has none.
  std::int32_t LockRootAgain(HandlerPort& port, LockHandle root);

  // ---- Files (hosted_dos_files.cpp) ------------------------------------------------------------
  FileHandle Open(const char* name, std::int32_t mode) override;
  bool Close(FileHandle file) override;
  std::int32_t Read(FileHandle file, void* buffer, std::int32_t bytes) override;
  std::int32_t Write(FileHandle file, const void* data, std::int32_t bytes) override;
  bool ChangeFilePosition(FileHandle file, std::int64_t position, std::int32_t mode) override;
  std::int64_t GetFilePosition(FileHandle file) override;
  bool ChangeFileSize(FileHandle file, std::int64_t size, std::int32_t mode) override;
  std::int64_t GetFileSize(FileHandle file) override;
  bool ChangeMode(std::int32_t type, LockHandle lock, std::int32_t mode) override;
  bool ChangeMode(std::int32_t type, FileHandle file, std::int32_t mode) override;

  // ---- Locks (hosted_dos_locks.cpp) ------------------------------------------------------------
  LockHandle Lock(const char* name, std::int32_t mode) override;
  void UnLock(LockHandle lock) override;
  LockHandle DupLock(LockHandle lock) override;
  LockHandle DupLockFromFH(FileHandle file) override;
  FileHandle OpenFromLock(LockHandle lock) override;
  LockHandle ParentDir(LockHandle lock) override;
  LockHandle ParentOfFH(FileHandle file) override;
  std::int32_t SameLock(LockHandle a, LockHandle b) override;
  LockHandle SetCurrentDir(LockHandle lock) override;

  // ---- Objects, links, attributes (hosted_dos_objects.cpp, hosted_dos_examine.cpp) -------------
  LockHandle CreateDir(const char* name) override;
  LockHandle CreateDirTree(const char* path) override;
  bool Delete(const char* name) override;
  bool Rename(const char* old_name, const char* new_name) override;
  bool MakeLink(const char* name, LockHandle target, std::int32_t kind) override;
  bool MakeLink(const char* name, const char* target, std::int32_t kind) override;
  std::int32_t ReadSoftLink(PortHandle port, LockHandle lock, const char* name, char* buffer,
                            std::int32_t size) override;
  bool SetComment(const char* name, const char* comment) override;
  bool SetProtection(const char* name, std::uint32_t mask) override;
  bool SetDate(const char* name, const quorle::DateStamp& date) override;
  bool SetOwnerInfo(const char* name, std::uint32_t id_tag, std::uint32_t id) override;
  void DateStamp(quorle::DateStamp& now) override;
  const ExamineData* ExamineObject(std::uint32_t tag, const char* name) override;
  const ExamineData* ExamineObject(std::uint32_t tag, FileHandle file) override;
  const ExamineData* ExamineObject(std::uint32_t tag, LockHandle lock) override;
  void FreeDosObject(std::uint32_t type, const ExamineData* data) override;

  // ---- Volumes and handlers (hosted_dos_volumes.cpp) -------------------------------------------
  const DevProc* GetDeviceProc(const char* name, const DevProc* previous) override;
  void FreeDeviceProc(const DevProc* devproc) override;
  bool IsFileSystem(PortHandle port) override;
  bool DevNameFromPort(PortHandle port, char* buffer, std::uint32_t size, bool add_colon) override;
  bool VolNameFromPort(PortHandle port, char* buffer, std::uint32_t size, bool add_colon) override;
  bool FileSystemAttr(PortHandle port, char* version, std::uint32_t version_size,
                      std::uint32_t& dos_type) override;
  bool GetDiskInfo(PortHandle port, InfoData& info) override;
  bool GetDiskInfo(const char* device, InfoData& info) override;
  bool Relabel(const char* device, const char* volume) override;
  bool WriteProtectVolume(const char* device, bool on, std::uint32_t key,
                          std::uint32_t reserved) override;
  LockHandle DoPkt(PortHandle port, std::int32_t action, LockHandle lock, const std::uint8_t* name,
                   std::int32_t arg3, std::int32_t arg4, const std::uint8_t* arg5) override;
  bool CopyStringSTRToBSTR(const char* text, std::uint8_t* buffer, std::uint32_t size) override;
  FileLock FileLockOf(LockHandle lock) override;
  PortRecord PortRecordOf(PortHandle port) override;

  // ---- The process (hosted_dos_process.cpp) ----------------------------------------------------
  void* SetProcWindow(void* window) override;
  RdArgsHandle ReadArgs(const char* argument_template, ArgumentWord* words,
                        RdArgsHandle rdargs) override;
  void FreeArgs(RdArgsHandle rdargs) override;
  void VPrintf(const char* format, const FormatArgument* args, std::size_t count) override;
  void PutStr(const char* text) override;
  std::int32_t IoErr() override;
  void SetIoErr(std::int32_t code) override;
  std::uint32_t CheckSignal(std::uint32_t mask) override;
  void Delay(std::uint32_t ticks) override;
  std::int32_t TimedDosRequesterTags(std::uint32_t timeout, const char* body, const char* buttons,
                                     std::int32_t image) override;
  bool DateToStr(DateTime& date) override;

 private:
  friend class HostedFurtherDos;

  struct OpenFile {
    HandlerPort* port;
    std::unique_ptr<::FileHandle> handle;
    bool is_changed = false;  ///< see DosListener::OnClosing()
  };
  /// An examine record as the program has it; the texts are what the record points to.
  struct ExamineRecord {
    ExamineData data{};
    std::string name;
    std::string comment;
    std::string link;
  };
  /// What a call by name does when the object is a soft link.
  enum class Links : std::uint8_t { kFollow, kLeave };

  /// Sets the error code and returns a result that is false.
  template <class Result>
  Result Fail(std::int32_t code) {
    error_ = code;
    return Result{};
  }
  bool Fail(std::int32_t code) { return Fail<bool>(code); }

  /// `done`; when it is, the object `leaf` in `directory` was made or deleted.
  bool EntryChanged(bool done, HandlerPort& port, ::Lock* directory, const char* leaf);
  /// The same when an attribute of it was set.
  bool AttributeChanged(bool done, HandlerPort& port, ::Lock* directory, const char* leaf);
  /// Where relative names start: the current directory; without a port when its lock is gone.
  PortObject Start();
  /// Makes `call(port, res2, directory, leaf)` on the object `name`; a false result is a failure
  /// with the code `res2`. Any of our own failures is a value-initialised result.
  template <class Call>
  auto OnObject(const char* name, Links links, Call call);

  LockHandle AddLock(HandlerPort& port, ::Lock* lock);
  FileHandle AddFile(HandlerPort& port, std::unique_ptr<::FileHandle> handle);
  const ExamineData* AddRecord(HandlerPort& port, ::ExamineData* record);
  PortHandle HandleOf(HandlerPort& port);
  /// The thing behind a handle, or null with the error code set.
  PortObject* LockBehind(LockHandle lock);
  OpenFile* FileBehind(FileHandle file);
  HandlerPort* PortBehind(PortHandle port);

  bool Exists(const ResolvedName& at);
  template <class Create>
  bool CreateLink(const char* name, Create create);
  ::ExamineData* ExamineByLock(HandlerPort& port, std::int32_t& res2, ::Lock* directory,
                               const char* leaf);
  ::ExamineData* ExamineItself(HandlerPort& port, std::int32_t& res2, ::Lock* directory,
                               const char* leaf);
  ::ExamineData* FindInDirectory(HandlerPort& port, std::int32_t& res2, ::Lock* directory,
                                 const char* leaf);
  /// The port of the device, volume or assign of `name`; of the current directory when `name` has
  /// none. Null with the error code set.
  HandlerPort* PortOf(const char* name);
  /// The same for a name that must end in its colon.
  HandlerPort* PortOfDevice(const char* device);
  bool CopyName(const std::string& name, char* buffer, std::uint32_t size, bool add_colon);
  bool DiskInfoOf(HandlerPort& port, InfoData& info);
  /// What the handler of `port` gave, as the program has it.
  static InfoData InfoOf(const HandlerPort& port, const ::InfoData& data);

  HostedDosParts parts_;
  HostedDosSettings settings_;
  HandleTable<struct LockKind, PortObject> locks_;
  HandleTable<struct FileKind, OpenFile> files_;
  HandleTable<struct RdArgsKind, std::unique_ptr<ParsedArguments>> arguments_;
  using ExamineRecords = std::unordered_map<const ExamineData*, std::unique_ptr<ExamineRecord>>;
  ExamineRecords records_;
  ExamineRecords::node_type spare_record_;  ///< one that was freed
  std::unordered_map<const DevProc*, std::unique_ptr<DevProc>> device_procs_;
  std::map<std::uintptr_t, HandlerPort*> ports_;
  std::unordered_map<const HandlerPort*, PortHandle> port_handles_;
  LockHandle current_dir_;
  DosListener* listener_ = nullptr;
  void* window_ = nullptr;
  std::int32_t error_ = 0;
};

template <class Call>
auto HostedDos::OnObject(const char* name, Links links, Call call) {
  using Result = decltype(call(std::declval<HandlerPort&>(), std::declval<std::int32_t&>(),
                               std::declval<::Lock*>(), name));
  if (name == nullptr) return Fail<Result>(ERROR_REQUIRED_ARG_MISSING);
  ResolvedName at(parts_.list, Start());
  if (!at.Resolve(name)) return Fail<Result>(at.error());
  for (;;) {
    std::int32_t res2 = 0;
    Result result = call(at.port(), res2, at.directory(), at.leaf());
    if (result) return result;
    if (links == Links::kLeave || res2 != ERROR_IS_SOFT_LINK) return Fail<Result>(res2);
    if (!at.FollowLink()) return Fail<Result>(at.error());
  }
}

}  // namespace quorle
