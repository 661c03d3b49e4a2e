#include <algorithm>
#include <cstdio>
#include <string>

#include "handlers/deviate/misbehaviour.h"

/// The effects of rules: the part of Misbehaviour that changes arguments, answers and objects.
namespace quorle::deviate {
namespace {

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
      original_.Invoke({.op = Op::kChangeFilePosition, .file = call.file, .mode = OFFSET_END});
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
      call = original_.Invoke(call);
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
      return RestoreData(call, before.data);
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
  const Location& place = *before.place;
  // By handle or lock the object is at its place too; a new one is there only now.
  const Call object{.op = Op::kExamineObj, .rel = place.directory(), .name = place.name()};
  const auto protect = [&](const Call& what, std::uint32_t mask) {
    original_.Invoke(
        {.op = Op::kSetProtection, .rel = what.rel, .name = what.name, .number = mask});
  };
  const auto date = [&](const Call& what, const ::DateStamp& stamp) {
    original_.Invoke({.op = Op::kSetDate, .rel = what.rel, .name = what.name, .date = stamp});
  };
  switch (rule.effect) {
    case Effect::kKeepArchive:
      return protect(object, StateOf(original_, object).protection |
                                 (before.object.protection & EXDF_ARCHIVE));
    case Effect::kKeepDate:
      return date(object, before.object.date);
    case Effect::kKeepParent: {
      const Call directory{.op = Op::kExamineObj, .rel = place.directory(), .name = ""};
      date(directory, before.directory.date);
      return protect(directory, before.directory.protection);
    }
    case Effect::kProtect:
      return protect(object, static_cast<std::uint32_t>(rule.number));
    case Effect::kKeepProtection:
      return protect(object, before.object.protection);
    case Effect::kComment:
      original_.Invoke({.op = Op::kSetComment,
                        .rel = place.directory(),
                        .name = place.name(),
                        .text = "left over"});
      return;
    default:
      for (const Op op : {Op::kSetOwner, Op::kSetGroup}) {
        original_.Invoke(
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
          original_
              .Invoke({.op = Op::kLock, .rel = call.rel, .name = call.name, .mode = SHARED_LOCK})
              .given_lock;
    }
    if (call.given_lock == nullptr) {
      call.given_lock = original_.Invoke({.op = Op::kDupLock}).given_lock;
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
  original_.Invoke({.op = Op::kSetProtection, .rel = call.rel, .name = call.name, .number = 0});
  if (call.op == Op::kRename) {
    original_.Invoke({.op = Op::kDelete, .rel = call.other, .name = call.text});
  } else {
    original_.Invoke({.op = Op::kDelete, .rel = call.rel, .name = call.name});
  }
  call = original_.Invoke(call);
}

void Misbehaviour::Follow(Call& call) const {
  char target[256] = {};
  original_.Invoke({.op = Op::kReadSoftLink,
                    .rel = call.rel,
                    .name = call.name,
                    .number = sizeof target,
                    .buffer = target});
  Call followed = call;
  followed.name = LastPart(target);
  if (*followed.name == '\0') followed.rel = nullptr;
  followed = original_.Invoke(followed);
  call.result = followed.result;
  call.given_lock = followed.given_lock;
  call.record = followed.record;
  call.res2 = followed.res2;
}

void Misbehaviour::Force(Call& call, const Before& before) const {
  if (call.res2 == ERROR_DISK_WRITE_PROTECTED) {
    original_.Invoke({.op = Op::kWriteProtect, .mode = 0, .number = pass_key_});
    call = original_.Invoke(call);
    original_.Invoke({.op = Op::kWriteProtect, .mode = kTrue, .number = pass_key_});
    return;
  }
  const std::optional<Location> place = Location::Of(original_, call);
  if (!place) return;
  const auto protect = [&](std::uint32_t mask) {
    original_.Invoke({.op = Op::kSetProtection,
                      .rel = place->directory(),
                      .name = place->name(),
                      .number = mask});
  };
  protect(0);
  call = original_.Invoke(call);
  protect(before.object.protection);
}

void Misbehaviour::Hold(Call& call, std::int32_t mode) {
  if (Failed(call)) return;
  if (call.file != nullptr) {
    original_.Invoke({.op = Op::kChangeFileMode, .file = call.file, .mode = mode});
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
  if (Failed(original_.Invoke(open))) return {};
  std::string data(4096, '\0');
  const std::int64_t count = original_
                                 .Invoke({.op = Op::kRead,
                                          .file = &file,
                                          .number = static_cast<std::int64_t>(data.size()),
                                          .buffer = data.data()})
                                 .result;
  original_.Invoke({.op = Op::kClose, .file = &file});
  data.resize(static_cast<std::size_t>(std::max<std::int64_t>(count, 0)));
  return data;
}

void Misbehaviour::RestoreData(const Call& call, const std::string& data) const {
  if (Failed(call) || data.empty()) return;
  original_.Invoke({.op = Op::kWrite,
                    .file = call.file,
                    .number = static_cast<std::int64_t>(data.size()),
                    .data = data.data()});
  Move(call, 0);
}

void Misbehaviour::Move(const Call& call, std::int64_t position) const {
  if (Failed(call)) return;
  original_.Invoke({.op = Op::kChangeFilePosition,
                    .file = call.file,
                    .mode = position < 0 ? OFFSET_END : OFFSET_BEGINNING,
                    .number = std::max<std::int64_t>(position, 0)});
}

}  // namespace quorle::deviate
