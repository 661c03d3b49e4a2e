#include "hosted/dos/record_locks.h"

#include <algorithm>

namespace quorle {
namespace {

/// Whether they have a byte in common; the end of a range may lie beyond what 64 bits hold.
bool Overlap(const RecordLocks::Range& a, const RecordLocks::Range& b) {
  const bool a_is_first = a.offset <= b.offset;
  const RecordLocks::Range& first = a_is_first ? a : b;
  const RecordLocks::Range& second = a_is_first ? b : a;
  return second.offset - first.offset < first.length;
}

}  // namespace

bool RecordLocks::Lock(const ::FileHandle& file, const std::string& identity, Range range,
                       bool is_shared) {
  const bool is_free = std::none_of(locks_.begin(), locks_.end(), [&](const Held& held) {
    return held.identity == identity && Overlap(held.range, range) &&
           !(held.is_shared && is_shared);
  });
  if (is_free) locks_.push_back({&file, identity, range, is_shared});
  return is_free;
}

bool RecordLocks::UnLock(const ::FileHandle& file, Range range) {
  const auto found = std::find_if(locks_.begin(), locks_.end(), [&](const Held& held) {
    return held.file == &file && held.range.offset == range.offset &&
           held.range.length == range.length;
  });
  if (found == locks_.end()) return false;
  locks_.erase(found);
  return true;
}

void RecordLocks::Release(const ::FileHandle& file) {
  std::erase_if(locks_, [&](const Held& held) { return held.file == &file; });
}

}  // namespace quorle
