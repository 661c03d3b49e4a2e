#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace quorle {

/// What became of a check or a group. In the order in which the worst of several is chosen: the last
/// is the worst.
enum class Verdict : std::uint8_t {
  kNote,         ///< a row without checks; groups only
  kSkipped,      ///< not selected, not reached, or nothing to do on this volume
  kPass,         ///< passed
  kWarn,         ///< passed, with a warning
  kUnsupported,  ///< the filesystem does not know the operation
  kBlocked,      ///< could not be tried, because of something else that is named
  kFail,         ///< failed
};

inline constexpr std::size_t kVerdictCount = 7;

/// Their names, as every file and report has them.
inline constexpr std::array<std::string_view, kVerdictCount> kVerdictNames = {
    "note", "skipped", "pass", "warn", "unsupported", "blocked", "fail"};

/// "pass", "fail" ...
constexpr std::string_view NameOf(Verdict verdict) {
  return kVerdictNames[static_cast<std::size_t>(verdict)];
}

/// The verdict of that name, if it is one.
constexpr std::optional<Verdict> VerdictNamed(std::string_view name) {
  for (std::size_t i = 0; i < kVerdictNames.size(); ++i) {
    if (kVerdictNames[i] == name) return static_cast<Verdict>(i);
  }
  return std::nullopt;
}

}  // namespace quorle
