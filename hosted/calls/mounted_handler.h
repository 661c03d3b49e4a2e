#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "hosted/calls/clock.h"
#include "hosted/calls/handler_program.h"
#include "hosted/calls/handler_services.h"
#include "hosted/calls/port_layer.h"
#include "hosted/calls/port_type.h"
#include "hosted/calls/run_watch.h"
#include "quorle/handler.h"

namespace quorle {

/// The key=value pairs of a mount, in their order.
using MountKeys = std::vector<std::pair<std::string, std::string>>;

/// How a handler is mounted.
struct MountRequest {
  std::string device_name;  ///< without its colon
  /// Not kNone. None given: a handler of packets alone gets a packet port, any other a vector port.
  std::optional<PortType> type = {};
  MountKeys keys = {};
  VolumeNameCheck may_be_named = {};  ///< asked whenever the handler names its volume; null: yes
  ReportLine report = {};  ///< gets what the handler has to say, which may be before it is mounted
  RunWatch* watch =
      nullptr;  ///< gets a line for what the handler answers wrongly; outlives the port
};

/// A running handler with everything that it was given.
class MountedHandler {
 public:
  /// `clock` must outlive this. The type of the port and the watch are not looked at.
  MountedHandler(std::unique_ptr<HandlerProgram> program, MountRequest request, Clock& clock);
  /// Ends the handler.
  ~MountedHandler();
  MountedHandler(const MountedHandler&) = delete;
  MountedHandler& operator=(const MountedHandler&) = delete;

  /// Starts the handler, and puts the layers over it that it had before Stop(). False, with one line
  /// in `problem`, when it refuses or does not fit; it is stopped then.
  bool Start(std::string& problem);
  /// Stops the handler, its layers first, and frees what it left behind but its medium.
  void Stop();
  /// Stops the handler for good and frees its medium.
  void End();
  /// Puts a layer of the kind `layer` over the running handler. False, with one line in `problem`,
  /// when `value` asks for none that there is.
  bool Cover(const NamedLayer& layer, std::string_view value, std::string& problem);

  bool IsElsewhere() const { return program_->IsElsewhere(); }
  HandlerProgram::Life life() const { return program_->life(); }
  /// Null before Start() and after Stop().
  ::FileSystemVectorPort* port() const { return port_; }
  const std::string& device_name() const { return device_name_; }
  HostServices& services() { return services_; }
  const HostServices& services() const { return services_; }
  /// Hands `packet` to the handler's own packet function. False when it has none.
  bool HandlerPacket(::DosPacket& packet);
  /// Whether it has one; known after Start().
  bool TakesPackets() const { return program_->TakesPackets(); }
  /// Whether it has that function and nothing else: it can only be behind a port of packets.
  bool TakesPacketsAlone() const;

 private:
  bool PutOver(const NamedLayer& layer, std::string_view value, std::string& problem);

  std::unique_ptr<HandlerProgram> program_;
  std::string device_name_;
  MountKeys keys_;
  std::vector<::MountKey> key_table_;
  HostServices services_;
  ::HandlerMount mount_{};
  void* medium_ = nullptr;  ///< what the handler keeps from one mount to the next
  ::FileSystemVectorPort* port_ = nullptr;
  std::vector<std::pair<NamedLayer, std::string>>
      covers_;                                      ///< what was asked for, the lowest first
  std::vector<std::unique_ptr<PortLayer>> layers_;  ///< what is there of it
};

}  // namespace quorle
