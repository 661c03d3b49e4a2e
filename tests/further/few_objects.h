#pragma once

#include "harness/catalogue.h"
#include "tests/further/vocabulary.h"

/// A few objects that are the same or not, by several names.
namespace quorle {

/// The directory "Drawer" and the empty files "First", "Second" and "Drawer/First" in a scratch directory, which
/// is the current one.
class [[nodiscard]] FewObjects {
 public:
  FewObjects(TestContext& ctx, const char* label);
  /// Removes them, with "Link" and "Renamed".
  ~FewObjects();
  FewObjects(const FewObjects&) = delete;
  FewObjects& operator=(const FewObjects&) = delete;

  /// Makes them. False, with the reason printed, when that fails.
  bool Make();
  /// Makes "Link", a hard link to "First". False when there is none; an INFO then says so.
  bool MakeHardLink();
  /// Renames "First", which is in use, to "Renamed". False when that is refused, as it may be with 202, which an
  /// INFO says; `status` is then that of the check.
  bool RenameFirst(std::int32_t& status);

 private:
  TestContext& ctx_;
  const char* label_;
  WorkDirectory work_;
};

/// A shared lock on the root of a volume that is not the target, "RAM:" or "ENV:", and which it is. None when
/// there is no such; an INFO then says so.
LockHandle LockOtherVolume(TestContext& ctx, const char* label, const char*& name);

}  // namespace quorle
