#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace quorle::isolation {

/// Who has to do something.
enum class Side : std::uint32_t { kHost = 0, kHandler = 1 };

/// What is at the start of the block: whose turn it is, and who sleeps until it is his.
struct TurnWords {
  std::atomic<std::uint32_t> turn;
  std::atomic<std::uint32_t> asleep[2];
};

/// Memory that a host and the handler process that it makes have in common. The handler may write
/// into it what it likes and when it likes: the host believes nothing of it.
class SharedBlock {
 public:
  /// Null without memory.
  static std::unique_ptr<SharedBlock> Create();
  ~SharedBlock();
  SharedBlock(const SharedBlock&) = delete;
  SharedBlock& operator=(const SharedBlock&) = delete;

  /// As it was when it was made.
  void Clear();
  /// Whether processes that are made from now on share it: none but its own handler should.
  void LetShare(bool on);

  TurnWords& turns();
  std::span<std::byte> call();   ///< what the host asks
  std::span<std::byte> reply();  ///< what the handler answers, or asks in its turn
  std::span<std::byte> trace();  ///< where the handler was when it crashed
  /// What is read and written. A handler that fills it may go beyond it, as far as FencedMemory says.
  std::span<std::byte> data();

  /// A record with three long texts fits, and a call with as many.
  static constexpr std::size_t kMessageBytes = std::size_t{512} << 10;
  static constexpr std::size_t kDataBytes = std::size_t{16} << 20;
  static constexpr std::size_t kTraceBytes = std::size_t{16} << 10;

 private:
  explicit SharedBlock(std::byte* memory) : memory_(memory) {}

  std::byte* memory_;
};

}  // namespace quorle::isolation
