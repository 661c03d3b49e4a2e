#pragma once

#include <cstddef>
#include <cstdint>

namespace quorle {

/// Length of a zero-ended text in bytes, without the zero.
std::uint32_t TextLength(const char* text);

/// Copies `bytes` bytes between places that do not overlap: in runs of 32 and 4 bytes when both are
/// aligned alike, byte by byte otherwise.
void CopyBytes(void* destination, const void* source, std::size_t bytes);

}  // namespace quorle
