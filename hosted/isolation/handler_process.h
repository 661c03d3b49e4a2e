#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace quorle::isolation {

/// A process of a handler. It has nothing of its parent's but its memory as it was and standard
/// error, to which its standard output goes too. It leads a session of its own: ^C in the terminal
/// does not reach it, and printing to the terminal does not stop it. It does not outlive its
/// parent, and no process of its session outlives it.
class HandlerProcess {
 public:
  /// Makes one that does `body` and ends with status 0. Null, with `problem`, when the host cannot.
  static std::unique_ptr<HandlerProcess> Start(const std::function<void()>& body,
                                               std::string& problem);
  /// Kills it.
  ~HandlerProcess();
  HandlerProcess(const HandlerProcess&) = delete;
  HandlerProcess& operator=(const HandlerProcess&) = delete;

  /// How it ended, as waitpid() reports it; none while it runs. Once it has ended its session has.
  std::optional<int> Status();
  /// Whether it is stopped, by a signal or by a debugger.
  bool IsStopped() const;
  /// Waits for its end, at most for `timeout`.
  std::optional<int> WaitForEnd(std::chrono::nanoseconds timeout);
  /// Asks it to end by SIGABRT, which leaves a core file where the host keeps them.
  void Abort();
  void Kill();

 private:
  explicit HandlerProcess(pid_t id);
  void EndSession();

  pid_t id_;
  int descriptor_;  ///< readable when it has ended; -1 on a host that has none such
  std::optional<int> status_;
};

/// A descriptor that is readable when the process `id` has ended; -1 on a host that has none such.
int OpenProcess(pid_t id);

/// Closes every descriptor of this process but standard input, output and error.
void CloseOtherDescriptors();

}  // namespace quorle::isolation
