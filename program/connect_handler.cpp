#include "program/connect_handler.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "hosted/connect/child_command.h"
#include "hosted/connect/socket_program.h"
#include "hosted/connect/unix_socket.h"
#include "hosted/isolation/isolated_program.h"
#include "program/process_keys.h"

namespace quorle {
namespace {

constexpr std::string_view kUnix = "unix:";
/// How long somebody who is to listen is waited for.
constexpr std::chrono::milliseconds kComing{5000};
/// How long a command that has closed its socket may take to end.
constexpr std::chrono::milliseconds kEnding{2000};

using FarEndMaker = std::function<std::unique_ptr<connect::FarEnd>(
    const std::string& argument, const ProcessKeys& keys, std::string& problem)>;

/// `wait`, but so much less than a call may take that there is a line about what was waited for.
std::chrono::milliseconds AtMost(std::chrono::milliseconds wait, const ProcessKeys& keys) {
  return std::min(wait, std::chrono::milliseconds(keys.limit) * 3 / 5);
}

std::unique_ptr<connect::FarEnd> MakeSocket(const std::string& argument, const ProcessKeys& keys,
                                            std::string& problem) {
  if (!argument.starts_with(kUnix) || argument.size() == kUnix.size()) {
    problem = "connect needs a socket: connect:unix:PATH";
    return nullptr;
  }
  return std::make_unique<connect::UnixSocket>(argument.substr(kUnix.size()),
                                               AtMost(kComing, keys));
}

std::unique_ptr<connect::FarEnd> MakeCommand(const std::string& argument, const ProcessKeys& keys,
                                             std::string& problem) {
  if (argument.empty()) {
    problem = "exec needs a command: exec:COMMAND";
    return nullptr;
  }
  return std::make_unique<connect::ChildCommand>(argument, AtMost(kEnding, keys));
}

NamedHandler Behind(const FarEndMaker& make, const char* name, RunWatch& watch, CallGate* gate) {
  return {name, nullptr,
          [make, name, &watch, gate](MountSpec& spec,
                                     std::string& problem) -> std::unique_ptr<HandlerProgram> {
            const std::optional<ProcessKeys> keys = TakeProcessKeys(spec, problem);
            if (!keys) return nullptr;
            if (!keys->isolate) {
              problem = std::string("isolate=no: ") + name + " is always in a process of its own";
              return nullptr;
            }
            std::unique_ptr<connect::FarEnd> far_end = make(spec.argument, *keys, problem);
            if (far_end == nullptr) return nullptr;
            isolation::IsolationSettings settings = keys->Settings(gate);
            settings.traces = false;
            return std::make_unique<isolation::IsolatedProgram>(
                std::make_unique<connect::SocketProgram>(std::move(far_end)), settings, watch);
          }};
}

}  // namespace

std::vector<NamedHandler> ConnectHandlers(RunWatch& watch, CallGate* gate) {
  return {Behind(MakeSocket, "connect", watch, gate), Behind(MakeCommand, "exec", watch, gate)};
}

}  // namespace quorle
