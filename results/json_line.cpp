#include "results/json_line.h"

#include <limits>
#include <nlohmann/json.hpp>

namespace quorle {
namespace {

/// No event that this program writes comes near them.
constexpr std::size_t kDeepest = 16;
constexpr std::size_t kMostValues = 64 << 10;

}  // namespace

/// What the parser calls as it reads. Each function returns whether to go on.
class JsonLine::Events {
 public:
  explicit Events(std::vector<JsonValue>& values) : values_(values) {}

  bool null() { return Add(JsonValue::Type::kNull) != nullptr; }
  bool boolean(bool value) {
    JsonValue* const added = Add(JsonValue::Type::kBoolean);
    if (added != nullptr) added->boolean = value;
    return added != nullptr;
  }
  bool number_integer(std::int64_t value) {
    JsonValue* const added = Add(JsonValue::Type::kInteger);
    if (added != nullptr) added->integer = value;
    return added != nullptr;
  }
  bool number_unsigned(std::uint64_t value) {
    constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
    if (value <= kMost) return number_integer(static_cast<std::int64_t>(value));
    return Add(JsonValue::Type::kOtherNumber) != nullptr;
  }
  bool number_float(double /*value*/, const std::string& /*text*/) {
    return Add(JsonValue::Type::kOtherNumber) != nullptr;
  }
  bool string(std::string& value) {
    JsonValue* const added = Add(JsonValue::Type::kText);
    if (added != nullptr) added->text = value;
    return added != nullptr;
  }
  bool binary(std::vector<std::uint8_t>& /*value*/) { return false; }
  bool key(std::string& name) {
    name_ = name;
    return true;
  }
  bool start_object(std::size_t /*count*/) { return Open(JsonValue::Type::kObject); }
  bool start_array(std::size_t /*count*/) { return Open(JsonValue::Type::kList); }
  bool end_object() { return Close(); }
  bool end_array() { return Close(); }
  template <class Exception>
  bool parse_error(std::size_t /*position*/, const std::string& /*token*/, const Exception&) {
    return false;
  }

  bool is_too_large() const { return is_too_large_; }

 private:
  JsonValue* Add(JsonValue::Type type) {
    if (used_ == kMostValues) {
      is_too_large_ = true;
      return nullptr;
    }
    if (used_ == values_.size()) values_.emplace_back();
    JsonValue& value = values_[used_++];
    value.type = type;
    value.name = name_;
    value.next = used_;
    name_.clear();
    return &value;
  }
  bool Open(JsonValue::Type type) {
    if (open_.size() == kDeepest) {
      is_too_large_ = true;
      return false;
    }
    open_.push_back(used_);
    return Add(type) != nullptr;
  }
  bool Close() {
    values_[open_.back()].next = used_;
    open_.pop_back();
    return true;
  }

  std::vector<JsonValue>& values_;
  std::size_t used_ = 0;
  std::vector<std::size_t> open_;  ///< the lists and objects around the next value
  std::string name_;               ///< of the next value
  bool is_too_large_ = false;
};

JsonLine::State JsonLine::Parse(std::string_view line) {
  Events events(values_);
  if (nlohmann::json::sax_parse(line, &events)) return State::kRead;
  return events.is_too_large() ? State::kTooLarge : State::kNoJson;
}

std::size_t JsonLine::Find(std::size_t place, std::string_view name) const {
  const std::size_t end = values_[place].next;
  for (std::size_t i = place + 1; i < end; i = values_[i].next) {
    if (values_[i].name == name) return i;
  }
  return kRoot;
}

}  // namespace quorle
