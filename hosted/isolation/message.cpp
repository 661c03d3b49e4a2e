#include "hosted/isolation/message.h"

#include <cstring>

namespace quorle::isolation {
namespace {

constexpr std::size_t kUnit = 8;

/// `bytes`, which are no more than a message holds, as whole units.
constexpr std::size_t Padded(std::size_t bytes) {
  return (bytes + kUnit - 1) / kUnit * kUnit;
}

}  // namespace

void MessageWriter::Number(std::int64_t number) {
  if (std::byte* const place = Take(sizeof number)) std::memcpy(place, &number, sizeof number);
}

void MessageWriter::Bytes(std::string_view bytes) {
  Number(static_cast<std::int64_t>(bytes.size()));
  if (bytes.size() >= place_.size()) {
    ok_ = false;
    return;
  }
  std::byte* const place = Take(Padded(bytes.size() + 1));
  if (place == nullptr) return;
  if (!bytes.empty()) std::memcpy(place, bytes.data(), bytes.size());
  place[bytes.size()] = std::byte{0};
}

std::byte* MessageWriter::Take(std::size_t bytes) {
  if (!ok_ || bytes > place_.size() - size_) {
    ok_ = false;
    return nullptr;
  }
  std::byte* const place = place_.data() + size_;
  size_ += bytes;
  return place;
}

std::int64_t MessageReader::Number() {
  std::int64_t number = 0;
  if (const std::byte* const place = Take(sizeof number))
    std::memcpy(&number, place, sizeof number);
  return number;
}

std::string_view MessageReader::Bytes() {
  const std::int64_t count = Number();
  if (count < 0 || static_cast<std::uint64_t>(count) >= message_.size()) {
    ok_ = false;
    return {};
  }
  const auto bytes = static_cast<std::size_t>(count);
  const std::byte* const place = Take(Padded(bytes + 1));
  if (place == nullptr) return {};
  return {reinterpret_cast<const char*>(place), bytes};
}

const std::byte* MessageReader::Take(std::size_t bytes) {
  if (!ok_ || bytes > message_.size() - at_) {
    ok_ = false;
    return nullptr;
  }
  const std::byte* const place = message_.data() + at_;
  at_ += bytes;
  return place;
}

}  // namespace quorle::isolation
