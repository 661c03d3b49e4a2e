#include "hosted/isolation/host_objects.h"

#include <cstddef>

#include "hosted/isolation/wire.h"

namespace quorle::isolation {

HostObjects::~HostObjects() {
  for (const auto& [lock, proxy] : locks_) {
    services_.FreeDosObject(QUORLE_DOS_LOCK, const_cast<::Lock*>(lock));
  }
}

void HostObjects::BeginProcess() {
  ++process_;
  by_number_.clear();
  last_lock_ = 0;
}

HostObjects::Number HostObjects::Of(const ::Lock* lock) const {
  if (lock == nullptr) return {kNoObject, false};
  const auto found = locks_.find(lock);
  if (found == locks_.end()) return {kForeignObject, false};
  return {found->second.number, found->second.process != process_};
}

bool HostObjects::IsRoot(const ::Lock* lock) const {
  if (lock == nullptr) return true;
  const auto found = locks_.find(lock);
  return found != locks_.end() && found->second.is_root;
}

bool HostObjects::MayBe(std::int64_t number) const {
  return number == last_lock_ + 1 || by_number_.contains(number);
}

::Lock* HostObjects::ProxyFor(std::int64_t number, std::int32_t mode, bool is_root) {
  const auto known = by_number_.find(number);
  if (known != by_number_.end()) {
    known->second->fl_Access = mode;
    locks_.at(known->second).is_root = is_root;
    return known->second;
  }
  last_lock_ = number;
  auto* const lock = static_cast<::Lock*>(services_.AllocDosObject(QUORLE_DOS_LOCK, nullptr));
  if (lock == nullptr) return nullptr;
  lock->fl_Access = mode;
  locks_[lock] = {number, process_, is_root};
  by_number_[number] = lock;
  return lock;
}

void HostObjects::Forget(::Lock* lock) {
  const auto found = locks_.find(lock);
  if (found == locks_.end()) return;
  if (found->second.process == process_) by_number_.erase(found->second.number);
  locks_.erase(found);
  services_.FreeDosObject(QUORLE_DOS_LOCK, lock);
}

void HostObjects::Detach(const ::Lock* lock) {
  const auto found = locks_.find(lock);
  if (found != locks_.end() && found->second.process == process_) {
    by_number_.erase(found->second.number);
  }
}

std::vector<::Lock*> HostObjects::DeadRoots() const {
  std::vector<::Lock*> roots;
  for (const auto& [lock, proxy] : locks_) {
    if (proxy.is_root && proxy.process != process_) roots.push_back(const_cast<::Lock*>(lock));
  }
  return roots;
}

void HostObjects::Rebind(::Lock* lock, ::Lock* fresh) {
  const Proxy proxy = locks_.at(fresh);
  Forget(fresh);
  locks_[lock] = proxy;
  by_number_[proxy.number] = lock;
}

HostObjects::Number HostObjects::Of(const ::FileHandle* file) const {
  if (file == nullptr) return {kNoObject, false};
  const auto found = files_.find(file);
  if (found == files_.end()) return {kForeignObject, false};
  return {found->second.number, found->second.process != process_};
}

void HostObjects::AddFile(const ::FileHandle* file) {
  files_[file] = {++last_file_, process_, false};
}

void HostObjects::Forget(const ::FileHandle* file) {
  files_.erase(file);
}

HostObjects::Number HostObjects::Of(const ::NotifyRequest* request) const {
  if (request == nullptr) return {kNoObject, false};
  const auto found = requests_.find(request);
  if (found == requests_.end()) return {kForeignObject, false};
  return {found->second.number, found->second.process != process_};
}

void HostObjects::AddRequest(::NotifyRequest* request) {
  Forget(request);
  requests_[request] = {++last_request_, process_, false};
  requests_by_number_[last_request_] = request;
}

void HostObjects::Forget(const ::NotifyRequest* request) {
  const auto found = requests_.find(request);
  if (found == requests_.end()) return;
  requests_by_number_.erase(found->second.number);
  requests_.erase(found);
}

::NotifyRequest* HostObjects::RequestOf(std::int64_t number) const {
  const auto found = requests_by_number_.find(number);
  const bool is_live = found != requests_by_number_.end() && !Of(found->second).dead;
  return is_live ? found->second : nullptr;
}

std::vector<::NotifyRequest*> HostObjects::DeadRequests() const {
  std::vector<::NotifyRequest*> dead;
  for (const auto& [number, request] : requests_by_number_) {
    if (Of(request).dead) dead.push_back(request);
  }
  return dead;
}

}  // namespace quorle::isolation
