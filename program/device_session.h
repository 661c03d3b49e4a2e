#pragma once

#include <functional>
#include <memory>
#include <string>

#include "hosted/calls/call_gate.h"
#include "hosted/calls/clock.h"
#include "hosted/calls/run_watch.h"
#include "hosted/dos/break_signal.h"
#include "hosted/dos/console.h"
#include "hosted/dos/line_input.h"
#include "hosted/dos/machine.h"
#include "program/host_options.h"
#include "program/orphans.h"

namespace quorle {

/// The machine that a command line describes, with what stands around it: the standard input, the break
/// key, the watch that says where handlers went wrong, and the gate that bounds their time. Processes that
/// handlers leave behind end with it. Make one at a time.
class DeviceSession {
 public:
  /// Takes one line of the watch.
  using Report = std::function<void(const std::string& line)>;

  /// `options`, `console` and `clock` must outlive this. Without `report` nothing is reported but to the watch's
  /// listener, and processes that crash do not say where: what that takes is a multiple of a new process.
  DeviceSession(const HostOptions& options, Console& console, Clock& clock, Report report);
  DeviceSession(const DeviceSession&) = delete;
  DeviceSession& operator=(const DeviceSession&) = delete;

  /// Mounts what the options say. False, with one line on the console, when that is not possible; nothing
  /// else than breaks(), watch() and gate() is there before.
  bool Mount();
  /// The handler of the device `name`, with or without its colon; null, when there is no such device.
  HandlerPort* Find(const std::string& name) const;

  const BreakSignal& breaks() const { return breaks_; }
  RunWatch& watch() { return watch_; }
  CallGate& gate() { return gate_; }
  Machine& machine() { return *machine_; }
  const MachineOptions& machine_options() const { return machine_options_; }

 private:
  const HostOptions& options_;
  Console& console_;
  Clock& clock_;
  Orphans orphans_;
  StandardInput input_;
  BreakSignal breaks_;
  bool traces_;
  RunWatch watch_;
  CallGate gate_;
  MachineOptions machine_options_;
  std::unique_ptr<Machine> machine_;
};

}  // namespace quorle
