#include "hosted/dos/mount_spec.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace quorle {
namespace {

// As long as a name of a file may be; the platform sets no limit of its own for a device (a choice
// of ours).
constexpr std::size_t kMaxDeviceName = 255;

constexpr std::string_view kPortKey = "port";

bool IsAsciiControl(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < 0x20 || byte == 0x7F;
}

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  quoted += text;
  quoted += '"';
  return quoted;
}

// Cuts `text` at the first `separator`; returns what stands before it and leaves the rest. Without
// one the whole text is returned and the rest is empty.
std::string_view CutAt(char separator, std::string_view& text) {
  const std::size_t at = text.find(separator);
  const std::string_view before = text.substr(0, at);
  text = at == std::string_view::npos ? std::string_view() : text.substr(at + 1);
  return before;
}

// Why `name` cannot be a device name; empty when it can.
std::string DeviceNameProblem(std::string_view name) {
  if (name.empty()) return "the device name is empty";
  if (name.size() > kMaxDeviceName) {
    return "the device name is longer than " + std::to_string(kMaxDeviceName) + " bytes";
  }
  if (std::any_of(name.begin(), name.end(), IsAsciiControl)) {
    return "the device name " + Quoted(name) + " holds a control character";
  }
  for (const char c : {':', '/'}) {
    if (name.find(c) != std::string_view::npos) {
      return "the device name " + Quoted(name) + " holds a '" + c + "'";
    }
  }
  return {};
}

bool ParseKey(std::string_view text, MountSpec& spec, std::string& problem) {
  if (text.find('=') == std::string_view::npos) {
    problem = Quoted(text) + " is not of the form key=value";
    return false;
  }
  std::string_view value = text;
  const std::string_view key = CutAt('=', value);
  if (key.empty()) {
    problem = Quoted(text) + " has no key before its '='";
    return false;
  }
  const bool is_port = key == kPortKey;
  const bool given = is_port ? spec.port.has_value()
                             : std::any_of(spec.keys.begin(), spec.keys.end(),
                                           [key](const auto& entry) { return entry.first == key; });
  if (given) {
    problem = "the key " + Quoted(key) + " is given twice";
    return false;
  }
  if (!is_port) {
    spec.keys.emplace_back(key, value);
    return true;
  }
  spec.port = PortTypeOf(value);
  if (spec.port) return true;
  problem = "port=" + std::string(value) + ": the port is vector, packet or classic";
  return false;
}

}  // namespace

bool ParseMountSpec(std::string_view text, MountSpec& spec, std::string& problem) {
  spec = {};
  problem.clear();
  if (text.find('=') == std::string_view::npos) {
    problem = Quoted(text) + " is not of the form NAME=HANDLER";
    return false;
  }
  spec.name = CutAt('=', text);
  problem = DeviceNameProblem(spec.name);
  if (!problem.empty()) return false;

  bool more = text.find(',') != std::string_view::npos;
  std::string_view argument = CutAt(',', text);
  const bool has_argument = argument.find(':') != std::string_view::npos;
  spec.handler = CutAt(':', argument);
  spec.argument = argument;
  if (spec.handler.empty()) {
    problem = "there is no handler after " + Quoted(spec.name + "=");
    return false;
  }
  if (has_argument && spec.argument.empty()) {
    problem = "there is nothing after " + Quoted(spec.handler + ":");
    return false;
  }
  while (more) {
    more = text.find(',') != std::string_view::npos;
    if (!ParseKey(CutAt(',', text), spec, problem)) return false;
  }
  return true;
}

}  // namespace quorle
