#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "selftest/support/test_bench.h"

namespace quorle::selftest {

/// Whether QUORLE_APPROVE, a list with commas or "all", names `name`: what comes of it is written in place
/// of being compared.
bool IsToBeApproved(std::string_view name);

/// What is kept of all deviations, a block each: a line "== NAME", then the outcomes; a line "in" says
/// in which settings, the text stands behind "|" as in a transcript.
class KeptOutcomes {
 public:
  /// The file `path`, whose blocks stand in the order of `names`, all there are. Throws std::runtime_error
  /// when it cannot be read.
  KeptOutcomes(std::filesystem::path path, std::vector<std::string> names);

  /// Null when there is none of that name.
  const std::string* Find(std::string_view name) const;
  /// Makes `outcomes` those of `name`, and writes the file.
  void Approve(std::string_view name, const std::string& outcomes);
  /// The first name that belongs to no deviation; empty when there is none.
  std::string Stale() const;

 private:
  std::filesystem::path path_;
  std::vector<std::string> names_;
  std::map<std::string, std::string, std::less<>> blocks_;
};

/// The volumes object by object. Whether one reports that it is being validated is left out, since a
/// deviation may show that; whether it is write-protected is not.
std::string VolumesOf(TestBench& bench);

/// A text as one line, without styles.
std::string OneLine(const std::string& text);

}  // namespace quorle::selftest
