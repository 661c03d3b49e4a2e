#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "selftest/sweep/sweep_run.h"

namespace quorle::selftest {

enum class Finding : std::uint8_t {
  kResult,      ///< not 0, 10 or 20, or not the one that is due
  kLine,        ///< a printed line without a message class
  kBalance,     ///< something that was not released exactly once
  kStillOpen,   ///< something that the trace does not show, and that the platform still counts
  kRecord,      ///< an examine record that was not released
  kDirectory,   ///< the current directory is not the one from before
  kRequesters,  ///< nor the window for requesters
  kLabel,       ///< nor the volume's name
  kProtection,  ///< the volume is write-protected
  kLeft,        ///< an object that no CLEANUP ERROR names
  kVolumes,     ///< any other difference on a volume
};

struct Found {
  Finding finding;
  std::string place;      ///< sub-test
  std::string object;     ///< its name, when it is one
  std::string text;       ///< for the failure
  std::size_t event = 0;  ///< of the trace, of kRecord: what gave it
};

/// All that is not as it has to be after the run `outcome`, in which the call at `place` misbehaved.
std::vector<Found> FindingsOf(const Outcome& outcome, const std::string& place);

}  // namespace quorle::selftest
