#pragma once

#include <optional>
#include <string>

#include "hosted/calls/handler_port.h"

namespace quorle {

/// The path of the object `name` in `directory`, from the root of its volume: "dir/file", of the root "".
/// A null `directory` is the root, an empty `name` the directory itself. None when the handler cannot say
/// what a directory on the way is called.
std::optional<std::string> PathOf(HandlerPort& port, ::Lock* directory, const std::string& name);

/// The path of an open file.
std::optional<std::string> PathOf(HandlerPort& port, ::FileHandle& file);

}  // namespace quorle
