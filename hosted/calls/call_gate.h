#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <functional>
#include <string>

#include "hosted/calls/run_watch.h"

namespace quorle {

/// What every call to a handler goes through: bounds the time that the handlers may take for one
/// test group, and ends the program when one that runs in its own process does not come back: with
/// a line on standard error and the status RETURN_FAIL, once the group has had its time and a call
/// has gone on for as long again, or for 10 seconds more.
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

  /// `watch` must outlive this; it gets a line that names the group which took too long. Make one at
  /// a time: it takes a timer and its signal, and SIGCONT.
  CallGate(Settings settings, RunWatch& watch);
  ~CallGate();
  CallGate(const CallGate&) = delete;
  CallGate& operator=(const CallGate&) = delete;

  /// A group begins, or what comes after it: its time is counted from 0.
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

  static void OnTick(int signal);
  static void OnContinue(int signal);
  void Enter(Process process, const char* device);
  void Leave();
  void Tick();
  [[noreturn]] void EndProgram() const;

  Settings settings_;
  RunWatch& watch_;
  timer_t timer_{};
  std::chrono::nanoseconds used_{0};  ///< by the group's calls that are over
  std::chrono::nanoseconds excused_{0};
  Moment::time_point begun_;
  std::string where_;     ///< as the last line has it; changed between the calls alone
  std::string how_long_;  ///< the same
  int depth_ = 0;
  bool reported_ = false;

  // What signal handlers look at.
  std::atomic<std::uint32_t> turn_{0};  ///< odd during a call of a handler in this process
  std::atomic<const char*> device_{nullptr};
  std::atomic<bool> was_stopped_{false};
  std::uint32_t seen_turn_ = 0;  ///< of the call that the ticks are counted for
  int ticks_ = 0;
};

}  // namespace quorle
