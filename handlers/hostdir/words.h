#pragma once

#include <string>
#include <string_view>

namespace quorle::hostdir {

/// `text` as one word of a line: blanks, "%" and what is not printable ASCII become %XX.
std::string Escaped(std::string_view text);
/// The text that became `word`.
std::string Unescaped(std::string_view word);
/// Cuts `text` at the first `separator`; returns what comes before it and leaves the rest.
std::string_view CutAt(char separator, std::string_view& text);

}  // namespace quorle::hostdir
