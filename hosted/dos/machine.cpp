#include "hosted/dos/machine.h"

#include <algorithm>
#include <utility>

#include "hosted/calls/mount.h"

namespace quorle {
namespace {

constexpr const char* kNilDevice = "NIL";

/// The key under which a handler finds what stood after its name and a colon in the mount.
constexpr const char* kPathKey = "path";

std::string ListNames(const std::vector<NamedHandler>& handlers) {
  std::string names;
  for (const NamedHandler& entry : handlers) {
    if (!names.empty()) names += ", ";
    names += entry.name;
  }
  return names.empty() ? "none" : names;
}

/// What runs behind a mount of `named`. What stands after a built-in handler's name becomes a key.
std::unique_ptr<HandlerProgram> MakeProgram(const NamedHandler& named, MountSpec& spec,
                                            std::string& problem) {
  if (named.handler == nullptr) return named.make(spec, problem);
  if (!spec.argument.empty()) spec.keys.insert(spec.keys.begin(), {kPathKey, spec.argument});
  return std::make_unique<PlainProgram>(*named.handler);
}

/// The kind of layer that the mount key `key` asks for, or null.
const NamedLayer* FindLayer(const std::vector<NamedLayer>& layers, std::string_view key) {
  const auto layer = std::find_if(layers.begin(), layers.end(),
                                  [key](const NamedLayer& kind) { return kind.key == key; });
  return layer == layers.end() ? nullptr : &*layer;
}

}  // namespace

Machine::Machine(const MachineOptions& options, const MachineParts& parts)
    : dos_({.list = list_,
            .numbers = numbers_,
            .console = parts.console,
            .input = parts.input,
            .clock = parts.clock,
            .breaks = parts.breaks},
           options.dos),
      further_(dos_, numbers_),
      exec_(numbers_, dos_, utility_, options.exec, &further_) {
  ports_.push_back(std::make_unique<HandlerPort>(kNilDevice));
  list_.AddDevice(*ports_.back());
}

Machine::~Machine() {
  ShutDown();
}

std::unique_ptr<Machine> Machine::Build(const MachineOptions& options, const MachineParts& parts,
                                        std::string& problem) {
  std::unique_ptr<Machine> machine(new Machine(options, parts));
  for (const MountSpec& spec : options.mounts) {
    if (machine->Mount(spec, options, parts, problem)) continue;
    problem.insert(0, "cannot mount " + spec.name + ": ");
    return nullptr;
  }
  return machine;
}

bool Machine::Mount(MountSpec spec, const MachineOptions& options, const MachineParts& parts,
                    std::string& problem) {
  const std::vector<NamedHandler>& handlers = options.handlers;
  if (list_.IsTaken(spec.name)) {
    problem = "the name is taken";
    return false;
  }
  const auto named =
      std::find_if(handlers.begin(), handlers.end(),
                   [&spec](const NamedHandler& entry) { return entry.name == spec.handler; });
  if (named == handlers.end()) {
    problem = "no handler is called \"" + spec.handler + "\"; there are: " + ListNames(handlers);
    return false;
  }
  std::unique_ptr<HandlerProgram> program = MakeProgram(*named, spec, problem);
  if (program == nullptr) return false;
  MountKeys keys;
  std::vector<std::pair<NamedLayer, std::string>> layers;
  for (const auto& [key, value] : spec.keys) {
    if (const NamedLayer* const layer = FindLayer(options.layers, key); layer != nullptr) {
      layers.emplace_back(*layer, value);
    } else {
      keys.emplace_back(key, value);
    }
  }
  const auto may_be_named = [this](const ::MsgPort& port, const std::string& name) {
    return !list_.IsTaken(name, &port);
  };
  const auto report = [&console = parts.console, device = spec.name](const std::string& line) {
    console.Report(device + ": " + line);
  };
  const auto process =
      program->IsElsewhere() ? CallGate::Process::kAnother : CallGate::Process::kOurs;
  std::unique_ptr<HandlerPort> port;
  {
    const CallGate::Passage passage(parts.gate, process, spec.name.c_str());
    port = MountHandler(std::move(program),
                        {.device_name = spec.name,
                         .type = spec.port,
                         .keys = std::move(keys),
                         .may_be_named = may_be_named,
                         .report = report,
                         .watch = parts.watch},
                        parts.clock, problem);
  }
  if (port == nullptr) return false;
  port->SetGate(parts.gate);
  for (const auto& [layer, value] : layers) {
    if (!port->Cover(layer, value, problem)) return false;
  }
  if (!list_.AddDevice(*port)) {
    problem = "the name of the device or of its volume is taken";
    return false;
  }
  if (named->handler != nullptr || options.remounts_all) further_.AllowRemount(*port);
  ports_.push_back(std::move(port));
  return true;
}

std::vector<std::string> Machine::ShutDown() {
  further_.ReleaseEverything();
  dos_.ReleaseEverything();
  std::vector<std::string> complaints;
  // The last mounted goes first, as it came on top of the others.
  for (auto port = ports_.rbegin(); port != ports_.rend(); ++port) {
    list_.RemoveDevice(**port);
    for (const std::string& complaint : (*port)->Unmount()) {
      complaints.push_back((*port)->device_name() + ": " + complaint);
    }
  }
  return complaints;
}

}  // namespace quorle
