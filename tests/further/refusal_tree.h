#pragma once

#include <cstdint>

#include "harness/catalogue.h"
#include "platform/records.h"
#include "tests/further/vocabulary.h"

/// A small tree on which calls are made that are refused, and how it looks before and afterwards.
namespace quorle {

/// How many objects are in it.
inline constexpr std::uint32_t kRefusalObjects = 8;

/// How one object looks; all zero when it is not there.
struct ObjectLook {
  bool is_there;
  bool is_listed;  ///< a scan of its directory shows it
  std::uint32_t type;
  std::int64_t size;
  std::uint32_t protection;
  DateStamp date;
  std::uint32_t owner;
  std::uint32_t group;
  char comment[16];   ///< its first 15 bytes
  char contents[16];  ///< its first bytes; of what can be read
};

/// How the tree looks.
struct TreeLook {
  ObjectLook objects[kRefusalObjects];
  std::uint32_t users;  ///< of the volume
  char stranger[64];    ///< what a scan shows beside the objects; empty: nothing
};

/// The directory "Drawer" in a scratch directory that is the current one. In it are the files "Source" and
/// "Target", the file "Kept", which is protected from deletion, the file "Sealed", which is protected from
/// reading and writing, and the directory "Folder" with the files "First" and "Second". Each file holds more
/// than 8 bytes; each object has a comment, a date that is long ago, and the archive bit.
class [[nodiscard]] RefusalTree {
 public:
  RefusalTree(TestContext& ctx, const char* label);
  /// Removes it, with what refused calls may have left: "New" in "Drawer" and in "Folder".
  ~RefusalTree();
  RefusalTree(const RefusalTree&) = delete;
  RefusalTree& operator=(const RefusalTree&) = delete;

  /// Makes it. False, with the reason printed, when that fails.
  bool Make();
  /// How it looks now.
  void Look(TreeLook& look);
  /// Gives all objects their date and protection again, where they can be set.
  void MarkAgain();
  /// Whether an object is there in both, with another date.
  static bool HaveOtherDates(const TreeLook& before, const TreeLook& now);
  /// From now on dates are not compared.
  void LeaveOutDates() { compares_dates_ = false; }
  bool compares_dates() const { return compares_dates_; }
  /// Whether all of it and nothing else is in `look`, with what it holds. False, with the object printed, when it is not.
  bool IsComplete(const TreeLook& look);
  /// Whether `now` is as `before`, which is complete, when the call `call` was refused between them. Returns the status; one
  /// difference is printed.
  std::int32_t Compare(const char* call, const TreeLook& before, const TreeLook& now);

 private:
  bool MakeObject(std::uint32_t index);
  /// Sets its date, where there are any, and its protection. Returns whether the latter was done.
  bool Mark(std::uint32_t index);
  void LookAtContents(const char* name, char* contents);
  void LookAtEntries(const char* directory, TreeLook& look);

  TestContext& ctx_;
  const char* label_;
  WorkDirectory work_;
  std::uint32_t made_ = 0;  ///< the first ones; the last may have failed
  bool compares_dates_ = true;
};

}  // namespace quorle
