#include "selftest/explore/conforming_variants.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "explore/search_clock.h"
#include "handlers/deviate/hidden.h"
#include "handlers/deviate/hidden_layer.h"
#include "handlers/deviate/own_volume.h"
#include "hosted/calls/clock.h"

namespace quorle::selftest {
namespace {

using deviate::Call;
using deviate::HiddenDeviation;
using deviate::ObjectState;
using deviate::Op;
using deviate::OwnVolume;

/// The record that `call` gives, if it gives one.
::ExamineData* RecordOf(const Call& call) {
  return call.op == Op::kExamineDir ? call.scan->Entry : call.record;
}

template <class Change>
void ChangeRecord(Call& call, OwnVolume& volume, const Change& change) {
  volume.Make(call);
  if (Failed(call)) return;
  if (::ExamineData* const record = RecordOf(call)) change(*record);
}

// ---- Codes ---------------------------------------------------------------------------------------

bool IsThere(const Call& call, const OwnVolume& volume) {
  return volume.StateOf(call).IsThere();
}

bool LeadsThroughFile(const Call& call, const OwnVolume& volume) {
  if (call.name == nullptr) return false;
  if (volume.StateOf(call.rel, "").Is(deviate::kFile)) return true;
  const std::string name = call.name;
  for (std::size_t slash = name.find('/'); slash != std::string::npos;
       slash = name.find('/', slash + 1)) {
    if (volume.StateOf(call.rel, name.substr(0, slash).c_str()).Is(deviate::kFile)) return true;
  }
  return false;
}

/// Another code in place of `from` where `fits` says so.
template <class Fits>
void Recode(Call& call, OwnVolume& volume, std::int32_t from, std::int32_t to, const Fits& fits) {
  volume.Make(call);
  if (Failed(call) && call.res2 == from && fits()) call.res2 = to;
}

/// Changes that are refused since the volume is protected.
void FindMissingFirst(Call& call, OwnVolume& volume, bool always) {
  const bool names_one = call.op == Op::kDelete || call.op == Op::kSetComment ||
                         call.op == Op::kSetProtection || call.op == Op::kSetDate;
  Recode(call, volume, ERROR_DISK_WRITE_PROTECTED, ERROR_OBJECT_NOT_FOUND,
         [&] { return names_one && (always || !IsThere(call, volume)); });
}

// ---- Scans ---------------------------------------------------------------------------------------

/// The entry `name` of the directory that is scanned; null: there is none.
::ExamineData* EntryOf(const ::PRIVATE_ExamineDirContext& scan, std::string_view name,
                       const OwnVolume& volume) {
  ::PRIVATE_ExamineDirContext ahead = scan;
  ahead.FSPrivate[0] = ahead.FSPrivate[1] = 0;
  ahead.Entry = nullptr;
  while (!Failed(volume.Invoke({.op = Op::kExamineDir, .scan = &ahead}))) {
    if (ahead.Entry->Name == name) return ahead.Entry;
    volume.original().Free(ahead.Entry);
    ahead.Entry = nullptr;
  }
  return nullptr;
}

/// The names of the directory that is scanned, with line breaks behind them, in the order of RAM:; empty with
/// the code when it is none.
std::string NamesOf(const ::PRIVATE_ExamineDirContext& scan, const OwnVolume& volume,
                    std::int32_t& code) {
  ::PRIVATE_ExamineDirContext ahead = scan;
  ahead.Entry = nullptr;
  std::string names;
  Call step{.op = Op::kExamineDir, .scan = &ahead};
  for (step = volume.Invoke(step); !Failed(step);
       step = volume.Invoke({.op = Op::kExamineDir, .scan = &ahead})) {
    names += std::string(ahead.Entry->Name) + "\n";
    volume.original().Free(ahead.Entry);
    ahead.Entry = nullptr;
  }
  code = step.res2;
  return names;
}

/// Scans by a list of the names that were there at first: the last one first, without `left_out` of them at
/// the end. What is gone meanwhile does not come.
void ScanByList(Call& call, OwnVolume& volume, std::size_t left_out) {
  if (call.op != Op::kExamineDir) return volume.Make(call);
  std::string& names = volume.objects[reinterpret_cast<std::uintptr_t>(call.scan)].text;
  if (call.scan->FSPrivate[0] == 0 && call.scan->FSPrivate[1] == 0) {
    std::int32_t code = 0;
    names = NamesOf(*call.scan, volume, code);
    if (code != ERROR_NO_MORE_ENTRIES) return Fail(call, code);
    for (std::size_t i = 0; i != left_out && !names.empty(); ++i) {
      names.erase(0, names.find('\n') + 1);
    }
    call.scan->FSPrivate[1] = 1;
  }
  // That it is refused for another reason is for the handler to say.
  Call now{.op = Op::kExamineLock, .lock = call.scan->Directory};
  now = volume.Invoke(now);
  if (Failed(now)) return Fail(call, now.res2);
  volume.original().Free(now.record);
  while (!names.empty()) {
    names.pop_back();
    const std::size_t start = names.rfind('\n') + 1;
    const std::string name = names.substr(start);
    names.resize(start);
    call.scan->Entry = EntryOf(*call.scan, name, volume);
    if (call.scan->Entry == nullptr) continue;
    call.result = deviate::kTrue;
    return;
  }
  Fail(call, ERROR_NO_MORE_ENTRIES);
}

// ---- Dates ---------------------------------------------------------------------------------------

void CutDate(::DateStamp& date, std::int32_t ticks) {
  const std::int64_t all =
      explore::SearchClock::ToTicks({date.ds_Days, date.ds_Minute, date.ds_Tick});
  const quorle::DateStamp cut = explore::SearchClock::ToDate(all / ticks * ticks);
  date = {cut.ds_Days, cut.ds_Minute, cut.ds_Tick};
}

/// Dates what dos dated in a call by the host's clock at that call, `off` days from it.
void DateByHost(Call& call, OwnVolume& volume, std::int32_t off) {
  ::DateStamp now{};
  volume.dos().DateStamp(&volume.dos(), &now);
  const auto ticks_of = [](const ::DateStamp& date) {
    return explore::SearchClock::ToTicks({date.ds_Days, date.ds_Minute, date.ds_Tick});
  };
  const std::int64_t host = explore::SearchClock::ToTicks(SystemClock().Now());
  volume.objects.try_emplace(static_cast<std::uint64_t>(ticks_of(now)),
                             deviate::ObjectMemory{.name = {}, .text = {}, .number = host});
  ChangeRecord(call, volume, [&](::ExamineData& record) {
    const auto known = volume.objects.find(static_cast<std::uint64_t>(ticks_of(record.Date)));
    // The first tick of all is the date that a root is given.
    if (ticks_of(record.Date) ==
        explore::SearchClock::kFirstDay * explore::SearchClock::kTicksPerDay)
      return;
    if (known == volume.objects.end()) return;
    const quorle::DateStamp date = explore::SearchClock::ToDate(known->second.number);
    record.Date = {date.ds_Days + off, date.ds_Minute, date.ds_Tick};
  });
}

// ---- What there is not ---------------------------------------------------------------------------

constexpr std::size_t kShortName = 30;
constexpr std::size_t kShortComment = 79;

const char* LeafOf(const char* name) {
  const char* const slash = std::strrchr(name, '/');
  return slash == nullptr ? name : slash + 1;
}

/// Refuses names over 30 characters, from `most` on with no code that says so.
void LimitNames(Call& call, OwnVolume& volume) {
  for (const char* const name : {call.name, call.op == Op::kRename ? call.text : nullptr}) {
    if (name == nullptr || call.op == Op::kExamineObj) continue;
    if (std::strlen(LeafOf(name)) > kShortName) return Fail(call, ERROR_INVALID_COMPONENT_NAME);
  }
  volume.Make(call);
}

bool IsDirectory(const Call& call, const OwnVolume& volume) {
  return volume.StateOf(call).Is(deviate::kDirectory | deviate::kRoot);
}

void FillGrown(Call& call, OwnVolume& volume, std::int64_t most) {
  const bool resizes = call.op == Op::kChangeFileSize;
  const std::int64_t before = resizes ? volume.Size(call) : 0;
  volume.Make(call);
  if (!resizes || Failed(call)) return;
  const std::int64_t grown = volume.Size(call) - before;
  if (grown > 0 && grown <= most) {
    volume.WriteAt(call, before, std::string(static_cast<std::size_t>(grown), 'x'));
  }
}

void RefuseSizes(Call& call, OwnVolume& volume, std::int64_t from, std::int64_t to) {
  if (call.op == Op::kChangeFileSize && call.mode == OFFSET_BEGINNING && call.number >= from &&
      call.number <= to) {
    return Fail(call, ERROR_DISK_FULL);
  }
  volume.Make(call);
}

bool IsHeld(const Call& call, const OwnVolume& volume, std::int32_t mode) {
  const Call lock =
      volume.Invoke({.op = Op::kLock, .rel = call.rel, .name = call.name, .mode = mode});
  if (Failed(lock)) return lock.res2 == ERROR_OBJECT_IN_USE;
  volume.original().UnLock(lock.given_lock);
  return false;
}

constexpr HiddenDeviation kVariants[] = {
    {"missing-first", "looks for an object before it looks whether the volume is protected",
     [](Call& call, OwnVolume& volume) { FindMissingFirst(call, volume, false); }},
    {"always-missing", "finds nothing on a protected volume",
     [](Call& call, OwnVolume& volume) { FindMissingFirst(call, volume, true); }},
    {"through-file-other", "has the other code for a name that leads through a file",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (!Failed(call) || !LeadsThroughFile(call, volume)) return;
       if (call.res2 == ERROR_OBJECT_NOT_FOUND) {
         call.res2 = ERROR_OBJECT_WRONG_TYPE;
       } else if (call.res2 == ERROR_OBJECT_WRONG_TYPE) {
         call.res2 = ERROR_OBJECT_NOT_FOUND;
       }
     }},
    {"missing-is-wrong-type", "takes what is not there for no directory",
     [](Call& call, OwnVolume& volume) {
       Recode(call, volume, ERROR_OBJECT_NOT_FOUND, ERROR_OBJECT_WRONG_TYPE,
              [&] { return call.name != nullptr && !LeadsThroughFile(call, volume); });
     }},
    {"other-code", "has another code for a number that is none",
     [](Call& call, OwnVolume& volume) {
       Recode(call, volume, ERROR_BAD_NUMBER, ERROR_REQUIRED_ARG_MISSING, [] { return true; });
     }},
    {"other-named-code", "has another code for a position that is none",
     [](Call& call, OwnVolume& volume) {
       Recode(call, volume, ERROR_SEEK_ERROR, ERROR_REQUIRED_ARG_MISSING, [] { return true; });
     }},
    {"no-notify", "does not notify",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kAddNotify) return Fail(call, ERROR_ACTION_NOT_KNOWN);
       volume.Make(call);
     }},
    {"scan-by-list", "scans a directory by a list, backwards",
     [](Call& call, OwnVolume& volume) { ScanByList(call, volume, 0); }},
    {"scan-by-short-list", "scans a directory by a list that lacks an entry",
     [](Call& call, OwnVolume& volume) { ScanByList(call, volume, 1); }},
    {"date-seconds", "keeps dates to two seconds",
     [](Call& call, OwnVolume& volume) {
       ChangeRecord(call, volume, [](::ExamineData& record) { CutDate(record.Date, 100); });
     }},
    {"date-minutes-in-scans", "keeps dates to two seconds, and shows them to two minutes in scans",
     [](Call& call, OwnVolume& volume) {
       const std::int32_t ticks = call.op == Op::kExamineDir ? 6000 : 100;
       ChangeRecord(call, volume, [&](::ExamineData& record) { CutDate(record.Date, ticks); });
     }},
    {"host-clock", "dates by the clock of the host",
     [](Call& call, OwnVolume& volume) { DateByHost(call, volume, 0); }},
    {"host-clock-in-scans", "dates by the clock of the host, in scans a day late",
     [](Call& call, OwnVolume& volume) {
       DateByHost(call, volume, call.op == Op::kExamineDir ? 1 : 0);
     }},
    {"low-bits", "keeps the lower bits of protections, owners and groups",
     [](Call& call, OwnVolume& volume) {
       ChangeRecord(call, volume, [](::ExamineData& record) {
         record.Protection &= 0xFF;
         record.OwnerUID &= 0xFFFF;
         record.OwnerGID &= 0xFFFF;
       });
     }},
    {"lower-bits", "keeps too few of them",
     [](Call& call, OwnVolume& volume) {
       ChangeRecord(call, volume, [](::ExamineData& record) { record.Protection &= 0x7F; });
     }},
    {"no-numbers", "has no numbers of objects, and does not count links",
     [](Call& call, OwnVolume& volume) {
       ChangeRecord(call, volume, [](::ExamineData& record) {
         record.ObjectID = 0;
         record.RefCount = 0;
       });
     }},
    {"no-targets", "does not show what is in a link",
     [](Call& call, OwnVolume& volume) {
       ChangeRecord(call, volume, [](::ExamineData& record) {
         if (record.Link != nullptr) record.Link[0] = '\0';
       });
     }},
    {"half-targets", "shows half of what is in a link",
     [](Call& call, OwnVolume& volume) {
       ChangeRecord(call, volume, [](::ExamineData& record) {
         if (record.Link != nullptr) record.Link[(std::strlen(record.Link) + 1) / 2] = '\0';
       });
     }},
    {"short-names", "refuses names over 30 characters", LimitNames},
    {"short-comments", "refuses comments over 79 characters",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kSetComment && std::strlen(call.text) > kShortComment) {
         return Fail(call, ERROR_COMMENT_TOO_BIG);
       }
       volume.Make(call);
     }},
    {"cut-comments", "cuts comments to 79 characters",
     [](Call& call, OwnVolume& volume) {
       ChangeRecord(call, volume, [](::ExamineData& record) {
         if (std::strlen(record.Comment) > kShortComment) record.Comment[kShortComment] = '\0';
       });
     }},
    {"small-files", "refuses files over 64 MiB",
     [](Call& call, OwnVolume& volume) { RefuseSizes(call, volume, (64 << 20) + 1, INT64_MAX); }},
    {"no-files-of-a-page", "refuses files of 4,096 bytes",
     [](Call& call, OwnVolume& volume) { RefuseSizes(call, volume, 4096, 4096); }},
    {"full-of-links", "has no room for soft links, and blocks are free",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kCreateSoftLink) return Fail(call, ERROR_DISK_FULL);
       volume.Make(call);
     }},
    {"no-comments", "has no comments",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kSetComment) return Fail(call, ERROR_ACTION_NOT_KNOWN);
       volume.Make(call);
     }},
    {"no-comments-of-directories", "has no comments of directories",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kSetComment && IsDirectory(call, volume)) {
         return Fail(call, ERROR_ACTION_NOT_KNOWN);
       }
       volume.Make(call);
     }},
    {"no-directory-links", "has no hard links to directories",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kCreateHardLink &&
           volume.StateOf(call.other, "").Is(deviate::kDirectory | deviate::kRoot)) {
         return Fail(call, ERROR_OBJECT_WRONG_TYPE);
       }
       volume.Make(call);
     }},
    {"no-links-to-empty-files", "refuses links to files of no bytes but the first one",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kCreateHardLink && volume.StateOf(call.other, "").size == 0 &&
           volume.counter++ > 0) {
         return Fail(call, ERROR_OBJECT_WRONG_TYPE);
       }
       volume.Make(call);
     }},
    {"no-root-comment", "keeps no comment of the root",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kSetComment && volume.StateOf(call).Is(deviate::kRoot)) {
         return Fail(call, ERROR_OBJECT_WRONG_TYPE);
       }
       volume.Make(call);
     }},
    {"held-is-unseen", "does not examine by its name what is held exclusively",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kExamineObj && IsHeld(call, volume, SHARED_LOCK)) {
         return Fail(call, ERROR_OBJECT_IN_USE);
       }
       volume.Make(call);
     }},
    {"shared-is-unseen",
     "does not examine by its name what is held by a second one, in scans of files",
     [](Call& call, OwnVolume& volume) {
       if (call.op == Op::kExamineFile) return Fail(call, ERROR_OBJECT_IN_USE);
       volume.Make(call);
     }},
    {"own-counts", "counts users and blocks in ways of its own",
     [](Call& call, OwnVolume& volume) {
       volume.Make(call);
       if (call.info == nullptr) return;
       constexpr std::uint32_t kWays = 13;
       volume.counter = volume.counter * 5 % kWays + 1;
       call.info->id_InUse += volume.counter;
       call.info->id_NumBlocksUsed += volume.counter;
     }},
    {"grown-is-filled", "fills what a file grows by with what was there",
     [](Call& call, OwnVolume& volume) { FillGrown(call, volume, 1 << 20); }},
    {"little-grown-is-filled", "fills what a file grows by with what was there, if it is little",
     [](Call& call, OwnVolume& volume) { FillGrown(call, volume, 600); }},
};

/// Keeps the layer as long as the port.
class Variant final : public PortLayer {
 public:
  Variant(::FileSystemVectorPort& port, const ::HandlerServices& dos, const HiddenDeviation& row)
      : layer_(port, dos, row) {}

 private:
  deviate::HiddenLayer layer_;
};

std::unique_ptr<PortLayer> Cover(::FileSystemVectorPort& port, const ::HandlerServices& dos,
                                 std::string_view name, std::string& problem) {
  const auto row =
      std::find_if(std::begin(kVariants), std::end(kVariants),
                   [&](const HiddenDeviation& variant) { return variant.name == name; });
  if (row != std::end(kVariants)) return std::make_unique<Variant>(port, dos, *row);
  problem = "there is no variant " + std::string(name);
  return nullptr;
}

}  // namespace

NamedLayer VariantLayer() {
  return {.key = "variant", .cover = Cover};
}

}  // namespace quorle::selftest
