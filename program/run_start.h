#pragma once

#include <string>

#include "program/device_session.h"
#include "program/host_options.h"
#include "results/event.h"

namespace quorle {

/// What the first event says of a run over `device`, a word of the command line.
RunEvent RunStart(const HostOptions& options, const DeviceSession& session,
                  const std::string& device);

}  // namespace quorle
