#pragma once

#include "hosted/dos/machine.h"
#include "program/host_options.h"

namespace quorle {

/// The machine that `options` describe: the built-in handlers and layers, the devices that are always
/// there, and the mounts of the options after them. Handlers that need more than the options say,
/// as plugins do, are the caller's to add.
MachineOptions MachineFor(const HostOptions& options);

}  // namespace quorle
