#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quorle {

/// Where bytes go, in the order of the calls.
class ByteSink {
 public:
  /// Everything is delivered when the call returns. False when it could not be; Problem() says why.
  virtual bool Write(std::string_view bytes) = 0;
  /// Why the last Write() failed, in the host's words.
  virtual std::string Problem() const = 0;
  /// How many lines the screen at its end shows at the moment; 0 when there is none or nobody knows.
  virtual std::size_t ScreenLines() const { return 0; }

 protected:
  ~ByteSink() = default;
};

/// A file descriptor, which it does not close. A non-blocking one is waited for.
class DescriptorSink final : public ByteSink {
 public:
  explicit DescriptorSink(int descriptor) : descriptor_(descriptor) {}
  bool Write(std::string_view bytes) override;
  std::string Problem() const override;
  std::size_t ScreenLines() const override;

 private:
  int descriptor_;
  int errno_ = 0;
};

/// The console from which the program was started: standard output for the tester, standard error
/// for what the host itself has to say. Nothing is kept back, so that the two never change order and
/// a killed run shows everything that it printed.
class Console {
 public:
  /// The sinks stay the caller's. On a `terminal` the form feed, which clears the platform's console,
  /// becomes a fresh screen: what was there is scrolled off, line by line, and stays to be read.
  /// Where nobody knows how large the screen is, there is none. Elsewhere bytes go out as they are.
  Console(ByteSink& output, ByteSink& errors, bool terminal);

  /// Prints `text`. The first failure is reported on standard error, what is printed after it is
  /// dropped: the run goes on, and its exit status shows it (see failed()).
  void Print(std::string_view text);
  /// One line about the host program on standard error; the line break is added. Control characters
  /// of what it names are shown (control_characters.h).
  void Report(std::string_view line);
  /// `text` on standard error, as it stands.
  void PrintError(std::string_view text);
  /// Shows `text`, which is shorter than the terminal is wide, on standard error, a terminal, until
  /// something else is printed there; empty: until now.
  void ShowProgress(std::string_view text);

  /// Whether the output is read on a terminal, which obeys control characters.
  bool terminal() const { return terminal_; }
  /// Whether a part of the output was lost.
  bool failed() const { return failed_; }

 private:
  std::string ForTerminal(std::string_view text) const;

  ByteSink& output_;
  ByteSink& errors_;
  bool terminal_;
  bool failed_ = false;
  bool has_progress_ = false;
};

}  // namespace quorle
