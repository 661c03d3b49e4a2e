#pragma once

#include "harness/context.h"

namespace quorle {

/// Finds the handler behind `ctx.device_name`, prints what it is and fills the target's fields of
/// `ctx`: names, version text, DOS type, disk information. False, with the reason printed, when it
/// is no filesystem that can be tested. `handler` is the look-up; the caller frees it with
/// `FreeDeviceProc()`, also after a failure.
bool IdentifyTarget(TestContext& ctx, const DevProc*& handler);

}  // namespace quorle
