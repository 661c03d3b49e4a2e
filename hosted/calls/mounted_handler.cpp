#include "hosted/calls/mounted_handler.h"

#include <cstdint>
#include <utility>

namespace quorle {

MountedHandler::MountedHandler(std::unique_ptr<HandlerProgram> program, MountRequest request,
                               Clock& clock)
    : program_(std::move(program)),
      device_name_(std::move(request.device_name)),
      keys_(std::move(request.keys)),
      services_(clock, std::move(request.may_be_named), std::move(request.report)) {
  key_table_.reserve(keys_.size());
  for (const auto& [key, value] : keys_) key_table_.push_back({key.c_str(), value.c_str()});
  mount_.StructSize = sizeof mount_;
  mount_.Version = QUORLE_HANDLER_VERSION;
  mount_.DeviceName = device_name_.c_str();
  mount_.Dos = &services_.table();
  mount_.Keys = key_table_.data();
  mount_.KeyCount = static_cast<std::uint32_t>(key_table_.size());
  mount_.Medium = &medium_;
}

MountedHandler::~MountedHandler() {
  End();
}

bool MountedHandler::Start(std::string& problem) {
  services_.BeginCall("Mount()");
  port_ = program_->Mount(mount_, services_, problem);
  if (port_ == nullptr) return false;
  if (port_->FSV.Version < QUORLE_FS_VECTORPORT_VERSION) {
    problem = "the handler's table of functions has version " + std::to_string(port_->FSV.Version) +
              ", at least " + std::to_string(QUORLE_FS_VECTORPORT_VERSION) + " is needed";
    Stop();
    return false;
  }
  for (const auto& [layer, value] : covers_) {
    if (PutOver(layer, value, problem)) continue;
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

void MountedHandler::End() {
  Stop();
  if (void* const medium = std::exchange(medium_, nullptr); medium != nullptr) {
    services_.BeginCall("Discard()");
    program_->Discard(medium);
  }
}

bool MountedHandler::Cover(const NamedLayer& layer, std::string_view value, std::string& problem) {
  if (!PutOver(layer, value, problem)) return false;
  covers_.emplace_back(layer, value);
  return true;
}

bool MountedHandler::PutOver(const NamedLayer& layer, std::string_view value,
                             std::string& problem) {
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
  return port_ != nullptr && TakesPackets() && !HasFunctions(port_->FSV);
}

}  // namespace quorle
