#pragma once

#include <memory>
#include <string>

#include "explore/side.h"
#include "hosted/calls/clock.h"
#include "hosted/calls/run_watch.h"
#include "hosted/dos/console.h"
#include "hosted/dos/machine.h"
#include "hosted/dos/mount_spec.h"
#include "quorle/handler.h"

namespace quorle::explore {

/// One handler, in this process, on a machine of its own without anything around it: no input, no break key,
/// no limit.
class LoneVolume {
 public:
  /// What lies outside. All of it must outlive the volume.
  struct Parts {
    Clock& clock;  ///< that of its dos
    Console& console;
    RunWatch* watch = nullptr;  ///< gets a line for what the handler answers wrongly
  };
  /// Mounts `handler` as `spec` says, whose own handler and argument are not looked at. Null, with one line
  /// in `problem`, when it refuses.
  static std::unique_ptr<LoneVolume> Mount(const ::Handler& handler, MountSpec spec,
                                           const Parts& parts, std::string& problem);
  LoneVolume(const LoneVolume&) = delete;
  LoneVolume& operator=(const LoneVolume&) = delete;

  Side& side() { return *side_; }
  HandlerPort& port() { return *machine_->list().Find(name_).port; }

 private:
  class NoInput final : public LineInput {
   public:
    bool ReadLine(std::string& /*line*/) override { return false; }
  };
  class NoBreak final : public BreakSource {
   public:
    bool TakeBreak() override { return false; }
  };

  explicit LoneVolume(std::string name) : name_(std::move(name)) {}

  std::string name_;
  NoInput input_;
  NoBreak breaks_;
  std::unique_ptr<Machine> machine_;
  std::unique_ptr<Side> side_;
};

}  // namespace quorle::explore
