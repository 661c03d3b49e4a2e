#pragma once

#include <memory>
#include <string>
#include <vector>

#include "explore/search_clock.h"
#include "explore/side.h"
#include "explore/traits.h"
#include "explore/trial.h"
#include "hosted/calls/port_layer.h"
#include "hosted/calls/port_type.h"
#include "hosted/dos/machine.h"

namespace quorle::selftest {

/// A device DH0: and a reference volume, each on a machine of its own under one clock, as a search has them.
class TwoDevices {
 public:
  /// `handler` is what DH0: is mounted with: "ram", "ram,deviate=NAME", "dir:/path". `layers` are there besides
  /// those of the program.
  explicit TwoDevices(const std::string& handler, PortType port = PortType::kVector,
                      std::vector<NamedLayer> layers = {});
  ~TwoDevices();
  TwoDevices(const TwoDevices&) = delete;
  TwoDevices& operator=(const TwoDevices&) = delete;

  explore::Side& reference() { return *reference_; }
  explore::Side& device() { return *device_; }
  explore::SearchClock& clock() { return clock_; }
  const explore::Traits& traits() const { return traits_; }
  /// Probes the traits of the device and makes a trial of both.
  explore::Trial& Start(explore::TrialSettings settings = {},
                        explore::CallObserver* observer = nullptr);
  /// The same, as if the device could do all that the reference can.
  explore::Trial& StartWithAllTraits(explore::TrialSettings settings = {});
  explore::Trial& trial() { return *trial_; }

  /// The ports of the two.
  HandlerPort& device_port() { return *device_machine_->list().Find("DH0").port; }
  HandlerPort& reference_port() { return *reference_machine_->list().Find("REF").port; }
  /// Unmounts the device and mounts it again. Returns what went wrong; empty: nothing.
  std::string Remount();
  /// Ends the device. Returns what its handler did wrong in all that time, a line each.
  std::vector<std::string> ShutDownDevice();

 private:
  /// Keeps the handler's devices and nothing else.
  class Control final : public explore::DeviceControl {
   public:
    explicit Control(TwoDevices& devices) : devices_(devices) {}
    std::string Remount() override { return devices_.Remount(); }

   private:
    TwoDevices& devices_;
  };

  std::unique_ptr<Machine> Build(const std::string& mount);
  explore::Trial& MakeTrial(explore::TrialSettings settings, explore::CallObserver* observer);

  /// What a machine needs around it, and nobody looks at.
  struct Surroundings;

  std::unique_ptr<Surroundings> surroundings_;
  explore::SearchClock clock_;
  PortType port_;
  std::vector<NamedLayer> layers_;
  std::unique_ptr<Machine> reference_machine_;
  std::unique_ptr<Machine> device_machine_;
  std::unique_ptr<explore::Side> reference_;
  std::unique_ptr<explore::Side> device_;
  explore::Traits traits_;
  Control control_{*this};
  std::unique_ptr<explore::Trial> trial_;
};

}  // namespace quorle::selftest
