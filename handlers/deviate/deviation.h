#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "quorle/handler.h"

namespace quorle::deviate {

/// The functions of the vector table that can be made to misbehave.
enum class Op : std::uint8_t {
  kLock,
  kDupLock,
  kCreateDir,
  kParentDir,
  kDupLockFromFH,
  kOpenFromLock,
  kParentOfFH,
  kOpen,
  kClose,
  kDelete,
  kRead,
  kWrite,
  kChangeFilePosition,
  kChangeFileSize,
  kGetFilePosition,
  kGetFileSize,
  kChangeLockMode,
  kChangeFileMode,
  kSetDate,
  kSetProtection,
  kSetComment,
  kSetGroup,
  kSetOwner,
  kRename,
  kCreateSoftLink,
  kCreateHardLink,
  kReadSoftLink,
  kSameLock,
  kFileSystemAttr,
  kDeviceInfoData,
  kExamineObj,
  kExamineLock,
  kExamineFile,
  kWriteProtect,
  kRelabel,
  kSameFile,
  kExamineDir,
  kVolumeInfoData,
  kAddNotify,
  kRemoveNotify,
  kFlush,
  kInhibit,
  kFormat,
  kSerialize,
  kLockRecord,
  kUnLockRecord,
};

/// What the object of a call is, as bits. The object is what the first name, the lock or the handle
/// refers to before the call is made.
enum ObjectKind : std::uint32_t {
  kFile = 1,
  kDirectory = 2,  ///< any but the root
  kRoot = 4,
  kSoftLink = 8,
  kHardLink = 16,  ///< beside kFile or kDirectory: it has more than one name
  kMissing = 32,
};

/// A state of things that a rule may ask for beside the call's own arguments.
enum class State : std::uint8_t {
  kAny,
  kSameMode,         ///< the lock is in the mode asked for already
  kGrows,            ///< ChangeFileSize(): the file becomes larger
  kShrinks,          ///< ChangeFileSize(): the file becomes smaller
  kAtEnd,            ///< the handle's position is the end of the file
  kReadProtected,    ///< the object's R bit denies
  kWriteProtected,   ///< the object's W bit denies
  kInUse,            ///< an exclusive lock on the object would be refused
  kLocked,           ///< there is another lock on the object
  kChanged,          ///< something was deleted since the volume was mounted
  kRelativeToFile,   ///< an empty name relative to a lock on a file
  kExclusiveHandle,  ///< the handle was opened in MODE_NEWFILE
  kFileTarget,       ///< what a new link leads to is a file
};

/// When a rule applies. All that is given must fit.
struct When {
  std::uint32_t kinds = 0;  ///< ObjectKind bits, one of which must fit; 0: any
  std::optional<std::int32_t> mode =
      std::nullopt;  ///< of a lock, an open, a seek; or the state of a write protection
  /// 0: the call succeeds; else it fails with this code. Without it the effect comes before the call.
  std::optional<std::int32_t> code = std::nullopt;
  State state = State::kAny;
};

enum class Effect : std::uint8_t {
  kNone,  ///< ends a list of rules
  // In place of the call, or after it when the rule has a code.
  kRefuse,   ///< fails with the error code `number`; what was made is not undone
  kGrant,    ///< succeeds; what comes back stands for another object, or for nothing
  kReturn,   ///< gives `number` back, with the error code `extra`
  kReplace,  ///< made after the object of that name was deleted
  kFollow,   ///< made on what the soft link leads to
  // Before the call: other arguments.
  kMode,       ///< the mode is `number`
  kMask,       ///< the number is cut to the bits of `number`
  kLatestDay,  ///< a day after `number` becomes that day
  kClip,       ///< the text is cut to `number` bytes
  kAppend,     ///< the position is moved to the end first
  // After the call.
  kForce,        ///< made once more, with the protection that hindered it lifted meanwhile
  kModeInstead,  ///< made once more, with the mode `number`
  kCode,         ///< the error code alone becomes `number`, whatever the result
  kAdd,          ///< `number` is added to the result
  kField,        ///< a field of the record that comes back is changed
  kHold,         ///< the lock on a directory, or the handle, that comes back has the mode `number`
  kKeepArchive,  ///< the object's archive bit stays as it was
  kKeepDate,     ///< the object's date stays as it was
  kKeepParent,   ///< archive bit and date of its directory stay as they were
  kProtect,      ///< the object's protection becomes `number`
  kKeepProtection,  ///< the object's protection stays as it was
  kComment,         ///< the object gets a comment
  kOwn,             ///< the object gets the owner and group `number`
  kKeepData,        ///< what the emptied file held is there again
  kMovePosition,    ///< the position of the handle becomes `number`; -1: the end
  kKeepPosition,    ///< GetFilePosition() gives the one before the call, until the next move
};

/// Whether the effect answers the call, whether it is made or not.
constexpr bool IsAnswer(Effect effect) {
  return effect >= Effect::kRefuse && effect <= Effect::kFollow;
}

/// Whether it changes the arguments of the call.
constexpr bool ChangesArguments(Effect effect) {
  return effect >= Effect::kMode && effect <= Effect::kAppend;
}

/// Whether it changes the object of the call, or the directory that the object is in.
constexpr bool ChangesObject(Effect effect) {
  return effect >= Effect::kKeepArchive && effect <= Effect::kOwn;
}

/// What a kField effect changes; set to `number` unless the comment says otherwise.
enum class Field : std::uint8_t {
  kNone,
  kType,
  kFileSize,
  kDays,
  kRefCount,
  kObjectID,
  kName,     ///< becomes "?"
  kComment,  ///< becomes "?"
  kProtection,
  kOwner,
  kOwnerHigh,  ///< the upper half is filled with ones
  kGroup,
  kGroupHigh,  ///< the upper half is filled with ones
  kDiskState,
};

struct Rule {
  Op op = Op::kLock;
  When when;
  Effect effect = Effect::kNone;
  std::int64_t number = 0;
  std::int32_t extra = 0;
  Field field = Field::kNone;
};

/// A test group that notices a deviation.
struct Notice {
  std::uint8_t test = 0;          ///< number of the row; 0 ends the list
  std::string_view because = {};  ///< empty for a group that is there to notice it
};

/// One way to misbehave.
struct Deviation {
  static constexpr std::size_t kMostNotices = 8;
  static constexpr std::size_t kMostRules = 4;

  std::string_view name;
  std::string_view does;  ///< what the filesystem does wrong, a sentence without its subject
  std::array<Notice, kMostNotices> noticed_by;
  std::array<Rule, kMostRules> rules;
  /// Why groups that are not listed notice it as well; empty: none does.
  std::string_view elsewhere;

  std::span<const Notice> Notices() const;
  std::span<const Rule> Rules() const;
};

/// All of them, in the order of the tests that notice them.
std::span<const Deviation> Deviations();

/// The one of that name, or null.
const Deviation* FindDeviation(std::string_view name);

}  // namespace quorle::deviate
