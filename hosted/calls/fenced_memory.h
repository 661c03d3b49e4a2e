#pragma once

#include <cstddef>
#include <vector>

namespace quorle {

/// Memory that a handler fills in one call, with a fence before and behind each piece: bytes that
/// nobody has a reason to write. A fence that has changed is noticed after the call.
///
/// Behind the last fence lies room that nobody uses, before the first one too: a handler that goes
/// on writing (1 MiB and more) harms nothing. Beyond that it meets a page that cannot be written.
class FencedMemory {
 public:
  static constexpr std::size_t kFenceBytes = 256;
  /// How far beyond a piece a handler may write before it is stopped.
  static constexpr std::size_t kSpareBytes = std::size_t{2} << 20;

  FencedMemory() = default;
  ~FencedMemory();
  FencedMemory(const FencedMemory&) = delete;
  FencedMemory& operator=(const FencedMemory&) = delete;

  /// A copy of the `bytes` at `content`, aligned for any type. Null without memory.
  std::byte* Copy(const void* content, std::size_t bytes);
  /// Fences the `bytes` at `start` where they lie: overwrites kFenceBytes on both sides of them.
  void FenceInPlace(std::byte* start, std::size_t bytes);

  /// How many pieces are in use.
  std::size_t count() const { return pieces_.size(); }
  /// Whether the fences of piece `first` and all after it are as they were.
  bool IsIntact(std::size_t first) const;
  /// Ends the use of piece `first` and all after it: calls may be made while a call is made.
  void Release(std::size_t first);

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

}  // namespace quorle
