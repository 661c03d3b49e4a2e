#include "hosted/calls/fenced_memory.h"

#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace quorle {
namespace {

constexpr std::size_t kAlignment = 16;
constexpr std::size_t kPage = 4096;
/// What is kept from call to call: enough for all that the tests read.
constexpr std::size_t kLeastCapacity = std::size_t{1} << 20;

/// No two bytes in a row are the same, and none is zero.
constexpr std::array<std::byte, FencedMemory::kFenceBytes> kFence = [] {
  std::array<std::byte, FencedMemory::kFenceBytes> fence{};
  unsigned state = 0x5A;
  for (std::byte& byte : fence) {
    state = (state * 75 + 74) % 257;
    byte = static_cast<std::byte>(state == 0 || state == 256 ? 0xA5 : state);
  }
  return fence;
}();

constexpr std::size_t Aligned(std::size_t bytes, std::size_t unit) {
  return (bytes + unit - 1) / unit * unit;
}

/// All that is mapped for `capacity` usable bytes: a page that is closed, spare bytes, the usable
/// ones, spare bytes, a page that is closed.
constexpr std::size_t Mapped(std::size_t capacity) {
  return capacity + 2 * (FencedMemory::kSpareBytes + kPage);
}

}  // namespace

FencedMemory::~FencedMemory() {
  Unmap();
}

std::byte* FencedMemory::Copy(const void* content, std::size_t bytes) {
  const std::size_t used = pieces_.empty() ? 0 : pieces_.back().used;
  const std::size_t begin = Aligned(used + kFenceBytes, kAlignment);
  const std::size_t end = begin + bytes + kFenceBytes;
  if (end > capacity_ && !MakeRoom(end)) return nullptr;
  std::byte* const start = memory_ + begin;
  if (bytes != 0) std::memcpy(start, content, bytes);
  pieces_.push_back({start, bytes, end});
  Fence(pieces_.back());
  return start;
}

void FencedMemory::FenceInPlace(std::byte* start, std::size_t bytes) {
  pieces_.push_back({start, bytes, pieces_.empty() ? 0 : pieces_.back().used});
  Fence(pieces_.back());
}

bool FencedMemory::IsIntact(std::size_t first) const {
  return std::all_of(
      pieces_.begin() + static_cast<std::ptrdiff_t>(first), pieces_.end(), [](const Piece& piece) {
        return std::memcmp(piece.start - kFenceBytes, kFence.data(), kFenceBytes) == 0 &&
               std::memcmp(piece.start + piece.bytes, kFence.data(), kFenceBytes) == 0;
      });
}

void FencedMemory::Release(std::size_t first) {
  pieces_.resize(first);
  if (first == 0 && capacity_ > kLeastCapacity) Unmap();
}

void FencedMemory::Fence(const Piece& piece) {
  std::memcpy(piece.start - kFenceBytes, kFence.data(), kFenceBytes);
  std::memcpy(piece.start + piece.bytes, kFence.data(), kFenceBytes);
}

/// Room for `bytes`; pieces in use stay where they are, so that there is none while there are any.
bool FencedMemory::MakeRoom(std::size_t bytes) {
  const bool is_used = std::any_of(pieces_.begin(), pieces_.end(),
                                   [](const Piece& piece) { return piece.used != 0; });
  if (is_used) return false;
  Unmap();
  const std::size_t capacity = std::max(kLeastCapacity, Aligned(bytes, kPage));
  // Pages cost memory when they are first used: most never are.
  void* const mapped = mmap(nullptr, Mapped(capacity), PROT_NONE,
                            MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (mapped == MAP_FAILED) return false;
  auto* const open = static_cast<std::byte*>(mapped) + kPage;
  if (mprotect(open, capacity + 2 * kSpareBytes, PROT_READ | PROT_WRITE) != 0) {
    munmap(mapped, Mapped(capacity));
    return false;
  }
  memory_ = open + kSpareBytes;
  capacity_ = capacity;
  return true;
}

void FencedMemory::Unmap() {
  if (memory_ == nullptr) return;
  munmap(memory_ - kSpareBytes - kPage, Mapped(capacity_));
  memory_ = nullptr;
  capacity_ = 0;
}

}  // namespace quorle
