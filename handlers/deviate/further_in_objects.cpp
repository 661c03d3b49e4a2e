#include <strings.h>

#include <algorithm>
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

/// What is known of the object that `request` names; missing when there is none.
ObjectState Watched(const OwnVolume& volume, const ::NotifyRequest& request) {
  const std::string path(request.nr_FullName);
  ::Lock* lock = volume.Invoke({.op = Op::kLock, .name = "", .mode = SHARED_LOCK}).given_lock;
  for (std::size_t at = path.find(':') + 1; at < path.size() && lock != nullptr;) {
    const std::size_t end = std::min(path.find('/', at), path.size());
    const std::string name = path.substr(at, end - at);
    ::Lock* const next =
        volume.Invoke({.op = Op::kLock, .rel = lock, .name = name.c_str(), .mode = SHARED_LOCK})
            .given_lock;
    volume.original().UnLock(lock);
    lock = next;
    at = end + 1;
  }
  if (lock == nullptr) return {.kinds = kMissing, .name = {}, .comment = {}};
  ObjectState state = StateOf(volume, lock);
  volume.original().UnLock(lock);
  return state;
}

/// Answers calls about requests for which `is_ignored` says so, without adding any.
template <class IsIgnored>
void IgnoreRequests(Call& call, OwnVolume& volume, const IsIgnored& is_ignored) {
  const bool is_end =
      call.op == Op::kRemoveNotify && volume.ignored_requests.erase(call.request) > 0;
  const bool is_start = call.op == Op::kAddNotify && is_ignored(*call.request);
  if (is_start) volume.ignored_requests.insert(call.request);
  if (is_start || is_end) {
    call.result = kTrue;
    return;
  }
  volume.Make(call);
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
    {"notify-unknown", "does not know notification",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kAddNotify) return Fail(call, ERROR_ACTION_NOT_KNOWN);
       volume.Make(call);
     }},
    {"notify-never-sent", "notifies nobody",
     [](Call& call, OwnVolume& volume) {
       IgnoreRequests(call, volume, [](const ::NotifyRequest&) { return true; });
     }},
    {"notify-of-directory-lost", "does not notify of directories",
     [](Call& call, OwnVolume& volume) {
       IgnoreRequests(call, volume, [&](const ::NotifyRequest& request) {
         return Watched(volume, request).Is(kDirectory);
       });
     }},
    {"notify-twice", "notifies twice of each change",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kAddNotify) volume.Invoke(call);
       volume.Make(call);
     }},
    {"notify-initial-missing", "does not notify at once of an object that is there",
     [](Call& call, OwnVolume& volume) {
       if (call.op != Op::kAddNotify) return volume.Make(call);
       const std::uint32_t flags = call.request->nr_Flags;
       call.request->nr_Flags = flags & ~static_cast<std::uint32_t>(NRF_NOTIFY_INITIAL);
       volume.Make(call);
       call.request->nr_Flags = flags;
     }},
    {"notify-of-ended-goes-on", "notifies a program once more for each request that it has ended",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kRemoveNotify) volume.watched.insert(call.request->nr_FullName);
       if (call.op == Op::kAddNotify && volume.watched.contains(call.request->nr_FullName)) {
         volume.Invoke(call);
       }
       volume.Make(call);
     }},
    {"remove-notify-takes-others", "ends all requests for an object with one of them",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op == Op::kAddNotify && !Failed(call)) volume.requests.insert(call.request);
       if (call.op != Op::kRemoveNotify) return;
       volume.requests.erase(call.request);
       const std::string name(call.request->nr_FullName);
       for (::NotifyRequest* const other : volume.requests) {
         if (name == other->nr_FullName) {
           volume.Invoke({.op = Op::kRemoveNotify, .request = other});
         }
       }
     }},
    {"notify-keeps-object", "refuses an exclusive lock on an object that somebody has watched",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kAddNotify) {
         volume.objects[Watched(volume, *call.request).id].number = 1;
       }
       volume.Make(call);
       if (call.op != Op::kLock || call.mode != EXCLUSIVE_LOCK || Failed(call)) return;
       if (volume.objects[StateOf(volume, call.given_lock).id].number != 1) return;
       volume.original().UnLock(call.given_lock);
       Fail(call, ERROR_OBJECT_IN_USE);
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
