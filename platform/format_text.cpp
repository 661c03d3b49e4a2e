#include "platform/format_text.h"

#include "platform/error_texts.h"

namespace quorle {
namespace {

constexpr std::size_t kMostDigits = 20;  // of a 64-bit number in decimal

std::size_t LengthOf(const char* text) {
  std::size_t length = 0;
  while (text[length] != '\0') ++length;
  return length;
}

class Formatter {
 public:
  explicit Formatter(TextSink& sink) : sink_(sink) {}

  std::size_t count() const { return count_; }

  void Put(char c) {
    sink_.Put(c);
    ++count_;
  }

  void Text(const Conversion& conversion, const char* text) {
    if (text == nullptr) text = "";
    std::size_t length = LengthOf(text);
    if (conversion.has_limit && conversion.limit < length) length = conversion.limit;
    Padded(conversion, text, length);
  }

  void Number(const Conversion& conversion, std::int64_t value) {
    bool negative = false;
    std::uint64_t magnitude = 0;
    switch (conversion.length) {
      case ConversionLength::kShort:
        magnitude = static_cast<std::uint16_t>(value);
        negative = static_cast<std::int16_t>(value) < 0;
        if (conversion.type == 'd' && negative) magnitude = 0x10000 - magnitude;
        break;
      case ConversionLength::kLong:
        magnitude = static_cast<std::uint32_t>(value);
        negative = static_cast<std::int32_t>(value) < 0;
        if (conversion.type == 'd' && negative) magnitude = 0x100000000 - magnitude;
        break;
      default:
        magnitude = static_cast<std::uint64_t>(value);
        negative = value < 0;
        if (conversion.type == 'd' && negative) magnitude = ~magnitude + 1;
        break;
    }
    const std::uint64_t base = conversion.type == 'x' ? 16 : 10;
    char digits[kMostDigits + 1];
    std::size_t at = sizeof digits;
    do {
      digits[--at] = "0123456789abcdef"[magnitude % base];
      magnitude /= base;
    } while (magnitude != 0);
    std::size_t length = sizeof digits - at;
    if (conversion.type != 'd') negative = false;

    if (conversion.zeros && !conversion.left) {
      if (negative) Put('-');
      for (std::size_t n = length + (negative ? 1 : 0); n < conversion.width; ++n) Put('0');
      for (; at < sizeof digits; ++at) Put(digits[at]);
      return;
    }
    if (negative) {
      digits[--at] = '-';
      ++length;
    }
    Padded(conversion, digits + at, length);
  }

  void Character(const Conversion& conversion, std::int64_t value) {
    const char c = static_cast<char>(static_cast<unsigned char>(value));
    Padded(conversion, &c, 1);
  }

  /// The text of an error code, each '%' of it left out.
  void Error(const Conversion& conversion, std::int32_t code) {
    char text[80] = "";
    std::size_t length = 0;
    const char* const known = ErrorText(code);
    if (known != nullptr) {
      for (const char* p = known; *p != '\0' && length < sizeof text - 1; ++p) {
        if (*p != '%') text[length++] = *p;
      }
    } else if (code != 0) {
      for (const char* p = "Error code "; *p != '\0'; ++p) text[length++] = *p;
      length += Decimal(code, text + length);
    }
    text[length] = '\0';
    Text(conversion, text);
  }

 private:
  /// Writes `value` without a zero at its end; returns the number of characters.
  static std::size_t Decimal(std::int32_t value, char* out) {
    char digits[kMostDigits];
    std::size_t at = sizeof digits;
    std::int64_t left = value < 0 ? -std::int64_t{value} : value;
    do {
      digits[--at] = static_cast<char>('0' + left % 10);
      left /= 10;
    } while (left != 0);
    if (value < 0) digits[--at] = '-';
    const std::size_t length = sizeof digits - at;
    for (std::size_t i = 0; i < length; ++i) out[i] = digits[at + i];
    return length;
  }

  void Padded(const Conversion& conversion, const char* text, std::size_t length) {
    const std::size_t blanks = length < conversion.width ? conversion.width - length : 0;
    if (!conversion.left) Blanks(blanks);
    sink_.PutArgument(text, length);
    count_ += length;
    if (conversion.left) Blanks(blanks);
  }

  void Blanks(std::size_t count) {
    for (; count > 0; --count) Put(' ');
  }

  TextSink& sink_;
  std::size_t count_ = 0;
};

void Convert(Formatter& out, const Conversion& conversion, const FormatArgument& argument) {
  const bool is_text = argument.kind == ArgumentKind::kText;
  if (conversion.type == 's') {
    if (is_text) out.Text(conversion, argument.text);
  } else if (!is_text) {
    if (conversion.type == 'c') {
      out.Character(conversion, argument.number);
    } else {
      out.Number(conversion, argument.number);
    }
  }
}

}  // namespace

std::size_t FormatText(const char* format, const FormatArgument* args, std::size_t count,
                       ErrorArguments error, TextSink& sink) {
  Formatter out(sink);
  std::size_t used = 0;
  while (*format != '\0') {
    if (*format != '%') {
      out.Put(*format++);
      continue;
    }
    const Conversion conversion = ReadConversion(format);
    format = conversion.end;
    if (!conversion.valid || conversion.type == '%') {
      out.Put('%');
    } else if (conversion.TakesArgument()) {
      if (used < count) Convert(out, conversion, args[used]);
      ++used;
    } else if (error.expand) {
      if (conversion.type == 'm') {
        out.Error(conversion, error.code);
      } else {
        Conversion decimal = conversion;
        decimal.type = 'd';
        decimal.length = ConversionLength::kLong;
        out.Number(decimal, error.code);
      }
    }
  }
  return out.count();
}

}  // namespace quorle
