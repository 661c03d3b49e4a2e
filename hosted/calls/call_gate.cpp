#include "hosted/calls/call_gate.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <ctime>
#include <fstream>
#include <string_view>
#include <utility>

#include "platform/constants.h"

namespace quorle {
namespace {

using std::chrono::nanoseconds;

constexpr std::chrono::milliseconds kTick{100};
/// A call in this process that takes no longer is not taken for one that never returns.
constexpr std::chrono::seconds kLongCall{10};

/// Outside an object: a signal handler is given none.
std::atomic<CallGate*> the_gate = nullptr;

/// One that hardly anybody uses, that is ignored by default, and that debuggers let pass.
constexpr int kTickSignal = SIGURG;

std::string InSeconds(std::chrono::seconds limit) {
  const auto count = limit.count();
  return std::to_string(count) + (count == 1 ? " second" : " seconds");
}

/// Whether a debugger has this process, and may have stopped it.
bool IsTraced() {
  constexpr std::string_view kTracer = "TracerPid:\t";
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(kTracer)) return line.substr(kTracer.size()) != "0";
  }
  return false;
}

void SetHandler(int signal, void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigaction(signal, &action, nullptr);
}

}  // namespace

CallGate::Passage::Passage(CallGate* gate, Process process, const char* device) : gate_(gate) {
  if (gate_ != nullptr && gate_->depth_++ == 0) gate_->Enter(process, device);
}

CallGate::Passage::~Passage() {
  if (gate_ != nullptr && --gate_->depth_ == 0) gate_->Leave();
}

CallGate::CallGate(Settings settings, RunWatch& watch)
    : settings_(std::move(settings)), watch_(watch), how_long_(InSeconds(settings_.limit)) {
  the_gate = this;
  SetHandler(kTickSignal, OnTick);
  SetHandler(SIGCONT, OnContinue);
  sigevent event{};
  event.sigev_notify = SIGEV_SIGNAL;
  event.sigev_signo = kTickSignal;
  timer_create(CLOCK_MONOTONIC, &event, &timer_);
  BeginGroup();
}

CallGate::~CallGate() {
  timer_delete(timer_);
  std::signal(SIGCONT, SIG_DFL);
  std::signal(kTickSignal, SIG_DFL);
  the_gate = nullptr;
}

void CallGate::BeginGroup() {
  used_ = {};
  reported_ = false;
  FollowWatch();
  // Ticks only when the time is over: they cut short what a handler waits for.
  itimerspec ticks{};
  ticks.it_value.tv_sec = static_cast<std::time_t>(settings_.limit.count());
  ticks.it_interval.tv_nsec = static_cast<long>(nanoseconds(kTick).count());
  timer_settime(timer_, 0, &ticks, nullptr);
}

void CallGate::FollowWatch() {
  where_ = watch_.Place();
}

bool CallGate::Admits(Purpose purpose) {
  if (used_ < settings_.limit) return true;
  if (!reported_) {
    reported_ = true;
    watch_.ReportLimit("took more than " + how_long_);
  }
  return purpose == Purpose::kRelease && used_ < 2 * settings_.limit;
}

bool CallGate::GivesUp() const {
  return settings_.was_interrupted && settings_.was_interrupted() &&
         used_ + (Moment::now() - begun_) - excused_ >= settings_.limit;
}

void CallGate::Report(const std::string& line) {
  const std::string place = watch_.Place();
  watch_.Report(place.empty() ? line : line + ", " + place);
}

void CallGate::Enter(Process process, const char* device) {
  excused_ = {};
  was_stopped_.store(false, std::memory_order_relaxed);
  device_.store(device, std::memory_order_relaxed);
  begun_ = Moment::now();
  if (process == Process::kOurs) turn_.fetch_add(1, std::memory_order_release);
}

void CallGate::Leave() {
  const bool was_ours = turn_.load(std::memory_order_relaxed) % 2 != 0;
  if (was_ours) turn_.fetch_add(1, std::memory_order_release);
  nanoseconds took = Moment::now() - begun_;
  // How long it was stopped is not known here; of another process the wait for it has counted it.
  if (was_ours && took > kTick && (was_stopped_ || IsTraced())) took = kTick;
  used_ += took - std::min(took, excused_);
}

void CallGate::OnTick(int /*signal*/) {
  if (CallGate* const gate = the_gate; gate != nullptr) gate->Tick();
}

void CallGate::OnContinue(int /*signal*/) {
  if (CallGate* const gate = the_gate; gate != nullptr) gate->was_stopped_ = true;
}

/// Counts how long a call in this process goes on after the time of its group. Ticks that come while
/// the process is stopped become one.
void CallGate::Tick() {
  const std::uint32_t turn = turn_.load(std::memory_order_acquire);
  if (turn % 2 == 0 || turn != std::exchange(seen_turn_, turn)) {
    ticks_ = 0;
    return;
  }
  if (++ticks_ * kTick >= std::min<nanoseconds>(settings_.limit, kLongCall)) EndProgram();
}

/// In a signal handler, with a handler in the middle of anything.
void CallGate::EndProgram() const {
  std::array<char, 512> line{};
  std::size_t length = 0;
  const auto add = [&](std::string_view text) {
    length += text.copy(line.data() + length, line.size() - length);
  };
  add("quorle: ");
  add(device_.load());
  add(": the handler did not return within ");
  add(how_long_);
  add(where_.empty() ? "" : ", ");
  add(where_);
  add("; it is in the tester's own process, which ends\n");
  static_cast<void>(!write(STDERR_FILENO, line.data(), length));
  _exit(RETURN_FAIL);
}

}  // namespace quorle
