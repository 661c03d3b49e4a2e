#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "results/run_conditions.h"
#include "results/verdict.h"

namespace quorle {

/// What some editors write at the start of a file.
inline constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// A part of a text: from byte `begin` to before byte `end`.
struct TextPart {
  std::size_t begin = 0;
  std::size_t end = 0;
};

/// One [[expect]] of a file of expectations.
struct ExpectationEntry {
  std::string check;  ///< an id, or a pattern
  std::vector<Verdict> verdicts;
  std::optional<std::int32_t> code;  ///< that a diagnostic must show
  RunConditions when;
  std::string reason;

  std::size_t number = 0;      ///< of the entry in its file, from 1
  std::size_t line = 0;        ///< of its [[expect]], from 1
  std::size_t check_line = 0;  ///< of its key "check"
  TextPart body;               ///< from [[expect]] to the end of the line of its last key
  TextPart verdict_value;      ///< what stands behind "verdict ="
  bool verdict_is_list = false;
  TextPart last_verdict;  ///< the last one of a list
  TextPart code_value;    ///< what stands behind "code ="; empty without one

  /// Whether it names checks by a pattern, not one by its id.
  bool is_pattern() const { return check.find_first_of("*?[\\") != std::string::npos; }
  /// Whether its reason is what --bless writes for want of one.
  bool is_todo() const { return reason == "TODO"; }
  bool Lists(Verdict verdict) const;
};

/// One [[difference]] of a file: what `quorle explore` may find.
struct ExpectedDifference {
  std::string id;
  std::string reason;
  std::size_t line = 0;  ///< of its [[difference]], from 1
};

/// A file of expectations as it is written, with the places of its parts.
struct ExpectationFile {
  std::string path;
  std::string text;
  bool strict = false;
  std::vector<ExpectationEntry> entries;
  std::vector<ExpectedDifference> differences;
};

/// Reads `text`, the content of the file `path`: all that can be seen without knowing which checks there
/// are. False, with `problem` one line that names file, line and entry, when it is wrong.
bool ParseExpectations(const std::string& path, std::string text, ExpectationFile& file,
                       std::string& problem);

/// Reads the file `path` into `text`. False, with `problem` one line, when it cannot be read or is larger
/// than any file of expectations.
bool ReadExpectationText(const std::string& path, std::string& text, std::string& problem);

/// The reasons of the [[difference]] of the file `path`, by their ids. False, with `problem` one line, when it
/// cannot be read or is wrong.
bool ReadExpectedDifferences(const std::string& path, std::map<std::string, std::string>& reasons,
                             std::string& problem);

/// "quorle.toml:12"
std::string LineOf(const std::string& path, std::size_t line);

/// "quorle.toml:12: entry 3 (Lock.MissingObject): " and `what`, which is wrong with it.
std::string EntryProblem(const std::string& path, std::size_t line, const ExpectationEntry& entry,
                         std::string_view what);

/// `text` in quotes, on one line and not long, as a message names what a file has.
std::string QuotedBriefly(std::string_view text);

/// `text` with its control characters shown as question marks.
std::string OnOneLine(std::string_view text);

}  // namespace quorle
