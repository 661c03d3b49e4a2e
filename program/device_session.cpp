#include "program/device_session.h"

#include <utility>

#include "program/connect_handler.h"
#include "program/plugin_handler.h"
#include "program/tester_machine.h"

namespace quorle {

DeviceSession::DeviceSession(const HostOptions& options, Console& console, Clock& clock,
                             Report report)
    : options_(options),
      console_(console),
      clock_(clock),
      traces_(report != nullptr),
      watch_(report != nullptr ? std::move(report) : [](const std::string&) {}),
      gate_({.limit = options.limit, .was_interrupted = [this] { return breaks_.IsPending(); }},
            watch_) {}

bool DeviceSession::Mount() {
  machine_options_ = MachineFor(options_);
  machine_options_.handlers.push_back(PluginHandler(watch_, &gate_, traces_));
  for (NamedHandler& handler : ConnectHandlers(watch_, &gate_)) {
    machine_options_.handlers.push_back(std::move(handler));
  }
  std::string problem;
  machine_ = Machine::Build(machine_options_,
                            {.console = console_,
                             .input = input_,
                             .clock = clock_,
                             .breaks = breaks_,
                             .gate = &gate_,
                             .watch = &watch_},
                            problem);
  if (machine_ == nullptr) console_.Report(problem);
  return machine_ != nullptr;
}

HandlerPort* DeviceSession::Find(const std::string& name) const {
  return machine_->list().Find(name.substr(0, name.find(':'))).port;
}

}  // namespace quorle
