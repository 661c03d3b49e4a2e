#include "results/event_json.h"

#include <array>
#include <exception>
#include <limits>
#include <nlohmann/json.hpp>
#include <type_traits>
#include <utility>

namespace quorle {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::array<std::string_view, 5> kClassNames = {"ERROR", "WARN", "INFO", "CLEANUP",
                                                         "NOTE"};

// ---- Writing -----------------------------------------------------------------------------------

/// Makes the object of an event; its members are in the order in which people read them.
struct Writer {
  Json operator()(const RunEvent& run) const {
    Json json = {{"event", "run"},       {"version", run.version}, {"program", run.program},
                 {"device", run.device}, {"words", run.words},     {"arguments", run.arguments},
                 {"port", run.port},     {"handler", run.handler}, {"time", run.time}};
    if (run.repeat != 1) json["repeat"] = run.repeat;
    return json;
  }
  Json operator()(const TargetEvent& target) const {
    return {{"event", "target"},
            {"device", target.device},
            {"volume", target.volume},
            {"filesystem", target.filesystem},
            {"dostype", target.dostype}};
  }
  Json operator()(const CheckEvent& check) const {
    Json json = {{"event", "check"},
                 {"id", check.id},
                 {"catalogue", check.catalogue},
                 {"row", check.row},
                 {"number", check.number},
                 {"verdict", NameOf(check.verdict)},
                 {"result", check.result},
                 {"calls", {check.calls.first, check.calls.last}},
                 {"us", check.us},
                 {"diagnostics", Json::array()}};
    for (const Diagnostic& diagnostic : check.diagnostics) {
      json["diagnostics"].push_back({{"class", NameOf(diagnostic.type)},
                                     {"bold", diagnostic.bold},
                                     {"code", diagnostic.code},
                                     {"text", diagnostic.text}});
    }
    if (!check.cause.empty()) json["cause"] = check.cause;
    if (!check.objects.empty()) json["objects"] = check.objects;
    if (!check.why.empty()) json["why"] = check.why;
    if (check.ambiguous) json["ambiguous"] = true;
    return json;
  }
  Json operator()(const GroupEvent& group) const {
    return {{"event", "group"},       {"id", group.id},
            {"row", group.row},       {"verdict", NameOf(group.verdict)},
            {"result", group.result}, {"us", group.us}};
  }
  Json operator()(const HandlerEndedEvent& end) const {
    return {{"event", "handler-ended"},
            {"id", end.id},
            {"call", end.call},
            {"how", end.how},
            {"restarted", end.restarted}};
  }
  Json operator()(const LeftBehindEvent& left) const {
    return {
        {"event", "left-behind"}, {"id", left.id}, {"object", left.object}, {"code", left.code}};
  }
  Json operator()(const ComplaintEvent& complaint) const {
    return {{"event", "complaint"}, {"id", complaint.id}, {"text", complaint.text}};
  }
  Json operator()(const RemountEvent& remount) const {
    return {{"event", "remount"}, {"id", remount.id}, {"ok", remount.ok}, {"text", remount.text}};
  }
  Json operator()(const EndEvent& end) const {
    Json json = {{"event", "end"}, {"result", end.result}, {"checks", Json::object()}};
    for (const Verdict verdict : {Verdict::kPass, Verdict::kFail, Verdict::kWarn,
                                  Verdict::kUnsupported, Verdict::kBlocked, Verdict::kSkipped}) {
      const auto count = end.checks.find(verdict);
      json["checks"][std::string(NameOf(verdict))] = count == end.checks.end() ? 0 : count->second;
    }
    json["us"] = end.us;
    return json;
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
  constexpr int kOneLine = -1;
  std::string line = std::visit(Writer(), event)
                         .dump(kOneLine, ' ', false, nlohmann::json::error_handler_t::replace);
  line += '\n';
  return line;
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
