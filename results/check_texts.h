#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace quorle {

/// What follows in a check when a line of one of its messages was printed.
enum class TextEffect : std::uint8_t {
  kPasses,       ///< the line does not fail the check
  kFails,        ///< the check fails; it may print another message
  kEnds,         ///< the check fails and prints no other message, but for those of its releases
  kStops,        ///< so it does, and it ends its group
  kReleases,     ///< printed by the releases, which decide nothing
  kUnsupported,  ///< the runner's note on a check that ended its group with 209
  kSkips,        ///< a group's note that none of its checks is run
};

/// A line that a check can print. Made from the sources of tests/ and harness/ when the program is built.
struct CheckText {
  std::string_view line;   ///< without blanks at its ends; kAnyText stands for an argument
  std::string_view check;  ///< "Lock.MissingObject"
  TextEffect effect = TextEffect::kPasses;
  std::size_t breaks = 1;  ///< how many line breaks are printed with it
};

/// Stands for any text within a line, be it empty.
inline constexpr char kAnyText = '\x01';

/// All of them, sorted by their line.
std::span<const CheckText> CheckTexts();

/// Whether `line` is `pattern`, in which kAnyText stands for any text.
bool FitsText(std::string_view pattern, std::string_view line);

}  // namespace quorle
