#include <cstring>
#include <iterator>
#include <string>
#include <utility>

#include "handlers/deviate/hidden.h"
#include "handlers/deviate/own_volume.h"

/// Deviations in what is asked of the volume, and done to all of it.
namespace quorle::deviate {
namespace {

constexpr std::int32_t kBusyDisk = 0x42555359;  // "BUSY"

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

/// The place of the number that `call` asks for by `tag`; null when it asks for something else, or in vain.
std::uint32_t* NumberAskedFor(const Call& call, std::uint32_t tag) {
  if (call.op != Op::kFileSystemAttr || Failed(call) || call.tags->ti_Tag != tag) return nullptr;
  return reinterpret_cast<std::uint32_t*>(call.tags->ti_Data);  // NOLINT: a tag carries an address
}

/// Makes `call` with a promise of names of `bytes` bytes.
void Promise(Call& call, OwnVolume& volume, std::uint32_t bytes) {
  volume.Make(call);
  std::uint32_t* const length = NumberAskedFor(call, QUORLE_FSA_MaxFileNameLengthR);
  if (length != nullptr) *length = bytes;
}

/// Makes `call`; when everybody was let back after the volume was serialized, has `act` do something.
template <class Act>
void AfterSerialize(Call& call, OwnVolume& volume, const Act& act) {
  volume.Make(call);
  if (call.op == Op::kSerialize && !Failed(call)) volume.counter = 1;
  if (call.op == Op::kInhibit && call.mode == 0 && std::exchange(volume.counter, 0) != 0) act();
}

constexpr HiddenDeviation kFurtherVolumes[] = {
    {"promises-no-name", "says that a name has 0 bytes at most",
     [](Call& call, OwnVolume& volume) { Promise(call, volume, 0); }},
    {"longer-name-lost",
     "says that a name has 30 bytes at most, and calls a file with a longer one otherwise",
     [](Call& call, OwnVolume& volume) {
       constexpr std::uint32_t kPromised = 30;
       if (call.op == Op::kOpen && std::strlen(call.name) > kPromised) call.name = "lost";
       Promise(call, volume, kPromised);
     }},
    {"version-number-ahead", "gives a version number that is one ahead of the version text",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       std::uint32_t* const version = NumberAskedFor(call, QUORLE_FSA_VersionNumberR);
       if (version != nullptr) ++*version;
     }},
    {"attribute-type-other", "gives another DOS type as an attribute than in the disk information",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       std::uint32_t* const type = NumberAskedFor(call, QUORLE_FSA_DOSTypeR);
       if (type != nullptr) ++*type;
     }},
    {"unknown-attribute-not-known", "says of an attribute that it does not know that it knows none",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op == Op::kFileSystemAttr && call.res2 == ERROR_NOT_IMPLEMENTED) {
         call.res2 = ERROR_ACTION_NOT_KNOWN;
       }
     }},
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
    {"flush-refused", "refuses to flush",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op == Op::kFlush) Fail(call, ERROR_DISK_NOT_VALIDATED);
     }},
    {"flush-rewinds-files",
     "writes to the start of an open file as well, once after it has flushed",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op == Op::kFlush) {
         for (auto& [file, memory] : volume.files) memory.data = "rewound";
       }
       if (call.op != Op::kWrite || Failed(call)) return;
       if (std::exchange(volume.files[call.file].data, {}).empty()) return;
       const std::string data(static_cast<const char*>(call.data),
                              static_cast<std::size_t>(call.result));
       volume.WriteAt(call, 0, data);
     }},
    {"inhibit-ignored", "goes on while it is inhibited",
     [](Call& call, OwnVolume& volume) {
       if (call.op != Op::kInhibit) return volume.Make(call);
       call.result = kTrue;
     }},
    {"inhibited-type-stays", "shows its own DOS type while it is inhibited",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op != Op::kDeviceInfoData || Failed(call)) return;
       if (call.info->id_DiskType != kBusyDisk) {
         volume.counter = static_cast<std::uint32_t>(call.info->id_DiskType);
       }
       call.info->id_DiskType = static_cast<std::int32_t>(volume.counter);
     }},
    {"inhibit-loses-comments", "has no comments any more when it was inhibited",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op != Op::kInhibit || call.mode != 0) return;
       volume.Walk([&](::Lock* directory, const ObjectState& entry) {
         volume.SetComment(directory, entry.name.c_str(), "");
       });
     }},
    {"inhibit-ends-at-a-refusal", "is not inhibited any more when it has refused one call",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op == Op::kInhibit) volume.counter = call.mode == 0 ? 0 : 1;
       if (volume.counter == 0 || !Failed(call)) return;
       volume.counter = 0;
       volume.Invoke({.op = Op::kInhibit, .mode = 0});
     }},
    {"inhibit-breaks-files", "knows no file any more that was open when it was inhibited",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kInhibit && call.mode != 0) {
         for (auto& [file, memory] : volume.files) memory.data = "broken";
       }
       const bool uses_file = call.op == Op::kRead || call.op == Op::kWrite;
       volume.Make(call);
       if (uses_file && !Failed(call) && volume.files[call.file].data == "broken") {
         Fail(call, ERROR_INVALID_LOCK);
       }
     }},
    {"serialize-empties-files", "empties all files when it was serialized",
     [](Call& call, OwnVolume& volume) {
       AfterSerialize(call, volume, [&] {
         volume.Walk([&](::Lock* directory, const ObjectState& entry) {
           if (entry.Is(kFile)) volume.Resize(directory, entry.name.c_str(), 0);
         });
       });
     }},
    {"serialize-renames", "calls the volume otherwise when it was serialized",
     [](Call& call, OwnVolume& volume) {
       AfterSerialize(call, volume,
                      [&] { volume.Invoke({.op = Op::kRelabel, .text = "Serialized"}); });
     }},
    {"format-although-not-inhibited", "formats a volume that is not inhibited",
     [](Call& call, OwnVolume& volume) {
       const bool is_open = call.op == Op::kFormat && volume.counter == 0;
       if (is_open) volume.Invoke({.op = Op::kInhibit, .mode = 1});
       volume.Make(call);
       if (is_open) volume.Invoke({.op = Op::kInhibit, .mode = 0});
       if (call.op == Op::kInhibit) volume.counter = call.mode == 0 ? 0 : 1;
     }},
    {"format-keeps-files", "has what was on the volume when it was formatted, under another name",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kInhibit) volume.counter = call.mode == 0 ? 0 : 1;
       if (call.op != Op::kFormat || volume.counter == 0) return volume.Make(call);
       volume.Invoke({.op = Op::kInhibit, .mode = 0});
       call.result = volume.Invoke({.op = Op::kRelabel, .text = call.text}).result;
       volume.Invoke({.op = Op::kInhibit, .mode = 1});
     }},
    {"format-names-otherwise", "calls the volume otherwise than it was asked for when it formats",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kFormat) call.text = "Empty";
       volume.Make(call);
     }},
};

}  // namespace

std::vector<HiddenDeviation> FurtherInVolumes() {
  return {std::begin(kFurtherVolumes), std::end(kFurtherVolumes)};
}

}  // namespace quorle::deviate
