#include "selftest/sweep/sub_test_watch.h"

#include <array>
#include <cstdint>

#include "harness/runner.h"

namespace quorle::selftest {
namespace {

constexpr std::size_t kMostSubTests = 16;

/// The table at hand. Sub-tests are plain functions: they have no other way to it.
const SubTest* watched_table = nullptr;
std::size_t started = 0;

std::int32_t WatchedSubTest(TestContext& ctx, std::int32_t position) {
  ++started;
  CurrentSubTest() = std::to_string(position + 1);
  const std::int32_t status = watched_table[position](ctx, position);
  CurrentSubTest().clear();
  return status;
}

}  // namespace

std::string& CurrentSubTest() {
  static std::string current;
  return current;
}

std::size_t StartedSubTests() {
  return started;
}

/// What stands in for RunTestGroup() of a group: the real one runs a table that leads to the
/// group's own sub-tests.
std::int32_t RunTableWatched(TestContext& ctx, const SubTest* sub_tests, const char* label,
                             std::int32_t (*real)(TestContext&, const SubTest*, const char*)) {
  std::array<SubTest, kMostSubTests + 1> table{};
  for (std::size_t i = 0; i < kMostSubTests && sub_tests[i] != nullptr; ++i) {
    table[i] = WatchedSubTest;
  }
  watched_table = sub_tests;
  return real(ctx, table.data(), label);
}

}  // namespace quorle::selftest

// The linker sends every call of RunTestGroup() to the second of these, and the first is the real
// one (--wrap). The names are what the compiler makes of quorle::RunTestGroup.
extern "C" {
std::int32_t __real__ZN6quorle12RunTestGroupERNS_11TestContextEPKPFiS1_iEPKc(
    quorle::TestContext& ctx, const quorle::SubTest* sub_tests, const char* label);

std::int32_t __wrap__ZN6quorle12RunTestGroupERNS_11TestContextEPKPFiS1_iEPKc(
    quorle::TestContext& ctx, const quorle::SubTest* sub_tests, const char* label) {
  return quorle::selftest::RunTableWatched(
      ctx, sub_tests, label, __real__ZN6quorle12RunTestGroupERNS_11TestContextEPKPFiS1_iEPKc);
}
}
