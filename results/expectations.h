#pragma once

#include <cstdint>
#include <string>

#include "results/run_record.h"

namespace quorle {

/// How a check came out beside what was expected of it.
struct Judgement {
  enum class Type : std::uint8_t {
    kAsExpected,    ///< passed, was skipped, or printed a warning
    kKnownFailure,  ///< did not pass, as an entry says
    kUnexpected,    ///< did not pass, and no entry says so
    kSurprisePass,  ///< passed, where an entry says that it does not
  };
  Type type = Type::kAsExpected;
  std::string reason;  ///< of the entry; empty without one
  std::string entry;   ///< the text of the entry to delete, of a surprise pass

  bool is_fine() const { return type == Type::kAsExpected || type == Type::kKnownFailure; }
};

/// What is expected of the checks: `--expect FILE`. Without a file each check shall pass.
class Expectations {
 public:
  /// How `check` of `run` came out.
  Judgement Judge(const RunRecord& run, const CheckEvent& check) const;
};

}  // namespace quorle
