#include "selftest/unit/explore/ram_side.h"

#include <stdexcept>

#include "handlers/ram/ram_handler.h"

namespace quorle::explore {

RamSide::RamSide() {
  Renew();
}

RamSide::~RamSide() = default;

void RamSide::Renew() {
  side_.reset();
  machine_.reset();
  MachineOptions options;
  options.handlers = {{"ram", QuorleRamHandler()}};
  MountSpec spec;
  spec.name = "DH0";
  spec.handler = "ram";
  options.mounts = {spec};
  std::string problem;
  machine_ = Machine::Build(
      options, {.console = console_, .input = input_, .clock = clock_, .breaks = breaks_}, problem);
  if (machine_ == nullptr) throw std::runtime_error(problem);
  side_ = std::make_unique<Side>(machine_->dos(), machine_->further(), "DH0:");
  if (side_->Begin("") != 0) throw std::runtime_error("the root of DH0: cannot be locked");
}

}  // namespace quorle::explore
