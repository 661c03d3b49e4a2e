#include "hosted/built_in_handlers.h"

#include "handlers/ram/ram_handler.h"

namespace quorle {

std::vector<NamedHandler> BuiltInHandlers() {
  return {{"ram", QuorleRamHandler()}};
}

std::vector<MountSpec> StandardMounts() {
  const auto ram = [](const char* name, const char* volume) {
    MountSpec spec;
    spec.name = name;
    spec.handler = "ram";
    spec.keys = {{"volume", volume}};
    return spec;
  };
  // A volume may not have the name of its device.
  return {ram("RAM", "Ram Disk"), ram("ENV", "Env Disk")};
}

}  // namespace quorle
