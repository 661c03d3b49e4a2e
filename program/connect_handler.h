#pragma once

#include <vector>

#include "hosted/calls/call_gate.h"
#include "hosted/calls/run_watch.h"
#include "hosted/dos/machine.h"

namespace quorle {

/// The handlers behind a socket, which docs/connect.md describes: connect:unix:PATH connects to who
/// listens there, exec:COMMAND starts a command with the socket as its descriptor 3. They have the keys
/// of ProcessKeys, but no isolate=no.
///
/// `watch` reports how they ended, `gate`, which may be null, for how long their process was stopped;
/// both must outlive the mounts.
std::vector<NamedHandler> ConnectHandlers(RunWatch& watch, CallGate* gate = nullptr);

}  // namespace quorle
