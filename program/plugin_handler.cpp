#include "program/plugin_handler.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "handlers/plugin/plugin.h"
#include "hosted/calls/handler_program.h"
#include "hosted/isolation/guarded_program.h"
#include "hosted/isolation/isolated_program.h"

namespace quorle {
namespace {

constexpr int kLongestLimit = 24 * 60 * 60;

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

/// Takes the value of `key` out of `keys`; none when it is not there.
std::optional<std::string> TakeKey(MountKeys& keys, std::string_view key) {
  const auto found =
      std::find_if(keys.begin(), keys.end(), [key](const auto& pair) { return pair.first == key; });
  if (found == keys.end()) return std::nullopt;
  std::string value = std::move(found->second);
  keys.erase(found);
  return value;
}

/// Reads a yes or no; `flag` stays as it is without a value. False, with `problem`, for anything
/// else.
bool ReadFlag(const std::optional<std::string>& value, const char* key, bool& flag,
              std::string& problem) {
  if (!value) return true;
  flag = *value == "yes";
  if (flag || *value == "no") return true;
  problem = std::string(key) + "=" + *value + ": it is either yes or no";
  return false;
}

bool ReadLimit(const std::optional<std::string>& value, std::chrono::seconds& limit,
               std::string& problem) {
  if (!value) return true;
  int seconds = 0;
  const char* const end = value->data() + value->size();
  const auto [stop, error] = std::from_chars(value->data(), end, seconds);
  limit = std::chrono::seconds(seconds);
  if (error == std::errc() && stop == end && seconds >= 1 && seconds <= kLongestLimit) return true;
  problem =
      "limit=" + *value + ": it is a number of seconds, 1 to " + std::to_string(kLongestLimit);
  return false;
}

std::unique_ptr<HandlerProgram> MakeProgram(MountSpec& spec, RunWatch& watch, CallGate* gate,
                                            std::string& problem) {
  if (spec.argument.empty()) {
    problem = "plugin needs a file: " + spec.name + "=plugin:./my.so";
    return nullptr;
  }
  const std::optional<std::string> isolate = TakeKey(spec.keys, "isolate");
  const std::optional<std::string> limit = TakeKey(spec.keys, "limit");
  const std::optional<std::string> restart = TakeKey(spec.keys, "restart");
  bool isolated = true;
  isolation::IsolationSettings settings{.gate = gate};
  if (!ReadFlag(isolate, "isolate", isolated, problem) ||
      !ReadLimit(limit, settings.limit, problem) ||
      !ReadFlag(restart, "restart", settings.restart, problem)) {
    return nullptr;
  }
  auto program = std::make_unique<PluginProgram>(spec.argument);
  if (isolated) {
    settings.restart = restart != "no";
    return std::make_unique<isolation::IsolatedProgram>(std::move(program), settings, watch);
  }
  if (limit || settings.restart) {
    problem = std::string(limit ? "limit" : "restart") + " needs a process: not with isolate=no";
    return nullptr;
  }
  return std::make_unique<isolation::GuardedProgram>(std::move(program), watch);
}

}  // namespace

NamedHandler PluginHandler(RunWatch& watch, CallGate* gate) {
  return {"plugin", nullptr, [&watch, gate](MountSpec& spec, std::string& problem) {
            return MakeProgram(spec, watch, gate, problem);
          }};
}

}  // namespace quorle
