#include "selftest/support/two_devices.h"

#include <stdexcept>
#include <utility>

#include "hosted/dos/console.h"
#include "hosted/dos/line_input.h"
#include "program/built_in_handlers.h"

namespace quorle::selftest {
namespace {

class NoSink final : public ByteSink {
 public:
  bool Write(std::string_view) override { return true; }
  std::string Problem() const override { return {}; }
};

class NoLines final : public LineInput {
 public:
  bool ReadLine(std::string&) override { return false; }
};

class NeverBreak final : public BreakSource {
 public:
  bool TakeBreak() override { return false; }
};

}  // namespace

struct TwoDevices::Surroundings {
  NoSink sink;
  Console console{sink, sink, false};
  NoLines input;
  NeverBreak breaks;
};

TwoDevices::TwoDevices(const std::string& handler, PortType port, std::vector<NamedLayer> layers)
    : surroundings_(std::make_unique<Surroundings>()), port_(port), layers_(BuiltInLayers()) {
  layers_.insert(layers_.end(), layers.begin(), layers.end());
  reference_machine_ = Build("REF=ram,volume=Work");
  device_machine_ = Build("DH0=" + handler + ",volume=Work");
  reference_ = std::make_unique<explore::Side>(reference_machine_->dos(),
                                               reference_machine_->further(), "REF:");
  device_ =
      std::make_unique<explore::Side>(device_machine_->dos(), device_machine_->further(), "DH0:");
}

TwoDevices::~TwoDevices() {
  trial_.reset();
  device_.reset();
  reference_.reset();
}

std::unique_ptr<Machine> TwoDevices::Build(const std::string& mount) {
  MountSpec spec;
  std::string problem;
  if (!ParseMountSpec(mount, spec, problem)) throw std::invalid_argument(problem);
  if (spec.name == "DH0") spec.port = port_;
  // Those that every machine has: calls may name another volume.
  std::vector<MountSpec> mounts = StandardMounts();
  mounts.push_back(std::move(spec));
  std::unique_ptr<Machine> machine = Machine::Build({.handlers = BuiltInHandlers(),
                                                     .layers = layers_,
                                                     .mounts = std::move(mounts),
                                                     .exec = {},
                                                     .dos = {}},
                                                    {.console = surroundings_->console,
                                                     .input = surroundings_->input,
                                                     .clock = clock_,
                                                     .breaks = surroundings_->breaks},
                                                    problem);
  if (machine == nullptr) throw std::invalid_argument(problem);
  return machine;
}

std::string TwoDevices::Remount() {
  HandlerPort& port = device_port();
  device_machine_->dos().ReleasePort(port, {});
  port.UnmountForNow();
  std::string problem;
  return port.MountAgain(problem) ? std::string() : problem;
}

explore::Trial& TwoDevices::Start(explore::TrialSettings settings,
                                  explore::CallObserver* observer) {
  if (device_->Begin({}) != 0) throw std::runtime_error("the root cannot be locked");
  traits_ = explore::ProbeTraits(*device_, clock_, true);
  return MakeTrial(std::move(settings), observer);
}

explore::Trial& TwoDevices::StartWithAllTraits(explore::TrialSettings settings) {
  traits_ = {};
  return MakeTrial(std::move(settings), nullptr);
}

std::vector<std::string> TwoDevices::ShutDownDevice() {
  trial_.reset();
  device_.reset();
  return device_machine_->ShutDown();
}

explore::Trial& TwoDevices::MakeTrial(explore::TrialSettings settings,
                                      explore::CallObserver* observer) {
  trial_ = std::make_unique<explore::Trial>(explore::Trial::Parts{.reference = *reference_,
                                                                  .device = *device_,
                                                                  .clock = clock_,
                                                                  .control = control_,
                                                                  .traits = traits_,
                                                                  .observer = observer},
                                            std::move(settings));
  return *trial_;
}

}  // namespace quorle::selftest
