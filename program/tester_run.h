#pragma once

#include <cstdint>

#include "hosted/dos/console.h"
#include "program/host_options.h"
#include "program/result_session.h"

namespace quorle {

/// Runs the tester as `options` say, on a machine of its own each time. Returns the exit status.
std::int32_t RunTester(const HostOptions& options, const ResultSession::Screen& screen,
                       Console& console);

}  // namespace quorle
