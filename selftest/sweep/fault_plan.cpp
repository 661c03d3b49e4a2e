#include "selftest/sweep/fault_plan.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string_view>
#include <unordered_map>
#include <variant>

#include "platform/constants.h"

namespace quorle::selftest {
namespace {

using Action = FaultRule::Action;
using Fields = std::map<std::string, std::string>;

// ---- Calls as text -----------------------------------------------------------------------------

struct ArgumentText {
  std::string operator()(std::monostate) const { return "none"; }
  std::string operator()(bool flag) const { return flag ? "true" : "false"; }
  std::string operator()(std::int32_t number) const { return std::to_string(number); }
  std::string operator()(std::uint32_t number) const { return std::to_string(number); }
  std::string operator()(std::int64_t number) const { return std::to_string(number); }
  std::string operator()(const char* text) const {
    return text == nullptr ? "null" : "\"" + std::string(text) + "\"";
  }
  std::string operator()(Tag tag) const { return std::to_string(tag.value); }
  std::string operator()(Data data) const { return std::to_string(data.bytes) + " bytes"; }
  std::string operator()(const quorle::DateStamp* date) const {
    return "day " + std::to_string(date->ds_Days);
  }
  template <class Kind>
  std::string operator()(Handle<Kind> handle) const {
    return handle ? "handle" : "none";
  }
  template <class Other>
  std::string operator()(const Other&) const {
    return "record";
  }
};

std::string CallText(const Call& call) {
  std::string text(call.op);
  const char* comma = "(";
  for (const CallValue& arg : call.args) {
    text += comma;
    text += std::visit(ArgumentText(), arg);
    comma = ",";
  }
  return text + (call.args.empty() ? "()" : ")");
}

// ---- Plausible error codes ---------------------------------------------------------------------

constexpr std::int32_t kByName[] = {ERROR_ACTION_NOT_KNOWN, ERROR_OBJECT_NOT_FOUND,
                                    ERROR_OBJECT_IN_USE, ERROR_IS_SOFT_LINK, ERROR_NO_FREE_STORE};
constexpr std::int32_t kOpening[] = {
    ERROR_ACTION_NOT_KNOWN, ERROR_OBJECT_NOT_FOUND,  ERROR_OBJECT_IN_USE,
    ERROR_OBJECT_EXISTS,    ERROR_OBJECT_WRONG_TYPE, ERROR_DISK_WRITE_PROTECTED,
    ERROR_WRITE_PROTECTED,  ERROR_DELETE_PROTECTED,  ERROR_DISK_FULL};
constexpr std::int32_t kCreating[] = {ERROR_ACTION_NOT_KNOWN,     ERROR_OBJECT_EXISTS,
                                      ERROR_OBJECT_NOT_FOUND,     ERROR_OBJECT_WRONG_TYPE,
                                      ERROR_DISK_WRITE_PROTECTED, ERROR_DISK_FULL};
constexpr std::int32_t kDeleting[] = {ERROR_ACTION_NOT_KNOWN, ERROR_OBJECT_NOT_FOUND,
                                      ERROR_OBJECT_IN_USE,    ERROR_DIRECTORY_NOT_EMPTY,
                                      ERROR_DELETE_PROTECTED, ERROR_DISK_WRITE_PROTECTED};
constexpr std::int32_t kRenaming[] = {ERROR_ACTION_NOT_KNOWN,     ERROR_OBJECT_NOT_FOUND,
                                      ERROR_OBJECT_IN_USE,        ERROR_OBJECT_EXISTS,
                                      ERROR_IS_SOFT_LINK,         ERROR_DISK_WRITE_PROTECTED,
                                      ERROR_RENAME_ACROSS_DEVICES};
constexpr std::int32_t kSetting[] = {ERROR_ACTION_NOT_KNOWN, ERROR_OBJECT_NOT_FOUND,
                                     ERROR_OBJECT_IN_USE, ERROR_OBJECT_WRONG_TYPE,
                                     ERROR_DISK_WRITE_PROTECTED};
constexpr std::int32_t kByHandle[] = {ERROR_ACTION_NOT_KNOWN, ERROR_OBJECT_IN_USE,
                                      ERROR_INVALID_LOCK, ERROR_OBJECT_WRONG_TYPE};
// The root's answer to ParentDir() is none with the code 0.
constexpr std::int32_t kToParent[] = {ERROR_ACTION_NOT_KNOWN, 0, ERROR_OBJECT_IN_USE,
                                      ERROR_INVALID_LOCK};
constexpr std::int32_t kOnData[] = {ERROR_ACTION_NOT_KNOWN,     ERROR_SEEK_ERROR,
                                    ERROR_WRITE_PROTECTED,      ERROR_READ_PROTECTED,
                                    ERROR_DISK_WRITE_PROTECTED, ERROR_DISK_FULL};
constexpr std::int32_t kReadingLink[] = {ERROR_ACTION_NOT_KNOWN, ERROR_OBJECT_NOT_FOUND,
                                         ERROR_OBJECT_WRONG_TYPE, ERROR_LINE_TOO_LONG};
constexpr std::int32_t kOnVolume[] = {ERROR_ACTION_NOT_KNOWN, ERROR_OBJECT_IN_USE, ERROR_NO_DISK,
                                      ERROR_DISK_NOT_VALIDATED, ERROR_DISK_WRITE_PROTECTED};
constexpr std::int32_t kScanning[] = {ERROR_ACTION_NOT_KNOWN, ERROR_NO_MORE_ENTRIES,
                                      ERROR_OBJECT_NOT_FOUND, ERROR_NO_FREE_STORE};
constexpr std::int32_t kOnRecords[] = {ERROR_ACTION_NOT_KNOWN, ERROR_RECORD_NOT_LOCKED,
                                       ERROR_LOCK_COLLISION, ERROR_LOCK_TIMEOUT};
constexpr std::int32_t kOnRemount[] = {ERROR_DEVICE_NOT_MOUNTED, ERROR_NOT_IMPLEMENTED,
                                       ERROR_INVALID_LOCK};
constexpr std::int32_t kOnArguments[] = {ERROR_ACTION_NOT_KNOWN, ERROR_REQUIRED_ARG_MISSING,
                                         ERROR_TOO_MANY_ARGS, ERROR_BAD_NUMBER};
constexpr std::int32_t kInMemory[] = {ERROR_ACTION_NOT_KNOWN, ERROR_LINE_TOO_LONG};
constexpr std::int32_t kOfExec[] = {ERROR_ACTION_NOT_KNOWN, ERROR_NO_FREE_STORE};

/// DOS type of the one filesystem that some checks know by name.
constexpr std::int64_t kQvrType = 0x51565204;

/// The operations that are counted, and the codes with which they plausibly fail.
struct CountedOperation {
  std::string_view op;
  std::span<const std::int32_t> codes;
};

constexpr CountedOperation kCounted[] = {
    {"Open", kOpening},
    {"Close", kByHandle},
    {"Read", kOnData},
    {"Write", kOnData},
    {"ChangeFilePosition", kOnData},
    {"GetFilePosition", kOnData},
    {"ChangeFileSize", kOnData},
    {"GetFileSize", kOnData},
    {"ChangeMode", kByHandle},
    {"Lock", kByName},
    {"UnLock", {}},
    {"DupLock", kByHandle},
    {"DupLockFromFH", kByHandle},
    {"OpenFromLock", kByHandle},
    {"ParentDir", kToParent},
    {"ParentOfFH", kToParent},
    {"SameLock", {}},
    {"SetCurrentDir", {}},
    {"CreateDir", kCreating},
    {"CreateDirTree", kCreating},
    {"Delete", kDeleting},
    {"Rename", kRenaming},
    {"MakeLink", kCreating},
    {"ReadSoftLink", kReadingLink},
    {"SetComment", kSetting},
    {"SetProtection", kSetting},
    {"SetDate", kSetting},
    {"SetOwnerInfo", kSetting},
    {"DateStamp", {}},
    {"ExamineObject", kByName},
    {"GetDeviceProc", kOnVolume},
    {"IsFileSystem", kOnVolume},
    {"DevNameFromPort", kOnVolume},
    {"VolNameFromPort", kOnVolume},
    {"FileSystemAttr", kOnVolume},
    {"GetDiskInfo", kOnVolume},
    {"Relabel", kOnVolume},
    {"WriteProtectVolume", kOnVolume},
    {"SetProcWindow", {}},
    {"DoPkt", kCreating},
    {"CopyStringSTRToBSTR", kInMemory},
    {"FileLockOf", {}},
    {"PortRecordOf", {}},
    {"ReadArgs", kOnArguments},
    {"CheckSignal", {}},
    {"TimedDosRequesterTags", {}},
    {"ObtainDirContext", kByName},
    {"ExamineDir", kScanning},
    {"SameFile", {}},
    {"LockRecord", kOnRecords},
    {"UnLockRecord", kOnRecords},
    {"StartNotify", kByName},
    {"GetNotifyMsg", {}},
    {"CheckNotifySignal", {}},
    {"Flush", kOnVolume},
    {"Remount", kOnRemount},
    {"VolumeInfoData", kOnVolume},
    {"Inhibit", kOnVolume},
    {"Serialize", kOnVolume},
    {"Format", kOnVolume},
    {"DateToStr", kInMemory},
    {"FindTask", {}},
    {"GetMsg", {}},
    {"AllocVecTags", kOfExec},
    {"OpenLibrary", kOfExec},
    {"GetInterface", {}},
};

const CountedOperation* FindCounted(std::string_view op) {
  static const auto kIndex = [] {
    std::unordered_map<std::string_view, const CountedOperation*> map;
    for (const CountedOperation& counted : kCounted) map.emplace(counted.op, &counted);
    return map;
  }();
  const auto found = kIndex.find(op);
  return found == kIndex.end() ? nullptr : found->second;
}

// ---- The faults of a call ----------------------------------------------------------------------

/// The ways in which a call can misbehave that was made as `call` shows, and left `code`.
class FaultList {
 public:
  FaultList(const Call& call, std::span<const std::int32_t> codes, std::int32_t code)
      : call_(call), codes_(codes), code_(code) {
    std::visit([this](const auto& place) { Add(place); }, call.result);
  }

  std::vector<PlannedFault> Take() { return std::move(faults_); }

 private:
  // ---- By what the call gives ----------------------------------------------------------------

  void Add(std::monostate) {
    if (const auto* const date = call_.MemoryAs<quorle::DateStamp*>()) {
      Wrong("a later day", {{"Days", std::to_string((*date)->ds_Days + 1)}});
      Wrong("day 0", {{"Days", "0"}});
    } else {
      AddCode(ERROR_ACTION_NOT_KNOWN);
      if (std::get<LockHandle>(call_.args[0])) AddDrop();
    }
  }

  void Add(const bool* ok) {
    if (call_.op == "Close") {
      if (*ok) {
        Deny();
        AddDrop();
      } else {
        AddClaim("true");
      }
      return;
    }
    Reasons(*ok);
    AddClaim("true");
    if (*ok) std::visit([this](const auto& memory) { InMemory(memory); }, call_.memory);
  }

  void Add(const std::int32_t* number) {
    if (call_.op == "SameLock" || call_.op == "SameFile") return Relations(*number);
    if (call_.op == "TimedDosRequesterTags") {
      Wrong("1", {{"result", "1"}});
      Wrong("-1", {{"result", "-1"}});
      return;
    }
    Reasons(*number >= 0);
    if (const auto* const buffer = call_.MemoryAs<LinkBuffer>()) return Link(*buffer, *number);
    AddClaim("all bytes", {{"fill", "#"}});
    if (*number <= 0) return;
    const Fields none = {{"result", "0"}};
    if (const auto* const buffer = call_.MemoryAs<ReadBuffer>()) {
      std::string data(static_cast<const char*>(buffer->start), static_cast<std::size_t>(*number));
      data.back() = static_cast<char>(data.back() ^ 1);
      Wrong("a byte less", {{"result", std::to_string(*number - 1)}});
      Wrong("no byte", none);
      Wrong("other bytes", {{"data", data}});
    } else {
      Wrong("no byte", none);
      const std::int32_t bytes = std::get<Data>(call_.args[1]).bytes;
      Wrong("a byte less, and writes it so", {{"bytes", std::to_string(bytes - 1)}});
    }
  }

  void Add(const std::int64_t* number) {
    Reasons(*number >= 0);
    if (*number < 0) return;
    Wrong("one more", {{"result", std::to_string(*number + 1)}});
    Wrong("one less", {{"result", std::to_string(std::max<std::int64_t>(*number - 1, 0))}});
    Wrong("0", {{"result", "0"}});
  }

  void Add(const std::uint32_t*) {
    PlannedFault& fault = New(Action::kReturn, "not made, but gives the signal");
    fault.rule.value = std::get<std::uint32_t>(call_.args[0]);
  }

  void Add(const LockHandle* lock) {
    constexpr std::pair<const char*, const char*> kOthers[] = {
        {"root", "the root of the volume"}, {"RAM:", "the root of RAM:"}, {"file", "another file"}};
    Reasons(static_cast<bool>(*lock));
    for (const auto& [which, what] : kOthers) AddClaim(what, {{"lock", which}});
    if (!*lock) return;
    for (const auto& [which, what] : kOthers) Wrong(what, {{"lock", which}});
    Wrong("the other mode", {{"mode", "other"}});
  }
  void Add(const KnownLock* previous) {
    if (previous->lock) Wrong("no previous directory", {{"lock", "none"}});
  }
  void Add(const FileHandle* file) {
    Reasons(static_cast<bool>(*file));
    AddClaim("another file");
    if (!*file) return;
    Wrong("another file", {{"file", "other"}});
    Wrong("the other mode", {{"mode", "other"}});
  }

  void Add(const ExamineData* const* record) {
    Reasons(*record != nullptr);
    if (*record == nullptr) return;
    constexpr std::uint32_t kOtherId = 0x1234;
    const ExamineData& data = **record;
    Wrong("the type of a soft link", {{"Type", "0"}});
    Wrong("the type of a file", {{"Type", "1"}});
    Wrong("the type of a directory", {{"Type", "2"}});
    Wrong("a type with flags", {{"Type", std::to_string(data.Type | 0x100)}});
    Wrong("size -1", {{"FileSize", "-1"}});
    Wrong("size 0", {{"FileSize", "0"}});
    Wrong("a size one larger", {{"FileSize", std::to_string(data.FileSize + 1)}});
    Wrong("a later day", {{"Days", std::to_string(data.Date.ds_Days + 1)}});
    Wrong("day 0", {{"Days", "0"}});
    Wrong("RefCount 0", {{"RefCount", "0"}});
    Wrong("RefCount 2", {{"RefCount", "2"}});
    Wrong("ObjectID 0", {{"ObjectID", "0"}});
    Wrong("another name", {{"Name", "another-name"}});
    Wrong("no name", {{"Name", ""}});
    Wrong("another comment", {{"Comment", "another comment"}});
    Wrong("no comment", {{"Comment", ""}});
    Wrong("another link", {{"Link", "another/link"}});
    Wrong("protection 0", {{"Protection", "0"}});
    Wrong("all protection bits", {{"Protection", std::to_string(~std::uint32_t{0})}});
    Wrong("a changed archive bit",
          {{"Protection", std::to_string(data.Protection ^ EXDF_ARCHIVE)}});
    Wrong("another owner", {{"OwnerUID", std::to_string(data.OwnerUID ^ kOtherId)}});
    Wrong("another group", {{"OwnerGID", std::to_string(data.OwnerGID ^ kOtherId)}});
  }

  void Add(const DirContextHandle* context) { Reasons(static_cast<bool>(*context)); }
  void Add(const NotifyHandle* request) { Reasons(static_cast<bool>(*request)); }

  void Add(const DevProc* const*) {
    Deny();
    Wrong("the handler of RAM:", {{"device", "RAM:"}});
    Wrong("the handler of NIL:", {{"device", "NIL:"}});
  }
  void Add(const RdArgsHandle*) {
    Deny();
    Wrong("the device RAM:", {{"0", "RAM:"}});
    Wrong("the device NIL:", {{"0", "NIL:"}});
    Wrong("a device that is not there", {{"0", "NOSUCH:"}});
    Wrong("NI", {{"1", "on"}});
    Wrong("NW", {{"2", "on"}});
    Wrong("NR", {{"3", "on"}});
    Wrong("AOE", {{"4", "on"}});
    Wrong("FTN=0", {{"5", "0"}});
    Wrong("LTN=1", {{"6", "1"}});
    Wrong("TN=0", {{"7", "0"}});
    Wrong("TN=1", {{"7", "1"}});
  }
  void Add(const MessageHandle* message) {
    if (*message) New(Action::kFail, "not made, and gives no message");
  }
  void Add(const Memory*) { OtherReasons(0); }
  void Add(const Window*) {
    if (std::holds_alternative<std::int32_t>(call_.args[0])) {
      Wrong("that there was none before", {{"window", "none"}});
    }
  }
  void Add(const Library* const*) {
    Deny();
    faults_.pop_back();  // it sets no code
    Wrong("version 53.89", {{"version", "53"}, {"revision", "89"}});
    Wrong("version 50.0", {{"version", "50"}, {"revision", "0"}});
  }
  void Add(Interface* const*) {
    New(Action::kFail, "not made, and gives none");
    New(Action::kDoneFail, "made, but gives none");
  }
  void Add(const Process* const* process) {
    Wrong("the other kind of start", {{"cli", (*process)->cli ? "0" : "1"}});
  }
  void Add(const FileLock*) {
    Wrong("no port", {{"port", "none"}});
    Wrong("the port of RAM:", {{"port", "RAM:"}});
  }
  void Add(const PortRecord* record) {
    const bool is_vector = record->node_type == NT_FILESYSTEM;
    Wrong("the other kind of port",
          {{"node_type", std::to_string(is_vector ? NT_MSGPORT : NT_FILESYSTEM)},
           {"version", std::to_string(FS_VECTORPORT_VERSION)}});
    Wrong("version 52", {{"version", std::to_string(FS_VECTORPORT_VERSION - 1)}});
    Wrong("another word 78", {{"word78", record->word78 ? "0" : "1"}});
  }

  // ---- By what a call that gave true has stored ------------------------------------------------

  template <class Other>
  void InMemory(const Other&) {}
  void InMemory(const NameBuffer&) {
    Wrong("an empty name", {{"name", ""}});
    Wrong("the name Other", {{"name", "Other"}});
    Wrong("the name Ram Disk", {{"name", "Ram Disk"}});
  }
  void InMemory(const AttributeBuffer& buffer) {
    Wrong("a version without a date", {{"version", "other 1.2 without a date"}});
    Wrong("a version that fills the buffer",
          {{"version", std::string(buffer.version_bytes - 1, 'v')}});
    Wrong("DOS type 0", {{"dostype", "0"}});
    Wrong("another DOS type", {{"dostype", std::to_string(kQvrType)}});
  }
  void InMemory(InfoData*) {
    Wrong("state write-protected", {{"DiskState", std::to_string(ID_DISKSTATE_WRITE_PROTECTED)}});
    Wrong("state validating", {{"DiskState", std::to_string(ID_DISKSTATE_VALIDATING)}});
    Wrong("disk type 0", {{"DiskType", "0"}});
    Wrong("another disk type", {{"DiskType", std::to_string(kQvrType)}});
  }
  void InMemory(DateTime*) { Wrong("another text", {{"text", "today"}}); }

  // ---- Two operations of their own -------------------------------------------------------------

  void Relations(std::int32_t result) {
    constexpr std::pair<std::int32_t, const char*> kRelations[] = {
        {LOCK_DIFFERENT, "LOCK_DIFFERENT"},
        {LOCK_SAME, "LOCK_SAME"},
        {LOCK_SAME_VOLUME, "LOCK_SAME_VOLUME"}};
    for (const auto& [relation, name] : kRelations) {
      if (relation != result) Wrong(name, {{"result", std::to_string(relation)}});
    }
  }

  void Link(const LinkBuffer& buffer, std::int32_t length) {
    const std::string other =
        std::string("x/y").substr(0, static_cast<std::size_t>(buffer.bytes - 1));
    Answer("another path", static_cast<std::int64_t>(other.size()), std::nullopt, other);
    Answer("length 0", 0, std::nullopt, "");
    Answer("-1 with code 120", -1, ERROR_LINE_TOO_LONG);
    Answer("-2 with code 120", -2, ERROR_LINE_TOO_LONG);
    Answer("-2 with code 205", -2, ERROR_OBJECT_NOT_FOUND);
    if (length <= 0) return;
    std::string target(buffer.start, static_cast<std::size_t>(length));
    Wrong("a length one less", {{"target", target.substr(0, target.size() - 1)},
                                {"result", std::to_string(length - 1)}});
    target.front() = target.front() == 'x' ? 'y' : 'x';
    Wrong("a changed path", {{"target", target}});
  }
  void Answer(const char* what, std::int64_t value, std::optional<std::int32_t> code,
              std::optional<std::string> target = {}) {
    PlannedFault& fault = New(Action::kReturn, std::string("not made, but gives ") + what);
    fault.rule.value = value;
    fault.rule.code = code;
    if (target) fault.rule.fields["target"] = *target;
  }

  // ---- Kinds of fault --------------------------------------------------------------------------

  PlannedFault& New(Action action, std::string text) {
    PlannedFault& fault = faults_.emplace_back();
    fault.rule.op = call_.op;
    fault.rule.action = action;
    fault.text = std::move(text);
    return fault;
  }
  void AddFail(std::int32_t code) {
    New(Action::kFail, "not made, fails with " + std::to_string(code)).rule.code = code;
  }
  void AddCode(std::int32_t code) {
    New(Action::kCode, "made, and the error code becomes " + std::to_string(code)).rule.code = code;
  }
  void AddDrop() { New(Action::kDrop, "not made, without a word"); }
  void AddClaim(const std::string& what, Fields fields = {}) {
    New(Action::kSucceed, "not made, but reported as done: " + what).rule.fields =
        std::move(fields);
  }
  void Wrong(const std::string& what, Fields fields) {
    New(Action::kSet, "made, but gives " + what).rule.fields = std::move(fields);
  }

  /// The call did what it was made for: it does not; it does and denies it.
  void Deny() {
    for (const std::int32_t code : codes_) AddFail(code);
    for (const std::int32_t code : codes_) {
      New(Action::kDoneFail, "made, but reported as failed with " + std::to_string(code))
          .rule.code = code;
    }
    // A code beside a result that is none of a failure.
    AddCode(ERROR_ACTION_NOT_KNOWN);
  }
  /// The call failed with `code`: it does so for another reason.
  void OtherReasons(std::int32_t code) {
    for (const std::int32_t other : codes_) {
      if (other != code) AddFail(other);
    }
  }
  void Reasons(bool succeeded) {
    if (succeeded) {
      Deny();
    } else {
      OtherReasons(code_);
    }
  }

  const Call& call_;
  std::span<const std::int32_t> codes_;
  std::int32_t code_;
  std::vector<PlannedFault> faults_;
};

}  // namespace

void FaultPlan::Record(const std::string& place) {
  place_ = &place;
  count_ = 0;
  due_ = 0;
  sites_.clear();
}

void FaultPlan::Inject(std::size_t number, const CallSite& site, const PlannedFault& fault) {
  place_ = nullptr;
  count_ = 0;
  due_ = number;
  site_ = &site;
  fault_ = &fault;
}

const FaultRule* FaultPlan::Match(const Call& call) {
  if (FindCounted(call.op) == nullptr) return nullptr;
  // A tester that goes on for ever is stopped; its stack cannot be unwound.
  constexpr std::size_t kMostCalls = 100'000;
  if (++count_ > kMostCalls) {
    std::fprintf(stderr, "more than %zu calls\n", kMostCalls);
    std::abort();
  }
  if (count_ != due_) return nullptr;
  if (site_->op != call.op) {
    std::fprintf(stderr, "call %zu is %s, and was %s\n", due_, CallText(call).c_str(),
                 site_->text.c_str());
    std::abort();
  }
  return &fault_->rule;
}

void FaultPlan::OnMade(const Call& call) {
  const CountedOperation* const counted = place_ == nullptr ? nullptr : FindCounted(call.op);
  if (counted == nullptr) return;
  sites_.push_back({.op = std::string(call.op),
                    .text = CallText(call),
                    .place = *place_,
                    .faults = FaultList(call, counted->codes, dos_.IoErr()).Take()});
}

}  // namespace quorle::selftest
