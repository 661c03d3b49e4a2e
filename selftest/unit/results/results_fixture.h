#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "results/check_list.h"
#include "results/expectations.h"
#include "results/run_record.h"

namespace quorle::selftest {

/// All checks of the catalogue.
const std::vector<CheckInfo>& AllChecks();

/// How a check came out; a code other than 0 is shown by an ERROR.
CheckEvent CheckOf(const std::string& id, Verdict verdict, std::int32_t code = 0,
                   const std::string& why = "");

/// A run with these checks that came to its end, on a vector port of "ram", DOS type 0x444F5309,
/// filesystem "ram-handler 53.1 (21.11.2026)".
RunRecord RunOf(std::vector<CheckEvent> checks);

/// What is wrong with a file of expectations "quorle.toml" of this text; empty when nothing is.
std::string ProblemOf(const std::string& text);

/// The expectations of a file "quorle.toml" of this text, which is right.
Expectations Expecting(const std::string& text);

/// One entry, with `keys` between its check and its reason.
std::string EntryText(const std::string& check, const std::string& keys,
                      const std::string& reason = "known");

/// A folder of its own that goes with it.
class ScratchFolder {
 public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  std::string path(const std::string& name) const { return (folder_ / name).string(); }
  /// Writes `text` into the file `name` and returns its path.
  std::string Write(const std::string& name, const std::string& text) const;
  std::string Read(const std::string& name) const;
  /// The names of the files in it, sorted.
  std::vector<std::string> Names() const;

 private:
  std::filesystem::path folder_;
};

}  // namespace quorle::selftest
