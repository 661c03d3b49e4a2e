#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace quorle::isolation {

/// What a handler process leaves behind when it ends by a signal: where in the handler that was.

/// From now on this process, when it crashes or is aborted, first writes into `place` which
/// functions of the handler were running; then it ends by that signal, as it would have. A signal
/// that somebody else has taken, such as a sanitizer, stays his. Does nothing where the program was
/// built without a library that reads debug data.
void LeaveTraces(std::span<std::byte> place);

/// Says in `place` that there is nothing.
void ClearTrace(std::span<std::byte> place);

/// What was left in `place`, whatever somebody made of it: a line for each function, the innermost
/// first, "#0 FSRename() at myfs.c:212". Empty without the debug data of the handler.
std::vector<std::string> ReadTrace(std::span<const std::byte> place);

}  // namespace quorle::isolation
