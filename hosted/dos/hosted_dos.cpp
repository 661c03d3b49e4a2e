#include "hosted/dos/hosted_dos.h"

namespace quorle {

HostedDos::HostedDos(const HostedDosParts& parts, HostedDosSettings settings)
    : parts_(parts),
      settings_(std::move(settings)),
      locks_(parts.numbers),
      files_(parts.numbers),
      arguments_(parts.numbers) {}

HostedDos::~HostedDos() {
  ReleaseEverything();
}

OpenObjects HostedDos::CountOpen() const {
  return {.locks = locks_.size(),
          .files = files_.size(),
          .examine_records = records_.size(),
          .device_procs = device_procs_.size(),
          .argument_results = arguments_.size()};
}

void HostedDos::ReleaseEverything() {
  files_.RemoveAll([](OpenFile& file) {
    std::int32_t res2 = 0;
    file.port->Close(res2, *file.handle);
  });
  locks_.RemoveAll([](PortObject& lock) {
    std::int32_t res2 = 0;
    lock.port->UnLock(res2, lock.lock);
  });
  records_.clear();
  device_procs_.clear();
  arguments_.RemoveAll([](const std::unique_ptr<ParsedArguments>&) {});
  current_dir_ = {};
}

OpenObjects HostedDos::ReleasePort(HandlerPort& port, LockHandle root) {
  if (listener_ != nullptr) listener_->OnUnmount(port);
  OpenObjects released;
  std::int32_t res2 = 0;
  files_.RemoveIf([&](FileHandle, OpenFile& file) {
    if (file.port != &port) return false;
    if (listener_ != nullptr) listener_->OnClosing(port, *file.handle, file.is_changed);
    port.Close(res2, *file.handle);
    ++released.files;
    return true;
  });
  locks_.RemoveIf([&](LockHandle handle, PortObject& lock) {
    if (lock.port != &port) return false;
    port.UnLock(res2, std::exchange(lock.lock, nullptr));
    if (handle == root) return false;
    ++released.locks;
    return true;
  });
  return released;
}

std::int32_t HostedDos::LockRootAgain(HandlerPort& port, LockHandle root) {
  PortObject* const lock = locks_.Find(root);
  if (lock == nullptr) return ERROR_INVALID_LOCK;
  std::int32_t res2 = 0;
  lock->lock = port.Lock(res2, nullptr, "", SHARED_LOCK);
  return lock->lock == nullptr ? res2 : 0;
}

bool HostedDos::EntryChanged(bool done, HandlerPort& port, ::Lock* directory, const char* leaf) {
  if (done && listener_ != nullptr) listener_->OnEntry(port, {directory, leaf});
  return done;
}

bool HostedDos::AttributeChanged(bool done, HandlerPort& port, ::Lock* directory,
                                 const char* leaf) {
  if (done && listener_ != nullptr) listener_->OnAttribute(port, {directory, leaf});
  return done;
}

PortObject HostedDos::Start() {
  if (!current_dir_) return {parts_.list.home(), nullptr};
  const PortObject* const lock = locks_.Find(current_dir_);
  return lock == nullptr ? PortObject{} : *lock;
}

LockHandle HostedDos::AddLock(HandlerPort& port, ::Lock* lock) {
  return lock == nullptr ? LockHandle{} : locks_.Add({&port, lock});
}

FileHandle HostedDos::AddFile(HandlerPort& port, std::unique_ptr<::FileHandle> handle) {
  return files_.Add({.port = &port, .handle = std::move(handle)});
}

PortHandle HostedDos::HandleOf(HandlerPort& port) {
  const auto known = port_handles_.find(&port);
  if (known != port_handles_.end()) return known->second;
  const PortHandle handle{parts_.numbers.Next()};
  port_handles_.emplace(&port, handle);
  ports_.emplace(handle.value, &port);
  return handle;
}

PortObject* HostedDos::LockBehind(LockHandle lock) {
  PortObject* const found = locks_.Find(lock);
  if (found == nullptr) Fail(lock ? ERROR_INVALID_LOCK : ERROR_REQUIRED_ARG_MISSING);
  return found;
}

HostedDos::OpenFile* HostedDos::FileBehind(FileHandle file) {
  OpenFile* const found = files_.Find(file);
  if (found == nullptr) Fail(file ? ERROR_INVALID_LOCK : ERROR_REQUIRED_ARG_MISSING);
  return found;
}

HandlerPort* HostedDos::PortBehind(PortHandle port) {
  const auto found = ports_.find(port.value);
  if (found != ports_.end()) return found->second;
  Fail(port ? ERROR_DEVICE_NOT_MOUNTED : ERROR_REQUIRED_ARG_MISSING);
  return nullptr;
}

}  // namespace quorle
