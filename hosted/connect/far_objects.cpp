#include "hosted/connect/far_objects.h"

#include <algorithm>
#include <new>
#include <string>

#include "hosted/calls/handler_program.h"

namespace quorle::connect {
namespace {

template <class Objects, class Object>
std::int64_t NumberAmong(const Objects& objects, const Object* object) {
  if (object == nullptr) return FarObjects::kNone;
  const auto found = objects.find(object);
  return found == objects.end() ? FarObjects::kForeign : found->second;
}

template <class Objects>
void RefuseLive(const Objects& objects, std::int64_t number, const char* what) {
  const bool is_live = std::any_of(objects.begin(), objects.end(),
                                   [number](const auto& known) { return known.second == number; });
  if (!is_live) return;
  throw ProgramEnd(std::string("gave ") + what + " the number " + std::to_string(number) +
                   ", which another one has");
}

}  // namespace

std::int64_t FarObjects::NumberOf(const ::Lock* lock) const {
  return NumberAmong(locks_, lock);
}

std::int64_t FarObjects::NumberOf(const ::FileHandle* file) const {
  return NumberAmong(files_, file);
}

::Lock* FarObjects::AddLock(std::int64_t number, std::int32_t mode) {
  RefuseLive(locks_, number, "a lock");
  auto* const lock = static_cast<::Lock*>(services_.AllocDosObject(QUORLE_DOS_LOCK, nullptr));
  if (lock == nullptr) throw std::bad_alloc();
  lock->fl_Access = mode;
  locks_[lock] = number;
  return lock;
}

void FarObjects::AddFile(std::int64_t number, ::FileHandle& file) {
  RefuseLive(files_, number, "a file");
  file.fh_Arg1 = static_cast<std::intptr_t>(number);
  files_[&file] = number;
}

void FarObjects::Forget(::Lock* lock) {
  if (locks_.erase(lock) != 0) services_.FreeDosObject(QUORLE_DOS_LOCK, lock);
}

}  // namespace quorle::connect
