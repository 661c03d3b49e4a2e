#include <iterator>

#include "handlers/deviate/hidden.h"
#include "handlers/deviate/own_volume.h"

/// Deviations in names, dates, renaming and soft links that checks of the further catalogue alone notice.
namespace quorle::deviate {
namespace {

/// Whether somebody has the file `name` in `rel` open or locked.
bool IsFileInUse(::Lock* rel, const char* name, const OwnVolume& volume) {
  if (!volume.StateOf(rel, name).Is(kFile)) return false;
  ::Lock* const lock =
      volume.Invoke({.op = Op::kLock, .rel = rel, .name = name, .mode = EXCLUSIVE_LOCK}).given_lock;
  if (lock == nullptr) return true;
  volume.original().UnLock(lock);
  return false;
}

constexpr HiddenDeviation kFurtherNames[] = {
    {"rename-in-use-refused", "refuses to rename a file that is open or locked",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kRename && IsFileInUse(call.rel, call.name, volume)) {
         return Fail(call, ERROR_OBJECT_IN_USE);
       }
       volume.Make(call);
     }},
    {"rename-keeps-target-bit",
     "leaves the archive bit of the directory that an object is renamed into",
     [](Call& call, OwnVolume& volume) {
       if (call.op != Op::kRename) return volume.Make(call);
       const std::uint32_t protection = volume.StateOf(call.other, "").protection;
       volume.Make(call);
       if (!Failed(call)) volume.SetProtection(call.other, "", protection);
     }},
};

}  // namespace

std::vector<HiddenDeviation> FurtherInNames() {
  return {std::begin(kFurtherNames), std::end(kFurtherNames)};
}

}  // namespace quorle::deviate
