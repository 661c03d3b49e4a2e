#pragma once

#include <cstdint>
#include <unordered_map>

#include "quorle/handler.h"

namespace quorle {

class HandlerPort;

/// Answers the packets of classic_packets.h by functions of a vector table, as a filesystem of 32 bits
/// does: this is what makes a handler with functions a classic one.
///
///   23 EXAMINE_OBJECT    FSExamineLock()
///   24 EXAMINE_NEXT      FSExamineDir(); the place is kept for each lock, until it is freed or opened,
///                        or EXAMINE_OBJECT begins a scan again
///   1008 SEEK            FSGetFilePosition(), FSChangeFilePosition()
///   1022 SET_FILE_SIZE   FSChangeFileSize(), FSGetFileSize()
///   1034 EXAMINE_FH      FSExamineFile()
///   1036 SET_OWNER       FSSetOwner(), then FSSetGroup()
///   2008 LOCK_RECORD     FSLockRecord()
///   2009 FREE_RECORD     FSUnLockRecord()
///
/// What does not fit is cut, as such filesystems have it: names to 107 bytes, comments to 79, positions
/// and sizes to 31 bits, ids of owners to 16. fib_DiskKey is the id of the object when that has 31 bits;
/// longer ones are numbered below zero. The root is a directory like others. All of this is our choice.
class ClassicAdapter {
 public:
  /// `port` must outlive this.
  explicit ClassicAdapter(HandlerPort& port) : port_(port) {}
  ClassicAdapter(const ClassicAdapter&) = delete;
  ClassicAdapter& operator=(const ClassicAdapter&) = delete;

  /// Answers `packet` and fills its results. False, with nothing done, when it is none of these or a
  /// function that it needs is missing.
  bool Answer(::DosPacket& packet);

 private:
  struct Place {
    ::PRIVATE_ExamineDirContext context{};
    bool is_over = false;
  };

  bool ExamineObject(::DosPacket& packet);
  bool ExamineNext(::DosPacket& packet);
  bool ExamineOpen(::DosPacket& packet);
  bool Seek(::DosPacket& packet);
  bool SetSize(::DosPacket& packet);
  bool SetOwner(::DosPacket& packet);
  bool LockRecord(::DosPacket& packet);
  bool FreeRecord(::DosPacket& packet);
  /// Puts what `record` holds, which a handler gave and which is freed, into the block of `packet`.
  void Examined(::DosPacket& packet, ::ExamineData* record, std::int32_t res2);
  /// Calls a function of the handler, which must be there.
  template <auto kFunction, class... Args>
  auto Call(std::int32_t& res2, Args... args);
  template <auto... kFunctions>
  bool HasAll() const;
  /// A number for fib_DiskKey that stays that of the object.
  std::int32_t KeyOf(std::uint64_t id);
  std::uint64_t SerialOf(std::intptr_t lock) const;

  HandlerPort& port_;
  std::unordered_map<std::uint64_t, Place> places_;       ///< by the serial number of the lock
  std::unordered_map<std::uint64_t, std::int32_t> keys_;  ///< of the ids that are longer
};

}  // namespace quorle
