#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quorle {

/// A token of a C++ source.
struct SourceToken {
  enum class Type : std::uint8_t { kWord, kNumber, kText, kMark };
  Type type = Type::kMark;
  std::string
      text;  ///< a literal's without quotes and escapes, adjacent ones in one; a mark is one character

  bool Is(std::string_view word) const { return type != Type::kText && text == word; }
};

using SourceTokens = std::vector<SourceToken>;

/// The tokens of `source`. Comments and preprocessor lines are left out.
SourceTokens TokensOf(std::string_view source);

/// The index of the bracket that closes the one at `open`; the number of tokens when none does.
std::size_t ClosingBracket(const SourceTokens& tokens, std::size_t open);

/// The tokens from `begin` up to `end`.
SourceTokens Part(const SourceTokens& tokens, std::size_t begin, std::size_t end);

}  // namespace quorle
