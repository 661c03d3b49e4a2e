#include "program/call_watch.h"

#include <cstdint>
#include <type_traits>

#include "platform/constants.h"
#include "platform/forwarding.h"

namespace quorle {

class CallWatch::WatchedDos final : public ForwardingDos {
 public:
  using ForwardingDos::ForwardingDos;

  std::string_view unknown() const { return unknown_; }
  void ForgetUnknown() { unknown_ = {}; }
  bool broken() const { return broken_; }

  FileHandle Open(const char* name, std::int32_t mode) override {
    return Noted("Open", inner().Open(name, mode));
  }
  bool Close(FileHandle file) override { return Noted("Close", inner().Close(file)); }
  std::int32_t Read(FileHandle file, void* buffer, std::int32_t bytes) override {
    return Noted("Read", inner().Read(file, buffer, bytes));
  }
  std::int32_t Write(FileHandle file, const void* data, std::int32_t bytes) override {
    return Noted("Write", inner().Write(file, data, bytes));
  }
  bool ChangeFilePosition(FileHandle file, std::int64_t position, std::int32_t mode) override {
    return Noted("ChangeFilePosition", inner().ChangeFilePosition(file, position, mode));
  }
  std::int64_t GetFilePosition(FileHandle file) override {
    return Noted("GetFilePosition", inner().GetFilePosition(file));
  }
  bool ChangeFileSize(FileHandle file, std::int64_t size, std::int32_t mode) override {
    return Noted("ChangeFileSize", inner().ChangeFileSize(file, size, mode));
  }
  std::int64_t GetFileSize(FileHandle file) override {
    return Noted("GetFileSize", inner().GetFileSize(file));
  }
  bool ChangeMode(std::int32_t type, LockHandle lock, std::int32_t mode) override {
    return Noted("ChangeMode", inner().ChangeMode(type, lock, mode));
  }
  bool ChangeMode(std::int32_t type, FileHandle file, std::int32_t mode) override {
    return Noted("ChangeMode", inner().ChangeMode(type, file, mode));
  }
  LockHandle Lock(const char* name, std::int32_t mode) override {
    return Noted("Lock", inner().Lock(name, mode));
  }
  LockHandle DupLock(LockHandle lock) override { return Noted("DupLock", inner().DupLock(lock)); }
  LockHandle DupLockFromFH(FileHandle file) override {
    return Noted("DupLockFromFH", inner().DupLockFromFH(file));
  }
  FileHandle OpenFromLock(LockHandle lock) override {
    return Noted("OpenFromLock", inner().OpenFromLock(lock));
  }
  LockHandle ParentDir(LockHandle lock) override {
    return Noted("ParentDir", inner().ParentDir(lock));
  }
  LockHandle ParentOfFH(FileHandle file) override {
    return Noted("ParentOfFH", inner().ParentOfFH(file));
  }
  LockHandle CreateDir(const char* name) override {
    return Noted("CreateDir", inner().CreateDir(name));
  }
  LockHandle CreateDirTree(const char* path) override {
    return Noted("CreateDirTree", inner().CreateDirTree(path));
  }
  bool Delete(const char* name) override { return Noted("Delete", inner().Delete(name)); }
  bool Rename(const char* old_name, const char* new_name) override {
    return Noted("Rename", inner().Rename(old_name, new_name));
  }
  bool MakeLink(const char* name, LockHandle target, std::int32_t kind) override {
    return Noted("MakeLink", inner().MakeLink(name, target, kind));
  }
  bool MakeLink(const char* name, const char* target, std::int32_t kind) override {
    return Noted("MakeLink", inner().MakeLink(name, target, kind));
  }
  std::int32_t ReadSoftLink(PortHandle port, LockHandle lock, const char* name, char* buffer,
                            std::int32_t size) override {
    return Noted("ReadSoftLink", inner().ReadSoftLink(port, lock, name, buffer, size));
  }
  bool SetComment(const char* name, const char* comment) override {
    return Noted("SetComment", inner().SetComment(name, comment));
  }
  bool SetProtection(const char* name, std::uint32_t mask) override {
    return Noted("SetProtection", inner().SetProtection(name, mask));
  }
  bool SetDate(const char* name, const quorle::DateStamp& date) override {
    return Noted("SetDate", inner().SetDate(name, date));
  }
  bool SetOwnerInfo(const char* name, std::uint32_t id_tag, std::uint32_t id) override {
    return Noted("SetOwnerInfo", inner().SetOwnerInfo(name, id_tag, id));
  }
  const ExamineData* ExamineObject(std::uint32_t tag, const char* name) override {
    return Noted("ExamineObject", inner().ExamineObject(tag, name));
  }
  const ExamineData* ExamineObject(std::uint32_t tag, FileHandle file) override {
    return Noted("ExamineObject", inner().ExamineObject(tag, file));
  }
  const ExamineData* ExamineObject(std::uint32_t tag, LockHandle lock) override {
    return Noted("ExamineObject", inner().ExamineObject(tag, lock));
  }
  bool FileSystemAttr(PortHandle port, char* version, std::uint32_t version_size,
                      std::uint32_t& dos_type) override {
    return Noted("FileSystemAttr", inner().FileSystemAttr(port, version, version_size, dos_type));
  }
  bool GetDiskInfo(PortHandle port, InfoData& info) override {
    return Noted("GetDiskInfo", inner().GetDiskInfo(port, info));
  }
  bool GetDiskInfo(const char* device, InfoData& info) override {
    return Noted("GetDiskInfo", inner().GetDiskInfo(device, info));
  }
  bool Relabel(const char* device, const char* volume) override {
    return Noted("Relabel", inner().Relabel(device, volume));
  }
  bool WriteProtectVolume(const char* device, bool on, std::uint32_t key,
                          std::uint32_t reserved) override {
    return Noted("WriteProtectVolume", inner().WriteProtectVolume(device, on, key, reserved));
  }
  LockHandle DoPkt(PortHandle port, std::int32_t action, LockHandle lock, const std::uint8_t* name,
                   std::int32_t arg3, std::int32_t arg4, const std::uint8_t* arg5) override {
    return Noted("DoPkt", inner().DoPkt(port, action, lock, name, arg3, arg4, arg5));
  }

  std::int32_t IoErr() override {
    const std::int32_t code = inner().IoErr();
    if (code == ERROR_ACTION_NOT_KNOWN && unknown_.empty()) unknown_ = last_;
    return code;
  }
  std::uint32_t CheckSignal(std::uint32_t mask) override {
    const std::uint32_t signals = inner().CheckSignal(mask);
    broken_ = broken_ || (signals & SIGBREAKF_CTRL_C) != 0;
    return signals;
  }

 private:
  /// Whether a call gave what stands for failure: false, nothing, or a negative count.
  template <class Result>
  static bool Failed(const Result& result) {
    if constexpr (std::is_integral_v<Result> && !std::is_same_v<Result, bool>) {
      return result < 0;
    } else {
      return !result;
    }
  }

  template <class Result>
  Result Noted(std::string_view call, Result result) {
    if (Failed(result) && inner().IoErr() == ERROR_ACTION_NOT_KNOWN) last_ = call;
    return result;
  }

  std::string_view last_;     ///< the last call that failed with 209
  std::string_view unknown_;  ///< the same at the time when the code was first looked at
  bool broken_ = false;
};

class CallWatch::WatchedExec final : public ForwardingExec {
 public:
  WatchedExec(ExecInterface& inner, DosInterface& inner_dos, DosInterface& dos)
      : ForwardingExec(inner), inner_dos_(inner_dos), dos_(dos) {}

  Interface* GetInterface(const Library* library, const char* name,
                          std::uint32_t version) override {
    Interface* const interface = inner().GetInterface(library, name, version);
    return interface == &inner_dos_ ? &dos_ : interface;
  }
  void DropInterface(Interface* interface) override {
    inner().DropInterface(interface == &dos_ ? &inner_dos_ : interface);
  }

 private:
  DosInterface& inner_dos_;
  DosInterface& dos_;
};

CallWatch::CallWatch(ExecInterface& exec, DosInterface& dos)
    : dos_(std::make_unique<WatchedDos>(dos)),
      exec_(std::make_unique<WatchedExec>(exec, dos, *dos_)) {}

CallWatch::~CallWatch() = default;

ExecInterface& CallWatch::exec() {
  return *exec_;
}

DosInterface& CallWatch::dos() {
  return *dos_;
}

std::string_view CallWatch::unknown() const {
  return dos_->unknown();
}

void CallWatch::ForgetUnknown() {
  dos_->ForgetUnknown();
}

bool CallWatch::broken() const {
  return dos_->broken();
}

}  // namespace quorle
