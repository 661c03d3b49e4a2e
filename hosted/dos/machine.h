#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "hosted/calls/port_layer.h"
#include "hosted/calls/run_watch.h"
#include "hosted/dos/dos_list.h"
#include "hosted/dos/handle_table.h"
#include "hosted/dos/hosted_dos.h"
#include "hosted/dos/hosted_exec.h"
#include "hosted/dos/hosted_further_dos.h"
#include "hosted/dos/hosted_utility.h"
#include "hosted/dos/mount_spec.h"
#include "quorle/handler.h"

namespace quorle {

/// Makes what runs behind one mount; null, with one line in `problem`, when it cannot. Keys that it
/// takes for itself go out of `spec`.
using ProgramMaker =
    std::function<std::unique_ptr<HandlerProgram>(MountSpec& spec, std::string& problem)>;

/// A handler under the name by which a mount asks for it.
struct NamedHandler {
  std::string_view name;
  const ::Handler* handler;  ///< null: each mount gets its own from `make`
  ProgramMaker make = {};
};

/// What a machine is made of.
struct MachineOptions {
  std::vector<NamedHandler> handlers;  ///< what can be mounted
  std::vector<NamedLayer> layers;      ///< what a mount can be covered with
  std::vector<MountSpec> mounts;  ///< what is; the first one's root is where the program starts
  HostedExecSettings exec;
  HostedDosSettings dos;
  /// Whether Remount() is for mounts of any handler. Unless it is, it is for those in this process, whose volume
  /// is known to outlive the mount.
  bool remounts_all = false;
};

/// What lies outside the machine. All of it must outlive the machine.
struct MachineParts {
  Console& console;
  LineInput& input;
  Clock& clock;
  BreakSource& breaks;
  CallGate* gate = nullptr;   ///< what the calls to the handlers go through; none when null
  RunWatch* watch = nullptr;  ///< gets a line for what a handler answers wrongly
};

/// The platform with its devices: exec, dos and utility for one program, the mounts of the options,
/// and NIL:, the device without a filesystem.
class Machine {
 public:
  /// Null, with one line in `problem`, when a mount fails.
  static std::unique_ptr<Machine> Build(const MachineOptions& options, const MachineParts& parts,
                                        std::string& problem);
  /// Shuts down.
  ~Machine();
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;

  HostedExec& exec() { return exec_; }
  HostedDos& dos() { return dos_; }
  HostedFurtherDos& further() { return further_; }
  HostedUtility& utility() { return utility_; }
  DosList& list() { return list_; }
  const DosList& list() const { return list_; }

  /// Gives back what the program left open and ends the handlers. One line for each wrong or
  /// forgotten release that a handler made.
  std::vector<std::string> ShutDown();

 private:
  Machine(const MachineOptions& options, const MachineParts& parts);
  bool Mount(MountSpec spec, const MachineOptions& options, const MachineParts& parts,
             std::string& problem);

  HandleNumbers numbers_;
  DosList list_;
  std::vector<std::unique_ptr<HandlerPort>> ports_;
  HostedUtility utility_;
  HostedDos dos_;
  HostedFurtherDos further_;
  HostedExec exec_;
};

}  // namespace quorle
