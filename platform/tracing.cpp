#include "platform/tracing.h"

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/constants.h"
#include "platform/format_text.h"
#include "platform/forwarding.h"

namespace quorle {
namespace {

/// Kinds of handle, each with the word that names it in a trace.
enum class Kind : std::uint8_t {
  kLock,
  kFile,
  kPort,
  kExamine,
  kMemory,
  kRdArgs,
  kDevProc,
  kMessage
};

constexpr const char* kKindNames[] = {"lock", "fh",     "port",    "examine",
                                      "mem",  "rdargs", "devproc", "msg"};

/// A value in a trace: what is known of one argument or result, ready to be written as JSON.
class Json {
 public:
  explicit Json(std::string& out) : out_(out) {}

  void Null() { out_ += "null"; }
  void Bool(bool value) { out_ += value ? "true" : "false"; }
  void Number(std::int64_t value) { out_ += std::to_string(value); }
  void Unsigned(std::uint64_t value) { out_ += std::to_string(value); }

  /// A quoted text; null when there is none.
  void Text(const char* text) {
    if (text == nullptr) {
      Null();
    } else {
      Text(std::string_view(text));
    }
  }
  void Text(std::string_view text) {
    out_ += '"';
    for (const char c : text) Character(static_cast<unsigned char>(c));
    out_ += '"';
  }

  void Raw(std::string_view json) { out_ += json; }

 private:
  void Character(unsigned char c) {
    switch (c) {
      case '"':
        out_ += "\\\"";
        return;
      case '\\':
        out_ += "\\\\";
        return;
      case '\n':
        out_ += "\\n";
        return;
      case '\r':
        out_ += "\\r";
        return;
      case '\t':
        out_ += "\\t";
        return;
      case '\f':
        out_ += "\\f";
        return;
      default:
        break;
    }
    if (c >= 0x20 && c < 0x80) {
      out_ += static_cast<char>(c);
      return;
    }
    constexpr char kDigits[] = "0123456789abcdef";
    out_ += "\\u00";
    out_ += kDigits[c >> 4];
    out_ += kDigits[c & 15];
  }

  std::string& out_;
};

/// A message as it reaches the console.
class FinishedText final : public TextSink {
 public:
  void Put(char c) override { text += c; }

  std::string text;
};

/// Truth values of their own type, so that a pointer never becomes one.
struct Flag {
  bool value;
};
struct Tag {
  std::uint32_t value;
};
struct Bytes {
  const void* data;
  std::int64_t count;
};
struct BString {
  const std::uint8_t* text;
};
struct Memory {
  const void* place;
};
struct Nothing {};

/// Whether the field of an argument template at `field` holds the modifier `modifier` ("/S").
bool HasModifier(std::string_view field, char modifier) {
  for (std::size_t i = 0; i + 1 < field.size(); ++i) {
    if (field[i] == '/' && (field[i + 1] | 0x20) == (modifier | 0x20)) return true;
  }
  return false;
}

}  // namespace

/// The numbers of the handles, and the line that is being written.
class Tracer::Trace {
 public:
  explicit Trace(TraceSink& sink, DosInterface& dos) : sink_(sink), dos_(dos) {}

  /// Opens a line for the call of `op` with `args`.
  template <class... Args>
  void Call(std::string_view op, const Args&... args) {
    line_.assign("{\"op\":\"");
    line_ += op;
    line_ += "\",\"args\":[";
    [[maybe_unused]] bool first = true;
    (Argument(first, args), ...);
    line_ += "],\"result\":";
  }

  /// Closes the line with the result of the call.
  template <class Result>
  void Returned(const Result& result) {
    Put(result);
    Finish();
  }

  /// Closes the line; the result was written to `json()`.
  void Finish() {
    line_ += ",\"ioerr\":";
    Json(line_).Number(dos_.IoErr());
    line_ += "}\n";
    Write();
  }

  void Output(std::string_view text) {
    line_.assign("{\"op\":\"Output\",\"text\":");
    Json(line_).Text(text);
    line_ += "}\n";
    Write();
  }

  Json json() { return Json(line_); }

  /// Gives a handle that a call has just made its number. Values come back after a release, numbers do not.
  void Made(Kind kind, std::uintptr_t value) {
    if (value != 0) numbers_[{kind, value}] = ++last_number_;
  }
  void Made(Kind kind, const void* place) { Made(kind, reinterpret_cast<std::uintptr_t>(place)); }

  void Put(Kind kind, std::uintptr_t value) {
    if (value == 0) {
      line_ += "null";
      return;
    }
    std::uint64_t& number = numbers_[{kind, value}];
    if (number == 0) number = ++last_number_;
    line_ += '"';
    line_ += kKindNames[static_cast<std::size_t>(kind)];
    line_ += ':';
    line_ += std::to_string(number);
    line_ += '"';
  }
  void Put(Kind kind, const void* place) { Put(kind, reinterpret_cast<std::uintptr_t>(place)); }

  void Put(LockHandle lock) { Put(Kind::kLock, lock.value); }
  void Put(FileHandle file) { Put(Kind::kFile, file.value); }
  void Put(PortHandle port) { Put(Kind::kPort, port.value); }
  void Put(RdArgsHandle rdargs) { Put(Kind::kRdArgs, rdargs.value); }
  void Put(MessageHandle message) { Put(Kind::kMessage, message.value); }
  void Put(const DevProc* devproc) { Put(Kind::kDevProc, devproc); }
  void Put(const ExamineData* data) { Put(Kind::kExamine, data); }
  void Put(Memory memory) { Put(Kind::kMemory, memory.place); }
  void Put(const char* text) { Json(line_).Text(text); }
  void Put(Flag flag) { Json(line_).Bool(flag.value); }
  void Put(std::int32_t number) { Json(line_).Number(number); }
  void Put(std::int64_t number) { Json(line_).Number(number); }
  void Put(std::uint32_t number) { Json(line_).Unsigned(number); }
  void Put(Nothing) { Json(line_).Null(); }
  void Put(Tag tag) {
    char text[sizeof "0x80001965"];
    std::snprintf(text, sizeof text, "0x%08lx", static_cast<unsigned long>(tag.value));
    Json(line_).Text(text);
  }
  void Put(Bytes bytes) {
    const auto count = bytes.count > 0 ? static_cast<std::size_t>(bytes.count) : 0;
    Json(line_).Text(std::string_view(static_cast<const char*>(bytes.data), count));
  }
  void Put(BString string) {
    if (string.text == nullptr) {
      Json(line_).Null();
    } else {
      Json(line_).Text(
          std::string_view(reinterpret_cast<const char*>(string.text) + 1, *string.text));
    }
  }
  void Put(const quorle::DateStamp& date) {
    line_ += "{\"days\":";
    Put(date.ds_Days);
    line_ += ",\"minutes\":";
    Put(date.ds_Minute);
    line_ += ",\"ticks\":";
    Put(date.ds_Tick);
    line_ += '}';
  }
  void PutLibrary(const Library* library) {
    if (library == nullptr) {
      Json(line_).Null();
      return;
    }
    line_ += "{\"version\":";
    Put(std::int32_t{library->lib_Version});
    line_ += ",\"revision\":";
    Put(std::int32_t{library->lib_Revision});
    line_ += '}';
  }
  void PutRecord(const ExamineData* data) {
    if (data == nullptr) {
      Json(line_).Null();
      return;
    }
    line_ += "{\"handle\":";
    Put(data);
    line_ += ",\"type\":";
    Put(data->Type);
    line_ += ",\"size\":";
    Put(data->FileSize);
    line_ += ",\"date\":";
    Put(data->Date);
    line_ += ",\"refcount\":";
    Put(data->RefCount);
    line_ += ",\"objectid\":";
    Json(line_).Unsigned(data->ObjectID);
    line_ += ",\"name\":";
    Put(data->Name);
    line_ += ",\"comment\":";
    Put(data->Comment);
    line_ += ",\"link\":";
    Put(data->Link);
    line_ += ",\"protection\":";
    Put(data->Protection);
    line_ += ",\"owner\":";
    Put(data->OwnerUID);
    line_ += ",\"group\":";
    Put(data->OwnerGID);
    line_ += '}';
  }
  /// The argument words, each as its field of `fields` says.
  void PutWords(std::string_view fields, const ArgumentWord* words) {
    line_ += '[';
    for (std::size_t i = 0;; ++i) {
      if (i > 0) line_ += ',';
      const std::size_t comma = fields.find(',');
      const std::string_view field = fields.substr(0, comma);
      if (HasModifier(field, 'S')) {
        Put(Flag{words[i].flag != 0});
      } else if (!HasModifier(field, 'N')) {
        Put(words[i].text);
      } else if (words[i].number == nullptr) {
        Json(line_).Null();
      } else {
        Put(*words[i].number);
      }
      if (comma == std::string_view::npos) break;
      fields.remove_prefix(comma + 1);
    }
    line_ += ']';
  }

 private:
  struct Key {
    Kind kind;
    std::uintptr_t value;
    friend bool operator==(const Key&, const Key&) = default;
  };
  struct KeyHash {
    std::size_t operator()(const Key& key) const {
      return std::hash<std::uintptr_t>()(key.value) * 8 + static_cast<std::size_t>(key.kind);
    }
  };

  template <class Argument_>
  void Argument(bool& first, const Argument_& argument) {
    if (!first) line_ += ',';
    first = false;
    Put(argument);
  }

  void Write() {
    if (open_) open_ = sink_.Write(line_.data(), line_.size());
  }

  TraceSink& sink_;
  DosInterface& dos_;
  std::string line_;
  std::unordered_map<Key, std::uint64_t, KeyHash> numbers_;
  std::uint64_t last_number_ = 0;
  bool open_ = true;
};

class Tracer::TracingDos final : public ForwardingDos {
 public:
  TracingDos(DosInterface& dos, Trace& trace) : ForwardingDos(dos), trace_(trace) {}

  DosInterface& real() const { return inner(); }

  // ---- Files ---------------------------------------------------------------------------------
  FileHandle Open(const char* name, std::int32_t mode) override {
    return Made(inner().Open(name, mode), "Open", name, mode);
  }
  bool Close(FileHandle file) override { return Told(inner().Close(file), "Close", file); }
  std::int32_t Read(FileHandle file, void* buffer, std::int32_t bytes) override {
    const std::int32_t count = inner().Read(file, buffer, bytes);
    trace_.Call("Read", file, bytes);
    trace_.json().Raw("{\"count\":");
    trace_.Put(count);
    trace_.json().Raw(",\"data\":");
    trace_.Put(Bytes{buffer, count < bytes ? count : bytes});
    trace_.json().Raw("}");
    trace_.Finish();
    return count;
  }
  std::int32_t Write(FileHandle file, const void* data, std::int32_t bytes) override {
    return Told(inner().Write(file, data, bytes), "Write", file, Bytes{data, bytes});
  }
  bool ChangeFilePosition(FileHandle file, std::int64_t position, std::int32_t mode) override {
    return Told(inner().ChangeFilePosition(file, position, mode), "ChangeFilePosition", file,
                position, mode);
  }
  std::int64_t GetFilePosition(FileHandle file) override {
    return Told(inner().GetFilePosition(file), "GetFilePosition", file);
  }
  bool ChangeFileSize(FileHandle file, std::int64_t size, std::int32_t mode) override {
    return Told(inner().ChangeFileSize(file, size, mode), "ChangeFileSize", file, size, mode);
  }
  std::int64_t GetFileSize(FileHandle file) override {
    return Told(inner().GetFileSize(file), "GetFileSize", file);
  }
  bool ChangeMode(std::int32_t type, LockHandle lock, std::int32_t mode) override {
    return Told(inner().ChangeMode(type, lock, mode), "ChangeMode", type, lock, mode);
  }
  bool ChangeMode(std::int32_t type, FileHandle file, std::int32_t mode) override {
    return Told(inner().ChangeMode(type, file, mode), "ChangeMode", type, file, mode);
  }

  // ---- Locks ---------------------------------------------------------------------------------
  LockHandle Lock(const char* name, std::int32_t mode) override {
    return Made(inner().Lock(name, mode), "Lock", name, mode);
  }
  void UnLock(LockHandle lock) override {
    inner().UnLock(lock);
    Done("UnLock", lock);
  }
  LockHandle DupLock(LockHandle lock) override {
    return Made(inner().DupLock(lock), "DupLock", lock);
  }
  LockHandle DupLockFromFH(FileHandle file) override {
    return Made(inner().DupLockFromFH(file), "DupLockFromFH", file);
  }
  FileHandle OpenFromLock(LockHandle lock) override {
    return Made(inner().OpenFromLock(lock), "OpenFromLock", lock);
  }
  LockHandle ParentDir(LockHandle lock) override {
    return Made(inner().ParentDir(lock), "ParentDir", lock);
  }
  LockHandle ParentOfFH(FileHandle file) override {
    return Made(inner().ParentOfFH(file), "ParentOfFH", file);
  }
  std::int32_t SameLock(LockHandle a, LockHandle b) override {
    return Told(inner().SameLock(a, b), "SameLock", a, b);
  }
  LockHandle SetCurrentDir(LockHandle lock) override {
    return Told(inner().SetCurrentDir(lock), "SetCurrentDir", lock);
  }

  // ---- Objects, links, attributes ------------------------------------------------------------
  LockHandle CreateDir(const char* name) override {
    return Made(inner().CreateDir(name), "CreateDir", name);
  }
  LockHandle CreateDirTree(const char* path) override {
    return Made(inner().CreateDirTree(path), "CreateDirTree", path);
  }
  bool Delete(const char* name) override { return Told(inner().Delete(name), "Delete", name); }
  bool Rename(const char* old_name, const char* new_name) override {
    return Told(inner().Rename(old_name, new_name), "Rename", old_name, new_name);
  }
  bool MakeLink(const char* name, LockHandle target, std::int32_t kind) override {
    return Told(inner().MakeLink(name, target, kind), "MakeLink", name, target, kind);
  }
  bool MakeLink(const char* name, const char* target, std::int32_t kind) override {
    return Told(inner().MakeLink(name, target, kind), "MakeLink", name, target, kind);
  }
  std::int32_t ReadSoftLink(PortHandle port, LockHandle lock, const char* name, char* buffer,
                            std::int32_t size) override {
    const std::int32_t length = inner().ReadSoftLink(port, lock, name, buffer, size);
    trace_.Call("ReadSoftLink", port, lock, name, size);
    trace_.json().Raw("{\"length\":");
    trace_.Put(length);
    trace_.json().Raw(",\"target\":");
    if (length < 0) {
      trace_.json().Null();
    } else {
      trace_.Put(Bytes{buffer, length < size ? length : size});
    }
    trace_.json().Raw("}");
    trace_.Finish();
    return length;
  }
  bool SetComment(const char* name, const char* comment) override {
    return Told(inner().SetComment(name, comment), "SetComment", name, comment);
  }
  bool SetProtection(const char* name, std::uint32_t mask) override {
    return Told(inner().SetProtection(name, mask), "SetProtection", name, mask);
  }
  bool SetDate(const char* name, const quorle::DateStamp& date) override {
    return Told(inner().SetDate(name, date), "SetDate", name, date);
  }
  bool SetOwnerInfo(const char* name, std::uint32_t id_tag, std::uint32_t id) override {
    const char* const what = id_tag == OI_OwnerGID ? "group" : "owner";
    return Told(inner().SetOwnerInfo(name, id_tag, id), "SetOwnerInfo", name, what, id);
  }
  void DateStamp(quorle::DateStamp& now) override {
    inner().DateStamp(now);
    trace_.Call("DateStamp");
    trace_.Returned(now);
  }
  const ExamineData* ExamineObject(std::uint32_t tag, const char* name) override {
    return Examined(inner().ExamineObject(tag, name), tag, name);
  }
  const ExamineData* ExamineObject(std::uint32_t tag, FileHandle file) override {
    return Examined(inner().ExamineObject(tag, file), tag, file);
  }
  const ExamineData* ExamineObject(std::uint32_t tag, LockHandle lock) override {
    return Examined(inner().ExamineObject(tag, lock), tag, lock);
  }
  void FreeDosObject(std::uint32_t type, const ExamineData* data) override {
    inner().FreeDosObject(type, data);
    Done("FreeDosObject", type, data);
  }

  // ---- Volumes and handlers ------------------------------------------------------------------
  const DevProc* GetDeviceProc(const char* name, const DevProc* previous) override {
    const DevProc* const devproc = inner().GetDeviceProc(name, previous);
    trace_.Made(Kind::kDevProc, devproc);
    trace_.Call("GetDeviceProc", name);
    if (devproc == nullptr) {
      trace_.json().Null();
    } else {
      const PortRecord port = inner().PortRecordOf(devproc->dvp_Port);
      trace_.json().Raw("{\"devproc\":");
      trace_.Put(devproc);
      trace_.json().Raw(",\"port\":");
      trace_.Put(devproc->dvp_Port);
      trace_.json().Raw(",\"node_type\":");
      trace_.Put(std::uint32_t{port.node_type});
      trace_.json().Raw(",\"version\":");
      trace_.Put(port.version);
      trace_.json().Raw(",\"word78\":");
      trace_.Put(Flag{port.word78});
      trace_.json().Raw("}");
    }
    trace_.Finish();
    return devproc;
  }
  void FreeDeviceProc(const DevProc* devproc) override {
    inner().FreeDeviceProc(devproc);
    Done("FreeDeviceProc", devproc);
  }
  bool IsFileSystem(PortHandle port) override {
    return Told(inner().IsFileSystem(port), "IsFileSystem", port);
  }
  bool DevNameFromPort(PortHandle port, char* buffer, std::uint32_t size, bool add_colon) override {
    return Named(inner().DevNameFromPort(port, buffer, size, add_colon), buffer, "DevNameFromPort",
                 port, add_colon);
  }
  bool VolNameFromPort(PortHandle port, char* buffer, std::uint32_t size, bool add_colon) override {
    return Named(inner().VolNameFromPort(port, buffer, size, add_colon), buffer, "VolNameFromPort",
                 port, add_colon);
  }
  bool FileSystemAttr(PortHandle port, char* version, std::uint32_t version_size,
                      std::uint32_t& dos_type) override {
    const std::string version_before(version_size > 0 ? version : "");
    const std::uint32_t type_before = dos_type;
    const bool ok = inner().FileSystemAttr(port, version, version_size, dos_type);
    const bool version_filled = version_size > 0 && version != version_before;
    const bool type_filled = dos_type != type_before;
    trace_.Call("FileSystemAttr", port);
    if (!ok && !version_filled && !type_filled) {
      trace_.json().Null();
    } else {
      trace_.json().Raw("{\"version\":");
      trace_.Put(version_filled ? version : nullptr);
      trace_.json().Raw(",\"dostype\":");
      if (type_filled) {
        trace_.Put(dos_type);
      } else {
        trace_.json().Null();
      }
      trace_.json().Raw("}");
    }
    trace_.Finish();
    return ok;
  }
  bool GetDiskInfo(PortHandle port, InfoData& info) override {
    return Disk(inner().GetDiskInfo(port, info), port, info);
  }
  bool GetDiskInfo(const char* device, InfoData& info) override {
    return Disk(inner().GetDiskInfo(device, info), device, info);
  }
  bool Relabel(const char* device, const char* volume) override {
    return Told(inner().Relabel(device, volume), "Relabel", device, volume);
  }
  bool WriteProtectVolume(const char* device, bool on, std::uint32_t key,
                          std::uint32_t reserved) override {
    return Told(inner().WriteProtectVolume(device, on, key, reserved), "WriteProtectVolume", device,
                Flag{on}, key, reserved);
  }
  void* SetProcWindow(void* window) override {
    void* const previous = inner().SetProcWindow(window);
    if (window == kNoRequesters) {
      Done("SetProcWindow", std::int32_t{-1});
    } else {
      Done("SetProcWindow", "previous");
    }
    return previous;
  }
  LockHandle DoPkt(PortHandle port, std::int32_t action, LockHandle lock, const std::uint8_t* name,
                   std::int32_t arg3, std::int32_t arg4, const std::uint8_t* arg5) override {
    return Made(inner().DoPkt(port, action, lock, name, arg3, arg4, arg5), "DoPkt", port, action,
                lock, BString{name}, arg3, arg4, BString{arg5});
  }

  // ---- Command line, output, signals ---------------------------------------------------------
  RdArgsHandle ReadArgs(const char* argument_template, ArgumentWord* words,
                        RdArgsHandle rdargs) override {
    const RdArgsHandle result = inner().ReadArgs(argument_template, words, rdargs);
    trace_.Made(Kind::kRdArgs, result.value);
    trace_.Call("ReadArgs", argument_template);
    if (result) {
      trace_.PutWords(argument_template, words);
    } else {
      trace_.json().Null();
    }
    trace_.Finish();
    return result;
  }
  void FreeArgs(RdArgsHandle rdargs) override {
    inner().FreeArgs(rdargs);
    Done("FreeArgs", rdargs);
  }
  void VPrintf(const char* format, const FormatArgument* args, std::size_t count) override {
    FinishedText text;
    FormatText(format, args, count, {inner().IoErr(), true}, text);
    inner().VPrintf(format, args, count);
    trace_.Output(text.text);
  }
  void PutStr(const char* text) override {
    inner().PutStr(text);
    trace_.Output(text);
  }
  std::uint32_t CheckSignal(std::uint32_t mask) override {
    return Told(inner().CheckSignal(mask), "CheckSignal", mask);
  }
  void Delay(std::uint32_t ticks) override {
    inner().Delay(ticks);
    Done("Delay", ticks);
  }
  std::int32_t TimedDosRequesterTags(std::uint32_t timeout, const char* body, const char* buttons,
                                     std::int32_t image) override {
    return Told(inner().TimedDosRequesterTags(timeout, body, buttons, image),
                "TimedDosRequesterTags", timeout, body, buttons, image);
  }

 private:
  static Flag Value(bool result) { return Flag{result}; }
  template <class Result>
  static const Result& Value(const Result& result) {
    return result;
  }

  /// Writes a call that gave no new handle.
  template <class Result, class... Args>
  Result Told(Result result, const char* op, const Args&... args) {
    trace_.Call(op, args...);
    trace_.Returned(Value(result));
    return result;
  }
  template <class... Args>
  void Done(const char* op, const Args&... args) {
    trace_.Call(op, args...);
    trace_.Returned(Nothing{});
  }
  template <class... Args>
  LockHandle Made(LockHandle lock, const char* op, const Args&... args) {
    trace_.Made(Kind::kLock, lock.value);
    return Told(lock, op, args...);
  }
  template <class... Args>
  FileHandle Made(FileHandle file, const char* op, const Args&... args) {
    trace_.Made(Kind::kFile, file.value);
    return Told(file, op, args...);
  }
  template <class Object>
  const ExamineData* Examined(const ExamineData* data, std::uint32_t tag, const Object& object) {
    trace_.Made(Kind::kExamine, data);
    trace_.Call("ExamineObject", Tag{tag}, object);
    trace_.PutRecord(data);
    trace_.Finish();
    return data;
  }
  bool Named(bool ok, const char* buffer, const char* op, PortHandle port, bool add_colon) {
    trace_.Call(op, port, Flag{add_colon});
    trace_.Returned(ok ? buffer : nullptr);
    return ok;
  }
  template <class Source>
  bool Disk(bool ok, const Source& source, const InfoData& info) {
    trace_.Call("GetDiskInfo", source);
    if (ok) {
      trace_.json().Raw("{\"state\":");
      trace_.Put(info.id_DiskState);
      trace_.json().Raw(",\"type\":");
      trace_.Put(info.id_DiskType);
      trace_.json().Raw("}");
    } else {
      trace_.json().Null();
    }
    trace_.Finish();
    return ok;
  }

  Trace& trace_;
};

class Tracer::TracingExec final : public ForwardingExec {
 public:
  TracingExec(ExecInterface& exec, TracingDos& dos, Trace& trace)
      : ForwardingExec(exec), dos_(dos), trace_(trace) {}

  const Process* FindTask(const char* name) override {
    const Process* const process = inner().FindTask(name);
    trace_.Call("FindTask", name);
    trace_.json().Raw("{\"cli\":");
    trace_.Put(Flag{process->cli});
    trace_.json().Raw("}");
    trace_.Finish();
    return process;
  }
  void WaitPort(PortHandle port) override {
    inner().WaitPort(port);
    trace_.Call("WaitPort");
    trace_.Returned(Nothing{});
  }
  MessageHandle GetMsg(PortHandle port) override {
    const MessageHandle message = inner().GetMsg(port);
    trace_.Made(Kind::kMessage, message.value);
    trace_.Call("GetMsg");
    trace_.Returned(message);
    return message;
  }
  void ReplyMsg(MessageHandle message) override {
    inner().ReplyMsg(message);
    trace_.Call("ReplyMsg", message);
    trace_.Returned(Nothing{});
  }
  void* AllocVecTags(std::uint32_t bytes) override {
    void* const memory = inner().AllocVecTags(bytes);
    trace_.Made(Kind::kMemory, memory);
    trace_.Call("AllocVecTags", bytes);
    trace_.Returned(Memory{memory});
    return memory;
  }
  void FreeVec(void* memory) override {
    inner().FreeVec(memory);
    trace_.Call("FreeVec", Memory{memory});
    trace_.Returned(Nothing{});
  }
  const Library* OpenLibrary(const char* name, std::uint32_t version) override {
    const Library* const library = inner().OpenLibrary(name, version);
    if (library != nullptr) libraries_.emplace_back(library, name);
    trace_.Call("OpenLibrary", name, version);
    trace_.PutLibrary(library);
    trace_.Finish();
    return library;
  }
  void CloseLibrary(const Library* library) override {
    inner().CloseLibrary(library);
    trace_.Call("CloseLibrary", LibraryName(library));
    trace_.Returned(Nothing{});
  }
  Interface* GetInterface(const Library* library, const char* name,
                          std::uint32_t version) override {
    Interface* const real = inner().GetInterface(library, name, version);
    trace_.Call("GetInterface", LibraryName(library), name, version);
    trace_.Returned(Flag{real != nullptr});
    if (real == nullptr) return nullptr;
    interfaces_.emplace_back(real, LibraryName(library));
    return real == &dos_.real() ? &dos_ : real;
  }
  void DropInterface(Interface* interface) override {
    Interface* const real = interface == &dos_ ? &dos_.real() : interface;
    inner().DropInterface(real);
    trace_.Call("DropInterface", InterfaceName(real));
    trace_.Returned(Nothing{});
  }

 private:
  const char* LibraryName(const Library* library) const {
    for (const auto& [known, name] : libraries_) {
      if (known == library) return name.c_str();
    }
    return nullptr;
  }
  const char* InterfaceName(const Interface* interface) const {
    for (const auto& [known, name] : interfaces_) {
      if (known == interface) return name.c_str();
    }
    return nullptr;
  }

  TracingDos& dos_;
  Trace& trace_;
  std::vector<std::pair<const Library*, std::string>> libraries_;
  std::vector<std::pair<const Interface*, std::string>> interfaces_;
};

Tracer::Tracer(ExecInterface& exec, DosInterface& dos, TraceSink& sink)
    : trace_(std::make_unique<Trace>(sink, dos)),
      dos_(std::make_unique<TracingDos>(dos, *trace_)),
      exec_(std::make_unique<TracingExec>(exec, *dos_, *trace_)) {}

Tracer::~Tracer() = default;

ExecInterface& Tracer::exec() {
  return *exec_;
}

}  // namespace quorle
