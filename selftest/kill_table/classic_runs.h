#pragma once

#include <string>

#include "selftest/kill_table/watched_run.h"

namespace quorle::selftest {

/// The rule that makes a packet port answer as a classic one where no classic packet asks: for the
/// version of the filesystem.
inline constexpr const char* kNoVersionRule = "FileSystemAttr fail 209";

/// Whether a group was run of which some check comes to something else on a classic port.
bool RanWhatIsOther(const WatchedRun& run);

/// What `run`, on a classic port, printed and returned that the same run on a packet port with
/// kNoVersionRule did not: a heading and a difference for each part; empty when there is none. Left out
/// are the checks of which IsOtherOnClassic() says so and what their groups print at the end.
std::string DifferencesFromPacketPort(const WatchedRun& run, const WatchedRun& on_packet_port);

}  // namespace quorle::selftest
