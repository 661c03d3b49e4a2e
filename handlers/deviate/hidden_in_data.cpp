#include <algorithm>
#include <iterator>

#include "handlers/deviate/hidden.h"
#include "handlers/deviate/own_volume.h"

/// Hidden deviations in what is written and read: mostly at edges of blocks, which the files of the
/// catalogue do not reach.
namespace quorle::deviate {
namespace {

constexpr std::int64_t kBlock = 512;
constexpr std::int64_t kPage = 4096;
constexpr std::int64_t k64K = 65536;

/// The first edge of a block that a write of `call` at `position` crosses; 0: none.
std::int64_t FirstEdgeIn(const Call& call, std::int64_t position) {
  const std::int64_t edge = (position / kBlock + 1) * kBlock;
  return edge < position + call.number ? edge : 0;
}

std::string DataOf(const Call& call) {
  return {static_cast<const char*>(call.data), static_cast<std::size_t>(call.number)};
}

/// Cuts the file that `call` closes to `size` bytes, if it is longer.
void CutTo(std::int64_t size, const Call& call, const OwnVolume& volume) {
  if (volume.Size(call) <= size) return;
  volume.Invoke(
      {.op = Op::kChangeFileSize, .file = call.file, .mode = OFFSET_BEGINNING, .number = size});
}

/// Answers a write as if it had been made.
void Pretend(Call& call) {
  call.result = call.number;
  call.res2 = 0;
}

bool IsFrom(const OwnVolume& volume, const Call& call, std::int32_t mode) {
  const auto found = volume.files.find(call.file);
  return call.op == Op::kWrite && found != volume.files.end() && found->second.mode == mode;
}

constexpr std::int32_t kFromLock = 0;

constexpr HiddenDeviation kWrongData[] = {
    {"write-keeps-512", "keeps the first 512 bytes of each write",
     [](Call& call, OwnVolume& volume) {
       const std::int64_t asked = call.number;
       if (call.op == Op::kWrite) call.number = std::min(asked, kBlock);
       volume.Make(call);
       if (call.op == Op::kWrite && !Failed(call)) call.result = asked;
     }},
    {"write-loses-byte-at-4096", "writes a zero in place of the byte at 4,096",
     [](Call& call, OwnVolume& volume) {
       const std::int64_t from = call.op == Op::kWrite ? volume.Position(call) : kPage + 1;
       volume.Make(call);
       if (from > kPage || Failed(call) || from + call.number <= kPage) return;
       volume.WriteAt(call, kPage, std::string(1, '\0'));
     }},
    {"write-across-edge-shifted",
     "writes what lies behind the edge of a block of 512 bytes a byte too late",
     [](Call& call, OwnVolume& volume) {
       const std::int64_t from = call.op == Op::kWrite ? volume.Position(call) : 0;
       const std::int64_t edge = call.op == Op::kWrite ? FirstEdgeIn(call, from) : 0;
       volume.Make(call);
       if (edge == 0 || Failed(call) || from + call.number == edge + 1) return;
       const std::string rest = DataOf(call).substr(static_cast<std::size_t>(edge - from));
       volume.WriteAt(call, edge + 1, rest.substr(0, rest.size() - 1));
     }},
    {"overwrite-truncates", "ends a file of more than 512 bytes behind a write in the middle of it",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op != Op::kWrite || Failed(call) || call.number == 0) return;
       if (volume.Size(call) > kBlock) CutTo(volume.Position(call), call, volume);
     }},
    {"write-of-nothing-truncates", "ends a file where a write of no bytes is made",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op != Op::kWrite || Failed(call) || call.number != 0) return;
       CutTo(volume.Position(call), call, volume);
     }},
    {"append-lost-on-close", "loses on closing what was added to a file that was not empty",
     [](Call& call, OwnVolume& volume) {
       const std::int64_t first = call.op == Op::kClose ? volume.files[call.file].first_size : 0;
       if (first > 0) CutTo(first, call, volume);
       volume.Make(call);
     }},
    {"data-beyond-64k-lost", "keeps 65,536 bytes of a file that was written when it is closed",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kClose && volume.files[call.file].is_written) CutTo(k64K, call, volume);
       volume.Make(call);
     }},
    {"write-of-64k-loses-last-byte", "writes a zero as the last of 65,536 bytes or more",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op != Op::kWrite || Failed(call) || call.number < k64K) return;
       volume.WriteAt(call, volume.Position(call) - 1, std::string(1, '\0'));
     }},
    {"read-ends-at-page", "reads no further than to the next multiple of 4,096",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kRead) {
         const std::int64_t from = volume.Position(call);
         call.number = std::min(call.number, (from / kPage + 1) * kPage - from);
       }
       volume.Make(call);
     }},
    {"read-beyond-64k-wraps", "reads from the start of the file what lies at 65,536 and beyond",
     [](Call& call, OwnVolume& volume) {
       const std::int64_t from = call.op == Op::kRead ? volume.Position(call) : 0;
       volume.Make(call);
       if (from < k64K || Failed(call)) return;
       const std::string data =
           volume.ReadAt(call, from - k64K, static_cast<std::size_t>(call.result));
       std::copy(data.begin(), data.end(), static_cast<char*>(call.buffer));
     }},
    {"resize-shrink-clears-last-block",
     "clears the last block of 512 bytes of a file that becomes shorter",
     [](Call& call, OwnVolume& volume) {
       const std::int64_t old = call.op == Op::kChangeFileSize ? volume.Size(call) : 0;
       volume.Make(call);
       if (call.op != Op::kChangeFileSize || Failed(call)) return;
       const std::int64_t size = volume.Size(call);
       if (size >= old || size < kBlock) return;
       volume.WriteAt(call, size / kBlock * kBlock,
                      std::string(static_cast<std::size_t>(size % kBlock), '\0'));
     }},
    {"size-of-32-bits", "gives the size of a file without its upper 32 bits",
     [](Call& call, OwnVolume& volume) {
       constexpr std::int64_t kMask = 0xFFFFFFFF;
       volume.Make(call);
       if (call.op == Op::kGetFileSize && call.result > kMask) call.result &= kMask;
       if (call.record != nullptr && call.record->FileSize > kMask) {
         call.record->FileSize &= kMask;
       }
     }},
    {"seek-beyond-2g-refused", "refuses a position beyond 2 GiB",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kChangeFilePosition && call.number > 0x7FFFFFFF) {
         return Fail(call, ERROR_SEEK_ERROR);
       }
       volume.Make(call);
     }},
    {"write-from-lock-refused", "refuses to write through a handle that was opened from a lock",
     [](Call& call, OwnVolume& volume) {
       if (IsFrom(volume, call, kFromLock)) return Fail(call, ERROR_WRITE_PROTECTED);
       volume.Make(call);
     }},
    {"write-from-lock-lost", "loses what is written through a handle that was opened from a lock",
     [](Call& call, OwnVolume& volume) {
       if (IsFrom(volume, call, kFromLock)) return Pretend(call);
       volume.Make(call);
     }},
    {"write-beside-another-refused",
     "refuses to write through a handle of MODE_OLDFILE while another file is open",
     [](Call& call, OwnVolume& volume) {
       if (IsFrom(volume, call, MODE_OLDFILE) && volume.files.size() > 1) {
         return Fail(call, ERROR_WRITE_PROTECTED);
       }
       volume.Make(call);
     }},
    {"write-beside-another-lost",
     "loses what is written through a handle of MODE_OLDFILE while another file is open",
     [](Call& call, OwnVolume& volume) {
       if (IsFrom(volume, call, MODE_OLDFILE) && volume.files.size() > 1) return Pretend(call);
       volume.Make(call);
     }},
};

}  // namespace

std::vector<HiddenDeviation> HiddenInData() {
  return {std::begin(kWrongData), std::end(kWrongData)};
}

}  // namespace quorle::deviate
