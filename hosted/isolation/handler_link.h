#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "hosted/calls/call_gate.h"
#include "hosted/isolation/handler_process.h"
#include "hosted/isolation/message.h"
#include "hosted/isolation/shared_block.h"
#include "hosted/isolation/turns.h"

namespace quorle::isolation {

/// The time that a process has had for something: the wall-clock time of the wait, but not that in
/// which it was stopped, by whatever stops a process, or in which this one was.
class Patience {
 public:
  /// A wait begins.
  Patience() : last_(std::chrono::steady_clock::now()) {}
  /// To be called every few milliseconds of the wait: counts the time since the last call. `gate`,
  /// which may be null, learns what does not count.
  void Count(const HandlerProcess& process, CallGate* gate);
  /// The same when the wait is over: this process may have been stopped until the answer was there.
  void CountLast(CallGate* gate);
  std::chrono::nanoseconds spent() const { return spent_; }

 private:
  void CountUpTo(std::chrono::nanoseconds most, CallGate* gate);

  std::chrono::steady_clock::time_point last_;
  std::chrono::nanoseconds spent_{0};
};

/// A handler process and the conversation with it.
class HandlerLink {
 public:
  /// Answers whether the volume may have a name.
  using NameQuestion = std::function<bool(const std::string& name)>;

  /// Null without memory. `limit` bounds each answer; the time in which this process or the
  /// handler's was stopped does not count. `gate`, which may be null and must outlive this, is asked
  /// of that time, and may say that an answer is waited for no longer.
  static std::unique_ptr<HandlerLink> Create(std::chrono::seconds limit, CallGate* gate,
                                             NameQuestion may_be_named);

  /// Makes a process that does `body` with its side of the block. False, with `problem`, when the
  /// host cannot. None may be running.
  bool Start(const std::function<void(SharedBlock& block)>& body, std::string& problem);
  bool running() const { return process_ != nullptr; }
  void Kill() { process_.reset(); }

  /// Where a call is written.
  MessageWriter BeginCall(std::int64_t kind, std::int64_t number);
  std::span<std::byte> data() { return block_->data(); }
  /// Hands the call over and waits for the answer, which is in reply() then. Otherwise the process
  /// is killed and the result is how it ended: "did not answer within 10 seconds".
  std::optional<std::string> Exchange();
  /// Where in the handler a process was that ended by a signal, or did not answer: lines, the
  /// innermost function first. Empty when that is not known.
  const std::vector<std::string>& trace() const { return trace_; }
  /// A copy: what was checked changes no more.
  std::span<const std::byte> reply() const { return received_; }
  /// Waits for the end of a process that has nothing more to do. Returns how it ended otherwise than
  /// with status 0.
  std::optional<std::string> Finish();

 private:
  HandlerLink(std::unique_ptr<SharedBlock> block, std::chrono::seconds limit, CallGate* gate,
              NameQuestion may_be_named);
  std::string Ended(std::string how);
  /// The same for a process that is late: it is aborted, so that there is a trace and a core file.
  std::string Aborted(std::string how);
  /// Whether the process has had its time, and how to say it.
  std::optional<std::string> IsTooLate(const Patience& patience, const char* what) const;
  bool Receive(std::int64_t& kind);
  void AnswerQuestion();
  std::string HowItEnded() const;

  std::unique_ptr<SharedBlock> block_;
  Turns turns_;
  std::chrono::seconds limit_;
  CallGate* gate_;
  NameQuestion may_be_named_;
  std::unique_ptr<HandlerProcess> process_;
  std::vector<std::byte> received_;
  std::vector<std::string> trace_;
};

/// How a process ended that answered what is no answer.
inline constexpr const char* kWithoutShape = "gave a reply without shape";

}  // namespace quorle::isolation
