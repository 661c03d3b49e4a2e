#pragma once

#include <cstdint>

#include "results/expectations.h"
#include "results/run_record.h"

namespace quorle {

/// The exit status for `run`: 20 when it was refused. Else 10 when a check is not as `expectations` say
/// (null, without --expect: when the process result is 10 or a handler ended), the run was interrupted or cut off, a
/// selected check got no verdict, a handler lost or freed twice what it was given or ended outside of
/// any check, an object was left behind, or a remount failed. Else 0.
std::int32_t ExitStatus(const RunRecord& run, const Expectations* expectations);

}  // namespace quorle
