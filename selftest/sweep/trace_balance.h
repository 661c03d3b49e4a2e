#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/tracing.h"

namespace quorle::selftest {

/// One line of a trace, without its line break.
struct TraceLine {
  std::string place;  ///< sub-test that made the call
  std::string text;
};

/// Something of a trace that was not released exactly once.
struct Unbalanced {
  std::string place;    ///< sub-test in which it was given, or released in excess
  std::string object;   ///< "lock:7", "library dos.library"
  std::size_t line;     ///< of the trace: the call that gave it, or the release too many
  bool released_twice;  ///< false: never released
};

/// Reads a trace while it is written: what the calls gave, and what was given back. Locks, files,
/// examine records, memory, argument results, device look-ups and messages by their numbers,
/// libraries and interfaces by their names.
class TraceBalance final : public TraceSink {
 public:
  /// `place` tells where the run is; it must outlive this.
  explicit TraceBalance(const std::string& place) : place_(place) {}

  bool Write(const char* text, std::size_t bytes) override;

  /// All that is not in balance, after the run.
  std::vector<Unbalanced> Report() const;
  std::vector<TraceLine> TakeLines() { return std::move(lines_); }

 private:
  void Give(std::string object);
  void Release(const std::string& object);

  const std::string& place_;
  std::vector<TraceLine> lines_;
  std::map<std::string, std::vector<std::size_t>> held_;  ///< object to the lines that gave it
  std::vector<Unbalanced> excess_;
};

}  // namespace quorle::selftest
