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

 protected:
  ~ByteSink() = default;
};

/// A file descriptor, which it does not close. A non-blocking one is waited for.
class DescriptorSink final : public ByteSink {
 public:
  explicit DescriptorSink(int descriptor) : descriptor_(descriptor) {}
  bool Write(std::string_view bytes) override;
  std::string Problem() const override;

 private:
  int descriptor_;
  int errno_ = 0;
};

/// The console from which the program was started: standard output for the tester, standard error
/// for what the host itself has to say. Nothing is kept back, so that the two never change order and
/// a killed run shows everything that it printed.
class Console {
 public:
  /// The sinks stay the caller's. On a `terminal` the form feed, which clears the platform's
  /// console, becomes the terminal's own clear sequence; elsewhere bytes go out as they are.
  Console(ByteSink& output, ByteSink& errors, bool terminal);

  /// Prints `text`. The first failure is reported on standard error, what is printed after it is
  /// dropped: the run goes on, and its exit status tells (see failed()).
  void Print(std::string_view text);
  /// One line about the host program on standard error; the line break is added.
  void Report(std::string_view line);
  /// `text` on standard error, as it stands.
  void PrintError(std::string_view text);

  /// Whether a part of the output was lost.
  bool failed() const { return failed_; }

 private:
  ByteSink& output_;
  ByteSink& errors_;
  bool terminal_;
  bool failed_ = false;
};

}  // namespace quorle
