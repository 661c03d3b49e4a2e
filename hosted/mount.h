#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "hosted/clock.h"
#include "hosted/handler_port.h"
#include "hosted/handler_program.h"
#include "hosted/handler_services.h"
#include "hosted/port_layer.h"
#include "hosted/run_watch.h"
#include "quorle/handler.h"

namespace quorle {

/// The key=value pairs of a mount, in their order.
using MountKeys = std::vector<std::pair<std::string, std::string>>;

/// What one `--mount` option asks for: NAME=HANDLER[,key=value...], where HANDLER is a word that an
/// argument may follow after a colon.
struct MountSpec {
  std::string name;                   ///< of the device, without its colon
  std::string handler;                ///< "ram", "dir", "plugin"
  std::string argument;               ///< what stands after "dir:" or "plugin:"
  PortType port = PortType::kVector;  ///< from the key "port", which goes no further
  bool port_given = false;            ///< whether that key was there
  MountKeys keys;                     ///< all other keys, for the handler
};

/// Reads the value of a `--mount` option into `spec`. False, with one line in `problem`, when it is
/// not of that form. Which handlers and keys there are is not known here.
bool ParseMountSpec(std::string_view text, MountSpec& spec, std::string& problem);

/// A running handler with everything that it was given.
class MountedHandler {
 public:
  MountedHandler(std::unique_ptr<HandlerProgram> program, std::string device_name, MountKeys keys,
                 Clock& clock, VolumeNameCheck may_be_named, ReportLine report);
  /// Stops the handler.
  ~MountedHandler();
  MountedHandler(const MountedHandler&) = delete;
  MountedHandler& operator=(const MountedHandler&) = delete;

  /// Starts the handler. False, with one line in `problem`, when it refuses or does not fit.
  bool Start(std::string& problem);
  /// Stops the handler, its layers first, and frees what it left behind.
  void Stop();
  /// Puts a layer of the kind `layer` over the running handler. False, with one line in `problem`,
  /// when `value` asks for none that there is.
  bool Cover(const NamedLayer& layer, std::string_view value, std::string& problem);

  bool IsElsewhere() const { return program_->IsElsewhere(); }
  /// Null before Start() and after Stop().
  ::FileSystemVectorPort* port() const { return port_; }
  const std::string& device_name() const { return device_name_; }
  HostServices& services() { return services_; }
  const HostServices& services() const { return services_; }
  /// Hands `packet` to the handler's own packet function. False when it has none.
  bool HandlerPacket(::DosPacket& packet);
  /// Whether it has that function and nothing else: it can only be behind a packet port.
  bool TakesPacketsAlone() const;

 private:
  std::unique_ptr<HandlerProgram> program_;
  std::string device_name_;
  MountKeys keys_;
  std::vector<::MountKey> key_table_;
  HostServices services_;
  ::HandlerMount request_{};
  ::FileSystemVectorPort* port_ = nullptr;
  std::vector<std::unique_ptr<PortLayer>> layers_;  ///< the lowest first
};

/// Mounts `program` as `device_name` (without its colon) behind a port of the given type, kVector
/// or kPacket; without one a handler of packets alone gets a packet port, any other a vector port.
/// Null, with one line in `problem`, when the handler refuses or does not fit. `clock` must outlive
/// the port; `may_be_named` is asked whenever the handler names its volume, and `report` gets what
/// the handler has to say, which may be before this returns. `watch`, if any, gets a line for
/// what the handler answers wrongly; it must outlive the port.
std::unique_ptr<HandlerPort> MountHandler(std::unique_ptr<HandlerProgram> program,
                                          const std::string& device_name,
                                          std::optional<PortType> type, const MountKeys& keys,
                                          Clock& clock, VolumeNameCheck may_be_named,
                                          std::string& problem, ReportLine report = nullptr,
                                          RunWatch* watch = nullptr);
/// The same for a handler in this process, which must outlive the port.
std::unique_ptr<HandlerPort> MountHandler(const ::Handler& handler, const std::string& device_name,
                                          PortType type, const MountKeys& keys, Clock& clock,
                                          VolumeNameCheck may_be_named, std::string& problem,
                                          RunWatch* watch = nullptr);

}  // namespace quorle
