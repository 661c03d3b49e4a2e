#include "native/formatted_message.h"

#include "native/records.h"

namespace quorle::native {
namespace {

/// Writes the digits of `value` to the places before `end` and returns the first one.
char* WriteDigits(std::uint64_t value, std::uint32_t base, char* end) {
  do {
    *--end = "0123456789abcdef"[value % base];
    value /= base;
  } while (value != 0);
  return end;
}

/// The text of a 64-bit number, in the last of the `size` places of `buffer`.
const char* WideNumberText(const Conversion& conversion, std::int64_t number, char* buffer,
                           std::size_t size) {
  char* const end = buffer + size - 1;
  *end = '\0';
  const bool negative = conversion.type == 'd' && number < 0;
  const auto bits = static_cast<std::uint64_t>(number);
  char* text = WriteDigits(negative ? ~bits + 1 : bits, conversion.type == 'x' ? 16 : 10, end);
  if (negative) *--text = '-';
  return text;
}

}  // namespace

FormattedMessage::FormattedMessage(const char* format, const FormatArgument* args,
                                   std::size_t count)
    : format_(format) {
  bool has_wide_number = false;
  for (std::size_t i = 0; i < count && i < kMostWords; ++i) {
    words_[i] = args[i].kind == ArgumentKind::kText ? Word(args[i].text)
                                                    : static_cast<std::uint32_t>(args[i].number);
    has_wide_number = has_wide_number || args[i].kind == ArgumentKind::kWideNumber;
  }
  if (has_wide_number) ReplaceWideNumbers(args, count);
}

void FormattedMessage::ReplaceWideNumbers(const FormatArgument* args, std::size_t count) {
  char* out = own_format_;
  char* const last = own_format_ + kFormatSize - 1;
  std::size_t argument = 0;
  std::size_t wide_numbers = 0;
  for (const char* p = format_; *p != '\0' && out < last;) {
    if (*p != '%') {
      *out++ = *p++;
      continue;
    }
    const Conversion conversion = ReadConversion(p);
    const bool is_wide = conversion.TakesArgument() && argument < count && argument < kMostWords &&
                         args[argument].kind == ArgumentKind::kWideNumber &&
                         wide_numbers < kMostWideNumbers;
    if (is_wide) {
      words_[argument] = Word(
          WideNumberText(conversion, args[argument].number, digits_[wide_numbers++], kDigitsSize));
    }
    // "%-5lld" becomes "%-5s".
    const char* const end = is_wide ? conversion.end - sizeof "lld" + 1 : conversion.end;
    while (p != end && out < last) *out++ = *p++;
    if (is_wide && out < last) *out++ = 's';
    p = conversion.end;
    if (conversion.TakesArgument()) ++argument;
  }
  *out = '\0';
  format_ = own_format_;
}

}  // namespace quorle::native
