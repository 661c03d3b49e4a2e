#include "hosted/calls/mount.h"

#include <utility>

namespace quorle {

std::unique_ptr<HandlerPort> MountHandler(std::unique_ptr<HandlerProgram> program,
                                          MountRequest request, Clock& clock,
                                          std::string& problem) {
  problem.clear();
  std::optional<PortType> type = request.type;
  RunWatch* const watch = request.watch;
  auto mounted = std::make_unique<MountedHandler>(std::move(program), std::move(request), clock);
  if (!mounted->Start(problem)) return nullptr;
  if (mounted->TakesPacketsAlone()) {
    if (type == PortType::kVector) {
      problem = "port=vector: the handler has no functions, it takes packets alone";
      return nullptr;
    }
    type = type.value_or(PortType::kPacket);
  }
  auto port =
      std::make_unique<HandlerPort>(type.value_or(PortType::kVector), std::move(mounted), watch);
  if (!port->NameVolumeByRoot(problem)) return nullptr;
  return port;
}

std::unique_ptr<HandlerPort> MountHandler(const ::Handler& handler, MountRequest request,
                                          Clock& clock, std::string& problem) {
  return MountHandler(std::make_unique<PlainProgram>(handler), std::move(request), clock, problem);
}

}  // namespace quorle
