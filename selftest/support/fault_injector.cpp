#include "selftest/support/fault_injector.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <type_traits>
#include <utility>
#include <variant>

#include "platform/constants.h"

namespace quorle::selftest {
namespace {

using Action = FaultRule::Action;

const std::string* Field(const FaultRule& rule, const char* name) {
  const auto found = rule.fields.find(name);
  return found == rule.fields.end() ? nullptr : &found->second;
}

bool HasField(const FaultRule& rule, const char* name, std::string_view value) {
  const std::string* const text = Field(rule, name);
  return text != nullptr && *text == value;
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

template <class Type>
Type Argument(const Call& call, std::size_t index) {
  return std::get<Type>(call.args[index]);
}

/// What a failure gives: nothing, or -1 for a count.
void SetFailure(const Call& call) {
  std::visit(
      [](const auto& place) {
        using Place = std::decay_t<decltype(place)>;
        if constexpr (std::is_same_v<Place, std::int32_t*> ||
                      std::is_same_v<Place, std::int64_t*>) {
          *place = -1;
        } else if constexpr (!std::is_same_v<Place, std::monostate>) {
          *place = {};
        }
      },
      call.result);
}

}  // namespace

// ---- Fields that a rule replaces ---------------------------------------------------------------

/// Replaces what a call that was made gave.
class FaultInjector::Change {
 public:
  Change(FaultInjector& injector, const Call& call, const FaultRule& rule)
      : injector_(injector), call_(call), rule_(rule) {
    std::visit([this](const auto& memory) { InMemory(memory); }, call.memory);
    std::visit([this](const auto& result) { Result(result); }, call.result);
  }

 private:
  // ---- In memory -----------------------------------------------------------------------------
  template <class Other>
  void InMemory(const Other&) {}
  void InMemory(const ReadBuffer& buffer) {
    auto* const start = static_cast<char*>(buffer.start);
    const std::int32_t count = *call_.Result<std::int32_t>();
    const auto most = static_cast<std::size_t>(std::max(count, 0));
    if (const std::string* const data = Field(rule_, "data")) {
      std::memcpy(start, data->data(), std::min(data->size(), most));
    }
    if (const std::string* const fill = Field(rule_, "fill")) {
      std::memset(start + most, fill->front(), static_cast<std::size_t>(buffer.bytes) - most);
    }
  }
  void InMemory(const LinkBuffer& buffer) {
    if (const std::string* const target = Field(rule_, "target")) {
      CopyText(*target, buffer.start, static_cast<std::uint32_t>(buffer.bytes));
    }
  }
  void InMemory(const NameBuffer& buffer) {
    CopyText(*Field(rule_, "name"), buffer.start, buffer.bytes);
  }
  void InMemory(const AttributeBuffer& buffer) {
    if (const std::string* const text = Field(rule_, "version")) {
      CopyText(*text, buffer.version, buffer.version_bytes);
    }
    if (const std::string* const byte = Field(rule_, "fill")) {
      std::memset(buffer.version, byte->front(), buffer.version_bytes);
    }
    Replace(rule_, "dostype", *buffer.dos_type);
  }
  void InMemory(const WordBuffer& buffer) {
    for (const auto& [index, value] : rule_.fields) {
      const auto at = static_cast<std::size_t>(std::strtoul(index.c_str(), nullptr, 10));
      ArgumentWord& word = buffer.words[at];
      if (at == 0) {
        word.text = value.c_str();
      } else if (value == "on") {
        word.flag = 1;
      } else {
        injector_.numbers_[at] = static_cast<std::int32_t>(std::strtol(value.c_str(), nullptr, 10));
        word.number = &injector_.numbers_[at];
      }
    }
  }
  void InMemory(InfoData* info) {
    Replace(rule_, "DiskState", info->id_DiskState);
    Replace(rule_, "NumBlocks", info->id_NumBlocks);
    Replace(rule_, "NumBlocksUsed", info->id_NumBlocksUsed);
    Replace(rule_, "BytesPerBlock", info->id_BytesPerBlock);
    Replace(rule_, "DiskType", info->id_DiskType);
    std::uint32_t more_users = 0;
    Replace(rule_, "MoreUsers", more_users);
    info->id_InUse += more_users;
  }
  void InMemory(const VolumeBuffer& volume) { InMemory(volume.info); }
  void InMemory(std::uint32_t* number) { Replace(rule_, "value", *number); }
  void InMemory(quorle::DateStamp* date) { Replace(rule_, "Days", date->ds_Days); }
  void InMemory(DateTime* date) {
    const std::string* const text = Field(rule_, "text");
    if (text != nullptr && date->dat_StrDate != nullptr) {
      CopyText(*text, date->dat_StrDate, LEN_DATSTRING);
    }
  }

  // ---- Results -------------------------------------------------------------------------------
  template <class Other>
  void Result(const Other&) {}
  void Result(bool* ok) {
    // A name that is there, whatever became of the call.
    if (call_.MemoryAs<NameBuffer>() != nullptr) *ok = true;
  }
  void Result(std::int32_t* number) { Replace(rule_, "result", *number); }
  void Result(std::int64_t* number) { Replace(rule_, "result", *number); }
  void Result(LockHandle* lock) {
    DosInterface& dos = injector_.dos_;
    if (HasField(rule_, "mode", "other")) {
      const std::int32_t code = dos.IoErr();
      const LockHandle copy = dos.DupLock(*lock);  // only what is shared has one
      dos.UnLock(copy);
      dos.ChangeMode(CHANGE_LOCK, *lock, copy ? EXCLUSIVE_LOCK : SHARED_LOCK);
      dos.SetIoErr(code);
    } else {
      dos.UnLock(*lock);
      *lock = injector_.OtherLock(rule_);
    }
  }
  void Result(KnownLock* known) { known->lock = {}; }
  void Result(FileHandle* file) {
    DosInterface& dos = injector_.dos_;
    if (HasField(rule_, "mode", "other")) {
      const std::int32_t code = dos.IoErr();
      const LockHandle copy = dos.DupLockFromFH(*file);
      dos.UnLock(copy);
      dos.ChangeMode(CHANGE_FH, *file, copy ? EXCLUSIVE_LOCK : SHARED_LOCK);
      dos.SetIoErr(code);
    } else {
      dos.Close(*file);
      *file = injector_.OtherFile();
    }
  }
  void Result(const ExamineData** record) {
    if (*record == nullptr) return;
    auto changed = std::make_unique<ChangedRecord>();
    changed->copy = **record;
    changed->real = *record;
    ExamineData& data = changed->copy;
    Replace(rule_, "Type", data.Type);
    Replace(rule_, "FileSize", data.FileSize);
    Replace(rule_, "Days", data.Date.ds_Days);
    Replace(rule_, "Minute", data.Date.ds_Minute);
    Replace(rule_, "Tick", data.Date.ds_Tick);
    Replace(rule_, "RefCount", data.RefCount);
    Replace(rule_, "ObjectID", data.ObjectID);
    Replace(rule_, "Protection", data.Protection);
    Replace(rule_, "OwnerUID", data.OwnerUID);
    Replace(rule_, "OwnerGID", data.OwnerGID);
    ReplaceText("Name", changed->texts[0], data.Name);
    ReplaceText("Comment", changed->texts[1], data.Comment);
    ReplaceText("Link", changed->texts[2], data.Link);
    *record = &changed->copy;
    injector_.records_[*record] = std::move(changed);
  }
  void Result(const Library** library) {
    auto changed = std::make_unique<ChangedLibrary>(ChangedLibrary{**library, *library});
    Replace(rule_, "version", changed->copy.lib_Version);
    Replace(rule_, "revision", changed->copy.lib_Revision);
    *library = &changed->copy;
    injector_.libraries_.push_back(std::move(changed));
  }
  void Result(const Process** process) {
    injector_.process_ = **process;
    Replace(rule_, "cli", injector_.process_.cli);
    *process = &injector_.process_;
  }
  void Result(Window* window) { window->window = kNoRequesters; }
  void Result(PortRecord* record) {
    Replace(rule_, "node_type", record->node_type);
    Replace(rule_, "version", record->version);
    Replace(rule_, "word78", record->word78);
  }
  void Result(FileLock* lock) {
    const std::string& device = *Field(rule_, "port");
    lock->fl_Port = {};
    if (device == "none") return;
    const DevProc* const other = injector_.dos_.GetDeviceProc(device.c_str(), nullptr);
    lock->fl_Port = other->dvp_Port;
    injector_.dos_.FreeDeviceProc(other);
  }

  void ReplaceText(const char* name, std::string& keep, const char*& text) const {
    const std::string* const value = Field(rule_, name);
    if (value == nullptr) return;
    keep = *value;
    text = keep.c_str();
  }

  FaultInjector& injector_;
  const Call& call_;
  const FaultRule& rule_;
};

// ---- Calls -------------------------------------------------------------------------------------

void FaultInjector::Around(const Call& call, MakeCall make) {
  if (IsOfChanged(call)) return;
  if (const FaultRule* const rule = source_.Match(call)) {
    Misbehave(call, *rule, make);
    return;
  }
  make();
  if (const Memory* const memory = call.Result<Memory>()) {
    last_memory_ = *memory;
    last_bytes_ = Argument<std::uint32_t>(call, 0);
  }
  source_.OnMade(call);
}

/// Makes a call that is about a copy with what is behind it.
bool FaultInjector::IsOfChanged(const Call& call) {
  if (call.op == "FreeDosObject") {
    const auto changed = records_.find(Argument<const ExamineData*>(call, 1));
    if (changed == records_.end()) return false;
    dos_.FreeDosObject(Argument<std::uint32_t>(call, 0), changed->second->real);
    records_.erase(changed);
    return true;
  }
  const auto* const library = call.MemoryAs<const Library*>();
  if (library == nullptr) return false;
  const auto changed =
      std::find_if(libraries_.begin(), libraries_.end(),
                   [library](const auto& known) { return &known->copy == *library; });
  if (changed == libraries_.end()) return false;
  const Library* const real = (*changed)->real;
  if (call.op == "CloseLibrary") {
    exec_.CloseLibrary(real);
  } else if (source_.Match(call) != nullptr) {
    SetFailure(call);
  } else {
    *call.Result<Interface*>() =
        exec_.GetInterface(real, Argument<const char*>(call, 1), Argument<std::uint32_t>(call, 2));
    source_.OnMade(call);
  }
  return true;
}

void FaultInjector::Misbehave(const Call& call, const FaultRule& rule, MakeCall make) {
  switch (rule.action) {
    case Action::kFail:
      Fail(call, rule);
      break;
    case Action::kDrop:
      Drop(call);
      if (bool* const ok = call.Result<bool>()) *ok = true;
      break;
    case Action::kSucceed:
      Claim(call, rule);
      break;
    case Action::kReturn:
      Return(call, rule);
      break;
    case Action::kCode:
      make();
      SetCode(call, rule);
      break;
    case Action::kDoneFail:
      make();
      ReleaseGiven(call);
      SetFailure(call);
      SetCode(call, rule);
      break;
    case Action::kScribble:
      make();
      Scribble();
      break;
    case Action::kSet: {
      if (const std::string* const device = Field(rule, "device")) {
        *call.Result<const DevProc*>() = dos_.GetDeviceProc(device->c_str(), nullptr);
        return;
      }
      if (const std::string* const bytes = Field(rule, "bytes")) {
        const Data data = Argument<Data>(call, 1);
        *call.Result<std::int32_t>() = dos_.Write(Argument<FileHandle>(call, 0), data.start,
                                                  static_cast<std::int32_t>(std::stol(*bytes)));
        return;
      }
      make();
      Change(*this, call, rule);
      break;
    }
  }
}

void FaultInjector::Fail(const Call& call, const FaultRule& rule) {
  Drop(call);
  if (const auto* const name = call.MemoryAs<NameBuffer>()) CopyText("", name->start, name->bytes);
  SetFailure(call);
  SetCode(call, rule);
}

/// A release that is not made.
void FaultInjector::Drop(const Call& call) {
  if (call.op == "Close") dropped_files_.push_back(Argument<FileHandle>(call, 0));
  if (call.op == "UnLock") dropped_locks_.push_back(Argument<LockHandle>(call, 0));
  if (call.op == "ReleaseDirContext") {
    dropped_scans_.push_back(Argument<DirContextHandle>(call, 0));
  }
  if (call.op == "EndNotify") dropped_requests_.push_back(Argument<NotifyHandle>(call, 0));
}

void FaultInjector::Claim(const Call& call, const FaultRule& rule) {
  if (LockHandle* const lock = call.Result<LockHandle>()) *lock = OtherLock(rule);
  if (FileHandle* const file = call.Result<FileHandle>()) {
    // Success takes the lock over, so that nobody releases it any more.
    if (call.op == "OpenFromLock") dos_.UnLock(Argument<LockHandle>(call, 0));
    *file = OtherFile();
  }
  if (bool* const ok = call.Result<bool>()) *ok = true;
  if (auto* const scan = call.Result<DirContextHandle>()) {
    *scan = further_->ObtainDirContext(EX_StringNameInput, ":");
  }
  if (auto* const request = call.Result<NotifyHandle>()) {
    *request = further_->StartNotify(":", NRF_SEND_MESSAGE);
  }
  if (call.op == "ExamineDir") *call.Result<const ExamineData*>() = &claimed_entry_;
  std::int32_t* const count = call.Result<std::int32_t>();
  if (call.op == "SameLock" || call.op == "SameFile") *count = LOCK_SAME;
  if (call.op == "Write") *count = Argument<Data>(call, 1).bytes;
  if (const auto* const buffer = call.MemoryAs<ReadBuffer>()) {
    *count = buffer->bytes;
    if (const std::string* const fill = Field(rule, "fill")) {
      std::memset(buffer->start, fill->front(), static_cast<std::size_t>(buffer->bytes));
    }
  }
}

void FaultInjector::Return(const Call& call, const FaultRule& rule) {
  if (bool* const ok = call.Result<bool>()) *ok = rule.value != 0;
  if (auto* const count = call.Result<std::int32_t>())
    *count = static_cast<std::int32_t>(rule.value);
  if (auto* const number = call.Result<std::int64_t>()) *number = rule.value;
  if (auto* const signals = call.Result<std::uint32_t>()) {
    *signals = static_cast<std::uint32_t>(rule.value) & Argument<std::uint32_t>(call, 0);
  }
  const auto* const link = call.MemoryAs<LinkBuffer>();
  const std::string* const target = Field(rule, "target");
  if (link != nullptr && target != nullptr) {
    CopyText(*target, link->start, static_cast<std::uint32_t>(link->bytes));
  }
  SetCode(call, rule);
}

void FaultInjector::Scribble() {
  constexpr std::uint32_t kBytes = 8;
  std::memset(static_cast<char*>(last_memory_.start) + last_bytes_ - kBytes, 0, kBytes);
}

void FaultInjector::ReleaseGiven(const Call& call) {
  if (const auto* const lock = call.Result<LockHandle>()) dos_.UnLock(*lock);
  if (const auto* const file = call.Result<FileHandle>()) dos_.Close(*file);
  if (const auto* const rdargs = call.Result<RdArgsHandle>()) dos_.FreeArgs(*rdargs);
  // The record of a scan is the scan's.
  const auto* const record = call.Result<const ExamineData*>();
  if (record != nullptr && call.op != "ExamineDir") dos_.FreeDosObject(DOS_EXAMINEDATA, *record);
  if (const auto* const scan = call.Result<DirContextHandle>()) further_->ReleaseDirContext(*scan);
  if (const auto* const request = call.Result<NotifyHandle>()) further_->EndNotify(*request);
  if (const auto* const devproc = call.Result<const DevProc*>()) dos_.FreeDeviceProc(*devproc);
  if (const auto* const library = call.Result<const Library*>()) exec_.CloseLibrary(*library);
  if (const auto* const interface = call.Result<Interface*>()) exec_.DropInterface(*interface);
}

void FaultInjector::SetCode(const Call& call, const FaultRule& rule) {
  // What opens libraries sets none.
  const bool of_libraries =
      call.Result<const Library*>() != nullptr || call.Result<Interface*>() != nullptr;
  if (rule.code && !of_libraries) dos_.SetIoErr(*rule.code);
}

LockHandle FaultInjector::OtherLock(const FaultRule& rule) {
  const std::string* const which = Field(rule, "lock");
  if (which == nullptr || *which == "root") return dos_.Lock(":", SHARED_LOCK);
  if (*which != "file") return dos_.Lock(which->c_str(), SHARED_LOCK);
  dos_.Close(OtherFile());
  return dos_.Lock(other_file_.c_str(), SHARED_LOCK);
}

FileHandle FaultInjector::OtherFile() {
  return dos_.Open(other_file_.c_str(), MODE_READWRITE);
}

void FaultInjector::Settle() {
  for (const LockHandle lock : std::exchange(dropped_locks_, {})) dos_.UnLock(lock);
  for (const FileHandle file : std::exchange(dropped_files_, {})) dos_.Close(file);
  for (const DirContextHandle scan : std::exchange(dropped_scans_, {})) {
    further_->ReleaseDirContext(scan);
  }
  for (const NotifyHandle request : std::exchange(dropped_requests_, {})) {
    further_->EndNotify(request);
  }
  records_.clear();
}

}  // namespace quorle::selftest
