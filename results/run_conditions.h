#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "results/run_record.h"

namespace quorle {

/// A version and a revision as one number that compares as they do: 54.2 is (54 << 32) + 2.
using VersionNumber = std::uint64_t;

/// The version within what a filesystem calls itself: 53.1 of "ram-handler 53.1 (21.11.2026)". It is the
/// first word of the text that is two numbers with a point between them; nothing without one.
std::optional<VersionNumber> VersionIn(std::string_view text);

/// For which runs an expectation is there: all of what is given must hold.
struct RunConditions {
  std::string port;                      ///< "vector", "packet"; empty: any
  std::string handler;                   ///< "ram", "plugin"; empty: any
  std::optional<std::uint32_t> dostype;  ///< nothing: any
  VersionNumber oldest = 0;
  VersionNumber newest = std::numeric_limits<VersionNumber>::max();

  /// Whether they hold for `run`. What a run does not know of itself (a port in an imported log, a
  /// version in a text without one) fits no condition on it.
  bool Hold(const RunRecord& run) const;
  /// Whether a run is possible for which both hold.
  bool Overlap(const RunConditions& other) const;
  /// As an expectation has them behind `when =`: { port = "packet", version = "<54.2" }. Empty when they
  /// hold for every run.
  std::string ToToml() const;

  friend bool operator==(const RunConditions&, const RunConditions&) = default;
};

/// Narrows the versions of `conditions` to those that `text` names: one or several of "<54.2", "<=54.2",
/// ">54.2", ">=54.2", "=54.2" and "54.2", blanks or commas between them; all must hold. False, with
/// `problem` filled, for another text and for one that no version fits.
bool ReadVersions(std::string_view text, RunConditions& conditions, std::string& problem);

/// Reads the four characters of a DOS type as a number: "0x444F5303", one to eight digits.
std::optional<std::uint32_t> ReadDosType(std::string_view text);

}  // namespace quorle
