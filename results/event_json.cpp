#include "results/event_json.h"

#include <algorithm>
#include <array>
#include <exception>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "results/event_fields.h"

namespace quorle {
namespace {

constexpr std::array<std::string_view, 5> kClassNames = {"ERROR", "WARN", "INFO", "CLEANUP",
                                                         "NOTE"};

// ---- Writing -----------------------------------------------------------------------------------

/// Builds one JSON object as text: a run writes so many of them that a tree of each would cost more
/// than its checks.
class ObjectText {
 public:
  ObjectText() = default;
  explicit ObjectText(std::string_view event) { Field("event", event); }

  template <class Type>
  void Field(std::string_view name, const Type& value) {
    text_ += text_.empty() ? '{' : ',';
    Append(name);
    text_ += ':';
    Append(value);
  }
  template <class Type>
  void Need(std::string_view name, const Type& value) {
    Field(name, value);
  }
  template <class Type>
  void Extra(std::string_view name, const Type& value, bool is_there) {
    if (is_there) Field(name, value);
  }
  /// The object so far, which has a member.
  std::string Text() const { return text_ + '}'; }

 private:
  void Append(std::string_view text) {
    const bool is_plain = std::all_of(text.begin(), text.end(), [](char c) {
      return c >= ' ' && c <= '~' && c != '"' && c != '\\';
    });
    if (is_plain) {
      text_ += '"';
      text_ += text;
      text_ += '"';
    } else {
      constexpr int kOneLine = -1;
      text_ +=
          nlohmann::json(text).dump(kOneLine, ' ', false, nlohmann::json::error_handler_t::replace);
    }
  }
  void Append(const std::string& text) { Append(std::string_view(text)); }
  void Append(const char* text) { Append(std::string_view(text)); }
  void Append(Verdict verdict) { Append(NameOf(verdict)); }
  void Append(DiagnosticClass type) { Append(NameOf(type)); }
  void Append(bool flag) { text_ += flag ? "true" : "false"; }
  void Append(std::int32_t number) { text_ += std::to_string(number); }
  void Append(std::int64_t number) { text_ += std::to_string(number); }
  void Append(const CallRange& calls) { AppendList(std::array{calls.first, calls.last}); }
  void Append(const std::vector<std::string>& texts) { AppendList(texts); }
  void Append(const std::vector<Diagnostic>& diagnostics) { AppendList(diagnostics); }
  void Append(const Diagnostic& diagnostic) {
    ObjectText object;
    Fields<Diagnostic>::Visit(diagnostic, object);
    text_ += object.Text();
  }
  void Append(const std::map<Verdict, std::int32_t>& counts) {
    ObjectText object;
    for (const Verdict verdict : {Verdict::kPass, Verdict::kFail, Verdict::kWarn,
                                  Verdict::kUnsupported, Verdict::kBlocked, Verdict::kSkipped}) {
      const auto count = counts.find(verdict);
      object.Field(NameOf(verdict), count == counts.end() ? 0 : count->second);
    }
    text_ += object.Text();
  }
  template <class List>
  void AppendList(const List& list) {
    text_ += '[';
    const char* separator = "";
    for (const auto& item : list) {
      text_ += separator;
      Append(item);
      separator = ",";
    }
    text_ += ']';
  }

  std::string text_;
};

// ---- Reading -----------------------------------------------------------------------------------

/// Why a line is no event.
class ReadError final : public std::exception {
 public:
  explicit ReadError(std::string problem) : problem_(std::move(problem)) {}
  const char* what() const noexcept override { return problem_.c_str(); }

 private:
  std::string problem_;
};

/// Reads the members of one object (event_fields.h). A member that is not there leaves what it shall fill.
class Members {
 public:
  Members(const JsonLine& json, std::size_t object) : json_(json), object_(object) {}

  template <class Type>
  void Field(const char* name, Type& value) const {
    const std::size_t member = json_.Find(object_, name);
    if (member == JsonLine::kRoot) return;
    if constexpr (std::is_same_v<Type, Verdict>) {
      const auto verdict = VerdictNamed(Value<std::string>(name, member));
      if (!verdict) throw ReadError(Quoted(name) + " is no verdict");
      value = *verdict;
    } else if constexpr (std::is_same_v<Type, DiagnosticClass>) {
      value = ClassOf(Value<std::string>(name, member));
    } else if constexpr (std::is_same_v<Type, CallRange>) {
      value = RangeOf(member);
    } else if constexpr (std::is_same_v<Type, std::vector<std::string>>) {
      if (json_.at(member).type != JsonValue::Type::kList) {
        throw ReadError(Quoted(name) + " is no list");
      }
      json_.ForEach(member, [&](std::size_t item) {
        if (json_.at(item).type != JsonValue::Type::kText) {
          throw ReadError(Quoted(name) + " is no list of texts");
        }
        value.push_back(json_.at(item).text);
      });
    } else if constexpr (std::is_same_v<Type, std::vector<Diagnostic>>) {
      ReadObjects(name, "a diagnostic is no object", [&](const Members& members) {
        Fields<Diagnostic>::Visit(value.emplace_back(), members);
      });
    } else if constexpr (std::is_same_v<Type, std::map<Verdict, std::int32_t>>) {
      ReadObject(name, [&](const Members& members) {
        for (const std::string_view verdict : kVerdictNames) {
          std::int32_t count = 0;
          members.Field(std::string(verdict).c_str(), count);
          if (count != 0) value[*VerdictNamed(verdict)] = count;
        }
      });
    } else {
      value = Value<Type>(name, member);
    }
  }
  /// What a reader cannot do without.
  template <class Type>
  void Need(const char* name, Type& value) const {
    if (json_.Find(object_, name) == JsonLine::kRoot) {
      throw ReadError(Quoted(name) + " is missing");
    }
    Field(name, value);
  }
  template <class Type>
  void Extra(const char* name, Type& value, bool /*is_there*/) const {
    Field(name, value);
  }

 private:
  /// Calls `read` with the members of each object of the list `name`; `not_so` when it holds others.
  template <class ReadItem>
  void ReadObjects(const char* name, const char* not_so, const ReadItem& read) const {
    const std::size_t list = json_.Find(object_, name);
    if (list == JsonLine::kRoot) return;
    if (json_.at(list).type != JsonValue::Type::kList) {
      throw ReadError(Quoted(name) + " is no list");
    }
    json_.ForEach(list, [&](std::size_t item) {
      if (json_.at(item).type != JsonValue::Type::kObject) throw ReadError(not_so);
      read(Members(json_, item));
    });
  }
  /// Calls `read` with the members of the object `name`, when it is there.
  template <class ReadItem>
  void ReadObject(const char* name, const ReadItem& read) const {
    const std::size_t member = json_.Find(object_, name);
    if (member == JsonLine::kRoot) return;
    if (json_.at(member).type != JsonValue::Type::kObject) {
      throw ReadError(Quoted(name) + " is no object");
    }
    read(Members(json_, member));
  }

  static std::string Quoted(const char* name) { return std::string("\"") + name + "\""; }

  /// A class that this version does not know is shown as a note.
  static DiagnosticClass ClassOf(const std::string& name) {
    for (std::size_t i = 0; i < kClassNames.size(); ++i) {
      if (kClassNames[i] == name) return static_cast<DiagnosticClass>(i);
    }
    return DiagnosticClass::kNote;
  }

  CallRange RangeOf(std::size_t member) const {
    std::vector<std::int64_t> numbers;
    bool is_range = json_.at(member).type == JsonValue::Type::kList;
    if (is_range) {
      json_.ForEach(member, [&](std::size_t item) {
        is_range = is_range && json_.at(item).type == JsonValue::Type::kInteger;
        numbers.push_back(json_.at(item).integer);
      });
    }
    if (!is_range || numbers.size() != 2) throw ReadError("\"calls\" is not two numbers");
    return {.first = numbers[0], .last = numbers[1]};
  }

  template <class Type>
  Type Value(const char* name, std::size_t place) const {
    const JsonValue& value = json_.at(place);
    if constexpr (std::is_same_v<Type, bool>) {
      if (value.type != JsonValue::Type::kBoolean) {
        throw ReadError(Quoted(name) + " is not true or false");
      }
      return value.boolean;
    } else if constexpr (std::is_integral_v<Type>) {
      if (value.type != JsonValue::Type::kInteger ||
          value.integer > std::numeric_limits<Type>::max() ||
          value.integer < std::numeric_limits<Type>::min()) {
        throw ReadError(Quoted(name) + " is no number that fits");
      }
      return static_cast<Type>(value.integer);
    } else {
      static_assert(std::is_same_v<Type, std::string>);
      if (value.type != JsonValue::Type::kText) throw ReadError(Quoted(name) + " is no text");
      return value.text;
    }
  }

  const JsonLine& json_;
  std::size_t object_;
};

/// Reads the event `name` into `event` when it is an Object.
template <class Object>
bool ReadAs(const std::string& name, const Members& members, std::optional<Event>& event) {
  if (name != Fields<Object>::kName) return false;
  Object object;
  Fields<Object>::Visit(object, members);
  event = std::move(object);
  return true;
}

template <class... Objects>
void ReadAsOneOf(std::variant<Objects...>*, const std::string& name, const Members& members,
                 std::optional<Event>& event) {
  static_cast<void>((ReadAs<Objects>(name, members, event) || ...));
}

std::optional<Event> ReadEvent(const JsonLine& json) {
  if (json.at(JsonLine::kRoot).type != JsonValue::Type::kObject) {
    throw ReadError("it is no JSON object");
  }
  const Members members(json, JsonLine::kRoot);
  std::string name;
  members.Need("event", name);
  std::optional<Event> event;
  ReadAsOneOf(static_cast<Event*>(nullptr), name, members, event);
  return event;
}

}  // namespace

std::string_view NameOf(DiagnosticClass type) {
  return kClassNames[static_cast<std::size_t>(type)];
}

std::string ToJsonLine(const Event& event) {
  return std::visit(
      [](const auto& object) {
        using Fields = quorle::Fields<std::decay_t<decltype(object)>>;
        ObjectText text(Fields::kName);
        Fields::Visit(object, text);
        return text.Text() + '\n';
      },
      event);
}

std::optional<Event> EventReader::Read(std::string_view line, std::string& problem) {
  try {
    switch (json_.Parse(line)) {
      case JsonLine::State::kNoJson:
        throw ReadError("it is no JSON");
      case JsonLine::State::kTooLarge:
        throw ReadError("it holds more than any event");
      default:
        return ReadEvent(json_);
    }
  } catch (const ReadError& error) {
    problem = error.what();
    return std::nullopt;
  }
}

std::optional<Event> ReadJsonLine(std::string_view line, std::string& problem) {
  return EventReader().Read(line, problem);
}

}  // namespace quorle
