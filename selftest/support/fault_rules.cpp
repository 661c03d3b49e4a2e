#include "selftest/support/fault_rules.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace quorle::selftest {
namespace {

template <class Number>
bool ParseNumber(std::string_view text, Number& number) {
  int base = 10;
  if (text.starts_with("0x")) {
    text.remove_prefix(2);
    base = 16;
  }
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  return error == std::errc() && end == text.data() + text.size();
}

/// An argument as calls have it: modes by their numbers.
std::string Argument(std::string_view text) {
  constexpr std::pair<std::string_view, std::string_view> kModes[] = {{"SHARED", "-2"},
                                                                      {"EXCLUSIVE", "-1"},
                                                                      {"OLDFILE", "1005"},
                                                                      {"READWRITE", "1004"},
                                                                      {"NEWFILE", "1006"}};
  for (const auto& [name, number] : kModes) {
    if (text == name) return std::string(number);
  }
  return std::string(text);
}

/// Cuts the next blank-separated word off `rest`.
std::string_view NextWord(std::string_view& rest) {
  while (rest.starts_with(' ')) rest.remove_prefix(1);
  const std::string_view word = rest.substr(0, rest.find(' '));
  rest.remove_prefix(word.size());
  return word;
}

bool ParsePlace(std::string_view text, RunPlace& place) {
  if (const std::size_t dot = text.find('.'); dot != std::string_view::npos) {
    if (!ParseNumber(text.substr(0, dot), place.row) || place.row <= 0) return false;
    text.remove_prefix(dot + 1);
  } else if (text == "start" || text == "end") {
    place.phase = text == "start" ? RunPlace::Phase::kStart : RunPlace::Phase::kEnd;
    return true;
  }
  place.phase = text == "group" ? RunPlace::Phase::kGroup : RunPlace::Phase::kSubTest;
  return text == "group" || (ParseNumber(text, place.sub_test) && place.sub_test > 0);
}

/// [PLACE/]OP[(ARG,ARG...)][#N[+]]
bool ParseCall(std::string_view call, FaultRule& rule) {
  if (const std::size_t slash = call.find('/'); slash < call.find('(')) {
    rule.in_place = false;
    if (!ParsePlace(call.substr(0, slash), rule.place.emplace())) return false;
    call.remove_prefix(slash + 1);
  }
  if (const std::size_t hash = call.rfind('#');
      hash != std::string_view::npos && call.find(')', hash) == std::string_view::npos) {
    std::string_view number = call.substr(hash + 1);
    if (number.ends_with('+')) {
      rule.and_later = true;
      number.remove_suffix(1);
    }
    if (!ParseNumber(number, rule.nth) || rule.nth == 0) return false;
    call = call.substr(0, hash);
  }
  if (const std::size_t open = call.find('('); open != std::string_view::npos) {
    if (!call.ends_with(')')) return false;
    std::string_view args = call.substr(open + 1, call.size() - open - 2);
    while (true) {
      const std::size_t comma = args.find(',');
      rule.args.push_back(Argument(args.substr(0, comma)));
      if (comma == std::string_view::npos) break;
      args.remove_prefix(comma + 1);
    }
    call = call.substr(0, open);
  }
  rule.op = call;
  return !rule.op.empty();
}

bool ParseCode(std::string_view word, FaultRule& rule) {
  std::int32_t code = 0;
  if (!ParseNumber(word, code)) return false;
  rule.code = code;
  return true;
}

bool ParseAction(std::string_view rest, FaultRule& rule) {
  const std::string_view action = NextWord(rest);
  if (action == "fail" || action == "code" || action == "done-fail") {
    rule.action = action == "fail"   ? FaultRule::Action::kFail
                  : action == "code" ? FaultRule::Action::kCode
                                     : FaultRule::Action::kDoneFail;
    return ParseCode(NextWord(rest), rule) && NextWord(rest).empty();
  }
  if (action == "succeed" || action == "scribble" || action == "drop") {
    rule.action = action == "succeed"    ? FaultRule::Action::kSucceed
                  : action == "scribble" ? FaultRule::Action::kScribble
                                         : FaultRule::Action::kDrop;
    return NextWord(rest).empty();
  }
  if (action == "return") {
    rule.action = FaultRule::Action::kReturn;
    if (!ParseNumber(NextWord(rest), rule.value)) return false;
    const std::string_view code = NextWord(rest);
    return (code.empty() || ParseCode(code, rule)) && NextWord(rest).empty();
  }
  if (action == "set") {
    rule.action = FaultRule::Action::kSet;
    // A word without "=" goes on with the value before it: values may hold blanks.
    std::string* value = nullptr;
    for (std::string_view word = NextWord(rest); !word.empty(); word = NextWord(rest)) {
      const std::size_t equals = word.find('=');
      if (equals == 0) return false;
      if (equals != std::string_view::npos) {
        value = &rule.fields[std::string(word.substr(0, equals))];
        *value = word.substr(equals + 1);
      } else if (value != nullptr) {
        *value += ' ';
        *value += word;
      } else {
        return false;
      }
    }
    return value != nullptr;
  }
  return false;
}

bool IsIn(const RunPlace& wanted, const RunPlace& place) {
  return wanted.phase == place.phase && (wanted.row == 0 || wanted.row == place.row) &&
         wanted.sub_test == place.sub_test;
}

std::string HandleText(bool is_one) {
  return is_one ? "handle" : "0";
}

/// An argument of a call as rules have it.
struct ArgumentText {
  std::string operator()(std::monostate) const { return "0"; }
  std::string operator()(bool flag) const { return flag ? "1" : "0"; }
  std::string operator()(std::int32_t number) const { return std::to_string(number); }
  std::string operator()(std::uint32_t number) const { return std::to_string(number); }
  std::string operator()(std::int64_t number) const { return std::to_string(number); }
  std::string operator()(const char* text) const { return text == nullptr ? "" : text; }
  std::string operator()(Tag tag) const { return std::to_string(tag.value); }
  std::string operator()(Data data) const { return std::to_string(data.bytes); }
  std::string operator()(BString text) const {
    if (text.text == nullptr) return {};
    return {reinterpret_cast<const char*>(text.text) + 1, *text.text};
  }
  std::string operator()(const quorle::DateStamp* date) const {
    return std::to_string(date->ds_Days);
  }
  std::string operator()(Memory memory) const { return HandleText(memory.start != nullptr); }
  std::string operator()(const ExamineData* data) const { return HandleText(data != nullptr); }
  std::string operator()(const DevProc* devproc) const { return HandleText(devproc != nullptr); }
  template <class Kind>
  std::string operator()(Handle<Kind> handle) const {
    return HandleText(static_cast<bool>(handle));
  }
};

bool Fits(const FaultRule& rule, const Call& call) {
  if (rule.op != call.op || rule.args.size() > call.args.size()) return false;
  auto arg = call.args.begin();
  for (const std::string& wanted : rule.args) {
    if (wanted != "*" && wanted != std::visit(ArgumentText(), *arg)) return false;
    ++arg;
  }
  return true;
}

/// Whether the call that was just counted is one at which the rule fires.
bool IsDue(const FaultRule& rule) {
  if (rule.bound_to) {
    return std::find(rule.bound_to->begin(), rule.bound_to->end(), rule.seen_in_run) !=
           rule.bound_to->end();
  }
  if (!rule.in_place) return false;
  return rule.nth == 0 || rule.seen == rule.nth || (rule.and_later && rule.seen > rule.nth);
}

}  // namespace

std::optional<FaultRules> FaultRules::Parse(std::string_view text, std::string& problem) {
  FaultRules result;
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(line.size() < text.size() ? line.size() + 1 : line.size());
    if (line.empty() || line.starts_with("//")) continue;
    FaultRule rule;
    std::string_view rest = line;
    // Arguments may hold blanks; the call ends at the first blank outside its brackets.
    std::size_t end = line.find(' ');
    if (const std::size_t open = line.find('('); open < end)
      end = line.find(' ', line.find(')', open));
    rest = end == std::string_view::npos ? std::string_view() : line.substr(end);
    if (!ParseCall(line.substr(0, end), rule) || !ParseAction(rest, rule)) {
      problem = "not a fault rule: " + std::string(line);
      return std::nullopt;
    }
    result.rules_.push_back(std::move(rule));
  }
  return result;
}

FaultRules FaultRules::BoundToCalls() const {
  FaultRules result = *this;
  for (FaultRule& rule : result.rules_) {
    if (rule.place) rule.bound_to = rule.fired;
  }
  result.Begin();
  return result;
}

void FaultRules::Begin() {
  for (FaultRule& rule : rules_) {
    rule.seen = 0;
    rule.seen_in_run = 0;
    rule.fired.clear();
  }
  Enter({});
}

void FaultRules::Enter(const RunPlace& place) {
  for (FaultRule& rule : rules_) {
    if (!rule.place) continue;
    // A rule for all later calls goes on once its place was reached.
    const bool goes_on = rule.and_later && rule.in_place && rule.seen >= rule.nth;
    if (goes_on) continue;
    rule.in_place = IsIn(*rule.place, place);
    rule.seen = 0;
  }
}

const FaultRule* FaultRules::Match(const Call& call) {
  const FaultRule* match = nullptr;
  for (FaultRule& rule : rules_) {
    if (!Fits(rule, call)) continue;
    ++rule.seen_in_run;
    if (rule.in_place) ++rule.seen;
    if (match != nullptr || !IsDue(rule)) continue;
    rule.fired.push_back(rule.seen_in_run);
    match = &rule;
  }
  return match;
}

const FaultRule* FaultRules::Unused() const {
  for (const FaultRule& rule : rules_) {
    if (rule.fired.empty()) return &rule;
  }
  return nullptr;
}

}  // namespace quorle::selftest
