#include <iterator>

#include "handlers/deviate/hidden.h"
#include "handlers/deviate/own_volume.h"

/// Hidden deviations in scans of directories and in notification, of which the catalogue asks nothing.
namespace quorle::deviate {
namespace {

bool IsScan(const Call& call) {
  return call.op == Op::kExamineDir;
}

/// Makes `call`, and returns whether it is a scan's and gave an entry.
bool GaveEntry(Call& call, OwnVolume& volume) {
  volume.Make(call);
  return IsScan(call) && !Failed(call) && call.scan->Entry != nullptr;
}

/// Takes the entry back that `call` gave.
void TakeBack(const Call& call, const OwnVolume& volume) {
  volume.original().Free(call.scan->Entry);
  call.scan->Entry = nullptr;
}

/// Ends the scan of `call`.
void End(Call& call, const OwnVolume& volume) {
  if (call.scan->Entry != nullptr) TakeBack(call, volume);
  Fail(call, ERROR_NO_MORE_ENTRIES);
}

bool IsStarted(const Call& call, const OwnVolume& volume) {
  const auto found = volume.scans.find(call.scan);
  const bool is_at_start = call.scan->FSPrivate[0] == 0 && call.scan->FSPrivate[1] == 0;
  return found != volume.scans.end() && !is_at_start;
}

/// Whether the scan of `call` is to misbehave now, once, since something came between.
bool IsDisturbed(const Call& call, OwnVolume& volume) {
  if (!IsScan(call) || !IsStarted(call, volume)) return false;
  ScanMemory& scan = volume.scans[call.scan];
  if (!scan.is_disturbed || scan.is_disturbed_once) return false;
  scan.is_disturbed_once = true;
  return true;
}

/// Whether the entry that `call` gave is the last one: a copy of its context is asked for the next.
bool IsLast(const Call& call, const OwnVolume& volume) {
  ::PRIVATE_ExamineDirContext ahead = *call.scan;
  ahead.Entry = nullptr;
  const bool is_last = Failed(volume.Invoke({.op = Op::kExamineDir, .scan = &ahead}));
  volume.original().Free(ahead.Entry);
  return is_last;
}

constexpr HiddenDeviation kScans[] = {
    {"scan-stops-after-104", "ends a scan after 104 entries",
     [](Call& call, OwnVolume& volume) {
       if (GaveEntry(call, volume) && volume.scans[call.scan].given > 104) End(call, volume);
     }},
    {"scan-loses-last", "leaves out the last entry of a directory of several",
     [](Call& call, OwnVolume& volume) {
       if (!GaveEntry(call, volume) || volume.scans[call.scan].given == 1) return;
       if (IsLast(call, volume)) End(call, volume);
     }},
    {"scan-repeats-first", "shows the first entry of a directory twice",
     [](Call& call, OwnVolume& volume) {
       if (IsScan(call) && IsStarted(call, volume)) {
         ScanMemory& scan = volume.scans[call.scan];
         if (scan.given == 1 && !scan.is_disturbed_once) {
           scan.is_disturbed_once = true;
           ::PRIVATE_ExamineDirContext again = *call.scan;
           again.FSPrivate[0] = again.FSPrivate[1] = 0;
           call.result = volume.Invoke({.op = Op::kExamineDir, .scan = &again}).result;
           call.scan->Entry = again.Entry;
           return;
         }
       }
       volume.Make(call);
     }},
    {"scan-ends-when-disturbed",
     "ends a scan when something was deleted meanwhile, or another scan begun",
     [](Call& call, OwnVolume& volume) {
       if (IsDisturbed(call, volume)) return End(call, volume);
       volume.Make(call);
     }},
    {"scan-skips-when-disturbed",
     "leaves out an entry when something was deleted meanwhile, or another scan begun",
     [](Call& call, OwnVolume& volume) {
       const bool skips = IsDisturbed(call, volume);
       if (!GaveEntry(call, volume) || !skips) return;
       TakeBack(call, volume);
       volume.Make(call);
     }},
    {"scan-restarts-when-disturbed",
     "begins a scan again, once, when something was deleted meanwhile, or another scan begun",
     [](Call& call, OwnVolume& volume) {
       const bool is_disturbed = IsDisturbed(call, volume);
       // A scan that begins may have the place of one that was not gone through to its end.
       const bool is_again = is_disturbed || (IsScan(call) && IsStarted(call, volume) &&
                                              volume.scans[call.scan].is_disturbed_once);
       if (is_disturbed) call.scan->FSPrivate[0] = call.scan->FSPrivate[1] = 0;
       volume.Make(call);
       if (is_again) volume.scans[call.scan].is_disturbed_once = true;
     }},
    {"scan-hides-empty-files", "leaves files of no bytes out of a scan",
     [](Call& call, OwnVolume& volume) {
       while (GaveEntry(call, volume) && call.scan->Entry->FileSize == 0) TakeBack(call, volume);
     }},
    {"scan-shows-no-comment", "shows no comments in a scan",
     [](Call& call, OwnVolume& volume) {
       if (GaveEntry(call, volume)) call.scan->Entry->Comment[0] = '\0';
     }},
    {"scan-shows-links-as-objects", "shows a soft link as a file in a scan",
     [](Call& call, OwnVolume& volume) {
       if (!GaveEntry(call, volume)) return;
       ::ExamineData& entry = *call.scan->Entry;
       if ((entry.Type & FSO_TYPE_MASK) == FSO_TYPE_SOFTLINK) entry.Type = FSO_TYPE_FILE;
     }},
    {"scan-of-file-granted", "takes a file for an empty directory in a scan",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (IsScan(call) && call.res2 == ERROR_OBJECT_WRONG_TYPE) call.res2 = ERROR_NO_MORE_ENTRIES;
     }},
    {"scan-leaks-memory", "does not free 64 bytes at the end of a scan",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (IsScan(call) && Failed(call)) volume.dos().AllocVec(&volume.dos(), 64);
     }},
    {"notify-of-missing-lost", "does not notify of an object that is not there yet",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kRemoveNotify && volume.ignored_requests.erase(call.request) > 0) {
         call.result = kTrue;
         return;
       }
       if (call.op == Op::kAddNotify) {
         const std::string path(call.request->nr_FullName);
         const std::size_t start = path.find(':') + 1;
         // Below the root only, where the path is a name.
         const std::string name = path.substr(start);
         if (name.find('/') == std::string::npos &&
             !volume.StateOf(nullptr, name.c_str()).IsThere()) {
           volume.ignored_requests.insert(call.request);
           call.result = kTrue;
           return;
         }
       }
       volume.Make(call);
     }},
    {"notify-of-second-lost", "notifies one of several programs that wait for the same object",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kRemoveNotify && volume.ignored_requests.erase(call.request) > 0) {
         call.result = kTrue;
         return;
       }
       if (call.op == Op::kAddNotify && !volume.watched.insert(call.request->nr_FullName).second) {
         volume.ignored_requests.insert(call.request);
         call.result = kTrue;
         return;
       }
       if (call.op == Op::kRemoveNotify) volume.watched.erase(call.request->nr_FullName);
       volume.Make(call);
     }},
};

}  // namespace

std::vector<HiddenDeviation> HiddenInScans() {
  return {std::begin(kScans), std::end(kScans)};
}

}  // namespace quorle::deviate
