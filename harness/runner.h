#pragma once

#include <cstdint>

#include "harness/catalogue.h"
#include "harness/context.h"

namespace quorle {

/// Runs a group's sub-tests in table order and reports the verdict under `label` ("Lock()"). Returns
/// 0 when all passed, else 10. A sub-test that fails lets the next one run; one that is fatal stops
/// the group, which counts as not implemented when the last error is 209.
std::int32_t RunTestGroup(TestContext& ctx, const SubTest* sub_tests, const char* label);

}  // namespace quorle
