#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "handlers/common/dos_error.h"
#include "quorle/handler.h"

namespace quorle::common {

/// The ranges of bytes that the open files of a volume have locked. They bind nobody but those who lock
/// as well. `Volume` is that of VolumePort.
///
/// What the platform leaves open is chosen as dos does for handlers without record locks: a range collides
/// with the others of the same file handle too. As a handler answers one call at a time, nobody can release
/// a range while another waits for it: a mode that waits gets its time-out at once, whatever the ticks.
template <class Volume>
class LockedRanges {
 public:
  using OpenFile = typename Volume::OpenFile;

  /// Locks `length` bytes from `offset` on, which may lie beyond the end of the file, in a REC_... mode.
  /// When there is a lock on a part of them and not both are shared: 241, of a mode that waits 242. For
  /// an unknown mode, a negative offset or less than one byte: 115.
  DosError Lock(const OpenFile& file, std::int64_t offset, std::int64_t length,
                std::uint32_t mode) {
    if (offset < 0 || length < 1 || mode > REC_SHARED_IMMED) return ERROR_BAD_NUMBER;
    const bool is_shared = mode == REC_SHARED || mode == REC_SHARED_IMMED;
    const bool waits = mode == REC_EXCLUSIVE || mode == REC_SHARED;
    const Range range{&file, offset, length, is_shared};
    const bool is_free = std::none_of(ranges_.begin(), ranges_.end(), [&](const Range& other) {
      return !(is_shared && other.is_shared) && Overlap(range, other) &&
             Volume::IsSameObject(*file.entry, *other.file->entry);
    });
    if (!is_free) return waits ? ERROR_LOCK_TIMEOUT : ERROR_LOCK_COLLISION;
    ranges_.push_back(range);
    return kNoError;
  }

  /// Releases exactly the range that one Lock() of `file` locked; 240 when there is none such.
  DosError UnLock(const OpenFile& file, std::int64_t offset, std::int64_t length) {
    const auto found = std::find_if(ranges_.begin(), ranges_.end(), [&](const Range& range) {
      return range.file == &file && range.offset == offset && range.length == length;
    });
    if (found == ranges_.end()) return ERROR_RECORD_NOT_LOCKED;
    ranges_.erase(found);
    return kNoError;
  }

  /// Releases all ranges of `file`, which is about to be closed.
  void Release(const OpenFile& file) {
    std::erase_if(ranges_, [&](const Range& range) { return range.file == &file; });
  }

 private:
  struct Range {
    const OpenFile* file;
    std::int64_t offset;
    std::int64_t length;
    bool is_shared;
  };

  /// Whether they have a byte in common. The end of a range may lie beyond what 64 bits hold.
  static bool Overlap(const Range& a, const Range& b) {
    const Range& first = a.offset <= b.offset ? a : b;
    const Range& second = a.offset <= b.offset ? b : a;
    return second.offset - first.offset < first.length;
  }

  std::vector<Range> ranges_;
};

}  // namespace quorle::common
