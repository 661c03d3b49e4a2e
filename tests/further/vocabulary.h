#pragma once

#include <cstdint>
#include <type_traits>

#include "harness/catalogue.h"
#include "harness/diagnostics.h"
#include "harness/further_context.h"
#include "harness/scratch.h"

/// The words of the further tests, beside those of harness/diagnostics.h and tests/set_up.h.
namespace quorle {

/// The filesystem did the wrong thing: prints the message in bold, and returns kFailed.
///
///   return Failure(ctx, "\nERROR: ExamineDir() gave \"%s\" twice.\n\n", data->Name);
template <class... Args>
std::int32_t Failure(TestContext& ctx, CheckedFormat<std::type_identity_t<Args>...> format,
                     const Args&... args) {
  const Bold bold(ctx);
  ctx.IDOS->Printf(format, args...);
  return kFailed;
}

/// The same for a call that the group is about, which failed and should not have: kFatal, without the
/// message, when the filesystem does not know it (209).
template <class... Args>
std::int32_t FailedCall(TestContext& ctx, CheckedFormat<std::type_identity_t<Args>...> format,
                        const Args&... args) {
  return NotImplemented(ctx) ? kFatal : Failure(ctx, format, args...);
}

/// A call was refused, as it should be, with a code that is not `expected`: prints the warning and the line
/// that names the right one, not in bold, and returns kFailed. Ask WrongError() first.
///
///   if (WrongError(ctx, ERROR_OBJECT_EXISTS)) {
///     return WrongCode(ctx, ERROR_OBJECT_EXISTS, "\nWARN:  CreateDir(\"%s\") failed ok, but ...", name);
///   }
template <class... Args>
std::int32_t WrongCode(TestContext& ctx, std::int32_t expected,
                       CheckedFormat<std::type_identity_t<Args>...> format, const Args&... args) {
  ctx.IDOS->Printf(format, args...);
  ShouldHaveBeen(ctx, expected);
  return kFailed;
}

/// Gives a lock back that a call was not to give. Returns whether there is one.
bool GiveBack(TestContext& ctx, LockHandle lock);
/// The same with an open file.
bool GiveBack(TestContext& ctx, FileHandle file);

/// A scratch directory, "DIRECTORY01" or a higher number, which is the current directory as long as this
/// lives. What is made in it is removed before, by its names, which may be any.
class [[nodiscard]] WorkDirectory {
 public:
  /// Makes it. What goes wrong is printed. A CLEANUP ERROR calls it the first object of the check.
  WorkDirectory(TestContext& ctx, const char* label);
  /// Goes back, and removes it.
  ~WorkDirectory();
  WorkDirectory(const WorkDirectory&) = delete;
  WorkDirectory& operator=(const WorkDirectory&) = delete;

  /// Whether it is there.
  explicit operator bool() const { return static_cast<bool>(lock_); }
  /// The shared lock on it.
  LockHandle lock() const { return lock_; }
  const char* name() const { return name_; }

 private:
  TestContext& ctx_;
  const char* label_;
  ScratchName name_;
  LockHandle lock_;
  LockHandle previous_;
};

/// Empty files in the current directory, "entry0001" and so on.
class [[nodiscard]] ManyFiles {
 public:
  static constexpr std::uint32_t kMost = 9999;

  ManyFiles(TestContext& ctx, const char* label) : ctx_(ctx), label_(label) {}
  /// Removes those that are there.
  ~ManyFiles();
  ManyFiles(const ManyFiles&) = delete;
  ManyFiles& operator=(const ManyFiles&) = delete;

  /// Makes `count` more of them. False, with the reason printed, when one cannot be made.
  bool Make(std::uint32_t count);
  /// The name of number `number`, from 1, which is valid until the next call.
  const char* Name(std::uint32_t number);
  /// The number of the file `name`, from 1 to kMost; 0 for another name.
  static std::uint32_t NumberOf(const char* name);

 private:
  TestContext& ctx_;
  const char* label_;
  std::uint32_t made_ = 0;  ///< up to this number there may be files
  char name_[16] = {};
};

}  // namespace quorle
