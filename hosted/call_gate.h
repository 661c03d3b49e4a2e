#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "hosted/run_watch.h"

namespace quorle {

/// What every call to a handler goes through: bounds the time that the handlers may take for one
/// test group, and ends the program when one that runs in its own process does not come back.
///
/// The time is that of the calls alone, not what the tester does, waits for or prints between them;
/// nor does the time count in which this process, or the process of the handler, was stopped.
class CallGate {
 public:
  /// What the gate needs to know.
  struct Settings {
    std::chrono::seconds limit{60};  ///< of one group; what lies outside of the groups has as much
    /// Whether the run was asked to end; may be null.
    std::function<bool()> was_interrupted = nullptr;
    /// Takes the last line and ends the process; called on another thread, once, while a handler
    /// has this one.
    std::function<void(const std::string& line)> give_up = nullptr;
  };
  /// What a call is for.
  enum class Purpose : std::uint8_t {
    kAnything,
    kRelease,  ///< gives something back to the handler
  };
  /// Which process the handler is in.
  enum class Process : std::uint8_t { kOurs, kAnother };

  /// A call, from construction to destruction. One within another is a part of it.
  class Passage {
   public:
    /// `gate` may be null. `device` is the handler's, and outlives this.
    Passage(CallGate* gate, Process process, const char* device);
    ~Passage();
    Passage(const Passage&) = delete;
    Passage& operator=(const Passage&) = delete;

   private:
    CallGate* gate_;
  };

  /// `watch` must outlive this; it is told which group took too long.
  CallGate(Settings settings, RunWatch& watch);
  ~CallGate();
  CallGate(const CallGate&) = delete;
  CallGate& operator=(const CallGate&) = delete;

  /// A group begins, or what comes after it: its time is counted anew.
  void BeginGroup();
  /// The watch says something else now.
  void FollowWatch();

  /// Whether a call may be made. Once a group has taken longer than its limit only releases may, so
  /// that nothing stays locked, and after twice its limit nothing.
  bool Admits(Purpose purpose);
  /// Whether a call that has not returned is not to be waited for any longer: the run was asked to
  /// end, and the group is over its limit.
  bool GivesUp() const;
  /// `time` of the call that is being made does not count.
  void Excuse(std::chrono::nanoseconds time) { excused_ += time; }
  /// Reports `line` about a handler, with the place where it happened.
  void Report(const std::string& line);

  std::chrono::seconds limit() const { return settings_.limit; }

 private:
  using Moment = std::chrono::steady_clock;

  void Enter(Process process, const char* device);
  void Leave();
  void Watch();
  std::string LastLine() const;

  Settings settings_;
  RunWatch& watch_;
  std::chrono::nanoseconds excused_{0};
  Moment::time_point begun_;
  int depth_ = 0;
  bool reported_ = false;

  // What both threads know.
  std::atomic<std::uint64_t> turn_{0};  ///< odd during a call
  std::atomic<Process> process_{Process::kAnother};
  std::atomic<const char*> device_{nullptr};
  std::atomic<std::int64_t> used_{0};     ///< nanoseconds of the group's calls that are over
  std::atomic<std::int64_t> running_{0};  ///< of the one that is not, as the other thread sees it
  mutable std::mutex mutex_;
  std::string where_;  ///< guarded by the mutex, as what follows
  bool ends_ = false;
  std::condition_variable changed_;
  std::thread watcher_;  ///< the last: it begins when all else is there
};

}  // namespace quorle
