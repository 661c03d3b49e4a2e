#include "program/tester_machine.h"

#include "program/built_in_handlers.h"

namespace quorle {

MachineOptions MachineFor(const HostOptions& options) {
  MachineOptions machine{.handlers = BuiltInHandlers(),
                         .layers = BuiltInLayers(),
                         .mounts = StandardMounts(),
                         .exec = {options.dos_version, options.dos_revision, options.workbench},
                         .dos = {options.arguments, options.delays}};
  machine.mounts.insert(machine.mounts.end(), options.mounts.begin(), options.mounts.end());
  return machine;
}

}  // namespace quorle
