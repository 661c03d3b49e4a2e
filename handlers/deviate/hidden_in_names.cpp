#include <iterator>

#include "handlers/deviate/hidden.h"
#include "handlers/deviate/own_volume.h"

/// Hidden deviations in names, and of objects that get another.
namespace quorle::deviate {
namespace {

/// Makes `call`, and returns whether it was a rename that succeeded.
bool IsRenamed(Call& call, OwnVolume& volume) {
  volume.Make(call);
  return call.op == Op::kRename && !Failed(call);
}

/// Whether `call` moves an object to another directory.
bool IsMove(const Call& call, const OwnVolume& volume) {
  return call.op == Op::kRename && !volume.original().AreSame(call.rel, call.other);
}

/// Whether a rename would leave its object where it is: under the same name, or in another case.
bool IsToItself(const Call& call, const OwnVolume& volume) {
  if (call.op != Op::kRename || *call.name == '\0' || *call.text == '\0') return false;
  const ObjectState from = volume.StateOf(call.rel, call.name);
  const ObjectState to = volume.StateOf(call.other, call.text);
  return from.IsThere() && from.id == to.id && from.name == to.name && !IsMove(call, volume);
}

bool ChangesCase(const Call& call, const OwnVolume& volume) {
  return IsToItself(call, volume) &&
         volume.StateOf(call.rel, call.name).name != std::string_view(call.text);
}

bool KeepsName(const Call& call, const OwnVolume& volume) {
  return IsToItself(call, volume) && !ChangesCase(call, volume);
}

/// Makes `call` with its names changed by `change`.
template <class Change>
void MakeWithNames(Call& call, OwnVolume& volume, const Change& change) {
  const char* const name = call.name;
  const char* const text = call.text;
  const std::string new_name = name == nullptr ? "" : change(std::string(name));
  const std::string new_text = text == nullptr ? "" : change(std::string(text));
  if (name != nullptr) call.name = new_name.c_str();
  if (call.op == Op::kRename) call.text = new_text.c_str();
  volume.Make(call);
  call.name = name;
  call.text = text;
}

/// Whether `call` gives its name to a new object when it succeeds.
bool MakesObject(const Call& call) {
  return call.op == Op::kCreateDir || call.op == Op::kCreateSoftLink ||
         call.op == Op::kCreateHardLink || (call.op == Op::kOpen && call.mode == MODE_NEWFILE);
}

constexpr HiddenDeviation kNames[] = {
    {"name-cut-at-30", "cuts all names to 30 characters without an error",
     [](Call& call, OwnVolume& volume) {
       MakeWithNames(call, volume, [](const std::string& name) { return name.substr(0, 30); });
     }},
    {"new-name-cut-at-30", "cuts the name of a new object to 30 characters without an error",
     [](Call& call, OwnVolume& volume) {
       if (!MakesObject(call)) return volume.Make(call);
       MakeWithNames(call, volume, [](const std::string& name) { return name.substr(0, 30); });
     }},
    {"name-loses-blank", "takes a blank at the end of a name away",
     [](Call& call, OwnVolume& volume) {
       MakeWithNames(call, volume, [](const std::string& name) {
         return name.substr(0, name.find_last_not_of(' ') + 1);
       });
     }},
    {"name-high-bit-lost", "reads the letters of a name beyond 127 without their highest bit",
     [](Call& call, OwnVolume& volume) {
       MakeWithNames(call, volume, [](std::string name) {
         for (char& c : name) c = static_cast<char>(static_cast<unsigned char>(c) & 0x7FU);
         return name;
       });
     }},
    {"rename-to-itself-refused", "refuses to give an object the name that it has",
     [](Call& call, OwnVolume& volume) {
       if (KeepsName(call, volume)) return Fail(call, ERROR_OBJECT_EXISTS);
       volume.Make(call);
     }},
    {"rename-to-itself-deletes", "deletes an object that gets the name that it has",
     [](Call& call, OwnVolume& volume) {
       const bool keeps_name = KeepsName(call, volume);
       volume.Make(call);
       if (keeps_name) volume.Delete(call.other, call.text);
     }},
    {"rename-case-refused", "refuses to change a name in its case alone",
     [](Call& call, OwnVolume& volume) {
       if (ChangesCase(call, volume)) return Fail(call, ERROR_OBJECT_EXISTS);
       volume.Make(call);
     }},
    {"rename-case-ignored", "says that a name changed its case and leaves it as it was",
     [](Call& call, OwnVolume& volume) {
       if (!ChangesCase(call, volume)) return volume.Make(call);
       call.result = kTrue;
     }},
    {"rename-case-deletes", "deletes an object whose name is changed in its case alone",
     [](Call& call, OwnVolume& volume) {
       const bool changes_case = ChangesCase(call, volume);
       volume.Make(call);
       if (changes_case) volume.Delete(call.other, call.text);
     }},
    {"rename-loses-comment", "loses the comment of an object that it renames",
     [](Call& call, OwnVolume& volume) {
       if (IsRenamed(call, volume)) volume.SetComment(call.other, call.text, "");
     }},
    {"rename-lifts-protection", "lifts the protection of an object that it renames",
     [](Call& call, OwnVolume& volume) {
       if (IsRenamed(call, volume)) volume.SetProtection(call.other, call.text, 0);
     }},
    {"rename-dates-object", "dates an object to 1978 that it renames",
     [](Call& call, OwnVolume& volume) {
       if (IsRenamed(call, volume)) volume.SetDate(call.other, call.text, {});
     }},
    {"move-leaves-old-name", "leaves the old name of a file that it moves to the root",
     [](Call& call, OwnVolume& volume) {
       const bool is_move = IsMove(call, volume) && volume.StateOf(call.other, "").Is(kRoot);
       if (!IsRenamed(call, volume) || !is_move) return;
       ::Lock* const file =
           volume
               .Invoke({.op = Op::kLock, .rel = call.other, .name = call.text, .mode = SHARED_LOCK})
               .given_lock;
       volume.Invoke(
           {.op = Op::kCreateHardLink, .rel = call.rel, .name = call.name, .other = file});
       volume.original().UnLock(file);
     }},
    {"move-empties-file", "empties a file that it moves to another directory",
     [](Call& call, OwnVolume& volume) {
       const bool is_move = IsMove(call, volume);
       if (IsRenamed(call, volume) && is_move) volume.Resize(call.other, call.text, 0);
     }},
    {"move-keeps-source-date", "does not date the directory that an object is moved out of",
     [](Call& call, OwnVolume& volume) {
       const bool is_move = IsMove(call, volume);
       const ::DateStamp date = is_move ? volume.StateOf(call.rel, "").date : ::DateStamp{};
       if (IsRenamed(call, volume) && is_move) volume.SetDate(call.rel, "", date);
     }},
    {"parent-of-moved-is-root", "gives the root as the parent of an object that was moved",
     [](Call& call, OwnVolume& volume) {
       const bool is_move = IsMove(call, volume);
       if (IsRenamed(call, volume) && is_move) {
         volume.objects[volume.StateOf(call.other, call.text).id] = {};
       }
       if (call.op != Op::kParentDir || call.given_lock == nullptr) return;
       const ObjectState object = volume.StateOf({.op = Op::kExamineLock, .lock = call.lock});
       if (!volume.objects.contains(object.id)) return;
       volume.original().UnLock(call.given_lock);
       call.given_lock = volume.Invoke({.op = Op::kDupLock}).given_lock;
     }},
    {"write-after-rename-lost", "loses what is written to a file that was open during a rename",
     [](Call& call, OwnVolume& volume) {
       if (call.op != Op::kWrite || !volume.files[call.file].is_renamed) return volume.Make(call);
       call.result = call.number;
     }},
};

}  // namespace

std::vector<HiddenDeviation> HiddenInNames() {
  return {std::begin(kNames), std::end(kNames)};
}

}  // namespace quorle::deviate
