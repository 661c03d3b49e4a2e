#include "selftest/sweep/one_fault.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "platform/constants.h"

namespace quorle::selftest {
namespace {

using Kind = Fault::Kind;

// ---- Calls as text -----------------------------------------------------------------------------

std::string TextOf(const char* text) {
  return text == nullptr ? "null" : "\"" + std::string(text) + "\"";
}
std::string TextOf(std::int32_t number) {
  return std::to_string(number);
}
std::string TextOf(std::uint32_t number) {
  return std::to_string(number);
}
std::string TextOf(std::int64_t number) {
  return std::to_string(number);
}
std::string TextOf(bool value) {
  return value ? "true" : "false";
}
template <class Kind_>
std::string TextOf(Handle<Kind_> handle) {
  return handle ? "handle" : "none";
}
template <class Thing>
std::string TextOf(const Thing* thing) {
  return thing == nullptr ? "null" : "record";
}

template <class... Args>
std::string CallText(const char* op, const Args&... args) {
  std::string text = op;
  text += '(';
  [[maybe_unused]] const char* comma = "";
  ((text += comma, text += TextOf(args), comma = ","), ...);
  return text + ')';
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
constexpr std::int32_t kOnArguments[] = {ERROR_ACTION_NOT_KNOWN, ERROR_REQUIRED_ARG_MISSING,
                                         ERROR_TOO_MANY_ARGS, ERROR_BAD_NUMBER};
constexpr std::int32_t kInMemory[] = {ERROR_ACTION_NOT_KNOWN, ERROR_LINE_TOO_LONG};
constexpr std::int32_t kOfExec[] = {ERROR_ACTION_NOT_KNOWN, ERROR_NO_FREE_STORE};

/// DOS type of the one filesystem that some checks know by name.
constexpr std::int32_t kQvrType = 0x51565204;

constexpr const char* kOtherFile = "ENV:other-file";
constexpr std::array kOtherLocks = {"the root of the volume", "the root of RAM:", kOtherFile};

// ---- Lists of faults ---------------------------------------------------------------------------

Fault WithCode(Kind kind, std::int32_t code) {
  return {.kind = kind, .code = code, .variant = 0, .what = ""};
}
Fault WithVariant(Kind kind, std::size_t variant, const char* what) {
  return {.kind = kind, .code = 0, .variant = variant, .what = what};
}

/// The faults of a call that did what it was made for: it does not; it does and denies it.
std::vector<Fault> Denials(std::span<const std::int32_t> codes) {
  std::vector<Fault> faults;
  for (const std::int32_t code : codes) faults.push_back(WithCode(Kind::kFail, code));
  for (const std::int32_t code : codes) faults.push_back(WithCode(Kind::kDoneFail, code));
  // A code beside a result that is none of a failure.
  faults.push_back(WithCode(Kind::kCode, ERROR_ACTION_NOT_KNOWN));
  return faults;
}

/// The faults of a call that failed with `code`: it does so for another reason.
std::vector<Fault> OtherReasons(std::span<const std::int32_t> codes, std::int32_t code) {
  std::vector<Fault> faults;
  for (const std::int32_t other : codes) {
    if (other != code) faults.push_back(WithCode(Kind::kFail, other));
  }
  return faults;
}

void AddVariants(std::vector<Fault>& faults, Kind kind, std::initializer_list<const char*> names) {
  std::size_t variant = 0;
  for (const char* const name : names) faults.push_back(WithVariant(kind, variant++, name));
}

void AddOtherLocks(std::vector<Fault>& faults, Kind kind) {
  for (std::size_t i = 0; i < kOtherLocks.size(); ++i) {
    faults.push_back(WithVariant(kind, i, kOtherLocks[i]));
  }
}

}  // namespace

std::string Fault::Text() const {
  switch (kind) {
    case Kind::kFail:
      return "not made, fails with " + std::to_string(code);
    case Kind::kDoneFail:
      return "made, but reported as failed with " + std::to_string(code);
    case Kind::kClaim:
      return std::string("not made, but reported as done: ") + what;
    case Kind::kWrong:
      return std::string("made, but gives ") + what;
    case Kind::kCode:
      return "made, and the error code becomes " + std::to_string(code);
    case Kind::kDrop:
      return "not made, and nobody is told";
  }
  return "?";
}

// ---- The count ---------------------------------------------------------------------------------

void OneFault::Record(const std::string& place) {
  *this = {};
  recording_ = true;
  place_ = &place;
}

void OneFault::Inject(std::size_t number, const CallSite& site, const Fault& fault) {
  *this = {};
  due_ = number;
  site_ = &site;
  fault_ = &fault;
}

const Fault* OneFault::Step(const char* op) {
  // A tester that goes on for ever is stopped; its stack cannot be unwound.
  constexpr std::size_t kMostCalls = 100'000;
  if (++count_ > kMostCalls) {
    std::fprintf(stderr, "more than %zu calls\n", kMostCalls);
    std::abort();
  }
  if (count_ != due_) return nullptr;
  if (site_->op != op) {
    std::fprintf(stderr, "call %zu is %s, and was %s\n", due_, op, site_->text.c_str());
    std::abort();
  }
  return fault_;
}

void OneFault::Note(const char* op, std::string text, std::vector<Fault> faults) {
  sites_.push_back(
      {.op = op, .text = std::move(text), .place = *place_, .faults = std::move(faults)});
}

// ---- Kinds of call -----------------------------------------------------------------------------

template <class Make, class Wrong, class... Args>
bool OneFaultDos::Truth(const char* op, Codes codes, std::initializer_list<const char*> wrongs,
                        Make make, Wrong wrong, const Args&... args) {
  const Fault* const fault = one_.Step(op);
  if (fault == nullptr) {
    const bool result = make();
    if (one_.IsRecording()) {
      std::vector<Fault> faults = result ? Denials(codes) : OtherReasons(codes, inner().IoErr());
      faults.push_back(WithVariant(Kind::kClaim, 0, "true"));
      if (result) AddVariants(faults, Kind::kWrong, wrongs);
      one_.Note(op, CallText(op, args...), std::move(faults));
    }
    return result;
  }
  bool result = fault->kind == Kind::kClaim;
  if (fault->kind == Kind::kDoneFail) make();
  if (fault->kind == Kind::kCode || fault->kind == Kind::kWrong) result = make();
  if (fault->kind == Kind::kWrong) wrong(fault->variant);
  if (fault->kind != Kind::kClaim && fault->kind != Kind::kWrong) inner().SetIoErr(fault->code);
  return result;
}

template <class Make, class... Args>
bool OneFaultDos::Truth(const char* op, Codes codes, Make make, const Args&... args) {
  return Truth(
      op, codes, {}, make, [](std::size_t) {}, args...);
}

template <class Make, class... Args>
LockHandle OneFaultDos::Locked(const char* op, Codes codes, Make make, const Args&... args) {
  const Fault* const fault = one_.Step(op);
  if (fault == nullptr) {
    const LockHandle lock = make();
    if (one_.IsRecording()) {
      std::vector<Fault> faults = lock ? Denials(codes) : OtherReasons(codes, inner().IoErr());
      AddOtherLocks(faults, Kind::kClaim);
      if (lock) {
        AddOtherLocks(faults, Kind::kWrong);
        faults.push_back(WithVariant(Kind::kWrong, kOtherLocks.size(), "the other mode"));
      }
      one_.Note(op, CallText(op, args...), std::move(faults));
    }
    return lock;
  }
  switch (fault->kind) {
    case Kind::kClaim:
      return OtherLock(fault->variant);
    case Kind::kWrong: {
      const LockHandle lock = make();
      if (fault->variant == kOtherLocks.size()) return OtherMode(lock);
      inner().UnLock(lock);
      return OtherLock(fault->variant);
    }
    case Kind::kCode: {
      const LockHandle lock = make();
      inner().SetIoErr(fault->code);
      return lock;
    }
    case Kind::kDoneFail:
      inner().UnLock(make());
      break;
    default:
      break;
  }
  inner().SetIoErr(fault->code);
  return {};
}

template <class Make, class Consume, class... Args>
FileHandle OneFaultDos::Opened(const char* op, Codes codes, Make make, Consume consume,
                               const Args&... args) {
  const Fault* const fault = one_.Step(op);
  if (fault == nullptr) {
    const FileHandle file = make();
    if (one_.IsRecording()) {
      std::vector<Fault> faults = file ? Denials(codes) : OtherReasons(codes, inner().IoErr());
      faults.push_back(WithVariant(Kind::kClaim, 0, kOtherFile));
      if (file) AddVariants(faults, Kind::kWrong, {kOtherFile, "the other mode"});
      one_.Note(op, CallText(op, args...), std::move(faults));
    }
    return file;
  }
  switch (fault->kind) {
    case Kind::kClaim:
      consume();
      return OtherFile();
    case Kind::kWrong: {
      const FileHandle file = make();
      if (fault->variant == 0) {
        inner().Close(file);
        return OtherFile();
      }
      return OtherMode(file);
    }
    case Kind::kCode: {
      const FileHandle file = make();
      inner().SetIoErr(fault->code);
      return file;
    }
    case Kind::kDoneFail:
      inner().Close(make());
      break;
    default:
      break;
  }
  inner().SetIoErr(fault->code);
  return {};
}

template <class Make, class... Args>
std::int64_t OneFaultDos::Measured(const char* op, Codes codes, Make make, const Args&... args) {
  const Fault* const fault = one_.Step(op);
  if (fault == nullptr) {
    const std::int64_t result = make();
    if (one_.IsRecording()) {
      std::vector<Fault> faults =
          result >= 0 ? Denials(codes) : OtherReasons(codes, inner().IoErr());
      if (result >= 0) AddVariants(faults, Kind::kWrong, {"one more", "one less", "0"});
      one_.Note(op, CallText(op, args...), std::move(faults));
    }
    return result;
  }
  std::int64_t result = -1;
  if (fault->kind != Kind::kFail) {
    const std::int64_t real = make();
    if (fault->kind != Kind::kDoneFail) result = real;
  }
  if (fault->kind == Kind::kWrong) {
    if (fault->variant == 0) return result + 1;
    return fault->variant == 1 && result > 0 ? result - 1 : 0;
  }
  inner().SetIoErr(fault->code);
  return result;
}

template <class Make, class Object>
const ExamineData* OneFaultDos::Examined(Make make, std::uint32_t tag, const Object& object) {
  constexpr const char* kOp = "ExamineObject";
  const Fault* const fault = one_.Step(kOp);
  if (fault == nullptr) {
    const ExamineData* const data = make();
    if (one_.IsRecording()) {
      std::vector<Fault> faults =
          data != nullptr ? Denials(kByName) : OtherReasons(kByName, inner().IoErr());
      if (data != nullptr) {
        // The order is that of Change().
        AddVariants(faults, Kind::kWrong,
                    {"the type of a soft link",
                     "the type of a file",
                     "the type of a directory",
                     "a type with flags",
                     "size -1",
                     "size 0",
                     "a size one larger",
                     "a later day",
                     "day 0",
                     "RefCount 0",
                     "RefCount 2",
                     "ObjectID 0",
                     "another name",
                     "no name",
                     "another comment",
                     "no comment",
                     "another link",
                     "protection 0",
                     "all protection bits",
                     "a changed archive bit",
                     "another owner",
                     "another group"});
      }
      one_.Note(kOp, CallText(kOp, tag, object), std::move(faults));
    }
    return data;
  }
  const ExamineData* data = nullptr;
  if (fault->kind != Kind::kFail) data = make();
  if (fault->kind == Kind::kWrong) return Change(data, fault->variant);
  if (fault->kind == Kind::kDoneFail) {
    inner().FreeDosObject(DOS_EXAMINEDATA, data);
    data = nullptr;
  }
  inner().SetIoErr(fault->code);
  return data;
}

const ExamineData* OneFaultDos::Change(const ExamineData* real, std::size_t variant) {
  auto changed = std::make_unique<Changed>();
  changed->real = real;
  ExamineData& data = changed->copy;
  data = *real;
  constexpr std::uint32_t kOtherId = 0x1234;
  switch (variant) {
    case 0:
    case 1:
    case 2:
      data.Type = static_cast<std::uint32_t>(variant);
      break;
    case 3:
      data.Type |= 0x100;
      break;
    case 4:
      data.FileSize = -1;
      break;
    case 5:
      data.FileSize = 0;
      break;
    case 6:
      ++data.FileSize;
      break;
    case 7:
      ++data.Date.ds_Days;
      break;
    case 8:
      data.Date.ds_Days = 0;
      break;
    case 9:
      data.RefCount = 0;
      break;
    case 10:
      data.RefCount = 2;
      break;
    case 11:
      data.ObjectID = 0;
      break;
    case 12:
      changed->text = "another-name";
      data.Name = changed->text.c_str();
      break;
    case 13:
      data.Name = "";
      break;
    case 14:
      changed->text = "another comment";
      data.Comment = changed->text.c_str();
      break;
    case 15:
      data.Comment = "";
      break;
    case 16:
      changed->text = "another/link";
      data.Link = changed->text.c_str();
      break;
    case 17:
      data.Protection = 0;
      break;
    case 18:
      data.Protection = ~std::uint32_t{0};
      break;
    case 19:
      data.Protection ^= EXDF_ARCHIVE;
      break;
    case 20:
      data.OwnerUID ^= kOtherId;
      break;
    default:
      data.OwnerGID ^= kOtherId;
      break;
  }
  const ExamineData* const copy = &data;
  changed_[copy] = std::move(changed);
  return copy;
}

template <class Make, class Source>
bool OneFaultDos::Disk(Make make, InfoData& info, const Source& source) {
  const auto wrong = [&info](std::size_t variant) {
    switch (variant) {
      case 0:
        info.id_DiskState = ID_DISKSTATE_WRITE_PROTECTED;
        break;
      case 1:
        info.id_DiskState = ID_DISKSTATE_VALIDATING;
        break;
      case 2:
        info.id_DiskType = 0;
        break;
      default:
        info.id_DiskType = kQvrType;
        break;
    }
  };
  return Truth("GetDiskInfo", kOnVolume,
               {"state write-protected", "state validating", "disk type 0", "another disk type"},
               make, wrong, source);
}

template <class Make>
bool OneFaultDos::Named(const char* op, Make make, char* buffer, std::uint32_t size,
                        PortHandle port) {
  const auto wrong = [&](std::size_t variant) {
    constexpr const char* kNames[] = {"", "Other", "Ram Disk"};
    std::snprintf(buffer, size, "%s", kNames[variant]);
  };
  return Truth(op, kOnVolume, {"an empty name", "the name Other", "the name Ram Disk"}, make, wrong,
               port);
}

LockHandle OneFaultDos::OtherLock(std::size_t variant) {
  if (variant == 0) return inner().Lock(":", SHARED_LOCK);
  if (variant == 1) return inner().Lock("RAM:", SHARED_LOCK);
  inner().Close(OtherFile());
  return inner().Lock(kOtherFile, SHARED_LOCK);
}

// Only what is shared has a duplicate.

LockHandle OneFaultDos::OtherMode(LockHandle lock) {
  const std::int32_t code = inner().IoErr();
  const LockHandle copy = inner().DupLock(lock);
  inner().UnLock(copy);
  inner().ChangeMode(CHANGE_LOCK, lock, copy ? EXCLUSIVE_LOCK : SHARED_LOCK);
  inner().SetIoErr(code);
  return lock;
}

FileHandle OneFaultDos::OtherMode(FileHandle file) {
  const std::int32_t code = inner().IoErr();
  const LockHandle copy = inner().DupLockFromFH(file);
  inner().UnLock(copy);
  inner().ChangeMode(CHANGE_FH, file, copy ? EXCLUSIVE_LOCK : SHARED_LOCK);
  inner().SetIoErr(code);
  return file;
}

FileHandle OneFaultDos::OtherFile() {
  other_file_made_ = true;
  return inner().Open(kOtherFile, MODE_READWRITE);
}

void OneFaultDos::Settle() {
  for (const LockHandle lock : std::exchange(dropped_locks_, {})) inner().UnLock(lock);
  for (const FileHandle file : std::exchange(dropped_files_, {})) inner().Close(file);
  changed_.clear();
  if (std::exchange(other_file_made_, false)) inner().Delete(kOtherFile);
}

// ---- Files -------------------------------------------------------------------------------------

FileHandle OneFaultDos::Open(const char* name, std::int32_t mode) {
  return Opened(
      "Open", kOpening, [&] { return inner().Open(name, mode); }, [] {}, name, mode);
}

bool OneFaultDos::Close(FileHandle file) {
  constexpr const char* kOp = "Close";
  const Fault* const fault = one_.Step(kOp);
  if (fault == nullptr) {
    const bool result = inner().Close(file);
    if (one_.IsRecording()) {
      std::vector<Fault> faults;
      if (result) {
        faults = Denials(kByHandle);
        faults.push_back(WithCode(Kind::kDrop, 0));
      } else {
        faults.push_back(WithVariant(Kind::kClaim, 0, "true"));
      }
      one_.Note(kOp, CallText(kOp, file), std::move(faults));
    }
    return result;
  }
  bool result = true;
  if (fault->kind == Kind::kDoneFail || fault->kind == Kind::kCode) result = inner().Close(file);
  if (fault->kind == Kind::kFail || fault->kind == Kind::kDrop) dropped_files_.push_back(file);
  if (fault->kind == Kind::kClaim || fault->kind == Kind::kDrop) return true;
  inner().SetIoErr(fault->code);
  return fault->kind == Kind::kCode && result;
}

std::int32_t OneFaultDos::Read(FileHandle file, void* buffer, std::int32_t bytes) {
  constexpr const char* kOp = "Read";
  const Fault* const fault = one_.Step(kOp);
  auto* const data = static_cast<char*>(buffer);
  if (fault == nullptr) {
    const std::int32_t count = inner().Read(file, buffer, bytes);
    if (one_.IsRecording()) {
      std::vector<Fault> faults =
          count >= 0 ? Denials(kOnData) : OtherReasons(kOnData, inner().IoErr());
      faults.push_back(WithVariant(Kind::kClaim, 0, "all bytes"));
      if (count > 0) AddVariants(faults, Kind::kWrong, {"a byte less", "no byte", "other bytes"});
      one_.Note(kOp, CallText(kOp, file, bytes), std::move(faults));
    }
    return count;
  }
  switch (fault->kind) {
    case Kind::kClaim:
      std::memset(data, '#', static_cast<std::size_t>(bytes));
      return bytes;
    case Kind::kWrong: {
      const std::int32_t count = inner().Read(file, buffer, bytes);
      if (fault->variant == 0) return count - 1;
      if (fault->variant == 1) return 0;
      data[count - 1] = static_cast<char>(data[count - 1] ^ 1);
      return count;
    }
    default:
      break;
  }
  std::int32_t count = -1;
  if (fault->kind == Kind::kCode) count = inner().Read(file, buffer, bytes);
  if (fault->kind == Kind::kDoneFail) inner().Read(file, buffer, bytes);
  inner().SetIoErr(fault->code);
  return count;
}

std::int32_t OneFaultDos::Write(FileHandle file, const void* data, std::int32_t bytes) {
  constexpr const char* kOp = "Write";
  const Fault* const fault = one_.Step(kOp);
  if (fault == nullptr) {
    const std::int32_t count = inner().Write(file, data, bytes);
    if (one_.IsRecording()) {
      std::vector<Fault> faults =
          count >= 0 ? Denials(kOnData) : OtherReasons(kOnData, inner().IoErr());
      faults.push_back(WithVariant(Kind::kClaim, 0, "all bytes"));
      if (count > 0)
        AddVariants(faults, Kind::kWrong, {"no byte", "a byte less, and writes it so"});
      one_.Note(kOp, CallText(kOp, file, bytes), std::move(faults));
    }
    return count;
  }
  switch (fault->kind) {
    case Kind::kClaim:
      return bytes;
    case Kind::kWrong:
      if (fault->variant == 1) return inner().Write(file, data, bytes - 1);
      inner().Write(file, data, bytes);
      return 0;
    default:
      break;
  }
  std::int32_t count = -1;
  if (fault->kind == Kind::kCode) count = inner().Write(file, data, bytes);
  if (fault->kind == Kind::kDoneFail) inner().Write(file, data, bytes);
  inner().SetIoErr(fault->code);
  return count;
}

bool OneFaultDos::ChangeFilePosition(FileHandle file, std::int64_t position, std::int32_t mode) {
  return Truth(
      "ChangeFilePosition", kOnData,
      [&] { return inner().ChangeFilePosition(file, position, mode); }, file, position, mode);
}

std::int64_t OneFaultDos::GetFilePosition(FileHandle file) {
  return Measured(
      "GetFilePosition", kOnData, [&] { return inner().GetFilePosition(file); }, file);
}

bool OneFaultDos::ChangeFileSize(FileHandle file, std::int64_t size, std::int32_t mode) {
  return Truth(
      "ChangeFileSize", kOnData, [&] { return inner().ChangeFileSize(file, size, mode); }, file,
      size, mode);
}

std::int64_t OneFaultDos::GetFileSize(FileHandle file) {
  return Measured(
      "GetFileSize", kOnData, [&] { return inner().GetFileSize(file); }, file);
}

bool OneFaultDos::ChangeMode(std::int32_t type, LockHandle lock, std::int32_t mode) {
  return Truth(
      "ChangeMode", kByHandle, [&] { return inner().ChangeMode(type, lock, mode); }, type, lock,
      mode);
}

bool OneFaultDos::ChangeMode(std::int32_t type, FileHandle file, std::int32_t mode) {
  return Truth(
      "ChangeMode", kByHandle, [&] { return inner().ChangeMode(type, file, mode); }, type, file,
      mode);
}

// ---- Locks -------------------------------------------------------------------------------------

LockHandle OneFaultDos::Lock(const char* name, std::int32_t mode) {
  return Locked(
      "Lock", kByName, [&] { return inner().Lock(name, mode); }, name, mode);
}

void OneFaultDos::UnLock(LockHandle lock) {
  constexpr const char* kOp = "UnLock";
  const Fault* const fault = one_.Step(kOp);
  if (fault == nullptr) {
    inner().UnLock(lock);
    if (one_.IsRecording()) {
      std::vector<Fault> faults = {WithCode(Kind::kCode, ERROR_ACTION_NOT_KNOWN)};
      if (lock) faults.push_back(WithCode(Kind::kDrop, 0));
      one_.Note(kOp, CallText(kOp, lock), std::move(faults));
    }
    return;
  }
  if (fault->kind == Kind::kDrop) {
    dropped_locks_.push_back(lock);
    return;
  }
  inner().UnLock(lock);
  inner().SetIoErr(fault->code);
}

LockHandle OneFaultDos::DupLock(LockHandle lock) {
  return Locked(
      "DupLock", kByHandle, [&] { return inner().DupLock(lock); }, lock);
}

LockHandle OneFaultDos::DupLockFromFH(FileHandle file) {
  return Locked(
      "DupLockFromFH", kByHandle, [&] { return inner().DupLockFromFH(file); }, file);
}

FileHandle OneFaultDos::OpenFromLock(LockHandle lock) {
  return Opened(
      "OpenFromLock", kByHandle, [&] { return inner().OpenFromLock(lock); },
      [&] { inner().UnLock(lock); }, lock);
}

LockHandle OneFaultDos::ParentDir(LockHandle lock) {
  return Locked(
      "ParentDir", kToParent, [&] { return inner().ParentDir(lock); }, lock);
}

LockHandle OneFaultDos::ParentOfFH(FileHandle file) {
  return Locked(
      "ParentOfFH", kToParent, [&] { return inner().ParentOfFH(file); }, file);
}

std::int32_t OneFaultDos::SameLock(LockHandle a, LockHandle b) {
  constexpr const char* kOp = "SameLock";
  constexpr std::int32_t kResults[] = {LOCK_DIFFERENT, LOCK_SAME, LOCK_SAME_VOLUME};
  constexpr const char* kNames[] = {"LOCK_DIFFERENT", "LOCK_SAME", "LOCK_SAME_VOLUME"};
  const Fault* const fault = one_.Step(kOp);
  const std::int32_t result = inner().SameLock(a, b);
  if (fault != nullptr) return kResults[fault->variant];
  if (one_.IsRecording()) {
    std::vector<Fault> faults;
    for (std::size_t i = 0; i < std::size(kResults); ++i) {
      if (kResults[i] != result) faults.push_back(WithVariant(Kind::kWrong, i, kNames[i]));
    }
    one_.Note(kOp, CallText(kOp, a, b), std::move(faults));
  }
  return result;
}

LockHandle OneFaultDos::SetCurrentDir(LockHandle lock) {
  constexpr const char* kOp = "SetCurrentDir";
  const Fault* const fault = one_.Step(kOp);
  const LockHandle previous = inner().SetCurrentDir(lock);
  if (fault != nullptr) return {};
  if (one_.IsRecording()) {
    std::vector<Fault> faults;
    if (previous) faults.push_back(WithVariant(Kind::kWrong, 0, "no previous directory"));
    one_.Note(kOp, CallText(kOp, lock), std::move(faults));
  }
  return previous;
}

// ---- Objects, links, attributes ----------------------------------------------------------------

LockHandle OneFaultDos::CreateDir(const char* name) {
  return Locked(
      "CreateDir", kCreating, [&] { return inner().CreateDir(name); }, name);
}

LockHandle OneFaultDos::CreateDirTree(const char* path) {
  return Locked(
      "CreateDirTree", kCreating, [&] { return inner().CreateDirTree(path); }, path);
}

bool OneFaultDos::Delete(const char* name) {
  return Truth(
      "Delete", kDeleting, [&] { return inner().Delete(name); }, name);
}

bool OneFaultDos::Rename(const char* old_name, const char* new_name) {
  return Truth(
      "Rename", kRenaming, [&] { return inner().Rename(old_name, new_name); }, old_name, new_name);
}

bool OneFaultDos::MakeLink(const char* name, LockHandle target, std::int32_t kind) {
  return Truth(
      "MakeLink", kCreating, [&] { return inner().MakeLink(name, target, kind); }, name, target,
      kind);
}

bool OneFaultDos::MakeLink(const char* name, const char* target, std::int32_t kind) {
  return Truth(
      "MakeLink", kCreating, [&] { return inner().MakeLink(name, target, kind); }, name, target,
      kind);
}

std::int32_t OneFaultDos::ReadSoftLink(PortHandle port, LockHandle lock, const char* name,
                                       char* buffer, std::int32_t size) {
  constexpr const char* kOp = "ReadSoftLink";
  constexpr std::int32_t kTooSmall = -2;
  const auto bytes = static_cast<std::size_t>(size);
  const Fault* const fault = one_.Step(kOp);
  const auto make = [&] { return inner().ReadSoftLink(port, lock, name, buffer, size); };
  if (fault == nullptr) {
    const std::int32_t length = make();
    if (one_.IsRecording()) {
      std::vector<Fault> faults =
          length >= 0 ? Denials(kReadingLink) : OtherReasons(kReadingLink, inner().IoErr());
      faults.push_back(WithVariant(Kind::kClaim, 0, "another path"));
      faults.push_back(WithVariant(Kind::kClaim, 1, "length 0"));
      faults.push_back(WithVariant(Kind::kClaim, 2, "-1 with code 120"));
      faults.push_back(WithVariant(Kind::kClaim, 3, "-2 with code 120"));
      faults.push_back(WithVariant(Kind::kClaim, 4, "-2 with code 205"));
      if (length > 0) AddVariants(faults, Kind::kWrong, {"a length one less", "a changed path"});
      one_.Note(kOp, CallText(kOp, port, lock, name, size), std::move(faults));
    }
    return length;
  }
  switch (fault->kind) {
    case Kind::kClaim:
      if (fault->variant == 0) {
        std::snprintf(buffer, bytes, "%s", "x/y");
        return static_cast<std::int32_t>(std::strlen(buffer));
      }
      if (fault->variant == 1) {
        std::snprintf(buffer, bytes, "%s", "");
        return 0;
      }
      inner().SetIoErr(fault->variant == 4 ? ERROR_OBJECT_NOT_FOUND : ERROR_LINE_TOO_LONG);
      return fault->variant == 2 ? -1 : kTooSmall;
    case Kind::kWrong: {
      const std::int32_t length = make();
      if (fault->variant == 1) {
        buffer[0] = buffer[0] == 'x' ? 'y' : 'x';
        return length;
      }
      buffer[length - 1] = '\0';
      return length - 1;
    }
    default:
      break;
  }
  std::int32_t length = -1;
  if (fault->kind == Kind::kCode) length = make();
  if (fault->kind == Kind::kDoneFail) make();
  inner().SetIoErr(fault->code);
  return length;
}

bool OneFaultDos::SetComment(const char* name, const char* comment) {
  return Truth(
      "SetComment", kSetting, [&] { return inner().SetComment(name, comment); }, name, comment);
}

bool OneFaultDos::SetProtection(const char* name, std::uint32_t mask) {
  return Truth(
      "SetProtection", kSetting, [&] { return inner().SetProtection(name, mask); }, name, mask);
}

bool OneFaultDos::SetDate(const char* name, const quorle::DateStamp& date) {
  return Truth(
      "SetDate", kSetting, [&] { return inner().SetDate(name, date); }, name, date.ds_Days);
}

bool OneFaultDos::SetOwnerInfo(const char* name, std::uint32_t id_tag, std::uint32_t id) {
  return Truth(
      "SetOwnerInfo", kSetting, [&] { return inner().SetOwnerInfo(name, id_tag, id); }, name,
      id_tag == OI_OwnerGID ? "group" : "owner", id);
}

void OneFaultDos::DateStamp(quorle::DateStamp& now) {
  constexpr const char* kOp = "DateStamp";
  const Fault* const fault = one_.Step(kOp);
  inner().DateStamp(now);
  if (one_.IsRecording()) {
    std::vector<Fault> faults;
    AddVariants(faults, Kind::kWrong, {"a later day", "day 0"});
    one_.Note(kOp, CallText(kOp), std::move(faults));
  }
  if (fault == nullptr) return;
  now.ds_Days = fault->variant == 0 ? now.ds_Days + 1 : 0;
}

const ExamineData* OneFaultDos::ExamineObject(std::uint32_t tag, const char* name) {
  return Examined([&] { return inner().ExamineObject(tag, name); }, tag, name);
}

const ExamineData* OneFaultDos::ExamineObject(std::uint32_t tag, FileHandle file) {
  return Examined([&] { return inner().ExamineObject(tag, file); }, tag, file);
}

const ExamineData* OneFaultDos::ExamineObject(std::uint32_t tag, LockHandle lock) {
  return Examined([&] { return inner().ExamineObject(tag, lock); }, tag, lock);
}

void OneFaultDos::FreeDosObject(std::uint32_t type, const ExamineData* data) {
  const auto changed = changed_.find(data);
  if (changed == changed_.end()) {
    inner().FreeDosObject(type, data);
    return;
  }
  inner().FreeDosObject(type, changed->second->real);
  changed_.erase(changed);
}

// ---- Volumes and handlers ----------------------------------------------------------------------

const DevProc* OneFaultDos::GetDeviceProc(const char* name, const DevProc* previous) {
  constexpr const char* kOp = "GetDeviceProc";
  const Fault* const fault = one_.Step(kOp);
  if (fault == nullptr) {
    const DevProc* const result = inner().GetDeviceProc(name, previous);
    if (one_.IsRecording()) {
      std::vector<Fault> faults = Denials(kOnVolume);
      AddVariants(faults, Kind::kWrong, {"the handler of RAM:", "the handler of NIL:"});
      one_.Note(kOp, CallText(kOp, name), std::move(faults));
    }
    return result;
  }
  switch (fault->kind) {
    case Kind::kWrong:
      return inner().GetDeviceProc(fault->variant == 0 ? "RAM:" : "NIL:", previous);
    case Kind::kCode: {
      const DevProc* const result = inner().GetDeviceProc(name, previous);
      inner().SetIoErr(fault->code);
      return result;
    }
    case Kind::kDoneFail:
      inner().FreeDeviceProc(inner().GetDeviceProc(name, previous));
      break;
    default:
      break;
  }
  inner().SetIoErr(fault->code);
  return nullptr;
}

bool OneFaultDos::IsFileSystem(PortHandle port) {
  return Truth(
      "IsFileSystem", kOnVolume, [&] { return inner().IsFileSystem(port); }, port);
}

bool OneFaultDos::DevNameFromPort(PortHandle port, char* buffer, std::uint32_t size,
                                  bool add_colon) {
  return Named(
      "DevNameFromPort", [&] { return inner().DevNameFromPort(port, buffer, size, add_colon); },
      buffer, size, port);
}

bool OneFaultDos::VolNameFromPort(PortHandle port, char* buffer, std::uint32_t size,
                                  bool add_colon) {
  return Named(
      "VolNameFromPort", [&] { return inner().VolNameFromPort(port, buffer, size, add_colon); },
      buffer, size, port);
}

bool OneFaultDos::FileSystemAttr(PortHandle port, char* version, std::uint32_t version_size,
                                 std::uint32_t& dos_type) {
  const auto wrong = [&](std::size_t variant) {
    switch (variant) {
      case 0:
        std::snprintf(version, version_size, "%s", "other 1.2 without a date");
        break;
      case 1:
        std::memset(version, 'v', version_size - 1);
        version[version_size - 1] = '\0';
        break;
      case 2:
        dos_type = 0;
        break;
      default:
        dos_type = static_cast<std::uint32_t>(kQvrType);
        break;
    }
  };
  return Truth(
      "FileSystemAttr", kOnVolume,
      {"a version without a date", "a version that fills the buffer", "DOS type 0",
       "another DOS type"},
      [&] { return inner().FileSystemAttr(port, version, version_size, dos_type); }, wrong, port);
}

bool OneFaultDos::GetDiskInfo(PortHandle port, InfoData& info) {
  return Disk([&] { return inner().GetDiskInfo(port, info); }, info, port);
}

bool OneFaultDos::GetDiskInfo(const char* device, InfoData& info) {
  return Disk([&] { return inner().GetDiskInfo(device, info); }, info, device);
}

bool OneFaultDos::Relabel(const char* device, const char* volume) {
  return Truth(
      "Relabel", kOnVolume, [&] { return inner().Relabel(device, volume); }, device, volume);
}

bool OneFaultDos::WriteProtectVolume(const char* device, bool on, std::uint32_t key,
                                     std::uint32_t reserved) {
  return Truth(
      "WriteProtectVolume", kOnVolume,
      [&] { return inner().WriteProtectVolume(device, on, key, reserved); }, device, on);
}

void* OneFaultDos::SetProcWindow(void* window) {
  constexpr const char* kOp = "SetProcWindow";
  const Fault* const fault = one_.Step(kOp);
  void* const previous = inner().SetProcWindow(window);
  if (fault != nullptr) return kNoRequesters;
  if (one_.IsRecording()) {
    std::vector<Fault> faults;
    if (window == kNoRequesters) AddVariants(faults, Kind::kWrong, {"that there was none before"});
    one_.Note(kOp, CallText(kOp), std::move(faults));
  }
  return previous;
}

LockHandle OneFaultDos::DoPkt(PortHandle port, std::int32_t action, LockHandle lock,
                              const std::uint8_t* name, std::int32_t arg3, std::int32_t arg4,
                              const std::uint8_t* arg5) {
  return Locked(
      "DoPkt", kCreating, [&] { return inner().DoPkt(port, action, lock, name, arg3, arg4, arg5); },
      port, action, lock);
}

bool OneFaultDos::CopyStringSTRToBSTR(const char* text, std::uint8_t* buffer, std::uint32_t size) {
  return Truth(
      "CopyStringSTRToBSTR", kInMemory,
      [&] { return inner().CopyStringSTRToBSTR(text, buffer, size); }, text);
}

FileLock OneFaultDos::FileLockOf(LockHandle lock) {
  constexpr const char* kOp = "FileLockOf";
  const Fault* const fault = one_.Step(kOp);
  FileLock result = inner().FileLockOf(lock);
  if (one_.IsRecording()) {
    std::vector<Fault> faults;
    AddVariants(faults, Kind::kWrong, {"no port", "the port of RAM:"});
    one_.Note(kOp, CallText(kOp, lock), std::move(faults));
  }
  if (fault == nullptr) return result;
  result.fl_Port = {};
  if (fault->variant == 1) {
    const DevProc* const other = inner().GetDeviceProc("RAM:", nullptr);
    result.fl_Port = other->dvp_Port;
    inner().FreeDeviceProc(other);
  }
  return result;
}

PortRecord OneFaultDos::PortRecordOf(PortHandle port) {
  constexpr const char* kOp = "PortRecordOf";
  const Fault* const fault = one_.Step(kOp);
  PortRecord result = inner().PortRecordOf(port);
  if (one_.IsRecording()) {
    std::vector<Fault> faults;
    AddVariants(faults, Kind::kWrong, {"the other kind of port", "version 52", "another word 78"});
    one_.Note(kOp, CallText(kOp, port), std::move(faults));
  }
  if (fault == nullptr) return result;
  switch (fault->variant) {
    case 0:
      result.node_type = result.node_type == NT_FILESYSTEM ? NT_MSGPORT : NT_FILESYSTEM;
      result.version = FS_VECTORPORT_VERSION;
      break;
    case 1:
      result.version = FS_VECTORPORT_VERSION - 1;
      break;
    default:
      result.word78 = !result.word78;
      break;
  }
  return result;
}

// ---- The process -------------------------------------------------------------------------------

RdArgsHandle OneFaultDos::ReadArgs(const char* argument_template, ArgumentWord* words,
                                   RdArgsHandle rdargs) {
  constexpr const char* kOp = "ReadArgs";
  static constexpr std::int32_t kNumbers[] = {0, 1};
  const Fault* const fault = one_.Step(kOp);
  if (fault != nullptr && fault->kind == Kind::kFail) {
    inner().SetIoErr(fault->code);
    return {};
  }
  const RdArgsHandle result = inner().ReadArgs(argument_template, words, rdargs);
  if (one_.IsRecording()) {
    std::vector<Fault> faults = Denials(kOnArguments);
    AddVariants(faults, Kind::kWrong,
                {"the device RAM:", "the device NIL:", "a device that is not there", "NI", "NW",
                 "NR", "AOE", "FTN=0", "LTN=1", "TN=0", "TN=1"});
    one_.Note(kOp, CallText(kOp, argument_template), std::move(faults));
  }
  if (fault == nullptr) return result;
  if (fault->kind == Kind::kDoneFail) {
    inner().FreeArgs(result);
    inner().SetIoErr(fault->code);
    return {};
  }
  if (fault->kind == Kind::kCode) {
    inner().SetIoErr(fault->code);
    return result;
  }
  constexpr const char* kDevices[] = {"RAM:", "NIL:", "NOSUCH:"};
  switch (fault->variant) {
    case 0:
    case 1:
    case 2:
      words[0].text = kDevices[fault->variant];
      break;
    case 7:
      words[5].number = &kNumbers[0];
      break;
    case 8:
      words[6].number = &kNumbers[1];
      break;
    case 9:
    case 10:
      words[7].number = &kNumbers[fault->variant - 9];
      break;
    default:
      words[fault->variant - 2].flag = 1;
      break;
  }
  return result;
}

std::uint32_t OneFaultDos::CheckSignal(std::uint32_t mask) {
  constexpr const char* kOp = "CheckSignal";
  const Fault* const fault = one_.Step(kOp);
  if (fault != nullptr) return mask;
  const std::uint32_t result = inner().CheckSignal(mask);
  if (one_.IsRecording()) {
    std::vector<Fault> faults;
    AddVariants(faults, Kind::kWrong, {"the signal"});
    one_.Note(kOp, CallText(kOp, mask), std::move(faults));
  }
  return result;
}

std::int32_t OneFaultDos::TimedDosRequesterTags(std::uint32_t timeout, const char* body,
                                                const char* buttons, std::int32_t image) {
  constexpr const char* kOp = "TimedDosRequesterTags";
  const Fault* const fault = one_.Step(kOp);
  const std::int32_t result = inner().TimedDosRequesterTags(timeout, body, buttons, image);
  if (one_.IsRecording()) {
    std::vector<Fault> faults;
    AddVariants(faults, Kind::kWrong, {"1", "-1"});
    one_.Note(kOp, CallText(kOp, body), std::move(faults));
  }
  if (fault == nullptr) return result;
  return fault->variant == 0 ? 1 : -1;
}

bool OneFaultDos::DateToStr(DateTime& date) {
  const auto wrong = [&date](std::size_t) {
    if (date.dat_StrDate != nullptr) std::snprintf(date.dat_StrDate, LEN_DATSTRING, "%s", "today");
  };
  return Truth(
      "DateToStr", kInMemory, {"another text"}, [&] { return inner().DateToStr(date); }, wrong,
      date.dat_Stamp.ds_Days);
}

// ---- exec --------------------------------------------------------------------------------------

const Process* OneFaultExec::FindTask(const char* name) {
  constexpr const char* kOp = "FindTask";
  const Fault* const fault = one_.Step(kOp);
  const Process* const process = inner().FindTask(name);
  if (one_.IsRecording()) {
    std::vector<Fault> faults;
    AddVariants(faults, Kind::kWrong, {"the other kind of start"});
    one_.Note(kOp, CallText(kOp, name), std::move(faults));
  }
  if (fault == nullptr) return process;
  process_ = *process;
  process_.cli = !process_.cli;
  return &process_;
}

MessageHandle OneFaultExec::GetMsg(PortHandle port) {
  constexpr const char* kOp = "GetMsg";
  const Fault* const fault = one_.Step(kOp);
  if (fault != nullptr) return {};
  const MessageHandle message = inner().GetMsg(port);
  if (one_.IsRecording()) {
    std::vector<Fault> faults;
    if (message) AddVariants(faults, Kind::kWrong, {"no message"});
    one_.Note(kOp, CallText(kOp, port), std::move(faults));
  }
  return message;
}

void* OneFaultExec::AllocVecTags(std::uint32_t bytes) {
  constexpr const char* kOp = "AllocVecTags";
  const Fault* const fault = one_.Step(kOp);
  if (fault == nullptr) {
    void* const memory = inner().AllocVecTags(bytes);
    if (one_.IsRecording()) {
      one_.Note(kOp, CallText(kOp, bytes), OtherReasons(kOfExec, 0));
    }
    return memory;
  }
  dos_.real().SetIoErr(fault->code);
  return nullptr;
}

const Library* OneFaultExec::OpenLibrary(const char* name, std::uint32_t version) {
  constexpr const char* kOp = "OpenLibrary";
  const Fault* const fault = one_.Step(kOp);
  if (fault == nullptr || fault->kind == Kind::kWrong) {
    const Library* const library = inner().OpenLibrary(name, version);
    if (one_.IsRecording()) {
      std::vector<Fault> faults = Denials(kOfExec);
      faults.pop_back();  // it sets no code
      AddVariants(faults, Kind::kWrong, {"version 53.89", "version 50.0"});
      one_.Note(kOp, CallText(kOp, name, version), std::move(faults));
    }
    if (fault == nullptr) return library;
    real_library_ = library;
    old_library_ = fault->variant == 0 ? Library{53, 89} : Library{50, 0};
    return &old_library_;
  }
  if (fault->kind == Kind::kDoneFail) inner().CloseLibrary(inner().OpenLibrary(name, version));
  return nullptr;
}

void OneFaultExec::CloseLibrary(const Library* library) {
  inner().CloseLibrary(library == &old_library_ ? real_library_ : library);
}

Interface* OneFaultExec::GetInterface(const Library* library, const char* name,
                                      std::uint32_t version) {
  constexpr const char* kOp = "GetInterface";
  const Fault* const fault = one_.Step(kOp);
  const Library* const real = library == &old_library_ ? real_library_ : library;
  if (fault != nullptr && fault->kind == Kind::kFail) return nullptr;
  Interface* const interface = inner().GetInterface(real, name, version);
  if (one_.IsRecording()) {
    std::vector<Fault> faults = {WithCode(Kind::kFail, 0), WithCode(Kind::kDoneFail, 0)};
    one_.Note(kOp, CallText(kOp, library, name), std::move(faults));
  }
  if (fault != nullptr) {
    inner().DropInterface(interface);
    return nullptr;
  }
  return interface == &dos_.real() ? &dos_ : interface;
}

void OneFaultExec::DropInterface(Interface* interface) {
  inner().DropInterface(interface == &dos_ ? &dos_.real() : interface);
}

}  // namespace quorle::selftest
