#include "handlers/deviate/misbehaviour.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace quorle::deviate {
namespace {

constexpr std::int32_t kTrue = -1;

/// Whether the effect answers the call, whether it is made or not.
bool IsAnswer(Effect effect) {
  return effect >= Effect::kRefuse && effect <= Effect::kFollow;
}

bool ChangesArguments(Effect effect) {
  return effect >= Effect::kMode && effect <= Effect::kAppend;
}

bool ChangesObject(Effect effect) {
  return effect >= Effect::kKeepArchive && effect <= Effect::kOwn;
}

template <class Fits>
bool AnyOf(const std::vector<const Rule*>& rules, const Fits& fits) {
  return std::any_of(rules.begin(), rules.end(), [&fits](const Rule* rule) { return fits(*rule); });
}

void Fail(Call& call, std::int32_t code) {
  call.given_lock = nullptr;
  call.record = nullptr;
  call.result = GivesNumber(call.op) ? -1 : 0;
  call.res2 = code;
}

/// The part of a path after its last separator.
const char* LastPart(const char* path) {
  const char* part = path;
  for (const char* c = path; *c != '\0'; ++c) {
    if (*c == ':' || *c == '/') part = c + 1;
  }
  return part;
}

constexpr std::uint32_t kUpperHalf = 0xFFFF0000;

void ChangeRecord(const Rule& rule, ::ExamineData& record) {
  const auto word = static_cast<std::uint32_t>(rule.number);
  switch (rule.field) {
    case Field::kType:
      record.Type = word;
      break;
    case Field::kFileSize:
      record.FileSize = rule.number;
      break;
    case Field::kDays:
      record.Date.ds_Days = static_cast<std::int32_t>(rule.number);
      break;
    case Field::kRefCount:
      record.RefCount = word;
      break;
    case Field::kObjectID:
      record.ObjectID = word;
      break;
    case Field::kName:
      std::snprintf(record.Name, record.NameSize, "?");
      break;
    case Field::kComment:
      std::snprintf(record.Comment, record.CommentSize, "?");
      break;
    case Field::kProtection:
      record.Protection = word;
      break;
    case Field::kOwner:
      record.OwnerUID = word;
      break;
    case Field::kOwnerHigh:
      record.OwnerUID |= kUpperHalf;
      break;
    case Field::kGroup:
      record.OwnerGID = word;
      break;
    case Field::kGroupHigh:
      record.OwnerGID |= kUpperHalf;
      break;
    case Field::kNone:
    case Field::kDiskState:
      break;
  }
}

void ChangeField(const Rule& rule, Call& call) {
  if (call.record != nullptr) ChangeRecord(rule, *call.record);
  if (call.info != nullptr && rule.field == Field::kDiskState) {
    call.info->id_DiskState = static_cast<std::int32_t>(rule.number);
  }
}

}  // namespace

Misbehaviour::Misbehaviour(::FileSystemVectorPort& port, const ::HandlerServices& dos,
                           std::vector<std::span<const Rule>> rules)
    : original_(port, dos), rules_(std::move(rules)) {
  Divert(port, *this);
}

Misbehaviour::~Misbehaviour() {
  original_.port().FSV = original_.vectors();
}

void Misbehaviour::Intercept(Call& call) {
  if (AnswerForGhost(call) || RefuseForExclusive(call)) return;
  if (call.op == Op::kGetFilePosition) {
    if (const auto kept = kept_positions_.find(call.file); kept != kept_positions_.end()) {
      call.result = kept->second;
      return;
    }
  }
  const std::int32_t mode = call.mode;
  Obey(call, RulesFor(call.op));
  if (call.op == Op::kLock && IsHeldExclusively(call.given_lock)) {
    original_.UnLock(call.given_lock);
    Fail(call, ERROR_OBJECT_IN_USE);
  }
  NoteState(call, mode);
}

void Misbehaviour::InterceptUnLock(::Lock* lock) {
  locks_.erase(lock);
  if (exclusive_locks_.erase(lock) > 0) lock->fl_Access = SHARED_LOCK;
  original_.UnLock(lock);
}

// ---- Which rules apply -------------------------------------------------------------------------

Misbehaviour::RuleList Misbehaviour::RulesFor(Op op) const {
  RuleList list;
  for (const std::span<const Rule>& some : rules_) {
    for (const Rule& rule : some) {
      if (rule.op == op) list.push_back(&rule);
    }
  }
  return list;
}

Misbehaviour::Before Misbehaviour::LookAt(const Call& call, const RuleList& rules) const {
  Before before;
  if (AnyOf(rules, [](const Rule& rule) {
        return rule.when.kinds != 0 || rule.when.state != State::kAny ||
               rule.effect >= Effect::kForce;
      })) {
    before.facts = FactsOf(original_, call);
  }
  if (AnyOf(rules, [](const Rule& rule) { return ChangesObject(rule.effect); })) {
    before.place = Place::Of(original_, call);
    if (before.place) {
      before.directory =
          FactsOf(original_, {.op = Op::kExamineLock, .lock = before.place->directory()});
    }
  }
  if (AnyOf(rules, [](const Rule& rule) {
        return rule.effect == Effect::kKeepPosition || rule.when.state == State::kGrows ||
               rule.when.state == State::kShrinks || rule.when.state == State::kAtEnd;
      })) {
    before.position = original_.Made({.op = Op::kGetFilePosition, .file = call.file}).result;
  }
  if (AnyOf(rules, [](const Rule& rule) { return rule.effect == Effect::kKeepData; })) {
    before.data = DataOf(call);
  }
  return before;
}

void Misbehaviour::Obey(Call& call, const RuleList& rules) {
  const Before before = LookAt(call, rules);
  RuleList later;
  for (const Rule* const rule : rules) {
    if (!Fits(*rule, call, before)) continue;
    if (ChangesArguments(rule->effect)) {
      ChangeArguments(*rule, call);
    } else if (IsAnswer(rule->effect) && !rule->when.code) {
      return Answer(*rule, call);
    } else {
      later.push_back(rule);
    }
  }
  call = original_.Made(call);
  for (const Rule* const rule : later) {
    const std::int32_t code = Failed(call) ? call.res2 : 0;
    if (!rule->when.code || *rule->when.code == code) ActAfter(*rule, call, before);
  }
}

bool Misbehaviour::Fits(const Rule& rule, const Call& call, const Before& before) const {
  const When& when = rule.when;
  if (when.kinds != 0 && (when.kinds & before.facts.kinds) == 0) return false;
  if (when.mode && *when.mode != call.mode) return false;
  return IsState(when.state, call, before);
}

bool Misbehaviour::IsState(State state, const Call& call, const Before& before) const {
  // What a new size counts from.
  const std::int64_t base = call.mode == OFFSET_END       ? before.facts.size
                            : call.mode == OFFSET_CURRENT ? before.position
                                                          : 0;
  switch (state) {
    case State::kAny:
      return true;
    case State::kSameMode:
      return call.lock != nullptr && call.lock->fl_Access == call.mode;
    case State::kGrows:
      return base + call.number > before.facts.size;
    case State::kShrinks:
      return base + call.number < before.facts.size;
    case State::kAtEnd:
      return before.position == before.facts.size;
    case State::kReadProtected:
      return (before.facts.protection & EXDF_NO_READ) != 0;
    case State::kWriteProtected:
      return (before.facts.protection & EXDF_NO_WRITE) != 0;
    case State::kInUse: {
      const Call lock = original_.Made(
          {.op = Op::kLock, .rel = call.rel, .name = call.name, .mode = EXCLUSIVE_LOCK});
      original_.UnLock(lock.given_lock);
      return lock.given_lock == nullptr && lock.res2 == ERROR_OBJECT_IN_USE;
    }
    case State::kLocked:
      return IsLocked(call);
    case State::kChanged:
      return has_changed_;
    case State::kFileTarget:
      return (FactsOf(
                  original_,
                  call.text == nullptr
                      ? Call{.op = Op::kExamineLock, .lock = call.other}
                      : Call{.op = Op::kExamineObj, .rel = call.rel, .name = LastPart(call.text)})
                  .kinds &
              kFile) != 0;
    case State::kRelativeToFile:
      return call.name != nullptr && *call.name == '\0' && (before.facts.kinds & kFile) != 0;
    case State::kExclusiveHandle:
      return exclusive_files_.contains(call.file);
  }
  return false;
}

// ---- Effects -----------------------------------------------------------------------------------

void Misbehaviour::ChangeArguments(const Rule& rule, Call& call) {
  const auto number = static_cast<std::int32_t>(rule.number);
  switch (rule.effect) {
    case Effect::kMode:
      call.mode = number;
      break;
    case Effect::kMask:
      call.number &= rule.number;
      break;
    case Effect::kLatestDay:
      call.date.ds_Days = std::min(call.date.ds_Days, number);
      break;
    case Effect::kClip:
      clipped_ = std::string(call.text).substr(0, static_cast<std::size_t>(number));
      call.text = clipped_.c_str();
      break;
    case Effect::kAppend:
      original_.Made({.op = Op::kChangeFilePosition, .file = call.file, .mode = OFFSET_END});
      break;
    default:
      break;
  }
}

void Misbehaviour::Answer(const Rule& rule, Call& call) {
  switch (rule.effect) {
    case Effect::kRefuse:
      original_.UnLock(call.given_lock);
      original_.Free(call.record);
      return Fail(call, static_cast<std::int32_t>(rule.number));
    case Effect::kGrant:
      return Grant(call);
    case Effect::kReturn:
      call.result = rule.number;
      call.res2 = rule.extra;
      return;
    case Effect::kReplace:
      return Replace(call);
    default:
      return Follow(call);
  }
}

void Misbehaviour::ActAfter(const Rule& rule, Call& call, const Before& before) {
  if (IsAnswer(rule.effect)) return Answer(rule, call);
  if (ChangesObject(rule.effect)) return ChangeObject(rule, before);
  switch (rule.effect) {
    case Effect::kForce:
      return Force(call, before);
    case Effect::kModeInstead:
      call.mode = static_cast<std::int32_t>(rule.number);
      call = original_.Made(call);
      return;
    case Effect::kCode:
      call.res2 = static_cast<std::int32_t>(rule.number);
      return;
    case Effect::kAdd:
      call.result += rule.number;
      return;
    case Effect::kField:
      return ChangeField(rule, call);
    case Effect::kHold:
      return Hold(call, static_cast<std::int32_t>(rule.number));
    case Effect::kKeepData:
      return PutBack(call, before.data);
    case Effect::kMovePosition:
      return Move(call, rule.number);
    case Effect::kKeepPosition:
      kept_positions_[call.file] = before.position;
      return;
    default:
      return;
  }
}

void Misbehaviour::ChangeObject(const Rule& rule, const Before& before) const {
  if (!before.place) return;
  const Place& place = *before.place;
  // By handle or lock the object is at its place too; a new one is there only now.
  const Call object{.op = Op::kExamineObj, .rel = place.directory(), .name = place.name()};
  const auto protect = [&](const Call& what, std::uint32_t mask) {
    original_.Made({.op = Op::kSetProtection, .rel = what.rel, .name = what.name, .number = mask});
  };
  const auto date = [&](const Call& what, const ::DateStamp& stamp) {
    original_.Made({.op = Op::kSetDate, .rel = what.rel, .name = what.name, .date = stamp});
  };
  switch (rule.effect) {
    case Effect::kKeepArchive:
      return protect(
          object, FactsOf(original_, object).protection | (before.facts.protection & EXDF_ARCHIVE));
    case Effect::kKeepDate:
      return date(object, before.facts.date);
    case Effect::kKeepParent: {
      const Call directory{.op = Op::kExamineObj, .rel = place.directory(), .name = ""};
      date(directory, before.directory.date);
      return protect(directory, before.directory.protection);
    }
    case Effect::kProtect:
      return protect(object, static_cast<std::uint32_t>(rule.number));
    case Effect::kKeepProtection:
      return protect(object, before.facts.protection);
    case Effect::kComment:
      original_.Made({.op = Op::kSetComment,
                      .rel = place.directory(),
                      .name = place.name(),
                      .text = "left over"});
      return;
    default:
      for (const Op op : {Op::kSetOwner, Op::kSetGroup}) {
        original_.Made(
            {.op = op, .rel = place.directory(), .name = place.name(), .number = rule.number});
      }
  }
}

void Misbehaviour::Grant(Call& call) {
  call.res2 = 0;
  if (GivesLock(call.op)) {
    if (call.given_lock != nullptr) return;
    // A shared lock on the same object where there can be one, else on the root.
    if (call.op == Op::kLock || call.op == Op::kCreateDir) {
      call.given_lock =
          original_.Made({.op = Op::kLock, .rel = call.rel, .name = call.name, .mode = SHARED_LOCK})
              .given_lock;
    }
    if (call.given_lock == nullptr) {
      call.given_lock = original_.Made({.op = Op::kDupLock}).given_lock;
    }
    return;
  }
  const bool was_made = !Failed(call) && call.result != 0;
  call.result = GivesNumber(call.op) ? call.number : kTrue;
  if (was_made || (call.op != Op::kOpen && call.op != Op::kOpenFromLock)) return;
  if (call.op == Op::kOpenFromLock) original_.UnLock(call.lock);
  ghosts_.insert(call.file);
}

void Misbehaviour::Replace(Call& call) const {
  original_.Made({.op = Op::kSetProtection, .rel = call.rel, .name = call.name, .number = 0});
  if (call.op == Op::kRename) {
    original_.Made({.op = Op::kDelete, .rel = call.other, .name = call.text});
  } else {
    original_.Made({.op = Op::kDelete, .rel = call.rel, .name = call.name});
  }
  call = original_.Made(call);
}

void Misbehaviour::Follow(Call& call) const {
  char target[256] = {};
  original_.Made({.op = Op::kReadSoftLink,
                  .rel = call.rel,
                  .name = call.name,
                  .number = sizeof target,
                  .buffer = target});
  Call followed = call;
  followed.name = LastPart(target);
  if (*followed.name == '\0') followed.rel = nullptr;
  followed = original_.Made(followed);
  call.result = followed.result;
  call.given_lock = followed.given_lock;
  call.record = followed.record;
  call.res2 = followed.res2;
}

void Misbehaviour::Force(Call& call, const Before& before) const {
  if (call.res2 == ERROR_DISK_WRITE_PROTECTED) {
    original_.Made({.op = Op::kWriteProtect, .mode = 0, .number = pass_key_});
    call = original_.Made(call);
    original_.Made({.op = Op::kWriteProtect, .mode = kTrue, .number = pass_key_});
    return;
  }
  const std::optional<Place> place = Place::Of(original_, call);
  if (!place) return;
  const auto protect = [&](std::uint32_t mask) {
    original_.Made({.op = Op::kSetProtection,
                    .rel = place->directory(),
                    .name = place->name(),
                    .number = mask});
  };
  protect(0);
  call = original_.Made(call);
  protect(before.facts.protection);
}

void Misbehaviour::Hold(Call& call, std::int32_t mode) {
  if (Failed(call)) return;
  if (call.file != nullptr) {
    original_.Made({.op = Op::kChangeFileMode, .file = call.file, .mode = mode});
  } else if (call.given_lock != nullptr && mode == EXCLUSIVE_LOCK) {
    call.given_lock->fl_Access = EXCLUSIVE_LOCK;
    exclusive_locks_.insert(call.given_lock);
  }
}

std::string Misbehaviour::DataOf(const Call& call) const {
  ::FileHandle file{};
  file.fh_MsgPort = &original_.port().MP;
  Call open = call;
  open.file = &file;
  open.mode = MODE_OLDFILE;
  if (Failed(original_.Made(open))) return {};
  std::string data(4096, '\0');
  const std::int64_t count = original_
                                 .Made({.op = Op::kRead,
                                        .file = &file,
                                        .number = static_cast<std::int64_t>(data.size()),
                                        .buffer = data.data()})
                                 .result;
  original_.Made({.op = Op::kClose, .file = &file});
  data.resize(static_cast<std::size_t>(std::max<std::int64_t>(count, 0)));
  return data;
}

void Misbehaviour::PutBack(const Call& call, const std::string& data) const {
  if (Failed(call) || data.empty()) return;
  original_.Made({.op = Op::kWrite,
                  .file = call.file,
                  .number = static_cast<std::int64_t>(data.size()),
                  .data = data.data()});
  Move(call, 0);
}

void Misbehaviour::Move(const Call& call, std::int64_t position) const {
  if (Failed(call)) return;
  original_.Made({.op = Op::kChangeFilePosition,
                  .file = call.file,
                  .mode = position < 0 ? OFFSET_END : OFFSET_BEGINNING,
                  .number = std::max<std::int64_t>(position, 0)});
}

// ---- What earlier calls left behind ------------------------------------------------------------

/// A handle that was opened in name only: nothing can be read from it, and it takes everything.
bool Misbehaviour::AnswerForGhost(Call& call) {
  if (call.file == nullptr || !ghosts_.contains(call.file)) return false;
  switch (call.op) {
    case Op::kClose:
      ghosts_.erase(call.file);
      call.result = kTrue;
      break;
    case Op::kWrite:
      call.result = call.number;
      break;
    case Op::kDupLockFromFH:
    case Op::kParentOfFH:
    case Op::kExamineFile:
      Fail(call, ERROR_OBJECT_WRONG_TYPE);
      break;
    default:
      call.result = GivesNumber(call.op) ? 0 : kTrue;
      break;
  }
  return true;
}

/// An exclusive lock on a directory: nobody else gets one.
bool Misbehaviour::RefuseForExclusive(Call& call) {
  if (call.op == Op::kChangeLockMode && exclusive_locks_.contains(call.lock)) {
    if (call.mode == SHARED_LOCK) {
      call.lock->fl_Access = SHARED_LOCK;
      exclusive_locks_.erase(call.lock);
    }
    call.result = kTrue;
    return true;
  }
  if (call.op == Op::kDupLock && exclusive_locks_.contains(call.lock)) {
    Fail(call, ERROR_OBJECT_IN_USE);
    return true;
  }
  return false;
}

bool Misbehaviour::IsHeldExclusively(::Lock* lock) const {
  return lock != nullptr && !exclusive_locks_.contains(lock) &&
         std::any_of(exclusive_locks_.begin(), exclusive_locks_.end(),
                     [&](::Lock* other) { return original_.AreSame(lock, other); });
}

bool Misbehaviour::IsLocked(const Call& call) const {
  ::Lock* const lock =
      original_.Made({.op = Op::kLock, .rel = call.rel, .name = call.name, .mode = SHARED_LOCK})
          .given_lock;
  const bool is_locked = std::any_of(locks_.begin(), locks_.end(),
                                     [&](::Lock* other) { return original_.AreSame(lock, other); });
  original_.UnLock(lock);
  return is_locked;
}

void Misbehaviour::NoteState(const Call& call, std::int32_t mode) {
  if (Failed(call)) return;
  if (call.given_lock != nullptr) locks_.insert(call.given_lock);
  switch (call.op) {
    case Op::kOpen:
      if (mode == MODE_NEWFILE) exclusive_files_.insert(call.file);
      break;
    case Op::kClose:
      exclusive_files_.erase(call.file);
      kept_positions_.erase(call.file);
      break;
    case Op::kChangeFilePosition:
    case Op::kWrite:
    case Op::kRead:
      kept_positions_.erase(call.file);
      break;
    case Op::kOpenFromLock:
      locks_.erase(call.lock);
      break;
    case Op::kDelete:
      has_changed_ = true;
      break;
    case Op::kWriteProtect:
      if (mode != 0) pass_key_ = static_cast<std::uint32_t>(call.number);
      break;
    default:
      break;
  }
}

}  // namespace quorle::deviate
