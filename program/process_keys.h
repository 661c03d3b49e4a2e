#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "hosted/calls/call_gate.h"
#include "hosted/dos/mount_spec.h"
#include "hosted/isolation/isolated_program.h"

namespace quorle {

/// The keys of a mount that say how the process of its handler is dealt with. The handler does not see
/// them:
///
///   isolate=yes|no   whether it runs in a process of its own; yes unless given
///   limit=SECONDS    how long one call may take there, 1 to 86400; 10 unless given
///   restart=yes|no   whether the next test gets another process after one has ended; yes unless
///                    given
struct ProcessKeys {
  bool isolate = true;
  std::chrono::seconds limit{10};
  bool restart = true;

  isolation::IsolationSettings Settings(CallGate* gate) const {
    return {.limit = limit, .restart = restart, .gate = gate};
  }
};

/// Takes them out of `spec`. None, with `problem`, when one has a value that it cannot have, or asks for
/// something of a process that there is not to be.
std::optional<ProcessKeys> TakeProcessKeys(MountSpec& spec, std::string& problem);

}  // namespace quorle
