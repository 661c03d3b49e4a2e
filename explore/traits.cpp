#include "explore/traits.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "explore/search_clock.h"
#include "explore/side.h"
#include "explore/tree.h"
#include "platform/constants.h"

namespace quorle::explore {
namespace {

/// Tries out what the filesystem of a side can do.
class Probe {
 public:
  Probe(Side& side, SearchClock& clock, bool whole_volume, const BeginAgain& begin_again)
      : side_(side),
        dos_(side.dos()),
        clock_(clock),
        whole_volume_(whole_volume),
        begin_again_(begin_again) {}

  Traits Run() {
    clock_.Step();
    for (void (Probe::*const find)() :
         {&Probe::FindOperations, &Probe::FindClock, &Probe::FindAttributes, &Probe::FindLimits,
          &Probe::FindLinks, &Probe::FindCounts, &Probe::FindGrowth, &Probe::FindRoot}) {
      const Traits before = traits_;
      MakeFile("q");
      (this->*find)();
      // That a handler ends is no trait: the search will say so.
      if (begin_again_ && begin_again_()) traits_ = before;
    }
    Empty(side_);
    return traits_;
  }

 private:
  void MakeFile(const char* name) {
    const FileHandle file = dos_.Open(name, MODE_NEWFILE);
    if (file) dos_.Close(file);
  }

  std::optional<ExamineData> Look(const char* name) {
    std::int32_t code = 0;
    const ExamineData* const record = side_.Look(name, code);
    return record == nullptr ? std::nullopt : std::optional<ExamineData>(*record);
  }

  /// Whether it was granted, or is refused for want of room alone.
  bool IsGranted(bool done) const { return done || dos_.IoErr() == ERROR_DISK_FULL; }

  bool& Knows(Operation operation) { return traits_.knows[static_cast<std::size_t>(operation)]; }

  /// Makes `call`, and finds out whether it is answered with 209 or 236. Its objects are given back.
  Outcome Try(Call call) {
    Outcome outcome;
    side_.Make(call, outcome);
    const bool unknown = !outcome.done && (outcome.code == ERROR_ACTION_NOT_KNOWN ||
                                           outcome.code == ERROR_NOT_IMPLEMENTED);
    if (unknown) Knows(call.operation) = false;
    return outcome;
  }

  static Call With(Operation operation, std::string text = {}, std::string second = {}) {
    Call call;
    call.operation = operation;
    call.text = {std::move(text), std::move(second)};
    return call;
  }

  /// Each operation once, as it is granted where it is there.
  void FindOperations() {
    Outcome outcome;
    Call open = With(Operation::kOpen, "q");
    open.number[1] = MODE_READWRITE;
    open.result = 1;
    side_.Make(open, outcome);
    Call lock = With(Operation::kLock, "q");
    lock.number[1] = SHARED_LOCK;
    lock.result = 1;
    side_.Make(lock, outcome);
    for (const Operation operation :
         {Operation::kGetFilePosition, Operation::kGetFileSize, Operation::kDupLockFromFH,
          Operation::kParentOfFH, Operation::kExamineFile}) {
      Call call = With(operation);
      call.number = {1, 1};
      Try(call);
    }
    Call call = With(Operation::kRead);
    call.number = {1, 1};
    Try(call);
    call = With(Operation::kWrite, "x");
    call.number = {1, 1};
    call.pattern = Call::kQuoted;
    Try(call);
    for (const Operation operation : {Operation::kChangeFilePosition, Operation::kChangeFileSize}) {
      call = With(operation);
      call.number = {1, 0, OFFSET_BEGINNING};
      Try(call);
    }
    for (const Operation operation : {Operation::kChangeLockMode, Operation::kChangeFileMode}) {
      call = With(operation);
      call.number = {operation == Operation::kChangeLockMode ? CHANGE_LOCK : CHANGE_FH, 1,
                     SHARED_LOCK};
      Try(call);
    }
    for (const Operation operation : {Operation::kDupLock, Operation::kParentDir}) {
      call = With(operation);
      call.number = {1};
      Try(call);
    }
    call = With(Operation::kExamineLock);
    call.number = {0, 1};
    Try(call);
    FindRecordsAndNotification();
    call = With(Operation::kOpenFromLock);
    call.number = {1};
    Try(call);
    // What is still held goes back.
    for (const Operation operation : {Operation::kClose, Operation::kUnLock}) {
      call = With(operation);
      for (std::int64_t number = 1; number <= kMostObjects; ++number) {
        call.number[0] = number;
        side_.Make(call, outcome);
      }
    }
    // The same object by two locks and by two handles.
    FindRelations();
    const FileHandle held = dos_.Open("q", MODE_NEWFILE);
    traits_.examines_held = Look("q").has_value();
    if (held) dos_.Close(held);
    for (const Operation operation :
         {Operation::kDiskInfo, Operation::kVolumeInfo, Operation::kFlush}) {
      Try(With(operation));
    }
    call = With(Operation::kFileSystemAttr);
    call.number = {FSA_MaxFileNameLengthR};
    Try(call);
    call = With(Operation::kInhibit);
    call.number = {1};
    if (whole_volume_) {
      Try(call);
      side_.further().Inhibit(side_.device().c_str(), false);
      call = With(Operation::kWriteProtect);
      call.number = {1, 0};
      Try(call);
      dos_.WriteProtectVolume(side_.device().c_str(), false, 0, 0);
    }
  }

  void FindRecordsAndNotification() {
    Call call = With(Operation::kLockRecord);
    call.number = {1, 0, 1, REC_SHARED_IMMED, 0};
    Try(call);
    call = With(Operation::kUnLockRecord);
    call.number = {1, 0, 1};
    Try(call);
    call = With(Operation::kStartNotify, "q");
    call.number = {0, NRF_SEND_MESSAGE};
    traits_.notifies = !Try(call).emulated;
    Knows(Operation::kEndNotify) = Knows(Operation::kStartNotify);
    Knows(Operation::kGetNotifyMsg) = Knows(Operation::kStartNotify);
  }

  void FindRelations() {
    const LockHandle a = dos_.Lock("q", SHARED_LOCK);
    const LockHandle b = dos_.Lock("q", SHARED_LOCK);
    dos_.SetIoErr(0);
    if (dos_.SameLock(a, b) != LOCK_SAME && dos_.IoErr() == ERROR_ACTION_NOT_KNOWN) {
      Knows(Operation::kSameLock) = false;
    }
    dos_.UnLock(a);
    dos_.UnLock(b);
    const FileHandle c = dos_.Open("q", MODE_OLDFILE);
    const FileHandle d = dos_.Open("q", MODE_OLDFILE);
    dos_.SetIoErr(0);
    if (side_.further().SameFile(c, d) != LOCK_SAME && dos_.IoErr() == ERROR_ACTION_NOT_KNOWN) {
      Knows(Operation::kSameFile) = false;
    }
    if (c) dos_.Close(c);
    if (d) dos_.Close(d);
  }

  /// How finely dates are kept, and whose clock they are of.
  void FindClock() {
    static constexpr DateStamp kDates[] = {{8000, 61, 2999}, {8000, 62, 51}, {9000, 723, 149}};
    static constexpr std::int32_t kGrains[] = {1, 50, 100, 3000, 3000 * 60 * 24};
    std::int64_t off = 0;
    for (const DateStamp& date : kDates) {
      if (!dos_.SetDate("q", date)) {
        if (dos_.IoErr() == ERROR_ACTION_NOT_KNOWN) Knows(Operation::kSetDate) = false;
        continue;
      }
      const auto object = Look("q");
      if (!object) continue;
      off =
          std::max(off, std::abs(SearchClock::ToTicks(object->Date) - SearchClock::ToTicks(date)));
    }
    // What is further off than a day is no grain, and will be a difference.
    const auto grain = std::find_if(std::begin(kGrains), std::end(kGrains),
                                    [&](std::int32_t ticks) { return off < ticks; });
    if (grain != std::end(kGrains)) traits_.date_ticks = *grain;
    clock_.Step();
    MakeFile("q2");
    const auto made = Look("q2");
    if (!made) return;
    const std::int64_t date = SearchClock::ToTicks(made->Date);
    const std::int64_t now = SearchClock::ToTicks(SystemClock().Now());
    traits_.own_clock = std::abs(date - clock_.ticks()) > traits_.date_ticks &&
                        std::abs(date - now) < SearchClock::kTicksPerDay;
  }

  void FindAttributes() {
    std::uint32_t set = 0;
    std::uint32_t cleared = 0xFFFFFFFF;
    if (!dos_.SetProtection("q", 0xFFFFFFFF)) {
      if (dos_.IoErr() == ERROR_ACTION_NOT_KNOWN) Knows(Operation::kSetProtection) = false;
    } else if (const auto object = Look("q")) {
      set = object->Protection;
    }
    if (dos_.SetProtection("q", 0)) {
      if (const auto object = Look("q")) cleared = object->Protection;
    }
    // The eight bits that every program uses must be there; what a volume makes of the others is its own.
    traits_.protection = (set & ~cleared) | 0xFF;
    if (!dos_.SetComment("q", "q") && dos_.IoErr() == ERROR_ACTION_NOT_KNOWN) {
      Knows(Operation::kSetComment) = false;
    }
    traits_.owner = IdBits(Operation::kSetOwner, OI_OwnerUID, &ExamineData::OwnerUID);
    traits_.group = IdBits(Operation::kSetGroup, OI_OwnerGID, &ExamineData::OwnerGID);
  }

  /// Which bits of an owner or a group are kept.
  std::uint32_t IdBits(Operation operation, std::uint32_t tag, std::uint32_t ExamineData::*field) {
    constexpr std::uint32_t kWide = 0x12345678;
    for (const std::uint32_t bits : {0xFFFFFFFF, 0xFFFFU}) {
      if (!dos_.SetOwnerInfo("q", tag, kWide & bits)) {
        if (dos_.IoErr() != ERROR_ACTION_NOT_KNOWN) continue;
        Knows(operation) = false;
        return 0;
      }
      const auto object = Look("q");
      if (object && (*object).*field == (kWide & bits)) return bits;
    }
    return 0;
  }

  /// The largest of 1 to `most` that is granted.
  template <class IsGranted>
  static std::int32_t Largest(std::int32_t most, IsGranted is_granted) {
    if (is_granted(most)) return most;
    std::int32_t low = 1;
    while (low + 1 < most) {
      const std::int32_t middle = low + (most - low) / 2;
      (is_granted(middle) ? low : most) = middle;
    }
    return low;
  }

  void FindLimits() {
    // What is promised counts; a name that is cut silently is for the search to find.
    std::uint32_t promised = 0;
    std::int32_t most = 255;
    if (side_.further().FileSystemAttr(side_.device().c_str(), FSA_MaxFileNameLengthR, promised)) {
      most = static_cast<std::int32_t>(std::clamp<std::uint32_t>(promised, 1, 255));
    }
    traits_.name_limit = Largest(most, [&](std::int32_t length) {
      const std::string name(static_cast<std::size_t>(length), 'n');
      const FileHandle file = dos_.Open(name.c_str(), MODE_NEWFILE);
      const bool is_granted = IsGranted(static_cast<bool>(file));
      if (file) dos_.Close(file);
      dos_.Delete(name.c_str());
      return is_granted;
    });
    traits_.comment_limit = Largest(255, [&](std::int32_t length) {
      return IsGranted(
          dos_.SetComment("q", std::string(static_cast<std::size_t>(length), 'c').c_str()));
    });
    if (IsClassic()) {
      // What the record of a classic packet has room for.
      traits_.name_limit = std::min(traits_.name_limit, 107);
      traits_.comment_limit = std::min(traits_.comment_limit, 79);
    }
  }

  /// Whether a handler answers old packets alone: then positions have 32 bits.
  bool IsClassic() {
    const FileHandle file = dos_.Open("q", MODE_OLDFILE);
    const bool wide = dos_.ChangeFilePosition(file, std::int64_t{1} << 40, OFFSET_BEGINNING);
    const bool is_classic = !wide && dos_.IoErr() == ERROR_OBJECT_TOO_LARGE;
    if (file) dos_.Close(file);
    return is_classic;
  }

  void FindLinks() {
    const auto is_unknown = [&] { return dos_.IoErr() == ERROR_ACTION_NOT_KNOWN; };
    bool soft = dos_.MakeLink("qs", "q", LINK_SOFT);
    Knows(Operation::kMakeSoftLink) = soft || !is_unknown();
    Call read = With(Operation::kReadSoftLink, "qs");
    read.number[2] = 100;
    if (soft) Try(read);
    if (soft) traits_.shows_targets = ShowsTarget("qs");
    if (!soft) Knows(Operation::kReadSoftLink) = false;
    dos_.Delete("qs");
    if (soft) {
      traits_.target_limit = Largest(4000, [&](std::int32_t length) {
        const std::string target(static_cast<std::size_t>(length), 't');
        const bool is_granted = IsGranted(dos_.MakeLink("qs", target.c_str(), LINK_SOFT));
        dos_.Delete("qs");
        return is_granted;
      });
    }
    const LockHandle file = dos_.Lock("q", SHARED_LOCK);
    const bool hard = dos_.MakeLink("qh", file, LINK_HARD);
    Knows(Operation::kMakeHardLink) = hard || !is_unknown();
    if (const auto link = Look("qh")) traits_.marks_links = link->RefCount <= 1;
    dos_.UnLock(file);
    const LockHandle directory = dos_.CreateDir("qd");
    traits_.links_to_directories =
        IsGranted(static_cast<bool>(directory)) &&
        (!directory || IsGranted(dos_.MakeLink("qe", directory, LINK_HARD)));
    dos_.UnLock(directory);
    FindNumbers();
    dos_.Delete("qe");
    dos_.Delete("qd");
    dos_.Delete("qh");
  }

  /// Whether a scan shows what the soft link `name` holds; where it shows no such link the search will say so.
  bool ShowsTarget(std::string_view name) {
    bool shows = true;
    const DirContextHandle scan = side_.further().ObtainDirContext(EX_StringNameInput, "");
    // There are a few objects, and a scan need not end.
    constexpr int kMostEntries = 100;
    for (int i = 0; i != kMostEntries; ++i) {
      const ExamineData* const entry = side_.further().ExamineDir(scan);
      if (entry == nullptr) break;
      if (entry->Name == name) shows = entry->Link[0] != '\0';
    }
    side_.further().ReleaseDirContext(scan);
    return shows;
  }

  /// A number that is there in one way to examine an object is expected in all.
  void FindNumbers() {
    traits_.counts_links = false;
    traits_.numbers_objects = false;
    const auto take = [&](const ExamineData* record) {
      if (record == nullptr) return;
      if (record->RefCount != 0) traits_.counts_links = true;
      if (record->ObjectID != 0) traits_.numbers_objects = true;
    };
    const LockHandle lock = dos_.Lock("q", SHARED_LOCK);
    const FileHandle file = dos_.Open("q", MODE_OLDFILE);
    for (const ExamineData* const record :
         {dos_.ExamineObject(EX_ObjectNameInput, "q"), dos_.ExamineObject(EX_LockInput, lock),
          dos_.ExamineObject(EX_FileHandleInput, file)}) {
      take(record);
      dos_.FreeDosObject(DOS_EXAMINEDATA, record);
    }
    if (file) dos_.Close(file);
    dos_.UnLock(lock);
    const DirContextHandle scan = side_.further().ObtainDirContext(EX_StringNameInput, "");
    take(side_.further().ExamineDir(scan));
    side_.further().ReleaseDirContext(scan);
  }

  InfoData Info() {
    InfoData info{};
    dos_.GetDiskInfo(side_.device().c_str(), info);
    return info;
  }

  void FindCounts() {
    const std::uint32_t before = Info().id_InUse;
    const LockHandle lock = dos_.Lock("q", SHARED_LOCK);
    const std::uint32_t with_lock = Info().id_InUse;
    const FileHandle file = dos_.Open("q", MODE_OLDFILE);
    const std::uint32_t with_file = Info().id_InUse;
    if (file) dos_.Close(file);
    dos_.UnLock(lock);
    traits_.counts_users = with_lock == before + 1 && with_file == before + 2;
    // Where files are made and deleted the count is the same afterwards, or as much too large each time.
    const auto round = [&] {
      const std::int32_t used = Info().id_NumBlocksUsed;
      for (int i = 0; i != 8; ++i) {
        MakeFile("q3");
        dos_.Delete("q3");
      }
      return Info().id_NumBlocksUsed - used;
    };
    const std::int32_t first = round();
    traits_.frees_blocks = Info().id_NumBlocks != 0 && first == round();
  }

  void FindGrowth() {
    std::vector<std::uint8_t> bytes(8000, 0xAA);
    const auto size = static_cast<std::int32_t>(bytes.size());
    const FileHandle file = dos_.Open("q", MODE_NEWFILE);
    if (!file) return;
    dos_.Write(file, bytes.data(), size);
    if (!dos_.ChangeFileSize(file, 0, OFFSET_BEGINNING)) {
      dos_.Close(file);
      return;
    }
    dos_.ChangeFileSize(file, size, OFFSET_BEGINNING);
    dos_.ChangeFilePosition(file, 0, OFFSET_BEGINNING);
    dos_.Read(file, bytes.data(), size);
    traits_.zeroes_grown =
        std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t b) { return b == 0; });
    if (!traits_.zeroes_grown) Knows(Operation::kChangeFileSize) = false;
    for (const std::int64_t limit :
         {std::int64_t{1} << 40, (std::int64_t{1} << 32) + 65536, (std::int64_t{1} << 31) - 1,
          std::int64_t{64} << 20, std::int64_t{8} << 20}) {
      traits_.size_limit = limit;
      if (dos_.ChangeFileSize(file, limit, OFFSET_BEGINNING)) break;
    }
    dos_.ChangeFileSize(file, 0, OFFSET_BEGINNING);
    dos_.Close(file);
  }

  /// The date of a root is not tried: where the rest can be set it is expected to be kept as well.
  void FindRoot() {
    if (!whole_volume_) return;
    const auto before = Look("");
    if (!before) return;
    traits_.root_attributes = true;
    if (Knows(Operation::kSetComment)) {
      traits_.root_attributes = dos_.SetComment("", "q");
      const auto object = Look("");
      if (!object || std::string_view(object->Comment) != "q") traits_.root_attributes = false;
      dos_.SetComment("", "");
    }
  }

  Side& side_;
  DosInterface& dos_;
  SearchClock& clock_;
  bool whole_volume_;
  const BeginAgain& begin_again_;
  Traits traits_;
};

}  // namespace

Traits ProbeTraits(Side& side, SearchClock& clock, bool whole_volume,
                   const BeginAgain& begin_again) {
  return Probe(side, clock, whole_volume, begin_again).Run();
}

}  // namespace quorle::explore
