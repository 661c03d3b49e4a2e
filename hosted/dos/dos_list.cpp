#include "hosted/dos/dos_list.h"

#include <algorithm>

#include "hosted/dos/latin1.h"

namespace quorle {
namespace {

bool IsName(std::string_view name) {
  return !name.empty() && name.find_first_of(":/") == std::string_view::npos;
}

}  // namespace

bool DosList::AddDevice(HandlerPort& port) {
  // The port's own volume is not excepted: a device clashes with every name.
  if (!IsName(port.device_name()) || IsTaken(port.device_name())) return false;
  if (port.volume_name() && IsTaken(*port.volume_name())) return false;
  if (port.volume_name() && CompareLatin1(*port.volume_name(), port.device_name()) == 0) {
    return false;
  }
  devices_.push_back(&port);
  return true;
}

void DosList::RemoveDevice(const HandlerPort& port) {
  std::erase(devices_, &port);
  std::erase_if(assigns_, [&port](const Assign& assign) { return assign.place.port == &port; });
}

bool DosList::AddAssign(std::string_view name, HandlerPort& port, ::Lock* lock) {
  if (!IsName(name) || IsTaken(name)) return false;
  assigns_.push_back({std::string(name), {&port, lock}});
  return true;
}

HandlerPort* DosList::home() const {
  const auto found = std::find_if(devices_.begin(), devices_.end(), [](const HandlerPort* port) {
    return port->type() != PortType::kNone;
  });
  return found == devices_.end() ? nullptr : *found;
}

bool DosList::IsTaken(std::string_view name, const ::MsgPort* except) const {
  for (const HandlerPort* const port : devices_) {
    if (CompareLatin1(port->device_name(), name) == 0) return true;
    if (port->port() == except || !port->volume_name()) continue;
    if (CompareLatin1(*port->volume_name(), name) == 0) return true;
  }
  for (const Assign& assign : assigns_) {
    if (CompareLatin1(assign.name, name) == 0) return true;
  }
  return false;
}

PortObject DosList::Find(std::string_view name) const {
  for (HandlerPort* const port : devices_) {
    if (CompareLatin1(port->device_name(), name) == 0) return {port, nullptr};
    if (port->volume_name() && CompareLatin1(*port->volume_name(), name) == 0) {
      return {port, nullptr};
    }
  }
  for (const Assign& assign : assigns_) {
    if (CompareLatin1(assign.name, name) == 0) return assign.place;
  }
  return {};
}

}  // namespace quorle
