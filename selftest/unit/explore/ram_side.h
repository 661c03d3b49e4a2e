#pragma once

#include <memory>
#include <string>
#include <utility>

#include "explore/search_clock.h"
#include "explore/side.h"
#include "handlers/ram/ram_handler.h"
#include "hosted/dos/console.h"
#include "hosted/dos/machine.h"
#include "selftest/unit/hosted/memory_sink.h"

namespace quorle::explore {

/// A volume in memory, RAM:, on which calls are made.
class RamSide {
 public:
  explicit RamSide(MountKeys keys = {}) {
    MachineOptions options;
    options.handlers = {{"ram", QuorleRamHandler()}};
    MountSpec spec;
    spec.name = "RAM";
    spec.handler = "ram";
    spec.keys = std::move(keys);
    options.mounts = {spec};
    std::string problem;
    machine_ = Machine::Build(
        options, {.console = console_, .input = input_, .clock = clock_, .breaks = breaks_},
        problem);
    side_ = std::make_unique<Side>(machine_->dos(), machine_->further(), "RAM:");
    side_->Begin("");
  }

  Side& side() { return *side_; }
  Machine& machine() { return *machine_; }
  SearchClock& clock() { return clock_; }

 private:
  class NoInput final : public LineInput {
   public:
    bool ReadLine(std::string&) override { return false; }
  };
  class NoBreak final : public BreakSource {
   public:
    bool TakeBreak() override { return false; }
  };

  MemorySink output_;
  MemorySink errors_;
  Console console_{output_, errors_, false};
  NoInput input_;
  NoBreak breaks_;
  SearchClock clock_;
  std::unique_ptr<Machine> machine_;
  std::unique_ptr<Side> side_;
};

}  // namespace quorle::explore
