#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/format.h"

namespace quorle {

/// Where formatted characters go.
class TextSink {
 public:
  virtual void Put(char c) = 0;
  /// `length` characters that come from an argument or an error code, not from the format itself:
  /// they may be anything that a handler made up.
  virtual void PutArgument(const char* text, std::size_t length) {
    for (std::size_t i = 0; i < length; ++i) Put(text[i]);
  }

 protected:
  ~TextSink() = default;
};

/// What "%n" and "%m" show.
struct ErrorArguments {
  std::int32_t code = 0;
  bool expand = false;  ///< false: the two print nothing
};

/// Formats `format` with `count` arguments into `sink`, as platform/format.h describes the
/// conversions. Any text is safe: a '%' that begins no conversion is printed as it stands, and a
/// conversion whose argument is missing or of the wrong kind prints nothing. Numbers are padded with
/// zeros behind their sign; hex digits are in lower case. Returns the number of characters.
std::size_t FormatText(const char* format, const FormatArgument* args, std::size_t count,
                       ErrorArguments error, TextSink& sink);

}  // namespace quorle
