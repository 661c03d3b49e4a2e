#include <strings.h>

#include <iterator>

#include "handlers/deviate/hidden.h"
#include "handlers/deviate/own_volume.h"

/// Deviations in how objects compare, in notification, and in what comes of refusals and wrong arguments, for
/// checks of the further catalogue.
namespace quorle::deviate {
namespace {

/// Whether `a` and `b` differ in the case of letters, and in nothing else.
bool DifferInCase(const std::string& a, const std::string& b) {
  return a != b && strcasecmp(a.c_str(), b.c_str()) == 0;
}

/// What is known of the object that `lock` is on.
ObjectState StateOf(const OwnVolume& volume, ::Lock* lock) {
  return volume.StateOf({.op = Op::kExamineLock, .lock = lock});
}

/// Whether `call` compares two locks, or two files, and found them the same.
bool FoundSame(Call& call, OwnVolume& volume, Op op) {
  volume.Make(call);
  return call.op == op && call.result != 0;
}

constexpr HiddenDeviation kObjects[] = {
    {"same-lock-of-other-case-differs",
     "says that locks on an object differ that was locked by names of different case",
     [](Call& call, OwnVolume& volume) {
       if (FoundSame(call, volume, Op::kSameLock)) {
         if (volume.objects[StateOf(volume, call.lock).id].number == 1) call.result = 0;
       }
       if (call.op != Op::kLock || call.given_lock == nullptr) return;
       ObjectMemory& object = volume.objects[StateOf(volume, call.given_lock).id];
       if (DifferInCase(object.text, call.name)) object.number = 1;
       object.text = call.name;
     }},
    {"same-lock-after-rename-differs",
     "says that locks on an object differ that has another name than when it was first locked",
     [](Call& call, OwnVolume& volume) {
       if (FoundSame(call, volume, Op::kSameLock)) {
         const ObjectState now = StateOf(volume, call.lock);
         const auto first = volume.objects.find(now.id);
         if (first != volume.objects.end() && first->second.name != now.name) call.result = 0;
       }
       if (call.op != Op::kLock || call.given_lock == nullptr) return;
       const ObjectState now = StateOf(volume, call.given_lock);
       volume.objects.try_emplace(now.id, ObjectMemory{.name = now.name, .text = {}});
     }},
    {"same-file-of-two-handles-differs", "says that two handles of a file differ",
     [](Call& call, OwnVolume& volume) {
       if (FoundSame(call, volume, Op::kSameFile) && call.file != call.other_file) call.result = 0;
     }},
    {"same-file-of-other-case-differs",
     "says that handles of a file differ that were opened by names of different case",
     [](Call& call, OwnVolume& volume) {
       if (FoundSame(call, volume, Op::kSameFile) &&
           DifferInCase(volume.files[call.file].data, volume.files[call.other_file].data)) {
         call.result = 0;
       }
       if (call.op == Op::kOpen && !Failed(call)) volume.files[call.file].data = call.name;
     }},
    {"same-file-by-size", "says that files of the same size are the same",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op != Op::kSameFile) return;
       const Call other{.op = Op::kGetFileSize, .file = call.other_file};
       if (volume.Size(call) == volume.Size(other)) call.result = kTrue;
     }},
    {"same-file-after-rename-differs", "says that handles of a file differ that was renamed",
     [](Call& call, OwnVolume& volume) {
       if (FoundSame(call, volume, Op::kSameFile) &&
           volume.files[call.file].is_renamed != volume.files[call.other_file].is_renamed) {
         call.result = 0;
       }
     }},
    {"change-mode-refused-dates", "dates a file to 1978 whose lock it refuses to make exclusive",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op != Op::kChangeLockMode || call.res2 != ERROR_OBJECT_IN_USE) return;
       if (const auto place = Location::Of(volume.original(), call)) {
         volume.SetDate(place->directory(), place->name(), {});
       }
     }},
    {"create-dir-of-no-name-granted", "gives a lock on the directory that is to get one of no name",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op != Op::kCreateDir || !Failed(call) || *call.name != '\0') return;
       const Call lock{.op = Op::kLock, .rel = call.rel, .name = "", .mode = SHARED_LOCK};
       call.given_lock = volume.Invoke(lock).given_lock;
     }},
};

}  // namespace

std::vector<HiddenDeviation> FurtherInObjects() {
  return {std::begin(kObjects), std::end(kObjects)};
}

}  // namespace quorle::deviate
