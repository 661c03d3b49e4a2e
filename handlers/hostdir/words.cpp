#include "handlers/hostdir/words.h"

#include <charconv>
#include <cstddef>

namespace quorle::hostdir {
namespace {

constexpr std::string_view kHexDigits = "0123456789ABCDEF";

}  // namespace

std::string Escaped(std::string_view text) {
  std::string result;
  for (const char c : text) {
    const auto code = static_cast<unsigned char>(c);
    if (code > 0x20 && code < 0x7F && c != '%') {
      result += c;
    } else {
      result += '%';
      result += kHexDigits[code >> 4];
      result += kHexDigits[code & 15];
    }
  }
  return result;
}

std::string Unescaped(std::string_view word) {
  std::string result;
  for (std::size_t i = 0; i < word.size(); ++i) {
    unsigned code = 0;
    if (word[i] == '%' && i + 2 < word.size() &&
        std::from_chars(word.data() + i + 1, word.data() + i + 3, code, 16).ptr ==
            word.data() + i + 3) {
      result += static_cast<char>(code);
      i += 2;
    } else {
      result += word[i];
    }
  }
  return result;
}

std::string_view CutAt(char separator, std::string_view& text) {
  const std::size_t at = text.find(separator);
  const std::string_view before = text.substr(0, at);
  text = at == std::string_view::npos ? std::string_view() : text.substr(at + 1);
  return before;
}

}  // namespace quorle::hostdir
