#pragma once

#include <cstdint>

#include "harness/catalogue.h"
#include "harness/run_listener.h"
#include "platform/exec.h"

namespace quorle {

/// The program: opens the platform, parses the command line, identifies the target, runs the
/// selected rows of `catalogue` and releases everything.
/// `listener` is called for each group and sub-test. Returns RETURN_OK when every selected group
/// passed, RETURN_ERROR when one did not, RETURN_FAIL when the run was refused before the tests.
std::int32_t Run(ExecInterface& exec, const Catalogue& catalogue, RunListener& listener);

}  // namespace quorle
