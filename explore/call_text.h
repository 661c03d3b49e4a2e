#pragma once

#include <map>
#include <string>
#include <string_view>

#include "explore/call.h"
#include "explore/outcome.h"

namespace quorle::explore {

/// A call as it is written: Open("a", MODE_NEWFILE) = f1.
std::string TextOf(const Call& call);

/// What came of it, as it stands behind "=>" and as it is shown: TRUE, FALSE 203, 0 205, f1, 300, -1 219,
/// "text" or a checksum behind what was read, the fields of a record. ReadCall() reads it back.
std::string TextOf(const Call& call, const Outcome& outcome);

}  // namespace quorle::explore
