#pragma once

#include <cstdint>

#include "harness/context.h"

/// The vocabulary of diagnostics. A message itself is always a literal at the place where it is
/// printed; these words only carry the bytes that are the same everywhere.
///
///   { const Bold bold(ctx); dos.Printf("\nERROR: ...\n"); }    "\e[1m\nERROR: ...\n\e[0m"
///   { const Italic italic(ctx); dos.PutStr("note\n"); }        "\e[3mnote\n\e[0m"
///   ShouldHaveBeen(ctx, ERROR_OBJECT_IN_USE);
///       "       instead, the error code should have been; #202 object is in use.\n\n"
///
/// All style words keep the error code: they may stand between a failed call and its message.
namespace quorle {

/// "\e[1m"
void BoldOn(TestContext& ctx);
/// "\e[3m"
void ItalicOn(TestContext& ctx);
/// "\e[0m"
void StyleOff(TestContext& ctx);
/// "\n\f\n"; the form feed clears the console.
void ClearScreen(TestContext& ctx);

/// A bold stretch: from here to the end of the block.
class [[nodiscard]] Bold {
 public:
  explicit Bold(TestContext& ctx) : ctx_(ctx) { BoldOn(ctx_); }
  ~Bold() { StyleOff(ctx_); }
  Bold(const Bold&) = delete;
  Bold& operator=(const Bold&) = delete;

 private:
  TestContext& ctx_;
};

/// An italic stretch: from here to the end of the block.
class [[nodiscard]] Italic {
 public:
  explicit Italic(TestContext& ctx) : ctx_(ctx) { ItalicOn(ctx_); }
  ~Italic() { StyleOff(ctx_); }
  Italic(const Italic&) = delete;
  Italic& operator=(const Italic&) = delete;

 private:
  TestContext& ctx_;
};

/// Call it after a failed call: records `IoErr()` as the last error of the run and returns whether
/// it is 209: the filesystem does not know the operation. A sub-test then returns kFatal.
bool NotImplemented(TestContext& ctx);

/// Whether a call that was right to fail set another code than `expected`. Never when
/// NoWarnMessages is set: then codes are not checked.
bool WrongError(TestContext& ctx, std::int32_t expected);

/// Makes `expected` the current error code and prints the line that says so.
void ShouldHaveBeen(TestContext& ctx, std::int32_t expected);

}  // namespace quorle
