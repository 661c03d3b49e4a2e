#pragma once

#include <cstdint>

#include "harness/catalogue.h"
#include "harness/context.h"

/// What the tests need after which nothing is on the volume any more.
namespace quorle {

/// `TestGroup::run` of a group that may lose what is on the volume: runs it only where that is allowed, and
/// only when there is nothing in the root. Otherwise says why not, in italics, and returns RETURN_OK without
/// having made a call that changes anything.
std::int32_t RunWhereNothingIsLost(TestContext& ctx, const TestGroup& group, RunListener& listener);

/// Whether nothing is in the current directory, as far as can be seen.
bool IsCurrentDirEmpty(TestContext& ctx);

/// CleanUp() of what is called `name` in the root of the target, which may not be the current directory any more.
void CleanUpRoot(TestContext& ctx, const char* name, const char* label, std::uint32_t number);

/// The target without a lock on it: `ctx.root_lock` goes back, until Return() or the end.
class [[nodiscard]] Vacancy {
 public:
  explicit Vacancy(TestContext& ctx);
  ~Vacancy() { static_cast<void>(Return()); }
  Vacancy(const Vacancy&) = delete;
  Vacancy& operator=(const Vacancy&) = delete;

  /// Keeps everybody off the volume, until Return(). False, with the code in IoErr(), when that is refused.
  bool Inhibit();
  /// Lets everybody back, and locks the root again, which becomes the current directory. When it cannot be
  /// locked, that is printed, the run ends after this group, since no test may run in another directory, and
  /// the status is kFatal.
  std::int32_t Return();

 private:
  TestContext& ctx_;
  bool was_asked_ = false;  ///< to keep everybody off
  bool is_over_ = false;
};

}  // namespace quorle
