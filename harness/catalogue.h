#pragma once

#include <cstdint>

namespace quorle {

struct TestContext;

// What a sub-test returns. 1 to 19 fails it and the group goes on; 20 and more stops the group.
inline constexpr std::int32_t kPassed = 0;
inline constexpr std::int32_t kFailed = 10;
inline constexpr std::int32_t kFatal = 20;

/// One sub-test. `position` is the index of its entry in the table. Returns kPassed, kFailed or kFatal.
using SubTest = std::int32_t (*)(TestContext& ctx, std::int32_t position);

/// A group's sub-tests, in the order in which they run, ended by null.
using SubTestTable = const SubTest[];

/// One test group. Returns 0 when it passed (or was skipped), 10 when it failed or the filesystem
/// does not implement its operation.
using TestGroup = std::int32_t (*)(TestContext& ctx);

/// One row of the catalogue; its number is its index plus 1. The last row of a catalogue has a null
/// group and an empty title.
struct TestEntry {
  TestGroup group;
  const char* title;  ///< as the test list shows it; a row with a null title is not listed
};

}  // namespace quorle
