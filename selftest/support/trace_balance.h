#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/trace_event.h"

namespace quorle::selftest {

/// Something of a trace that was not released exactly once.
struct Unbalanced {
  std::string place;    ///< sub-test in which it was given, or released in excess
  std::string object;   ///< "lock:7", "library dos.library"
  bool is_record;       ///< an examine record
  std::size_t event;    ///< of the trace, from 0: what gave it, or the release too many
  bool released_twice;  ///< false: never released
};

/// Reads a trace while it is written: what the calls gave, and what was given back. Locks, files,
/// examine records, memory, argument results, device look-ups and messages by their numbers,
/// libraries and interfaces by their names.
class TraceBalance final : public TraceSink {
 public:
  /// `place` is where the run is at any time; it must outlive this.
  explicit TraceBalance(const std::string& place) : place_(place) {}

  bool Take(const TraceEvent& event) override;

  /// All that is not in balance, after the run.
  std::vector<Unbalanced> Report() const;

 private:
  struct Held {
    bool is_record;
    std::vector<std::pair<std::string, std::size_t>> givers;  ///< where and which event
  };

  void Give(const std::string& object, bool is_record = false);
  void Release(const std::string& object);

  const std::string& place_;
  std::size_t count_ = 0;  ///< of events
  std::map<std::string, Held> held_;
  std::vector<Unbalanced> excess_;
};

}  // namespace quorle::selftest
