#include "explore/lone_volume.h"

#include <utility>

namespace quorle::explore {

std::unique_ptr<LoneVolume> LoneVolume::Mount(const ::Handler& handler, MountSpec spec,
                                              const Parts& parts, std::string& problem) {
  std::unique_ptr<LoneVolume> volume(new LoneVolume(spec.name));
  spec.handler = "lone";
  spec.argument.clear();
  MachineOptions options{
      .handlers = {{"lone", &handler}}, .layers = {}, .mounts = {}, .exec = {}, .dos = {}};
  options.mounts.push_back(std::move(spec));
  volume->machine_ = Machine::Build(options,
                                    {.console = parts.console,
                                     .input = volume->input_,
                                     .clock = parts.clock,
                                     .breaks = volume->breaks_,
                                     .watch = parts.watch},
                                    problem);
  if (volume->machine_ == nullptr) return nullptr;
  volume->side_ = std::make_unique<Side>(volume->machine_->dos(), volume->machine_->further(),
                                         volume->name_ + ":");
  return volume;
}

}  // namespace quorle::explore
