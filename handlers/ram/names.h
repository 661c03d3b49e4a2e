#pragma once

#include <cstdint>
#include <string_view>

#include "handlers/common/names.h"

namespace quorle::ram {

using common::Fold;
using common::IsName;
using common::kMaxComment;
using common::kMaxName;
using common::kMaxTarget;
using common::SameName;

/// Same names have the same hash.
constexpr std::uint32_t HashName(std::string_view name) {
  std::uint32_t hash = 2166136261U;
  for (const char c : name) hash = (hash ^ Fold(c)) * 16777619U;
  // The table uses the low bits: mix the high ones in.
  hash ^= hash >> 16;
  hash *= 0x7FEB352DU;
  return hash ^ hash >> 15;
}

}  // namespace quorle::ram
