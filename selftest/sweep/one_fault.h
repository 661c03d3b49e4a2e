#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/forwarding.h"

namespace quorle::selftest {

/// One way in which one call misbehaves.
struct Fault {
  enum class Kind : std::uint8_t {
    kFail,      ///< it is not made, and fails with `code`
    kDoneFail,  ///< it is made, and reported as failed with `code`; what it gave is released
    kClaim,     ///< it is not made, and reported as done; what it gives is another object
    kWrong,     ///< it is made, and gives something else, well-formed: `variant` says what
    kCode,      ///< it is made; afterwards the error code is `code`
    kDrop,      ///< it is not made; nobody is told
  };

  Kind kind = Kind::kFail;
  std::int32_t code = 0;
  std::size_t variant = 0;
  const char* what = "";  ///< of kClaim and kWrong: what it gives, for messages

  std::string Text() const;
};

/// A call as the conforming run made it.
struct CallSite {
  std::string op;
  std::string text;           ///< with its arguments, for messages
  std::string place;          ///< sub-test "3", or "" outside of the sub-tests
  std::vector<Fault> faults;  ///< the ways in which it can misbehave
};

/// What the two layers of a run share: the count of calls, and which of them misbehaves.
///
/// Counted is each call that can fail, gives something, or is missed when it is not made. Not
/// counted:
///
///   Printf(), PutStr(), Delay(), WaitPort()      give nothing back
///   IoErr(), SetIoErr()                          a changed code is a fault of the call before
///   FreeDosObject(), FreeVec(), FreeArgs(),      give nothing back, and what stays held nobody
///   FreeDeviceProc(), ReplyMsg(),                misses
///   CloseLibrary(), DropInterface()
///   CopyMem(), utility.library                   work in the tester's own memory and cannot fail
///
/// UnLock() gives nothing back either, but a lock that stays is missed: it can be dropped.
class OneFault {
 public:
  /// Counts anew and takes note of every call; nothing misbehaves.
  void Record(const std::string& place);
  /// Counts anew; call `number`, from 1, is `site` and misbehaves by `fault`. Both must outlive the
  /// run.
  void Inject(std::size_t number, const CallSite& site, const Fault& fault);

  /// Counts a call. Gives the fault when it is due, else null.
  const Fault* Step(const char* op);
  bool IsRecording() const { return recording_; }
  void Note(const char* op, std::string text, std::vector<Fault> faults);

  std::size_t count() const { return count_; }
  std::vector<CallSite> TakeSites() { return std::move(sites_); }

 private:
  bool recording_ = false;
  const std::string* place_ = nullptr;
  std::size_t count_ = 0;
  std::size_t due_ = 0;
  const CallSite* site_ = nullptr;
  const Fault* fault_ = nullptr;
  std::vector<CallSite> sites_;
};

/// dos.library with one call that misbehaves.
///
/// "Another object" is, by variant: for a lock the root of the current volume, the root of RAM:,
/// and the file ENV:other-file; for a file ENV:other-file.
class OneFaultDos final : public ForwardingDos {
 public:
  OneFaultDos(DosInterface& inner, OneFault& one) : ForwardingDos(inner), one_(one) {}

  DosInterface& real() const { return inner(); }
  /// Releases what a dropped call left, and what was made to be another object.
  void Settle();

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
  LockHandle Lock(const char* name, std::int32_t mode) override;
  void UnLock(LockHandle lock) override;
  LockHandle DupLock(LockHandle lock) override;
  LockHandle DupLockFromFH(FileHandle file) override;
  FileHandle OpenFromLock(LockHandle lock) override;
  LockHandle ParentDir(LockHandle lock) override;
  LockHandle ParentOfFH(FileHandle file) override;
  std::int32_t SameLock(LockHandle a, LockHandle b) override;
  LockHandle SetCurrentDir(LockHandle lock) override;
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
  const DevProc* GetDeviceProc(const char* name, const DevProc* previous) override;
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
  void* SetProcWindow(void* window) override;
  LockHandle DoPkt(PortHandle port, std::int32_t action, LockHandle lock, const std::uint8_t* name,
                   std::int32_t arg3, std::int32_t arg4, const std::uint8_t* arg5) override;
  bool CopyStringSTRToBSTR(const char* text, std::uint8_t* buffer, std::uint32_t size) override;
  FileLock FileLockOf(LockHandle lock) override;
  PortRecord PortRecordOf(PortHandle port) override;
  RdArgsHandle ReadArgs(const char* argument_template, ArgumentWord* words,
                        RdArgsHandle rdargs) override;
  std::uint32_t CheckSignal(std::uint32_t mask) override;
  std::int32_t TimedDosRequesterTags(std::uint32_t timeout, const char* body, const char* buttons,
                                     std::int32_t image) override;
  bool DateToStr(DateTime& date) override;

 private:
  using Codes = std::span<const std::int32_t>;

  /// A record that was changed: the copy that the tester sees, and the real one behind it.
  struct Changed {
    ExamineData copy;
    const ExamineData* real;
    std::string text;  ///< of the changed field
  };

  /// A call that gives true or false. `wrong(variant)` changes what it stored; `wrongs` are their
  /// names.
  template <class Make, class Wrong, class... Args>
  bool Truth(const char* op, Codes codes, std::initializer_list<const char*> wrongs, Make make,
             Wrong wrong, const Args&... args);
  template <class Make, class... Args>
  bool Truth(const char* op, Codes codes, Make make, const Args&... args);
  /// A call that gives a lock.
  template <class Make, class... Args>
  LockHandle Locked(const char* op, Codes codes, Make make, const Args&... args);
  /// A call that gives a file. `consume` stands for what a call that is only claimed takes.
  template <class Make, class Consume, class... Args>
  FileHandle Opened(const char* op, Codes codes, Make make, Consume consume, const Args&... args);
  /// A call that gives a size or a position, or -1.
  template <class Make, class... Args>
  std::int64_t Measured(const char* op, Codes codes, Make make, const Args&... args);
  template <class Make, class Object>
  const ExamineData* Examined(Make make, std::uint32_t tag, const Object& object);
  template <class Make, class Source>
  bool Disk(Make make, InfoData& info, const Source& source);
  template <class Make>
  bool Named(const char* op, Make make, char* buffer, std::uint32_t size, PortHandle port);

  LockHandle OtherLock(std::size_t variant);
  LockHandle OtherMode(LockHandle lock);
  FileHandle OtherMode(FileHandle file);
  FileHandle OtherFile();
  const ExamineData* Change(const ExamineData* real, std::size_t variant);

  OneFault& one_;
  std::unordered_map<const ExamineData*, std::unique_ptr<Changed>> changed_;
  std::vector<LockHandle> dropped_locks_;
  std::vector<FileHandle> dropped_files_;
  bool other_file_made_ = false;
};

/// The same for exec; the dos.library it gives is `dos`.
class OneFaultExec final : public ForwardingExec {
 public:
  OneFaultExec(ExecInterface& inner, OneFaultDos& dos, OneFault& one)
      : ForwardingExec(inner), dos_(dos), one_(one) {}

  const Process* FindTask(const char* name) override;
  MessageHandle GetMsg(PortHandle port) override;
  void* AllocVecTags(std::uint32_t bytes) override;
  const Library* OpenLibrary(const char* name, std::uint32_t version) override;
  void CloseLibrary(const Library* library) override;
  Interface* GetInterface(const Library* library, const char* name, std::uint32_t version) override;
  void DropInterface(Interface* interface) override;

 private:
  OneFaultDos& dos_;
  OneFault& one_;
  Process process_{};
  Library old_library_{};
  const Library* real_library_ = nullptr;  ///< behind `old_library_`
};

}  // namespace quorle::selftest
