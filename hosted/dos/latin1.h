#pragma once

#include <string_view>

namespace quorle {

/// The upper-case form of a Latin-1 character. The two letters of the upper half that have none (y
/// with diaeresis and sharp s) and the division sign stay.
constexpr char ToUpperLatin1(char c) {
  const auto code = static_cast<unsigned char>(c);
  const bool ascii = code >= 'a' && code <= 'z';
  const bool upper_half = code >= 0xE0 && code <= 0xFE && code != 0xF7;
  return ascii || upper_half ? static_cast<char>(code - 0x20) : c;
}

/// Compares two Latin-1 texts, case ignored: below, equal to or above 0.
constexpr int CompareLatin1(std::string_view a, std::string_view b) {
  for (std::size_t i = 0; i < a.size() && i < b.size(); ++i) {
    const auto left = static_cast<unsigned char>(ToUpperLatin1(a[i]));
    const auto right = static_cast<unsigned char>(ToUpperLatin1(b[i]));
    if (left != right) return left < right ? -1 : 1;
  }
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}

}  // namespace quorle
