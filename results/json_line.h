#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quorle {

/// A value of a line of JSON. Lists and objects hold the values that follow them.
struct JsonValue {
  enum class Type : std::uint8_t {
    kNull,
    kBoolean,
    kInteger,
    kOtherNumber,  ///< with a fraction, or beyond 64 bits
    kText,
    kList,
    kObject,
  };
  Type type = Type::kNull;
  bool boolean = false;
  std::int64_t integer = 0;
  std::string name;      ///< of a member of an object
  std::string text;      ///< UTF-8
  std::size_t next = 0;  ///< where the value behind it is
};

/// Reads lines of JSON, of which a stream has a great many: what one line needed is used again for the
/// next. What no event has, lists in lists in lists or very many values, is not taken.
class JsonLine {
 public:
  enum class State : std::uint8_t { kRead, kNoJson, kTooLarge };
  State Parse(std::string_view line);

  /// Of the line that was read last: its values, of which the first holds all others.
  const JsonValue& at(std::size_t place) const { return values_[place]; }
  static constexpr std::size_t kRoot = 0;

  /// Calls `visit` with the place of each value that the list or object at `place` holds.
  template <class Visit>
  void ForEach(std::size_t place, const Visit& visit) const {
    const std::size_t end = values_[place].next;
    for (std::size_t i = place + 1; i < end; i = values_[i].next) visit(i);
  }
  /// The place of the member of that name of the object at `place`; kRoot when there is none.
  std::size_t Find(std::size_t place, std::string_view name) const;

 private:
  class Events;

  std::vector<JsonValue> values_;  ///< never gets smaller; each keeps the room of its texts
};

}  // namespace quorle
