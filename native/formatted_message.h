#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/format.h"

namespace quorle::native {

/// A message as the list forms of the platform's formatted print take it: a format, and one 32-bit
/// word for each argument. How the platform passes 64-bit numbers is not safe between compilers:
/// they become digits here and travel as text. (A width then pads them with blanks, also where it
/// asks for zeros; the tester's messages give them none.)
class FormattedMessage {
 public:
  /// Refers to the texts among `args`, and to `format` unless a 64-bit number is among them.
  FormattedMessage(const char* format, const FormatArgument* args, std::size_t count);
  FormattedMessage(const FormattedMessage&) = delete;
  FormattedMessage& operator=(const FormattedMessage&) = delete;

  const char* format() const { return format_; }
  const std::uint32_t* words() const { return words_; }

 private:
  // More than any message of the tester has. What does not fit is left out, never written.
  static constexpr std::size_t kMostWords = 16;
  static constexpr std::size_t kMostWideNumbers = 4;
  static constexpr std::size_t kFormatSize = 512;
  static constexpr std::size_t kDigitsSize = 24;

  void ReplaceWideNumbers(const FormatArgument* args, std::size_t count);

  const char* format_;
  std::uint32_t words_[kMostWords];
  char own_format_[kFormatSize];
  char digits_[kMostWideNumbers][kDigitsSize];
};

}  // namespace quorle::native
