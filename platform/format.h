#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

/// Messages and their arguments, and the check that they belong together. The check is made by the
/// compiler, at the line of the message: a literal with a wrong argument does not build.
///
/// A conversion is `%[-][0][width][.limit][l|ll|h]type`. Types: s (text), d u x c (numbers; without
/// `l` only their low 16 bits count), `%%`, and the two that take no argument: `%n`, the number of
/// the current error, and `%m`, its text.
namespace quorle {

/// What an argument of a message is.
enum class ArgumentKind : std::uint8_t {
  kText,        ///< zero-ended text; null prints as nothing
  kNumber,      ///< an integer of up to 32 bits
  kWideNumber,  ///< an integer of 64 bits
};

template <class T>
consteval ArgumentKind KindOf() {
  if constexpr (std::is_convertible_v<const T&, const char*>) {
    return ArgumentKind::kText;
  } else {
    static_assert(std::is_integral_v<T> || std::is_enum_v<T>,
                  "a message prints texts and integers");
    return sizeof(T) > 4 ? ArgumentKind::kWideNumber : ArgumentKind::kNumber;
  }
}

/// One argument of a message, as it travels to the platform.
struct FormatArgument {
  ArgumentKind kind = ArgumentKind::kNumber;
  union {
    const char* text;
    std::int64_t number = 0;
  };

  constexpr FormatArgument() = default;
  template <class T>
  explicit constexpr FormatArgument(const T& value) : kind(KindOf<T>()) {
    if constexpr (KindOf<T>() == ArgumentKind::kText) {
      text = value;
    } else {
      number = static_cast<std::int64_t>(value);
    }
  }
};

/// Length modifiers of a conversion.
enum class ConversionLength : std::uint8_t { kShort, kLong, kWide };

/// One conversion of a message, read.
struct Conversion {
  bool valid = false;       ///< false: not a conversion; `end` is one past the '%'
  bool left = false;        ///< '-': pad on the right
  bool zeros = false;       ///< '0': pad numbers with zeros
  std::uint32_t width = 0;  ///< least number of characters, at most kMaxWidth
  std::uint32_t limit = 0;  ///< most characters of a text; only when has_limit
  bool has_limit = false;
  ConversionLength length = ConversionLength::kShort;
  char type = 0;              ///< one of s d u x c % n m
  const char* end = nullptr;  ///< one past the conversion

  static constexpr std::uint32_t kMaxWidth = 9999;

  /// Whether it consumes an argument.
  constexpr bool TakesArgument() const {
    return valid && type != '%' && type != 'n' && type != 'm';
  }
};

/// Reads the conversion that `at` points to (at its '%'). Widths and limits above kMaxWidth make it
/// invalid. Works on any zero-ended text.
constexpr Conversion ReadConversion(const char* at) {
  Conversion result;
  const char* p = at + 1;
  result.end = p;
  if (*p == '-') {
    result.left = true;
    ++p;
  }
  if (*p == '0') {
    result.zeros = true;
    ++p;
  }
  for (; *p >= '0' && *p <= '9'; ++p) {
    result.width = result.width * 10 + static_cast<std::uint32_t>(*p - '0');
    if (result.width > Conversion::kMaxWidth) return result;
  }
  if (*p == '.') {
    result.has_limit = true;
    ++p;
    for (; *p >= '0' && *p <= '9'; ++p) {
      result.limit = result.limit * 10 + static_cast<std::uint32_t>(*p - '0');
      if (result.limit > Conversion::kMaxWidth) return result;
    }
  }
  if (p[0] == 'l' && p[1] == 'l') {
    result.length = ConversionLength::kWide;
    p += 2;
  } else if (*p == 'l') {
    result.length = ConversionLength::kLong;
    ++p;
  } else if (*p == 'h') {
    ++p;
  }
  switch (*p) {
    case 's':
    case 'd':
    case 'u':
    case 'x':
    case 'c':
    case '%':
    case 'n':
    case 'm':
      result.type = *p;
      result.valid = true;
      result.end = p + 1;
      break;
    default:
      break;
  }
  return result;
}

/// Not constexpr on purpose: a consteval check that gets here stops the build at the message.
inline void MessageDoesNotMatchItsArguments() {}

/// A message literal whose conversions were compared with the arguments `Args` when it was compiled:
/// as many as there are conversions, "%s" for texts, "%l." for numbers, "%ll." for 64-bit numbers.
template <class... Args>
struct CheckedFormat {
  const char* text;

  consteval CheckedFormat(const char* literal) : text(literal) {  // NOLINT: converts on purpose
    constexpr std::size_t count = sizeof...(Args);
    const ArgumentKind kinds[count + 1] = {KindOf<Args>()..., ArgumentKind::kText};
    std::size_t used = 0;
    for (const char* p = literal; *p != '\0';) {
      if (*p != '%') {
        ++p;
        continue;
      }
      const Conversion conversion = ReadConversion(p);
      if (!conversion.valid) MessageDoesNotMatchItsArguments();
      p = conversion.end;
      if (!conversion.TakesArgument()) continue;
      if (used == count) MessageDoesNotMatchItsArguments();
      const ArgumentKind wanted = conversion.type == 's' ? ArgumentKind::kText
                                  : conversion.length == ConversionLength::kWide
                                      ? ArgumentKind::kWideNumber
                                      : ArgumentKind::kNumber;
      if (conversion.type != 's' && conversion.length == ConversionLength::kShort) {
        MessageDoesNotMatchItsArguments();  // 16-bit conversions are not for the tester's messages
      }
      if (kinds[used] != wanted) MessageDoesNotMatchItsArguments();
      ++used;
    }
    if (used != count) MessageDoesNotMatchItsArguments();
  }
};

}  // namespace quorle
