#include "platform/control_characters.h"

#include <cstddef>
#include <cstdint>

namespace quorle {
namespace {

std::uint8_t Byte(char c) {
  return static_cast<std::uint8_t>(c);
}

bool IsControl(char c) {
  return Byte(c) < 0x20 || (Byte(c) >= 0x7F && Byte(c) < 0xA0);
}

void AppendShown(char c, std::string& result) {
  constexpr char kDigits[] = "0123456789abcdef";
  result += "\\x";
  result += kDigits[Byte(c) >> 4];
  result += kDigits[Byte(c) & 0xF];
}

void Append(char c, std::string& result) {
  if (IsControl(c)) {
    AppendShown(c, result);
  } else {
    result += c;
  }
}

/// How many bytes the printable character of UTF-8 at the start of `text` has, when it has more than
/// one; 0 when there is none.
std::size_t WideCharacter(std::string_view text) {
  const std::uint8_t first = Byte(text.front());
  // Of each first byte: how many follow, and the least value of the next one. That leaves out what
  // is written longer than need be, and the control characters from 0x80 on.
  const std::size_t following = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
  if (first < 0xC2 || first > 0xF4 || text.size() <= following) return 0;
  const std::uint8_t least = first == 0xC2 || first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
  if (Byte(text[1]) < least) return 0;
  for (std::size_t i = 1; i <= following; ++i) {
    if (Byte(text[i]) < 0x80 || Byte(text[i]) > 0xBF) return 0;
  }
  return following + 1;
}

/// Whether the well-formed character is none that a text can hold: a half of a pair, one past the last
/// plane, U+FFFE or U+FFFF.
bool IsNoCharacter(std::string_view wide) {
  return (wide[0] == '\xed' && Byte(wide[1]) >= 0xA0) ||
         (wide[0] == '\xf4' && Byte(wide[1]) >= 0x90) || wide == "\xef\xbf\xbe" ||
         wide == "\xef\xbf\xbf";
}

}  // namespace

std::string ShowControls(std::string_view text) {
  std::string result;
  for (const char c : text) Append(c, result);
  return result;
}

std::string ShowControlsOfLine(std::string_view line) {
  std::string result;
  while (!line.empty()) {
    const std::size_t wide = WideCharacter(line);
    if (wide == 0) {
      Append(line.front(), result);
      line.remove_prefix(1);
    } else {
      result += line.substr(0, wide);
      line.remove_prefix(wide);
    }
  }
  return result;
}

std::string ShowControlsOfUtf8(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const char first = text.front();
    const std::size_t wide = WideCharacter(text);
    const bool stays =
        wide == 0 ? Byte(first) < 0x80 && !IsControl(first) : !IsNoCharacter(text.substr(0, wide));
    const std::string_view character = text.substr(0, wide == 0 ? 1 : wide);
    if (stays) {
      result += character;
    } else {
      for (const char c : character) AppendShown(c, result);
    }
    text.remove_prefix(character.size());
  }
  return result;
}

}  // namespace quorle
