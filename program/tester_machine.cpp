#include "program/tester_machine.h"

#include "program/built_in_handlers.h"

namespace quorle {

MachineOptions MachineFor(const HostOptions& options) {
  MachineOptions machine{.handlers = BuiltInHandlers(),
                         .layers = BuiltInLayers(),
                         .mounts = StandardMounts(),
                         .exec = options.exec,
                         .dos = options.dos,
                         .remounts_all = options.remount.each};
  machine.mounts.insert(machine.mounts.end(), options.mounts.begin(), options.mounts.end());
  return machine;
}

}  // namespace quorle
