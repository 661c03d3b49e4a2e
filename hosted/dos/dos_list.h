#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "hosted/calls/handler_port.h"

namespace quorle {

/// An object of a handler: where a name before a colon leads, or what a lock is on.
struct PortObject {
  HandlerPort* port = nullptr;
  ::Lock* lock = nullptr;  ///< null: the root of the port's volume
};

/// Devices, volumes and assigns: what a name before a colon can mean. Case is ignored, no two of
/// them share a name. Volumes are those that the ports of the devices name. It owns nothing.
class DosList {
 public:
  /// Adds the device of `port`. False when the name is empty, contains ':' or '/', or is taken.
  bool AddDevice(HandlerPort& port);
  /// Forgets the device of `port`, its volume and the assigns that lead to it.
  void RemoveDevice(const HandlerPort& port);
  /// Adds an assign to `lock` (null: the root) on `port`. False when the name cannot be taken.
  bool AddAssign(std::string_view name, HandlerPort& port, ::Lock* lock);

  /// Whether a device or volume (but the volume of the port `except`) or assign is called `name`.
  bool IsTaken(std::string_view name, const ::MsgPort* except = nullptr) const;
  /// What `name` (without colon) leads to; a place without a port when nothing has that name.
  PortObject Find(std::string_view name) const;

  /// All devices, in the order in which they were added.
  const std::vector<HandlerPort*>& devices() const { return devices_; }
  /// The port of the process's own filesystem, whose root no lock (zero) stands for: that of the
  /// first device with a filesystem (our choice). Null when there is none.
  HandlerPort* home() const;

 private:
  struct Assign {
    std::string name;
    PortObject place;
  };

  std::vector<HandlerPort*> devices_;
  std::vector<Assign> assigns_;
};

}  // namespace quorle
