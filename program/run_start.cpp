#include "program/run_start.h"

#include <ctime>

namespace quorle {
namespace {

std::string TimeNow() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  char text[sizeof "9999-12-31T23:59:59Z"];
  return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc)};
}

}  // namespace

RunEvent RunStart(const HostOptions& options, const DeviceSession& session,
                  const std::string& device) {
  RunEvent start;
  start.program = kProgramVersion;
  start.arguments = options.arguments;
  start.time = TimeNow();
  start.device = device;
  const HandlerPort* const port = session.Find(device);
  if (port == nullptr) return start;
  start.port = NameOf(port->type());
  for (const MountSpec& spec : session.machine_options().mounts) {
    if (session.Find(spec.name) == port) start.handler = spec.handler;
  }
  return start;
}

}  // namespace quorle
