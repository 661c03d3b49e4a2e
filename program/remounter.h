#pragma once

#include <string>

#include "harness/context.h"
#include "hosted/calls/call_gate.h"
#include "hosted/calls/run_watch.h"
#include "hosted/dos/break_signal.h"
#include "hosted/dos/console.h"
#include "hosted/dos/machine.h"
#include "hosted/dos/volume_listing.h"
#include "program/host_options.h"
#include "program/result_session.h"

namespace quorle {

/// Unmounts the device that is tested between the groups and mounts it again, as the options say: the
/// tree must be the same afterwards, and commands have their turn meanwhile. The tester, its calls and
/// its console see nothing of it: the lock on the root that it holds is taken again behind its handle.
///
/// What goes wrong is a line on standard error and an event, and the exit status shows it. A device
/// that cannot be mounted again stays unmounted: calls fail with ERROR_DEVICE_NOT_MOUNTED. Once the
/// run was interrupted nothing is done between groups.
class Remounter {
 public:
  /// What it works on; all of it stays the caller's.
  struct Parts {
    Machine& machine;
    RunWatch& watch;
    CallGate& gate;
    const BreakSignal& breaks;
    Console& console;
    ResultSession& results;
  };
  Remounter(const HostOptions& options, const Parts& parts);

  /// The run begins on the target that `ctx` describes, which stays until its end.
  void BeginRun(const TestContext& ctx);
  /// The checks of the group with the id `group` have run, and the watch is still in it.
  void EndGroup(const std::string& group);
  /// The run is over, and the machine is shut down. Nothing when it never began.
  void EndRun();

 private:
  class Round;

  /// Runs `command` with `group` in its environment. Returns how it failed, or nothing.
  std::string RunCommand(const std::string& command, const std::string& group);

  const HostOptions& options_;
  Parts parts_;
  const TestContext* ctx_ = nullptr;
  HandlerPort* port_ = nullptr;  ///< of the target; null before the run
  bool is_over_ = false;         ///< the handler has ended for good, which had its consequences
  bool said_cut_ = false;
};

}  // namespace quorle
