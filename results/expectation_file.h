#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "results/run_conditions.h"
#include "results/verdict.h"

namespace quorle {

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

  std::size_t number = 0;  ///< from 1
  std::size_t line = 0;    ///< of its [[expect]], from 1
  std::size_t check_line = 0;
  TextPart body;           ///< from [[expect]] to the end of the line of its last key
  TextPart verdict_value;  ///< what stands behind `verdict =`
  bool verdict_is_list = false;
  TextPart last_verdict;  ///< of a list the last one in it
  TextPart code_value;    ///< what stands behind `code =`; empty without one

  /// Whether it names checks by a pattern, not one by its id.
  bool is_pattern() const;
  bool Lists(Verdict verdict) const;
  bool is_todo() const;
};

/// A file of expectations as it is written, with the places of its parts.
struct ExpectationFile {
  std::string path;
  std::string text;
  bool strict = false;
  std::vector<ExpectationEntry> entries;
};

/// Reads `text`, the content of the file `path`: what can be seen without knowing which checks there are.
/// False, with `problem` one line that names file, line and entry, when it is wrong.
bool ParseExpectations(const std::string& path, std::string text, ExpectationFile& file,
                       std::string& problem);

/// "quorle.toml:12: entry 3 (Lock.MissingObject): " before what is wrong with it.
std::string EntryProblem(const ExpectationFile& file, const ExpectationEntry& entry,
                         std::size_t line, std::string_view what);

/// Reads the file `path` into `text`. False, with `problem` one line, when it cannot be read or is larger
/// than any file of expectations.
bool ReadExpectationText(const std::string& path, std::string& text, std::string& problem);

}  // namespace quorle
