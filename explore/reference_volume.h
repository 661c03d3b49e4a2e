#pragma once

#include <memory>
#include <string>

#include "explore/lone_volume.h"
#include "explore/search_clock.h"

namespace quorle::explore {

/// A volume in memory that behaves as the platform says, REF:.
class ReferenceVolume {
 public:
  /// `clock` is that of its dos; both must outlive this. `volume` is the name of the volume, which is that of
  /// the device: when a sequence has renamed both, both get it back.
  ReferenceVolume(SearchClock& clock, Console& console, const std::string& volume);

  Side& side() { return volume_->side(); }
  HandlerPort& port() { return volume_->port(); }

 private:
  std::unique_ptr<LoneVolume> volume_;
};

}  // namespace quorle::explore
