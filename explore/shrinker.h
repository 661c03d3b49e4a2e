#pragma once

#include <chrono>
#include <cstddef>
#include <functional>

#include "explore/choices.h"

namespace quorle::explore {

/// How hard a shrinker tries.
struct ShrinkBounds {
  std::size_t attempts = 2000;  ///< at most so many sequences are tried
  /// None is tried after that.
  std::chrono::steady_clock::time_point until = std::chrono::steady_clock::time_point::max();
};

/// Reduces `choices` as long as `differs` says that what is left still shows the same difference: chunks of
/// calls go, large ones first; then values are lowered, to 0 first, and names that are the same together; then
/// calls change places where that makes an earlier one plainer; again, until nothing helps. No sequence is
/// tried twice, and `differs` may say no to what it said yes to: nothing here needs a defect to come each time.
/// Returns the last sequence that differed; what is behind the last whole call is left out.
Choices Shrink(Choices choices, const std::function<bool(const Choices&)>& differs,
               const ShrinkBounds& bounds = {});

}  // namespace quorle::explore
