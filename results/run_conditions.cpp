#include "results/run_conditions.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <system_error>

namespace quorle {
namespace {

constexpr std::string_view kWordBreaks = " \t\r\n";
constexpr int kHex = 16;

/// The version at the start of `text`, which becomes what stands behind it. Nothing when none is there.
std::optional<VersionNumber> TakeVersion(std::string_view& text) {
  const char* const end = text.data() + text.size();
  std::uint32_t version = 0;
  std::uint32_t revision = 0;
  const auto first = std::from_chars(text.data(), end, version);
  if (first.ec != std::errc() || first.ptr == end || *first.ptr != '.') return std::nullopt;
  const auto second = std::from_chars(first.ptr + 1, end, revision);
  if (second.ec != std::errc()) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(second.ptr - text.data()));
  return (VersionNumber{version} << 32) | revision;
}

/// Removes what of `characters` is at the start of `text`.
void SkipAny(std::string_view characters, std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(characters), text.size()));
}

/// The comparison at the start of `text`, taken from it: "<", "<=", ">", ">=", "="; "=" without one.
std::string_view TakeComparison(std::string_view& text) {
  for (const std::string_view comparison : {"<=", ">=", "<", ">", "="}) {
    if (!text.starts_with(comparison)) continue;
    text.remove_prefix(comparison.size());
    return comparison;
  }
  return "=";
}

/// Narrows `conditions` to the versions for which `comparison` with `version` holds. False when there
/// can be none.
bool NarrowVersions(std::string_view comparison, VersionNumber version, RunConditions& conditions) {
  if (comparison == "<" && version == 0) return false;
  if (comparison == ">" && version == RunConditions::kNewest) return false;
  VersionNumber oldest = 0;
  VersionNumber newest = RunConditions::kNewest;
  if (comparison == "<") newest = version - 1;
  if (comparison == ">") oldest = version + 1;
  if (comparison == "<=" || comparison == "=") newest = version;
  if (comparison == ">=" || comparison == "=") oldest = version;
  conditions.oldest = std::max(conditions.oldest, oldest);
  conditions.newest = std::min(conditions.newest, newest);
  return conditions.oldest <= conditions.newest;
}

bool CanBothBe(const std::string& one, const std::string& other) {
  return one.empty() || other.empty() || one == other;
}

}  // namespace

std::optional<VersionNumber> VersionIn(std::string_view text) {
  for (SkipAny(kWordBreaks, text); !text.empty(); SkipAny(kWordBreaks, text)) {
    const std::string_view word = text.substr(0, text.find_first_of(kWordBreaks));
    std::string_view rest = word;
    const std::optional<VersionNumber> version = TakeVersion(rest);
    if (version && (rest.empty() || rest == "," || rest == ";")) return version;
    text.remove_prefix(word.size());
  }
  return std::nullopt;
}

std::string VersionText(VersionNumber version) {
  return std::to_string(version >> 32) + "." + std::to_string(version & 0xFFFFFFFF);
}

std::optional<std::uint32_t> ReadDosType(std::string_view text) {
  constexpr std::size_t kPrefix = 2;
  constexpr std::size_t kMostDigits = 8;
  if (!text.starts_with("0x") && !text.starts_with("0X")) return std::nullopt;
  text.remove_prefix(kPrefix);
  const char* const end = text.data() + text.size();
  std::uint32_t value = 0;
  const auto [stop, problem] = std::from_chars(text.data(), end, value, kHex);
  const bool is_number = problem == std::errc() && stop == end && text.size() <= kMostDigits;
  return is_number ? std::optional(value) : std::nullopt;
}

RunFacts FactsOf(const RunRecord& run) {
  RunFacts facts;
  facts.port = run.start.port;
  facts.handler = run.start.handler;
  if (run.target) {
    facts.dostype = ReadDosType(run.target->dostype);
    facts.version = VersionIn(run.target->filesystem);
  }
  return facts;
}

bool RunConditions::Hold(const RunFacts& run) const {
  if (!port.empty() && port != run.port) return false;
  if (!handler.empty() && handler != run.handler) return false;
  if (dostype && dostype != run.dostype) return false;
  return !has_versions() || (run.version && *run.version >= oldest && *run.version <= newest);
}

bool RunConditions::Overlap(const RunConditions& other) const {
  return CanBothBe(port, other.port) && CanBothBe(handler, other.handler) &&
         (!dostype || !other.dostype || dostype == other.dostype) &&
         std::max(oldest, other.oldest) <= std::min(newest, other.newest);
}

bool ReadVersions(std::string_view text, RunConditions& conditions, std::string& problem) {
  const std::string whole(text);
  const std::string breaks = std::string(kWordBreaks) + ",";
  bool has_one = false;
  for (SkipAny(breaks, text); !text.empty(); SkipAny(breaks, text)) {
    const std::string_view comparison = TakeComparison(text);
    SkipAny(kWordBreaks, text);
    const std::optional<VersionNumber> version = TakeVersion(text);
    const bool is_whole = text.empty() || breaks.find(text.front()) != std::string::npos;
    if (!version || !is_whole) {
      has_one = false;
      break;
    }
    has_one = true;
    if (!NarrowVersions(comparison, *version, conditions)) {
      problem = "no version is \"" + whole + "\"";
      return false;
    }
  }
  if (!has_one) {
    problem =
        "\"" + whole + "\" does not compare with a version, as \"<54.2\" and \">=53.1, <54.2\" do";
  }
  return has_one;
}

}  // namespace quorle
