#include "selftest/sweep/console_lines.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace quorle::selftest {
namespace {

/// What a message starts with.
constexpr std::string_view kClasses[] = {"ERROR", "WARN:", "INFO:", "CLEANUP ERROR["};

/// Lines that stand for themselves: the opening, refusals, the closing lines of a run.
constexpr std::string_view kOfTheRun[] = {
    "Starting tests for Device Name= ",
    "Host Filesystem = ",
    "----- NOTE: ",
    "You need dos.library 53.90+",
    "Error: Test number must",
    "Error: First test number must",
    "Error: Last test number must",
    "BREAK ^C - Aborting...",
    "Error - Aborting...",
    "This dos.library does not have the calls of the further tests",
};

/// What goes on with a message is indented by seven blanks, and one line by six.
constexpr std::string_view kIndent = "      ";

constexpr std::string_view kPassed = " tests passed.";

template <std::size_t count>
bool StartsWithOneOf(std::string_view line, const std::string_view (&starts)[count]) {
  return std::any_of(std::begin(starts), std::end(starts),
                     [line](std::string_view start) { return line.starts_with(start); });
}

/// "Lock() tests passed.", "Soft links tests passed."
bool IsPassed(std::string_view line) {
  if (!line.ends_with(kPassed)) return false;
  line.remove_suffix(kPassed.size());
  return !line.empty() && line.find_first_of(".:\"") == std::string_view::npos;
}

/// Whether the usage text: its two head lines, and the numbered list.
bool IsUsage(std::string_view line) {
  if (line.starts_with("Quorle ") || line.starts_with("Conformance tester ")) return true;
  while (line.starts_with('\r') || line.starts_with(' ')) line.remove_prefix(1);
  const std::size_t digits = line.find_first_not_of("0123456789");
  return digits > 0 && digits != std::string_view::npos && line.substr(digits).starts_with(":   ");
}

}  // namespace

std::string LineWithoutClass(std::string_view output) {
  bool italic = false;
  bool in_message = false;
  while (!output.empty()) {
    const std::string_view raw = output.substr(0, output.find('\n'));
    output.remove_prefix(std::min(raw.size() + 1, output.size()));
    // Styles: "\e[1m", "\e[3m", "\e[0m". A line is a note when it starts in italics.
    std::string line;
    bool is_note = italic;
    for (std::size_t i = 0; i < raw.size(); ++i) {
      if (raw.substr(i, 2) == "\033[") {
        italic = raw[i + 2] == '3';
        if (line.empty()) is_note = italic;
        i += 3;
      } else if (raw[i] != '\f' && raw[i] != '\r') {
        line += raw[i];
      }
    }
    if (line.empty() || is_note) continue;
    if (StartsWithOneOf(line, kClasses)) {
      in_message = true;
    } else if (StartsWithOneOf(line, kOfTheRun) || IsPassed(line) || IsUsage(line)) {
      in_message = false;
    } else if (!in_message || !line.starts_with(kIndent)) {
      return line;
    }
  }
  return {};
}

}  // namespace quorle::selftest
