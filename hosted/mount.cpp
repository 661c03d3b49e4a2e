#include "hosted/mount.h"

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

bool IsControl(char c) {
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
  if (std::any_of(name.begin(), name.end(), IsControl)) {
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
  const bool given = is_port ? spec.port_given
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
  spec.port_given = true;
  if (value != "vector" && value != "packet") {
    problem = "port=" + std::string(value) + ": the port is either vector or packet";
    return false;
  }
  spec.port = value == "packet" ? PortType::kPacket : PortType::kVector;
  return true;
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

MountedHandler::MountedHandler(std::unique_ptr<HandlerProgram> program, std::string device_name,
                               MountKeys keys, Clock& clock, VolumeNameCheck may_be_named,
                               ReportLine report)
    : program_(std::move(program)),
      device_name_(std::move(device_name)),
      keys_(std::move(keys)),
      services_(clock, std::move(may_be_named), std::move(report)) {
  key_table_.reserve(keys_.size());
  for (const auto& [key, value] : keys_) key_table_.push_back({key.c_str(), value.c_str()});
  request_.StructSize = sizeof request_;
  request_.Version = QUORLE_HANDLER_VERSION;
  request_.DeviceName = device_name_.c_str();
  request_.Dos = &services_.table();
  request_.Keys = key_table_.data();
  request_.KeyCount = static_cast<std::uint32_t>(key_table_.size());
}

MountedHandler::~MountedHandler() {
  Stop();
}

bool MountedHandler::Start(std::string& problem) {
  services_.BeginCall("Mount()");
  port_ = program_->Mount(request_, services_, problem);
  if (port_ == nullptr) return false;
  if (port_->FSV.Version < QUORLE_FS_VECTORPORT_VERSION) {
    problem = "the handler's table of functions has version " + std::to_string(port_->FSV.Version) +
              ", at least " + std::to_string(QUORLE_FS_VECTORPORT_VERSION) + " is needed";
    Stop();
    return false;
  }
  return true;
}

void MountedHandler::Stop() {
  if (port_ == nullptr) return;
  while (!layers_.empty()) layers_.pop_back();
  services_.BeginCall("Unmount()");
  services_.SetCheck({});
  program_->Unmount(*port_);
  port_ = nullptr;
  services_.FreeEverything();
  for (const std::string& complaint : program_->Complaints()) services_.Complain(complaint);
}

bool MountedHandler::Cover(const NamedLayer& layer, std::string_view value, std::string& problem) {
  if (TakesPacketsAlone()) {
    problem = std::string(layer.key) + ": the handler has no functions, it takes packets alone";
    return false;
  }
  std::unique_ptr<PortLayer> made = layer.cover(*port_, services_.table(), value, problem);
  if (made == nullptr) return false;
  layers_.push_back(std::move(made));
  return true;
}

bool MountedHandler::HandlerPacket(::DosPacket& packet) {
  return port_ != nullptr && program_->Packet(*port_, packet);
}

bool MountedHandler::TakesPacketsAlone() const {
  return port_ != nullptr && program_->TakesPackets() && !HasFunctions(port_->FSV);
}

std::unique_ptr<HandlerPort> MountHandler(std::unique_ptr<HandlerProgram> program,
                                          const std::string& device_name,
                                          std::optional<PortType> type, const MountKeys& keys,
                                          Clock& clock, VolumeNameCheck may_be_named,
                                          std::string& problem, ReportLine report,
                                          RunWatch* watch) {
  problem.clear();
  auto mounted = std::make_unique<MountedHandler>(std::move(program), device_name, keys, clock,
                                                  std::move(may_be_named), std::move(report));
  if (!mounted->Start(problem)) return nullptr;
  if (mounted->TakesPacketsAlone()) {
    if (type == PortType::kVector) {
      problem = "port=vector: the handler has no functions, it takes packets alone";
      return nullptr;
    }
    type = PortType::kPacket;
  }
  return std::make_unique<HandlerPort>(type.value_or(PortType::kVector), std::move(mounted), watch);
}

std::unique_ptr<HandlerPort> MountHandler(const ::Handler& handler, const std::string& device_name,
                                          PortType type, const MountKeys& keys, Clock& clock,
                                          VolumeNameCheck may_be_named, std::string& problem,
                                          RunWatch* watch) {
  return MountHandler(std::make_unique<PlainProgram>(handler), device_name, type, keys, clock,
                      std::move(may_be_named), problem, nullptr, watch);
}

}  // namespace quorle
