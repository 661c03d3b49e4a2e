#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "results/check_list.h"
#include "results/expectation_file.h"
#include "results/run_record.h"

namespace quorle {

/// How a check came out beside what was expected of it.
struct Judgement {
  enum class Type : std::uint8_t {
    kAsExpected,    ///< passed or printed a warning, as was expected, or was skipped
    kKnownFailure,  ///< did not pass, as an entry says
    kUnexpected,    ///< did not pass, or not in the way that an entry says
    kSurprisePass,  ///< passed, where an entry says that it does not
  };
  Type type = Type::kAsExpected;
  // Of the entry that was applied; all empty without one:
  std::string reason;             ///< why it is there
  std::string at;                 ///< where it begins: "quorle.toml:12"
  std::string expected;           ///< its verdicts: "fail", "fail or unsupported"
  std::int32_t missing_code = 0;  ///< the code that it names, when no diagnostic shows it
  std::string entry;              ///< of a surprise pass: its lines, which are to be deleted

  bool is_fine() const { return type == Type::kAsExpected || type == Type::kKnownFailure; }
};

/// Whether `check` shows the error code `code`: one of its diagnostics does, or it is unsupported and the
/// code 209, which is what unsupported means.
bool ShowsCode(const CheckEvent& check, std::int32_t code);

/// What is expected of the checks: `--expect FILE`. Without a file each check shall pass, be skipped, or
/// pass with a warning.
class Expectations {
 public:
  /// What a strict file does with reasons that are still "TODO"; --bless reads such a file.
  enum class StrictTodo : std::uint8_t { kRefused, kRead };

  /// Reads the file `path`. `checks` are all that there are. False, with `problem` one line that names
  /// file, line and entry, for a file that cannot be read or is wrong; this object is then as it was.
  bool Load(const std::string& path, const std::vector<CheckInfo>& checks, std::string& problem);
  /// The same for `text`, the content of the file `path`.
  bool Read(const std::string& path, std::string text, const std::vector<CheckInfo>& checks,
            std::string& problem, StrictTodo todo = StrictTodo::kRefused);

  /// How `check` of `run` came out. An entry that names the check by its id goes before one that names
  /// it by a pattern. A check that was skipped is always as expected, since nobody tried it; one that is
  /// blocked never is.
  Judgement Judge(const RunRecord& run, const CheckEvent& check) const;
  /// A line for each entry whose reason is still "TODO".
  std::vector<std::string> TodoLines() const;

  /// The file as it was read; without entries when none was.
  const ExpectationFile& file() const { return file_; }
  /// The entries that are for the check `id` of such a run, as indices of file().entries. The first is
  /// the one that is applied.
  std::vector<std::size_t> EntriesFor(const RunFacts& run, const std::string& id) const;
  /// Whether a check with this verdict is as expected when there is no entry for it.
  bool IsFineWithoutEntry(Verdict verdict) const;

 private:
  const std::vector<std::size_t>& Candidates(const std::string& id) const;

  ExpectationFile file_;
  /// The entries that name a check, by its id; those that name it by its id come first.
  std::map<std::string, std::vector<std::size_t>> by_check_;
  /// The entries that name checks by a pattern: for a check of another version of the program.
  std::vector<std::size_t> patterns_;
};

}  // namespace quorle
