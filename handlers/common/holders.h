#pragma once

#include <cstdint>

#include "handlers/common/dos_error.h"
#include "quorle/handler.h"

namespace quorle::common {

/// Who holds a file: any number of shared locks and handles, or a single exclusive one. Four bytes.
class Holders {
 public:
  bool any() const { return count_ != 0; }

  /// One more. 202 when that cannot be.
  DosError Take(bool exclusive) {
    if (count_ == kExclusive || (exclusive && count_ != 0)) return ERROR_OBJECT_IN_USE;
    count_ = exclusive ? kExclusive : count_ + 1;
    return kNoError;
  }
  /// One that was taken as `exclusive` says goes.
  void Release(bool exclusive) { count_ = exclusive ? 0 : count_ - 1; }
  /// One that was taken as `exclusive` says changes over. 202 when it would be exclusive beside
  /// others.
  DosError Change(bool& exclusive, bool to_exclusive) {
    if (exclusive == to_exclusive) return kNoError;
    if (to_exclusive && count_ != 1) return ERROR_OBJECT_IN_USE;
    count_ = to_exclusive ? kExclusive : 1;
    exclusive = to_exclusive;
    return kNoError;
  }

 private:
  static constexpr std::uint32_t kExclusive = ~std::uint32_t{0};

  std::uint32_t count_ = 0;
};

}  // namespace quorle::common
