#pragma once

#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <utility>

#include "hosted/calls/handler_program.h"
#include "hosted/connect/connection.h"
#include "hosted/connect/far_end.h"
#include "hosted/connect/packet_codec.h"

namespace quorle::connect {

/// The version of the protocol, which docs/connect.md describes.
inline constexpr std::int64_t kProtocolVersion = 1;

/// A handler of packets at the other end of a socket, in whatever language. What it does wrong, and its
/// end, is thrown as a ProgramEnd: this belongs into a process of its own.
class SocketProgram final : public HandlerProgram {
 public:
  explicit SocketProgram(std::unique_ptr<FarEnd> far_end) : far_end_(std::move(far_end)) {}

  ::FileSystemVectorPort* Mount(const ::HandlerMount& mount, HostServices& services,
                                std::string& problem) override;
  void Unmount(::FileSystemVectorPort& port) override;
  bool TakesPackets() const override { return true; }
  bool Packet(::FileSystemVectorPort& port, ::DosPacket& packet) override;

  /// How many other messages may come before an answer.
  static constexpr int kMostBeforeAnswer = 1000;

 private:
  bool MountThere(const ::HandlerMount& mount, std::string& problem);
  /// Sends `request`, whose member "id" is added, and returns the answer to it, of the type `type`.
  nlohmann::json Ask(nlohmann::json request, const char* type);
  nlohmann::json Await(const char* type);
  /// Does what a message asks for that is no answer.
  void Serve(const nlohmann::json& message, const std::string& type);
  void Report(const nlohmann::json& message);
  void Notify(const nlohmann::json& message);
  void NameVolume(const nlohmann::json& message);

  std::unique_ptr<FarEnd> far_end_;
  std::unique_ptr<Connection> connection_;
  std::unique_ptr<PacketCodec> codec_;
  HostServices* services_ = nullptr;
  ::FileSystemVectorPort* port_ = nullptr;
  std::int64_t id_ = 0;
};

}  // namespace quorle::connect
