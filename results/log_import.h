#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "harness/catalogue.h"
#include "results/event.h"

namespace quorle {

/// Makes the events of the runs whose console `log` is: what a run on a real machine printed into a file.
/// A log of several runs behind each other gives several. All are of `catalogue`, of whose texts
/// CheckTexts() knows.
///
/// A log shows what went wrong, not what was tried: a check without a message passed, and a group that
/// has neither a closing line nor a message failed in a check that nobody can name (its first one is,
/// and marked). Rows before the first one that is seen, and behind the last, were not run. Times, calls
/// and the command line stay empty. A log that is cut off has no `end`, unless that is between a closing
/// line and a message, where an empty line stands as it does at the end of a run.
///
/// False, with `problem` one line, for a text that is no such log.
bool ImportLog(std::string_view log, const Catalogue& catalogue, std::vector<Event>& events,
               std::string& problem);

/// Reads the log `path` and makes its events as ImportLog() does. False, with `problem` one line that
/// names the file, for one that cannot be read, is too large for a log or is none.
bool ImportLogFile(const std::string& path, const Catalogue& catalogue, std::vector<Event>& events,
                   std::string& problem);

}  // namespace quorle
