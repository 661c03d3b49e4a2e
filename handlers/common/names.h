#pragma once

#include <cstddef>
#include <string_view>

namespace quorle::common {

/// Bytes of a name, at most; the platform's limit.
inline constexpr std::size_t kMaxName = 255;
/// Bytes of a comment, at most; the platform's limit.
inline constexpr std::size_t kMaxComment = 255;
/// Bytes of a soft link's target, at most; the platform's limit.
inline constexpr std::size_t kMaxTarget = 4000;

/// The upper-case form of a Latin-1 character.
constexpr unsigned char Fold(char c) {
  const auto code = static_cast<unsigned char>(c);
  const bool ascii = code >= 'a' && code <= 'z';
  const bool upper_half = code >= 0xE0 && code <= 0xFE && code != 0xF7;
  return ascii || upper_half ? static_cast<unsigned char>(code - 0x20) : code;
}

/// Whether two names are the same one: case is ignored.
constexpr bool SameName(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (Fold(a[i]) != Fold(b[i])) return false;
  }
  return true;
}

/// Whether an object may be called `name`: 1 to 255 bytes, no separator, no control character.
constexpr bool IsName(std::string_view name) {
  if (name.empty() || name.size() > kMaxName) return false;
  for (const char c : name) {
    if (c == ':' || c == '/' || static_cast<unsigned char>(c) < 0x20) return false;
  }
  return true;
}

}  // namespace quorle::common
