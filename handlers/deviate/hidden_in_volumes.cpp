#include <iterator>

#include "handlers/deviate/hidden.h"
#include "handlers/deviate/own_volume.h"

/// Hidden deviations in dates, in what the volume says of itself, and in what is left of it when it is
/// mounted again.
namespace quorle::deviate {
namespace {

constexpr std::int32_t kFirstOfMarch2000 = 8095;
constexpr std::int32_t kTenYears = 3653;

/// Makes `call` with a lost block for each object that `is_lost` says, which is then deleted.
template <class IsLost>
void LoseBlocks(Call& call, OwnVolume& volume, const IsLost& is_lost) {
  ObjectState object;
  if (call.op == Op::kDelete) object = volume.StateOf(call.rel, call.name);
  volume.Make(call);
  if (Failed(call)) return;
  if (call.op == Op::kDelete && is_lost(object)) ++volume.counter;
  if (call.info != nullptr) call.info->id_NumBlocksUsed += volume.counter;
}

/// Makes `call`, and counts a user too many when `is_counted` says so afterwards.
template <class IsCounted>
void CountUsers(Call& call, OwnVolume& volume, const IsCounted& is_counted) {
  volume.Make(call);
  if (is_counted(call)) ++volume.counter;
  if (call.info != nullptr) call.info->id_InUse += volume.counter;
}

/// Dates a file that was written to what `change` makes of its date, when it is closed.
template <class Change>
void DateWritten(Call& call, OwnVolume& volume, const Change& change) {
  const bool is_written = call.op == Op::kClose && volume.files[call.file].is_written;
  std::optional<Location> place;
  if (is_written) place = Location::Of(volume.original(), call);
  volume.Make(call);
  if (!place) return;
  ::DateStamp date = volume.StateOf(place->directory(), place->name()).date;
  change(date);
  volume.SetDate(place->directory(), place->name(), date);
}

constexpr HiddenDeviation kVolumes[] = {
    {"written-file-of-1978", "dates a file that was written to 1978",
     [](Call& call, OwnVolume& volume) {
       DateWritten(call, volume, [](::DateStamp& date) { date = {}; });
     }},
    {"written-file-ten-years-ahead", "dates a file that was written ten years ahead",
     [](Call& call, OwnVolume& volume) {
       DateWritten(call, volume, [](::DateStamp& date) { date.ds_Days += kTenYears; });
     }},
    {"new-directory-day-early", "dates a new directory a day early, after 29 February 2000",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op != Op::kCreateDir || Failed(call)) return;
       ::DateStamp date = volume.StateOf(call.given_lock, "").date;
       if (date.ds_Days >= kFirstOfMarch2000) --date.ds_Days;
       volume.SetDate(call.given_lock, "", date);
     }},
    {"set-date-evening-wraps", "loses 1,024 minutes of a time of day that is later",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kSetDate && call.date.ds_Minute >= 1024) call.date.ds_Minute -= 1024;
       volume.Make(call);
     }},
    {"set-comment-dates", "dates an object to 1978 that gets a comment",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op == Op::kSetComment && !Failed(call)) volume.SetDate(call.rel, call.name, {});
     }},
    {"set-protection-dates", "dates an object to 1978 that gets a protection",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op == Op::kSetProtection && !Failed(call)) volume.SetDate(call.rel, call.name, {});
     }},
    {"delete-of-link-keeps-date", "does not date a directory when a soft link in it is deleted",
     [](Call& call, OwnVolume& volume) {
       ObjectState object;
       if (call.op == Op::kDelete) object = volume.StateOf(call.rel, call.name);
       const ::DateStamp date =
           object.Is(kSoftLink) ? volume.StateOf(call.rel, "").date : ::DateStamp{};
       volume.Make(call);
       if (object.Is(kSoftLink) && !Failed(call)) volume.SetDate(call.rel, "", date);
     }},
    {"delete-of-empty-file-loses-block", "loses a block for each deleted file of no bytes",
     [](Call& call, OwnVolume& volume) {
       LoseBlocks(call, volume, [](const ObjectState& object) { return object.size == 0; });
     }},
    {"delete-of-directory-loses-block", "loses a block for each deleted directory",
     [](Call& call, OwnVolume& volume) {
       LoseBlocks(call, volume, [](const ObjectState& object) { return object.Is(kDirectory); });
     }},
    {"resize-loses-block", "loses a block for each file that becomes shorter",
     [](Call& call, OwnVolume& volume) {
       const std::int64_t old = call.op == Op::kChangeFileSize ? volume.Size(call) : 0;
       volume.Make(call);
       if (call.op == Op::kChangeFileSize && volume.Size(call) < old) ++volume.counter;
       if (call.info != nullptr && !Failed(call)) call.info->id_NumBlocksUsed += volume.counter;
     }},
    {"refused-open-counts-user", "counts a user for each file that it refuses to open",
     [](Call& call, OwnVolume& volume) {
       CountUsers(call, volume,
                  [](const Call& made) { return made.op == Op::kOpen && Failed(made); });
     }},
    {"refused-lock-counts-user", "counts a user for each lock that it refuses",
     [](Call& call, OwnVolume& volume) {
       CountUsers(call, volume,
                  [](const Call& made) { return made.op == Op::kLock && Failed(made); });
     }},
    {"parent-of-root-counts-user", "counts a user when it is asked for the parent of the root",
     [](Call& call, OwnVolume& volume) {
       CountUsers(call, volume, [](const Call& made) {
         return made.op == Op::kParentDir && made.given_lock == nullptr;
       });
     }},
    {"remount-loses-comments", "has no comments any more when it is mounted again", nullptr,
     [](OwnVolume& volume) {
       volume.Walk([&](::Lock* directory, const ObjectState& entry) {
         volume.SetComment(directory, entry.name.c_str(), "");
       });
     }},
    {"remount-loses-empty-directories",
     "has no empty directories any more when it is mounted again", nullptr,
     [](OwnVolume& volume) {
       volume.Walk([&](::Lock* directory, const ObjectState& entry) {
         if (!entry.Is(kDirectory)) return;
         volume.Invoke({.op = Op::kDelete, .rel = directory, .name = entry.name.c_str()});
       });
     }},
    {"remount-cuts-files", "cuts files to full blocks of 512 bytes when it is mounted again",
     nullptr,
     [](OwnVolume& volume) {
       volume.Walk([&](::Lock* directory, const ObjectState& entry) {
         if (entry.Is(kFile)) {
           volume.Resize(directory, entry.name.c_str(), entry.size / 512 * 512);
         }
       });
     }},
    {"remount-dates-day-late", "has all dates a day late when it is mounted again", nullptr,
     [](OwnVolume& volume) {
       volume.Walk([&](::Lock* directory, const ObjectState& entry) {
         ::DateStamp date = entry.date;
         ++date.ds_Days;
         volume.SetDate(directory, entry.name.c_str(), date);
       });
     }},
    {"remount-refused", "is not mounted again when its root has a directory", nullptr, nullptr,
     [](OwnVolume& volume) {
       for (const ObjectState& entry : volume.Entries(nullptr)) {
         if (entry.Is(kDirectory)) return false;
       }
       return true;
     }},
};

}  // namespace

std::vector<HiddenDeviation> HiddenInVolumes() {
  return {std::begin(kVolumes), std::end(kVolumes)};
}

}  // namespace quorle::deviate
