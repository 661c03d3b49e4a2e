#include "selftest/support/faulty_platform.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/constants.h"

namespace quorle::selftest {
namespace {

using Action = FaultRule::Action;

std::string Text(std::int64_t number) {
  return std::to_string(number);
}

const std::string* Field(const FaultRule& rule, const char* name) {
  const auto found = rule.fields.find(name);
  return found == rule.fields.end() ? nullptr : &found->second;
}

/// Replaces `target` when the rule has the field.
template <class Number>
void Replace(const FaultRule& rule, const char* name, Number& target) {
  const std::string* const text = Field(rule, name);
  if (text == nullptr) return;
  target = text->starts_with('-') ? static_cast<Number>(std::strtoll(text->c_str(), nullptr, 0))
                                  : static_cast<Number>(std::strtoull(text->c_str(), nullptr, 0));
}

void CopyText(const std::string& text, char* buffer, std::uint32_t size) {
  if (size > 0) std::snprintf(buffer, size, "%s", text.c_str());
}

}  // namespace

void FaultyDos::SetCode(const FaultRule& rule) {
  if (rule.code) inner().SetIoErr(*rule.code);
}

LockHandle FaultyDos::SomeLock() {
  return inner().Lock(":", SHARED_LOCK);
}

FileHandle FaultyDos::SomeFile() {
  return inner().Open("ENV:some-file", MODE_READWRITE);
}

template <class Call>
bool FaultyDos::Bool(const FaultRule* rule, const Call& call) {
  if (rule == nullptr) return call();
  switch (rule->action) {
    case Action::kSucceed:
      return true;
    case Action::kReturn:
      SetCode(*rule);
      return rule->value != 0;
    case Action::kCode: {
      const bool result = call();
      SetCode(*rule);
      return result;
    }
    case Action::kScribble: {
      const bool result = call();
      constexpr std::uint32_t kBytes = 8;
      std::memset(static_cast<char*>(last_memory_) + last_bytes_ - kBytes, 0, kBytes);
      return result;
    }
    case Action::kDoneFail:
      call();
      break;
    default:
      break;
  }
  SetCode(*rule);
  return false;
}

template <class Number, class Call>
Number FaultyDos::Count(const FaultRule* rule, const Call& call, Number success) {
  if (rule == nullptr) return call();
  switch (rule->action) {
    case Action::kSucceed:
      return success;
    case Action::kReturn:
      SetCode(*rule);
      return static_cast<Number>(rule->value);
    case Action::kCode: {
      const Number result = call();
      SetCode(*rule);
      return result;
    }
    case Action::kDoneFail:
      call();
      break;
    default:
      break;
  }
  SetCode(*rule);
  return -1;
}

template <class Call>
LockHandle FaultyDos::Locked(const FaultRule* rule, const Call& call) {
  if (rule == nullptr) return call();
  LockHandle result;
  if (rule->action == Action::kSucceed) return SomeLock();
  if (rule->action == Action::kCode) result = call();
  if (rule->action == Action::kDoneFail) inner().UnLock(call());
  SetCode(*rule);
  return result;
}

template <class Call>
FileHandle FaultyDos::Opened(const FaultRule* rule, const Call& call) {
  if (rule == nullptr) return call();
  FileHandle result;
  if (rule->action == Action::kSucceed) return SomeFile();
  if (rule->action == Action::kCode) result = call();
  if (rule->action == Action::kDoneFail) inner().Close(call());
  SetCode(*rule);
  return result;
}

template <class Call>
const ExamineData* FaultyDos::Examined(const FaultRule* rule, const Call& call) {
  if (rule == nullptr) return call();
  if (rule->action == Action::kFail) {
    SetCode(*rule);
    return nullptr;
  }
  const ExamineData* const real = call();
  if (rule->action == Action::kDoneFail) {
    inner().FreeDosObject(DOS_EXAMINEDATA, real);
    SetCode(*rule);
    return nullptr;
  }
  if (real == nullptr || rule->action != Action::kSet) {
    SetCode(*rule);
    return real;
  }
  auto changed = std::make_unique<Changed>();
  changed->copy = *real;
  changed->real = real;
  ExamineData& data = changed->copy;
  Replace(*rule, "Type", data.Type);
  Replace(*rule, "FileSize", data.FileSize);
  Replace(*rule, "Days", data.Date.ds_Days);
  Replace(*rule, "RefCount", data.RefCount);
  Replace(*rule, "ObjectID", data.ObjectID);
  Replace(*rule, "Protection", data.Protection);
  Replace(*rule, "OwnerUID", data.OwnerUID);
  Replace(*rule, "OwnerGID", data.OwnerGID);
  if (const std::string* const name = Field(*rule, "Name")) {
    changed->name = *name;
    data.Name = changed->name.c_str();
  }
  if (const std::string* const comment = Field(*rule, "Comment")) {
    changed->comment = *comment;
    data.Comment = changed->comment.c_str();
  }
  const ExamineData* const copy = &changed->copy;
  changed_[copy] = std::move(changed);
  return copy;
}

template <class Call>
bool FaultyDos::Named(const FaultRule* rule, char* buffer, std::uint32_t size, const Call& call) {
  if (rule == nullptr) return call();
  if (rule->action == Action::kSet) {
    CopyText(*Field(*rule, "name"), buffer, size);
    return true;
  }
  if (rule->action == Action::kFail && size > 0) buffer[0] = '\0';
  return Bool(rule, call);
}

template <class Call>
bool FaultyDos::Disk(const FaultRule* rule, InfoData& info, const Call& call) {
  if (rule == nullptr || rule->action != Action::kSet) return Bool(rule, call);
  const bool result = call();
  Replace(*rule, "DiskState", info.id_DiskState);
  Replace(*rule, "DiskType", info.id_DiskType);
  return result;
}

// ---- Files -----------------------------------------------------------------------------------

FileHandle FaultyDos::Open(const char* name, std::int32_t mode) {
  return Opened(rules_.Match("Open", {name, Text(mode)}), [&] { return inner().Open(name, mode); });
}

bool FaultyDos::Close(FileHandle file) {
  // An argument of nothing can be told apart from a handle: "0", else "*".
  return Bool(rules_.Match("Close", {file ? "handle" : "0"}), [&] { return inner().Close(file); });
}

std::int32_t FaultyDos::Read(FileHandle file, void* buffer, std::int32_t bytes) {
  const FaultRule* const rule = rules_.Match("Read", {"handle", Text(bytes)});
  if (rule != nullptr && rule->action == Action::kSet) {
    const std::int32_t count = inner().Read(file, buffer, bytes);
    const std::string& data = *Field(*rule, "data");
    const auto most = static_cast<std::size_t>(count > 0 ? count : 0);
    std::memcpy(buffer, data.data(), data.size() < most ? data.size() : most);
    if (const std::string* const fill = Field(*rule, "fill")) {
      std::memset(static_cast<char*>(buffer) + most, fill->front(),
                  static_cast<std::size_t>(bytes) - most);
    }
    return count;
  }
  return Count<std::int32_t>(
      rule, [&] { return inner().Read(file, buffer, bytes); }, bytes);
}

std::int32_t FaultyDos::Write(FileHandle file, const void* data, std::int32_t bytes) {
  return Count<std::int32_t>(
      rules_.Match("Write", {"handle", Text(bytes)}),
      [&] { return inner().Write(file, data, bytes); }, bytes);
}

bool FaultyDos::ChangeFilePosition(FileHandle file, std::int64_t position, std::int32_t mode) {
  return Bool(rules_.Match("ChangeFilePosition", {"handle", Text(position), Text(mode)}),
              [&] { return inner().ChangeFilePosition(file, position, mode); });
}

std::int64_t FaultyDos::GetFilePosition(FileHandle file) {
  return Count<std::int64_t>(
      rules_.Match("GetFilePosition"), [&] { return inner().GetFilePosition(file); }, 0);
}

bool FaultyDos::ChangeFileSize(FileHandle file, std::int64_t size, std::int32_t mode) {
  return Bool(rules_.Match("ChangeFileSize", {"handle", Text(size), Text(mode)}),
              [&] { return inner().ChangeFileSize(file, size, mode); });
}

std::int64_t FaultyDos::GetFileSize(FileHandle file) {
  return Count<std::int64_t>(
      rules_.Match("GetFileSize"), [&] { return inner().GetFileSize(file); }, 0);
}

bool FaultyDos::ChangeMode(std::int32_t type, LockHandle lock, std::int32_t mode) {
  return Bool(rules_.Match("ChangeMode", {Text(type), "handle", Text(mode)}),
              [&] { return inner().ChangeMode(type, lock, mode); });
}

bool FaultyDos::ChangeMode(std::int32_t type, FileHandle file, std::int32_t mode) {
  return Bool(rules_.Match("ChangeMode", {Text(type), "handle", Text(mode)}),
              [&] { return inner().ChangeMode(type, file, mode); });
}

// ---- Locks -----------------------------------------------------------------------------------

LockHandle FaultyDos::Lock(const char* name, std::int32_t mode) {
  return Locked(rules_.Match("Lock", {name, Text(mode)}), [&] { return inner().Lock(name, mode); });
}

LockHandle FaultyDos::DupLock(LockHandle lock) {
  return Locked(rules_.Match("DupLock"), [&] { return inner().DupLock(lock); });
}

LockHandle FaultyDos::DupLockFromFH(FileHandle file) {
  return Locked(rules_.Match("DupLockFromFH"), [&] { return inner().DupLockFromFH(file); });
}

FileHandle FaultyDos::OpenFromLock(LockHandle lock) {
  const FaultRule* const rule = rules_.Match("OpenFromLock");
  // Success takes the lock over, so that nobody releases it any more.
  if (rule != nullptr && rule->action == Action::kSucceed) inner().UnLock(lock);
  return Opened(rule, [&] { return inner().OpenFromLock(lock); });
}

LockHandle FaultyDos::ParentDir(LockHandle lock) {
  return Locked(rules_.Match("ParentDir"), [&] { return inner().ParentDir(lock); });
}

LockHandle FaultyDos::ParentOfFH(FileHandle file) {
  return Locked(rules_.Match("ParentOfFH"), [&] { return inner().ParentOfFH(file); });
}

std::int32_t FaultyDos::SameLock(LockHandle a, LockHandle b) {
  return Count<std::int32_t>(
      rules_.Match("SameLock"), [&] { return inner().SameLock(a, b); }, LOCK_SAME);
}

// ---- Objects, links, attributes --------------------------------------------------------------

LockHandle FaultyDos::CreateDir(const char* name) {
  return Locked(rules_.Match("CreateDir", {name}), [&] { return inner().CreateDir(name); });
}

LockHandle FaultyDos::CreateDirTree(const char* path) {
  return Locked(rules_.Match("CreateDirTree", {path}), [&] { return inner().CreateDirTree(path); });
}

bool FaultyDos::Delete(const char* name) {
  return Bool(rules_.Match("Delete", {name}), [&] { return inner().Delete(name); });
}

bool FaultyDos::Rename(const char* old_name, const char* new_name) {
  return Bool(rules_.Match("Rename", {old_name, new_name}),
              [&] { return inner().Rename(old_name, new_name); });
}

bool FaultyDos::MakeLink(const char* name, LockHandle target, std::int32_t kind) {
  return Bool(rules_.Match("MakeLink", {name, "handle", Text(kind)}),
              [&] { return inner().MakeLink(name, target, kind); });
}

bool FaultyDos::MakeLink(const char* name, const char* target, std::int32_t kind) {
  return Bool(rules_.Match("MakeLink", {name, target, Text(kind)}),
              [&] { return inner().MakeLink(name, target, kind); });
}

std::int32_t FaultyDos::ReadSoftLink(PortHandle port, LockHandle lock, const char* name,
                                     char* buffer, std::int32_t size) {
  return Count<std::int32_t>(
      rules_.Match("ReadSoftLink", {name, Text(size)}),
      [&] { return inner().ReadSoftLink(port, lock, name, buffer, size); }, 0);
}

bool FaultyDos::SetComment(const char* name, const char* comment) {
  return Bool(rules_.Match("SetComment", {name, comment}),
              [&] { return inner().SetComment(name, comment); });
}

bool FaultyDos::SetProtection(const char* name, std::uint32_t mask) {
  return Bool(rules_.Match("SetProtection", {name, Text(mask)}),
              [&] { return inner().SetProtection(name, mask); });
}

bool FaultyDos::SetDate(const char* name, const quorle::DateStamp& date) {
  return Bool(rules_.Match("SetDate", {name, Text(date.ds_Days)}),
              [&] { return inner().SetDate(name, date); });
}

bool FaultyDos::SetOwnerInfo(const char* name, std::uint32_t id_tag, std::uint32_t id) {
  return Bool(
      rules_.Match("SetOwnerInfo", {name, id_tag == OI_OwnerGID ? "group" : "owner", Text(id)}),
      [&] { return inner().SetOwnerInfo(name, id_tag, id); });
}

void FaultyDos::DateStamp(quorle::DateStamp& now) {
  inner().DateStamp(now);
  const FaultRule* const rule = rules_.Match("DateStamp");
  if (rule != nullptr) Replace(*rule, "Days", now.ds_Days);
}

const ExamineData* FaultyDos::ExamineObject(std::uint32_t tag, const char* name) {
  return Examined(rules_.Match("ExamineObject", {name}),
                  [&] { return inner().ExamineObject(tag, name); });
}

const ExamineData* FaultyDos::ExamineObject(std::uint32_t tag, FileHandle file) {
  return Examined(rules_.Match("ExamineObject", {"handle"}),
                  [&] { return inner().ExamineObject(tag, file); });
}

const ExamineData* FaultyDos::ExamineObject(std::uint32_t tag, LockHandle lock) {
  return Examined(rules_.Match("ExamineObject", {"handle"}),
                  [&] { return inner().ExamineObject(tag, lock); });
}

void FaultyDos::FreeDosObject(std::uint32_t type, const ExamineData* data) {
  const auto found = changed_.find(data);
  inner().FreeDosObject(type, found == changed_.end() ? data : found->second->real);
  if (found != changed_.end()) changed_.erase(found);
}

// ---- Volumes and handlers --------------------------------------------------------------------

const DevProc* FaultyDos::GetDeviceProc(const char* name, const DevProc* previous) {
  const FaultRule* const rule = rules_.Match("GetDeviceProc", {name});
  if (rule == nullptr) return inner().GetDeviceProc(name, previous);
  SetCode(*rule);
  return nullptr;
}

bool FaultyDos::IsFileSystem(PortHandle port) {
  return Bool(rules_.Match("IsFileSystem"), [&] { return inner().IsFileSystem(port); });
}

bool FaultyDos::DevNameFromPort(PortHandle port, char* buffer, std::uint32_t size, bool add_colon) {
  return Named(rules_.Match("DevNameFromPort"), buffer, size,
               [&] { return inner().DevNameFromPort(port, buffer, size, add_colon); });
}

bool FaultyDos::VolNameFromPort(PortHandle port, char* buffer, std::uint32_t size, bool add_colon) {
  return Named(rules_.Match("VolNameFromPort"), buffer, size,
               [&] { return inner().VolNameFromPort(port, buffer, size, add_colon); });
}

bool FaultyDos::FileSystemAttr(PortHandle port, char* version, std::uint32_t version_size,
                               std::uint32_t& dos_type) {
  const FaultRule* const rule = rules_.Match("FileSystemAttr");
  const auto call = [&] { return inner().FileSystemAttr(port, version, version_size, dos_type); };
  if (rule == nullptr || rule->action != Action::kSet) return Bool(rule, call);
  const bool result = call();
  if (const std::string* const text = Field(*rule, "version")) {
    CopyText(*text, version, version_size);
  }
  if (const std::string* const byte = Field(*rule, "fill")) {
    std::memset(version, byte->front(), version_size);
  }
  Replace(*rule, "dostype", dos_type);
  return result;
}

bool FaultyDos::GetDiskInfo(PortHandle port, InfoData& info) {
  return Disk(rules_.Match("GetDiskInfo", {"handle"}), info,
              [&] { return inner().GetDiskInfo(port, info); });
}

bool FaultyDos::GetDiskInfo(const char* device, InfoData& info) {
  return Disk(rules_.Match("GetDiskInfo", {device}), info,
              [&] { return inner().GetDiskInfo(device, info); });
}

bool FaultyDos::Relabel(const char* device, const char* volume) {
  return Bool(rules_.Match("Relabel", {device, volume}),
              [&] { return inner().Relabel(device, volume); });
}

bool FaultyDos::WriteProtectVolume(const char* device, bool on, std::uint32_t key,
                                   std::uint32_t reserved) {
  return Bool(rules_.Match("WriteProtectVolume", {device, Text(on ? 1 : 0)}),
              [&] { return inner().WriteProtectVolume(device, on, key, reserved); });
}

LockHandle FaultyDos::DoPkt(PortHandle port, std::int32_t action, LockHandle lock,
                            const std::uint8_t* name, std::int32_t arg3, std::int32_t arg4,
                            const std::uint8_t* arg5) {
  std::string text;
  if (name != nullptr) text.assign(reinterpret_cast<const char*>(name) + 1, *name);
  return Locked(rules_.Match("DoPkt", {text}),
                [&] { return inner().DoPkt(port, action, lock, name, arg3, arg4, arg5); });
}

PortRecord FaultyDos::PortRecordOf(PortHandle port) {
  PortRecord record = inner().PortRecordOf(port);
  const FaultRule* const rule = rules_.Match("PortRecordOf");
  if (rule != nullptr) {
    Replace(*rule, "node_type", record.node_type);
    Replace(*rule, "version", record.version);
    Replace(*rule, "word78", record.word78);
  }
  return record;
}

std::uint32_t FaultyDos::CheckSignal(std::uint32_t mask) {
  const FaultRule* const rule = rules_.Match("CheckSignal");
  return rule == nullptr ? inner().CheckSignal(mask)
                         : static_cast<std::uint32_t>(rule->value) & mask;
}

bool FaultyDos::DateToStr(DateTime& date) {
  return Bool(rules_.Match("DateToStr"), [&] { return inner().DateToStr(date); });
}

void FaultyDos::VPrintf(const char* format, const FormatArgument* args, std::size_t count) {
  const FaultRule* const rule = rules_.Match("Printf");
  inner().VPrintf(format, args, count);
  if (rule != nullptr) SetCode(*rule);
}

void FaultyDos::PutStr(const char* text) {
  const FaultRule* const rule = rules_.Match("PutStr");
  inner().PutStr(text);
  if (rule != nullptr) SetCode(*rule);
}

// ---- exec ------------------------------------------------------------------------------------

void* FaultyExec::AllocVecTags(std::uint32_t bytes) {
  const FaultRule* const rule = rules_.Match("AllocVecTags");
  if (rule == nullptr) {
    void* const memory = inner().AllocVecTags(bytes);
    dos_.NoteAllocation(memory, bytes);
    return memory;
  }
  if (rule->code) dos_.real().SetIoErr(*rule->code);
  return nullptr;
}

const Library* FaultyExec::OpenLibrary(const char* name, std::uint32_t version) {
  const FaultRule* const rule = rules_.Match("OpenLibrary", {name});
  if (rule == nullptr) return inner().OpenLibrary(name, version);
  if (rule->action != Action::kSet) return nullptr;
  const Library* const real = inner().OpenLibrary(name, version);
  auto changed = std::make_unique<ChangedLibrary>(ChangedLibrary{*real, real});
  Replace(*rule, "version", changed->copy.lib_Version);
  Replace(*rule, "revision", changed->copy.lib_Revision);
  libraries_.push_back(std::move(changed));
  return &libraries_.back()->copy;
}

void FaultyExec::CloseLibrary(const Library* library) {
  for (const auto& changed : libraries_) {
    if (&changed->copy == library) library = changed->real;
  }
  inner().CloseLibrary(library);
}

Interface* FaultyExec::GetInterface(const Library* library, const char* name,
                                    std::uint32_t version) {
  for (const auto& changed : libraries_) {
    if (&changed->copy == library) library = changed->real;
  }
  Interface* const real = inner().GetInterface(library, name, version);
  const bool is_dos = real == &dos_.real();
  const FaultRule* const rule =
      rules_.Match("GetInterface", {is_dos ? "dos.library" : "utility.library"});
  if (rule != nullptr) {
    inner().DropInterface(real);
    return nullptr;
  }
  return is_dos ? &dos_ : real;
}

void FaultyExec::DropInterface(Interface* interface) {
  inner().DropInterface(interface == &dos_ ? &dos_.real() : interface);
}

}  // namespace quorle::selftest
