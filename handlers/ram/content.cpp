#include "handlers/ram/content.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace quorle::ram {
namespace {

/// Calls `part(page, offset, bytes)` for each piece of a page that a stretch covers.
template <class Part>
void ForEachPart(std::int64_t position, std::size_t bytes, Part part) {
  while (bytes > 0) {
    const std::int64_t page = position / Content::kPageSize;
    const auto offset = static_cast<std::size_t>(position % Content::kPageSize);
    const std::size_t count = std::min<std::size_t>(bytes, Content::kPageSize - offset);
    part(page, offset, count);
    position += static_cast<std::int64_t>(count);
    bytes -= count;
  }
}

}  // namespace

std::size_t Content::NewPages(std::int64_t position, std::size_t bytes) const {
  std::size_t count = 0;
  ForEachPart(position, bytes, [&](std::int64_t page, std::size_t, std::size_t) {
    if (!pages_.contains(page)) ++count;
  });
  return count;
}

std::size_t Content::Read(std::int64_t position, void* buffer, std::size_t bytes) const {
  if (position >= size_) return 0;
  bytes = static_cast<std::size_t>(std::min(static_cast<std::int64_t>(bytes), size_ - position));
  auto* to = static_cast<unsigned char*>(buffer);
  ForEachPart(position, bytes, [&](std::int64_t page, std::size_t offset, std::size_t count) {
    const auto found = pages_.find(page);
    if (found == pages_.end()) {
      std::memset(to, 0, count);
    } else {
      std::memcpy(to, found->second->data() + offset, count);
    }
    to += count;
  });
  return bytes;
}

void Content::Write(std::int64_t position, const void* data, std::size_t bytes) {
  // All memory first: a page of zeros that a failure leaves changes nothing.
  ForEachPart(position, bytes, [&](std::int64_t page, std::size_t, std::size_t) {
    if (!pages_.contains(page)) pages_.emplace(page, std::make_unique<Page>());
  });
  const auto* from = static_cast<const unsigned char*>(data);
  ForEachPart(position, bytes, [&](std::int64_t page, std::size_t offset, std::size_t count) {
    std::memcpy(pages_.find(page)->second->data() + offset, from, count);
    from += count;
  });
  size_ = std::max(size_, position + static_cast<std::int64_t>(bytes));
}

void Content::Resize(std::int64_t size) {
  if (size < size_) {
    const std::int64_t kept_pages = (size + kPageSize - 1) / kPageSize;
    pages_.erase(pages_.lower_bound(kept_pages), pages_.end());
    // What was cut off must not come back when the file grows again.
    const auto last = pages_.find(size / kPageSize);
    if (last != pages_.end()) {
      const auto used = static_cast<std::size_t>(size % kPageSize);
      std::memset(last->second->data() + used, 0, kPageSize - used);
    }
  }
  size_ = size;
}

}  // namespace quorle::ram
