#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quorle::selftest {

class Caller;

/// A few calls of a program, and what they come to over a hidden deviation and without it.
struct HiddenCalls {
  std::string_view deviation;
  std::string (*make)(Caller& dos);
  std::string_view right;
  std::string_view wrong;
};

// In a file each, as the deviations are.
std::span<const HiddenCalls> CallsOfData();
std::span<const HiddenCalls> CallsOfLinks();
std::span<const HiddenCalls> CallsOfNames();
std::span<const HiddenCalls> CallsOfRefusals();
std::span<const HiddenCalls> CallsOfScans();
std::span<const HiddenCalls> CallsOfVolumes();

}  // namespace quorle::selftest
