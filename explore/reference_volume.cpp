#include "explore/reference_volume.h"

#include <stdexcept>
#include <utility>

#include "handlers/ram/ram_handler.h"

namespace quorle::explore {

ReferenceVolume::ReferenceVolume(SearchClock& clock, Console& console, const std::string& volume) {
  MountSpec spec;
  spec.name = "REF";
  spec.keys = {{"volume", volume}};
  std::string problem;
  volume_ = LoneVolume::Mount(*QuorleRamHandler(), std::move(spec),
                              {.clock = clock, .console = console}, problem);
  if (volume_ == nullptr) throw std::runtime_error("no reference volume: " + problem);
}

}  // namespace quorle::explore
