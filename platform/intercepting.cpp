#include "platform/intercepting.h"

#include <initializer_list>
#include <string>
#include <utility>

#include "platform/constants.h"

namespace quorle {

/// The hooks, one around the other.
class Interception::Hooks {
 public:
  explicit Hooks(std::vector<CallHook*> hooks) : hooks_(std::move(hooks)) {}

  /// An operation, and the memory that it works on.
  struct Operation {
    Operation(const char* its_name, CallMemory its_memory = {})
        : name(its_name), memory(its_memory) {}

    const char* name;
    CallMemory memory;
  };

  // Each of these makes a call of one kind (CallKind) through the hooks; `make` makes it for real.
  template <class Make>
  auto Ask(const Operation& operation, std::initializer_list<CallValue> args,
           const Make& make) const {
    return Around({CallKind::kHandler, operation.name, args, operation.memory, {}}, make);
  }
  template <class Make>
  auto Request(const Operation& operation, std::initializer_list<CallValue> args,
               const Make& make) const {
    return Around({CallKind::kSystem, operation.name, args, operation.memory, {}}, make);
  }
  /// The same for what dos may do by itself; `emulated` says whether it did, once the call is made.
  template <class Make>
  auto AskFurther(const Operation& operation, std::initializer_list<CallValue> args,
                  const bool& emulated, const Make& make) const {
    return Around({CallKind::kHandler, operation.name, args, operation.memory, {}, &emulated},
                  make);
  }
  template <class Make>
  auto Local(const Operation& operation, std::initializer_list<CallValue> args,
             const Make& make) const {
    return Around({CallKind::kLocal, operation.name, args, operation.memory, {}}, make);
  }

 private:
  template <class Make>
  auto Around(Call call, const Make& make) const {
    using Result = std::invoke_result_t<const Make&>;
    if constexpr (std::is_void_v<Result>) {
      Enter(0, call, MakeCall(make));
    } else {
      Result result{};
      call.result = &result;
      const auto fill = [&] { result = make(); };
      Enter(0, call, MakeCall(fill));
      return result;
    }
  }

  void Enter(std::size_t depth, const Call& call, MakeCall make) const {
    if (depth == hooks_.size()) {
      make();
      return;
    }
    const auto further = [&] { Enter(depth + 1, call, make); };
    hooks_[depth]->Around(call, MakeCall(further));
  }

  std::vector<CallHook*> hooks_;
};

class Interception::InterceptingDos final : public DosInterface {
 public:
  InterceptingDos(DosInterface& inner, const Hooks& hooks) : inner_(inner), hooks_(hooks) {}

  // ---- Files ---------------------------------------------------------------------------------
  FileHandle Open(const char* name, std::int32_t mode) override {
    return hooks_.Ask("Open", {name, mode}, [&] { return inner_.Open(name, mode); });
  }
  bool Close(FileHandle file) override {
    return hooks_.Ask("Close", {file}, [&] { return inner_.Close(file); });
  }
  std::int32_t Read(FileHandle file, void* buffer, std::int32_t bytes) override {
    return hooks_.Ask({"Read", ReadBuffer{buffer, bytes}}, {file, bytes},
                      [&] { return inner_.Read(file, buffer, bytes); });
  }
  std::int32_t Write(FileHandle file, const void* data, std::int32_t bytes) override {
    return hooks_.Ask("Write", {file, Data{data, bytes}},
                      [&] { return inner_.Write(file, data, bytes); });
  }
  bool ChangeFilePosition(FileHandle file, std::int64_t position, std::int32_t mode) override {
    return hooks_.Ask("ChangeFilePosition", {file, position, mode},
                      [&] { return inner_.ChangeFilePosition(file, position, mode); });
  }
  std::int64_t GetFilePosition(FileHandle file) override {
    return hooks_.Ask("GetFilePosition", {file}, [&] { return inner_.GetFilePosition(file); });
  }
  bool ChangeFileSize(FileHandle file, std::int64_t size, std::int32_t mode) override {
    return hooks_.Ask("ChangeFileSize", {file, size, mode},
                      [&] { return inner_.ChangeFileSize(file, size, mode); });
  }
  std::int64_t GetFileSize(FileHandle file) override {
    return hooks_.Ask("GetFileSize", {file}, [&] { return inner_.GetFileSize(file); });
  }
  bool ChangeMode(std::int32_t type, LockHandle lock, std::int32_t mode) override {
    return hooks_.Ask("ChangeMode", {type, lock, mode},
                      [&] { return inner_.ChangeMode(type, lock, mode); });
  }
  bool ChangeMode(std::int32_t type, FileHandle file, std::int32_t mode) override {
    return hooks_.Ask("ChangeMode", {type, file, mode},
                      [&] { return inner_.ChangeMode(type, file, mode); });
  }

  // ---- Locks ---------------------------------------------------------------------------------
  LockHandle Lock(const char* name, std::int32_t mode) override {
    return hooks_.Ask("Lock", {name, mode}, [&] { return inner_.Lock(name, mode); });
  }
  void UnLock(LockHandle lock) override {
    hooks_.Request("UnLock", {lock}, [&] { inner_.UnLock(lock); });
  }
  LockHandle DupLock(LockHandle lock) override {
    return hooks_.Ask("DupLock", {lock}, [&] { return inner_.DupLock(lock); });
  }
  LockHandle DupLockFromFH(FileHandle file) override {
    return hooks_.Ask("DupLockFromFH", {file}, [&] { return inner_.DupLockFromFH(file); });
  }
  FileHandle OpenFromLock(LockHandle lock) override {
    return hooks_.Ask("OpenFromLock", {lock}, [&] { return inner_.OpenFromLock(lock); });
  }
  LockHandle ParentDir(LockHandle lock) override {
    return hooks_.Ask("ParentDir", {lock}, [&] { return inner_.ParentDir(lock); });
  }
  LockHandle ParentOfFH(FileHandle file) override {
    return hooks_.Ask("ParentOfFH", {file}, [&] { return inner_.ParentOfFH(file); });
  }
  std::int32_t SameLock(LockHandle a, LockHandle b) override {
    return hooks_.Request("SameLock", {a, b}, [&] { return inner_.SameLock(a, b); });
  }
  LockHandle SetCurrentDir(LockHandle lock) override {
    return hooks_
        .Request("SetCurrentDir", {lock}, [&] { return KnownLock{inner_.SetCurrentDir(lock)}; })
        .lock;
  }

  // ---- Objects, links, attributes ------------------------------------------------------------
  LockHandle CreateDir(const char* name) override {
    return hooks_.Ask("CreateDir", {name}, [&] { return inner_.CreateDir(name); });
  }
  LockHandle CreateDirTree(const char* path) override {
    return hooks_.Ask("CreateDirTree", {path}, [&] { return inner_.CreateDirTree(path); });
  }
  bool Delete(const char* name) override {
    return hooks_.Ask("Delete", {name}, [&] { return inner_.Delete(name); });
  }
  bool Rename(const char* old_name, const char* new_name) override {
    return hooks_.Ask("Rename", {old_name, new_name},
                      [&] { return inner_.Rename(old_name, new_name); });
  }
  bool MakeLink(const char* name, LockHandle target, std::int32_t kind) override {
    return hooks_.Ask("MakeLink", {name, target, kind},
                      [&] { return inner_.MakeLink(name, target, kind); });
  }
  bool MakeLink(const char* name, const char* target, std::int32_t kind) override {
    return hooks_.Ask("MakeLink", {name, target, kind},
                      [&] { return inner_.MakeLink(name, target, kind); });
  }
  std::int32_t ReadSoftLink(PortHandle port, LockHandle lock, const char* name, char* buffer,
                            std::int32_t size) override {
    return hooks_.Ask({"ReadSoftLink", LinkBuffer{buffer, size}}, {port, lock, name, size},
                      [&] { return inner_.ReadSoftLink(port, lock, name, buffer, size); });
  }
  bool SetComment(const char* name, const char* comment) override {
    return hooks_.Ask("SetComment", {name, comment},
                      [&] { return inner_.SetComment(name, comment); });
  }
  bool SetProtection(const char* name, std::uint32_t mask) override {
    return hooks_.Ask("SetProtection", {name, mask},
                      [&] { return inner_.SetProtection(name, mask); });
  }
  bool SetDate(const char* name, const quorle::DateStamp& date) override {
    return hooks_.Ask("SetDate", {name, &date}, [&] { return inner_.SetDate(name, date); });
  }
  bool SetOwnerInfo(const char* name, std::uint32_t id_tag, std::uint32_t id) override {
    const char* const what = id_tag == OI_OwnerGID ? "group" : "owner";
    return hooks_.Ask("SetOwnerInfo", {name, what, id},
                      [&] { return inner_.SetOwnerInfo(name, id_tag, id); });
  }
  void DateStamp(quorle::DateStamp& now) override {
    hooks_.Request({"DateStamp", &now}, {}, [&] { inner_.DateStamp(now); });
  }
  const ExamineData* ExamineObject(std::uint32_t tag, const char* name) override {
    return hooks_.Ask("ExamineObject", {Tag{tag}, name},
                      [&] { return inner_.ExamineObject(tag, name); });
  }
  const ExamineData* ExamineObject(std::uint32_t tag, FileHandle file) override {
    return hooks_.Ask("ExamineObject", {Tag{tag}, file},
                      [&] { return inner_.ExamineObject(tag, file); });
  }
  const ExamineData* ExamineObject(std::uint32_t tag, LockHandle lock) override {
    return hooks_.Ask("ExamineObject", {Tag{tag}, lock},
                      [&] { return inner_.ExamineObject(tag, lock); });
  }
  void FreeDosObject(std::uint32_t type, const ExamineData* data) override {
    hooks_.Request("FreeDosObject", {type, data}, [&] { inner_.FreeDosObject(type, data); });
  }

  // ---- Volumes and handlers ------------------------------------------------------------------
  const DevProc* GetDeviceProc(const char* name, const DevProc* previous) override {
    return hooks_.Request("GetDeviceProc", {name},
                          [&] { return inner_.GetDeviceProc(name, previous); });
  }
  void FreeDeviceProc(const DevProc* devproc) override {
    hooks_.Request("FreeDeviceProc", {devproc}, [&] { inner_.FreeDeviceProc(devproc); });
  }
  bool IsFileSystem(PortHandle port) override {
    return hooks_.Request("IsFileSystem", {port}, [&] { return inner_.IsFileSystem(port); });
  }
  bool DevNameFromPort(PortHandle port, char* buffer, std::uint32_t size, bool add_colon) override {
    return hooks_.Request({"DevNameFromPort", NameBuffer{buffer, size}}, {port, add_colon},
                          [&] { return inner_.DevNameFromPort(port, buffer, size, add_colon); });
  }
  bool VolNameFromPort(PortHandle port, char* buffer, std::uint32_t size, bool add_colon) override {
    return hooks_.Request({"VolNameFromPort", NameBuffer{buffer, size}}, {port, add_colon},
                          [&] { return inner_.VolNameFromPort(port, buffer, size, add_colon); });
  }
  bool FileSystemAttr(PortHandle port, char* version, std::uint32_t version_size,
                      std::uint32_t& dos_type) override {
    return hooks_.Ask({"FileSystemAttr", AttributeBuffer{version, version_size, &dos_type}}, {port},
                      [&] { return inner_.FileSystemAttr(port, version, version_size, dos_type); });
  }
  bool GetDiskInfo(PortHandle port, InfoData& info) override {
    return hooks_.Ask({"GetDiskInfo", &info}, {port},
                      [&] { return inner_.GetDiskInfo(port, info); });
  }
  bool GetDiskInfo(const char* device, InfoData& info) override {
    return hooks_.Ask({"GetDiskInfo", &info}, {device},
                      [&] { return inner_.GetDiskInfo(device, info); });
  }
  bool Relabel(const char* device, const char* volume) override {
    return hooks_.Ask("Relabel", {device, volume}, [&] { return inner_.Relabel(device, volume); });
  }
  bool WriteProtectVolume(const char* device, bool on, std::uint32_t key,
                          std::uint32_t reserved) override {
    return hooks_.Ask("WriteProtectVolume", {device, on, key, reserved},
                      [&] { return inner_.WriteProtectVolume(device, on, key, reserved); });
  }
  void* SetProcWindow(void* window) override {
    const CallValue shown = window == kNoRequesters ? CallValue(std::int32_t{-1}) : "previous";
    return hooks_
        .Request("SetProcWindow", {shown}, [&] { return Window{inner_.SetProcWindow(window)}; })
        .window;
  }
  LockHandle DoPkt(PortHandle port, std::int32_t action, LockHandle lock, const std::uint8_t* name,
                   std::int32_t arg3, std::int32_t arg4, const std::uint8_t* arg5) override {
    return hooks_.Ask("DoPkt", {port, action, lock, BString{name}, arg3, arg4, BString{arg5}},
                      [&] { return inner_.DoPkt(port, action, lock, name, arg3, arg4, arg5); });
  }
  bool CopyStringSTRToBSTR(const char* text, std::uint8_t* buffer, std::uint32_t size) override {
    return hooks_.Local("CopyStringSTRToBSTR", {text},
                        [&] { return inner_.CopyStringSTRToBSTR(text, buffer, size); });
  }

  // ---- Records in place ----------------------------------------------------------------------
  FileLock FileLockOf(LockHandle lock) override {
    return hooks_.Local("FileLockOf", {lock}, [&] { return inner_.FileLockOf(lock); });
  }
  PortRecord PortRecordOf(PortHandle port) override {
    return hooks_.Local("PortRecordOf", {port}, [&] { return inner_.PortRecordOf(port); });
  }

  // ---- Command line, output, errors, signals -------------------------------------------------
  RdArgsHandle ReadArgs(const char* argument_template, ArgumentWord* words,
                        RdArgsHandle rdargs) override {
    return hooks_.Request({"ReadArgs", WordBuffer{argument_template, words}}, {argument_template},
                          [&] { return inner_.ReadArgs(argument_template, words, rdargs); });
  }
  void FreeArgs(RdArgsHandle rdargs) override {
    hooks_.Request("FreeArgs", {rdargs}, [&] { inner_.FreeArgs(rdargs); });
  }
  void VPrintf(const char* format, const FormatArgument* args, std::size_t count) override {
    hooks_.Request({"Printf", Message{format, args, count}}, {},
                   [&] { inner_.VPrintf(format, args, count); });
  }
  void PutStr(const char* text) override {
    hooks_.Request("PutStr", {text}, [&] { inner_.PutStr(text); });
  }
  std::int32_t IoErr() override {
    return hooks_.Local("IoErr", {}, [&] { return inner_.IoErr(); });
  }
  void SetIoErr(std::int32_t code) override {
    hooks_.Local("SetIoErr", {code}, [&] { inner_.SetIoErr(code); });
  }
  std::uint32_t CheckSignal(std::uint32_t mask) override {
    return hooks_.Request("CheckSignal", {mask}, [&] { return inner_.CheckSignal(mask); });
  }
  void Delay(std::uint32_t ticks) override {
    hooks_.Request("Delay", {ticks}, [&] { inner_.Delay(ticks); });
  }
  std::int32_t TimedDosRequesterTags(std::uint32_t timeout, const char* body, const char* buttons,
                                     std::int32_t image) override {
    return hooks_.Request("TimedDosRequesterTags", {timeout, body, buttons, image}, [&] {
      return inner_.TimedDosRequesterTags(timeout, body, buttons, image);
    });
  }
  bool DateToStr(DateTime& date) override {
    return hooks_.Local({"DateToStr", &date}, {&std::as_const(date.dat_Stamp)},
                        [&] { return inner_.DateToStr(date); });
  }

 private:
  DosInterface& inner_;
  const Hooks& hooks_;
};

class Interception::InterceptingFurtherDos final : public FurtherDosInterface {
 public:
  InterceptingFurtherDos(FurtherDosInterface& inner, const Hooks& hooks)
      : inner_(inner), hooks_(hooks) {}

  FurtherDosInterface& inner() { return inner_; }

  // ---- Scans of a directory --------------------------------------------------------------------
  DirContextHandle ObtainDirContext(std::uint32_t tag, LockHandle lock) override {
    return Ask("ObtainDirContext", {Tag{tag}, lock},
               [&] { return inner_.ObtainDirContext(tag, lock); });
  }
  DirContextHandle ObtainDirContext(std::uint32_t tag, const char* name) override {
    return Ask("ObtainDirContext", {Tag{tag}, name},
               [&] { return inner_.ObtainDirContext(tag, name); });
  }
  const ExamineData* ExamineDir(DirContextHandle context) override {
    return Ask("ExamineDir", {context}, [&] { return inner_.ExamineDir(context); });
  }
  void ReleaseDirContext(DirContextHandle context) override {
    hooks_.Request("ReleaseDirContext", {context}, [&] { inner_.ReleaseDirContext(context); });
  }

  // ---- Files -----------------------------------------------------------------------------------
  std::int32_t SameFile(FileHandle a, FileHandle b) override {
    return hooks_.Request("SameFile", {a, b}, [&] { return inner_.SameFile(a, b); });
  }
  bool LockRecord(FileHandle file, std::int64_t offset, std::int64_t length, std::uint32_t mode,
                  std::uint32_t ticks) override {
    return Ask("LockRecord", {file, offset, length, mode, ticks},
               [&] { return inner_.LockRecord(file, offset, length, mode, ticks); });
  }
  bool UnLockRecord(FileHandle file, std::int64_t offset, std::int64_t length) override {
    return Ask("UnLockRecord", {file, offset, length},
               [&] { return inner_.UnLockRecord(file, offset, length); });
  }

  // ---- Notification ----------------------------------------------------------------------------
  NotifyHandle StartNotify(const char* name, std::uint32_t flags) override {
    return Ask("StartNotify", {name, flags}, [&] { return inner_.StartNotify(name, flags); });
  }
  void EndNotify(NotifyHandle request) override {
    hooks_.Request("EndNotify", {request}, [&] { inner_.EndNotify(request); });
  }
  MessageHandle GetNotifyMsg(NotifyHandle request) override {
    return hooks_.Request("GetNotifyMsg", {request}, [&] { return inner_.GetNotifyMsg(request); });
  }
  void ReplyNotifyMsg(MessageHandle message) override {
    hooks_.Request("ReplyNotifyMsg", {message}, [&] { inner_.ReplyNotifyMsg(message); });
  }
  bool CheckNotifySignal(NotifyHandle request) override {
    return hooks_.Request("CheckNotifySignal", {request},
                          [&] { return inner_.CheckNotifySignal(request); });
  }

  // ---- Volumes ---------------------------------------------------------------------------------
  bool Flush(const char* device) override {
    return Ask("Flush", {device}, [&] { return inner_.Flush(device); });
  }
  bool VolumeInfoData(const char* device, InfoData& info) override {
    return Ask({"VolumeInfoData", VolumeBuffer{&info}}, {device},
               [&] { return inner_.VolumeInfoData(device, info); });
  }
  bool FileSystemAttr(const char* device, std::uint32_t tag, std::uint32_t& value) override {
    return Ask({"FileSystemAttr", &value}, {device, Tag{tag}},
               [&] { return inner_.FileSystemAttr(device, tag, value); });
  }
  bool Inhibit(const char* device, bool on) override {
    return Ask("Inhibit", {device, on}, [&] { return inner_.Inhibit(device, on); });
  }
  bool Serialize(const char* device) override {
    return Ask("Serialize", {device}, [&] { return inner_.Serialize(device); });
  }
  bool Format(const char* device, const char* volume, std::uint32_t dos_type) override {
    return Ask("Format", {device, volume, dos_type},
               [&] { return inner_.Format(device, volume, dos_type); });
  }
  bool Remount(const char* device, LockHandle root) override {
    return Ask("Remount", {device, root}, [&] { return inner_.Remount(device, root); });
  }

  bool WasEmulated() const override { return inner_.WasEmulated(); }

 private:
  template <class Make>
  std::invoke_result_t<const Make&> Ask(const Hooks::Operation& operation,
                                        std::initializer_list<CallValue> args,
                                        const Make& make) const {
    bool emulated = false;
    return hooks_.AskFurther(operation, args, emulated, [&] {
      const auto result = make();
      emulated = inner_.WasEmulated();
      return result;
    });
  }

  FurtherDosInterface& inner_;
  const Hooks& hooks_;
};

class Interception::InterceptingExec final : public ExecInterface {
 public:
  InterceptingExec(ExecInterface& inner, const Hooks& hooks) : inner_(inner), hooks_(hooks) {}

  /// Gives `intercepting` where the real exec gives `real`.
  void Replace(Interface& real, Interface& intercepting) {
    replaced_.emplace_back(&real, &intercepting);
  }

  const Process* FindTask(const char* name) override {
    return hooks_.Request("FindTask", {name}, [&] { return inner_.FindTask(name); });
  }
  void WaitPort(PortHandle port) override {
    hooks_.Request("WaitPort", {}, [&] { inner_.WaitPort(port); });
  }
  MessageHandle GetMsg(PortHandle port) override {
    return hooks_.Request("GetMsg", {}, [&] { return inner_.GetMsg(port); });
  }
  void ReplyMsg(MessageHandle message) override {
    hooks_.Request("ReplyMsg", {message}, [&] { inner_.ReplyMsg(message); });
  }
  void* AllocVecTags(std::uint32_t bytes) override {
    return hooks_
        .Request("AllocVecTags", {bytes}, [&] { return Memory{inner_.AllocVecTags(bytes)}; })
        .start;
  }
  void FreeVec(void* memory) override {
    hooks_.Request("FreeVec", {Memory{memory}}, [&] { inner_.FreeVec(memory); });
  }
  // Between two places of the tester's own memory, which no hook asks about.
  void CopyMem(const void* source, void* destination, std::uint32_t bytes) override {
    inner_.CopyMem(source, destination, bytes);
  }
  const Library* OpenLibrary(const char* name, std::uint32_t version) override {
    const Library* const library = hooks_.Request(
        "OpenLibrary", {name, version}, [&] { return inner_.OpenLibrary(name, version); });
    if (library != nullptr) libraries_.emplace_back(library, name);
    return library;
  }
  void CloseLibrary(const Library* library) override {
    hooks_.Request({"CloseLibrary", library}, {NameIn(libraries_, library)},
                   [&] { inner_.CloseLibrary(library); });
  }
  Interface* GetInterface(const Library* library, const char* name,
                          std::uint32_t version) override {
    const char* const of = NameIn(libraries_, library);
    Interface* const real = hooks_.Request({"GetInterface", library}, {of, name, version}, [&] {
      return inner_.GetInterface(library, name, version);
    });
    if (real == nullptr) return nullptr;
    interfaces_.emplace_back(real, of);
    for (const auto& [from, to] : replaced_) {
      if (from == real) return to;
    }
    return real;
  }
  void DropInterface(Interface* interface) override {
    Interface* real = interface;
    for (const auto& [from, to] : replaced_) {
      if (to == interface) real = from;
    }
    hooks_.Request({"DropInterface", real}, {NameIn(interfaces_, real)},
                   [&] { inner_.DropInterface(real); });
  }

 private:
  template <class Thing>
  using Names = std::vector<std::pair<const Thing*, std::string>>;

  /// The name of the library; null of none that was opened.
  template <class Thing>
  static const char* NameIn(const Names<Thing>& names, const Thing* thing) {
    for (const auto& [known, name] : names) {
      if (known == thing) return name.c_str();
    }
    return nullptr;
  }

  ExecInterface& inner_;
  const Hooks& hooks_;
  std::vector<std::pair<Interface*, Interface*>> replaced_;
  Names<Library> libraries_;
  Names<Interface> interfaces_;
};

Interception::Interception(ExecInterface& exec, DosInterface& dos, std::vector<CallHook*> hooks,
                           FurtherDosInterface* further)
    : hooks_(std::make_unique<Hooks>(std::move(hooks))),
      dos_(std::make_unique<InterceptingDos>(dos, *hooks_)),
      exec_(std::make_unique<InterceptingExec>(exec, *hooks_)) {
  exec_->Replace(dos, *dos_);
  if (further == nullptr) return;
  further_ = std::make_unique<InterceptingFurtherDos>(*further, *hooks_);
  exec_->Replace(*further, *further_);
}

Interception::~Interception() = default;

ExecInterface& Interception::exec() {
  return *exec_;
}

DosInterface& Interception::dos() {
  return *dos_;
}

FurtherDosInterface& Interception::further() {
  return *further_;
}

}  // namespace quorle
