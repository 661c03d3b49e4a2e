#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace quorle::isolation {

/// Writes numbers and byte strings one after the other, each at a multiple of eight.
class MessageWriter {
 public:
  explicit MessageWriter(std::span<std::byte> place) : place_(place) {}

  void Number(std::int64_t number);
  /// The bytes behind their length and before a zero that does not count.
  void Bytes(std::string_view bytes);

  /// Whether everything fitted so far. What does not fit is not written.
  bool ok() const { return ok_; }
  std::size_t size() const { return size_; }

 private:
  std::byte* Take(std::size_t bytes);

  std::span<std::byte> place_;
  std::size_t size_ = 0;
  bool ok_ = true;
};

/// Reads what a MessageWriter wrote, or what somebody made of it: never beyond the end, and numbers
/// are 0 and byte strings empty from the first that is not there.
class MessageReader {
 public:
  explicit MessageReader(std::span<const std::byte> message) : message_(message) {}

  std::int64_t Number();
  /// The bytes where they are.
  std::string_view Bytes();
  std::string Text() { return std::string(Bytes()); }

  bool ok() const { return ok_; }
  /// Whether everything was there and nothing is left.
  bool ReadAll() const { return ok_ && at_ == message_.size(); }

 private:
  const std::byte* Take(std::size_t bytes);

  std::span<const std::byte> message_;
  std::size_t at_ = 0;
  bool ok_ = true;
};

}  // namespace quorle::isolation
