#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "harness/run_listener.h"

namespace quorle::selftest {

/// Knows which sub-test is running.
class SubTestWatch final : public RunListener {
 public:
  void OnSubTestStart(const SubTest& /*sub_test*/, std::int32_t number) override {
    ++started_;
    current_ = std::to_string(number);
  }
  void OnSubTestEnd(const SubTest& /*sub_test*/, std::int32_t /*status*/) override {
    current_.clear();
  }

  /// The number of the sub-test that is running, "" outside of the sub-tests.
  const std::string& current() const { return current_; }
  /// How many sub-tests were started.
  std::size_t started() const { return started_; }

 private:
  std::string current_;
  std::size_t started_ = 0;
};

}  // namespace quorle::selftest
