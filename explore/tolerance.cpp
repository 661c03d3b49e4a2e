#include "explore/tolerance.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>

#include "explore/value_text.h"
#include "platform/constants.h"

namespace quorle::explore {
namespace {

/// The names that a call gives, as far as they are paths.
std::span<const std::string> NamesOf(const Call& call) {
  std::size_t count = 0;
  for (const Argument argument : RowOf(call.operation).Arguments()) {
    if (argument == Argument::kName) ++count;
  }
  return {call.text.data(), count};
}

/// What the reference says of the object of a name; none when it is not there.
std::optional<ExamineData> ObjectOf(Side& side, const std::string& name) {
  std::int32_t code = 0;
  const ExamineData* const record = side.Look(name.c_str(), code);
  return record == nullptr ? std::nullopt : std::optional<ExamineData>(*record);
}

bool IsMissing(Side& side, const std::string& name) {
  std::int32_t code = 0;
  return side.Look(name.c_str(), code) == nullptr && code != ERROR_OBJECT_IN_USE;
}

/// Whether a part of the path before its last is a file, or any part a soft link, which may lead through one.
bool LeadsThroughFile(Side& side, const std::string& name) {
  const auto is = [&](const std::string& path, std::uint32_t type) {
    const auto object = ObjectOf(side, path);
    return object && (object->Type & FSO_TYPE_MASK) == type;
  };
  if (is(name, FSO_TYPE_SOFTLINK)) return true;
  for (std::size_t slash = name.find('/'); slash != std::string::npos;
       slash = name.find('/', slash + 1)) {
    const std::string part = name.substr(0, slash);
    if (is(part, FSO_TYPE_FILE) || is(part, FSO_TYPE_SOFTLINK)) return true;
  }
  // Relative to a lock on a file every name leads through it.
  return is(std::string(), FSO_TYPE_FILE);
}

/// The same of a name that is relative to a lock of its call.
bool IsRelativeToFile(Side& side, const Call& call) {
  if (call.operation != Operation::kReadSoftLink) return false;
  std::int32_t code = 0;
  const auto number = static_cast<std::uint8_t>(call.number[0]);
  if (call.number[0] <= 0 || call.number[0] > kMostObjects) return false;
  const ExamineData* const here = side.LookAt(Argument::kLock, number, code);
  return here != nullptr && (here->Type & FSO_TYPE_MASK) == FSO_TYPE_FILE;
}

bool HasBits(Side& side, const Call& call, std::uint32_t bits) {
  const auto names = NamesOf(call);
  return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
    const auto object = ObjectOf(side, name);
    return object && (object->Protection & bits) != 0;
  });
}

bool IsProtected(Side& side) {
  InfoData info{};
  return side.dos().GetDiskInfo(side.device().c_str(), info) &&
         info.id_DiskState == ID_DISKSTATE_WRITE_PROTECTED;
}

/// Whether somebody holds the object: of a file a lock finds that out, of a directory what is held does, where
/// every scan is taken for one of it.
bool IsHeld(Side& side, const std::string& name) {
  const auto object = ObjectOf(side, name);
  if (!object) return false;
  if ((object->Type & FSO_TYPE_MASK) == FSO_TYPE_DIRECTORY) {
    if (side.Held(Argument::kScan) != 0) return true;
    for (std::uint8_t number = 1; number <= kMostObjects; ++number) {
      std::int32_t code = 0;
      const ExamineData* const held = side.LookAt(Argument::kLock, number, code);
      if (held != nullptr && held->ObjectID == object->ObjectID) return true;
    }
    return false;
  }
  const LockHandle lock = side.dos().Lock(name.c_str(), EXCLUSIVE_LOCK);
  const bool held = !lock && side.dos().IoErr() == ERROR_OBJECT_IN_USE;
  side.dos().UnLock(lock);
  return held;
}

/// Bytes of a name or a text; more are refused before anything else is looked at, or after it.
constexpr std::size_t kMostOfPacket = 255;

/// Whether a mode of the call is none of those that there are.
bool HasUnknownMode(const Call& call) {
  const std::span<const Argument> arguments = RowOf(call.operation).Arguments();
  for (std::size_t i = 0; i != arguments.size(); ++i) {
    const bool is_mode = arguments[i] == Argument::kOpenMode ||
                         arguments[i] == Argument::kLockMode ||
                         arguments[i] == Argument::kOffsetMode;
    if (!is_mode) continue;
    const std::span<const Word> words = WordsOf(arguments[i]).words;
    if (std::none_of(words.begin(), words.end(),
                     [&](const Word& word) { return word.value == call.number[i]; })) {
      return true;
    }
  }
  return false;
}

/// Whether a position or a length is one that older packets cannot carry.
bool HasWideNumber(const Call& call) {
  const std::span<const Argument> arguments = RowOf(call.operation).Arguments();
  for (std::size_t i = 0; i != arguments.size(); ++i) {
    const std::int64_t number = call.number[i];
    if (arguments[i] == Argument::kPosition && (number > INT32_MAX || number < INT32_MIN))
      return true;
  }
  return false;
}

/// Whether `code` is a reason for which `call` has to be refused, beside that of the reference.
bool IsReason(const Call& call, std::int32_t code, Side& side) {
  const auto names = NamesOf(call);
  const auto any = [&](auto holds) { return std::any_of(names.begin(), names.end(), holds); };
  switch (code) {
    case ERROR_OBJECT_NOT_FOUND:
      return any([&](const std::string& name) { return IsMissing(side, name); });
    case ERROR_OBJECT_EXISTS:
      return !names.empty() && ObjectOf(side, names.back()).has_value() &&
             (names.size() == 2 || call.operation != Operation::kDelete);
    case ERROR_OBJECT_IN_USE:
      return any([&](const std::string& name) { return IsHeld(side, name); });
    case ERROR_DELETE_PROTECTED:
      return HasBits(side, call, EXDF_NO_DELETE);
    case ERROR_WRITE_PROTECTED:
      return HasBits(side, call, EXDF_NO_WRITE);
    case ERROR_READ_PROTECTED:
      return HasBits(side, call, EXDF_NO_READ);
    case ERROR_DISK_WRITE_PROTECTED:
      return IsProtected(side);
    case ERROR_DIRECTORY_NOT_EMPTY:
      return call.operation == Operation::kDelete;
    case ERROR_BAD_NUMBER:
      return HasUnknownMode(call);
    case ERROR_COMMENT_TOO_BIG:
      return call.operation == Operation::kSetComment && call.text[1].size() > kMostOfPacket;
    case ERROR_LINE_TOO_LONG:
    case ERROR_INVALID_COMPONENT_NAME:
      return std::any_of(call.text.begin(), call.text.end(),
                         [](const std::string& text) { return text.size() > kMostOfPacket; });
    case ERROR_OBJECT_TOO_LARGE:
      return HasWideNumber(call);
    case ERROR_OBJECT_WRONG_TYPE:
      return any([&](const std::string& name) { return LeadsThroughFile(side, name); });
    default:
      return false;
  }
}

/// Whether a scan that was at its end may say so again, whatever else there is to say. Of a scan that none can
/// be made of nobody has come to the end.
bool IsEndedScan(const Call& call, std::int32_t reference, std::int32_t device) {
  return call.operation == Operation::kExamineDir && device == ERROR_NO_MORE_ENTRIES &&
         reference != ERROR_OBJECT_WRONG_TYPE;
}

constexpr auto kTolerances = std::to_array<Tolerance>({
    {"code-order",
     "several reasons to refuse a call hold, and nothing says which of them is found first",
     [](const Call& call, std::int32_t reference, std::int32_t device, Side& side) {
       return IsReason(call, device, side) || IsEndedScan(call, reference, device);
     }},
    {"through-file",
     "a name that leads through a file is not there (205), or is no directory (212)",
     [](const Call& call, std::int32_t reference, std::int32_t device, Side& side) {
       const auto is_one = [](std::int32_t code) {
         return code == ERROR_OBJECT_NOT_FOUND || code == ERROR_OBJECT_WRONG_TYPE;
       };
       const auto names = NamesOf(call);
       if (!is_one(reference) || !is_one(device)) return false;
       return IsRelativeToFile(side, call) ||
              std::any_of(names.begin(), names.end(),
                          [&](const std::string& name) { return LeadsThroughFile(side, name); });
     }},
    // Notes instead of differences: IsOpenCode(), Judge.
    {"open-code", "no rule names the code of this refusal: another one is a note"},
    {"own-notification",
     "dos watches a volume that cannot, and sees what this program does by names alone: a message more or "
     "less is a note"},
    // Scans: ScanWatch.
    {"scan-order", "the entries of a directory come in any order"},
    {"scan-ahead",
     "what was made, changed or deleted during a scan comes as it was, as it is, or not at all"},
    // Records: Traits, Comparison.
    {"date-grain", "dates are as fine as the filesystem keeps them"},
    {"own-clock",
     "what the filesystem dates by a clock of its own is dated between the beginning and the end of the call"},
    {"kept-bits", "of a protection 8 bits are kept, of an owner and a group those that there are"},
    {"object-numbers", "objects have numbers in all records, or in none"},
    {"link-counts",
     "links are counted in all records, or in none; where a hard link is one name among others, it counts them"},
    {"link-targets", "what a link leads to is in the records of scans, or is not"},
    // What is not used: Traits, Generator.
    {"limits",
     "names, comments, what is in soft links, and files end where the filesystem says so"},
    {"missing-operations", "what is answered with 209 or 236 at the start is not called"},
    {"directory-links", "hard links to directories are not made where there are none"},
    {"root-attributes", "the attributes of the root are not changed where they are not kept"},
    {"held-objects",
     "what is held exclusively is not examined by its name where the filesystem locks it for that"},
    {"volume-counts",
     "users and blocks are compared where they are the same again after a file was made and deleted"},
    // Calls of a device that is full: Judge.
    {"disk-full",
     "a call is refused for want of room (221) where fewer blocks are free than it can need, and 64 more"},
    {"grown-files", "sizes are not changed where what a file grows by is not filled with zeros"},
});

}  // namespace

std::span<const Tolerance> Tolerances() {
  return kTolerances;
}

bool IsTolerated(const Call& call, std::int32_t reference, std::int32_t device, Side& side) {
  return std::any_of(kTolerances.begin(), kTolerances.end(), [&](const Tolerance& tolerance) {
    return tolerance.allows != nullptr && tolerance.allows(call, reference, device, side);
  });
}

bool IsOpenCode(const Call& call, std::int32_t reference) {
  // That of a buffer that is too small is named.
  if (call.operation == Operation::kReadSoftLink) return false;
  switch (reference) {
    case ERROR_BAD_NUMBER:
    case ERROR_REQUIRED_ARG_MISSING:
    case ERROR_LINE_TOO_LONG:
    case ERROR_INVALID_COMPONENT_NAME:
    case ERROR_INVALID_LOCK:
      return true;
    default:
      return false;
  }
}

}  // namespace quorle::explore
