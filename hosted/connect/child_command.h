#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include "hosted/connect/far_end.h"

namespace quorle::connect {

/// A command that /bin/sh runs, with the socket as descriptor 3 and the streams of the process that
/// this is in. It does not outlive that process: a guard, which is in the same group of processes and
/// waits for its end, kills what is left of the group. So that process must lead a group of its own.
class ChildCommand final : public FarEnd {
 public:
  /// A command that has closed its socket may take as long as `ending` to end, so that it is known how.
  ChildCommand(std::string command, std::chrono::milliseconds ending)
      : command_(std::move(command)), ending_(ending) {}

  int Open(std::string& problem) override;
  std::optional<std::string> HowItEnded() override;
  std::optional<std::string> Finish() override;

  /// The descriptor that the command finds the socket in.
  static constexpr int kDescriptor = 3;

 private:
  /// Reports in `status_` how the command ended, once it has. Does not wait.
  bool HasEnded();

  std::string command_;
  std::chrono::milliseconds ending_;
  pid_t id_ = -1;
  std::optional<int> status_;
};

}  // namespace quorle::connect
