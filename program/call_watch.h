#pragma once

#include <memory>
#include <string_view>

#include "platform/dos.h"
#include "platform/exec.h"

namespace quorle {

/// A layer over the platform that passes every call on and remembers two things which the console
/// does not tell: which call the filesystem did not know, and whether the run was broken off.
class CallWatch {
 public:
  /// `dos` must be the interface that `exec` gives for dos.library. Neither is owned.
  CallWatch(ExecInterface& exec, DosInterface& dos);
  ~CallWatch();
  CallWatch(const CallWatch&) = delete;
  CallWatch& operator=(const CallWatch&) = delete;

  /// What the tester is started with in place of the real exec.
  ExecInterface& exec();
  /// What that exec gives for dos.library.
  DosInterface& dos();

  /// The call whose 209 the program found first when it looked at its error code, "MakeLink", since
  /// the last ForgetUnknown(); empty when it found none.
  std::string_view unknown() const;
  void ForgetUnknown();
  /// Whether the program has seen a break signal.
  bool broken() const;

 private:
  class WatchedDos;
  class WatchedExec;

  std::unique_ptr<WatchedDos> dos_;
  std::unique_ptr<WatchedExec> exec_;
};

}  // namespace quorle
