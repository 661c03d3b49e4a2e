#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorle::selftest {

/// How one run is set up, and what it must print.
struct Case {
  std::string name;                ///< GROUP/CASE
  std::vector<std::string> words;  ///< of the command line
  std::string rules;               ///< what misbehaves
  /// What it prints and its process result, as text; none when only the calls count.
  std::optional<std::string> output;
  std::optional<std::string> result;
  /// A call returns a count of data that it did not store: what the trace shows of them is what was in
  /// the tester's buffer by chance.
  bool data_by_chance = false;
};

/// The words that stand for a file with the cases of DeviationCases(): all of them, and for each deviation
/// one, with the kinds of port by turns.
inline constexpr std::string_view kDeviations = "deviations";
inline constexpr std::string_view kDeviationsByTurns = "deviations-by-turns";

/// The cases of a file of transcripts, or those that one of the words above stands for.
std::vector<Case> ReadCases(const std::string& file);

/// The whole catalogue against a volume that misbehaves, once for each known way and kind of port.
/// What it prints is kept elsewhere.
std::vector<Case> DeviationCases();

/// What one run did, as a text that can be compared: its result, what it printed, and every call.
std::string RunText(const Case& test, int result, const std::string& output,
                    const std::vector<std::string>& trace);

}  // namespace quorle::selftest
