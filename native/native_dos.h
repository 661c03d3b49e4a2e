#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "native/interfaces.h"
#include "platform/dos.h"

namespace quorle::native {

/// dos.library of the platform itself. Handles are the platform's own values: BPTRs for locks and
/// files, addresses for all others.
class NativeDos final : public DosInterface {
 public:
  NativeDos() = default;
  NativeDos(const NativeDos&) = delete;
  NativeDos& operator=(const NativeDos&) = delete;

  /// From here on calls go to `dos`.
  void Attach(DosMain* dos) { dos_ = dos; }
  /// Calls go nowhere any more; returns where they went.
  DosMain* Detach() { return std::exchange(dos_, nullptr); }

  // ---- Files -----------------------------------------------------------------------------------
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

  // ---- Locks -----------------------------------------------------------------------------------
  LockHandle Lock(const char* name, std::int32_t mode) override;
  void UnLock(LockHandle lock) override;
  LockHandle DupLock(LockHandle lock) override;
  LockHandle DupLockFromFH(FileHandle file) override;
  FileHandle OpenFromLock(LockHandle lock) override;
  LockHandle ParentDir(LockHandle lock) override;
  LockHandle ParentOfFH(FileHandle file) override;
  std::int32_t SameLock(LockHandle a, LockHandle b) override;
  LockHandle SetCurrentDir(LockHandle lock) override;

  // ---- Objects, links, attributes --------------------------------------------------------------
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

  // ---- Volumes and handlers --------------------------------------------------------------------
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
  void* SetProcWindow(void* window) override;
  LockHandle DoPkt(PortHandle port, std::int32_t action, LockHandle lock, const std::uint8_t* name,
                   std::int32_t arg3, std::int32_t arg4, const std::uint8_t* arg5) override;
  bool CopyStringSTRToBSTR(const char* text, std::uint8_t* buffer, std::uint32_t size) override;

  // ---- Records in place ------------------------------------------------------------------------
  FileLock FileLockOf(LockHandle lock) override;
  PortRecord PortRecordOf(PortHandle port) override;

  // ---- Command line, output, errors, signals ---------------------------------------------------
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
  /// A record of the platform as the tester reads it, and the platform's own, which is given back.
  struct Examined {
    ExamineData data;
    ExamineDataRecord* record;  ///< null: the place is free
  };
  /// Records that may be held at a time. A run keeps twelve, which it never gives back (eight of
  /// SetDate(), two of ExamineObj(), one each of ExamineFile() and ExamineLock()), and at most two
  /// more.
  static constexpr std::size_t kMostExamined = 32;

  const ExamineData* Examine(std::uint32_t tag, std::uint32_t object);

  DosMain* dos_ = nullptr;
  Examined examined_[kMostExamined] = {};
};

}  // namespace quorle::native
