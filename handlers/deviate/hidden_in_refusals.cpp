#include <iterator>

#include "handlers/deviate/hidden.h"
#include "handlers/deviate/own_volume.h"

/// Hidden deviations of calls that are refused, as they should be, and change something all the same.
namespace quorle::deviate {
namespace {

/// Makes `call`, and returns whether it is an `op` that was refused with `code`.
bool IsRefused(Call& call, OwnVolume& volume, Op op, std::int32_t code) {
  volume.Make(call);
  return call.op == op && Failed(call) && call.res2 == code;
}

constexpr HiddenDeviation kRefusals[] = {
    {"rename-refused-loses-source", "loses the object of a rename that it refuses",
     [](Call& call, OwnVolume& volume) {
       if (IsRefused(call, volume, Op::kRename, ERROR_OBJECT_EXISTS)) {
         volume.Delete(call.rel, call.name);
       }
     }},
    {"rename-refused-empties-other", "empties the file whose name a refused rename asked for",
     [](Call& call, OwnVolume& volume) {
       if (IsRefused(call, volume, Op::kRename, ERROR_OBJECT_EXISTS)) {
         volume.Resize(call.other, call.text, 0);
       }
     }},
    {"open-new-refused-empties", "empties a protected file that it refuses to replace",
     [](Call& call, OwnVolume& volume) {
       if (IsRefused(call, volume, Op::kOpen, ERROR_DELETE_PROTECTED)) {
         volume.Resize(call.rel, call.name, 0);
       }
     }},
    {"open-old-refused-makes-file", "makes the missing file that it refuses to open",
     [](Call& call, OwnVolume& volume) {
       const std::int32_t mode = call.mode;
       if (IsRefused(call, volume, Op::kOpen, ERROR_OBJECT_NOT_FOUND) && mode == MODE_OLDFILE) {
         volume.MakeFile(call.rel, call.name);
       }
     }},
    {"open-in-use-refused-dates", "dates a file to 1978 that it refuses to open since it is in use",
     [](Call& call, OwnVolume& volume) {
       if (IsRefused(call, volume, Op::kOpen, ERROR_OBJECT_IN_USE)) {
         volume.SetDate(call.rel, call.name, {});
       }
     }},
    {"delete-refused-removes-entry",
     "removes an entry of a directory of several that it refuses to delete",
     [](Call& call, OwnVolume& volume) {
       if (!IsRefused(call, volume, Op::kDelete, ERROR_DIRECTORY_NOT_EMPTY)) return;
       ::Lock* const directory =
           volume.Invoke({.op = Op::kLock, .rel = call.rel, .name = call.name, .mode = SHARED_LOCK})
               .given_lock;
       const std::vector<ObjectState> entries = volume.Entries(directory);
       if (entries.size() > 1) volume.Delete(directory, entries.back().name.c_str());
       volume.original().UnLock(directory);
     }},
    {"delete-refused-clears-comment",
     "clears the comment of a protected object on a refused delete",
     [](Call& call, OwnVolume& volume) {
       if (IsRefused(call, volume, Op::kDelete, ERROR_DELETE_PROTECTED)) {
         volume.SetComment(call.rel, call.name, "");
       }
     }},
    {"make-link-refused-leaves-name",
     "leaves a file under the name of a hard link that it refuses to make",
     [](Call& call, OwnVolume& volume) {
       if (IsRefused(call, volume, Op::kCreateHardLink, ERROR_OBJECT_WRONG_TYPE)) {
         volume.MakeFile(call.rel, call.name);
       }
     }},
    {"make-soft-link-refused-leaves-name",
     "leaves a file under the name of a soft link that it refuses to make",
     [](Call& call, OwnVolume& volume) {
       if (IsRefused(call, volume, Op::kCreateSoftLink, ERROR_INVALID_COMPONENT_NAME)) {
         volume.MakeFile(call.rel, call.name);
       }
     }},
    {"create-dir-refused-dates", "dates an object to 1978 whose name a refused directory asked for",
     [](Call& call, OwnVolume& volume) {
       if (IsRefused(call, volume, Op::kCreateDir, ERROR_OBJECT_EXISTS)) {
         volume.SetDate(call.rel, call.name, {});
       }
     }},
    {"comment-refused-clears", "clears the comment when it refuses one that is too long",
     [](Call& call, OwnVolume& volume) {
       if (IsRefused(call, volume, Op::kSetComment, ERROR_COMMENT_TOO_BIG)) {
         volume.SetComment(call.rel, call.name, "");
       }
     }},
    {"resize-refused-truncates", "empties a file when it refuses a size below zero",
     [](Call& call, OwnVolume& volume) {
       if (IsRefused(call, volume, Op::kChangeFileSize, ERROR_SEEK_ERROR)) {
         volume.Invoke({.op = Op::kChangeFileSize, .file = call.file, .mode = OFFSET_BEGINNING});
       }
     }},
    {"seek-refused-moves", "moves the position to the start when it refuses a move",
     [](Call& call, OwnVolume& volume) {
       if (IsRefused(call, volume, Op::kChangeFilePosition, ERROR_SEEK_ERROR)) {
         volume.MoveTo(call, 0);
       }
     }},
    {"write-refused-unprotects", "lifts the protection of a file that it refuses to write",
     [](Call& call, OwnVolume& volume) {
       if (!IsRefused(call, volume, Op::kWrite, ERROR_WRITE_PROTECTED)) return;
       if (const auto place = Location::Of(volume.original(), call)) {
         volume.SetProtection(place->directory(), place->name(), 0);
       }
     }},
    {"read-refused-moves", "moves the position to the start when it refuses to read",
     [](Call& call, OwnVolume& volume) {
       if (IsRefused(call, volume, Op::kRead, ERROR_READ_PROTECTED)) volume.MoveTo(call, 0);
     }},
};

}  // namespace

std::vector<HiddenDeviation> HiddenInRefusals() {
  return {std::begin(kRefusals), std::end(kRefusals)};
}

}  // namespace quorle::deviate
