#include "hosted/calls/handler_port.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "hosted/calls/call_shape.h"
#include "hosted/calls/mounted_handler.h"
#include "hosted/calls/packet_adapter.h"
#include "hosted/calls/wire.h"
#include "platform/constants.h"

namespace quorle {
namespace {

template <class Object>
std::intptr_t Address(Object* object) {
  return reinterpret_cast<std::intptr_t>(object);
}

::DosPacket PacketFor(std::int32_t action, std::intptr_t arg1 = 0, std::intptr_t arg2 = 0,
                      std::intptr_t arg3 = 0, std::intptr_t arg4 = 0, std::intptr_t arg5 = 0) {
  ::DosPacket packet{};
  packet.dp_Type = action;
  packet.dp_Arg1 = arg1;
  packet.dp_Arg2 = arg2;
  packet.dp_Arg3 = arg3;
  packet.dp_Arg4 = arg4;
  packet.dp_Arg5 = arg5;
  return packet;
}

bool IsNotKnown(std::int64_t result, std::int32_t res2) {
  return result == 0 && res2 == ERROR_ACTION_NOT_KNOWN;
}

CallGate::Purpose PurposeOf(std::int32_t action) {
  return action == QUORLE_ACTION_FREE_LOCK || action == QUORLE_ACTION_END
             ? CallGate::Purpose::kRelease
             : CallGate::Purpose::kAnything;
}

// The answer to a packet that may not be sent.
void Refuse(::DosPacket& packet) {
  const std::int64_t failure = isolation::FailureOf(isolation::ShapeOfPacket(packet));
  if (IsWidePacket(packet.dp_Type)) {
    packet.dp_Res64 = failure;
  } else {
    packet.dp_Res1 = static_cast<std::intptr_t>(failure);
  }
  packet.dp_Res2 = ERROR_DEVICE_NOT_MOUNTED;
}

// Whether `text` can travel in a packet; sets `code` when it is too long.
bool Fits(const PacketText& text, std::int32_t& res2, std::int32_t code = ERROR_LINE_TOO_LONG) {
  if (!text.fits()) res2 = code;
  return text.fits();
}

}  // namespace

// ---- The port itself ---------------------------------------------------------------------------

HandlerPort::HandlerPort(std::string device_name)
    : type_(PortType::kNone), device_name_(std::move(device_name)) {}

HandlerPort::HandlerPort(PortType type, std::unique_ptr<MountedHandler> mounted, RunWatch* watch)
    : type_(type),
      device_name_(mounted->device_name()),
      watch_(watch),
      mounted_(std::move(mounted)),
      vector_port_(mounted_->port()),
      port_(&vector_port_->MP) {
  port_->ln_Type = type == PortType::kVector ? NT_FILESYSTEM : NT_MSGPORT;
}

HandlerPort::~HandlerPort() = default;

const std::optional<std::string>& HandlerPort::volume_name() const {
  static const std::optional<std::string> kNoVolume;
  return mounted_ ? mounted_->services().volume_name() : kNoVolume;
}

PortRecord HandlerPort::Record() const {
  PortRecord record{port_->ln_Type, 0, false};
  if (type_ == PortType::kVector) {
    record.version = static_cast<std::uint32_t>(vector_port_->FSV.Version);
    // On the platform the word at byte 78 is the function that makes directories.
    record.word78 = vector_port_->FSV.FSCreateDir != nullptr;
  }
  return record;
}

bool HandlerPort::IsFileSystem() {
  if (type_ != PortType::kPacket) return type_ == PortType::kVector;
  ::DosPacket question = PacketFor(QUORLE_ACTION_IS_FILESYSTEM);
  Send(question);
  if (!IsNotKnown(question.dp_Res1, question.dp_Res2)) return question.dp_Res1 != kDosFalse;
  std::int32_t res2 = 0;
  ::Lock* const root = Lock(res2, nullptr, "", SHARED_LOCK);
  if (root == nullptr) return false;
  UnLock(res2, root);
  return true;
}

void HandlerPort::Send(::DosPacket& packet) {
  std::int32_t res2 = 0;
  Begin(res2, "");
  if (mounted_) mounted_->services().BeginPacket(packet.dp_Type);
  Deliver(packet);
  if (!GivesLock(packet.dp_Type)) return;
  auto* const lock = PointedTo<::Lock>(packet.dp_Res1);
  if (Given(packet.dp_Res2, lock) == nullptr) packet.dp_Res1 = kDosFalse;
}

bool HandlerPort::Cover(const NamedLayer& layer, std::string_view value, std::string& problem) {
  return mounted_->Cover(layer, value, problem);
}

void HandlerPort::FreeExamineData(::ExamineData* data) {
  if (mounted_) mounted_->services().FreeDosObject(QUORLE_DOS_EXAMINEDATA, data);
}

void HandlerPort::Report(const std::string& what) {
  if (gate_ != nullptr) gate_->Report(device_name_ + ": " + what);
}

std::vector<std::string> HandlerPort::Unmount() {
  if (!mounted_) return {};
  {
    const CallGate::Passage passage = Pass();
    mounted_->Stop();
  }
  std::vector<std::string> complaints = mounted_->services().complaints();
  type_ = PortType::kNone;
  port_ = &own_port_;
  vector_port_ = nullptr;
  mounted_.reset();
  return complaints;
}

// ---- Ways to the handler -----------------------------------------------------------------------

bool HandlerPort::Admits(CallGate::Purpose purpose) const {
  return gate_ == nullptr || !mounted_ || gate_->Admits(purpose);
}

CallGate::Passage HandlerPort::Pass() const {
  return {gate_, mounted_->IsElsewhere() ? CallGate::Process::kAnother : CallGate::Process::kOurs,
          device_name_.c_str()};
}

template <class Function>
struct HandlerPort::Vectored {
  const HandlerPort& port;
  Function function;

  explicit operator bool() const { return function != nullptr; }
  template <class... Args>
  auto operator()(Args... args) const {
    const CallGate::Passage passage = port.Pass();
    return function(args...);
  }
};

template <class Function>
HandlerPort::Vectored<Function> HandlerPort::Vector(Function(::FileSystemVectors::*member),
                                                    CallGate::Purpose purpose) const {
  const bool by_vector = type_ == PortType::kVector && Admits(purpose);
  return {*this, by_vector ? vector_port_->FSV.*member : nullptr};
}

void HandlerPort::Begin(std::int32_t& res2, const char* function) {
  res2 = 0;
  if (!mounted_) return;
  HostServices& services = mounted_->services();
  services.BeginCall(function);
  if (watch_ == nullptr || watch_->moves() == moves_) return;
  moves_ = watch_->moves();
  services.SetCheck(watch_->Check());
}

bool HandlerPort::Deliver(::DosPacket& packet) {
  if (!Admits(PurposeOf(packet.dp_Type))) {
    Refuse(packet);
    return false;
  }
  if (!mounted_) {
    AnswerNotKnown(packet);
    return false;
  }
  const CallGate::Passage passage = Pass();
  if (AnswerByVector(*vector_port_, packet)) return true;
  mounted_->services().BeginPacket(packet.dp_Type);
  if (!mounted_->HandlerPacket(packet)) AnswerNotKnown(packet);
  return false;
}

// ---- What a handler gives ----------------------------------------------------------------------

bool HandlerPort::Holds(std::int32_t& res2, const ::Lock* lock) {
  if (lock == nullptr || !mounted_ || mounted_->services().OwnsLock(lock)) return true;
  Report(Breach::kFreedLock, res2);
  return false;
}

::Lock* HandlerPort::Given(std::int32_t& res2, ::Lock* lock) {
  if (lock == nullptr) return nullptr;
  if (!mounted_->services().OwnsLock(lock)) {
    Report(Breach::kForeignLock, res2);
    return nullptr;
  }
  lock->fl_Port = port_;
  return lock;
}

::ExamineData* HandlerPort::Given(std::int32_t& res2, ::ExamineData* record) {
  if (record == nullptr) return nullptr;
  const Breach breach = mounted_->services().Examine(record);
  if (breach == Breach::kNone) return record;
  Report(breach, res2);
  if (breach != Breach::kForeignRecord) FreeExamineData(record);
  return nullptr;
}

// A result below zero is a failure, whichever it is.
std::int32_t HandlerPort::Within(std::int32_t& res2, std::int64_t count, std::int32_t room) {
  const bool fits = count <= std::max(room, 0) && count >= std::numeric_limits<std::int32_t>::min();
  if (fits || !mounted_) return static_cast<std::int32_t>(count);
  Report("gave a count of " + std::to_string(count) + " for " + std::to_string(room) + " bytes",
         ERROR_BAD_NUMBER, res2);
  return -1;
}

// Whether each text that `tags` ask for ends within its buffer. One that does not is made empty.
bool HandlerPort::EndTexts(const ::TagItem* tags) {
  bool all_end = true;
  for (const ::TagItem* tag = tags; tag != nullptr && tag->ti_Tag != QUORLE_TAG_DONE; ++tag) {
    if (tag->ti_Tag != QUORLE_FSA_VersionStringR) continue;
    const std::size_t room = isolation::RoomBehind(tags, *tag);
    auto* const text = PointedTo<char>(static_cast<std::intptr_t>(tag->ti_Data));
    if (room == 0 || std::memchr(text, '\0', room) != nullptr) continue;
    text[0] = '\0';
    all_end = false;
  }
  return all_end;
}

void HandlerPort::Report(Breach breach, std::int32_t& res2) {
  Report(Describe(breach), CodeOf(breach), res2);
}

void HandlerPort::Report(const std::string& what, std::int32_t code, std::int32_t& res2) {
  res2 = code;
  if (watch_ != nullptr) watch_->ReportCall(device_name_, what, mounted_->services().CallName());
}

// ---- Answers to packets ------------------------------------------------------------------------

::Lock* HandlerPort::LockFrom(std::int32_t& res2, ::DosPacket packet) {
  Deliver(packet);
  res2 = packet.dp_Res2;
  return Given(res2, PointedTo<::Lock>(packet.dp_Res1));
}

::ExamineData* HandlerPort::RecordFrom(std::int32_t& res2, ::DosPacket packet) {
  Deliver(packet);
  res2 = packet.dp_Res2;
  return Given(res2, PointedTo<::ExamineData>(packet.dp_Res1));
}

bool HandlerPort::TruthFrom(std::int32_t& res2, ::DosPacket packet) {
  Deliver(packet);
  res2 = packet.dp_Res2;
  return IsWidePacket(packet.dp_Type) ? packet.dp_Res64 != kDosFalse : packet.dp_Res1 != kDosFalse;
}

std::int32_t HandlerPort::CountFrom(std::int32_t& res2, ::DosPacket packet, std::int32_t room) {
  const bool by_vector = Deliver(packet);
  res2 = packet.dp_Res2;
  if (!by_vector && IsNotKnown(packet.dp_Res1, res2)) return -1;
  return Within(res2, packet.dp_Res1, room);
}

std::int64_t HandlerPort::NumberFrom(std::int32_t& res2, ::DosPacket packet) {
  const bool by_vector = Deliver(packet);
  res2 = packet.dp_Res2;
  if (!by_vector && IsNotKnown(packet.dp_Res64, res2)) return -1;
  return packet.dp_Res64;
}

// ---- Locks -------------------------------------------------------------------------------------

::Lock* HandlerPort::Lock(std::int32_t& res2, ::Lock* rel, const char* name, std::int32_t mode) {
  Begin(res2, "FSLock()");
  if (!Holds(res2, rel)) return nullptr;
  if (const auto function = Vector(&::FileSystemVectors::FSLock)) {
    return Given(res2, function(vector_port_, &res2, rel, name, mode));
  }
  const PacketText text(name);
  if (!Fits(text, res2)) return nullptr;
  return LockFrom(res2, PacketFor(QUORLE_ACTION_LOCATE_OBJECT, Address(rel), text.address(), mode,
                                  0, text.address()));
}

bool HandlerPort::UnLock(std::int32_t& res2, ::Lock* lock) {
  Begin(res2, "FSUnLock()");
  if (!Holds(res2, lock)) return false;
  if (const auto function = Vector(&::FileSystemVectors::FSUnLock, CallGate::Purpose::kRelease)) {
    return function(vector_port_, &res2, lock) != 0;
  }
  return TruthFrom(res2, PacketFor(QUORLE_ACTION_FREE_LOCK, Address(lock)));
}

::Lock* HandlerPort::DupLock(std::int32_t& res2, ::Lock* lock) {
  Begin(res2, "FSDupLock()");
  if (!Holds(res2, lock)) return nullptr;
  if (const auto function = Vector(&::FileSystemVectors::FSDupLock)) {
    return Given(res2, function(vector_port_, &res2, lock));
  }
  return LockFrom(res2, PacketFor(QUORLE_ACTION_COPY_LOCK, Address(lock)));
}

::Lock* HandlerPort::CreateDir(std::int32_t& res2, ::Lock* rel, const char* name) {
  Begin(res2, "FSCreateDir()");
  if (!Holds(res2, rel)) return nullptr;
  if (const auto function = Vector(&::FileSystemVectors::FSCreateDir)) {
    return Given(res2, function(vector_port_, &res2, rel, name));
  }
  const PacketText text(name);
  if (!Fits(text, res2)) return nullptr;
  return LockFrom(res2, PacketFor(QUORLE_ACTION_CREATE_DIR, Address(rel), text.address(), 0, 0,
                                  text.address()));
}

::Lock* HandlerPort::ParentDir(std::int32_t& res2, ::Lock* lock) {
  Begin(res2, "FSParentDir()");
  if (!Holds(res2, lock)) return nullptr;
  if (const auto function = Vector(&::FileSystemVectors::FSParentDir)) {
    return Given(res2, function(vector_port_, &res2, lock));
  }
  return LockFrom(res2, PacketFor(QUORLE_ACTION_PARENT, Address(lock)));
}

::Lock* HandlerPort::DupLockFromFH(std::int32_t& res2, ::FileHandle& file) {
  Begin(res2, "FSDupLockFromFH()");
  if (const auto function = Vector(&::FileSystemVectors::FSDupLockFromFH)) {
    return Given(res2, function(vector_port_, &res2, &file));
  }
  return LockFrom(res2, PacketFor(QUORLE_ACTION_COPY_LOCK_FH, file.fh_Arg1, Address(&file)));
}

::Lock* HandlerPort::ParentOfFH(std::int32_t& res2, ::FileHandle& file) {
  Begin(res2, "FSParentOfFH()");
  if (const auto function = Vector(&::FileSystemVectors::FSParentOfFH)) {
    return Given(res2, function(vector_port_, &res2, &file));
  }
  return LockFrom(res2, PacketFor(QUORLE_ACTION_PARENT_FH, file.fh_Arg1, Address(&file)));
}

bool HandlerPort::ChangeLockMode(std::int32_t& res2, ::Lock* lock, std::int32_t mode) {
  Begin(res2, "FSChangeLockMode()");
  if (!Holds(res2, lock)) return false;
  if (const auto function = Vector(&::FileSystemVectors::FSChangeLockMode)) {
    return function(vector_port_, &res2, lock, mode) != 0;
  }
  return TruthFrom(res2, PacketFor(QUORLE_ACTION_CHANGE_MODE, CHANGE_LOCK, Address(lock), mode));
}

bool HandlerPort::SameLock(std::int32_t& res2, ::Lock* a, ::Lock* b) {
  Begin(res2, "FSSameLock()");
  if (!Holds(res2, a) || !Holds(res2, b)) return false;
  if (const auto function = Vector(&::FileSystemVectors::FSSameLock)) {
    return function(vector_port_, &res2, a, b) != 0;
  }
  return TruthFrom(res2, PacketFor(QUORLE_ACTION_SAME_LOCK, Address(a), Address(b)));
}

// ---- Files -------------------------------------------------------------------------------------

bool HandlerPort::Open(std::int32_t& res2, ::FileHandle& file, ::Lock* rel, const char* name,
                       std::int32_t mode) {
  Begin(res2, "FSOpen()");
  if (!Holds(res2, rel)) return false;
  file.fh_MsgPort = port_;
  if (const auto function = Vector(&::FileSystemVectors::FSOpen)) {
    return function(vector_port_, &res2, &file, rel, name, mode) != 0;
  }
  // The mode becomes the number of the packet: any other number would ask for something else.
  if (mode != MODE_READWRITE && mode != MODE_OLDFILE && mode != MODE_NEWFILE) {
    res2 = ERROR_BAD_NUMBER;
    return false;
  }
  const PacketText text(name);
  if (!Fits(text, res2)) return false;
  return TruthFrom(
      res2, PacketFor(mode, Address(&file), Address(rel), text.address(), 0, text.address()));
}

bool HandlerPort::OpenFromLock(std::int32_t& res2, ::FileHandle& file, ::Lock* lock) {
  Begin(res2, "FSOpenFromLock()");
  if (!Holds(res2, lock)) return false;
  file.fh_MsgPort = port_;
  if (const auto function = Vector(&::FileSystemVectors::FSOpenFromLock)) {
    return function(vector_port_, &res2, &file, lock) != 0;
  }
  return TruthFrom(res2, PacketFor(QUORLE_ACTION_FH_FROM_LOCK, Address(&file), Address(lock)));
}

bool HandlerPort::Close(std::int32_t& res2, ::FileHandle& file) {
  Begin(res2, "FSClose()");
  if (const auto function = Vector(&::FileSystemVectors::FSClose, CallGate::Purpose::kRelease)) {
    return function(vector_port_, &res2, &file) != 0;
  }
  return TruthFrom(res2, PacketFor(QUORLE_ACTION_END, file.fh_Arg1, Address(&file)));
}

std::int32_t HandlerPort::Read(std::int32_t& res2, ::FileHandle& file, void* buffer,
                               std::int32_t bytes) {
  Begin(res2, "FSRead()");
  if (const auto function = Vector(&::FileSystemVectors::FSRead)) {
    return Within(res2, function(vector_port_, &res2, &file, buffer, bytes), bytes);
  }
  return CountFrom(
      res2, PacketFor(QUORLE_ACTION_READ, file.fh_Arg1, Address(buffer), bytes, Address(&file)),
      bytes);
}

std::int32_t HandlerPort::Write(std::int32_t& res2, ::FileHandle& file, const void* data,
                                std::int32_t bytes) {
  Begin(res2, "FSWrite()");
  if (const auto function = Vector(&::FileSystemVectors::FSWrite)) {
    return Within(res2, function(vector_port_, &res2, &file, data, bytes), bytes);
  }
  return CountFrom(
      res2, PacketFor(QUORLE_ACTION_WRITE, file.fh_Arg1, Address(data), bytes, Address(&file)),
      bytes);
}

bool HandlerPort::Flush(std::int32_t& res2) {
  Begin(res2, "FSFlush()");
  if (const auto function = Vector(&::FileSystemVectors::FSFlush)) {
    return function(vector_port_, &res2) != 0;
  }
  return TruthFrom(res2, PacketFor(QUORLE_ACTION_FLUSH));
}

bool HandlerPort::ChangeFilePosition(std::int32_t& res2, ::FileHandle& file, std::int32_t mode,
                                     std::int64_t position) {
  Begin(res2, "FSChangeFilePosition()");
  if (const auto function = Vector(&::FileSystemVectors::FSChangeFilePosition)) {
    return function(vector_port_, &res2, &file, mode, position) != 0;
  }
  ::DosPacket packet =
      PacketFor(QUORLE_ACTION_CHANGE_FILE_POSITION64, file.fh_Arg1, 0, mode, Address(&file));
  packet.dp_Arg2_64 = position;
  return TruthFrom(res2, packet);
}

bool HandlerPort::ChangeFileSize(std::int32_t& res2, ::FileHandle& file, std::int32_t mode,
                                 std::int64_t size) {
  Begin(res2, "FSChangeFileSize()");
  if (const auto function = Vector(&::FileSystemVectors::FSChangeFileSize)) {
    return function(vector_port_, &res2, &file, mode, size) != 0;
  }
  ::DosPacket packet =
      PacketFor(QUORLE_ACTION_CHANGE_FILE_SIZE64, file.fh_Arg1, 0, mode, Address(&file));
  packet.dp_Arg2_64 = size;
  return TruthFrom(res2, packet);
}

std::int64_t HandlerPort::GetFilePosition(std::int32_t& res2, ::FileHandle& file) {
  Begin(res2, "FSGetFilePosition()");
  if (const auto function = Vector(&::FileSystemVectors::FSGetFilePosition)) {
    return function(vector_port_, &res2, &file);
  }
  return NumberFrom(res2,
                    PacketFor(QUORLE_ACTION_GET_FILE_POSITION64, file.fh_Arg1, 0, Address(&file)));
}

std::int64_t HandlerPort::GetFileSize(std::int32_t& res2, ::FileHandle& file) {
  Begin(res2, "FSGetFileSize()");
  if (const auto function = Vector(&::FileSystemVectors::FSGetFileSize)) {
    return function(vector_port_, &res2, &file);
  }
  return NumberFrom(res2,
                    PacketFor(QUORLE_ACTION_GET_FILE_SIZE64, file.fh_Arg1, 0, Address(&file)));
}

bool HandlerPort::ChangeFileMode(std::int32_t& res2, ::FileHandle& file, std::int32_t mode) {
  Begin(res2, "FSChangeFileMode()");
  if (const auto function = Vector(&::FileSystemVectors::FSChangeFileMode)) {
    return function(vector_port_, &res2, &file, mode) != 0;
  }
  return TruthFrom(res2, PacketFor(QUORLE_ACTION_CHANGE_MODE, CHANGE_FH, Address(&file), mode));
}

bool HandlerPort::SameFile(std::int32_t& res2, ::FileHandle& a, ::FileHandle& b) {
  Begin(res2, "FSSameFile()");
  if (const auto function = Vector(&::FileSystemVectors::FSSameFile)) {
    return function(vector_port_, &res2, &a, &b) != 0;
  }
  return TruthFrom(res2, PacketFor(QUORLE_ACTION_SAME_FH, Address(&a), Address(&b)));
}

bool HandlerPort::LockRecord(std::int32_t& res2, ::FileHandle& file, std::int64_t offset,
                             std::int64_t length, std::uint32_t mode, std::uint32_t ticks) {
  Begin(res2, "FSLockRecord()");
  if (const auto function = Vector(&::FileSystemVectors::FSLockRecord)) {
    return function(vector_port_, &res2, &file, offset, length, mode, ticks) != 0;
  }
  ::DosPacket packet =
      PacketFor(QUORLE_ACTION_LOCK_RECORD64, Address(&file), 0, static_cast<std::intptr_t>(mode),
                static_cast<std::intptr_t>(ticks));
  packet.dp_Arg2_64 = offset;
  packet.dp_Arg5_64 = length;
  return TruthFrom(res2, packet);
}

bool HandlerPort::UnLockRecord(std::int32_t& res2, ::FileHandle& file, std::int64_t offset,
                               std::int64_t length) {
  Begin(res2, "FSUnLockRecord()");
  if (const auto function = Vector(&::FileSystemVectors::FSUnLockRecord)) {
    return function(vector_port_, &res2, &file, offset, length) != 0;
  }
  ::DosPacket packet = PacketFor(QUORLE_ACTION_FREE_RECORD64, Address(&file));
  packet.dp_Arg2_64 = offset;
  packet.dp_Arg5_64 = length;
  return TruthFrom(res2, packet);
}

// ---- Objects -----------------------------------------------------------------------------------

bool HandlerPort::Delete(std::int32_t& res2, ::Lock* rel, const char* name) {
  Begin(res2, "FSDelete()");
  if (!Holds(res2, rel)) return false;
  if (const auto function = Vector(&::FileSystemVectors::FSDelete)) {
    return function(vector_port_, &res2, rel, name) != 0;
  }
  const PacketText text(name);
  if (!Fits(text, res2)) return false;
  return TruthFrom(res2, PacketFor(QUORLE_ACTION_DELETE_OBJECT, Address(rel), text.address(), 0, 0,
                                   text.address()));
}

bool HandlerPort::SetDate(std::int32_t& res2, ::Lock* rel, const char* name,
                          const ::DateStamp& date) {
  Begin(res2, "FSSetDate()");
  if (!Holds(res2, rel)) return false;
  if (const auto function = Vector(&::FileSystemVectors::FSSetDate)) {
    return function(vector_port_, &res2, rel, name, &date) != 0;
  }
  return SetAttribute(res2, QUORLE_ACTION_SET_DATE, rel, name, Address(&date));
}

bool HandlerPort::SetProtection(std::int32_t& res2, ::Lock* rel, const char* name,
                                std::uint32_t mask) {
  Begin(res2, "FSSetProtection()");
  if (!Holds(res2, rel)) return false;
  if (const auto function = Vector(&::FileSystemVectors::FSSetProtection)) {
    return function(vector_port_, &res2, rel, name, mask) != 0;
  }
  return SetAttribute(res2, QUORLE_ACTION_SET_PROTECT, rel, name, static_cast<std::intptr_t>(mask));
}

bool HandlerPort::SetComment(std::int32_t& res2, ::Lock* rel, const char* name,
                             const char* comment) {
  Begin(res2, "FSSetComment()");
  if (!Holds(res2, rel)) return false;
  if (const auto function = Vector(&::FileSystemVectors::FSSetComment)) {
    return function(vector_port_, &res2, rel, name, comment) != 0;
  }
  const PacketText text(comment);
  if (!Fits(text, res2, ERROR_COMMENT_TOO_BIG)) return false;
  return SetAttribute(res2, QUORLE_ACTION_SET_COMMENT, rel, name, text.address());
}

// The three packets that set an attribute are alike but for their last argument.
bool HandlerPort::SetAttribute(std::int32_t& res2, std::int32_t action, ::Lock* rel,
                               const char* name, std::intptr_t value) {
  const PacketText text(name);
  if (!Fits(text, res2)) return false;
  return TruthFrom(res2, PacketFor(action, 0, Address(rel), text.address(), value, text.address()));
}

bool HandlerPort::SetGroup(std::int32_t& res2, ::Lock* rel, const char* name, std::uint32_t group) {
  Begin(res2, "FSSetGroup()");
  if (!Holds(res2, rel)) return false;
  if (const auto function = Vector(&::FileSystemVectors::FSSetGroup)) {
    return function(vector_port_, &res2, rel, name, group) != 0;
  }
  return SetOwnerInfo(res2, rel, name, kGroupTag, group);
}

bool HandlerPort::SetOwner(std::int32_t& res2, ::Lock* rel, const char* name, std::uint32_t owner) {
  Begin(res2, "FSSetOwner()");
  if (!Holds(res2, rel)) return false;
  if (const auto function = Vector(&::FileSystemVectors::FSSetOwner)) {
    return function(vector_port_, &res2, rel, name, owner) != 0;
  }
  return SetOwnerInfo(res2, rel, name, kOwnerTag, owner);
}

bool HandlerPort::SetOwnerInfo(std::int32_t& res2, ::Lock* rel, const char* name, std::uint32_t tag,
                               std::uint32_t id) {
  const PacketText text(name);
  if (!Fits(text, res2)) return false;
  const ::TagItem tags[] = {{tag, id}, {QUORLE_TAG_DONE, 0}};
  return TruthFrom(res2, PacketFor(QUORLE_ACTION_SET_OWNER_INFO, Address(rel), text.address(),
                                   Address(tags), 0, text.address()));
}

bool HandlerPort::Rename(std::int32_t& res2, ::Lock* source_rel, const char* source,
                         ::Lock* destination_rel, const char* destination) {
  Begin(res2, "FSRename()");
  if (!Holds(res2, source_rel) || !Holds(res2, destination_rel)) return false;
  if (const auto function = Vector(&::FileSystemVectors::FSRename)) {
    return function(vector_port_, &res2, source_rel, source, destination_rel, destination) != 0;
  }
  const PacketText source_text(source);
  const PacketText destination_text(destination);
  if (!Fits(source_text, res2) || !Fits(destination_text, res2)) return false;
  return TruthFrom(
      res2, PacketFor(QUORLE_ACTION_RENAME_OBJECT, Address(source_rel), source_text.address(),
                      Address(destination_rel), destination_text.address()));
}

bool HandlerPort::CreateSoftLink(std::int32_t& res2, ::Lock* rel, const char* name,
                                 const char* target) {
  Begin(res2, "FSCreateSoftLink()");
  if (!Holds(res2, rel)) return false;
  if (const auto function = Vector(&::FileSystemVectors::FSCreateSoftLink)) {
    return function(vector_port_, &res2, rel, name, target) != 0;
  }
  const PacketText text(name);
  if (!Fits(text, res2)) return false;
  return TruthFrom(res2, PacketFor(QUORLE_ACTION_MAKE_LINK, Address(rel), text.address(),
                                   Address(target), QUORLE_PACKET_LINK_SOFT, text.address()));
}

bool HandlerPort::CreateHardLink(std::int32_t& res2, ::Lock* rel, const char* name,
                                 ::Lock* target) {
  Begin(res2, "FSCreateHardLink()");
  if (!Holds(res2, rel)) return false;
  if (const auto function = Vector(&::FileSystemVectors::FSCreateHardLink)) {
    return function(vector_port_, &res2, rel, name, target) != 0;
  }
  const PacketText text(name);
  if (!Fits(text, res2)) return false;
  return TruthFrom(res2, PacketFor(QUORLE_ACTION_MAKE_LINK, Address(rel), text.address(),
                                   Address(target), QUORLE_PACKET_LINK_HARD, text.address()));
}

std::int32_t HandlerPort::ReadSoftLink(std::int32_t& res2, ::Lock* rel, const char* name,
                                       char* buffer, std::int32_t size) {
  Begin(res2, "FSReadSoftLink()");
  if (!Holds(res2, rel)) return -1;
  if (const auto function = Vector(&::FileSystemVectors::FSReadSoftLink)) {
    return Within(res2, function(vector_port_, &res2, rel, name, buffer, size), size);
  }
  // The only name that travels as a plain text and is not bounded by a length byte.
  return CountFrom(
      res2,
      PacketFor(QUORLE_ACTION_READ_SOFT_LINK, Address(rel), Address(name), Address(buffer), size),
      size);
}

::ExamineData* HandlerPort::ExamineObj(std::int32_t& res2, ::Lock* rel, const char* name) {
  Begin(res2, "FSExamineObj()");
  if (!Holds(res2, rel)) return nullptr;
  if (const auto function = Vector(&::FileSystemVectors::FSExamineObj)) {
    return Given(res2, function(vector_port_, &res2, rel, name));
  }
  const PacketText text(name);
  if (!Fits(text, res2)) return nullptr;
  return RecordFrom(res2, PacketFor(QUORLE_ACTION_EXAMINEDATA_OBJ, Address(rel), text.address(), 0,
                                    0, text.address()));
}

::ExamineData* HandlerPort::ExamineLock(std::int32_t& res2, ::Lock* lock) {
  Begin(res2, "FSExamineLock()");
  if (!Holds(res2, lock)) return nullptr;
  if (const auto function = Vector(&::FileSystemVectors::FSExamineLock)) {
    return Given(res2, function(vector_port_, &res2, lock));
  }
  return RecordFrom(res2, PacketFor(QUORLE_ACTION_EXAMINEDATA, Address(lock)));
}

::ExamineData* HandlerPort::ExamineFile(std::int32_t& res2, ::FileHandle& file) {
  Begin(res2, "FSExamineFile()");
  if (const auto function = Vector(&::FileSystemVectors::FSExamineFile)) {
    return Given(res2, function(vector_port_, &res2, &file));
  }
  return RecordFrom(res2, PacketFor(QUORLE_ACTION_EXAMINEDATA_FH, Address(&file)));
}

bool HandlerPort::ExamineDir(std::int32_t& res2, ::PRIVATE_ExamineDirContext& context) {
  Begin(res2, "FSExamineDir()");
  if (!Holds(res2, context.Directory)) return false;
  const auto function = Vector(&::FileSystemVectors::FSExamineDir);
  const bool found =
      function ? function(vector_port_, &res2, &context) != 0
               : TruthFrom(res2, PacketFor(QUORLE_ACTION_EXAMINEDATA_DIR, Address(&context)));
  const bool has_entry = context.Entry != nullptr;
  context.Entry = Given(res2, context.Entry);
  return found && has_entry == (context.Entry != nullptr);
}

// ---- Volume ------------------------------------------------------------------------------------

bool HandlerPort::FileSystemAttr(std::int32_t& res2, const ::TagItem* tags) {
  Begin(res2, "FSFileSystemAttr()");
  const auto function = Vector(&::FileSystemVectors::FSFileSystemAttr);
  const bool answered =
      function ? function(vector_port_, &res2, tags) != 0
               : TruthFrom(res2, PacketFor(QUORLE_ACTION_FILESYSTEM_ATTR, Address(tags)));
  if (EndTexts(tags) || !answered) return answered;
  Report(Breach::kTextWithoutEnd, res2);
  return false;
}

bool HandlerPort::VolumeInfoData(std::int32_t& res2, ::InfoData& info) {
  Begin(res2, "FSVolumeInfoData()");
  if (const auto function = Vector(&::FileSystemVectors::FSVolumeInfoData)) {
    return function(vector_port_, &res2, &info) != 0;
  }
  return TruthFrom(res2, PacketFor(QUORLE_ACTION_INFO, 0, Address(&info)));
}

bool HandlerPort::DeviceInfoData(std::int32_t& res2, ::InfoData& info) {
  Begin(res2, "FSDeviceInfoData()");
  if (const auto function = Vector(&::FileSystemVectors::FSDeviceInfoData)) {
    return function(vector_port_, &res2, &info) != 0;
  }
  return TruthFrom(res2, PacketFor(QUORLE_ACTION_DISK_INFO, Address(&info)));
}

bool HandlerPort::Inhibit(std::int32_t& res2, bool on) {
  Begin(res2, "FSInhibit()");
  const std::int32_t state = on ? kDosTrue : kDosFalse;
  if (const auto function = Vector(&::FileSystemVectors::FSInhibit)) {
    return function(vector_port_, &res2, state) != 0;
  }
  return TruthFrom(res2, PacketFor(QUORLE_ACTION_INHIBIT, state));
}

bool HandlerPort::WriteProtect(std::int32_t& res2, bool on, std::uint32_t key) {
  Begin(res2, "FSWriteProtect()");
  const std::int32_t state = on ? kDosTrue : kDosFalse;
  if (const auto function = Vector(&::FileSystemVectors::FSWriteProtect)) {
    return function(vector_port_, &res2, state, key) != 0;
  }
  return TruthFrom(res2,
                   PacketFor(QUORLE_ACTION_WRITE_PROTECT, state, static_cast<std::intptr_t>(key)));
}

bool HandlerPort::Format(std::int32_t& res2, const char* volume, std::uint32_t dos_type) {
  Begin(res2, "FSFormat()");
  if (const auto function = Vector(&::FileSystemVectors::FSFormat)) {
    return function(vector_port_, &res2, volume, dos_type) != 0;
  }
  const PacketText text(volume);
  if (!Fits(text, res2)) return false;
  return TruthFrom(res2, PacketFor(QUORLE_ACTION_FORMAT, text.address(),
                                   static_cast<std::intptr_t>(dos_type), 0, 0, text.address()));
}

bool HandlerPort::Serialize(std::int32_t& res2) {
  Begin(res2, "FSSerialize()");
  if (const auto function = Vector(&::FileSystemVectors::FSSerialize)) {
    return function(vector_port_, &res2) != 0;
  }
  return TruthFrom(res2, PacketFor(QUORLE_ACTION_SERIALIZE_DISK));
}

bool HandlerPort::Relabel(std::int32_t& res2, const char* volume) {
  Begin(res2, "FSRelabel()");
  if (const auto function = Vector(&::FileSystemVectors::FSRelabel)) {
    return function(vector_port_, &res2, volume) != 0;
  }
  const PacketText text(volume);
  if (!Fits(text, res2)) return false;
  return TruthFrom(res2,
                   PacketFor(QUORLE_ACTION_RENAME_DISK, text.address(), 0, 0, 0, text.address()));
}

bool HandlerPort::AddNotify(std::int32_t& res2, ::NotifyRequest* request) {
  Begin(res2, "FSAddNotify()");
  if (const auto function = Vector(&::FileSystemVectors::FSAddNotify)) {
    return function(vector_port_, &res2, request) != 0;
  }
  return TruthFrom(res2, PacketFor(QUORLE_ACTION_ADD_NOTIFY, Address(request)));
}

bool HandlerPort::RemoveNotify(std::int32_t& res2, ::NotifyRequest* request) {
  Begin(res2, "FSRemoveNotify()");
  if (const auto function = Vector(&::FileSystemVectors::FSRemoveNotify)) {
    return function(vector_port_, &res2, request) != 0;
  }
  return TruthFrom(res2, PacketFor(QUORLE_ACTION_REMOVE_NOTIFY, Address(request)));
}

}  // namespace quorle
