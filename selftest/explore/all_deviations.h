#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "hosted/calls/port_type.h"

namespace quorle::selftest {

/// The names of all deviations, those that the catalogue notices first.
std::vector<std::string> AllDeviations();

/// Whether no program can see the deviation on a port of that type.
bool IsHiddenBy(std::string_view name, PortType port);
/// Whether no search finds the deviation there.
bool IsHiddenFromSearches(std::string_view name, PortType port);
/// Whether no file of calls can show the deviation on any port.
bool IsWithoutFile(std::string_view name);

}  // namespace quorle::selftest
