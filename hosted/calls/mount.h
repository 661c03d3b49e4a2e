#pragma once

#include <memory>
#include <string>

#include "hosted/calls/handler_port.h"
#include "hosted/calls/mounted_handler.h"

namespace quorle {

/// Mounts `program`. Null, with one line in `problem`, when the handler refuses or does not fit.
/// `clock` must outlive the port.
std::unique_ptr<HandlerPort> MountHandler(std::unique_ptr<HandlerProgram> program,
                                          MountRequest request, Clock& clock, std::string& problem);
/// The same for a handler in this process, which must outlive the port.
std::unique_ptr<HandlerPort> MountHandler(const ::Handler& handler, MountRequest request,
                                          Clock& clock, std::string& problem);

}  // namespace quorle
