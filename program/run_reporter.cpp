#include "program/run_reporter.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace quorle {
namespace {

struct GroupCall {
  std::string_view group;
  std::string_view call;
};

/// The groups that are not named for the call which they test, as far as they ask whether it is
/// implemented.
constexpr GroupCall kTestedCalls[] = {
    {"ChangeLockMode", "ChangeMode"}, {"CreateDir", "DoPkt"},
    {"CreateHardLink", "MakeLink"},   {"CreateSoftLink", "MakeLink"},
    {"ExamineFile", "ExamineObject"}, {"ExamineObj", "ExamineObject"},
    {"ExamineLock", "ExamineObject"}, {"SetGroup", "SetOwnerInfo"},
    {"SetOwner", "SetOwnerInfo"},
};

/// Whether `call` is what the group `label`, "Lock()", is about.
bool IsTestedCall(std::string_view label, std::string_view call) {
  const std::string_view group = label.substr(0, label.find('('));
  return group == call ||
         std::any_of(std::begin(kTestedCalls), std::end(kTestedCalls),
                     [&](const GroupCall& row) { return row.group == group && row.call == call; });
}

}  // namespace

RunReporter::RunReporter(const RunWatch& watch, CallWatch& calls,
                         std::function<void(const std::string& line)> report)
    : watch_(watch), calls_(calls), report_(std::move(report)) {}

void RunReporter::BeginRun(std::int32_t rows) {
  selected_ = rows;
}

void RunReporter::BeginCheck() {
  calls_.ForgetUnknown();
}

void RunReporter::EndCheck(std::string_view label, bool ends_group) {
  const std::string_view call = calls_.unknown();
  if (!ends_group || call.empty() || IsTestedCall(label, call)) return;
  unknown_ = std::string(call) + "() answered 209 (not implemented), " + watch_.Place();
}

void RunReporter::EndTest() {
  ++ended_;
  // Behind what the console has to say of the group.
  if (!unknown_.empty()) report_(std::exchange(unknown_, {}));
}

bool RunReporter::EndRun() {
  const std::int32_t missing = selected_ - ended_;
  if (!calls_.broken() || missing <= 0) return true;
  report_("interrupted: " + std::to_string(missing) + " of " + std::to_string(selected_) +
          " test groups were not run");
  return false;
}

}  // namespace quorle
