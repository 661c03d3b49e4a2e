#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "hosted/calls/handler_port.h"
#include "hosted/calls/mounted_handler.h"

namespace quorle {

/// What one `--mount` option asks for: NAME=HANDLER[,key=value...], where HANDLER is a word that an
/// argument may follow after a colon.
struct MountSpec {
  std::string name;              ///< of the device, without its colon
  std::string handler;           ///< "ram", "dir", "plugin"
  std::string argument;          ///< what follows "dir:" or "plugin:"
  std::optional<PortType> port;  ///< from the key "port", which goes no further
  MountKeys keys;                ///< all other keys, for the handler
};

/// Reads the value of a `--mount` option into `spec`. False, with one line in `problem`, when it is
/// not of that form. Which handlers and keys there are is not known here.
bool ParseMountSpec(std::string_view text, MountSpec& spec, std::string& problem);

}  // namespace quorle
