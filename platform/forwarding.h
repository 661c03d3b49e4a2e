#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/dos.h"
#include "platform/exec.h"
#include "platform/utility.h"

/// Decorators start here: each class passes every call on to `inner`, which it does not own. Derive
/// from one and override what changes.
namespace quorle {

class ForwardingExec : public ExecInterface {
 public:
  explicit ForwardingExec(ExecInterface& inner) : inner_(inner) {}

  const Process* FindTask(const char* name) override { return inner_.FindTask(name); }
  void WaitPort(PortHandle port) override { inner_.WaitPort(port); }
  MessageHandle GetMsg(PortHandle port) override { return inner_.GetMsg(port); }
  void ReplyMsg(MessageHandle message) override { inner_.ReplyMsg(message); }
  void* AllocVecTags(std::uint32_t bytes) override { return inner_.AllocVecTags(bytes); }
  void FreeVec(void* memory) override { inner_.FreeVec(memory); }
  void CopyMem(const void* source, void* destination, std::uint32_t bytes) override {
    inner_.CopyMem(source, destination, bytes);
  }
  const Library* OpenLibrary(const char* name, std::uint32_t version) override {
    return inner_.OpenLibrary(name, version);
  }
  void CloseLibrary(const Library* library) override { inner_.CloseLibrary(library); }
  Interface* GetInterface(const Library* library, const char* name,
                          std::uint32_t version) override {
    return inner_.GetInterface(library, name, version);
  }
  void DropInterface(Interface* interface) override { inner_.DropInterface(interface); }

 protected:
  ~ForwardingExec() = default;
  ExecInterface& inner() const { return inner_; }

 private:
  ExecInterface& inner_;
};

class ForwardingUtility : public UtilityInterface {
 public:
  explicit ForwardingUtility(UtilityInterface& inner) : inner_(inner) {}

  std::uint32_t Strlcpy(char* destination, const char* source, std::uint32_t size) override {
    return inner_.Strlcpy(destination, source, size);
  }
  std::int32_t VSNPrintf(char* buffer, std::uint32_t size, const char* format,
                         const FormatArgument* args, std::size_t count) override {
    return inner_.VSNPrintf(buffer, size, format, args, count);
  }
  std::int32_t Stricmp(const char* a, const char* b) override { return inner_.Stricmp(a, b); }

 protected:
  ~ForwardingUtility() = default;
  UtilityInterface& inner() const { return inner_; }

 private:
  UtilityInterface& inner_;
};

class ForwardingDos : public DosInterface {
 public:
  explicit ForwardingDos(DosInterface& inner) : inner_(inner) {}

  // ---- Files ---------------------------------------------------------------------------------
  FileHandle Open(const char* name, std::int32_t mode) override { return inner_.Open(name, mode); }
  bool Close(FileHandle file) override { return inner_.Close(file); }
  std::int32_t Read(FileHandle file, void* buffer, std::int32_t bytes) override {
    return inner_.Read(file, buffer, bytes);
  }
  std::int32_t Write(FileHandle file, const void* data, std::int32_t bytes) override {
    return inner_.Write(file, data, bytes);
  }
  bool ChangeFilePosition(FileHandle file, std::int64_t position, std::int32_t mode) override {
    return inner_.ChangeFilePosition(file, position, mode);
  }
  std::int64_t GetFilePosition(FileHandle file) override { return inner_.GetFilePosition(file); }
  bool ChangeFileSize(FileHandle file, std::int64_t size, std::int32_t mode) override {
    return inner_.ChangeFileSize(file, size, mode);
  }
  std::int64_t GetFileSize(FileHandle file) override { return inner_.GetFileSize(file); }
  bool ChangeMode(std::int32_t type, LockHandle lock, std::int32_t mode) override {
    return inner_.ChangeMode(type, lock, mode);
  }
  bool ChangeMode(std::int32_t type, FileHandle file, std::int32_t mode) override {
    return inner_.ChangeMode(type, file, mode);
  }

  // ---- Locks ---------------------------------------------------------------------------------
  LockHandle Lock(const char* name, std::int32_t mode) override { return inner_.Lock(name, mode); }
  void UnLock(LockHandle lock) override { inner_.UnLock(lock); }
  LockHandle DupLock(LockHandle lock) override { return inner_.DupLock(lock); }
  LockHandle DupLockFromFH(FileHandle file) override { return inner_.DupLockFromFH(file); }
  FileHandle OpenFromLock(LockHandle lock) override { return inner_.OpenFromLock(lock); }
  LockHandle ParentDir(LockHandle lock) override { return inner_.ParentDir(lock); }
  LockHandle ParentOfFH(FileHandle file) override { return inner_.ParentOfFH(file); }
  std::int32_t SameLock(LockHandle a, LockHandle b) override { return inner_.SameLock(a, b); }
  LockHandle SetCurrentDir(LockHandle lock) override { return inner_.SetCurrentDir(lock); }

  // ---- Objects, links, attributes ------------------------------------------------------------
  LockHandle CreateDir(const char* name) override { return inner_.CreateDir(name); }
  LockHandle CreateDirTree(const char* path) override { return inner_.CreateDirTree(path); }
  bool Delete(const char* name) override { return inner_.Delete(name); }
  bool Rename(const char* old_name, const char* new_name) override {
    return inner_.Rename(old_name, new_name);
  }
  bool MakeLink(const char* name, LockHandle target, std::int32_t kind) override {
    return inner_.MakeLink(name, target, kind);
  }
  bool MakeLink(const char* name, const char* target, std::int32_t kind) override {
    return inner_.MakeLink(name, target, kind);
  }
  std::int32_t ReadSoftLink(PortHandle port, LockHandle lock, const char* name, char* buffer,
                            std::int32_t size) override {
    return inner_.ReadSoftLink(port, lock, name, buffer, size);
  }
  bool SetComment(const char* name, const char* comment) override {
    return inner_.SetComment(name, comment);
  }
  bool SetProtection(const char* name, std::uint32_t mask) override {
    return inner_.SetProtection(name, mask);
  }
  bool SetDate(const char* name, const quorle::DateStamp& date) override {
    return inner_.SetDate(name, date);
  }
  bool SetOwnerInfo(const char* name, std::uint32_t id_tag, std::uint32_t id) override {
    return inner_.SetOwnerInfo(name, id_tag, id);
  }
  void DateStamp(quorle::DateStamp& now) override { inner_.DateStamp(now); }
  const ExamineData* ExamineObject(std::uint32_t tag, const char* name) override {
    return inner_.ExamineObject(tag, name);
  }
  const ExamineData* ExamineObject(std::uint32_t tag, FileHandle file) override {
    return inner_.ExamineObject(tag, file);
  }
  const ExamineData* ExamineObject(std::uint32_t tag, LockHandle lock) override {
    return inner_.ExamineObject(tag, lock);
  }
  void FreeDosObject(std::uint32_t type, const ExamineData* data) override {
    inner_.FreeDosObject(type, data);
  }

  // ---- Volumes and handlers ------------------------------------------------------------------
  const DevProc* GetDeviceProc(const char* name, const DevProc* previous) override {
    return inner_.GetDeviceProc(name, previous);
  }
  void FreeDeviceProc(const DevProc* devproc) override { inner_.FreeDeviceProc(devproc); }
  bool IsFileSystem(PortHandle port) override { return inner_.IsFileSystem(port); }
  bool DevNameFromPort(PortHandle port, char* buffer, std::uint32_t size, bool add_colon) override {
    return inner_.DevNameFromPort(port, buffer, size, add_colon);
  }
  bool VolNameFromPort(PortHandle port, char* buffer, std::uint32_t size, bool add_colon) override {
    return inner_.VolNameFromPort(port, buffer, size, add_colon);
  }
  bool FileSystemAttr(PortHandle port, char* version, std::uint32_t version_size,
                      std::uint32_t& dos_type) override {
    return inner_.FileSystemAttr(port, version, version_size, dos_type);
  }
  bool GetDiskInfo(PortHandle port, InfoData& info) override {
    return inner_.GetDiskInfo(port, info);
  }
  bool GetDiskInfo(const char* device, InfoData& info) override {
    return inner_.GetDiskInfo(device, info);
  }
  bool Relabel(const char* device, const char* volume) override {
    return inner_.Relabel(device, volume);
  }
  bool WriteProtectVolume(const char* device, bool on, std::uint32_t key,
                          std::uint32_t reserved) override {
    return inner_.WriteProtectVolume(device, on, key, reserved);
  }
  void* SetProcWindow(void* window) override { return inner_.SetProcWindow(window); }
  LockHandle DoPkt(PortHandle port, std::int32_t action, LockHandle lock, const std::uint8_t* name,
                   std::int32_t arg3, std::int32_t arg4, const std::uint8_t* arg5) override {
    return inner_.DoPkt(port, action, lock, name, arg3, arg4, arg5);
  }
  bool CopyStringSTRToBSTR(const char* text, std::uint8_t* buffer, std::uint32_t size) override {
    return inner_.CopyStringSTRToBSTR(text, buffer, size);
  }

  // ---- Records in place ----------------------------------------------------------------------
  FileLock FileLockOf(LockHandle lock) override { return inner_.FileLockOf(lock); }
  PortRecord PortRecordOf(PortHandle port) override { return inner_.PortRecordOf(port); }

  // ---- Command line, output, errors, signals -------------------------------------------------
  RdArgsHandle ReadArgs(const char* argument_template, ArgumentWord* words,
                        RdArgsHandle rdargs) override {
    return inner_.ReadArgs(argument_template, words, rdargs);
  }
  void FreeArgs(RdArgsHandle rdargs) override { inner_.FreeArgs(rdargs); }
  void VPrintf(const char* format, const FormatArgument* args, std::size_t count) override {
    inner_.VPrintf(format, args, count);
  }
  void PutStr(const char* text) override { inner_.PutStr(text); }
  std::int32_t IoErr() override { return inner_.IoErr(); }
  void SetIoErr(std::int32_t code) override { inner_.SetIoErr(code); }
  std::uint32_t CheckSignal(std::uint32_t mask) override { return inner_.CheckSignal(mask); }
  void Delay(std::uint32_t ticks) override { inner_.Delay(ticks); }
  std::int32_t TimedDosRequesterTags(std::uint32_t timeout, const char* body, const char* buttons,
                                     std::int32_t image) override {
    return inner_.TimedDosRequesterTags(timeout, body, buttons, image);
  }
  bool DateToStr(DateTime& date) override { return inner_.DateToStr(date); }

 protected:
  ~ForwardingDos() = default;
  DosInterface& inner() const { return inner_; }

 private:
  DosInterface& inner_;
};

}  // namespace quorle
