#include <iterator>

#include "handlers/deviate/hidden.h"
#include "handlers/deviate/own_volume.h"

/// Deviations in scans of directories, each for a check of the further catalogue.
namespace quorle::deviate {
namespace {

constexpr HiddenDeviation kFurtherScans[] = {
    {"scan-of-empty-wrong-code", "answers 205 to the scan of an empty directory",
     [](Call& call, OwnVolume& volume) {
       const bool is_first = call.op == Op::kExamineDir && volume.scans[call.scan].given == 0;
       volume.Make(call);
       if (is_first && call.res2 == ERROR_NO_MORE_ENTRIES) call.res2 = ERROR_OBJECT_NOT_FOUND;
     }},
};

}  // namespace

std::vector<HiddenDeviation> FurtherInScans() {
  return {std::begin(kFurtherScans), std::end(kFurtherScans)};
}

}  // namespace quorle::deviate
