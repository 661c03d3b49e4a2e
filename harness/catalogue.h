#pragma once

#include <cstdint>

namespace quorle {

class RunListener;
struct TestContext;
struct TestGroup;

// What a sub-test returns. 1 to 19 fails it and the group goes on; 20 and more stops the group.
inline constexpr std::int32_t kPassed = 0;
inline constexpr std::int32_t kFailed = 10;
inline constexpr std::int32_t kFatal = 20;

/// One sub-test.
struct SubTest {
  const char* name = nullptr;  ///< of the rule that it checks, as its function is called
  /// `position` is the index of its entry in the table. Returns kPassed, kFailed or kFatal.
  std::int32_t (*run)(TestContext& ctx, std::int32_t position) = nullptr;
};

/// A group's sub-tests, in the order in which they run, ended by an empty entry.
using SubTestTable = const SubTest[];

/// Runs a group's sub-tests in table order and reports the verdict under its label. Returns 0 when
/// all passed, else 10. A sub-test that fails lets the next one run; one that is fatal stops the
/// group, which counts as not implemented when the last error is 209. Defined in runner.cpp.
std::int32_t RunTestGroup(TestContext& ctx, const TestGroup& group, RunListener& listener);

/// One test group.
struct TestGroup {
  const char* label;                   ///< "Lock()", as messages have it
  const SubTest* sub_tests = nullptr;  ///< ended by an empty entry; null when there are none
  const char* note = nullptr;          ///< what a group without sub-tests prints, if anything
  /// Returns 0 when the group passed (or was skipped), 10 when it failed or the filesystem does not
  /// implement its operation.
  std::int32_t (*run)(TestContext& ctx, const TestGroup& group,
                      RunListener& listener) = RunTestGroup;
  const char* id = nullptr;  ///< what reports call it; null: its label without the brackets
};

/// One row of the catalogue; its number is its index plus 1. The last row of a catalogue has a null
/// group and an empty title.
struct TestEntry {
  const TestGroup* group;
  const char* title;  ///< as the test list shows it; a row with a null title is not listed
};

/// A list of tests, as Run() takes it.
struct Catalogue {
  const char* name;          ///< "standard"
  const TestEntry* entries;  ///< at least one, then a row with a null group
  bool is_further = false;   ///< its tests get a FurtherContext
  bool may_destroy = false;  ///< whether they may lose what is on the volume
};

}  // namespace quorle
