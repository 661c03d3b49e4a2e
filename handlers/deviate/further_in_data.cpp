#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <span>

#include "handlers/deviate/hidden.h"
#include "handlers/deviate/own_volume.h"

/// Deviations in what is written and read, in positions and in records.
namespace quorle::deviate {
namespace {

constexpr std::int64_t k32Bits = 0xFFFFFFFF;

ObjectState FileOf(const Call& call, const OwnVolume& volume) {
  return volume.StateOf({.op = Op::kExamineFile, .file = call.file});
}

bool IsOf(const Call& call, std::initializer_list<Op> some) {
  return std::find(some.begin(), some.end(), call.op) != some.end();
}

constexpr HiddenDeviation kContents[] = {
    {"grown-area-changes", "gives other bytes each time for what a file grew by and nobody wrote",
     [](Call& call, OwnVolume& volume) {
       const bool resizes = call.op == Op::kChangeFileSize;
       const std::int64_t old = resizes ? volume.Size(call) : 0;
       const std::int64_t from = call.op == Op::kRead ? volume.Position(call) : 0;
       volume.Make(call);
       if (Failed(call)) return;
       if (resizes && volume.Size(call) > old) {
         volume.objects[FileOf(call, volume).id].number = old;
       }
       if (call.op == Op::kWrite) volume.objects.erase(FileOf(call, volume).id);
       if (call.op != Op::kRead || call.result == 0) return;
       const auto grown = volume.objects.find(FileOf(call, volume).id);
       if (grown == volume.objects.end() || from + call.result <= grown->second.number) return;
       static_cast<char*>(call.buffer)[call.result - 1] = static_cast<char>(++volume.counter);
     }},
    {"resize-grow-clears-last-block",
     "clears the last block of 512 bytes of a file that becomes longer",
     [](Call& call, OwnVolume& volume) {
       const std::int64_t old = call.op == Op::kChangeFileSize ? volume.Size(call) : 0;
       volume.Make(call);
       if (old <= 512 || Failed(call) || volume.Size(call) <= old) return;
       volume.WriteAt(call, old / 512 * 512,
                      std::string(static_cast<std::size_t>(old % 512), '\0'));
     }},
    {"one-position-per-file", "keeps one position for all handles of a file",
     [](Call& call, OwnVolume& volume) {
       if (IsOf(call, {Op::kRead, Op::kWrite, Op::kGetFilePosition})) {
         volume.MoveTo(call, volume.objects[FileOf(call, volume).id].number);
       }
       volume.Make(call);
       if (Failed(call) || call.file == nullptr || call.op == Op::kClose) return;
       volume.objects[FileOf(call, volume).id].number = volume.Position(call);
     }},
    {"resize-of-32-bits", "takes the lower 32 bits of a size",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kChangeFileSize && call.number > k32Bits) call.number &= k32Bits;
       volume.Make(call);
     }},
    {"seek-of-32-bits", "takes the lower 32 bits of a position",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kChangeFilePosition && call.number > k32Bits) call.number &= k32Bits;
       volume.Make(call);
     }},
    {"position-of-32-bits", "gives the lower 32 bits of a position",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op == Op::kGetFilePosition && call.result > k32Bits) call.result &= k32Bits;
     }},
    {"resize-beyond-2g-refused", "refuses a size beyond 2 GiB for want of space",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kChangeFileSize && call.number > 0x7FFFFFFF) {
         return Fail(call, ERROR_DISK_FULL);
       }
       volume.Make(call);
     }},
};

constexpr HiddenDeviation kPositions[] = {
    {"write-refused-moves", "moves the position to the start when it refuses to write",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op == Op::kWrite && Failed(call)) volume.MoveTo(call, 0);
     }},
    {"read-at-end-moves", "moves the position to the start when it reads nothing at the end",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op == Op::kRead && call.number != 0 && call.result == 0) volume.MoveTo(call, 0);
     }},
    {"from-lock-at-end", "opens a file from a lock with the position at its end",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op == Op::kOpenFromLock && !Failed(call)) volume.MoveTo(call, volume.Size(call));
     }},
    {"write-across-end-moves-short",
     "moves the position to the old end of a file by a write across it",
     [](Call& call, OwnVolume& volume) {
       const std::int64_t old = call.op == Op::kWrite ? volume.Size(call) : 0;
       const std::int64_t from = call.op == Op::kWrite ? volume.Position(call) : 0;
       volume.Make(call);
       if (from < old && !Failed(call) && volume.Size(call) > old) volume.MoveTo(call, old);
     }},
    {"resize-to-position-rewinds",
     "moves the position to the start when a file is made to end there",
     [](Call& call, OwnVolume& volume) {
       const std::int64_t position = call.op == Op::kChangeFileSize ? volume.Position(call) : 0;
       volume.Make(call);
       if (position > 0 && !Failed(call) && volume.Size(call) == position) volume.MoveTo(call, 0);
     }},
    {"seek-to-end-one-short", "leads a move to the end of a file from its start a byte before it",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op != Op::kChangeFilePosition || Failed(call)) return;
       if (call.mode == OFFSET_BEGINNING && call.number > 0 && call.number == volume.Size(call)) {
         volume.MoveTo(call, call.number - 1);
       }
     }},
};

// ---- Records -------------------------------------------------------------------------------------

struct HeldRecord {
  std::int64_t offset;
  std::int64_t length;
};

/// What the handle of `call` has locked, which `volume` remembers as bytes.
std::vector<HeldRecord> HeldBy(const Call& call, OwnVolume& volume) {
  const std::string& data = volume.files[call.file].data;
  std::vector<HeldRecord> held(data.size() / sizeof(HeldRecord));
  std::memcpy(held.data(), data.data(), data.size());
  return held;
}

/// Makes `call`, and remembers what it locked or released.
void MakeAndRemember(Call& call, OwnVolume& volume) {
  volume.Make(call);
  if (Failed(call) || !IsOf(call, {Op::kLockRecord, Op::kUnLockRecord})) return;
  std::string data;
  const auto add = [&data](const HeldRecord& record) {
    data.append(reinterpret_cast<const char*>(&record), sizeof record);  // NOLINT: its bytes
  };
  for (const HeldRecord& record : HeldBy(call, volume)) {
    const bool is_it = record.offset == call.number && record.length == call.length;
    if (call.op == Op::kLockRecord || !is_it) add(record);
  }
  if (call.op == Op::kLockRecord) add({call.number, call.length});
  volume.files[call.file].data = data;
}

/// Releases those records of the handle of `call` that `is_one` picks. Returns whether there was one.
template <class Pick>
bool ReleaseThose(const Call& call, OwnVolume& volume, const Pick& is_one) {
  bool was_one = false;
  for (const HeldRecord& record : HeldBy(call, volume)) {
    if (!is_one(record)) continue;
    was_one = true;
    Call release{.op = Op::kUnLockRecord,
                 .file = call.file,
                 .number = record.offset,
                 .length = record.length};
    MakeAndRemember(release, volume);
  }
  return was_one;
}

/// Makes `call` with ranges that are `more` bytes longer, but for those of one byte.
void MakeLonger(Call& call, const OwnVolume& volume, std::int64_t more) {
  const std::int64_t asked = call.length;
  if (call.length > 1) call.length += more;
  call = volume.Invoke(call);
  call.length = asked;
}

constexpr HiddenDeviation kRecords[] = {
    {"records-unknown", "does not know FSLockRecord() and FSUnLockRecord()",
     [](Call& call, OwnVolume& volume) {
       if (IsOf(call, {Op::kLockRecord, Op::kUnLockRecord})) {
         return Fail(call, ERROR_ACTION_NOT_KNOWN);
       }
       volume.Make(call);
     }},
    {"record-lock-in-name-only", "says that it locked records and locks none",
     [](Call& call, OwnVolume& volume) {
       if (!IsOf(call, {Op::kLockRecord, Op::kUnLockRecord})) return volume.Make(call);
       call.result = kTrue;
       call.res2 = 0;
     }},
    {"record-shared-excludes", "locks records exclusively that should be shared",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kLockRecord && call.mode >= static_cast<std::int32_t>(REC_SHARED)) {
         call.mode -= static_cast<std::int32_t>(REC_SHARED);
       }
       volume.Make(call);
     }},
    {"record-exclusive-is-shared", "locks records as shared that should be exclusive",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kLockRecord && call.mode < static_cast<std::int32_t>(REC_SHARED)) {
         call.mode += static_cast<std::int32_t>(REC_SHARED);
       }
       volume.Make(call);
     }},
    {"record-last-byte-free", "does not lock the last byte of a record",
     [](Call& call, OwnVolume& volume) {
       const bool is_of_record = IsOf(call, {Op::kLockRecord, Op::kUnLockRecord});
       return is_of_record ? MakeLonger(call, volume, -1) : volume.Make(call);
     }},
    {"record-byte-behind-locked", "locks the byte behind a record",
     [](Call& call, OwnVolume& volume) {
       const bool is_of_record = IsOf(call, {Op::kLockRecord, Op::kUnLockRecord});
       return is_of_record ? MakeLonger(call, volume, 1) : volume.Make(call);
     }},
    {"record-beyond-end-refused", "refuses to lock records beyond the end of a file",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kLockRecord && call.number > volume.Size(call)) {
         return Fail(call, ERROR_SEEK_ERROR);
       }
       volume.Make(call);
     }},
    {"record-beyond-end-grows", "makes a file longer when a record beyond its end is locked",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op != Op::kLockRecord || Failed(call) || call.number > k32Bits) return;
       const std::int64_t end = call.number + call.length;
       if (end <= volume.Size(call)) return;
       volume.Invoke(
           {.op = Op::kChangeFileSize, .file = call.file, .mode = OFFSET_BEGINNING, .number = end});
     }},
    {"record-of-32-bits", "takes the lower 32 bits of the offset of a record",
     [](Call& call, OwnVolume& volume) {
       if (IsOf(call, {Op::kLockRecord, Op::kUnLockRecord})) call.number &= k32Bits;
       volume.Make(call);
     }},
    {"record-timeout-wrong-code", "refuses a record with 241 after the time that it is waited for",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op == Op::kLockRecord && call.res2 == ERROR_LOCK_TIMEOUT) {
         call.res2 = ERROR_LOCK_COLLISION;
       }
     }},
    {"record-collision-wrong-code", "refuses a record with 242 that nobody waits for",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op == Op::kLockRecord && call.res2 == ERROR_LOCK_COLLISION) {
         call.res2 = ERROR_LOCK_TIMEOUT;
       }
     }},
    {"record-timed-out-stays",
     "refuses all records of a file once one that should be shared timed out",
     [](Call& call, OwnVolume& volume) {
       if (call.op != Op::kLockRecord) return volume.Make(call);
       std::int64_t& timed_out = volume.objects[FileOf(call, volume).id].number;
       if (timed_out != 0) return Fail(call, ERROR_LOCK_COLLISION);
       volume.Make(call);
       if (call.res2 == ERROR_LOCK_TIMEOUT && call.mode == REC_SHARED) timed_out = 1;
     }},
    {"record-stays-after-close", "keeps the records locked of a file that is closed",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kClose && !HeldBy(call, volume).empty()) {
         volume.objects[FileOf(call, volume).id].number = 1;
       }
       if (call.op == Op::kLockRecord && volume.objects[FileOf(call, volume).id].number != 0) {
         return Fail(call, ERROR_LOCK_COLLISION);
       }
       MakeAndRemember(call, volume);
     }},
    {"record-of-other-file-collides", "refuses a record whose offset is locked in another file",
     [](Call& call, OwnVolume& volume) {
       if (IsOf(call, {Op::kClose, Op::kUnLockRecord})) {
         volume.objects.erase(FileOf(call, volume).id);
       }
       if (call.op != Op::kLockRecord) return volume.Make(call);
       const std::uint64_t id = FileOf(call, volume).id;
       for (const auto& [other, memory] : volume.objects) {
         if (other != id && memory.number == call.number) {
           return Fail(call, ERROR_LOCK_COLLISION);
         }
       }
       volume.Make(call);
       if (!Failed(call)) volume.objects[id].number = call.number;
     }},
    {"unlock-record-always-granted", "says that it released a record that is not locked",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op == Op::kUnLockRecord && Failed(call)) call.result = kTrue;
     }},
    {"unlock-record-in-name-only", "says that it released a record and keeps it locked",
     [](Call& call, OwnVolume& volume) {
       if (call.op != Op::kUnLockRecord) return MakeAndRemember(call, volume);
       if (HeldBy(call, volume).empty()) return volume.Make(call);
       call.result = kTrue;
       call.res2 = 0;
     }},
    {"unlock-record-of-a-part", "releases a record of which a part is named",
     [](Call& call, OwnVolume& volume) {
       MakeAndRemember(call, volume);
       if (call.op != Op::kUnLockRecord || !Failed(call)) return;
       const bool was_one = ReleaseThose(call, volume, [&call](const HeldRecord& record) {
         return record.offset < call.number + call.length &&
                call.number < record.offset + record.length;
       });
       if (was_one) call.result = kTrue;
     }},
    {"unlock-record-takes-others", "releases all records of a handle with one of them",
     [](Call& call, OwnVolume& volume) {
       MakeAndRemember(call, volume);
       if (call.op != Op::kUnLockRecord || Failed(call)) return;
       ReleaseThose(call, volume, [](const HeldRecord&) { return true; });
     }},
    {"unlock-record-wrong-code", "refuses to release what is not locked with 243",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op == Op::kUnLockRecord && Failed(call)) call.res2 = 243;
     }},
};

// ---- Many ----------------------------------------------------------------------------------------

/// The number of directories above `rel` and the root.
std::uint32_t LevelsAbove(::Lock* rel, const OwnVolume& volume) {
  std::uint32_t levels = 0;
  ::Lock* lock = volume.Invoke({.op = Op::kDupLock, .lock = rel}).given_lock;
  while (lock != nullptr) {
    ++levels;
    ::Lock* const parent = volume.Invoke({.op = Op::kParentDir, .lock = lock}).given_lock;
    volume.original().UnLock(lock);
    lock = parent;
  }
  return levels;
}

constexpr HiddenDeviation kMany[] = {
    {"names-beyond-4096-lost", "does not find by name what was made after 4,096 other files",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kLock && volume.watched.contains(call.name)) {
         return Fail(call, ERROR_OBJECT_NOT_FOUND);
       }
       volume.Make(call);
       if (Failed(call)) return;
       if (call.op == Op::kDelete) {
         volume.counter -= std::min(volume.counter, 1U);
         volume.watched.erase(call.name);
       }
       if (call.op != Op::kOpen || call.mode != MODE_NEWFILE) return;
       if (++volume.counter > 4096) volume.watched.insert(call.name);
     }},
    {"directories-end-at-128", "refuses to make a directory in one of the 128th level",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kCreateDir && LevelsAbove(call.rel, volume) > 128) {
         return Fail(call, ERROR_TOO_MANY_LEVELS);
       }
       volume.Make(call);
     }},
    {"parents-end-at-128", "gives no parent of a directory that has more than 128 above it",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kParentDir && LevelsAbove(call.lock, volume) > 128) {
         return Fail(call, ERROR_TOO_MANY_LEVELS);
       }
       volume.Make(call);
     }},
    {"locks-end-at-255", "refuses more than 255 locks on an object, as long as it exists",
     [](Call& call, OwnVolume& volume) {
       if (call.op != Op::kLock) return volume.Make(call);
       std::int64_t& locks = volume.objects[volume.StateOf(call).id].number;
       if (locks == 255) return Fail(call, ERROR_NO_FREE_STORE);
       volume.Make(call);
       if (!Failed(call)) ++locks;
     }},
    {"locks-above-255-stay", "counts as locked for good what had more than 255 locks",
     [](Call& call, OwnVolume& volume) {
       if (call.op != Op::kLock) return volume.Make(call);
       std::int64_t& locks = volume.objects[volume.StateOf(call).id].number;
       if (locks > 255 && call.mode == EXCLUSIVE_LOCK) return Fail(call, ERROR_OBJECT_IN_USE);
       volume.Make(call);
       if (!Failed(call)) ++locks;
     }},
};

}  // namespace

std::vector<HiddenDeviation> FurtherInData() {
  std::vector<HiddenDeviation> all;
  for (const std::span<const HiddenDeviation> some :
       std::initializer_list<std::span<const HiddenDeviation>>{kContents, kPositions, kRecords,
                                                               kMany}) {
    for (const HiddenDeviation& deviation : some) all.push_back(deviation);
  }
  return all;
}

}  // namespace quorle::deviate
