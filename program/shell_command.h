#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorle {

/// A command for /bin/sh, and what is around it.
struct ShellCommand {
  std::string text;
  std::vector<std::pair<std::string, std::string>> environment;  ///< added to this process's
  std::chrono::seconds limit;                                    ///< how long it may take
  std::function<bool()> was_interrupted;               ///< asked now and then; may be null
  std::function<void(std::string_view output)> print;  ///< gets what it prints, as it comes
};

/// Runs `command` in a session of its own, with an empty standard input; standard output and standard
/// error are printed. When it is interrupted meanwhile it gets SIGINT. Whatever it started has ended
/// when this returns: what is left of it is killed, and so it is when this process ends.
///
/// Returns nothing when it ended with status 0, else how it ended, with the last line that it printed:
/// "exited with status 3: \"bad root block\"", "did not end within 60 seconds".
std::string RunShellCommand(const ShellCommand& command);

}  // namespace quorle
