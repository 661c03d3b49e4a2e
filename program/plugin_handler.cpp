#include "program/plugin_handler.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "handlers/plugin/plugin.h"
#include "hosted/calls/handler_program.h"
#include "hosted/isolation/guarded_program.h"
#include "hosted/isolation/isolated_program.h"
#include "program/process_keys.h"

namespace quorle {
namespace {

/// A plugin, loaded when it is first mounted: in a handler process it is loaded there alone.
class PluginProgram final : public HandlerProgram {
 public:
  explicit PluginProgram(std::string path) : path_(std::move(path)) {}

  ::FileSystemVectorPort* Mount(const ::HandlerMount& mount, HostServices& services,
                                std::string& problem) override {
    if (plugin_ == nullptr) {
      plugin_ = plugin::Plugin::Load(path_, problem);
      if (plugin_ == nullptr) return nullptr;
      handler_.emplace(plugin_->handler());
    }
    ::FileSystemVectorPort* const port = handler_->Mount(mount, services, problem);
    if (port == nullptr) return nullptr;
    if (HasFunctions(port->FSV) || handler_->TakesPackets()) return port;
    handler_->Unmount(*port);
    problem = "the handler has neither functions nor Packet()";
    return nullptr;
  }

  void Unmount(::FileSystemVectorPort& port) override { handler_->Unmount(port); }
  void Discard(void* medium) override { handler_->Discard(medium); }
  bool TakesPackets() const override { return handler_->TakesPackets(); }
  bool Packet(::FileSystemVectorPort& port, ::DosPacket& packet) override {
    return handler_->Packet(port, packet);
  }

 private:
  std::string path_;
  std::unique_ptr<plugin::Plugin> plugin_;
  std::optional<PlainProgram> handler_;
};

std::unique_ptr<HandlerProgram> MakeProgram(MountSpec& spec, RunWatch& watch, CallGate* gate,
                                            bool traces, std::string& problem) {
  if (spec.argument.empty()) {
    problem = "plugin needs a file: " + spec.name + "=plugin:./my.so";
    return nullptr;
  }
  const std::optional<ProcessKeys> keys = TakeProcessKeys(spec, problem);
  if (!keys) return nullptr;
  auto program = std::make_unique<PluginProgram>(spec.argument);
  if (keys->isolate) {
    isolation::IsolationSettings settings = keys->Settings(gate);
    settings.traces = traces;
    return std::make_unique<isolation::IsolatedProgram>(std::move(program), settings, watch);
  }
  return std::make_unique<isolation::GuardedProgram>(std::move(program), watch);
}

}  // namespace

NamedHandler PluginHandler(RunWatch& watch, CallGate* gate, bool traces) {
  return {"plugin", nullptr, [&watch, gate, traces](MountSpec& spec, std::string& problem) {
            return MakeProgram(spec, watch, gate, traces, problem);
          }};
}

}  // namespace quorle
