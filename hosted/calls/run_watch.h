#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorle {

/// Which test is running, for those who must say where something happened, and where they say it.
class RunWatch {
 public:
  /// `report` takes one line.
  explicit RunWatch(std::function<void(const std::string& line)> report)
      : report_(std::move(report)) {}
  RunWatch(const RunWatch&) = delete;
  RunWatch& operator=(const RunWatch&) = delete;

  /// `number` is the row of the catalogue, `label` its group as messages have it: "Lock()".
  void BeginTest(int number, std::string_view label) {
    test_ = number;
    group_ = label.substr(0, label.find('('));
    ++begun_;
    ++moves_;
  }
  /// `name` is that of the rule which the check is about.
  void BeginCheck(std::string_view name) {
    check_ = name;
    ++moves_;
  }
  void EndCheck() {
    check_.clear();
    ++moves_;
  }
  void EndTest() {
    test_ = 0;
    group_.clear();
    ++moves_;
  }
  void Report(const std::string& line) {
    ++reports_;
    report_(line);
  }
  /// Reports that the handler of `device` did `what` in `call` ("FSRead()"), and where. A handler
  /// does the same thing again and again: the same line is reported once, and no more than
  /// kMostCalls lines are.
  void ReportCall(const std::string& device, const std::string& what, const std::string& call) {
    std::string line = "handler of " + device + ": " + what + " in " + call;
    if (const std::string place = Place(); !place.empty()) line += ", " + place;
    const bool is_known = std::find(blamed_.begin(), blamed_.end(), line) != blamed_.end();
    if (is_known || blamed_.size() > kMostCalls) return;
    if (blamed_.size() == kMostCalls) line = "handler of " + device + ": no more of that is listed";
    Report(line);
    blamed_.push_back(std::move(line));
  }

  static constexpr std::size_t kMostCalls = 100;

  /// The id of the running check, "Lock.ExclusiveOverShared"; between the checks of a group the
  /// group's name; outside of the tests empty.
  std::string Check() const { return check_.empty() ? group_ : group_ + "." + check_; }
  /// The same with the number of the test, for a line that says where something happened:
  /// "test 24 (Lock.ExclusiveOverShared)".
  std::string Place() const {
    return test_ == 0 ? std::string() : "test " + std::to_string(test_) + " (" + Check() + ")";
  }
  /// How many tests were begun so far.
  int begun() const { return begun_; }
  /// How often Check() and Place() have changed so far.
  int moves() const { return moves_; }
  /// How many lines were reported so far.
  int reports() const { return reports_; }

 private:
  std::function<void(const std::string& line)> report_;
  int test_ = 0;
  std::string group_;
  std::string check_;
  int begun_ = 0;
  int moves_ = 0;
  int reports_ = 0;
  std::vector<std::string> blamed_;  ///< the lines of ReportCall()
};

}  // namespace quorle
