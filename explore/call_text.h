#pragma once

#include <string>

#include "explore/call.h"
#include "explore/due_outcome.h"
#include "explore/outcome.h"

namespace quorle::explore {

/// A call as it is written: Open("a", MODE_NEWFILE) = f1. ReadCallLine() reads it back.
std::string TextOf(const Call& call);

/// What came of it, as it stands behind "=>" and as it is shown: TRUE, FALSE 203, 0 205, f1, 300, -1 219,
/// "text", 300 bytes of 7 or a checksum for what was read, the fields of a record; "a lock" of an object
/// without a number, "done" where there is no more to say, nothing of what has no result. ReadDue() reads
/// it back.
std::string TextOf(const Call& call, const Outcome& outcome);
/// The same of what should come of it.
std::string TextOf(const Call& call, const DueOutcome& due);
/// A call that was made, with `outcome`, what TextOf() says came of it: Open("a", MODE_OLDFILE) = 0 205.
std::string MadeText(const Call& call, const std::string& outcome);
/// What was read, or should be: "text", 300 bytes of 7, 300 bytes with checksum 0x..., 300 bytes.
std::string DataText(const DueOutcome& due);

}  // namespace quorle::explore
