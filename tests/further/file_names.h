#pragma once

#include <cstdint>

#include "harness/context.h"
#include "harness/scratch.h"

/// Steps with names, for tests that are about them.
namespace quorle {

/// The most letters of a name on the target by FSA_MaxFileNameLengthR, 2 to 255. Where that cannot be asked
/// for, 30, which all filesystems have.
std::uint32_t MostLetters(TestContext& ctx);

/// A name of `length` letters, up to 255, all of the lower case.
ScratchName NameOf(std::uint32_t length);

/// Whether two texts are the same, case included.
bool AreEqual(const char* a, const char* b);

/// Removes what is in the current directory by the names that a scan gives, as `CleanUp()` does: a handler may
/// have made it under another name than the test asked for.
void RemoveEntries(TestContext& ctx, const char* label, std::uint32_t number);

}  // namespace quorle
