#include "explore/text_scanner.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cstddef>

#include "explore/call_reader.h"
#include "explore/value_text.h"

namespace quorle::explore {
namespace {

constexpr std::string_view kWordCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_|-";

constexpr std::string_view kDateShape = "dddd-dd-dd dd:dd:dd";

std::optional<int> HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return std::nullopt;
}

/// The numbers in `text`, which looks like `shape`: a digit for each 'd', all others as they are. Numbers
/// are what stands between the others.
template <std::size_t kNumbers>
std::optional<std::array<int, kNumbers>> NumbersIn(std::string_view text, std::string_view shape) {
  if (text.size() < shape.size()) return std::nullopt;
  std::array<int, kNumbers> numbers{};
  std::size_t number = 0;
  for (std::size_t i = 0; i != shape.size(); ++i) {
    if (shape[i] != 'd') {
      if (text[i] != shape[i]) return std::nullopt;
      ++number;
    } else if (text[i] < '0' || text[i] > '9') {
      return std::nullopt;
    } else {
      numbers[number] = numbers[number] * 10 + (text[i] - '0');
    }
  }
  return numbers;
}

}  // namespace

void TextScanner::SkipBlanks() {
  rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\r"), rest_.size()));
}

bool TextScanner::Take(std::string_view text) {
  if (!Sees(text)) return false;
  rest_.remove_prefix(text.size());
  SkipBlanks();
  return true;
}

std::string_view TextScanner::TakeWord() {
  const std::string_view word =
      rest_.substr(0, std::min(rest_.find_first_not_of(kWordCharacters), rest_.size()));
  rest_.remove_prefix(word.size());
  SkipBlanks();
  return word;
}

bool TextScanner::TakeCharacter(char& c, std::string& problem) {
  const auto byte = static_cast<unsigned char>(rest_.front());
  if (byte == '\\') {
    const char escaped = rest_.size() < 2 ? '\0' : rest_[1];
    if (escaped == '"' || escaped == '\\' || escaped == 'n') {
      c = escaped == 'n' ? '\n' : escaped;
      rest_.remove_prefix(2);
      return true;
    }
    const auto high = rest_.size() < 4 ? std::nullopt : HexDigit(rest_[2]);
    const auto low = rest_.size() < 4 ? std::nullopt : HexDigit(rest_[3]);
    if (escaped != 'x' || !high || !low) {
      problem = "an escape is \\\", \\\\, \\n or \\x and two digits of a hexadecimal number";
      return false;
    }
    c = static_cast<char>(*high * 16 + *low);
    rest_.remove_prefix(4);
    return true;
  }
  if (byte < 0x80) {
    c = rest_.front();
    rest_.remove_prefix(1);
    return true;
  }
  // The file is UTF-8, and a name is Latin-1: the characters that are in both.
  const auto second = rest_.size() < 2 ? 0U : static_cast<unsigned char>(rest_[1]);
  if ((byte != 0xC2 && byte != 0xC3) || (second & 0xC0U) != 0x80) {
    problem = "a character that is not in Latin-1, or not UTF-8";
    return false;
  }
  c = static_cast<char>((byte & 3U) << 6 | (second & 0x3FU));
  rest_.remove_prefix(2);
  return true;
}

bool TextScanner::TakeQuotedPart(std::string& text, std::string& problem) {
  if (!Sees("\"")) {
    problem = "a text in quotes is missing before " + Next();
    return false;
  }
  rest_.remove_prefix(1);
  while (!rest_.empty() && rest_.front() != '"') {
    char c = 0;
    if (!TakeCharacter(c, problem)) return false;
    text += c;
  }
  if (!Take("\"")) {
    problem = "the closing quote is missing";
    return false;
  }
  return true;
}

bool TextScanner::TakeText(std::string& text, std::string& problem) {
  text.clear();
  do {
    std::string part;
    if (!TakeQuotedPart(part, problem)) return false;
    std::size_t times = 1;
    if (Take("*")) {
      const std::optional<std::int64_t> given = PlainNumberIn(TakeWord());
      if (!given || *given < 0) {
        problem = "how often a text is repeated is a number";
        return false;
      }
      times = static_cast<std::size_t>(std::min<std::int64_t>(*given, kLongestText + 1));
    }
    if (text.size() + part.size() * times > kLongestText) {
      problem = "a text is longer than " + std::to_string(kLongestText) + " bytes";
      return false;
    }
    for (; times != 0; --times) text += part;
  } while (Take("+"));
  return true;
}

std::optional<DateStamp> TextScanner::TakeRawDate() {
  const std::string_view all = rest_;
  std::array<std::int32_t, 3> numbers{};
  Take("{");
  bool is_date = true;
  for (std::int32_t& number : numbers) {
    const std::string_view word = TakeWord();
    const char* const end = word.data() + word.size();
    const auto [stop, problem] = std::from_chars(word.data(), end, number);
    is_date = is_date && problem == std::errc() && stop == end;
  }
  if (is_date && Take("}")) return DateStamp{numbers[0], numbers[1], numbers[2]};
  rest_ = all;
  return std::nullopt;
}

std::optional<DateStamp> TextScanner::TakeDate() {
  using std::chrono::sys_days;
  using std::chrono::year;
  if (Sees("{")) return TakeRawDate();
  const auto all = NumbersIn<6>(rest_, kDateShape);
  if (!all) return std::nullopt;
  const auto [y, month, d, hour, minute, second] = *all;
  const std::string_view before = rest_;
  rest_.remove_prefix(kDateShape.size());
  int ticks = 0;
  if (const auto given = NumbersIn<2>(rest_, ".dd")) {
    ticks = (*given)[1];
    rest_.remove_prefix(3);
  }
  SkipBlanks();
  const std::chrono::year_month_day day(year(y), std::chrono::month(static_cast<unsigned>(month)),
                                        std::chrono::day(static_cast<unsigned>(d)));
  const bool is_moment =
      day.ok() && y >= 1978 && hour < 24 && minute < 60 && second < 60 && ticks < 50;
  if (!is_moment) {
    rest_ = before;
    return std::nullopt;
  }
  const auto days = (sys_days(day) - sys_days(year(1978) / 1 / 1)).count();
  return DateStamp{static_cast<std::int32_t>(days), hour * 60 + minute, second * 50 + ticks};
}

bool TextScanner::SeesDate() const {
  return NumbersIn<6>(rest_, kDateShape).has_value();
}

std::string TextScanner::Next() const {
  if (IsAtEnd()) return "the end of the line";
  constexpr std::size_t kShown = 24;
  return Quoted(rest_.substr(0, kShown));
}

}  // namespace quorle::explore
