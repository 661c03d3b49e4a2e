#include "hosted/calls/classic_fallback.h"

#include <array>
#include <cstring>
#include <limits>
#include <string>
#include <utility>

#include "hosted/calls/handler_port.h"
#include "hosted/calls/mounted_handler.h"
#include "hosted/calls/packet_adapter.h"
#include "platform/constants.h"

namespace quorle {
namespace {

using calls::Outcome;

constexpr std::int64_t kMostSent = std::numeric_limits<std::int32_t>::max();
/// SET_OWNER has 16 bits for each of its two ids.
constexpr std::int64_t kMostId = 0xFFFF;
constexpr int kIdBits = 16;
/// What FSPrivate[0] of a scan's context is when the scan is over: its numbers are above zero.
constexpr std::intptr_t kOver = -1;

bool Fits(std::int64_t number) {
  return number >= -kMostSent && number <= kMostSent;
}

Outcome Failure(std::int32_t code) {
  return {0, code};
}

Outcome CountFailure(std::int32_t code) {
  return {-1, code};
}

bool Failed(const Outcome& outcome) {
  return outcome.result == 0;
}

std::uint32_t TypeOf(const ::FileInfoBlock& block) {
  switch (block.fib_DirEntryType) {
    case 0:
      return FSO_TYPE_INVALID;
    case ST_SOFTLINK:
      return FSO_TYPE_SOFTLINK;
    case ST_LINKDIR:
      return FSO_TYPE_DIRECTORY | FSOF_LINK;
    case ST_LINKFILE:
      return FSO_TYPE_FILE | FSOF_LINK;
    default:
      return block.fib_DirEntryType > 0 ? FSO_TYPE_DIRECTORY : FSO_TYPE_FILE;
  }
}

bool IsFile(const ::FileInfoBlock& block) {
  return block.fib_DirEntryType < 0;
}

/// Copies a text with its length to `room`, which has place for the longest one and a zero.
template <std::size_t kRoom>
void CopyText(const std::uint8_t (&text)[kRoom], char* room) {
  std::memcpy(room, text + 1, text[0]);
  room[text[0]] = '\0';
}

template <std::size_t kRoom>
bool EndsInItsField(const std::uint8_t (&text)[kRoom]) {
  return text[0] < kRoom;
}

}  // namespace

ClassicFallback::ClassicFallback(HandlerPort& port, bool is_classic) : port_(port) {
  if (is_classic) Remember(QUORLE_ACTION_INFO);
}

void ClassicFallback::Remember(std::int32_t action) {
  remembered_ |= 1U << PlaceOf(action) | 1U << PlaceOf(QUORLE_ACTION_INFO);
}

Outcome ClassicFallback::Send(const calls::VectorForm& form,
                              std::span<const std::int64_t> arguments) {
  const auto file = [arguments]() -> const ::FileHandle& {
    return *At<::FileHandle>(arguments[0]);
  };
  switch (form.packet.action) {
    case QUORLE_ACTION_EXAMINEDATA:
      return ExamineLock(At<::Lock>(arguments[0]));
    case QUORLE_ACTION_EXAMINEDATA_FH:
      return ExamineFile(file());
    case QUORLE_ACTION_EXAMINEDATA_DIR:
      return ExamineDir(*At<::PRIVATE_ExamineDirContext>(arguments[0]));
    case QUORLE_ACTION_CHANGE_FILE_POSITION64:
      return ChangePosition(file(), static_cast<std::int32_t>(arguments[1]), arguments[2]);
    case QUORLE_ACTION_GET_FILE_POSITION64:
      return GetPosition(file());
    case QUORLE_ACTION_CHANGE_FILE_SIZE64:
      return ChangeSize(file(), static_cast<std::int32_t>(arguments[1]), arguments[2]);
    case QUORLE_ACTION_GET_FILE_SIZE64:
      return GetSize(file());
    case QUORLE_ACTION_LOCK_RECORD64:
      return LockRecord(file(), arguments);
    case QUORLE_ACTION_FREE_RECORD64:
      return FreeRecord(file(), arguments[1], arguments[2]);
    case QUORLE_ACTION_SET_OWNER_INFO:
      return SetOwner(form.packet.fixed == calls::kOwnerTag, arguments);
    case QUORLE_ACTION_INFO:
      return VolumeInfo(*At<::InfoData>(arguments[0]));
    default:
      return Failure(ERROR_ACTION_NOT_KNOWN);
  }
}

// ---- Examining -----------------------------------------------------------------------------------

Outcome ClassicFallback::ExamineLock(::Lock* lock) {
  std::int32_t res2 = 0;
  ::Lock* const root = lock == nullptr ? port_.Lock(res2, nullptr, "", SHARED_LOCK) : nullptr;
  if (lock == nullptr && root == nullptr) return Failure(res2);
  ::FileInfoBlock block{};
  Outcome outcome = Examine(QUORLE_ACTION_EXAMINE_OBJECT, lock == nullptr ? root : lock, block);
  if (!Failed(outcome)) outcome = MakeRecord(block);
  if (root != nullptr) port_.UnLock(res2, root);
  return outcome;
}

Outcome ClassicFallback::ExamineFile(const ::FileHandle& file) {
  ::FileInfoBlock block{};
  const Outcome outcome = ExamineOpen(file, block);
  return Failed(outcome) ? outcome : MakeRecord(block);
}

Outcome ClassicFallback::ExamineDir(::PRIVATE_ExamineDirContext& context) {
  if (context.FSPrivate[0] == kOver) return Failure(ERROR_NO_MORE_ENTRIES);
  auto scan = Find(context);
  if (scan == scans_.end()) {
    const Outcome begun = BeginScan(context);
    if (Failed(begun)) return begun;
    scan = Find(context);
  }
  ::FileInfoBlock& block = scan->second.block;
  const Outcome next = Examine(QUORLE_ACTION_EXAMINE_NEXT, scan->second.lock, block);
  if (Failed(next)) {
    context.FSPrivate[0] = kOver;
    Erase(scan);
    return next;
  }
  const Outcome record = MakeRecord(block);
  context.Entry = At<::ExamineData>(record.result);
  return record;
}

Outcome ClassicFallback::Examine(std::int32_t action, const ::Lock* lock, ::FileInfoBlock& block) {
  return Checked(SendPacket(action, {calls::ToWord(lock), calls::ToWord(&block), 0, 0, 0, 0}),
                 block);
}

Outcome ClassicFallback::ExamineOpen(const ::FileHandle& file, ::FileInfoBlock& block) {
  return Checked(SendPacket(QUORLE_ACTION_EXAMINE_FH,
                            {file.fh_Arg1, calls::ToWord(&block), calls::ToWord(&file), 0, 0, 0}),
                 block);
}

Outcome ClassicFallback::Checked(const Outcome& answer, const ::FileInfoBlock& block) {
  if (Failed(answer)) return answer;
  std::string problem;
  if (!EndsInItsField(block.fib_FileName)) {
    problem = "a name of " + std::to_string(block.fib_FileName[0]) + " bytes";
  } else if (!EndsInItsField(block.fib_Comment)) {
    problem = "a comment of " + std::to_string(block.fib_Comment[0]) + " bytes";
  } else if (IsFile(block) && block.fib_Size < 0) {
    problem = "a size of " + std::to_string(block.fib_Size);
  } else {
    return answer;
  }
  Outcome failure;
  port_.Report("gave a FileInfoBlock with " + problem, ERROR_BAD_NUMBER, failure.res2);
  return failure;
}

Outcome ClassicFallback::MakeRecord(const ::FileInfoBlock& block) {
  constexpr std::array<::TagItem, 4> kSizes = {
      {{QUORLE_ADO_ExamineData_NameSize, sizeof block.fib_FileName},
       {QUORLE_ADO_ExamineData_CommentSize, sizeof block.fib_Comment},
       {QUORLE_ADO_ExamineData_LinkSize, 1},
       {QUORLE_TAG_DONE, 0}}};
  auto* const record = static_cast<::ExamineData*>(
      port_.mounted_->services().AllocDosObject(QUORLE_DOS_EXAMINEDATA, kSizes.data()));
  if (record == nullptr) return Failure(ERROR_NO_FREE_STORE);
  record->Type = TypeOf(block);
  if (IsFile(block)) record->FileSize = block.fib_Size;
  record->Date = block.fib_Date;
  record->ObjectID = static_cast<std::uint32_t>(block.fib_DiskKey);
  CopyText(block.fib_FileName, record->Name);
  CopyText(block.fib_Comment, record->Comment);
  record->Protection = static_cast<std::uint32_t>(block.fib_Protection);
  record->OwnerUID = block.fib_OwnerUID;
  record->OwnerGID = block.fib_OwnerGID;
  return {calls::ToWord(record), 0};
}

// ---- Scans ---------------------------------------------------------------------------------------

ClassicFallback::Scans::iterator ClassicFallback::Find(const ::PRIVATE_ExamineDirContext& context) {
  const auto scan = scans_.find(context.FSPrivate[0]);
  return scan != scans_.end() && scan->second.context == &context ? scan : scans_.end();
}

Outcome ClassicFallback::BeginScan(::PRIVATE_ExamineDirContext& context) {
  ::Lock* const directory = context.Directory;
  bool is_scanned = false;
  for (const auto& [number, scan] : scans_) is_scanned |= scan.directory == directory;
  ::Lock* own = nullptr;
  if (is_scanned) {
    std::int32_t res2 = 0;
    own = port_.DupLock(res2, directory);
    if (own == nullptr) return Failure(res2);
  }
  ::Lock* const lock = own == nullptr ? directory : own;
  const auto scan = scans_.emplace(++last_scan_, Scan{&context, directory, lock}).first;
  const Outcome outcome = Examine(QUORLE_ACTION_EXAMINE_OBJECT, lock, scan->second.block);
  if (Failed(outcome) || IsFile(scan->second.block)) {
    Erase(scan);
    return Failure(Failed(outcome) ? outcome.res2 : ERROR_OBJECT_WRONG_TYPE);
  }
  context.FSPrivate[0] = last_scan_;
  return outcome;
}

void ClassicFallback::Erase(Scans::iterator scan) {
  ::Lock* const own = scan->second.lock == scan->second.directory ? nullptr : scan->second.lock;
  scans_.erase(scan);
  std::int32_t unused = 0;
  if (own != nullptr) port_.UnLock(unused, own);
}

void ClassicFallback::EndScan(const ::PRIVATE_ExamineDirContext& context) {
  if (const auto scan = Find(context); scan != scans_.end()) Erase(scan);
}

void ClassicFallback::EndScansOf(const ::Lock* directory) {
  // Releasing a lock of our own comes back here, for another directory.
  for (auto scan = scans_.begin(); scan != scans_.end();) {
    const auto next = std::next(scan);
    if (scan->second.directory == directory) Erase(scan);
    scan = next;
  }
}

void ClassicFallback::EndScans() {
  while (!scans_.empty()) Erase(scans_.begin());
}

// ---- Positions, sizes, records of bytes ----------------------------------------------------------

Outcome ClassicFallback::SendMove(std::int32_t action, const ::FileHandle& file,
                                  std::int64_t number, std::int32_t mode) {
  if (!Fits(number)) return CountFailure(ERROR_OBJECT_TOO_LARGE);
  Outcome outcome = SendPacket(action, {file.fh_Arg1, number, mode, calls::ToWord(&file), 0, 0});
  if (outcome.result == 0 && outcome.res2 == ERROR_ACTION_NOT_KNOWN) {
    return CountFailure(outcome.res2);
  }
  if (outcome.result >= -1 && outcome.result <= kMostSent) return outcome;
  port_.Report((action == QUORLE_ACTION_SEEK ? "gave a position of " : "gave a size of ") +
                   std::to_string(outcome.result),
               ERROR_BAD_NUMBER, outcome.res2);
  return CountFailure(outcome.res2);
}

Outcome ClassicFallback::ChangePosition(const ::FileHandle& file, std::int32_t mode,
                                        std::int64_t position) {
  const Outcome moved = SendMove(QUORLE_ACTION_SEEK, file, position, mode);
  return moved.result < 0 ? Failure(moved.res2) : Outcome{kDosTrue, moved.res2};
}

Outcome ClassicFallback::GetPosition(const ::FileHandle& file) {
  return SendMove(QUORLE_ACTION_SEEK, file, 0, OFFSET_CURRENT);
}

Outcome ClassicFallback::ChangeSize(const ::FileHandle& file, std::int32_t mode,
                                    std::int64_t size) {
  const Outcome changed = SendMove(QUORLE_ACTION_SET_FILE_SIZE, file, size, mode);
  return changed.result < 0 ? Failure(changed.res2) : Outcome{kDosTrue, changed.res2};
}

Outcome ClassicFallback::GetSize(const ::FileHandle& file) {
  ::FileInfoBlock block{};
  const Outcome outcome = ExamineOpen(file, block);
  return Failed(outcome) ? CountFailure(outcome.res2) : Outcome{block.fib_Size, 0};
}

Outcome ClassicFallback::LockRecord(const ::FileHandle& file,
                                    std::span<const std::int64_t> arguments) {
  const std::int64_t offset = arguments[1];
  const std::int64_t length = arguments[2];
  if (!Fits(offset) || !Fits(length)) return Failure(ERROR_OBJECT_TOO_LARGE);
  return SendPacket(QUORLE_ACTION_LOCK_RECORD, {file.fh_Arg1, offset, length, arguments[3],
                                                arguments[4], calls::ToWord(&file)});
}

Outcome ClassicFallback::FreeRecord(const ::FileHandle& file, std::int64_t offset,
                                    std::int64_t length) {
  if (!Fits(offset) || !Fits(length)) return Failure(ERROR_OBJECT_TOO_LARGE);
  return SendPacket(QUORLE_ACTION_FREE_RECORD,
                    {file.fh_Arg1, offset, length, calls::ToWord(&file), 0, 0});
}

// ---- Owners and the volume -----------------------------------------------------------------------

Outcome ClassicFallback::SetOwner(bool is_owner, std::span<const std::int64_t> arguments) {
  auto* const rel = At<::Lock>(arguments[0]);
  const auto* const name = At<const char>(arguments[1]);
  const std::int64_t id = arguments[2];
  if (id > kMostId) return Failure(ERROR_BAD_NUMBER);
  const PacketText text(name);
  if (!text.fits()) return Failure(ERROR_LINE_TOO_LONG);

  std::int32_t res2 = 0;
  ::Lock* const lock = port_.Lock(res2, rel, name, SHARED_LOCK);
  if (lock == nullptr) return Failure(res2);
  ::FileInfoBlock block{};
  const Outcome examined = Examine(QUORLE_ACTION_EXAMINE_OBJECT, lock, block);
  port_.UnLock(res2, lock);
  if (Failed(examined)) return examined;

  const std::int64_t owner = is_owner ? id : block.fib_OwnerUID;
  const std::int64_t group = is_owner ? block.fib_OwnerGID : id;
  return SendPacket(QUORLE_ACTION_SET_OWNER, {0, calls::ToWord(rel), text.address(),
                                              owner << kIdBits | group, text.address(), 0});
}

Outcome ClassicFallback::VolumeInfo(::InfoData& info) {
  std::int32_t res2 = 0;
  ::Lock* const root = port_.Lock(res2, nullptr, "", SHARED_LOCK);
  if (root == nullptr) return Failure(res2);
  const Outcome outcome =
      SendPacket(QUORLE_ACTION_INFO, {calls::ToWord(root), calls::ToWord(&info), 0, 0, 0, 0});
  port_.UnLock(res2, root);
  return outcome;
}

Outcome ClassicFallback::SendPacket(std::int32_t action, const calls::PacketWords& words) {
  ::DosPacket packet = calls::PacketOf(action, words.data());
  port_.Deliver(packet);
  return calls::OutcomeOf(packet);
}

}  // namespace quorle
