#include "selftest/support/trace_balance.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <variant>

namespace quorle::selftest {
namespace {

constexpr std::string_view kReleasers[] = {
    "Close",    "UnLock",  "FreeDosObject",     "FreeDeviceProc", "FreeArgs",
    "ReplyMsg", "FreeVec", "ReleaseDirContext", "EndNotify",      "ReplyNotifyMsg"};

std::string TextOf(const TraceHandle& handle) {
  constexpr const char* kWords[] = {"lock:",   "fh:",      "port:",    "examine:", "memory:",
                                    "rdargs:", "devproc:", "message:", "context:", "notify:"};
  return kWords[static_cast<std::size_t>(handle.type)] + std::to_string(handle.number);
}

/// The name of a library among the arguments.
std::string NameIn(const TraceEvent& event) {
  const auto* const name = std::get_if<std::string_view>(&event.args[0]);
  return name == nullptr ? std::string() : std::string(*name);
}

/// Whether a call that opens gave something.
bool HasOpened(const TraceEvent& event) {
  const bool* const ok = std::get_if<bool>(&event.result);
  return ok != nullptr ? *ok : !std::holds_alternative<std::monostate>(event.result);
}

}  // namespace

bool TraceBalance::Take(const TraceEvent& event) {
  ++count_;
  if (event.is_output()) return true;
  if (event.op == "OpenLibrary" || event.op == "GetInterface") {
    if (HasOpened(event))
      Give((event.op == "OpenLibrary" ? "library " : "interface ") + NameIn(event));
  } else if (event.op == "CloseLibrary" || event.op == "DropInterface") {
    Release((event.op == "CloseLibrary" ? "library " : "interface ") + NameIn(event));
  } else if (std::find(std::begin(kReleasers), std::end(kReleasers), event.op) !=
             std::end(kReleasers)) {
    const auto* const handle = std::get_if<TraceHandle>(&event.args.back());
    if (handle != nullptr && handle->number != 0) Release(TextOf(*handle));
  } else if (event.given && event.op != "ExamineDir") {  // whose record is the scan's
    Give(TextOf(*event.given), event.given->type == HandleType::kExamine);
    // On success the lock belongs to the file.
    if (event.op == "OpenFromLock") {
      const auto& lock = std::get<TraceHandle>(event.args[0]);
      if (lock.number != 0) Release(TextOf(lock));
    }
  }
  return true;
}

void TraceBalance::Give(const std::string& object, bool is_record) {
  Held& held = held_[object];
  held.is_record = is_record;
  held.givers.emplace_back(place_, count_ - 1);
}

void TraceBalance::Release(const std::string& object) {
  const auto held = held_.find(object);
  if (held == held_.end()) {
    excess_.push_back({place_, object, false, count_ - 1, true});
    return;
  }
  held->second.givers.pop_back();
  if (held->second.givers.empty()) held_.erase(held);
}

std::vector<Unbalanced> TraceBalance::Report() const {
  std::vector<Unbalanced> report = excess_;
  for (const auto& [object, held] : held_) {
    for (const auto& [place, event] : held.givers) {
      report.push_back({place, object, held.is_record, event, false});
    }
  }
  return report;
}

}  // namespace quorle::selftest
