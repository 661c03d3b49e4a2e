#pragma once

#include <memory>
#include <string>

#include "explore/search_clock.h"
#include "explore/side.h"
#include "hosted/dos/console.h"
#include "hosted/dos/line_input.h"
#include "hosted/dos/machine.h"

namespace quorle {

/// A volume in memory that behaves as the platform says, REF:, on a machine of its own, without anything
/// around it.
class ReferenceVolume {
 public:
  /// `clock` is that of its dos; both must outlive this. `volume` is the name of the volume, which is that of
  /// the device: when a sequence has renamed both, both get it back.
  ReferenceVolume(explore::SearchClock& clock, Console& console, const std::string& volume);
  ReferenceVolume(const ReferenceVolume&) = delete;
  ReferenceVolume& operator=(const ReferenceVolume&) = delete;

  explore::Side& side() { return *side_; }
  HandlerPort& port() { return *machine_->list().Find("REF").port; }

 private:
  class NoInput final : public LineInput {
   public:
    bool ReadLine(std::string& /*line*/) override { return false; }
  };
  class NoBreak final : public BreakSource {
   public:
    bool TakeBreak() override { return false; }
  };

  NoInput input_;
  NoBreak breaks_;
  std::unique_ptr<Machine> machine_;
  std::unique_ptr<explore::Side> side_;
};

}  // namespace quorle
