#pragma once

#include <string>

namespace quorle {

/// Says what was going on when a handler in the program's own process is its end. From construction to destruction
/// a signal such as SIGSEGV writes one line on standard error before it ends the process, as it would have. A
/// signal that somebody else has taken, such as a sanitizer, stays his. Make one at a time. Processes that this
/// one makes say nothing.
class CrashLine {
 public:
  CrashLine();
  ~CrashLine();
  CrashLine(const CrashLine&) = delete;
  CrashLine& operator=(const CrashLine&) = delete;

  /// `line`, of which the first 500 bytes count, is written from now on.
  void Set(const std::string& line);
};

}  // namespace quorle
