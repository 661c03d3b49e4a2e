#include "results/event_json.h"

#include <algorithm>
#include <array>
#include <exception>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <type_traits>
#include <utility>
#include <vector>

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
  explicit ObjectText(std::string_view event) { Add("event", event); }

  template <class Type>
  ObjectText& Add(std::string_view name, const Type& value) {
    text_ += text_.empty() ? '{' : ',';
    Append(name);
    text_ += ':';
    Append(value);
    return *this;
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
    text_ += ObjectText()
                 .Add("class", diagnostic.type)
                 .Add("bold", diagnostic.bold)
                 .Add("code", diagnostic.code)
                 .Add("text", diagnostic.text)
                 .Text();
  }
  void Append(const std::map<Verdict, std::int32_t>& counts) {
    ObjectText object;
    for (const Verdict verdict : {Verdict::kPass, Verdict::kFail, Verdict::kWarn,
                                  Verdict::kUnsupported, Verdict::kBlocked, Verdict::kSkipped}) {
      const auto count = counts.find(verdict);
      object.Add(NameOf(verdict), count == counts.end() ? 0 : count->second);
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

/// Makes the object of an event; its members are in the order in which people read them.
struct Writer {
  ObjectText operator()(const RunEvent& run) const {
    ObjectText object("run");
    object.Add("version", run.version)
        .Add("program", run.program)
        .Add("device", run.device)
        .Add("words", run.words)
        .Add("arguments", run.arguments)
        .Add("port", run.port)
        .Add("handler", run.handler)
        .Add("time", run.time);
    if (run.repeat != 1) object.Add("repeat", run.repeat);
    return object;
  }
  ObjectText operator()(const TargetEvent& target) const {
    ObjectText object("target");
    object.Add("device", target.device)
        .Add("volume", target.volume)
        .Add("filesystem", target.filesystem)
        .Add("dostype", target.dostype);
    return object;
  }
  ObjectText operator()(const CheckEvent& check) const {
    ObjectText object("check");
    object.Add("id", check.id)
        .Add("catalogue", check.catalogue)
        .Add("row", check.row)
        .Add("number", check.number)
        .Add("verdict", check.verdict)
        .Add("result", check.result)
        .Add("calls", check.calls)
        .Add("us", check.us)
        .Add("diagnostics", check.diagnostics);
    if (!check.cause.empty()) object.Add("cause", check.cause);
    if (!check.objects.empty()) object.Add("objects", check.objects);
    if (!check.why.empty()) object.Add("why", check.why);
    if (check.ambiguous) object.Add("ambiguous", true);
    return object;
  }
  ObjectText operator()(const GroupEvent& group) const {
    ObjectText object("group");
    object.Add("id", group.id)
        .Add("row", group.row)
        .Add("verdict", group.verdict)
        .Add("result", group.result)
        .Add("us", group.us);
    return object;
  }
  ObjectText operator()(const HandlerEndedEvent& end) const {
    ObjectText object("handler-ended");
    object.Add("id", end.id).Add("call", end.call).Add("how", end.how);
    object.Add("restarted", end.restarted);
    return object;
  }
  ObjectText operator()(const LeftBehindEvent& left) const {
    ObjectText object("left-behind");
    object.Add("id", left.id).Add("object", left.object).Add("code", left.code);
    return object;
  }
  ObjectText operator()(const ComplaintEvent& complaint) const {
    ObjectText object("complaint");
    object.Add("id", complaint.id).Add("text", complaint.text);
    return object;
  }
  ObjectText operator()(const RemountEvent& remount) const {
    ObjectText object("remount");
    object.Add("id", remount.id).Add("ok", remount.ok).Add("text", remount.text);
    return object;
  }
  ObjectText operator()(const EndEvent& end) const {
    ObjectText object("end");
    object.Add("result", end.result).Add("checks", end.checks).Add("us", end.us);
    return object;
  }
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

/// Reads the members of one object. A member that is not there leaves what it shall fill.
class Members {
 public:
  Members(const JsonLine& json, std::size_t object) : json_(json), object_(object) {}

  template <class Type>
  void Read(const char* name, Type& value) const {
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
    Read(name, value);
  }
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

 private:
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

RunEvent ReadRun(const Members& members) {
  RunEvent run;
  members.Need("version", run.version);
  // A newer stream may mean other things by the same names.
  if (run.version > kEventVersion) return run;
  members.Read("program", run.program);
  members.Read("device", run.device);
  members.Read("words", run.words);
  members.Read("arguments", run.arguments);
  members.Read("port", run.port);
  members.Read("handler", run.handler);
  members.Read("time", run.time);
  members.Read("repeat", run.repeat);
  return run;
}

Diagnostic ReadDiagnostic(const Members& members) {
  Diagnostic diagnostic;
  members.Read("class", diagnostic.type);
  members.Read("bold", diagnostic.bold);
  members.Read("code", diagnostic.code);
  members.Read("text", diagnostic.text);
  return diagnostic;
}

CheckEvent ReadCheck(const Members& members) {
  CheckEvent check;
  members.Need("id", check.id);
  members.Read("catalogue", check.catalogue);
  members.Read("row", check.row);
  members.Read("number", check.number);
  members.Need("verdict", check.verdict);
  members.Read("result", check.result);
  members.Read("us", check.us);
  members.Read("cause", check.cause);
  members.Read("objects", check.objects);
  members.Read("why", check.why);
  members.Read("ambiguous", check.ambiguous);
  members.Read("calls", check.calls);
  members.ReadObjects("diagnostics", "a diagnostic is no object", [&](const Members& item) {
    check.diagnostics.push_back(ReadDiagnostic(item));
  });
  return check;
}

EndEvent ReadEnd(const Members& members) {
  EndEvent end;
  members.Read("result", end.result);
  members.Read("us", end.us);
  members.ReadObject("checks", [&](const Members& counts) {
    for (std::size_t i = 0; i < kVerdictCount; ++i) {
      std::int32_t count = 0;
      counts.Read(std::string(kVerdictNames[i]).c_str(), count);
      if (count != 0) end.checks[static_cast<Verdict>(i)] = count;
    }
  });
  return end;
}

std::optional<Event> ReadEvent(const JsonLine& json) {
  if (json.at(JsonLine::kRoot).type != JsonValue::Type::kObject) {
    throw ReadError("it is no JSON object");
  }
  const Members members(json, JsonLine::kRoot);
  std::string name;
  members.Need("event", name);
  if (name == "run") return ReadRun(members);
  if (name == "check") return ReadCheck(members);
  if (name == "end") return ReadEnd(members);
  if (name == "target") {
    TargetEvent target;
    members.Read("device", target.device);
    members.Read("volume", target.volume);
    members.Read("filesystem", target.filesystem);
    members.Read("dostype", target.dostype);
    return target;
  }
  if (name == "group") {
    GroupEvent group;
    members.Need("id", group.id);
    members.Read("row", group.row);
    members.Need("verdict", group.verdict);
    members.Read("result", group.result);
    members.Read("us", group.us);
    return group;
  }
  if (name == "handler-ended") {
    HandlerEndedEvent end;
    members.Read("id", end.id);
    members.Read("call", end.call);
    members.Read("how", end.how);
    members.Read("restarted", end.restarted);
    return end;
  }
  if (name == "left-behind") {
    LeftBehindEvent left;
    members.Read("id", left.id);
    members.Read("object", left.object);
    members.Read("code", left.code);
    return left;
  }
  if (name == "complaint") {
    ComplaintEvent complaint;
    members.Read("id", complaint.id);
    members.Read("text", complaint.text);
    return complaint;
  }
  if (name == "remount") {
    RemountEvent remount;
    members.Read("id", remount.id);
    members.Read("ok", remount.ok);
    members.Read("text", remount.text);
    return remount;
  }
  return std::nullopt;
}

}  // namespace

std::string_view NameOf(DiagnosticClass type) {
  return kClassNames[static_cast<std::size_t>(type)];
}

std::string ToJsonLine(const Event& event) {
  return std::visit(Writer(), event).Text() + '\n';
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
