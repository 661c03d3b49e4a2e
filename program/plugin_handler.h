#pragma once

#include "hosted/calls/call_gate.h"
#include "hosted/calls/run_watch.h"
#include "hosted/dos/machine.h"

namespace quorle {

/// The handler "plugin": plugin:FILE mounts the handler that the shared object FILE exports. Keys
/// of its own, which the plugin does not see:
///
///   isolate=yes|no   whether it runs in a process of its own; yes unless given
///   limit=SECONDS    how long one call may take there, 1 to 86400; 10 unless given
///   restart=yes|no   whether the next test gets another process after one has ended; yes unless
///                    given
///
/// `watch` reports how processes ended, `gate`, which may be null, for how long they were stopped;
/// both must outlive the mounts.
NamedHandler PluginHandler(RunWatch& watch, CallGate* gate = nullptr);

}  // namespace quorle
