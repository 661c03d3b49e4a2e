#include "explore/generator.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdlib>
#include <limits>

#include "explore/numbers.h"
#include "platform/constants.h"

namespace quorle::explore {
namespace {

struct OperationShare {
  Operation operation;
  std::uint32_t weight;
};

// What a program does often comes often; what gives an object back a little more often than what makes
// one, so that few are held; what is slow, or stops everything else, seldom.
constexpr auto kOperationShares = std::to_array<OperationShare>({
    {Operation::kOpen, 440},
    {Operation::kClose, 340},
    {Operation::kRead, 260},
    {Operation::kWrite, 320},
    {Operation::kChangeFilePosition, 160},
    {Operation::kGetFilePosition, 60},
    {Operation::kChangeFileSize, 120},
    {Operation::kGetFileSize, 50},
    {Operation::kChangeLockMode, 40},
    {Operation::kChangeFileMode, 40},
    {Operation::kLock, 220},
    {Operation::kUnLock, 380},
    {Operation::kDupLock, 60},
    {Operation::kDupLockFromFH, 40},
    {Operation::kOpenFromLock, 60},
    {Operation::kParentDir, 60},
    {Operation::kParentOfFH, 30},
    {Operation::kSameLock, 40},
    {Operation::kSetCurrentDir, 30},
    {Operation::kCreateDir, 200},
    {Operation::kCreateDirTree, 20},
    {Operation::kDelete, 150},
    {Operation::kRename, 220},
    {Operation::kMakeHardLink, 70},
    {Operation::kMakeSoftLink, 80},
    {Operation::kReadSoftLink, 40},
    {Operation::kSetComment, 70},
    {Operation::kSetProtection, 70},
    {Operation::kSetDate, 60},
    {Operation::kSetOwner, 30},
    {Operation::kSetGroup, 30},
    {Operation::kExamineName, 60},
    {Operation::kExamineObject, 60},
    {Operation::kExamineFile, 30},
    {Operation::kExamineLock, 40},
    {Operation::kScanLock, 20},
    {Operation::kScanName, 25},
    {Operation::kExamineDir, 120},
    {Operation::kReleaseScan, 30},
    {Operation::kSameFile, 20},
    {Operation::kLockRecord, 70},
    {Operation::kUnLockRecord, 45},
    {Operation::kStartNotify, 20},
    {Operation::kEndNotify, 12},
    {Operation::kGetNotifyMsg, 40},
    {Operation::kDiskInfo, 10},
    {Operation::kVolumeInfo, 8},
    {Operation::kFileSystemAttr, 6},
    {Operation::kFlush, 12},
    {Operation::kInhibit, 5},
    {Operation::kWriteProtect, 9},
    {Operation::kRelabel, 8},
    {Operation::kMakeFiles, 6},
});

constexpr bool IsEachInPlace() {
  for (std::size_t i = 0; i != kOperationShares.size(); ++i) {
    if (static_cast<std::size_t>(kOperationShares[i].operation) != i) return false;
  }
  return kOperationShares.size() == kOperations;
}
static_assert(IsEachInPlace(), "a share for each operation, in the order of the enumeration");

/// Whether it concerns the volume as such, with everything that others have there.
bool IsForWholeVolume(Operation operation) {
  return operation == Operation::kInhibit || operation == Operation::kWriteProtect ||
         operation == Operation::kRelabel;
}

Shares<kOperations> OperationShares(const Traits& traits, bool whole_volume) {
  std::array<std::uint32_t, kOperations> weights{};
  for (const OperationShare& share : kOperationShares) {
    const bool is_drawn =
        traits.Knows(share.operation) && (whole_volume || !IsForWholeVolume(share.operation));
    if (is_drawn) weights[static_cast<std::size_t>(share.operation)] = share.weight;
  }
  // A volume on which nothing can be opened is one on which that is refused.
  weights[0] = std::max(weights[0], std::uint32_t{1});
  return Shares(weights);
}

/// What a volume allows, as far as the reference volume does; a byte more is refused by both alike, and
/// is drawn where both have the same limit.
NameRules RulesOf(const Traits& traits, bool whole_volume) {
  const Traits reference;
  NameRules rules;
  rules.most_name = std::min(traits.name_limit, reference.name_limit);
  rules.most_comment = std::min(traits.comment_limit, reference.comment_limit);
  rules.most_target = std::min(traits.target_limit, reference.target_limit);
  rules.one_more_name = traits.name_limit == reference.name_limit;
  rules.one_more_comment = traits.comment_limit == reference.comment_limit;
  rules.one_more_target = traits.target_limit == reference.target_limit;
  rules.may_leave = whole_volume;
  return rules;
}

// ---- Objects -------------------------------------------------------------------------------------

// The first of those that are held, the second ..., and none at all. The last one has the shares of
// those that are not there, so that many held ones do not grow old.
constexpr auto kObjectShares = std::to_array<std::uint32_t>(
    {3000, 2000, 1300, 1000, 800, 700, 600, 500, 400, 350, 300, 250, 200, 150, 100, 180});
constexpr Shares kObjectRanks(kObjectShares);
static_assert(kObjectShares.size() == kMostObjects + 1);

constexpr bool StandsForNone(Choice choice) {
  return kObjectRanks.Draw(choice).row == kMostObjects;
}

/// The number of the object that `choice` stands for, among those whose bits are set in `held`.
std::uint8_t DrawObject(std::uint16_t held, Choice choice) {
  std::size_t rank = kObjectRanks.Draw(choice).row;
  if (held == 0 || rank == kMostObjects) return 0;
  std::uint32_t left = held;
  for (; rank != 0 && (left & (left - 1)) != 0; --rank) left &= left - 1;
  return static_cast<std::uint8_t>(std::countr_zero(left));
}

/// Whether no lock is as good as one: it stands for the directory in which the sequence works.
bool IsPlainWithoutLock(Operation operation) {
  return operation == Operation::kSetCurrentDir || operation == Operation::kReadSoftLink;
}

std::uint8_t DrawLockOrNone(std::uint16_t held, Choice choice) {
  if (choice < 0x8000) return 0;
  return DrawObject(held, static_cast<Choice>((choice - 0x8000) * 2));
}

/// What makes an object of that kind.
Operation MakerOf(Argument kind) {
  switch (kind) {
    case Argument::kLock:
      return Operation::kLock;
    case Argument::kFile:
      return Operation::kOpen;
    case Argument::kScan:
      return Operation::kScanName;
    default:
      return Operation::kStartNotify;
  }
}

Argument KindOf(Result result) {
  switch (result) {
    case Result::kLock:
      return Argument::kLock;
    case Result::kFile:
      return Argument::kFile;
    case Result::kScan:
      return Argument::kScan;
    default:
      return Argument::kRequest;
  }
}

/// From this choice on a name is one of those that the last calls had.
constexpr Choice kRecentNames = 0x9000;

/// The choices below that have all names to share; Narrowed() is the lowest that is spread to `choice`.
constexpr Choice Spread(Choice choice) {
  return static_cast<Choice>(choice % kRecentNames * std::uint32_t{0x10000} / kRecentNames);
}
constexpr Choice Narrowed(Choice choice) {
  return static_cast<Choice>((choice * std::uint32_t{kRecentNames} + 0xFFFF) / 0x10000);
}

// ---- Arguments -----------------------------------------------------------------------------------

bool SetsAttribute(Operation operation) {
  return operation >= Operation::kSetComment && operation <= Operation::kSetGroup;
}

NameKind NameKindOf(Operation operation, Argument argument) {
  if (argument == Argument::kText) {
    if (operation == Operation::kSetComment) return NameKind::kComment;
    return operation == Operation::kRelabel ? NameKind::kVolume : NameKind::kTarget;
  }
  switch (operation) {
    case Operation::kOpen:
    case Operation::kMakeFiles:
      return NameKind::kFile;
    case Operation::kCreateDir:
    case Operation::kCreateDirTree:
    case Operation::kScanName:
      return NameKind::kDirectory;
    case Operation::kMakeHardLink:
      return NameKind::kHardLink;
    case Operation::kMakeSoftLink:
    case Operation::kReadSoftLink:
      return NameKind::kSoftLink;
    default:
      return NameKind::kObject;
  }
}

NumberKind CountKindOf(Operation operation) {
  switch (operation) {
    case Operation::kRead:
      return NumberKind::kBytesToRead;
    case Operation::kReadSoftLink:
      return NumberKind::kLinkBuffer;
    case Operation::kLockRecord:
      return NumberKind::kTicks;
    default:
      return NumberKind::kFilesToMake;
  }
}

NumberKind PositionKindOf(Operation operation, std::size_t place) {
  if (operation != Operation::kLockRecord && operation != Operation::kUnLockRecord) {
    return NumberKind::kOffset;
  }
  return place == 1 ? NumberKind::kRecordStart : NumberKind::kRecordLength;
}

NumberKind NumberKindOf(Operation operation, std::size_t place) {
  switch (RowOf(operation).arguments[place]) {
    case Argument::kData:
      return NumberKind::kBytesToWrite;
    case Argument::kPosition:
      return PositionKindOf(operation, place);
    case Argument::kOpenMode:
      return NumberKind::kOpenMode;
    case Argument::kLockMode:
      return NumberKind::kLockMode;
    case Argument::kOffsetMode:
      return NumberKind::kOffsetMode;
    case Argument::kRecordMode:
      return NumberKind::kRecordMode;
    case Argument::kNotifyFlags:
      return NumberKind::kNotifyFlags;
    case Argument::kMask:
      return NumberKind::kMask;
    case Argument::kId:
      return operation == Operation::kWriteProtect ? NumberKind::kKey : NumberKind::kId;
    case Argument::kTag:
      return NumberKind::kTag;
    case Argument::kTruth:
      return NumberKind::kTruth;
    default:
      return CountKindOf(operation);
  }
}

bool IsMode(Argument argument) {
  return argument >= Argument::kOpenMode && argument <= Argument::kNotifyFlags;
}

/// `number` of that kind, or a small one for it.
std::int64_t SmallAmount(NumberKind kind, std::int64_t number) {
  constexpr std::int64_t kMostSmallBytes = 65537;
  constexpr std::int64_t kMostSmallFiles = 20;
  switch (kind) {
    case NumberKind::kBytesToRead:
    case NumberKind::kBytesToWrite:
      return number > kMostSmallBytes ? number & 0xFFFF : number;
    case NumberKind::kFilesToMake:
      return std::min(number, kMostSmallFiles);
    default:
      return number;
  }
}

/// A seek from the end is counted back, most of which are possible: what lies behind the end is refused.
void CountBack(Call& call) {
  const bool is_from_end =
      call.operation == Operation::kChangeFilePosition && call.number[2] == OFFSET_END;
  if (is_from_end && call.number[1] != std::numeric_limits<std::int64_t>::min()) {
    call.number[1] = -call.number[1];
  }
}

/// A date that a filesystem keeps which counts in so many ticks.
DateStamp DrawDate(std::span<const Choice> choices, std::int32_t date_ticks) {
  const auto number = [&](NumberKind kind, ChoiceUse use) {
    return static_cast<std::int32_t>(DrawNumber(kind, choices[use]));
  };
  DateStamp date{number(NumberKind::kDay, kNumberChoice),
                 number(NumberKind::kMinute, kSecondNumberChoice),
                 number(NumberKind::kTick, kModeChoice)};
  const bool is_time = date.ds_Minute >= 0 && date.ds_Minute < 24 * 60 && date.ds_Tick >= 0 &&
                       date.ds_Tick < 60 * TICKS_PER_SECOND;
  if (date_ticks > 1 && is_time) {
    std::int32_t ticks = date.ds_Minute * 60 * TICKS_PER_SECOND + date.ds_Tick;
    ticks -= ticks % date_ticks;
    date.ds_Minute = ticks / (60 * TICKS_PER_SECOND);
    date.ds_Tick = ticks % (60 * TICKS_PER_SECOND);
  }
  return date;
}

}  // namespace

/// Which numbers have an object; those of one kind are asked for once.
class Generator::HeldObjects {
 public:
  explicit HeldObjects(const Side& side) : side_(side) {}

  std::uint16_t Of(Argument kind) {
    if (kind != kind_) {
      kind_ = kind;
      bits_ = side_.Held(kind);
    }
    return bits_;
  }

 private:
  const Side& side_;
  Argument kind_ = Argument::kNone;
  std::uint16_t bits_ = 0;
};

Generator::Generator(const Traits& traits, bool whole_volume, Amounts amounts)
    : traits_(traits),
      whole_volume_(whole_volume),
      amounts_(amounts),
      rules_(RulesOf(traits, whole_volume)),
      operations_(OperationShares(traits, whole_volume)) {
  for (const OperationRow& row : Operations()) {
    const auto object = std::find_if(row.arguments.begin(), row.arguments.end(),
                                     [](Argument argument) { return IsObject(argument); });
    const bool needs_one = object != row.arguments.end() && !IsPlainWithoutLock(row.operation);
    first_objects_[static_cast<std::size_t>(row.operation)] = needs_one ? *object : Argument::kNone;
  }
}

void Generator::Next(std::span<const Choice> choices, Side& reference, Call& call) {
  HeldObjects held(reference);
  call.operation = DrawOperation(choices, held);
  call.result = 0;
  call.number = {};
  for (std::string& text : call.text) text.clear();
  call.date = {};
  call.pattern = 0;
  std::copy_n(choices.begin(), kChoicesPerCall, outright_.begin());
  DrawArguments(choices, reference, held, call);
  CountBack(call);
  const Result result = RowOf(call.operation).result;
  if (IsObject(result)) {
    const std::uint32_t taken = held.Of(KindOf(result)) | 1U;
    const int lowest = std::countr_one(taken);
    call.result = static_cast<std::uint8_t>(lowest <= kMostObjects ? lowest : 0);
  }
}

Operation Generator::DrawOperation(std::span<const Choice> choices, HeldObjects& held) const {
  const std::size_t drawn = operations_.Draw(choices[kOperationChoice]).row;
  const auto operation = static_cast<Operation>(drawn);
  const Argument kind = first_objects_[drawn];
  if (kind == Argument::kNone || held.Of(kind) != 0) return operation;
  // One is needed first.
  const Operation maker = MakerOf(kind);
  return StandsForNone(choices[kObjectChoice]) || !traits_.Knows(maker) ? operation : maker;
}

bool Generator::IsOutOfReach(const Call& call, std::uint8_t lock, Side& reference) const {
  DosInterface& dos = reference.dos();
  if (call.operation == Operation::kParentDir && !whole_volume_) {
    return dos.SameLock(reference.LockOf(lock), reference.base()) == LOCK_SAME;
  }
  if (call.operation == Operation::kMakeHardLink && !traits_.links_to_directories && lock != 0) {
    const ExamineData* const record = dos.ExamineObject(EX_LockInput, reference.LockOf(lock));
    const bool is_directory =
        record != nullptr && (record->Type & FSO_TYPE_MASK) == FSO_TYPE_DIRECTORY;
    dos.FreeDosObject(DOS_EXAMINEDATA, record);
    return is_directory;
  }
  return false;
}

bool Generator::DrawRecent(Choice choice, bool may_be_root, std::string& name) const {
  if (choice < kRecentNames || recent_count_ == 0) return false;
  const std::size_t known = std::min(recent_count_, recent_.size());
  const std::size_t back = (choice - kRecentNames) * known / (0x10000U - kRecentNames);
  const std::string& recent = recent_[(recent_count_ - 1 - back) % recent_.size()];
  // Which of these lead to the root is not known.
  const bool may_lead_there = recent.empty() || recent.back() == '/' || recent.back() == ':';
  if (may_lead_there && !may_be_root) return false;
  name = recent;
  return true;
}

void Generator::Remember(const std::string& name) {
  recent_[recent_count_++ % recent_.size()] = name;
}

void Generator::DrawArguments(std::span<const Choice> choices, Side& reference, HeldObjects& held,
                              Call& call) {
  constexpr std::array kNumberUses{kNumberChoice, kSecondNumberChoice, kThirdNumberChoice};
  constexpr std::array kTextUses{kNameChoice, kSecondChoice};
  constexpr std::array kObjectUses{kObjectChoice, kSecondChoice};
  std::size_t numbers = 0;
  std::size_t texts = 0;
  std::size_t objects = 0;
  const Operation operation = call.operation;
  const auto& arguments = RowOf(operation).arguments;
  for (std::size_t place = 0; place != arguments.size(); ++place) {
    const Argument argument = arguments[place];
    if (argument == Argument::kNone) break;
    if (IsWord(argument)) continue;
    if (argument == Argument::kName || argument == Argument::kText) {
      NameRules rules = rules_;
      // What a link leads to may have an attribute set, too.
      rules.may_be_root = traits_.root_attributes ||
                          !(SetsAttribute(operation) || operation == Operation::kMakeSoftLink);
      const ChoiceUse use = kTextUses[texts];
      const Choice choice = choices[use];
      std::string& text = call.text[texts++];
      if (argument == Argument::kText) {
        DrawName(NameKindOf(operation, argument), choice, rules, text);
      } else if (const NameKind kind = NameKindOf(operation, argument);
                 DrawRecent(choice, rules.may_be_root, text)) {
        if (const auto first = ChoiceOf(kind, text)) outright_[use] = Narrowed(*first);
      } else {
        DrawName(kind, Spread(choice), rules, text);
        Remember(text);
      }
    } else if (IsObject(argument)) {
      const Choice choice = choices[kObjectUses[objects++]];
      const std::uint8_t number = IsPlainWithoutLock(operation)
                                      ? DrawLockOrNone(held.Of(argument), choice)
                                      : DrawObject(held.Of(argument), choice);
      if (argument == Argument::kLock && IsOutOfReach(call, number, reference)) {
        // Every filesystem does that with a lock, and it changes nothing.
        call.operation = Operation::kDupLock;
        call.text[0].clear();
        call.number = {};
        call.number[0] = number;
        return;
      }
      call.number[place] = number;
    } else if (argument == Argument::kDate) {
      call.date = DrawDate(choices, traits_.date_ticks);
    } else {
      const ChoiceUse use = IsMode(argument) ? kModeChoice : kNumberUses[numbers++];
      call.number[place] = DrawFor(call, place, choices[use]);
      if (argument == Argument::kData) {
        call.pattern = static_cast<std::uint32_t>(
            DrawNumber(NumberKind::kPattern, choices[kSecondNumberChoice]));
      }
    }
  }
}

std::int64_t Generator::DrawFor(const Call& call, std::size_t place, Choice choice) const {
  const NumberKind kind = NumberKindOf(call.operation, place);
  const std::int64_t drawn = DrawNumber(kind, choice);
  const std::int64_t number = amounts_ == Amounts::kSmall ? SmallAmount(kind, drawn) : drawn;
  switch (call.operation) {
    case Operation::kSetProtection:
      return number & traits_.protection;
    case Operation::kSetOwner:
      return number & traits_.owner;
    case Operation::kSetGroup:
      return number & traits_.group;
    case Operation::kLockRecord:
    case Operation::kUnLockRecord:
      return std::abs(number) > traits_.size_limit ? number & 0xFFFF : number;
    case Operation::kChangeFileSize:
      // A file that grows by as much a few times stays below the limit.
      return kind == NumberKind::kOffset && number > traits_.size_limit / 64 ? number & 0xFFFF
                                                                             : number;
    default:
      return number;
  }
}

}  // namespace quorle::explore
