#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "explore/call.h"
#include "explore/outcome.h"
#include "explore/value_text.h"

namespace quorle::explore {

/// One field of an examine record or of what a volume says of itself, as it is written behind "=>".
struct NamedField {
  std::string_view name;
  Argument kind;       ///< kText, kDate, or a number
  WordSet (*words)();  ///< of a number
  /// The value as text, as the field is written; one of the two is null.
  std::string (*of_record)(const ExamineData& record);
  std::string (*of_info)(const InfoData& info);
};

/// The fields of what comes back as `result`: kRecord or kInfo; none of anything else.
std::span<const NamedField> FieldsOf(Result result);

/// A field that is compared.
struct DueField {
  std::size_t field;  ///< its place in FieldsOf()
  std::string value;  ///< as it is written

  friend bool operator==(const DueField&, const DueField&) = default;
};

/// What should come of a call: what stands behind "=>". Only what is given counts.
struct DueOutcome {
  bool done = true;
  /// Of a refusal: one of these codes, in the order given; none: any.
  std::vector<std::int32_t> codes;
  /// A count, a position, a relation, the length of what was read; of a refusal -1, or -2, or how many were made.
  std::optional<std::int64_t> value;
  /// What was read: the bytes themselves, or the first `value` of a pattern, or a checksum.
  std::optional<std::string> bytes;
  std::optional<std::uint32_t> pattern;
  std::optional<std::uint64_t> checksum;
  std::vector<DueField> fields;  ///< in the order of FieldsOf()

  friend bool operator==(const DueOutcome&, const DueOutcome&) = default;
};

/// All that `outcome` of `call` says, except the ids of objects, which are the filesystem's own.
DueOutcome AllOf(const Call& call, const Outcome& outcome);

/// Whether what came of a call, `all` of it (AllOf()), is as it should be.
bool IsAsDue(const DueOutcome& due, const DueOutcome& all);

/// Makes `due`, an AllOf(), ask only for what `other` says as well: of two refusals one of both codes, no
/// other value, no field that differs. False when one is done and the other is not.
bool Widen(DueOutcome& due, const DueOutcome& other);

}  // namespace quorle::explore
