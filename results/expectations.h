#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
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
    kUnexpected,    ///< did not pass, or not as an entry says
    kSurprisePass,  ///< passed, where an entry says that it does not
  };
  Type type = Type::kAsExpected;
  // Of the entry that was applied, all empty without one:
  std::string reason;             ///< why it is there
  std::string at;                 ///< where: "quorle.toml:12"
  std::string expected;           ///< its verdicts: "fail", "fail or unsupported"
  std::int32_t missing_code = 0;  ///< the code that it names, when no diagnostic shows it; else 0
  std::string entry;              ///< of a surprise pass its lines, which are to be deleted

  bool is_fine() const { return type == Type::kAsExpected || type == Type::kKnownFailure; }
};

/// What is expected of the checks: `--expect FILE`. Without a file each check shall pass, be skipped, or
/// pass with a warning.
class Expectations {
 public:
  /// Whether reasons that are still "TODO" are refused by a strict file. `--bless` reads such files.
  enum class Todo : std::uint8_t { kRefused, kRead };

  /// Reads the file `path`. `checks` are all that there are. False, with `problem` one line that names
  /// file, line and entry, for a file that cannot be read or is wrong; this object is then as it was.
  bool Load(const std::string& path, const std::vector<CheckInfo>& checks, std::string& problem);
  /// The same for `text`, the content of a file that messages call `path`.
  bool Read(const std::string& path, std::string text, const std::vector<CheckInfo>& checks,
            Todo todo, std::string& problem);

  /// How `check` of `run` came out. Of several entries that fit, one that names the check by its id goes
  /// before one that names it by a pattern. A check that was skipped is always as expected: nobody
  /// tried it. `blocked` never is.
  Judgement Judge(const RunRecord& run, const CheckEvent& check) const;
  /// A line for each entry whose reason is still "TODO": "quorle.toml:12: Lock.MissingObject: ...".
  std::vector<std::string> TodoLines() const;
  /// Whether a warning is not expected either, and a reason "TODO" refused.
  bool strict() const { return file_.strict; }

  /// The file as it was read.
  const ExpectationFile& file() const { return file_; }
  /// The entry that is applied to the check `id` of `run`: its index in file().entries. kNone without.
  std::size_t EntryFor(const RunRecord& run, const std::string& id) const;
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

 private:
  ExpectationFile file_;
  /// By the id of a check the entries that name it, those by its id first.
  std::map<std::string, std::vector<std::size_t>, std::less<>> by_id_;
};

}  // namespace quorle
