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

/// "54.2"
std::string VersionText(VersionNumber version);

/// Reads a DOS type: "0x444F5303", one to eight hexadecimal digits.
std::optional<std::uint32_t> ReadDosType(std::string_view text);

/// What a run says of itself that an expectation can depend on. Nothing and empty: it does not say.
struct RunFacts {
  std::string port;     ///< "vector", "packet", "classic"
  std::string handler;  ///< "ram", "plugin"
  std::optional<std::uint32_t> dostype;
  std::optional<VersionNumber> version;

  friend bool operator==(const RunFacts&, const RunFacts&) = default;
};

RunFacts FactsOf(const RunRecord& run);

/// For which runs an expectation is there: all of what is given must hold.
struct RunConditions {
  static constexpr VersionNumber kNewest = std::numeric_limits<VersionNumber>::max();

  std::string port;                      ///< empty: any
  std::string handler;                   ///< empty: any
  std::optional<std::uint32_t> dostype;  ///< nothing: any
  VersionNumber oldest = 0;              ///< of the versions that fit
  VersionNumber newest = kNewest;        ///< of the versions that fit

  bool has_versions() const { return oldest != 0 || newest != kNewest; }
  /// Whether they hold. What a run does not say of itself fits no condition on it.
  bool Hold(const RunFacts& run) const;
  /// Whether a run is possible for which both hold.
  bool Overlap(const RunConditions& other) const;

  friend bool operator==(const RunConditions&, const RunConditions&) = default;
};

/// Narrows the versions of `conditions` to those that `text` names: one or several of "<54.2", "<=54.2",
/// ">54.2", ">=54.2", "=54.2" and "54.2", blanks or commas between them; all must hold. False, with
/// `problem` filled, for another text and for one that no version fits.
bool ReadVersions(std::string_view text, RunConditions& conditions, std::string& problem);

}  // namespace quorle
