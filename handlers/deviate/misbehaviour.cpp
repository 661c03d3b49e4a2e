#include "handlers/deviate/misbehaviour.h"

#include <algorithm>
#include <utility>

namespace quorle::deviate {
namespace {

template <class Fits>
bool AnyOf(const std::vector<const Rule*>& rules, const Fits& fits) {
  return std::any_of(rules.begin(), rules.end(), [&fits](const Rule* rule) { return fits(*rule); });
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
  Apply(call, RulesFor(call.op));
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
    before.object = StateOf(original_, call);
  }
  if (AnyOf(rules, [](const Rule& rule) { return ChangesObject(rule.effect); })) {
    before.place = Location::Of(original_, call);
    if (before.place) {
      before.directory =
          StateOf(original_, {.op = Op::kExamineLock, .lock = before.place->directory()});
    }
  }
  if (AnyOf(rules, [](const Rule& rule) {
        return rule.effect == Effect::kKeepPosition || rule.when.state == State::kGrows ||
               rule.when.state == State::kShrinks || rule.when.state == State::kAtEnd;
      })) {
    before.position = original_.Invoke({.op = Op::kGetFilePosition, .file = call.file}).result;
  }
  if (AnyOf(rules, [](const Rule& rule) { return rule.effect == Effect::kKeepData; })) {
    before.data = DataOf(call);
  }
  return before;
}

void Misbehaviour::Apply(Call& call, const RuleList& rules) {
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
  call = original_.Invoke(call);
  for (const Rule* const rule : later) {
    const std::int32_t code = Failed(call) ? call.res2 : 0;
    if (!rule->when.code || *rule->when.code == code) ActAfter(*rule, call, before);
  }
}

bool Misbehaviour::Fits(const Rule& rule, const Call& call, const Before& before) const {
  const When& when = rule.when;
  if (when.kinds != 0 && (when.kinds & before.object.kinds) == 0) return false;
  if (when.mode && *when.mode != call.mode) return false;
  return IsState(when.state, call, before);
}

bool Misbehaviour::IsState(State state, const Call& call, const Before& before) const {
  // What a new size counts from.
  const std::int64_t base = call.mode == OFFSET_END       ? before.object.size
                            : call.mode == OFFSET_CURRENT ? before.position
                                                          : 0;
  switch (state) {
    case State::kAny:
      return true;
    case State::kSameMode:
      return call.lock != nullptr && call.lock->fl_Access == call.mode;
    case State::kGrows:
      return base + call.number > before.object.size;
    case State::kShrinks:
      return base + call.number < before.object.size;
    case State::kAtEnd:
      return before.position == before.object.size;
    case State::kReadProtected:
      return (before.object.protection & EXDF_NO_READ) != 0;
    case State::kWriteProtected:
      return (before.object.protection & EXDF_NO_WRITE) != 0;
    case State::kInUse: {
      const Call lock = original_.Invoke(
          {.op = Op::kLock, .rel = call.rel, .name = call.name, .mode = EXCLUSIVE_LOCK});
      original_.UnLock(lock.given_lock);
      return lock.given_lock == nullptr && lock.res2 == ERROR_OBJECT_IN_USE;
    }
    case State::kLocked:
      return IsLocked(call);
    case State::kChanged:
      return has_changed_;
    case State::kFileTarget:
      return (StateOf(
                  original_,
                  call.text == nullptr
                      ? Call{.op = Op::kExamineLock, .lock = call.other}
                      : Call{.op = Op::kExamineObj, .rel = call.rel, .name = LastPart(call.text)})
                  .kinds &
              kFile) != 0;
    case State::kRelativeToFile:
      return call.name != nullptr && *call.name == '\0' && (before.object.kinds & kFile) != 0;
    case State::kExclusiveHandle:
      return exclusive_files_.contains(call.file);
  }
  return false;
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
      original_.Invoke({.op = Op::kLock, .rel = call.rel, .name = call.name, .mode = SHARED_LOCK})
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
