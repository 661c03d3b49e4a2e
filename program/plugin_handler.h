#pragma once

#include "hosted/calls/call_gate.h"
#include "hosted/calls/run_watch.h"
#include "hosted/dos/machine.h"

namespace quorle {

/// The handler "plugin": plugin:FILE mounts the handler that the shared object FILE exports. It has
/// the keys of ProcessKeys.
///
/// `watch` reports how processes ended, `gate`, which may be null, for how long they were stopped;
/// both must outlive the mounts. With `traces` a process that crashes says where in the handler that was.
NamedHandler PluginHandler(RunWatch& watch, CallGate* gate = nullptr, bool traces = true);

}  // namespace quorle
