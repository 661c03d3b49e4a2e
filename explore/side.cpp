#include "explore/side.h"

#include <algorithm>
#include <utility>

#include "platform/constants.h"

namespace quorle::explore {
namespace {

std::int32_t Clipped(std::int64_t number) {
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(number, INT32_MIN, INT32_MAX));
}

std::uint32_t Bits(std::int64_t number) {
  return static_cast<std::uint32_t>(static_cast<std::uint64_t>(number));
}

}  // namespace

Side::Side(DosInterface& dos, FurtherDosInterface& further, std::string device)
    : dos_(dos), further_(further), device_(std::move(device)) {}

std::int32_t Side::Begin(const std::string& name) {
  End();
  base_ = dos_.Lock((device_ + name).c_str(), SHARED_LOCK);
  if (!base_) return dos_.IoErr();
  outside_ = dos_.SetCurrentDir(base_);
  return 0;
}

void Side::End() {
  FreeRecord();
  if (!base_) return;
  for (NotifyHandle& request : requests_) {
    if (request) further_.EndNotify(std::exchange(request, {}));
  }
  for (DirContextHandle& scan : scans_) {
    if (scan) further_.ReleaseDirContext(std::exchange(scan, {}));
  }
  for (FileHandle& file : files_) {
    if (file) dos_.Close(std::exchange(file, {}));
  }
  dos_.SetCurrentDir(outside_);
  current_ = 0;
  for (LockHandle& lock : locks_) {
    if (lock) dos_.UnLock(std::exchange(lock, {}));
  }
  dos_.UnLock(std::exchange(base_, {}));
}

void Side::FreeRecord() {
  if (record_ != nullptr) dos_.FreeDosObject(DOS_EXAMINEDATA, std::exchange(record_, nullptr));
}

bool Side::Has(Argument kind, std::uint8_t number) const {
  switch (kind) {
    case Argument::kLock:
      return static_cast<bool>(locks_[number]);
    case Argument::kFile:
      return static_cast<bool>(files_[number]);
    case Argument::kScan:
      return static_cast<bool>(scans_[number]);
    default:
      return static_cast<bool>(requests_[number]);
  }
}

template <class Handle>
std::uint16_t Side::BitsOf(const Numbered<Handle>& objects) {
  std::uint32_t bits = 0;
  for (std::size_t i = 0; i != objects.size(); ++i) {
    bits |= static_cast<std::uint32_t>(static_cast<bool>(objects[i])) << i;
  }
  return static_cast<std::uint16_t>(bits);
}

std::uint16_t Side::Held(Argument kind) const {
  switch (kind) {
    case Argument::kLock:
      return BitsOf(locks_);
    case Argument::kFile:
      return BitsOf(files_);
    case Argument::kScan:
      return BitsOf(scans_);
    default:
      return BitsOf(requests_);
  }
}

template <class Handle>
Handle& Side::At(Numbered<Handle>& objects, std::int64_t number) {
  return objects[number > 0 && number <= kMostObjects ? static_cast<std::size_t>(number) : 0];
}

void Side::LeaveBefore(std::int64_t lock) {
  if (current_ == 0 || current_ != lock) return;
  dos_.SetCurrentDir(base_);
  current_ = 0;
}

void Side::Refuse(Outcome& outcome, std::int64_t value) {
  outcome.value = value;
  outcome.code = dos_.IoErr();
}

void Side::Truth(Outcome& outcome, bool done) {
  if (!done) return Refuse(outcome, 0);
  outcome.done = true;
  outcome.value = 1;
}

void Side::Number(Outcome& outcome, std::int64_t value) {
  if (value < 0) return Refuse(outcome, value);
  outcome.done = true;
  outcome.value = value;
}

void Side::Record(Outcome& outcome, const ExamineData* record) {
  Truth(outcome, record != nullptr);
  outcome.record = record;
}

template <class Handle, class Release>
void Side::Keep(Outcome& outcome, Numbered<Handle>& objects, const Call& call, Handle made,
                Release release) {
  Truth(outcome, static_cast<bool>(made));
  if (!made) return;
  if (call.result == 0 || call.result > kMostObjects) {
    release(made);
    return;
  }
  Handle& place = objects[call.result];
  if (place) release(place);
  place = made;
}

void Side::KeepLock(Outcome& outcome, const Call& call, LockHandle lock) {
  if (lock) LeaveBefore(call.result);
  Keep(outcome, locks_, call, lock, [this](LockHandle old) { dos_.UnLock(old); });
}

void Side::KeepFile(Outcome& outcome, const Call& call, FileHandle file) {
  Keep(outcome, files_, call, file, [this](FileHandle old) { dos_.Close(old); });
}

void Side::KeepScan(Outcome& outcome, const Call& call, DirContextHandle scan) {
  Keep(outcome, scans_, call, scan,
       [this](DirContextHandle old) { further_.ReleaseDirContext(old); });
}

void Side::Make(const Call& call, Outcome& outcome) {
  FreeRecord();
  outcome = {};
  // Where a call says nothing of the code, it is 0 and not that of a call before.
  dos_.SetIoErr(0);
  if (call.operation <= Operation::kChangeFileMode) {
    MakeOnFiles(call, outcome);
  } else if (call.operation <= Operation::kSetCurrentDir) {
    MakeOnLocks(call, outcome);
  } else if (call.operation <= Operation::kExamineLock) {
    MakeOnObjects(call, outcome);
  } else if (call.operation <= Operation::kGetNotifyMsg) {
    MakeFurther(call, outcome);
  } else {
    MakeOnVolume(call, outcome);
  }
}

const ExamineData* Side::Look(const char* name, std::int32_t& code) {
  FreeRecord();
  record_ = dos_.ExamineObject(EX_ObjectNameInput, name);
  code = record_ == nullptr ? dos_.IoErr() : 0;
  return record_;
}

const ExamineData* Side::LookAt(Argument kind, std::uint8_t number, std::int32_t& code) {
  FreeRecord();
  record_ = kind == Argument::kLock ? dos_.ExamineObject(EX_LockInput, At(locks_, number))
                                    : dos_.ExamineObject(EX_FileHandleInput, At(files_, number));
  code = record_ == nullptr ? dos_.IoErr() : 0;
  return record_;
}

void Side::Read(Outcome& outcome, FileHandle file, std::int64_t bytes) {
  const std::int32_t count = std::min(Clipped(bytes), kMostBytes);
  const auto size = static_cast<std::size_t>(std::max(count, 0));
  if (buffer_.size() < size) buffer_.resize(size);
  Number(outcome, dos_.Read(file, buffer_.data(), count));
  if (!outcome.done) return;
  outcome.bytes = {reinterpret_cast<const char*>(buffer_.data()),
                   std::min(static_cast<std::size_t>(outcome.value), size)};
}

void Side::Write(Outcome& outcome, FileHandle file, const Call& call) {
  if (call.pattern == Call::kQuoted) {
    Number(outcome,
           dos_.Write(file, call.text[0].data(), static_cast<std::int32_t>(call.text[0].size())));
    return;
  }
  const std::int32_t count = std::min(Clipped(call.number[1]), kMostBytes);
  const auto size = static_cast<std::size_t>(std::max(count, 0));
  if (buffer_.size() < size) buffer_.resize(size);
  FillPattern(call.pattern, {buffer_.data(), size});
  Number(outcome, dos_.Write(file, buffer_.data(), count));
}

void Side::MakeOnFiles(const Call& call, Outcome& outcome) {
  if (call.operation == Operation::kOpen) {
    KeepFile(outcome, call, dos_.Open(call.text[0].c_str(), Clipped(call.number[1])));
    return;
  }
  if (call.operation == Operation::kChangeLockMode) {
    Truth(outcome,
          dos_.ChangeMode(CHANGE_LOCK, At(locks_, call.number[1]), Clipped(call.number[2])));
    return;
  }
  if (call.operation == Operation::kChangeFileMode) {
    Truth(outcome, dos_.ChangeMode(CHANGE_FH, At(files_, call.number[1]), Clipped(call.number[2])));
    return;
  }
  FileHandle& file = At(files_, call.number[0]);
  switch (call.operation) {
    case Operation::kClose:
      return Truth(outcome, dos_.Close(std::exchange(file, {})));
    case Operation::kRead:
      return Read(outcome, file, call.number[1]);
    case Operation::kWrite:
      return Write(outcome, file, call);
    case Operation::kChangeFilePosition:
      return Truth(outcome, dos_.ChangeFilePosition(file, call.number[1], Clipped(call.number[2])));
    case Operation::kGetFilePosition:
      return Number(outcome, dos_.GetFilePosition(file));
    case Operation::kChangeFileSize:
      return Truth(outcome, dos_.ChangeFileSize(file, call.number[1], Clipped(call.number[2])));
    default:
      return Number(outcome, dos_.GetFileSize(file));
  }
}

void Side::MakeOnLocks(const Call& call, Outcome& outcome) {
  switch (call.operation) {
    case Operation::kLock:
      return KeepLock(outcome, call, dos_.Lock(call.text[0].c_str(), Clipped(call.number[1])));
    case Operation::kUnLock:
      LeaveBefore(call.number[0]);
      dos_.UnLock(std::exchange(At(locks_, call.number[0]), {}));
      outcome.done = true;
      return;
    case Operation::kDupLock:
      return KeepLock(outcome, call, dos_.DupLock(At(locks_, call.number[0])));
    case Operation::kDupLockFromFH:
      return KeepLock(outcome, call, dos_.DupLockFromFH(At(files_, call.number[0])));
    case Operation::kOpenFromLock: {
      LeaveBefore(call.number[0]);
      LockHandle& lock = At(locks_, call.number[0]);
      const FileHandle file = dos_.OpenFromLock(lock);
      if (file) lock = {};
      return KeepFile(outcome, call, file);
    }
    case Operation::kParentDir:
      return KeepLock(outcome, call, dos_.ParentDir(At(locks_, call.number[0])));
    case Operation::kParentOfFH:
      return KeepLock(outcome, call, dos_.ParentOfFH(At(files_, call.number[0])));
    case Operation::kSameLock:
      outcome.done = true;
      outcome.value = dos_.SameLock(At(locks_, call.number[0]), At(locks_, call.number[1]));
      return;
    default: {
      const LockHandle lock = At(locks_, call.number[0]);
      dos_.SetCurrentDir(lock ? lock : base_);
      current_ = lock ? call.number[0] : 0;
      outcome.done = true;
      return;
    }
  }
}

void Side::ReadLink(Outcome& outcome, LockHandle lock, const Call& call) {
  const std::int32_t size = std::clamp(Clipped(call.number[2]), 0, 4096);
  if (buffer_.size() < 4096) buffer_.resize(4096);
  const DevProc* const devproc = dos_.GetDeviceProc(device_.c_str(), nullptr);
  if (devproc == nullptr) return Refuse(outcome, -1);
  char* const buffer = reinterpret_cast<char*>(buffer_.data());
  Number(outcome, dos_.ReadSoftLink(devproc->dvp_Port, lock ? lock : base_, call.text[0].c_str(),
                                    buffer, size));
  if (outcome.done) {
    outcome.bytes = {buffer, static_cast<std::size_t>(std::min<std::int64_t>(outcome.value, size))};
  }
  dos_.FreeDeviceProc(devproc);
}

void Side::MakeOnObjects(const Call& call, Outcome& outcome) {
  const char* const name = call.text[0].c_str();
  switch (call.operation) {
    case Operation::kCreateDir:
      return KeepLock(outcome, call, dos_.CreateDir(name));
    case Operation::kCreateDirTree:
      return KeepLock(outcome, call, dos_.CreateDirTree(name));
    case Operation::kDelete:
      return Truth(outcome, dos_.Delete(name));
    case Operation::kRename:
      return Truth(outcome, dos_.Rename(name, call.text[1].c_str()));
    case Operation::kMakeHardLink:
      return Truth(outcome, dos_.MakeLink(name, At(locks_, call.number[1]), LINK_HARD));
    case Operation::kMakeSoftLink:
      return Truth(outcome, dos_.MakeLink(name, call.text[1].c_str(), LINK_SOFT));
    case Operation::kReadSoftLink:
      return ReadLink(outcome, At(locks_, call.number[0]), call);
    case Operation::kSetComment:
      return Truth(outcome, dos_.SetComment(name, call.text[1].c_str()));
    case Operation::kSetProtection:
      return Truth(outcome, dos_.SetProtection(name, Bits(call.number[1])));
    case Operation::kSetDate:
      return Truth(outcome, dos_.SetDate(name, call.date));
    case Operation::kSetOwner:
      return Truth(outcome, dos_.SetOwnerInfo(name, OI_OwnerUID, Bits(call.number[2])));
    case Operation::kSetGroup:
      return Truth(outcome, dos_.SetOwnerInfo(name, OI_OwnerGID, Bits(call.number[2])));
    case Operation::kExamineName:
      return Record(outcome, record_ = dos_.ExamineObject(EX_StringNameInput, name));
    case Operation::kExamineObject:
      return Record(outcome, record_ = dos_.ExamineObject(EX_ObjectNameInput, name));
    case Operation::kExamineFile:
      return Record(outcome,
                    record_ = dos_.ExamineObject(EX_FileHandleInput, At(files_, call.number[1])));
    default:
      return Record(outcome,
                    record_ = dos_.ExamineObject(EX_LockInput, At(locks_, call.number[1])));
  }
}

void Side::MakeFurther(const Call& call, Outcome& outcome) {
  switch (call.operation) {
    case Operation::kScanLock:
      return KeepScan(outcome, call,
                      further_.ObtainDirContext(EX_LockInput, At(locks_, call.number[1])));
    case Operation::kScanName:
      return KeepScan(outcome, call,
                      further_.ObtainDirContext(EX_StringNameInput, call.text[0].c_str()));
    case Operation::kExamineDir:
      return Record(outcome, further_.ExamineDir(At(scans_, call.number[0])));
    case Operation::kReleaseScan:
      further_.ReleaseDirContext(std::exchange(At(scans_, call.number[0]), {}));
      outcome.done = true;
      return;
    case Operation::kSameFile:
      outcome.done = true;
      outcome.value = further_.SameFile(At(files_, call.number[0]), At(files_, call.number[1]));
      return;
    case Operation::kLockRecord:
      Truth(outcome, further_.LockRecord(At(files_, call.number[0]), call.number[1], call.number[2],
                                         Bits(call.number[3]), Bits(call.number[4])));
      break;
    case Operation::kUnLockRecord:
      Truth(outcome,
            further_.UnLockRecord(At(files_, call.number[0]), call.number[1], call.number[2]));
      break;
    case Operation::kStartNotify:
      Keep(outcome, requests_, call,
           further_.StartNotify(call.text[0].c_str(), Bits(call.number[1])),
           [this](NotifyHandle old) { further_.EndNotify(old); });
      break;
    case Operation::kEndNotify:
      further_.EndNotify(std::exchange(At(requests_, call.number[0]), {}));
      outcome.done = true;
      return;
    default: {
      const MessageHandle message = further_.GetNotifyMsg(At(requests_, call.number[0]));
      if (message) further_.ReplyNotifyMsg(message);
      return Number(outcome, message ? 1 : 0);
    }
  }
  outcome.emulated = further_.WasEmulated();
}

void Side::MakeOnVolume(const Call& call, Outcome& outcome) {
  const char* const device = device_.c_str();
  switch (call.operation) {
    case Operation::kDiskInfo:
      Truth(outcome, dos_.GetDiskInfo(device, outcome.info));
      outcome.has_info = outcome.done;
      return;
    case Operation::kVolumeInfo:
      Truth(outcome, further_.VolumeInfoData(device, outcome.info));
      outcome.has_info = outcome.done;
      return;
    case Operation::kFileSystemAttr: {
      std::uint32_t value = 0;
      const bool done = further_.FileSystemAttr(device, Bits(call.number[0]), value);
      return done ? Number(outcome, value) : Refuse(outcome, -1);
    }
    case Operation::kFlush:
      return Truth(outcome, further_.Flush(device));
    case Operation::kInhibit:
      return Truth(outcome, further_.Inhibit(device, call.number[0] != 0));
    case Operation::kWriteProtect:
      return Truth(outcome,
                   dos_.WriteProtectVolume(device, call.number[0] != 0, Bits(call.number[1]), 0));
    case Operation::kRelabel:
      return Truth(outcome, dos_.Relabel(device, call.text[0].c_str()));
    default:
      return MakeFiles(outcome, call);
  }
}

void Side::MakeFiles(Outcome& outcome, const Call& call) {
  outcome.done = true;
  for (; outcome.value < call.number[1]; ++outcome.value) {
    name_ = call.text[0] + std::to_string(outcome.value + 1);
    const FileHandle file = dos_.Open(name_.c_str(), MODE_NEWFILE);
    if (!file || !dos_.Close(file)) {
      outcome.done = false;
      outcome.code = dos_.IoErr();
      return;
    }
  }
}

}  // namespace quorle::explore
