#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>

namespace quorle::ram {

/// The bytes of a file. Only pages that were written take memory; the others read as zeros, so that
/// a file of many gigabytes costs nothing until it is filled.
class Content {
 public:
  static constexpr std::int64_t kPageSize = 4096;

  std::int64_t size() const { return size_; }
  /// Pages that take memory.
  std::size_t pages() const { return pages_.size(); }
  /// Pages that a write of `bytes` bytes at `position` would add.
  std::size_t NewPages(std::int64_t position, std::size_t bytes) const;

  /// Copies up to `bytes` bytes from `position` on. Returns how many there were.
  std::size_t Read(std::int64_t position, void* buffer, std::size_t bytes) const;
  /// Writes `bytes` bytes at `position`, which is at most the size. Throws std::bad_alloc, and then
  /// the content is what it was.
  void Write(std::int64_t position, const void* data, std::size_t bytes);
  /// Cuts the content off or adds zeros to it. Never fails.
  void Resize(std::int64_t size);

 private:
  using Page = std::array<unsigned char, kPageSize>;

  std::int64_t size_ = 0;
  std::map<std::int64_t, std::unique_ptr<Page>> pages_;
};

}  // namespace quorle::ram
