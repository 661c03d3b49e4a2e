#include "program/reference_volume.h"

#include <stdexcept>
#include <utility>

#include "program/built_in_handlers.h"

namespace quorle {

ReferenceVolume::ReferenceVolume(explore::SearchClock& clock, Console& console,
                                 const std::string& volume) {
  MountSpec spec;
  spec.name = "REF";
  spec.handler = "ram";
  spec.keys = {{"volume", volume}};
  std::string problem;
  MachineOptions options{
      .handlers = BuiltInHandlers(), .layers = {}, .mounts = {}, .exec = {}, .dos = {}};
  options.mounts.push_back(std::move(spec));
  machine_ = Machine::Build(
      options, {.console = console, .input = input_, .clock = clock, .breaks = breaks_}, problem);
  if (machine_ == nullptr) throw std::runtime_error("no reference volume: " + problem);
  side_ = std::make_unique<explore::Side>(machine_->dos(), machine_->further(), "REF:");
}

}  // namespace quorle
