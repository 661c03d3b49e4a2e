#include "selftest/sweep/trace_balance.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace quorle::selftest {
namespace {

constexpr std::string_view kGivers[] = {
    "Open",      "OpenFromLock", "Lock",         "DupLock",       "DupLockFromFH",
    "ParentDir", "ParentOfFH",   "CreateDir",    "CreateDirTree", "DoPkt",
    "ReadArgs",  "GetMsg",       "AllocVecTags", "ExamineObject", "GetDeviceProc",
};
constexpr std::string_view kReleasers[] = {
    "Close", "UnLock", "FreeDosObject", "FreeDeviceProc", "FreeArgs", "ReplyMsg", "FreeVec"};

template <std::size_t count>
bool Has(const std::string_view (&list)[count], std::string_view op) {
  return std::find(std::begin(list), std::end(list), op) != std::end(list);
}

/// The text in quotes at the start of `text`; empty when there is none (null).
std::string_view Quoted(std::string_view text) {
  if (!text.starts_with('"')) return {};
  text.remove_prefix(1);
  return text.substr(0, text.find('"'));
}

/// What follows `key` in `text`; empty when it is not there. A quote in a text is escaped, so that
/// no text of a trace holds a key.
std::string_view After(std::string_view text, std::string_view key) {
  const std::size_t at = text.find(key);
  return at == std::string_view::npos ? std::string_view() : text.substr(at + key.size());
}

/// The handle among the arguments of a release: the last quoted word.
std::string_view ReleasedHandle(std::string_view arguments) {
  arguments = arguments.substr(0, arguments.find(']'));
  const std::size_t quote = arguments.find('"');
  return quote == std::string_view::npos ? std::string_view() : Quoted(arguments.substr(quote));
}

}  // namespace

bool TraceBalance::Write(const char* text, std::size_t bytes) {
  const std::string_view line(text, bytes - 1);
  lines_.push_back({place_, std::string(line)});
  const std::string_view op = Quoted(After(line, "{\"op\":"));
  if (op == "Output") return true;
  const std::string_view arguments = After(line, ",\"args\":[");
  const std::string_view result = After(line, ",\"result\":");

  if (op == "OpenLibrary" || op == "GetInterface") {
    const bool given = !result.starts_with("null") && !result.starts_with("false");
    const char* const kind = op == "OpenLibrary" ? "library " : "interface ";
    if (given) Give(kind + std::string(Quoted(arguments)));
  } else if (op == "CloseLibrary" || op == "DropInterface") {
    const char* const kind = op == "CloseLibrary" ? "library " : "interface ";
    Release(kind + std::string(Quoted(arguments)));
  } else if (Has(kReleasers, op)) {
    const std::string_view handle = ReleasedHandle(arguments);
    if (!handle.empty()) Release(std::string(handle));
  } else if (op == "ReadArgs") {
    // Its handle is seen when it is released.
    if (!result.starts_with("null")) Give("rdargs");
  } else if (Has(kGivers, op)) {
    std::string_view handle = Quoted(result);
    if (op == "ExamineObject") handle = Quoted(After(result, "{\"handle\":"));
    if (op == "GetDeviceProc") handle = Quoted(After(result, "{\"devproc\":"));
    if (!handle.empty()) Give(std::string(handle));
    // On success the lock belongs to the file.
    if (op == "OpenFromLock" && !handle.empty()) Release(std::string(Quoted(arguments)));
  }
  return true;
}

void TraceBalance::Give(std::string object) {
  held_[std::move(object)].push_back(lines_.size() - 1);
}

void TraceBalance::Release(const std::string& object) {
  const auto held = held_.find(object.starts_with("rdargs:") ? "rdargs" : object);
  if (held == held_.end()) {
    excess_.push_back({place_, object, lines_.size() - 1, true});
    return;
  }
  held->second.pop_back();
  if (held->second.empty()) held_.erase(held);
}

std::vector<Unbalanced> TraceBalance::Report() const {
  std::vector<Unbalanced> report = excess_;
  for (const auto& [object, givers] : held_) {
    for (const std::size_t line : givers) {
      report.push_back({lines_[line].place, object, line, false});
    }
  }
  return report;
}

}  // namespace quorle::selftest
