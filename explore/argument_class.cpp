#include "explore/argument_class.h"

#include <algorithm>
#include <array>
#include <string>

#include "platform/constants.h"

namespace quorle::explore {
namespace {

using enum Argument;

/// Arguments that have the same classes.
enum class ClassSet : std::uint8_t {
  kNothing,
  kNames,
  kTexts,
  kLocks,
  kFiles,
  kScans,
  kRequests,
  kBytes,
  kBuffers,
  kManyFiles,
  kWaits,
  kOffsets,
  kRanges,
  kDates,
  kOpenModes,
  kLockModes,
  kOffsetModes,
  kRecordModes,
  kNotifications,
  kMasks,
  kIds,
  kTags,
  kTruths,
};

struct ClassRow {
  ClassSet set;
  std::string_view name;
  std::array<std::string_view, 9> classes;  ///< up to the first empty one
};

// The order of the classes is that of the functions below, which give an index.
constexpr auto kClassRows = std::to_array<ClassRow>({
    {ClassSet::kNothing, "", {"-"}},
    {ClassSet::kNames,
     "name",
     {"plain", "path", "empty", "root", "up", "too-long", "latin-1", "other-case"}},
    {ClassSet::kTexts, "text", {"plain", "empty", "path", "latin-1", "long", "too-long"}},
    {ClassSet::kLocks, "lock", {"none", "held"}},
    {ClassSet::kFiles, "file", {"none", "held"}},
    {ClassSet::kScans, "scan", {"none", "held"}},
    {ClassSet::kRequests, "request", {"none", "held"}},
    {ClassSet::kBytes,
     "bytes",
     {"negative", "0", "1-510", "511-513", "514-4094", "4095-4097", "4098-65534", "65535-65537",
      "more"}},
    {ClassSet::kBuffers, "buffer", {"negative", "0", "1-16", "more"}},
    {ClassSet::kManyFiles, "count", {"few", "many"}},
    {ClassSet::kWaits, "ticks", {"0", "more"}},
    {ClassSet::kOffsets,
     "position",
     {"0", "1-65537", "to-2g", "beyond-2g", "negative", "far-negative"}},
    {ClassSet::kRanges, "range", {"0", "1-65536", "beyond-2g", "negative"}},
    {ClassSet::kDates, "date", {"ordinary", "first", "leap", "after-2046", "impossible"}},
    {ClassSet::kOpenModes, "mode", {"new", "old", "read-write", "other"}},
    {ClassSet::kLockModes, "mode", {"shared", "exclusive", "other"}},
    {ClassSet::kOffsetModes, "mode", {"beginning", "current", "end", "other"}},
    {ClassSet::kRecordModes,
     "mode",
     {"exclusive", "exclusive-at-once", "shared", "shared-at-once", "other"}},
    {ClassSet::kNotifications, "flags", {"silent", "message", "at-once", "wait-reply", "signal"}},
    {ClassSet::kMasks,
     "mask",
     {"none", "no-delete", "no-execute", "no-write", "no-read", "archive", "several", "high"}},
    {ClassSet::kIds, "id", {"0", "16-bit", "32-bit"}},
    {ClassSet::kTags, "tag", {"name-length", "version", "dos-type", "other"}},
    {ClassSet::kTruths, "truth", {"FALSE", "TRUE"}},
});

constexpr bool IsEachSetInPlace() {
  for (std::size_t i = 0; i != kClassRows.size(); ++i) {
    if (static_cast<std::size_t>(kClassRows[i].set) != i) return false;
  }
  return kClassRows.size() == static_cast<std::size_t>(ClassSet::kTruths) + 1;
}
static_assert(IsEachSetInPlace(), "a row for each set, in their order");

ClassSet SetOfCounts(Operation operation) {
  if (operation == Operation::kRead) return ClassSet::kBytes;
  if (operation == Operation::kReadSoftLink) return ClassSet::kBuffers;
  return operation == Operation::kLockRecord ? ClassSet::kWaits : ClassSet::kManyFiles;
}

ClassSet SetOfPositions(Operation operation) {
  const bool is_record =
      operation == Operation::kLockRecord || operation == Operation::kUnLockRecord;
  return is_record ? ClassSet::kRanges : ClassSet::kOffsets;
}

ClassSet SetOf(Operation operation, std::uint8_t place) {
  switch (RowOf(operation).arguments[place]) {
    case kName:
      return ClassSet::kNames;
    case kText:
      return ClassSet::kTexts;
    case kLock:
      return ClassSet::kLocks;
    case kFile:
      return ClassSet::kFiles;
    case kScan:
      return ClassSet::kScans;
    case kRequest:
      return ClassSet::kRequests;
    case kData:
      return ClassSet::kBytes;
    case kDate:
      return ClassSet::kDates;
    case kCount:
      return SetOfCounts(operation);
    case kPosition:
      return SetOfPositions(operation);
    case kOpenMode:
      return ClassSet::kOpenModes;
    case kLockMode:
      return ClassSet::kLockModes;
    case kOffsetMode:
      return ClassSet::kOffsetModes;
    case kRecordMode:
      return ClassSet::kRecordModes;
    case kNotifyFlags:
      return ClassSet::kNotifications;
    case kMask:
      return ClassSet::kMasks;
    case kId:
      return ClassSet::kIds;
    case kTag:
      return ClassSet::kTags;
    case kTruth:
      return ClassSet::kTruths;
    default:
      return ClassSet::kNothing;
  }
}

/// Which of `values` a number is, and their count when it is none.
template <std::size_t kCount>
std::uint8_t IndexOf(std::int64_t number, const std::array<std::int64_t, kCount>& values) {
  return static_cast<std::uint8_t>(std::find(values.begin(), values.end(), number) -
                                   values.begin());
}

std::uint8_t NameClassOf(const std::string& name) {
  std::size_t component = 0;
  std::size_t longest = 0;
  bool has_slash = false;
  bool is_latin = false;
  bool is_other_case = false;
  for (const char c : name) {
    if (c == ':') return 3;
    if (c == '/') {
      if (component == 0) return 4;
      has_slash = true;
      component = 0;
      continue;
    }
    longest = std::max(longest, ++component);
    is_latin = is_latin || static_cast<unsigned char>(c) >= 0x80;
    is_other_case = is_other_case || (c >= 'A' && c <= 'Z');
  }
  if (name.empty()) return 2;
  if (longest > 255) return 5;
  if (is_latin) return 6;
  if (is_other_case) return 7;
  return has_slash ? 1 : 0;
}

std::uint8_t TextClassOf(const std::string& text, Operation operation) {
  const std::size_t most = operation == Operation::kMakeSoftLink ? 4000 : 255;
  if (text.empty()) return 1;
  if (text.size() > most) return 5;
  if (text.size() > 30) return 4;
  if (text.find_first_of(":/") != std::string::npos) return 2;
  const bool is_latin = std::any_of(text.begin(), text.end(),
                                    [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
  return is_latin ? 3 : 0;
}

std::uint8_t BytesClassOf(std::int64_t count) {
  constexpr std::array<std::int64_t, 8> kFirst{0, 1, 511, 514, 4095, 4098, 65535, 65538};
  return static_cast<std::uint8_t>(std::upper_bound(kFirst.begin(), kFirst.end(), count) -
                                   kFirst.begin());
}

std::uint8_t PositionClassOf(std::int64_t position) {
  constexpr std::int64_t kTwoGiB = std::int64_t{1} << 31;
  if (position < 0) return position < -kTwoGiB ? 5 : 4;
  if (position >= kTwoGiB) return 3;
  return position == 0 ? 0 : position <= 65537 ? 1 : 2;
}

std::uint8_t BufferClassOf(std::int64_t bytes) {
  if (bytes <= 0) return bytes < 0 ? 0 : 1;
  return bytes <= 16 ? 2 : 3;
}

std::uint8_t RangeClassOf(std::int64_t number) {
  if (number < 0) return 3;
  if (number == 0) return 0;
  return number <= 65536 ? 1 : 2;
}

std::uint8_t DateClassOf(const DateStamp& date) {
  const bool is_time = date.ds_Minute >= 0 && date.ds_Minute < 24 * 60 && date.ds_Tick >= 0 &&
                       date.ds_Tick < 60 * TICKS_PER_SECOND;
  if (!is_time || date.ds_Days < 0) return 4;
  // Seconds since 1978 that 31 bits hold.
  if (date.ds_Days > 24855) return 3;
  // 29 February of 2000 and of 2024.
  if (date.ds_Days == 8094 || date.ds_Days == 16860) return 2;
  return date.ds_Days == 0 ? 1 : 0;
}

std::uint8_t NotifyClassOf(std::int64_t flags) {
  if ((flags & NRF_WAIT_REPLY) != 0) return 3;
  if ((flags & NRF_NOTIFY_INITIAL) != 0) return 2;
  if ((flags & NRF_SEND_MESSAGE) != 0) return 1;
  return (flags & NRF_SEND_SIGNAL) != 0 ? 4 : 0;
}

std::uint8_t MaskClassOf(std::int64_t mask) {
  if (mask > 31) return 7;
  constexpr std::array<std::int64_t, 6> kClassedMasks{
      EXDF_DEFAULT, EXDF_NO_DELETE, EXDF_NO_EXECUTE, EXDF_NO_WRITE, EXDF_NO_READ, EXDF_ARCHIVE};
  return IndexOf(mask, kClassedMasks);
}

std::uint8_t IdClassOf(std::int64_t id) {
  if (id == 0) return 0;
  return id <= 0xFFFF ? 1 : 2;
}

constexpr std::array<std::int64_t, 3> kClassedOpenModes{MODE_NEWFILE, MODE_OLDFILE, MODE_READWRITE};
constexpr std::array<std::int64_t, 2> kClassedLockModes{SHARED_LOCK, EXCLUSIVE_LOCK};
constexpr std::array<std::int64_t, 3> kClassedOffsetModes{OFFSET_BEGINNING, OFFSET_CURRENT,
                                                          OFFSET_END};
constexpr std::array<std::int64_t, 4> kClassedRecordModes{REC_EXCLUSIVE, REC_EXCLUSIVE_IMMED,
                                                          REC_SHARED, REC_SHARED_IMMED};
constexpr std::array<std::int64_t, 3> kClassedTags{FSA_MaxFileNameLengthR, FSA_VersionNumberR,
                                                   FSA_DOSTypeR};

}  // namespace

ClassedArguments ClassedArgumentsOf(Operation operation) {
  ClassedArguments classed;
  const auto arguments = RowOf(operation).Arguments();
  for (std::size_t place = 0; place != arguments.size(); ++place) {
    if (!IsWord(arguments[place]))
      classed.place[classed.count++] = static_cast<std::uint8_t>(place);
  }
  if (classed.count == 0) classed.count = 1;
  return classed;
}

std::span<const std::string_view> ClassesOf(Operation operation, std::uint8_t place) {
  const auto& classes = kClassRows[static_cast<std::size_t>(SetOf(operation, place))].classes;
  const auto end = std::find(classes.begin(), classes.end(), std::string_view());
  return {classes.data(), static_cast<std::size_t>(end - classes.begin())};
}

std::string_view ClassedNameOf(Operation operation, std::uint8_t place) {
  return kClassRows[static_cast<std::size_t>(SetOf(operation, place))].name;
}

std::uint8_t ClassOf(const Call& call, std::uint8_t place) {
  const std::int64_t number = call.number[place];
  switch (SetOf(call.operation, place)) {
    case ClassSet::kNames: {
      // The first name stands before a second one, and before every text.
      const auto& arguments = RowOf(call.operation).arguments;
      const bool is_second = std::count(arguments.begin(), arguments.begin() + place, kName) != 0;
      return NameClassOf(call.text[is_second ? 1 : 0]);
    }
    case ClassSet::kTexts:
      return TextClassOf(call.text[place == 0 ? 0 : 1], call.operation);
    case ClassSet::kLocks:
    case ClassSet::kFiles:
    case ClassSet::kScans:
    case ClassSet::kRequests:
    case ClassSet::kWaits:
    case ClassSet::kTruths:
      return number != 0 ? 1 : 0;
    case ClassSet::kBytes:
      return BytesClassOf(number);
    case ClassSet::kBuffers:
      return BufferClassOf(number);
    case ClassSet::kManyFiles:
      return number > 20 ? 1 : 0;
    case ClassSet::kOffsets:
      return PositionClassOf(number);
    case ClassSet::kRanges:
      return RangeClassOf(number);
    case ClassSet::kDates:
      return DateClassOf(call.date);
    case ClassSet::kOpenModes:
      return IndexOf(number, kClassedOpenModes);
    case ClassSet::kLockModes:
      return IndexOf(number, kClassedLockModes);
    case ClassSet::kOffsetModes:
      return IndexOf(number, kClassedOffsetModes);
    case ClassSet::kRecordModes:
      return IndexOf(number, kClassedRecordModes);
    case ClassSet::kNotifications:
      return NotifyClassOf(number);
    case ClassSet::kMasks:
      return MaskClassOf(number);
    case ClassSet::kIds:
      return IdClassOf(number);
    case ClassSet::kTags:
      return IndexOf(number, kClassedTags);
    default:
      return 0;
  }
}

}  // namespace quorle::explore
