#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/records.h"

namespace quorle::explore {

/// What came of a call on one device.
struct Outcome {
  /// Whether it succeeded. What cannot be refused always has.
  bool done = false;
  /// The error code of a refusal, else 0; for ParentDir() also that of no lock without a failure.
  std::int32_t code = 0;
  /// What came back as a number: a count, position, size or relation; for an object 1. -1 of a refusal,
  /// 0 of a refused truth or object.
  std::int64_t value = 0;
  /// The record of an examination, with its texts; valid until the next call of its side. Null: none.
  const ExamineData* record = nullptr;
  /// What was read: `value` bytes of data, or a text; valid until the next call of its side.
  std::string_view bytes;
  /// What a volume says of itself.
  InfoData info{};
  bool has_info = false;
  /// dos itself did it, since the handler does not know how.
  bool emulated = false;
};

}  // namespace quorle::explore
