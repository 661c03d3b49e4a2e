#pragma once

#include <cstdint>

#include "harness/catalogue.h"
#include "platform/constants.h"
#include "tests/further/vocabulary.h"

namespace quorle {

/// A call that has to be refused.
struct RefusedCall {
  const char* text;  ///< as messages have it
  /// Makes it, with a lock or a file of the fields below. Returns whether it was granted; what it gave
  /// is given back.
  bool (*make)(TestContext& ctx, LockHandle& lock, FileHandle file);
  const char* locked = nullptr;  ///< is locked meanwhile
  std::int32_t lock_mode = SHARED_LOCK;
  const char* opened = nullptr;  ///< is open meanwhile, in MODE_OLDFILE, at position 4
  bool may_be_granted = false;   ///< the platform does not say that it is refused
};

/// Makes `call`, which must be refused. Returns the status; `is_granted` when the platform allows that it
/// was not.
std::int32_t Refuse(TestContext& ctx, const char* label, const RefusedCall& call, bool& is_granted);

}  // namespace quorle
