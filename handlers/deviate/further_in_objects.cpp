#include <iterator>

#include "handlers/deviate/hidden.h"
#include "handlers/deviate/own_volume.h"

/// Deviations in how objects compare, in notification, and in what comes of refusals and wrong arguments, for
/// checks of the further catalogue.
namespace quorle::deviate {
namespace {

constexpr HiddenDeviation kObjects[] = {
    {"change-mode-refused-dates", "dates a file to 1978 whose lock it refuses to make exclusive",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op != Op::kChangeLockMode || call.res2 != ERROR_OBJECT_IN_USE) return;
       if (const auto place = Location::Of(volume.original(), call)) {
         volume.SetDate(place->directory(), place->name(), {});
       }
     }},
};

}  // namespace

std::vector<HiddenDeviation> FurtherInObjects() {
  return {std::begin(kObjects), std::end(kObjects)};
}

}  // namespace quorle::deviate
