#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <unordered_map>

#include "calls/vector_table.h"
#include "calls/words.h"
#include "quorle/handler.h"

namespace quorle {

class HandlerPort;

/// What dos sends to a handler that knows nothing of a newer packet: one that it answered with 0 and
/// 209. It is remembered for as long as the handler is mounted, and the newer one is not tried again.
///
///   newer packet                  classic way
///   3030 EXAMINEDATA              23 EXAMINE_OBJECT; for lock 0 between 8 LOCATE_OBJECT "" and
///                                 15 FREE_LOCK
///   3031 EXAMINEDATA_FH           1034 EXAMINE_FH
///   3032 EXAMINEDATA_OBJ          none here: 209, and dos examines a lock (HostedDos)
///   3040 EXAMINEDATA_DIR          23 EXAMINE_OBJECT once, then 24 EXAMINE_NEXT, with one and the same
///                                 FileInfoBlock
///   8001 CHANGE_FILE_POSITION64   1008 SEEK
///   8002 GET_FILE_POSITION64      1008 SEEK by 0 from OFFSET_CURRENT
///   8003 CHANGE_FILE_SIZE64       1022 SET_FILE_SIZE
///   8004 GET_FILE_SIZE64          1034 EXAMINE_FH
///   8010 LOCK_RECORD64            2008 LOCK_RECORD
///   8011 FREE_RECORD64            2009 FREE_RECORD
///   1037 SET_OWNER_INFO           1036 SET_OWNER, with the other half from 23 EXAMINE_OBJECT
///   26 INFO                       the same with a lock on the root, once the handler is known to be
///                                 classic
///
/// 3005 FILESYSTEM_ATTR and 53 SAME_FH have no other way. Positions, sizes and lengths that do not fit
/// 31 bits are refused with 207, ids above 0xFFFF with 115, before anything is sent. Of what comes back
/// a text longer than its field, a negative size and a number that no position or size of 31 bits can
/// be are no answers: 115, and a line for the watch.
class ClassicFallback {
 public:
  /// `port` must outlive this. `is_classic`: it is known already that the handler is.
  ClassicFallback(HandlerPort& port, bool is_classic);
  ClassicFallback(const ClassicFallback&) = delete;
  ClassicFallback& operator=(const ClassicFallback&) = delete;

  /// Whether there is another way for the packet `action`.
  static constexpr bool Has(std::int32_t action) { return PlaceOf(action) != kNowhere; }

  /// Notes that the handler answered the packet `action`, for which there is another way, with 209.
  void Remember(std::int32_t action);
  /// Whether the packet `action` goes another way from now on.
  bool IsRemembered(std::int32_t action) const {
    return Has(action) && (remembered_ & 1U << PlaceOf(action)) != 0;
  }
  /// Calls the function `form` with `arguments`, those after the port and the error code, the classic
  /// way. There must be one.
  calls::Outcome Send(const calls::VectorForm& form, std::span<const std::int64_t> arguments);

  /// Forgets the scan of `context`, if there is one.
  void EndScan(const ::PRIVATE_ExamineDirContext& context);
  /// Forgets all scans of `directory`, which is about to be freed.
  void EndScansOf(const ::Lock* directory);
  /// Forgets all scans.
  void EndScans();
  /// How many scans there are.
  std::size_t scans() const { return scans_.size(); }

 private:
  /// A scan that has begun and not ended. Handlers keep their place in the block or in the lock, so
  /// two scans of one directory need two locks.
  struct Scan {
    const ::PRIVATE_ExamineDirContext* context;
    const ::Lock* directory;
    ::Lock* lock;  ///< `directory`, or one of our own
    ::FileInfoBlock block{};
  };
  using Scans = std::unordered_map<std::intptr_t, Scan>;

  static constexpr int kNowhere = -1;
  static constexpr int PlaceOf(std::int32_t action) {
    switch (action) {
      case QUORLE_ACTION_EXAMINEDATA:
        return 0;
      case QUORLE_ACTION_EXAMINEDATA_FH:
        return 1;
      case QUORLE_ACTION_EXAMINEDATA_OBJ:
        return 2;
      case QUORLE_ACTION_EXAMINEDATA_DIR:
        return 3;
      case QUORLE_ACTION_CHANGE_FILE_POSITION64:
        return 4;
      case QUORLE_ACTION_GET_FILE_POSITION64:
        return 5;
      case QUORLE_ACTION_CHANGE_FILE_SIZE64:
        return 6;
      case QUORLE_ACTION_GET_FILE_SIZE64:
        return 7;
      case QUORLE_ACTION_LOCK_RECORD64:
        return 8;
      case QUORLE_ACTION_FREE_RECORD64:
        return 9;
      case QUORLE_ACTION_SET_OWNER_INFO:
        return 10;
      case QUORLE_ACTION_INFO:
        return 11;
      default:
        return kNowhere;
    }
  }

  calls::Outcome ExamineLock(::Lock* lock);
  calls::Outcome ExamineFile(const ::FileHandle& file);
  calls::Outcome ExamineDir(::PRIVATE_ExamineDirContext& context);
  calls::Outcome ChangePosition(const ::FileHandle& file, std::int32_t mode, std::int64_t position);
  calls::Outcome GetPosition(const ::FileHandle& file);
  calls::Outcome ChangeSize(const ::FileHandle& file, std::int32_t mode, std::int64_t size);
  calls::Outcome GetSize(const ::FileHandle& file);
  calls::Outcome LockRecord(const ::FileHandle& file, std::span<const std::int64_t> arguments);
  calls::Outcome FreeRecord(const ::FileHandle& file, std::int64_t offset, std::int64_t length);
  calls::Outcome SetOwner(bool is_owner, std::span<const std::int64_t> arguments);
  calls::Outcome VolumeInfo(::InfoData& info);

  calls::Outcome SendPacket(std::int32_t action, const calls::PacketWords& words);
  /// Sends a packet that seeks or sets a size: what it gives is below zero when it failed.
  calls::Outcome SendMove(std::int32_t action, const ::FileHandle& file, std::int64_t number,
                          std::int32_t mode);
  /// Sends EXAMINE_OBJECT or EXAMINE_NEXT, whose answer goes to `block`; 0 or an error code, at which
  /// nothing in `block` counts.
  calls::Outcome Examine(std::int32_t action, const ::Lock* lock, ::FileInfoBlock& block);
  calls::Outcome ExamineOpen(const ::FileHandle& file, ::FileInfoBlock& block);
  /// `answer` to a packet that filled `block`: a failure when that cannot be used.
  calls::Outcome Checked(const calls::Outcome& answer, const ::FileInfoBlock& block);
  /// A record that holds what `block` does; null and 103 without memory.
  calls::Outcome MakeRecord(const ::FileInfoBlock& block);

  Scans::iterator Find(const ::PRIVATE_ExamineDirContext& context);
  /// A second scan of a directory gets a lock of its own.
  calls::Outcome BeginScan(::PRIVATE_ExamineDirContext& context);
  void Erase(Scans::iterator scan);

  HandlerPort& port_;
  std::uint32_t remembered_ = 0;
  std::intptr_t last_scan_ = 0;
  Scans scans_;
};

}  // namespace quorle
