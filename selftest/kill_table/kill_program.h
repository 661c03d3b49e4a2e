#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "selftest/kill_table/kept_outcomes.h"

namespace quorle::selftest {

/// A program that compares what deviations come to with what is kept of them: PROGRAM FILE [DOCUMENT].
struct KillProgram {
  const char* name;
  std::vector<std::string> deviations;  ///< all that the file may have, in its order
  /// Registers the tests. `kept` lives until they were run; `document` is the file for people, empty: none.
  std::function<void(KeptOutcomes& kept, const std::string& document)> register_tests;
};

/// Reads the command line and the file, and runs the tests. Returns the exit status: 2 for a command line or a file that
/// is none.
int RunKillProgram(int argc, char** argv, const KillProgram& program);

/// `name` as that of a test: without dashes.
std::string KillTestName(std::string_view name);

/// Registers the test that `make` makes.
template <class Make>
void RegisterKillTest(const char* suite, const std::string& name, const Make& make) {
  testing::RegisterTest(suite, name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                        [make]() -> testing::Test* { return make(); });
}

}  // namespace quorle::selftest
