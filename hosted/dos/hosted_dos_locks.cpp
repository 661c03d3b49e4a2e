#include "hosted/dos/hosted_dos.h"

namespace quorle {

LockHandle HostedDos::Lock(const char* name, std::int32_t mode) {
  return OnObject(name, Links::kFollow,
                  [&](HandlerPort& port, std::int32_t& res2, ::Lock* directory, const char* leaf) {
                    return AddLock(port, port.Lock(res2, directory, leaf, mode));
                  });
}

void HostedDos::UnLock(LockHandle lock) {
  if (!lock) return;
  const PortObject* const place = LockBehind(lock);
  if (place == nullptr) return;
  std::int32_t res2 = 0;
  if (!place->port->UnLock(res2, place->lock)) Fail(res2);
  locks_.Remove(lock);
}

LockHandle HostedDos::DupLock(LockHandle lock) {
  // No lock is the root of the process's own filesystem, and so is its duplicate: not a failure.
  if (!lock) return {};
  const PortObject* const place = LockBehind(lock);
  if (place == nullptr) return {};
  HandlerPort& port = *place->port;
  std::int32_t res2 = 0;
  ::Lock* const copy = port.DupLock(res2, place->lock);
  return copy == nullptr ? Fail<LockHandle>(res2) : AddLock(port, copy);
}

LockHandle HostedDos::DupLockFromFH(FileHandle file) {
  OpenFile* const open = FileBehind(file);
  if (open == nullptr) return {};
  std::int32_t res2 = 0;
  ::Lock* const lock = open->port->DupLockFromFH(res2, *open->handle);
  return lock == nullptr ? Fail<LockHandle>(res2) : AddLock(*open->port, lock);
}

FileHandle HostedDos::OpenFromLock(LockHandle lock) {
  const PortObject* const place = LockBehind(lock);
  if (place == nullptr) return {};
  HandlerPort& port = *place->port;
  auto handle = std::make_unique<::FileHandle>();
  std::int32_t res2 = 0;
  if (!port.OpenFromLock(res2, *handle, place->lock)) return Fail<FileHandle>(res2);
  locks_.Remove(lock);  // the handle has it now
  return AddFile(port, std::move(handle));
}

LockHandle HostedDos::ParentDir(LockHandle lock) {
  const PortObject* const place = LockBehind(lock);
  if (place == nullptr) return {};
  HandlerPort& port = *place->port;
  std::int32_t res2 = 0;
  ::Lock* const parent = port.ParentDir(res2, place->lock);
  // The root's answer is no lock and the code 0, which the caller is to see.
  return parent == nullptr ? Fail<LockHandle>(res2) : AddLock(port, parent);
}

LockHandle HostedDos::ParentOfFH(FileHandle file) {
  OpenFile* const open = FileBehind(file);
  if (open == nullptr) return {};
  std::int32_t res2 = 0;
  ::Lock* const parent = open->port->ParentOfFH(res2, *open->handle);
  return parent == nullptr ? Fail<LockHandle>(res2) : AddLock(*open->port, parent);
}

std::int32_t HostedDos::SameLock(LockHandle a, LockHandle b) {
  if (!a || !b) return LOCK_DIFFERENT;
  const PortObject* const left = LockBehind(a);
  const PortObject* const right = LockBehind(b);
  if (left == nullptr || right == nullptr || left->port != right->port) return LOCK_DIFFERENT;
  // A handler answers yes or no; that it is one volume is known here.
  std::int32_t res2 = 0;
  if (left->port->SameLock(res2, left->lock, right->lock)) return LOCK_SAME;
  // Nor does it take a handler that compares locks to know that one lock is on one object. Of two
  // locks dos knows nothing: what stands in them is the handler's own.
  if (res2 == ERROR_ACTION_NOT_KNOWN && left->lock == right->lock) return LOCK_SAME;
  if (res2 != 0) Fail(res2);
  return LOCK_SAME_VOLUME;
}

LockHandle HostedDos::SetCurrentDir(LockHandle lock) {
  return std::exchange(current_dir_, lock);
}

}  // namespace quorle
