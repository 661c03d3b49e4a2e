#pragma once

#include <cstddef>
#include <vector>

namespace quorle::isolation {

/// Memory that is lent to a handler for one call, with a fence before and behind each piece: bytes
/// that nobody has a reason to write. A fence that has changed is noticed after the call.
///
/// Behind the last fence lies room that nobody uses, before the first one too: a handler that goes
/// on writing (1 MiB and more) harms nothing. Beyond that it meets a page that cannot be written.
class LentMemory {
 public:
  static constexpr std::size_t kFenceBytes = 256;
  /// How far beyond a piece a handler may write before it is stopped.
  static constexpr std::size_t kSpareBytes = std::size_t{2} << 20;

  LentMemory() = default;
  ~LentMemory();
  LentMemory(const LentMemory&) = delete;
  LentMemory& operator=(const LentMemory&) = delete;

  /// A copy of the `bytes` at `content`, aligned for any type. Null without memory.
  std::byte* Lend(const void* content, std::size_t bytes);
  /// Lends the `bytes` at `start` where they lie. kFenceBytes on both sides of them are overwritten.
  void LendInPlace(std::byte* start, std::size_t bytes);

  /// How many pieces are lent.
  std::size_t count() const { return pieces_.size(); }
  /// Whether all fences are as they were from piece `first` on.
  bool Holds(std::size_t first) const;
  /// Takes back the pieces from `first` on: calls may be made while a call is made.
  void TakeBack(std::size_t first);

 private:
  struct Piece {
    std::byte* start;
    std::size_t bytes;
    std::size_t used;  ///< of the memory, up to and with its fence
  };

  bool MakeRoom(std::size_t bytes);
  void Unmap();
  void Fence(const Piece& piece);

  std::byte* memory_ = nullptr;
  std::size_t capacity_ = 0;
  std::vector<Piece> pieces_;
};

}  // namespace quorle::isolation
