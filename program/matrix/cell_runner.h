#pragma once

#include <sys/types.h>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "hosted/dos/console.h"
#include "program/matrix/cell_folder.h"
#include "results/matrix_file.h"

namespace quorle {

/// How many cells came out how.
struct CellCounts {
  std::size_t fine = 0;
  std::size_t not_fine = 0;
  std::size_t refused = 0;  ///< could not be run
  bool interrupted = false;
  bool lost = false;  ///< the file of a cell could not be written: no further one was begun

  std::size_t all() const { return fine + not_fine + refused; }
};

/// Runs cells, each as a process of this very program, and has their files kept.
class CellRunner {
 public:
  struct Settings {
    std::size_t jobs = 1;       ///< how many at a time
    std::string directory;      ///< in which they run
    bool shows_output = false;  ///< what they print goes to standard error
    bool is_terminal = false;   ///< that is one
  };

  /// All of it stays the caller's. What is not as expected gets a line on `console`.
  CellRunner(const CellFolder& folder, Settings settings, Console& console);
  ~CellRunner();
  CellRunner(const CellRunner&) = delete;
  CellRunner& operator=(const CellRunner&) = delete;

  /// Runs `cells`, in their order as far as their resources allow. Returns when all have ended, or
  /// those that ran when the break signal (SIGINT, SIGTERM or SIGHUP, unless it was ignored) came.
  CellCounts Run(std::span<const MatrixCell* const> cells);

 private:
  using Clock = std::chrono::steady_clock;

  struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  /// A cell that runs.
  struct RunningCell {
    const MatrixCell* cell = nullptr;
    pid_t process = 0;
    Clock::time_point deadline;
    bool is_over_limit = false;
    std::unique_ptr<std::FILE, CloseFile> errors;  ///< what it prints on standard error
  };

  bool StartNext();
  void Start(const MatrixCell& cell);
  [[noreturn]] void BecomeCell(char* const* words, int errors, pid_t parent) const;
  void Wait();
  void TakeBreak();
  void Reap();
  void End(RunningCell& running, int status);
  void EnforceLimits();
  void ShowProgress(bool is_over);
  void Refuse(const MatrixCell& cell, const std::string& why);
  bool IsBusy(const std::string& resource) const;
  static std::string FirstLine(std::FILE* file);

  const CellFolder& folder_;
  Settings settings_;
  Console& console_;
  sigset_t signals_{};
  sigset_t old_signals_{};
  std::vector<const MatrixCell*> waiting_;  ///< null: begun
  std::size_t first_waiting_ = 0;
  std::vector<RunningCell> running_;
  CellCounts counts_;
  std::size_t total_ = 0;
  Clock::time_point began_;
  Clock::time_point shown_;
};

}  // namespace quorle
