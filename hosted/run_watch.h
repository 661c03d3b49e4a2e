#pragma once

#include <functional>
#include <string>
#include <utility>

namespace quorle {

/// Which test is running, for those who must tell where something happened, and where they tell it.
class RunWatch {
 public:
  /// `report` takes one line.
  explicit RunWatch(std::function<void(const std::string& line)> report)
      : report_(std::move(report)) {}
  RunWatch(const RunWatch&) = delete;
  RunWatch& operator=(const RunWatch&) = delete;

  void BeginTest(int number) {
    test_ = number;
    ++begun_;
  }
  void EndTest() { test_ = 0; }
  void Report(const std::string& line) {
    ++reports_;
    report_(line);
  }

  /// The number of the running test, or 0.
  int test() const { return test_; }
  /// How many tests were begun so far.
  int begun() const { return begun_; }
  /// How many lines were reported so far.
  int reports() const { return reports_; }

 private:
  std::function<void(const std::string& line)> report_;
  int test_ = 0;
  int begun_ = 0;
  int reports_ = 0;
};

}  // namespace quorle
