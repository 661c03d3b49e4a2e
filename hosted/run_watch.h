#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>

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
  }
  /// `name` is that of the rule which the check is about.
  void BeginCheck(std::string_view name) { check_ = name; }
  void EndCheck() { check_.clear(); }
  void EndTest() {
    test_ = 0;
    group_.clear();
  }
  void Report(const std::string& line) {
    ++reports_;
    report_(line);
  }

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
  /// How many lines were reported so far.
  int reports() const { return reports_; }

 private:
  std::function<void(const std::string& line)> report_;
  int test_ = 0;
  std::string group_;
  std::string check_;
  int begun_ = 0;
  int reports_ = 0;
};

}  // namespace quorle
