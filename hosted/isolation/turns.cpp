#include "hosted/isolation/turns.h"

#include <linux/futex.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <limits>

namespace quorle::isolation {
namespace {

using Moment = std::chrono::steady_clock;

/// As long as two system calls and the switch between two processes take, about: sleeping at once
/// costs no less.
constexpr std::chrono::microseconds kSpin{40};
constexpr int kLooksBetweenClocks = 64;
/// How many waits sleep at once after one that looked in vain: on a busy machine the other side has
/// no processor while this one looks. At first few, since as soon as both have one a look costs a tenth
/// of a sleep; twice as many each time that the next look is in vain as well.
constexpr int kFewestWithoutLooking = 4;
constexpr int kMostWithoutLooking = 128;

/// The kernel's struct timespec of the system call that a 32-bit or 64-bit program makes.
struct FutexTimeout {
  long seconds;
  long nanoseconds;
};

void Sleep(std::atomic<std::uint32_t>& word, std::uint32_t as_long_as,
           const FutexTimeout* timeout) {
  syscall(SYS_futex, &word, FUTEX_WAIT, as_long_as, timeout, nullptr, 0);
}

void Wake(std::atomic<std::uint32_t>& word) {
  syscall(SYS_futex, &word, FUTEX_WAKE, std::numeric_limits<int>::max(), nullptr, nullptr, 0);
}

/// With one processor the other side cannot get on while this one looks.
bool HasSeveralProcessors() {
  cpu_set_t allowed;
  return sched_getaffinity(0, sizeof allowed, &allowed) != 0 || CPU_COUNT(&allowed) > 1;
}

void Pause() {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#endif
}

}  // namespace

Turns::Turns(TurnWords& words, Side mine)
    : words_(words),
      mine_(static_cast<std::uint32_t>(mine)),
      other_(1 - mine_),
      next_rest_(kFewestWithoutLooking),
      spins_(HasSeveralProcessors()) {}

void Turns::HandOver() {
  // Sequentially consistent, as is the sleeper's side: either it sees the turn or it is seen
  // asleep.
  words_.turn.store(other_);
  if (words_.asleep[other_].load() != 0) Wake(words_.turn);
}

void Turns::Await() {
  if (LookForAMoment() == Awaited::kTurn) return;
  words_.asleep[mine_].store(1);
  // Whatever else the word is: only the turn ends the wait.
  for (std::uint32_t turn = 0; (turn = words_.turn.load()) != mine_;) {
    Sleep(words_.turn, turn, nullptr);
  }
  words_.asleep[mine_].store(0);
}

Awaited Turns::AwaitFor(std::chrono::nanoseconds timeout) {
  const Moment::time_point end = Moment::now() + timeout;
  Awaited seen = LookForAMoment();
  if (seen != Awaited::kTimeout) return seen;
  words_.asleep[mine_].store(1);
  while ((seen = Look()) == Awaited::kTimeout) {
    const auto left = std::chrono::nanoseconds(end - Moment::now()).count();
    if (left <= 0) break;
    const FutexTimeout rest{static_cast<long>(left / 1'000'000'000),
                            static_cast<long>(left % 1'000'000'000)};
    Sleep(words_.turn, other_, &rest);
  }
  words_.asleep[mine_].store(0);
  return seen;
}

Awaited Turns::Look() const {
  const std::uint32_t turn = words_.turn.load();
  if (turn == mine_) return Awaited::kTurn;
  return turn == other_ ? Awaited::kTimeout : Awaited::kGarbage;
}

Awaited Turns::LookForAMoment() {
  Awaited seen = Look();
  if (!spins_ || seen != Awaited::kTimeout) return seen;
  if (rest_ > 0) {
    --rest_;
    return seen;
  }
  const Moment::time_point end = Moment::now() + kSpin;
  do {
    for (int i = 0; i < kLooksBetweenClocks && seen == Awaited::kTimeout; ++i) {
      Pause();
      seen = Look();
    }
  } while (seen == Awaited::kTimeout && Moment::now() < end);
  if (seen == Awaited::kTimeout) {
    rest_ = next_rest_;
    next_rest_ = std::min(2 * next_rest_, kMostWithoutLooking);
  } else {
    next_rest_ = kFewestWithoutLooking;
  }
  return seen;
}

}  // namespace quorle::isolation
