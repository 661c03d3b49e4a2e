#include <algorithm>
#include <initializer_list>
#include <iterator>

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

}  // namespace

std::vector<HiddenDeviation> FurtherInData() {
  std::vector<HiddenDeviation> all(std::begin(kContents), std::end(kContents));
  all.insert(all.end(), std::begin(kPositions), std::end(kPositions));
  return all;
}

}  // namespace quorle::deviate
