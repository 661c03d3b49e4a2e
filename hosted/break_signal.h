#pragma once

namespace quorle {

/// Where the shell's break signal comes from.
class BreakSource {
 public:
  /// Whether ^C was pressed since the last call.
  virtual bool TakeBreak() = 0;

 protected:
  ~BreakSource() = default;
};

/// SIGINT as the break signal, from construction to destruction; make one at a time. The first
/// SIGINT is kept until it is taken, a second one ends the process at once, as it does by default.
class BreakSignal final : public BreakSource {
 public:
  BreakSignal();
  ~BreakSignal();
  BreakSignal(const BreakSignal&) = delete;
  BreakSignal& operator=(const BreakSignal&) = delete;

  bool TakeBreak() override;
};

}  // namespace quorle
