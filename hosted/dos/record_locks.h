#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "quorle/handler.h"

namespace quorle {

/// Locks on ranges of bytes, as dos keeps them for handlers that do not. They bind nobody but those who
/// lock as well.
class RecordLocks {
 public:
  /// A range of bytes of a file.
  struct Range {
    std::int64_t offset;  ///< 0 and more
    std::int64_t length;  ///< 1 and more
  };

  /// Locks `range` of the file that `identity` stands for, for `file`. False when somebody, be it `file`
  /// itself, has a part of it, unless both share.
  bool Lock(const ::FileHandle& file, const std::string& identity, Range range, bool is_shared);
  /// Releases exactly the range that one Lock() locked. False when there is none such.
  bool UnLock(const ::FileHandle& file, Range range);
  /// Releases all ranges of `file`.
  void Release(const ::FileHandle& file);

 private:
  struct Held {
    const ::FileHandle* file;
    std::string identity;
    Range range;
    bool is_shared;
  };

  std::vector<Held> locks_;
};

}  // namespace quorle
