#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/forwarding.h"
#include "selftest/support/fault_rules.h"

namespace quorle::selftest {

/// A layer between the tester and the platform that makes single calls misbehave as rules say. All
/// other calls go through, so that a sub-test that fails runs over a real volume.
///
/// What "succeed" gives: a lock on the root of the current volume; the file ENV:some-file, open;
/// true. Fields for "set": of a record of ExamineObject() Type, FileSize, Days, RefCount, ObjectID,
/// Name, Comment, Protection, OwnerUID, OwnerGID; of GetDiskInfo() DiskState, DiskType; of
/// FileSystemAttr() version, dostype; of DevNameFromPort() and VolNameFromPort() name; of
/// PortRecordOf() node_type, version, word78; of OpenLibrary() version, revision; of Read() data, and
/// fill, a character that the rest of the buffer is filled with, which the count does not tell of.
///
/// Printf() and PutStr(), which give nothing, know "code" only, and no arguments.
class FaultyDos final : public ForwardingDos {
 public:
  FaultyDos(DosInterface& inner, FaultRules& rules) : ForwardingDos(inner), rules_(rules) {}

  DosInterface& real() const { return inner(); }
  /// What exec gave last: where a "scribble" goes. Only calls that give true or false can scribble.
  void NoteAllocation(void* memory, std::uint32_t bytes) {
    last_memory_ = memory, last_bytes_ = bytes;
  }

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
  LockHandle DupLock(LockHandle lock) override;
  LockHandle DupLockFromFH(FileHandle file) override;
  FileHandle OpenFromLock(LockHandle lock) override;
  LockHandle ParentDir(LockHandle lock) override;
  LockHandle ParentOfFH(FileHandle file) override;
  std::int32_t SameLock(LockHandle a, LockHandle b) override;
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
  LockHandle DoPkt(PortHandle port, std::int32_t action, LockHandle lock, const std::uint8_t* name,
                   std::int32_t arg3, std::int32_t arg4, const std::uint8_t* arg5) override;
  PortRecord PortRecordOf(PortHandle port) override;
  std::uint32_t CheckSignal(std::uint32_t mask) override;
  bool DateToStr(DateTime& date) override;
  void VPrintf(const char* format, const FormatArgument* args, std::size_t count) override;
  void PutStr(const char* text) override;

 private:
  template <class Call>
  bool Bool(const FaultRule* rule, const Call& call);
  template <class Number, class Call>
  Number Count(const FaultRule* rule, const Call& call, Number success);
  template <class Call>
  LockHandle Locked(const FaultRule* rule, const Call& call);
  template <class Call>
  FileHandle Opened(const FaultRule* rule, const Call& call);
  template <class Call>
  const ExamineData* Examined(const FaultRule* rule, const Call& call);
  template <class Call>
  bool Named(const FaultRule* rule, char* buffer, std::uint32_t size, const Call& call);
  template <class Call>
  bool Disk(const FaultRule* rule, InfoData& info, const Call& call);

  LockHandle SomeLock();
  FileHandle SomeFile();
  void SetCode(const FaultRule& rule);

  /// A record that rules changed: the copy that the tester sees, and the real one behind it.
  struct Changed {
    ExamineData copy;
    const ExamineData* real;
    std::string name;
    std::string comment;
  };

  FaultRules& rules_;
  void* last_memory_ = nullptr;
  std::uint32_t last_bytes_ = 0;
  std::unordered_map<const ExamineData*, std::unique_ptr<Changed>> changed_;
};

/// The same for exec; the dos.library it gives is `dos`.
class FaultyExec final : public ForwardingExec {
 public:
  FaultyExec(ExecInterface& inner, FaultyDos& dos, FaultRules& rules)
      : ForwardingExec(inner), dos_(dos), rules_(rules) {}

  void* AllocVecTags(std::uint32_t bytes) override;
  const Library* OpenLibrary(const char* name, std::uint32_t version) override;
  void CloseLibrary(const Library* library) override;
  Interface* GetInterface(const Library* library, const char* name, std::uint32_t version) override;
  void DropInterface(Interface* interface) override;

 private:
  struct ChangedLibrary {
    Library copy;
    const Library* real;
  };

  FaultyDos& dos_;
  FaultRules& rules_;
  std::vector<std::unique_ptr<ChangedLibrary>> libraries_;
};

}  // namespace quorle::selftest
