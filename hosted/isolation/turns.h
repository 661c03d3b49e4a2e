#pragma once

#include <chrono>
#include <cstdint>

#include "hosted/isolation/shared_block.h"

namespace quorle::isolation {

/// What a wait ended with.
enum class Awaited : std::uint8_t {
  kTurn,     ///< it is the waiter's turn
  kTimeout,  ///< it is still the other's
  kGarbage,  ///< it is nobody's: somebody wrote over the word
};

/// One side's way to hand the turn over and to wait for it. Both sides look at the word for a
/// moment before they sleep: a call that takes no longer costs no system call.
class Turns {
 public:
  /// `words` must outlive this.
  Turns(TurnWords& words, Side mine);

  /// Gives the turn to the other side. Everything written before is there when it looks.
  void HandOver();
  /// Waits until it is this side's turn.
  void Await();
  /// The same, at most for `timeout`; a signal does not end it.
  Awaited AwaitFor(std::chrono::nanoseconds timeout);

 private:
  Awaited Look() const;
  Awaited LookForAMoment();

  TurnWords& words_;
  std::uint32_t mine_;
  std::uint32_t other_;
  int rest_ = 0;  ///< waits to come that do not look
  int next_rest_;
  bool spins_;
};

}  // namespace quorle::isolation
