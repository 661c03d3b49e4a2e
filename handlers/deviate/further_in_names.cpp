#include <algorithm>
#include <iterator>
#include <string>

#include "handlers/deviate/hidden.h"
#include "handlers/deviate/own_volume.h"

/// Deviations in names, dates, renaming and soft links that checks of the further catalogue alone notice.
namespace quorle::deviate {
namespace {

/// Whether somebody has the file `name` in `rel` open or locked.
bool IsFileInUse(::Lock* rel, const char* name, const OwnVolume& volume) {
  if (!volume.StateOf(rel, name).Is(kFile)) return false;
  ::Lock* const lock =
      volume.Invoke({.op = Op::kLock, .rel = rel, .name = name, .mode = EXCLUSIVE_LOCK}).given_lock;
  if (lock == nullptr) return true;
  volume.original().UnLock(lock);
  return false;
}

/// Whether `call` gives its name to a new object when it succeeds.
bool NamesNewObject(const Call& call) {
  return call.op == Op::kCreateDir || call.op == Op::kCreateSoftLink ||
         call.op == Op::kCreateHardLink || (call.op == Op::kOpen && call.mode != MODE_OLDFILE);
}

/// Makes `call` with the name of a new object changed by `change`.
template <class Change>
void MakeWithNewName(Call& call, OwnVolume& volume, const Change& change) {
  if (!NamesNewObject(call)) return volume.Make(call);
  const char* const asked = call.name;
  std::string name = asked;
  change(name);
  call.name = name.c_str();
  volume.Make(call);
  call.name = asked;
}

/// Whether `call` is about an object by a name that differs from its own, in the case of a character beyond
/// `last`.
bool IsByOtherCase(const Call& call, const OwnVolume& volume, unsigned char last) {
  if (call.name == nullptr || *call.name == '\0') return false;
  const std::string own = volume.StateOf(call.rel, call.name).name;
  const std::string_view asked = call.name;
  return own.size() == asked.size() &&
         !std::equal(own.begin(), own.end(), asked.begin(), [last](char a, char b) {
           return a == b || static_cast<unsigned char>(a) <= last;
         });
}

/// What the soft link `name` in `rel` holds.
std::string TextOfLink(::Lock* rel, const char* name, const OwnVolume& volume) {
  std::string text(4096, '\0');
  const std::int64_t length = volume
                                  .Invoke({.op = Op::kReadSoftLink,
                                           .rel = rel,
                                           .name = name,
                                           .number = static_cast<std::int64_t>(text.size()),
                                           .buffer = text.data()})
                                  .result;
  text.resize(static_cast<std::size_t>(std::max<std::int64_t>(length, 0)));
  return text;
}

/// Whether what a soft link holds is a name in its own directory.
bool IsOneName(const std::string& text) {
  return text.find_first_of(":/") == std::string::npos;
}

/// What the object of `call` leads to when it is a soft link to another name in its directory.
ObjectState TargetOfLink(const Call& call, const OwnVolume& volume) {
  if (call.name == nullptr || !volume.StateOf(call.rel, call.name).Is(kSoftLink)) return {};
  const std::string text = TextOfLink(call.rel, call.name, volume);
  return IsOneName(text) ? volume.StateOf(call.rel, text.c_str()) : ObjectState{};
}

/// Makes `call`, and the text that is read of a soft link what `change` makes of it.
template <class Change>
void ReadChangedLink(Call& call, OwnVolume& volume, const Change& change) {
  volume.Make(call);
  if (call.op != Op::kReadSoftLink || Failed(call)) return;
  char* const buffer = static_cast<char*>(call.buffer);
  std::string text(buffer, static_cast<std::size_t>(call.result));
  change(text);
  std::copy(text.c_str(), text.c_str() + text.size() + 1, buffer);
  call.result = static_cast<std::int64_t>(text.size());
}

/// Makes `call`, which sets a date, with its day changed by `change`.
template <class Change>
void MakeWithDay(Call& call, OwnVolume& volume, const Change& change) {
  if (call.op == Op::kSetDate) change(call.date.ds_Days);
  volume.Make(call);
}

constexpr std::int32_t kLeapDayOf2000 = 8094;
constexpr std::int32_t kFirstOfMarch2100 = 44619;
/// The last day of which some seconds since 1978 have 31 bits.
constexpr std::int32_t kDaysOf31Bits = 24855;

constexpr HiddenDeviation kFurtherNames[] = {
    {"new-name-lower-case", "gives a new object its name in lower case",
     [](Call& call, OwnVolume& volume) {
       MakeWithNewName(call, volume, [](std::string& name) {
         for (char& c : name) {
           if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 0x20);
         }
       });
     }},
    {"new-name-loses-colon", "makes an object whose name has a colon, with a dot instead",
     [](Call& call, OwnVolume& volume) {
       MakeWithNewName(call, volume,
                       [](std::string& name) { std::replace(name.begin(), name.end(), ':', '.'); });
     }},
    {"name-case-counts", "finds no object by its name in another case",
     [](Call& call, OwnVolume& volume) {
       if (IsByOtherCase(call, volume, 0)) return Fail(call, ERROR_OBJECT_NOT_FOUND);
       volume.Make(call);
     }},
    {"name-accent-case-counts", "finds no object by its name in another case of an accented letter",
     [](Call& call, OwnVolume& volume) {
       if (IsByOtherCase(call, volume, 0x7F)) return Fail(call, ERROR_OBJECT_NOT_FOUND);
       volume.Make(call);
     }},
    {"parent-of-all-is-root", "gives the root as the parent of every directory and file",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op != Op::kParentDir || call.given_lock == nullptr) return;
       volume.original().UnLock(call.given_lock);
       call.given_lock = volume.Invoke({.op = Op::kDupLock}).given_lock;
     }},
    {"set-date-leap-day-lost", "takes 29 February 2000 for 1 March when it is set",
     [](Call& call, OwnVolume& volume) {
       MakeWithDay(call, volume, [](std::int32_t& days) {
         if (days == kLeapDayOf2000) ++days;
       });
     }},
    {"set-date-leap-day-of-2100", "sets dates after February 2100 a day early",
     [](Call& call, OwnVolume& volume) {
       MakeWithDay(call, volume, [](std::int32_t& days) {
         if (days >= kFirstOfMarch2100) --days;
       });
     }},
    {"set-date-beyond-2046-wraps", "begins again in 1978 when a date beyond January 2046 is set",
     [](Call& call, OwnVolume& volume) {
       MakeWithDay(call, volume, [](std::int32_t& days) { days %= kDaysOf31Bits + 1; });
     }},
    {"set-date-drifts", "sets each date a second late",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kSetDate && call.date.ds_Tick < 2900) call.date.ds_Tick += 50;
       volume.Make(call);
     }},
    {"soft-link-to-link-unreadable", "does not read a soft link to another soft link",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kReadSoftLink && TargetOfLink(call, volume).Is(kSoftLink)) {
         return Fail(call, ERROR_OBJECT_WRONG_TYPE);
       }
       volume.Make(call);
     }},
    {"soft-link-followed-by-itself",
     "follows soft links to other names in their directory by itself, however many",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.op != Op::kLock) return;
       constexpr int kMost = 100;
       const char* const asked = call.name;
       std::string name = asked;
       for (int count = 0; Failed(call) && call.res2 == ERROR_IS_SOFT_LINK; ++count) {
         if (count == kMost) return Fail(call, ERROR_OBJECT_NOT_FOUND);
         name = TextOfLink(call.rel, name.c_str(), volume);
         if (!IsOneName(name)) return;
         call.name = name.c_str();
         volume.Make(call);
         call.name = asked;
       }
     }},
    {"soft-link-dangling-stays", "deletes no soft link to what is not there",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kDelete && TargetOfLink(call, volume).Is(kMissing)) {
         return Fail(call, ERROR_OBJECT_NOT_FOUND);
       }
       volume.Make(call);
     }},
    {"soft-link-loses-parent", "reads a soft link without the slash at its start",
     [](Call& call, OwnVolume& volume) {
       ReadChangedLink(call, volume, [](std::string& text) {
         if (text.starts_with('/')) text.erase(0, 1);
       });
     }},
    {"soft-link-loses-device", "reads a soft link without its device and colon",
     [](Call& call, OwnVolume& volume) {
       ReadChangedLink(call, volume, [](std::string& text) { text.erase(0, text.find(':') + 1); });
     }},
    {"soft-link-to-directory-missing", "finds nothing by a soft link to a directory",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kLock && TargetOfLink(call, volume).Is(kDirectory)) {
         return Fail(call, ERROR_OBJECT_NOT_FOUND);
       }
       volume.Make(call);
     }},
    {"soft-link-takes-attributes", "says that it set an attribute of a soft link, and does not",
     [](Call& call, OwnVolume& volume) {
       const bool sets_attribute = call.op == Op::kSetComment || call.op == Op::kSetProtection;
       if (!sets_attribute || !volume.StateOf(call.rel, call.name).Is(kSoftLink)) {
         return volume.Make(call);
       }
       call.result = kTrue;
     }},
    {"rename-in-use-refused", "refuses to rename a file that is open or locked",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kRename && IsFileInUse(call.rel, call.name, volume)) {
         return Fail(call, ERROR_OBJECT_IN_USE);
       }
       volume.Make(call);
     }},
    {"rename-keeps-target-bit",
     "leaves the archive bit of the directory that an object is renamed into",
     [](Call& call, OwnVolume& volume) {
       if (call.op != Op::kRename) return volume.Make(call);
       const std::uint32_t protection = volume.StateOf(call.other, "").protection;
       volume.Make(call);
       if (!Failed(call)) volume.SetProtection(call.other, "", protection);
     }},
};

}  // namespace

std::vector<HiddenDeviation> FurtherInNames() {
  return {std::begin(kFurtherNames), std::end(kFurtherNames)};
}

}  // namespace quorle::deviate
