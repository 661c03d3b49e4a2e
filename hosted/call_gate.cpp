#include "hosted/call_gate.h"

#include <algorithm>
#include <csignal>
#include <utility>

namespace quorle {
namespace {

using std::chrono::nanoseconds;

/// How often the other thread looks. A process that is stopped, or gets no processor, looks no more:
/// no more than twice that time counts between two looks.
constexpr nanoseconds kGlance = std::chrono::milliseconds(100);
/// A call in this process that takes no longer is not taken for one that never returns.
constexpr nanoseconds kLongCall = std::chrono::seconds(10);

std::string InSeconds(std::chrono::seconds limit) {
  const auto count = limit.count();
  return std::to_string(count) + (count == 1 ? " second" : " seconds");
}

/// Makes a thread that no signal of the process is delivered to.
template <class Body>
std::thread MakeQuietThread(Body body) {
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  std::thread thread(body);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return thread;
}

}  // namespace

CallGate::Passage::Passage(CallGate* gate, Process process, const char* device) : gate_(gate) {
  if (gate_ != nullptr && gate_->depth_++ == 0) gate_->Enter(process, device);
}

CallGate::Passage::~Passage() {
  if (gate_ != nullptr && --gate_->depth_ == 0) gate_->Leave();
}

CallGate::CallGate(Settings settings, RunWatch& watch)
    : settings_(std::move(settings)),
      watch_(watch),
      watcher_(MakeQuietThread([this] { Watch(); })) {}

CallGate::~CallGate() {
  {
    const std::lock_guard lock(mutex_);
    ends_ = true;
  }
  changed_.notify_one();
  watcher_.join();
}

void CallGate::BeginGroup() {
  used_ = 0;
  reported_ = false;
  FollowWatch();
}

void CallGate::FollowWatch() {
  std::string place = watch_.Place();
  const std::lock_guard lock(mutex_);
  where_ = std::move(place);
}

bool CallGate::Admits(Purpose purpose) {
  const std::int64_t limit = nanoseconds(settings_.limit).count();
  const std::int64_t used = used_.load(std::memory_order_relaxed);
  if (used < limit) return true;
  if (!reported_) {
    reported_ = true;
    const std::string place = watch_.Place();
    watch_.Report((place.empty() ? "outside of the tests" : place) +
                  ": the handler took more than " + InSeconds(settings_.limit) +
                  " (--limit); the calls that are left fail");
  }
  return purpose == Purpose::kRelease && used < 2 * limit;
}

bool CallGate::GivesUp() const {
  return settings_.was_interrupted && settings_.was_interrupted() &&
         nanoseconds(used_ + running_) >= settings_.limit;
}

void CallGate::Report(const std::string& line) {
  const std::string place = watch_.Place();
  watch_.Report(place.empty() ? line : line + ", " + place);
}

void CallGate::Enter(Process process, const char* device) {
  excused_ = {};
  running_ = 0;
  process_.store(process, std::memory_order_relaxed);
  device_.store(device, std::memory_order_relaxed);
  begun_ = Moment::now();
  turn_.fetch_add(1, std::memory_order_release);
}

void CallGate::Leave() {
  turn_.fetch_add(1, std::memory_order_release);
  nanoseconds took = Moment::now() - begun_;
  // Only where it matters: whether all of it was ours is what the other thread knows.
  if (took > 2 * kGlance) {
    took = std::min(took, nanoseconds(running_.load()) + 2 * kGlance);
  }
  took -= std::min(took, excused_);
  used_.store(used_.load(std::memory_order_relaxed) + took.count(), std::memory_order_relaxed);
}

/// What the other thread does: measures the call that does not return.
void CallGate::Watch() {
  std::uint64_t seen = 0;
  Moment::time_point last = Moment::now();
  std::unique_lock lock(mutex_);
  while (!changed_.wait_for(lock, kGlance, [this] { return ends_; })) {
    const Moment::time_point now = Moment::now();
    const nanoseconds gone = std::min<nanoseconds>(now - std::exchange(last, now), 2 * kGlance);
    const std::uint64_t turn = turn_.load(std::memory_order_acquire);
    if (turn % 2 == 0 || std::exchange(seen, turn) != turn) {
      running_ = 0;
      continue;
    }
    running_ += gone.count();
    const nanoseconds running(running_.load());
    if (process_.load(std::memory_order_relaxed) == Process::kOurs && settings_.give_up &&
        running >= std::min<nanoseconds>(settings_.limit, kLongCall) &&
        nanoseconds(used_ + running_) >= settings_.limit) {
      settings_.give_up(LastLine());
      return;
    }
  }
}

std::string CallGate::LastLine() const {
  return std::string(device_.load()) + ": the handler did not return within " +
         InSeconds(settings_.limit) + (where_.empty() ? "" : ", " + where_) +
         "; it is in the tester's own process, which ends";
}

}  // namespace quorle
