#include "hosted/calls/classic_adapter.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <utility>

#include "hosted/calls/handler_port.h"
#include "hosted/calls/mounted_handler.h"
#include "hosted/calls/packet_adapter.h"

namespace quorle {
namespace {

using Vectors = ::FileSystemVectors;

constexpr std::intptr_t kFailed = -1;
constexpr std::int64_t kLeastLong = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kMostLong = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kBlockSize = 512;

std::int32_t Cut(std::int64_t number) {
  return static_cast<std::int32_t>(std::clamp(number, kLeastLong, kMostLong));
}

/// Copies `text`, which may be null, into a field that begins with the length.
template <std::size_t kRoom>
void FillText(const char* text, std::uint8_t (&field)[kRoom]) {
  const std::size_t length = text == nullptr ? 0 : std::min(std::strlen(text), kRoom - 1);
  field[0] = static_cast<std::uint8_t>(length);
  if (length != 0) std::memcpy(field + 1, text, length);
}

std::int32_t EntryTypeOf(std::uint32_t type) {
  const bool is_link = (type & FSOF_LINK) != 0;
  switch (type & FSO_TYPE_MASK) {
    case FSO_TYPE_SOFTLINK:
      return ST_SOFTLINK;
    case FSO_TYPE_FILE:
      return is_link ? ST_LINKFILE : ST_FILE;
    case FSO_TYPE_DIRECTORY:
      return is_link ? ST_LINKDIR : ST_USERDIR;
    default:
      return 0;
  }
}

/// What the handler keeps in the block for itself stays.
void Fill(::FileInfoBlock& block, const ::ExamineData& record) {
  block.fib_DirEntryType = EntryTypeOf(record.Type);
  FillText(record.Name, block.fib_FileName);
  block.fib_Protection = static_cast<std::int32_t>(record.Protection);
  block.fib_EntryType = block.fib_DirEntryType;
  block.fib_Size = block.fib_DirEntryType < 0 ? Cut(record.FileSize) : 0;
  block.fib_NumBlocks =
      block.fib_Size / kBlockSize + static_cast<std::int32_t>(block.fib_Size % kBlockSize > 0);
  block.fib_Date = record.Date;
  FillText(record.Comment, block.fib_Comment);
  block.fib_OwnerUID = static_cast<std::uint16_t>(record.OwnerUID);
  block.fib_OwnerGID = static_cast<std::uint16_t>(record.OwnerGID);
}

void SetTruth(::DosPacket& packet, bool truth, std::int32_t res2) {
  packet.dp_Res1 = truth ? kDosTrue : kDosFalse;
  packet.dp_Res2 = res2;
}

void SetNumber(::DosPacket& packet, std::intptr_t number, std::int32_t res2) {
  packet.dp_Res1 = number;
  packet.dp_Res2 = res2;
}

}  // namespace

bool ClassicAdapter::Answer(::DosPacket& packet) {
  switch (packet.dp_Type) {
    case QUORLE_ACTION_FREE_LOCK:
      places_.erase(SerialOf(packet.dp_Arg1));
      return false;
    case QUORLE_ACTION_FH_FROM_LOCK:
      places_.erase(SerialOf(packet.dp_Arg2));
      return false;
    case QUORLE_ACTION_EXAMINE_OBJECT:
      return ExamineObject(packet);
    case QUORLE_ACTION_EXAMINE_NEXT:
      return ExamineNext(packet);
    case QUORLE_ACTION_SEEK:
      return Seek(packet);
    case QUORLE_ACTION_SET_FILE_SIZE:
      return SetSize(packet);
    case QUORLE_ACTION_EXAMINE_FH:
      return ExamineOpen(packet);
    case QUORLE_ACTION_SET_OWNER:
      return SetOwner(packet);
    case QUORLE_ACTION_LOCK_RECORD:
      return LockRecord(packet);
    case QUORLE_ACTION_FREE_RECORD:
      return FreeRecord(packet);
    default:
      return false;
  }
}

template <auto kFunction, class... Args>
auto ClassicAdapter::Call(std::int32_t& res2, Args... args) {
  res2 = 0;
  return (port_.vector_port_->FSV.*kFunction)(port_.vector_port_, &res2, args...);
}

template <auto... kFunctions>
bool ClassicAdapter::HasAll() const {
  return ((port_.vector_port_->FSV.*kFunctions != nullptr) && ...);
}

std::uint64_t ClassicAdapter::SerialOf(std::intptr_t lock) const {
  return port_.mounted_->services().SerialOf(PointedTo<::Lock>(lock));
}

// ---- Examining -----------------------------------------------------------------------------------

void ClassicAdapter::Examined(::DosPacket& packet, ::ExamineData* record, std::int32_t res2) {
  ::ExamineData* const accepted = port_.Accepted(res2, record);
  if (accepted != nullptr) {
    auto& block = *PointedTo<::FileInfoBlock>(packet.dp_Arg2);
    Fill(block, *accepted);
    block.fib_DiskKey = KeyOf(accepted->ObjectID);
  }
  port_.FreeExamineData(accepted);
  SetTruth(packet, accepted != nullptr, res2);
}

std::int32_t ClassicAdapter::KeyOf(std::uint64_t id) {
  if (id <= static_cast<std::uint64_t>(kMostLong)) return static_cast<std::int32_t>(id);
  const auto next = static_cast<std::int32_t>(kLeastLong + static_cast<std::int64_t>(keys_.size()));
  return keys_.try_emplace(id, next).first->second;
}

bool ClassicAdapter::ExamineObject(::DosPacket& packet) {
  if (!HasAll<&Vectors::FSExamineLock>()) return false;
  places_.erase(SerialOf(packet.dp_Arg1));
  std::int32_t res2 = 0;
  ::ExamineData* const record =
      Call<&Vectors::FSExamineLock>(res2, PointedTo<::Lock>(packet.dp_Arg1));
  Examined(packet, record, res2);
  return true;
}

bool ClassicAdapter::ExamineNext(::DosPacket& packet) {
  if (!HasAll<&Vectors::FSExamineDir>()) return false;
  Place& place = places_[SerialOf(packet.dp_Arg1)];
  place.context.Directory = PointedTo<::Lock>(packet.dp_Arg1);
  std::int32_t res2 = ERROR_NO_MORE_ENTRIES;
  const bool given = !place.is_over && Call<&Vectors::FSExamineDir>(res2, &place.context) != 0;
  ::ExamineData* const record = std::exchange(place.context.Entry, nullptr);
  place.is_over = !given;
  if (given) {
    Examined(packet, record, res2);
  } else {
    port_.FreeExamineData(record);
    SetTruth(packet, false, res2);
  }
  return true;
}

bool ClassicAdapter::ExamineOpen(::DosPacket& packet) {
  if (!HasAll<&Vectors::FSExamineFile>()) return false;
  std::int32_t res2 = 0;
  ::ExamineData* const record =
      Call<&Vectors::FSExamineFile>(res2, PointedTo<::FileHandle>(packet.dp_Arg3));
  Examined(packet, record, res2);
  return true;
}

// ---- Files ---------------------------------------------------------------------------------------

bool ClassicAdapter::Seek(::DosPacket& packet) {
  if (!HasAll<&Vectors::FSGetFilePosition, &Vectors::FSChangeFilePosition>()) return false;
  auto* const file = PointedTo<::FileHandle>(packet.dp_Arg4);
  const auto mode = static_cast<std::int32_t>(packet.dp_Arg3);
  std::int32_t res2 = 0;
  const std::int64_t old = Call<&Vectors::FSGetFilePosition>(res2, file);
  const bool asks = packet.dp_Arg2 == 0 && mode == OFFSET_CURRENT;
  const bool done = old >= 0 && (asks || Call<&Vectors::FSChangeFilePosition>(
                                             res2, file, mode, std::int64_t{packet.dp_Arg2}) != 0);
  SetNumber(packet, done ? Cut(old) : kFailed, res2);
  return true;
}

bool ClassicAdapter::SetSize(::DosPacket& packet) {
  if (!HasAll<&Vectors::FSChangeFileSize, &Vectors::FSGetFileSize>()) return false;
  auto* const file = PointedTo<::FileHandle>(packet.dp_Arg4);
  const auto mode = static_cast<std::int32_t>(packet.dp_Arg3);
  std::int32_t res2 = 0;
  const bool done =
      Call<&Vectors::FSChangeFileSize>(res2, file, mode, std::int64_t{packet.dp_Arg2}) != 0;
  const std::intptr_t size = done ? Cut(Call<&Vectors::FSGetFileSize>(res2, file)) : kFailed;
  SetNumber(packet, size, res2);
  return true;
}

bool ClassicAdapter::LockRecord(::DosPacket& packet) {
  if (!HasAll<&Vectors::FSLockRecord>()) return false;
  std::int32_t res2 = 0;
  const bool done = Call<&Vectors::FSLockRecord>(
                        res2, PointedTo<::FileHandle>(packet.dp_Arg6), std::int64_t{packet.dp_Arg2},
                        std::int64_t{packet.dp_Arg3}, static_cast<std::uint32_t>(packet.dp_Arg4),
                        static_cast<std::uint32_t>(packet.dp_Arg5)) != 0;
  SetTruth(packet, done, res2);
  return true;
}

bool ClassicAdapter::FreeRecord(::DosPacket& packet) {
  if (!HasAll<&Vectors::FSUnLockRecord>()) return false;
  std::int32_t res2 = 0;
  const bool done = Call<&Vectors::FSUnLockRecord>(res2, PointedTo<::FileHandle>(packet.dp_Arg4),
                                                   std::int64_t{packet.dp_Arg2},
                                                   std::int64_t{packet.dp_Arg3}) != 0;
  SetTruth(packet, done, res2);
  return true;
}

// ---- Owners --------------------------------------------------------------------------------------

bool ClassicAdapter::SetOwner(::DosPacket& packet) {
  if (!HasAll<&Vectors::FSSetOwner, &Vectors::FSSetGroup>()) return false;
  auto* const lock = PointedTo<::Lock>(packet.dp_Arg2);
  const PlainText name(packet.dp_Arg3);
  const auto ids = static_cast<std::uint32_t>(packet.dp_Arg4);
  std::int32_t res2 = 0;
  const bool done = Call<&Vectors::FSSetOwner>(res2, lock, name.c_str(), ids >> 16) != 0 &&
                    Call<&Vectors::FSSetGroup>(res2, lock, name.c_str(), ids & 0xFFFF) != 0;
  SetTruth(packet, done, res2);
  return true;
}

}  // namespace quorle
