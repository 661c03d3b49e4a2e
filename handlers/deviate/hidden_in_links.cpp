#include <algorithm>
#include <cstdio>
#include <iterator>

#include "handlers/deviate/hidden.h"
#include "handlers/deviate/own_volume.h"

/// Hidden deviations of a second handle or name of the same object, and of locks on it.
namespace quorle::deviate {
namespace {

/// What is remembered of the object of the record that `call` got, when another name shows it.
const ObjectMemory* MemoryOf(const Call& call, const OwnVolume& volume) {
  if (call.record == nullptr) return nullptr;
  const auto found = volume.objects.find(call.record->ObjectID);
  const bool is_other =
      found != volume.objects.end() && found->second.name != std::string_view(call.record->Name);
  return is_other ? &found->second : nullptr;
}

/// Whether two names of one object were used for what `a` and `b` show.
bool IsThroughLink(const ObjectState& a, const ObjectState& b) {
  return a.id == b.id && a.name != b.name;
}

constexpr std::size_t kFirstBytes = 512;

constexpr HiddenDeviation kLinks[] = {
    {"size-of-second-handle-old", "gives a handle that wrote nothing the size at its opening",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op != Op::kGetFileSize || Failed(call)) return;
       const FileMemory& file = volume.files[call.file];
       if (!file.is_written) call.result = file.first_size;
     }},
    {"data-of-second-handle-old", "reads the first bytes as they were when the handle first read",
     [](Call& call, OwnVolume& volume) {
       const std::int64_t from = call.op == Op::kRead ? volume.Position(call) : 0;
       volume.Make(call);
       if (call.op != Op::kRead || Failed(call)) return;
       FileMemory& file = volume.files[call.file];
       if (file.is_written) return;
       if (file.data.empty()) file.data = volume.ReadAt(call, 0, kFirstBytes);
       const std::string old =
           file.data.substr(std::min(file.data.size(), static_cast<std::size_t>(from)),
                            static_cast<std::size_t>(call.result));
       std::copy(old.begin(), old.end(), static_cast<char*>(call.buffer));
     }},
    {"size-through-link-old",
     "shows through other names of a file the size before the last write through one",
     [](Call& call, OwnVolume& volume) {
       ObjectState file;
       if (call.op == Op::kWrite)
         file = volume.StateOf({.op = Op::kExamineFile, .file = call.file});
       volume.Make(call);
       if (file.Is(kHardLink) && !Failed(call)) {
         volume.objects[file.id] = {.name = file.name, .text = {}, .number = file.size};
       }
       if (const ObjectMemory* const memory = MemoryOf(call, volume)) {
         call.record->FileSize = memory->number;
       }
     }},
    {"comment-of-link-apart", "shows through other names the comment before the last change",
     [](Call& call, OwnVolume& volume) {
       ObjectState object;
       if (call.op == Op::kSetComment) object = volume.StateOf(call.rel, call.name);
       volume.Make(call);
       if (object.Is(kHardLink) && !Failed(call)) {
         volume.objects[object.id] = {.name = object.name, .text = object.comment};
       }
       if (const ObjectMemory* const memory = MemoryOf(call, volume)) {
         std::snprintf(call.record->Comment, call.record->CommentSize, "%s", memory->text.c_str());
       }
     }},
    {"protection-of-link-apart", "shows through other names the protection before the last change",
     [](Call& call, OwnVolume& volume) {
       ObjectState object;
       if (call.op == Op::kSetProtection) object = volume.StateOf(call.rel, call.name);
       volume.Make(call);
       if (object.Is(kHardLink) && !Failed(call)) {
         volume.objects[object.id] = {.name = object.name, .text = {}, .number = object.protection};
       }
       if (const ObjectMemory* const memory = MemoryOf(call, volume)) {
         call.record->Protection = static_cast<std::uint32_t>(memory->number);
       }
     }},
    {"delete-of-link-empties-file", "empties a file of several names when it deletes one of them",
     [](Call& call, OwnVolume& volume) {
       ObjectState file;
       if (call.op == Op::kDelete) file = volume.StateOf(call.rel, call.name);
       volume.Make(call);
       if (!file.Is(kFile) || !file.Is(kHardLink) || Failed(call)) return;
       volume.Walk([&](::Lock* directory, const ObjectState& entry) {
         if (entry.id == file.id) volume.Resize(directory, entry.name.c_str(), 0);
       });
     }},
    {"delete-of-link-takes-others", "deletes all names of an object with one of them",
     [](Call& call, OwnVolume& volume) {
       ObjectState object;
       if (call.op == Op::kDelete) object = volume.StateOf(call.rel, call.name);
       volume.Make(call);
       if (!object.Is(kHardLink) || Failed(call)) return;
       volume.Walk([&](::Lock* directory, const ObjectState& entry) {
         if (entry.id == object.id) volume.Delete(directory, entry.name.c_str());
       });
     }},
    {"link-count-stays", "counts the names of an object that were deleted",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.record == nullptr) return;
       std::int64_t& most = volume.objects[call.record->ObjectID].number;
       most = std::max<std::int64_t>(most, call.record->RefCount);
       call.record->RefCount = static_cast<std::uint32_t>(most);
     }},
    {"rename-of-link-undoes-it", "makes a new file of a hard link that is renamed",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op != Op::kRename || Failed(call)) return;
       const ObjectState file = volume.StateOf(call.other, call.text);
       if (!file.Is(kFile) || !file.Is(kHardLink)) return;
       volume.Delete(call.other, call.text);
       volume.MakeFile(call.other, call.text);
     }},
    {"soft-link-cut-at-60", "cuts what a soft link holds to 60 characters without an error",
     [](Call& call, OwnVolume& volume) {
       if (call.op != Op::kCreateSoftLink) return volume.Make(call);
       const char* const asked = call.text;
       const std::string target = std::string(asked).substr(0, 60);
       call.text = target.c_str();
       volume.Make(call);
       call.text = asked;
     }},
    {"same-lock-through-link-differs", "says that locks on two names of an object differ",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op != Op::kSameLock || call.result == 0) return;
       if (IsThroughLink(volume.StateOf({.op = Op::kExamineLock, .lock = call.lock}),
                         volume.StateOf({.op = Op::kExamineLock, .lock = call.other}))) {
         call.result = 0;
       }
     }},
    {"same-lock-by-name", "says that locks on objects of the same name are the same",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op != Op::kSameLock || call.result != 0) return;
       if (volume.StateOf({.op = Op::kExamineLock, .lock = call.lock}).name ==
           volume.StateOf({.op = Op::kExamineLock, .lock = call.other}).name) {
         call.result = kTrue;
       }
     }},
    {"same-lock-of-exclusive-differs", "says that an exclusive lock is not the same as itself",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op != Op::kSameLock || call.lock == nullptr) return;
       if (call.lock->fl_Access == EXCLUSIVE_LOCK) call.result = 0;
     }},
    {"same-file-through-link-differs", "says that handles through two names of a file differ",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op != Op::kSameFile || call.result == 0) return;
       if (IsThroughLink(volume.StateOf({.op = Op::kExamineFile, .file = call.file}),
                         volume.StateOf({.op = Op::kExamineFile, .file = call.other_file}))) {
         call.result = 0;
       }
     }},
    {"null-lock-of-comment-refused", "refuses a comment for an object whose directory is no lock",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kSetComment && call.rel == nullptr && *call.name != '\0') {
         return Fail(call, ERROR_INVALID_LOCK);
       }
       volume.Make(call);
     }},
    {"null-lock-of-rename-refused", "refuses to move an object to the root by no lock",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kRename && call.rel != nullptr && call.other == nullptr) {
         return Fail(call, ERROR_INVALID_LOCK);
       }
       volume.Make(call);
     }},
};

}  // namespace

std::vector<HiddenDeviation> HiddenInLinks() {
  return {std::begin(kLinks), std::end(kLinks)};
}

}  // namespace quorle::deviate
