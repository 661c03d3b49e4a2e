#include "handlers/deviate/original.h"

#include <cstring>
#include <utility>

namespace quorle::deviate {
namespace {

/// Whether the call is about the object of an open file. OpenFromLock() is not: its file is still to
/// be opened.
bool IsByHandle(const Call& call) {
  return call.name == nullptr && call.file != nullptr && call.lock == nullptr;
}

/// The record of the object that `call` is about.
::ExamineData* Examine(const Original& original, const Call& call) {
  if (call.name != nullptr) {
    return original.Invoke({.op = Op::kExamineObj, .rel = call.rel, .name = call.name}).record;
  }
  if (IsByHandle(call)) {
    return original.Invoke({.op = Op::kExamineFile, .file = call.file}).record;
  }
  return original.Invoke({.op = Op::kExamineLock, .lock = call.lock}).record;
}

std::uint32_t KindOf(const ::ExamineData& record) {
  switch (record.Type & FSO_TYPE_MASK) {
    case FSO_TYPE_FILE:
      return kFile;
    case FSO_TYPE_DIRECTORY:
      return kDirectory;
    default:
      return kSoftLink;
  }
}

}  // namespace

const char* LastPart(const char* path) {
  const char* part = path;
  for (const char* c = path; *c != '\0'; ++c) {
    if (*c == ':' || *c == '/') part = c + 1;
  }
  return part;
}

class Original::OwnPrivate {
 public:
  explicit OwnPrivate(const Original& original)
      : place_(original.port_.FSV.DOSPrivate), mine_(place_) {
    place_ = original.vectors_.DOSPrivate;
  }
  ~OwnPrivate() { place_ = mine_; }
  OwnPrivate(const OwnPrivate&) = delete;
  OwnPrivate& operator=(const OwnPrivate&) = delete;

 private:
  void*& place_;
  void* mine_;
};

Call Original::Invoke(Call call) const {
  const OwnPrivate own_private(*this);
  Perform(vectors_, port_, call);
  return call;
}

void Original::UnLock(::Lock* lock) const {
  const OwnPrivate own_private(*this);
  std::int32_t res2 = 0;
  if (lock != nullptr && vectors_.FSUnLock != nullptr) vectors_.FSUnLock(&port_, &res2, lock);
}

bool Original::AreSame(::Lock* a, ::Lock* b) const {
  return Invoke({.op = Op::kSameLock, .lock = a, .other = b}).result != 0;
}

void Original::Free(::ExamineData* record) const {
  dos_.FreeDosObject(&dos_, QUORLE_DOS_EXAMINEDATA, record);
}

std::optional<Location> Location::Of(const Original& original, const Call& call) {
  const bool is_in_rel = call.name != nullptr && *call.name != '\0';
  ::Lock* directory = nullptr;
  if (is_in_rel) {
    directory = original.Invoke({.op = Op::kDupLock, .lock = call.rel}).given_lock;
  } else if (IsByHandle(call)) {
    directory = original.Invoke({.op = Op::kParentOfFH, .file = call.file}).given_lock;
  } else {
    ::Lock* const object = call.name != nullptr ? call.rel : call.lock;
    directory = original.Invoke({.op = Op::kParentDir, .lock = object}).given_lock;
  }
  if (directory == nullptr) return std::nullopt;

  std::string name = is_in_rel ? call.name : "";
  if (!is_in_rel) {
    ::ExamineData* const record = Examine(original, call);
    if (record != nullptr && record->Name != nullptr) name = record->Name;
    original.Free(record);
  }
  return Location(original, directory, std::move(name));
}

Location::Location(Location&& other) noexcept
    : original_(other.original_),
      directory_(std::exchange(other.directory_, nullptr)),
      name_(std::move(other.name_)) {}

Location& Location::operator=(Location&& other) noexcept {
  std::swap(original_, other.original_);
  std::swap(directory_, other.directory_);
  name_.swap(other.name_);
  return *this;
}

Location::~Location() {
  original_->UnLock(directory_);
}

ObjectState StateOf(const Original& original, const Call& call) {
  ObjectState state;
  ::ExamineData* const record = Examine(original, call);
  if (record == nullptr) {
    state.kinds = kMissing;
    return state;
  }
  state.kinds = KindOf(*record);
  state.protection = record->Protection;
  state.date = record->Date;
  state.size = record->FileSize;
  state.id = record->ObjectID;
  if (record->Name != nullptr) state.name = record->Name;
  if (record->Comment != nullptr) state.comment = record->Comment;
  if (record->RefCount > 1 || ((record->Type & FSOF_LINK) != 0 && state.kinds != kSoftLink)) {
    state.kinds |= kHardLink;
  }

  ::ExamineData* const root = original.Invoke({.op = Op::kExamineObj, .name = ""}).record;
  if (root != nullptr && root->ObjectID == record->ObjectID) state.kinds = kRoot;
  original.Free(root);
  original.Free(record);
  return state;
}

}  // namespace quorle::deviate
