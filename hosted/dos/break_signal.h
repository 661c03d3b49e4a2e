#pragma once

namespace quorle {

/// Where the shell's break signal comes from.
class BreakSource {
 public:
  /// Whether ^C was pressed, or the process asked to end, since the last call.
  virtual bool TakeBreak() = 0;

 protected:
  ~BreakSource() = default;
};

/// SIGINT, SIGTERM and SIGHUP as the break signal, from construction to destruction; make one at a
/// time. The first of them is kept until it is taken, a second one, whichever it is, ends the
/// process at once, as it does by default. One that was ignored before, as nohup ignores SIGHUP and
/// a shell SIGINT for what runs in the background, stays ignored.
class BreakSignal final : public BreakSource {
 public:
  BreakSignal();
  ~BreakSignal();
  BreakSignal(const BreakSignal&) = delete;
  BreakSignal& operator=(const BreakSignal&) = delete;

  bool TakeBreak() override;
  /// Whether the next TakeBreak() gives true.
  bool IsPending() const;
};

}  // namespace quorle
