#include "hosted/calls/handler_port.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "calls/call_shape.h"
#include "calls/classic_packets.h"
#include "calls/tags.h"
#include "calls/vector_table.h"
#include "calls/words.h"
#include "hosted/calls/classic_adapter.h"
#include "hosted/calls/classic_fallback.h"
#include "hosted/calls/invoke.h"
#include "hosted/calls/mounted_handler.h"
#include "hosted/calls/packet_adapter.h"
#include "platform/constants.h"

namespace quorle {
namespace {

using Vectors = ::FileSystemVectors;

CallGate::Purpose PurposeOf(std::int32_t action) {
  const bool releases = calls::WithVectors([action](const auto&... vectors) {
    return ((vectors.Releases() && vectors.packet.action == action) || ...);
  });
  return releases ? CallGate::Purpose::kRelease : CallGate::Purpose::kAnything;
}

// The answer to a packet that may not be sent.
void Refuse(::DosPacket& packet) {
  calls::SetOutcome(packet,
                    {calls::FailureOf(calls::ShapeOfPacket(packet)), ERROR_DEVICE_NOT_MOUNTED});
}

}  // namespace

// ---- The port itself ---------------------------------------------------------------------------

HandlerPort::HandlerPort(std::string device_name)
    : type_(PortType::kNone), device_name_(std::move(device_name)) {}

HandlerPort::HandlerPort(PortType type, std::unique_ptr<MountedHandler> mounted, RunWatch* watch)
    : type_(type),
      device_name_(mounted->device_name()),
      watch_(watch),
      mounted_(std::move(mounted)) {
  Adopt();
}

HandlerPort::~HandlerPort() = default;

const std::optional<std::string>& HandlerPort::volume_name() const {
  static const std::optional<std::string> kNoVolume;
  return mounted_ ? mounted_->services().volume_name() : kNoVolume;
}

PortRecord HandlerPort::Record() const {
  if (vector_port_ == nullptr) return record_;
  PortRecord record{port_->ln_Type, 0, false};
  if (type_ == PortType::kVector) {
    record.version = static_cast<std::uint32_t>(vector_port_->FSV.Version);
    // On the platform the word at byte 78 is the function that makes directories.
    record.word78 = vector_port_->FSV.FSCreateDir != nullptr;
  }
  return record;
}

bool HandlerPort::IsFileSystem() {
  if (type_ == PortType::kVector || type_ == PortType::kNone) return type_ == PortType::kVector;
  ::DosPacket question{};
  question.dp_Type = QUORLE_ACTION_IS_FILESYSTEM;
  Send(question);
  const bool is_known = question.dp_Res1 != 0 || question.dp_Res2 != ERROR_ACTION_NOT_KNOWN;
  if (is_known) return question.dp_Res1 != kDosFalse;
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
  if (Accepted(packet.dp_Res2, lock) == nullptr) packet.dp_Res1 = kDosFalse;
}

void HandlerPort::SetNotifyListener(NotifyListener listener) {
  if (mounted_) mounted_->services().SetNotifyListener(std::move(listener));
}

bool HandlerPort::Cover(const NamedLayer& layer, std::string_view value, std::string& problem) {
  return mounted_->Cover(layer, value, problem);
}

bool HandlerPort::NameVolumeByRoot(std::string& problem) {
  if (!mounted_->TakesPacketsAlone() || (volume_name() && !is_named_by_root_)) return true;
  is_named_by_root_ = true;
  std::int32_t res2 = 0;
  ::Lock* const root = Lock(res2, nullptr, "", SHARED_LOCK);
  if (root == nullptr) return true;
  ::ExamineData* const record = ExamineLock(res2, root);
  const std::string name = record == nullptr ? "" : record->Name;
  FreeExamineData(record);
  UnLock(res2, root);
  if (name.empty() || mounted_->services().SetVolumeName(vector_port_, name.c_str())) return true;
  problem = HostServices::IsVolumeName(name) ? "the volume name \"" + name + "\" is taken"
                                             : "the name of the root is no name for a volume";
  return false;
}

void HandlerPort::ReadVolumeName() {
  if (!is_named_by_root_) return;
  std::string problem;
  if (!NameVolumeByRoot(problem) && watch_ != nullptr) {
    watch_->Report("handler of " + device_name_ + ": " + problem);
  }
}

void HandlerPort::FreeExamineData(::ExamineData* data) {
  if (mounted_) mounted_->services().FreeDosObject(QUORLE_DOS_EXAMINEDATA, data);
}

void HandlerPort::ReportLastCall(const std::string& what) {
  if (gate_ == nullptr) return;
  gate_->Report(device_name_ + ": " + mounted_->services().CallName() + " " + what);
}

void HandlerPort::Adopt() {
  vector_port_ = mounted_->port();
  port_ = &vector_port_->MP;
  port_->ln_Type = type_ == PortType::kVector ? NT_FILESYSTEM : NT_MSGPORT;
  const bool is_classic = type_ == PortType::kClassic;
  if (is_classic || mounted_->TakesPackets()) {
    classic_ = std::make_unique<ClassicFallback>(*this, is_classic);
  }
  if (is_classic) adapter_ = std::make_unique<ClassicAdapter>(*this);
}

void HandlerPort::Leave() {
  vector_port_ = nullptr;
  port_ = &own_port_;
  classic_.reset();
  adapter_.reset();
}

void HandlerPort::UnmountForNow() {
  if (classic_ != nullptr) classic_->EndScans();
  record_ = Record();
  Leave();
  const CallGate::Passage passage = Pass();
  mounted_->Stop();
}

bool HandlerPort::MountAgain(std::string& problem) {
  const CallGate::Passage passage = Pass();
  if (!mounted_->Start(problem)) return false;
  if (type_ == PortType::kVector && mounted_->TakesPacketsAlone()) {
    problem = "the handler has no functions any more, it takes packets alone";
    mounted_->Stop();
    return false;
  }
  Adopt();
  if (NameVolumeByRoot(problem)) return true;
  Leave();
  mounted_->Stop();
  return false;
}

void HandlerPort::ReportFailedRemount(const std::string& problem) {
  if (watch_ != nullptr) watch_->ReportFailedRemount(device_name_, problem);
}

HandlerProgram::Life HandlerPort::life() const {
  return vector_port_ == nullptr ? HandlerProgram::Life::kIsOver : mounted_->life();
}

std::vector<std::string> HandlerPort::Unmount() {
  if (!mounted_) return {};
  if (classic_ != nullptr) classic_->EndScans();
  {
    const CallGate::Passage passage = Pass();
    mounted_->End();
  }
  std::vector<std::string> complaints = mounted_->services().complaints();
  type_ = PortType::kNone;
  Leave();
  is_named_by_root_ = false;
  record_ = {own_port_.ln_Type, 0, false};
  mounted_.reset();
  return complaints;
}

// ---- Ways to the handler -----------------------------------------------------------------------

bool HandlerPort::Admits(CallGate::Purpose purpose) const {
  if (mounted_ && vector_port_ == nullptr) return false;
  return gate_ == nullptr || !mounted_ || gate_->Admits(purpose);
}

CallGate::Passage HandlerPort::Pass() const {
  return {gate_, mounted_->IsElsewhere() ? CallGate::Process::kAnother : CallGate::Process::kOurs,
          device_name_.c_str()};
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
  if (adapter_ != nullptr && calls::IsNewerPacket(packet.dp_Type)) {
    AnswerNotKnown(packet);
    return false;
  }
  const CallGate::Passage passage = Pass();
  if (adapter_ != nullptr && adapter_->Answer(packet)) return true;
  if (AnswerByVector(*vector_port_, packet)) return true;
  mounted_->services().BeginPacket(packet.dp_Type);
  if (!mounted_->HandlerPacket(packet)) AnswerNotKnown(packet);
  return false;
}

// ---- What a handler gives ----------------------------------------------------------------------

bool HandlerPort::IsLive(std::int32_t& res2, const ::Lock* lock) {
  if (lock == nullptr || !mounted_ || mounted_->services().OwnsLock(lock)) return true;
  Report(Breach::kFreedLock, res2);
  return false;
}

::Lock* HandlerPort::Accepted(std::int32_t& res2, ::Lock* lock) {
  if (lock == nullptr) return nullptr;
  if (!mounted_->services().OwnsLock(lock)) {
    Report(Breach::kForeignLock, res2);
    return nullptr;
  }
  lock->fl_Port = port_;
  return lock;
}

::ExamineData* HandlerPort::Accepted(std::int32_t& res2, ::ExamineData* record) {
  if (record == nullptr) return nullptr;
  const Breach breach = mounted_->services().Examine(record);
  if (breach == Breach::kNone) return record;
  Report(breach, res2);
  if (breach != Breach::kForeignRecord) FreeExamineData(record);
  return nullptr;
}

// A result below zero is a failure, whichever it is.
std::int32_t HandlerPort::CheckedCount(std::int32_t& res2, std::int64_t count, std::int32_t room) {
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
    const std::size_t room = calls::RoomBehind(tags, *tag);
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

// ---- Locks --------------------------------------------------------------------------------------

::Lock* HandlerPort::Lock(std::int32_t& res2, ::Lock* rel, const char* name, std::int32_t mode) {
  return Invoke<&Vectors::FSLock>(res2, rel, name, mode);
}

bool HandlerPort::UnLock(std::int32_t& res2, ::Lock* lock) {
  if (classic_ != nullptr) classic_->EndScansOf(lock);
  return Invoke<&Vectors::FSUnLock>(res2, lock);
}

::Lock* HandlerPort::DupLock(std::int32_t& res2, ::Lock* lock) {
  return Invoke<&Vectors::FSDupLock>(res2, lock);
}

::Lock* HandlerPort::CreateDir(std::int32_t& res2, ::Lock* rel, const char* name) {
  return Invoke<&Vectors::FSCreateDir>(res2, rel, name);
}

::Lock* HandlerPort::ParentDir(std::int32_t& res2, ::Lock* lock) {
  return Invoke<&Vectors::FSParentDir>(res2, lock);
}

::Lock* HandlerPort::DupLockFromFH(std::int32_t& res2, ::FileHandle& file) {
  return Invoke<&Vectors::FSDupLockFromFH>(res2, &file);
}

::Lock* HandlerPort::ParentOfFH(std::int32_t& res2, ::FileHandle& file) {
  return Invoke<&Vectors::FSParentOfFH>(res2, &file);
}

bool HandlerPort::ChangeLockMode(std::int32_t& res2, ::Lock* lock, std::int32_t mode) {
  return Invoke<&Vectors::FSChangeLockMode>(res2, lock, mode);
}

bool HandlerPort::SameLock(std::int32_t& res2, ::Lock* a, ::Lock* b) {
  return Invoke<&Vectors::FSSameLock>(res2, a, b);
}

// ---- Files --------------------------------------------------------------------------------------

bool HandlerPort::Open(std::int32_t& res2, ::FileHandle& file, ::Lock* rel, const char* name,
                       std::int32_t mode) {
  return Invoke<&Vectors::FSOpen>(res2, &file, rel, name, mode);
}

bool HandlerPort::OpenFromLock(std::int32_t& res2, ::FileHandle& file, ::Lock* lock) {
  return Invoke<&Vectors::FSOpenFromLock>(res2, &file, lock);
}

bool HandlerPort::Close(std::int32_t& res2, ::FileHandle& file) {
  return Invoke<&Vectors::FSClose>(res2, &file);
}

std::int32_t HandlerPort::Read(std::int32_t& res2, ::FileHandle& file, void* buffer,
                               std::int32_t bytes) {
  return Invoke<&Vectors::FSRead>(res2, &file, buffer, bytes);
}

std::int32_t HandlerPort::Write(std::int32_t& res2, ::FileHandle& file, const void* data,
                                std::int32_t bytes) {
  return Invoke<&Vectors::FSWrite>(res2, &file, data, bytes);
}

bool HandlerPort::Flush(std::int32_t& res2) {
  return Invoke<&Vectors::FSFlush>(res2);
}

bool HandlerPort::ChangeFilePosition(std::int32_t& res2, ::FileHandle& file, std::int32_t mode,
                                     std::int64_t position) {
  return Invoke<&Vectors::FSChangeFilePosition>(res2, &file, mode, position);
}

bool HandlerPort::ChangeFileSize(std::int32_t& res2, ::FileHandle& file, std::int32_t mode,
                                 std::int64_t size) {
  return Invoke<&Vectors::FSChangeFileSize>(res2, &file, mode, size);
}

std::int64_t HandlerPort::GetFilePosition(std::int32_t& res2, ::FileHandle& file) {
  return Invoke<&Vectors::FSGetFilePosition>(res2, &file);
}

std::int64_t HandlerPort::GetFileSize(std::int32_t& res2, ::FileHandle& file) {
  return Invoke<&Vectors::FSGetFileSize>(res2, &file);
}

bool HandlerPort::ChangeFileMode(std::int32_t& res2, ::FileHandle& file, std::int32_t mode) {
  return Invoke<&Vectors::FSChangeFileMode>(res2, &file, mode);
}

bool HandlerPort::SameFile(std::int32_t& res2, ::FileHandle& a, ::FileHandle& b) {
  return Invoke<&Vectors::FSSameFile>(res2, &a, &b);
}

bool HandlerPort::LockRecord(std::int32_t& res2, ::FileHandle& file, std::int64_t offset,
                             std::int64_t length, std::uint32_t mode, std::uint32_t ticks) {
  return Invoke<&Vectors::FSLockRecord>(res2, &file, offset, length, mode, ticks);
}

bool HandlerPort::UnLockRecord(std::int32_t& res2, ::FileHandle& file, std::int64_t offset,
                               std::int64_t length) {
  return Invoke<&Vectors::FSUnLockRecord>(res2, &file, offset, length);
}

// ---- Objects ------------------------------------------------------------------------------------

bool HandlerPort::Delete(std::int32_t& res2, ::Lock* rel, const char* name) {
  return Invoke<&Vectors::FSDelete>(res2, rel, name);
}

bool HandlerPort::SetDate(std::int32_t& res2, ::Lock* rel, const char* name,
                          const ::DateStamp& date) {
  return Invoke<&Vectors::FSSetDate>(res2, rel, name, &date);
}

bool HandlerPort::SetProtection(std::int32_t& res2, ::Lock* rel, const char* name,
                                std::uint32_t mask) {
  return Invoke<&Vectors::FSSetProtection>(res2, rel, name, mask);
}

bool HandlerPort::SetComment(std::int32_t& res2, ::Lock* rel, const char* name,
                             const char* comment) {
  return Invoke<&Vectors::FSSetComment>(res2, rel, name, comment);
}

bool HandlerPort::SetGroup(std::int32_t& res2, ::Lock* rel, const char* name, std::uint32_t group) {
  return Invoke<&Vectors::FSSetGroup>(res2, rel, name, group);
}

bool HandlerPort::SetOwner(std::int32_t& res2, ::Lock* rel, const char* name, std::uint32_t owner) {
  return Invoke<&Vectors::FSSetOwner>(res2, rel, name, owner);
}

bool HandlerPort::Rename(std::int32_t& res2, ::Lock* source_rel, const char* source,
                         ::Lock* destination_rel, const char* destination) {
  return Invoke<&Vectors::FSRename>(res2, source_rel, source, destination_rel, destination);
}

bool HandlerPort::CreateSoftLink(std::int32_t& res2, ::Lock* rel, const char* name,
                                 const char* target) {
  return Invoke<&Vectors::FSCreateSoftLink>(res2, rel, name, target);
}

bool HandlerPort::CreateHardLink(std::int32_t& res2, ::Lock* rel, const char* name,
                                 ::Lock* target) {
  return Invoke<&Vectors::FSCreateHardLink>(res2, rel, name, target);
}

std::int32_t HandlerPort::ReadSoftLink(std::int32_t& res2, ::Lock* rel, const char* name,
                                       char* buffer, std::int32_t size) {
  return Invoke<&Vectors::FSReadSoftLink>(res2, rel, name, buffer, size);
}

::ExamineData* HandlerPort::ExamineObj(std::int32_t& res2, ::Lock* rel, const char* name) {
  return Invoke<&Vectors::FSExamineObj>(res2, rel, name);
}

::ExamineData* HandlerPort::ExamineLock(std::int32_t& res2, ::Lock* lock) {
  return Invoke<&Vectors::FSExamineLock>(res2, lock);
}

::ExamineData* HandlerPort::ExamineFile(std::int32_t& res2, ::FileHandle& file) {
  return Invoke<&Vectors::FSExamineFile>(res2, &file);
}

bool HandlerPort::ExamineDir(std::int32_t& res2, ::PRIVATE_ExamineDirContext& context) {
  return Invoke<&Vectors::FSExamineDir>(res2, &context);
}

void HandlerPort::EndDir(::PRIVATE_ExamineDirContext& context) {
  FreeExamineData(std::exchange(context.Entry, nullptr));
  if (classic_ != nullptr) classic_->EndScan(context);
}

// ---- Volume -------------------------------------------------------------------------------------

bool HandlerPort::FileSystemAttr(std::int32_t& res2, const ::TagItem* tags) {
  return Invoke<&Vectors::FSFileSystemAttr>(res2, tags);
}

bool HandlerPort::VolumeInfoData(std::int32_t& res2, ::InfoData& info) {
  return Invoke<&Vectors::FSVolumeInfoData>(res2, &info);
}

bool HandlerPort::DeviceInfoData(std::int32_t& res2, ::InfoData& info) {
  return Invoke<&Vectors::FSDeviceInfoData>(res2, &info);
}

bool HandlerPort::Inhibit(std::int32_t& res2, bool on) {
  const bool done = Invoke<&Vectors::FSInhibit>(res2, on ? kDosTrue : kDosFalse);
  if (done && !on) ReadVolumeName();
  return done;
}

bool HandlerPort::WriteProtect(std::int32_t& res2, bool on, std::uint32_t key) {
  return Invoke<&Vectors::FSWriteProtect>(res2, on ? kDosTrue : kDosFalse, key);
}

bool HandlerPort::Format(std::int32_t& res2, const char* volume, std::uint32_t dos_type) {
  return Invoke<&Vectors::FSFormat>(res2, volume, dos_type);
}

bool HandlerPort::Serialize(std::int32_t& res2) {
  return Invoke<&Vectors::FSSerialize>(res2);
}

bool HandlerPort::Relabel(std::int32_t& res2, const char* volume) {
  if (is_named_by_root_ && !mounted_->services().MayBeNamed(vector_port_, volume)) {
    res2 = ERROR_OBJECT_EXISTS;
    return false;
  }
  const bool done = Invoke<&Vectors::FSRelabel>(res2, volume);
  if (done) ReadVolumeName();
  return done;
}

bool HandlerPort::AddNotify(std::int32_t& res2, ::NotifyRequest* request) {
  const bool begins = mounted_ && request != nullptr;
  // Before the call: the handler may notify at once.
  if (begins) mounted_->services().BeginRequest(*request);
  const bool done = Invoke<&Vectors::FSAddNotify>(res2, request);
  if (begins && !done) mounted_->services().EndRequest(request);
  return done;
}

bool HandlerPort::RemoveNotify(std::int32_t& res2, ::NotifyRequest* request) {
  const bool done = Invoke<&Vectors::FSRemoveNotify>(res2, request);
  if (mounted_) mounted_->services().EndRequest(request);
  return done;
}

}  // namespace quorle
