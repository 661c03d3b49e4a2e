#pragma once

#include <cstdint>

#include "harness/context.h"

namespace quorle {

/// The name of a scratch object; empty until one is built.
struct ScratchName {
  static constexpr std::uint32_t kSize = 256;

  char text[kSize] = {};

  operator const char*() const { return text; }  // NOLINT: a name is passed to calls and messages
};

/// Builds a name that no object in the current directory has: `base` and a number from 01 to 98.
/// False when all are taken: then the error is printed, the buffer (of `size` bytes) empty.
bool UniqueName(TestContext& ctx, const char* base, char* buffer, std::uint32_t size);

/// "FILE01", "FILE02" ...
bool UniqueFile(TestContext& ctx, ScratchName& name);
/// "DIRECTORY01", "DIRECTORY02" ...
bool UniqueDirectory(TestContext& ctx, ScratchName& name);
/// "LINK01", "LINK02" ...
bool UniqueLink(TestContext& ctx, ScratchName& name);

/// Removes an object, whatever its protection, and reports it when it stays: `number` says which of
/// the group's objects it is; with a null `label` nothing is printed. An empty name is no object.
/// As it stands: an object that cannot be locked counts as gone, whatever the reason; on Linux a layer
/// below (program/left_behind.h) knows better.
void CleanUp(TestContext& ctx, const char* name, const char* label, std::uint32_t number);

}  // namespace quorle
