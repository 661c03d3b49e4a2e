#include <iterator>

#include "handlers/deviate/hidden.h"
#include "handlers/deviate/own_volume.h"

/// Deviations in what is asked of the volume, and done to all of it.
namespace quorle::deviate {
namespace {

/// Makes `call`, and loses a block for each one that `loses` says. What it says of an object is what that was
/// before.
template <class Loses>
void LoseBlocksBy(Call& call, OwnVolume& volume, const Loses& loses) {
  ObjectState object;
  if (call.op == Op::kDelete) object = volume.StateOf(call.rel, call.name);
  volume.Make(call);
  if (loses(call, object)) ++volume.counter;
  if (call.info != nullptr) call.info->id_NumBlocksUsed += volume.counter;
}

constexpr HiddenDeviation kVolumes[] = {
    {"volume-info-other-block-size",
     "says another size of a block for the volume than for its device",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op == Op::kVolumeInfoData) call.info->id_BytesPerBlock = 512;
     }},
    {"used-blocks-stay", "shows the blocks in use that there were when it was first asked",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.info == nullptr) return;
       if (volume.counter == 0) volume.counter = call.info->id_NumBlocksUsed;
       call.info->id_NumBlocksUsed = volume.counter;
     }},
    {"delete-of-data-loses-block", "loses a block for each deleted file with data",
     [](Call& call, OwnVolume& volume) {
       LoseBlocksBy(call, volume, [](const Call& made, const ObjectState& object) {
         return made.op == Op::kDelete && !Failed(made) && object.size > 0;
       });
     }},
    {"refused-create-loses-block", "loses a block for each directory that it refuses to create",
     [](Call& call, OwnVolume& volume) {
       LoseBlocksBy(call, volume, [](const Call& made, const ObjectState&) {
         return made.op == Op::kCreateDir && Failed(made);
       });
     }},
    {"open-from-lock-counts-user", "counts a user too many for each file opened from a lock",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op == Op::kOpenFromLock && !Failed(call)) ++volume.counter;
       if (call.info != nullptr) call.info->id_InUse += volume.counter;
     }},
};

}  // namespace

std::vector<HiddenDeviation> FurtherInVolumes() {
  return {std::begin(kVolumes), std::end(kVolumes)};
}

}  // namespace quorle::deviate
