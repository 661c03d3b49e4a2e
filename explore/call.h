#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

#include "explore/operation.h"
#include "platform/records.h"

namespace quorle::explore {

/// How many objects of a kind a sequence has at the most; their numbers are 1 to this.
inline constexpr std::uint8_t kMostObjects = 15;

/// One call of a sequence.
struct Call {
  Operation operation = Operation::kFlush;
  /// The number that the object which comes back gets; 0: it is given back at once.
  std::uint8_t result = 0;
  /// Of each argument that is a number, an object or data (its bytes), by its place.
  std::array<std::int64_t, OperationRow::kMostArguments> number{};
  /// Of the arguments that are names or texts, in their order.
  std::array<std::string, 2> text;
  DateStamp date{};
  std::uint32_t pattern = 0;  ///< of data: PatternByte(); with kQuoted they are text[0]
  static constexpr std::uint32_t kQuoted = 0xFFFFFFFF;

  friend bool operator==(const Call& a, const Call& b) {
    return a.operation == b.operation && a.result == b.result && a.number == b.number &&
           a.text == b.text && a.date.ds_Days == b.date.ds_Days &&
           a.date.ds_Minute == b.date.ds_Minute && a.date.ds_Tick == b.date.ds_Tick &&
           a.pattern == b.pattern;
  }
};

/// The eight bytes of the pattern `pattern` that begin at `word` times eight bytes from its beginning, the
/// first one lowest: of a place, so that what was written at a wrong one is noticed, and of a number, so
/// that what was written before is.
constexpr std::uint64_t PatternWord(std::uint32_t pattern, std::uint64_t word) {
  std::uint64_t mixed =
      (word + 1) * 0x9E3779B97F4A7C15 + pattern * std::uint64_t{0xD1B54A32D192ED03};
  mixed ^= mixed >> 29;
  return mixed * 0xBF58476D1CE4E5B9;
}
/// The byte at `place` bytes from the beginning of `pattern`.
constexpr std::uint8_t PatternByte(std::uint32_t pattern, std::uint64_t place) {
  return static_cast<std::uint8_t>(PatternWord(pattern, place / 8) >> (place % 8 * 8));
}
/// Makes `bytes` the beginning of `pattern`.
void FillPattern(std::uint32_t pattern, std::span<std::uint8_t> bytes);

}  // namespace quorle::explore
