#include "program/matrix/cell_runner.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <utility>

#include "platform/constants.h"
#include "results/judged_run.h"

namespace quorle {
namespace {

/// A process that is asked to end has so long to clean up.
constexpr std::chrono::seconds kGrace{5};
/// How often a terminal shows how far it is, and cells are looked at.
constexpr std::chrono::milliseconds kBetweenLooks{500};
/// Where no terminal shows how far it is, a line does.
constexpr std::chrono::seconds kBetweenLines{30};
constexpr int kNotStarted = 126;

std::string TimeText(std::chrono::seconds time) {
  constexpr int kMinute = 60;
  constexpr int kHour = 60 * kMinute;
  const auto seconds = time.count();
  if (seconds < 2 * kMinute) return std::to_string(seconds) + " s";
  if (seconds < 2 * kHour) return std::to_string(seconds / kMinute) + " min";
  return std::to_string(seconds / kHour) + " h " + std::to_string(seconds % kHour / kMinute) +
         " min";
}

}  // namespace

CellRunner::CellRunner(const CellFolder& folder, Settings settings, Console& console)
    : folder_(folder), settings_(std::move(settings)), console_(console) {
  sigemptyset(&signals_);
  sigaddset(&signals_, SIGCHLD);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler != SIG_IGN) sigaddset(&signals_, signal);
  }
  sigprocmask(SIG_BLOCK, &signals_, &old_signals_);
}

CellRunner::~CellRunner() {
  sigprocmask(SIG_SETMASK, &old_signals_, nullptr);
}

CellCounts CellRunner::Run(std::span<const MatrixCell* const> cells) {
  waiting_.assign(cells.begin(), cells.end());
  first_waiting_ = 0;
  counts_ = {};
  total_ = cells.size();
  began_ = Clock::now();
  shown_ = began_;
  for (;;) {
    while (running_.size() < settings_.jobs && StartNext()) {
    }
    if (running_.empty()) break;
    Wait();
    Reap();
    EnforceLimits();
    ShowProgress(false);
  }
  ShowProgress(true);
  return counts_;
}

bool CellRunner::IsBusy(const std::string& resource) const {
  return !resource.empty() &&
         std::any_of(running_.begin(), running_.end(), [&](const RunningCell& running) {
           return running.cell->resource == resource;
         });
}

bool CellRunner::StartNext() {
  if (counts_.interrupted || counts_.lost) return false;
  while (first_waiting_ < waiting_.size() && waiting_[first_waiting_] == nullptr) ++first_waiting_;
  for (std::size_t i = first_waiting_; i < waiting_.size(); ++i) {
    if (waiting_[i] == nullptr || IsBusy(waiting_[i]->resource)) continue;
    Start(*std::exchange(waiting_[i], nullptr));
    return true;
  }
  return false;
}

void CellRunner::Start(const MatrixCell& cell) {
  // Where the options are that come first: behind the name of a command.
  std::vector<std::string> words = {"quorle"};
  words.insert(words.end(), cell.words.begin(), cell.words.end());
  const std::size_t behind = cell.words.front() == "explore" ? 2 : 1;
  words.insert(words.begin() + static_cast<std::ptrdiff_t>(behind),
               {"--events", folder_.PartOf(cell)});
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);

  RunningCell running;
  running.cell = &cell;
  running.deadline = Clock::now() + cell.limit;
  if (!settings_.shows_output) running.errors.reset(std::tmpfile());
  if (running.errors != nullptr) ::fcntl(::fileno(running.errors.get()), F_SETFD, FD_CLOEXEC);
  const int errors = running.errors == nullptr ? STDERR_FILENO : ::fileno(running.errors.get());
  const pid_t parent = ::getpid();
  running.process = ::fork();
  if (running.process == 0) BecomeCell(pointers.data(), errors, parent);
  if (running.process < 0) {
    Refuse(cell, std::string("no process can be made: ") + std::strerror(errno));
    return;
  }
  running_.push_back(std::move(running));
}

/// In the process of a cell: it ends when this program ends, and ^C on a terminal is for this program alone.
void CellRunner::BecomeCell(char* const* words, int errors, pid_t parent) const {
  ::setpgid(0, 0);
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent) ::_exit(kNotStarted);
  sigprocmask(SIG_SETMASK, &old_signals_, nullptr);
  const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  ::dup2(nothing, STDIN_FILENO);
  ::dup2(settings_.shows_output ? STDERR_FILENO : nothing, STDOUT_FILENO);
  if (errors != STDERR_FILENO) ::dup2(errors, STDERR_FILENO);
  if (::chdir(settings_.directory.c_str()) == 0) ::execv("/proc/self/exe", words);
  ::dprintf(STDERR_FILENO, "cannot be started in %s: %s\n", settings_.directory.c_str(),
            std::strerror(errno));
  ::_exit(kNotStarted);
}

void CellRunner::Wait() {
  Clock::time_point until = Clock::now() + kBetweenLooks;
  for (const RunningCell& running : running_) until = std::min(until, running.deadline);
  const auto time =
      std::max(std::chrono::nanoseconds(0), std::chrono::nanoseconds(until - Clock::now()));
  constexpr long kSecond = 1'000'000'000;
  const std::timespec wait = {.tv_sec = static_cast<std::time_t>(time.count() / kSecond),
                              .tv_nsec = static_cast<long>(time.count() % kSecond)};
  const int signal = ::sigtimedwait(&signals_, nullptr, &wait);
  if (signal <= 0 || signal == SIGCHLD) return;
  Reap();  // what has ended is kept
  TakeBreak();
}

/// What runs is not kept, however far it comes until it has ended.
void CellRunner::TakeBreak() {
  const int signal = counts_.interrupted ? SIGKILL : SIGTERM;
  counts_.interrupted = true;
  for (RunningCell& running : running_) {
    folder_.Drop(*running.cell);
    running.deadline = Clock::now() + kGrace;
    ::kill(running.process, signal);
  }
}

void CellRunner::EnforceLimits() {
  const Clock::time_point now = Clock::now();
  for (RunningCell& running : running_) {
    if (now < running.deadline) continue;
    const bool was_asked = running.is_over_limit || counts_.interrupted;
    ::kill(running.process, was_asked ? SIGKILL : SIGTERM);
    running.is_over_limit = true;
    running.deadline = now + kGrace;
  }
}

void CellRunner::Reap() {
  for (std::size_t i = 0; i < running_.size();) {
    int status = 0;
    const pid_t ended = ::waitpid(running_[i].process, &status, WNOHANG);
    if (ended != running_[i].process) {
      ++i;
      continue;
    }
    RunningCell running = std::move(running_[i]);
    running_.erase(running_.begin() + static_cast<std::ptrdiff_t>(i));
    End(running, status);
  }
}

void CellRunner::End(RunningCell& running, int status) {
  const MatrixCell& cell = *running.cell;
  if (counts_.interrupted) {
    folder_.Drop(cell);
    return;
  }
  const int exit = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  std::string how;
  if (running.is_over_limit) {
    how = "did not end within " + std::to_string(cell.limit.count()) +
          (cell.limit.count() == 1 ? " second" : " seconds");
  } else if (exit == RETURN_FAIL || exit == kNotStarted) {
    folder_.Drop(cell);
    Refuse(cell, FirstLine(running.errors.get()));
    return;
  } else if (exit < 0) {
    how = "was ended by signal " + std::to_string(WTERMSIG(status));
  } else if (exit != RETURN_OK && exit != RETURN_ERROR) {
    how = "ended with status " + std::to_string(exit);
  }
  const bool is_fine = exit == RETURN_OK && how.empty();
  std::string problem;
  if (!folder_.Keep(cell, is_fine ? RETURN_OK : RETURN_ERROR, how, problem)) {
    counts_.lost = true;
    Refuse(cell, problem);
    return;
  }
  if (is_fine) {
    ++counts_.fine;
    return;
  }
  ++counts_.not_fine;
  console_.Print("not as expected: " + cell.id + (how.empty() ? "" : ", which " + how) + "\n");
}

void CellRunner::Refuse(const MatrixCell& cell, const std::string& why) {
  ++counts_.refused;
  console_.Report("matrix: " + cell.id + " could not be run" + (why.empty() ? "" : ": " + why));
}

std::string CellRunner::FirstLine(std::FILE* file) {
  if (file == nullptr) return {};
  std::array<char, 512> text{};
  const ssize_t count = ::pread(::fileno(file), text.data(), text.size(), 0);
  std::string line(text.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  line.erase(std::min(line.find('\n'), line.size()));
  constexpr std::string_view kOurName = "quorle: ";
  if (line.starts_with(kOurName)) line.erase(0, kOurName.size());
  return line;
}

void CellRunner::ShowProgress(bool is_over) {
  const Clock::time_point now = Clock::now();
  const std::chrono::nanoseconds pause = settings_.is_terminal
                                             ? std::chrono::nanoseconds(kBetweenLooks)
                                             : std::chrono::nanoseconds(kBetweenLines);
  if (is_over) {
    if (settings_.is_terminal) console_.ShowProgress({});
    return;
  }
  if (now - shown_ < pause || settings_.shows_output) return;
  shown_ = now;
  std::string line = std::to_string(counts_.all()) + " of " + Plural(total_, "cell");
  if (counts_.not_fine > 0) line += ", " + std::to_string(counts_.not_fine) + " not as expected";
  if (counts_.all() > 0) {
    const std::chrono::duration<double> elapsed = now - began_;
    const double left = elapsed.count() * static_cast<double>(total_ - counts_.all()) /
                        static_cast<double>(counts_.all());
    line +=
        ", about " + TimeText(std::chrono::seconds(static_cast<std::int64_t>(left) + 1)) + " left";
  }
  if (settings_.is_terminal) {
    console_.ShowProgress(line);
  } else {
    console_.Report("matrix: " + line);
  }
}

}  // namespace quorle
