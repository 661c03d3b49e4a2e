#pragma once

#include <cstdint>

#include "harness/context.h"

namespace quorle {

/// What SetOwner() and SetGroup() store, one after the other. The low half of `wide` is `narrow`,
/// so that a filesystem that keeps 16 bits shows.
struct OwnerIds {
  std::uint32_t narrow;  ///< 16 bits
  std::uint32_t wide;    ///< 32 bits
};

/// Judges the owner or group `id` that came back after `ids.wide` was set over `ids.narrow`. The
/// narrow one passes, with a note unless NoInfoMessages is set; another one is reported and fails.
/// The messages name `label`. Returns kPassed or kFailed.
std::int32_t CheckWideId(TestContext& ctx, std::uint32_t id, const OwnerIds& ids,
                         const char* label);

}  // namespace quorle
