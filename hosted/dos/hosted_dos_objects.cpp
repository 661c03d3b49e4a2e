#include <algorithm>
#include <string>
#include <string_view>

#include "hosted/dos/hosted_dos.h"

namespace quorle {
namespace {

/// A name that ends in a slash names a directory by its own empty name; calls that make, remove or
/// move an entry of a directory refuse it. The code is a choice of ours.
bool EndsInSlash(const char* name) {
  return name != nullptr && std::string_view(name).ends_with('/');
}

/// A lock on a new directory is shared, whatever the handler gave.
void MakeShared(HandlerPort& port, ::Lock* lock) {
  if (lock == nullptr || lock->fl_Access != EXCLUSIVE_LOCK) return;
  std::int32_t res2 = 0;
  port.ChangeLockMode(res2, lock, SHARED_LOCK);
}

}  // namespace

LockHandle HostedDos::CreateDir(const char* name) {
  if (EndsInSlash(name)) return Fail<LockHandle>(ERROR_INVALID_COMPONENT_NAME);
  return OnObject(name, Links::kFollow,
                  [&](HandlerPort& port, std::int32_t& res2, ::Lock* directory, const char* leaf) {
                    ::Lock* const lock = port.CreateDir(res2, directory, leaf);
                    MakeShared(port, lock);
                    EntryChanged(lock != nullptr, port, directory, leaf);
                    return AddLock(port, lock);
                  });
}

LockHandle HostedDos::CreateDirTree(const char* path) {
  if (path == nullptr) return Fail<LockHandle>(ERROR_REQUIRED_ARG_MISSING);
  const std::int32_t error_before = error_;
  const std::string whole = path;
  // Level by level: what is there is passed, what is missing is made.
  const std::size_t colon = whole.find(':');
  std::size_t end = colon == std::string::npos ? 0 : colon + 1;
  LockHandle lock;
  do {
    if (lock) UnLock(lock);
    end = std::min(whole.find('/', end), whole.size());
    const std::string level = whole.substr(0, end);
    lock = Lock(level.c_str(), SHARED_LOCK);
    if (!lock && error_ == ERROR_OBJECT_NOT_FOUND) lock = CreateDir(level.c_str());
    if (!lock) return {};
    ++end;
  } while (end <= whole.size());

  const ExamineData* const record = ExamineObject(EX_LockInput, lock);
  const bool is_file = record != nullptr && (record->Type & FSO_TYPE_MASK) == FSO_TYPE_FILE;
  FreeDosObject(DOS_EXAMINEDATA, record);
  if (is_file) {
    UnLock(lock);
    return Fail<LockHandle>(ERROR_OBJECT_WRONG_TYPE);
  }
  error_ = error_before;  // that a level was missing is no failure
  return lock;
}

bool HostedDos::Delete(const char* name) {
  if (EndsInSlash(name)) return Fail(ERROR_INVALID_COMPONENT_NAME);
  return OnObject(name, Links::kLeave,
                  [&](HandlerPort& port, std::int32_t& res2, ::Lock* directory, const char* leaf) {
                    return EntryChanged(port.Delete(res2, directory, leaf), port, directory, leaf);
                  });
}

bool HostedDos::Rename(const char* old_name, const char* new_name) {
  if (old_name == nullptr || new_name == nullptr) return Fail(ERROR_REQUIRED_ARG_MISSING);
  if (EndsInSlash(old_name) || EndsInSlash(new_name)) return Fail(ERROR_INVALID_COMPONENT_NAME);
  ResolvedName from(parts_.list, Start());
  if (!from.Resolve(old_name)) return Fail(from.error());
  ResolvedName to(parts_.list, Start());
  if (!to.Resolve(new_name)) return Fail(to.error());
  if (&from.port() != &to.port()) return Fail(ERROR_RENAME_ACROSS_DEVICES);
  std::int32_t res2 = 0;
  if (!from.port().Rename(res2, from.directory(), from.leaf(), to.directory(), to.leaf())) {
    return Fail(res2);
  }
  if (listener_ != nullptr) {
    listener_->OnRename(to.port(), {from.directory(), from.leaf()}, {to.directory(), to.leaf()});
  }
  return true;
}

/// Whether something stands at a resolved name. What cannot be looked at for another reason than
/// being locked or a link counts as absent: the handler then judges the name itself.
bool HostedDos::Exists(const ResolvedName& at) {
  std::int32_t res2 = 0;
  ::Lock* const lock = at.port().Lock(res2, at.directory(), at.leaf(), SHARED_LOCK);
  if (lock == nullptr) return res2 == ERROR_OBJECT_IN_USE || res2 == ERROR_IS_SOFT_LINK;
  at.port().UnLock(res2, lock);
  return true;
}

template <class Create>
bool HostedDos::CreateLink(const char* name, Create create) {
  if (name == nullptr) return Fail(ERROR_REQUIRED_ARG_MISSING);
  ResolvedName at(parts_.list, Start());
  if (!at.Resolve(name)) return Fail(at.error());
  if (Exists(at)) return Fail(ERROR_OBJECT_EXISTS);
  std::int32_t res2 = 0;
  return EntryChanged(create(at.port(), res2, at.directory(), at.leaf()), at.port(), at.directory(),
                      at.leaf()) ||
         Fail(res2);
}

bool HostedDos::MakeLink(const char* name, LockHandle target, std::int32_t kind) {
  const PortObject* const place = LockBehind(target);
  if (place == nullptr) return false;
  if (kind != LINK_HARD) return Fail(ERROR_OBJECT_WRONG_TYPE);
  // A lock of another volume is passed on as it is: its port shows the handler which it is.
  return CreateLink(name, [lock = place->lock](HandlerPort& port, std::int32_t& res2,
                                               ::Lock* directory, const char* leaf) {
    return port.CreateHardLink(res2, directory, leaf, lock);
  });
}

bool HostedDos::MakeLink(const char* name, const char* target, std::int32_t kind) {
  if (target == nullptr) return Fail(ERROR_REQUIRED_ARG_MISSING);
  if (kind != LINK_SOFT) return Fail(ERROR_OBJECT_WRONG_TYPE);
  return CreateLink(
      name, [target](HandlerPort& port, std::int32_t& res2, ::Lock* directory, const char* leaf) {
        return port.CreateSoftLink(res2, directory, leaf, target);
      });
}

std::int32_t HostedDos::ReadSoftLink(PortHandle port, LockHandle lock, const char* name,
                                     char* buffer, std::int32_t size) {
  // Without a port the lock says which handler is meant; without a lock it is the port's root.
  PortObject start;
  if (lock) {
    const PortObject* const place = LockBehind(lock);
    if (place == nullptr) return -1;
    start = *place;
  }
  if (port || !lock) {
    HandlerPort* const handler = PortBehind(port);
    if (handler == nullptr) return -1;
    if (lock && start.port != handler) {
      Fail(ERROR_INVALID_LOCK);
      return -1;
    }
    start.port = handler;
  }
  if (name == nullptr || buffer == nullptr) {
    Fail(ERROR_REQUIRED_ARG_MISSING);
    return -1;
  }
  ResolvedName at(parts_.list, start);
  if (!at.Resolve(name)) {
    Fail(at.error());
    return -1;
  }
  std::int32_t res2 = 0;
  const std::int32_t length = at.port().ReadSoftLink(res2, at.directory(), at.leaf(), buffer, size);
  if (length < 0) Fail(res2);
  return length;
}

bool HostedDos::SetComment(const char* name, const char* comment) {
  if (comment == nullptr) return Fail(ERROR_REQUIRED_ARG_MISSING);
  return OnObject(name, Links::kFollow,
                  [&](HandlerPort& port, std::int32_t& res2, ::Lock* directory, const char* leaf) {
                    return AttributeChanged(port.SetComment(res2, directory, leaf, comment), port,
                                            directory, leaf);
                  });
}

bool HostedDos::SetProtection(const char* name, std::uint32_t mask) {
  return OnObject(name, Links::kFollow,
                  [&](HandlerPort& port, std::int32_t& res2, ::Lock* directory, const char* leaf) {
                    return AttributeChanged(port.SetProtection(res2, directory, leaf, mask), port,
                                            directory, leaf);
                  });
}

bool HostedDos::SetDate(const char* name, const quorle::DateStamp& date) {
  const ::DateStamp stamp{date.ds_Days, date.ds_Minute, date.ds_Tick};
  return OnObject(name, Links::kFollow,
                  [&](HandlerPort& port, std::int32_t& res2, ::Lock* directory, const char* leaf) {
                    return AttributeChanged(port.SetDate(res2, directory, leaf, stamp), port,
                                            directory, leaf);
                  });
}

bool HostedDos::SetOwnerInfo(const char* name, std::uint32_t id_tag, std::uint32_t id) {
  if (id_tag != OI_OwnerUID && id_tag != OI_OwnerGID) return Fail(ERROR_REQUIRED_ARG_MISSING);
  return OnObject(name, Links::kFollow,
                  [&](HandlerPort& port, std::int32_t& res2, ::Lock* directory, const char* leaf) {
                    const bool done = id_tag == OI_OwnerUID
                                          ? port.SetOwner(res2, directory, leaf, id)
                                          : port.SetGroup(res2, directory, leaf, id);
                    return AttributeChanged(done, port, directory, leaf);
                  });
}

}  // namespace quorle
