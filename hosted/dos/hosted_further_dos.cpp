#include "hosted/dos/hosted_further_dos.h"

#include <array>
#include <optional>
#include <string>
#include <utility>

#include "hosted/dos/latin1.h"
#include "hosted/dos/object_path.h"
#include "platform/constants.h"

namespace quorle {
namespace {

/// What record locks know a file by.
std::optional<std::string> IdentityOf(HandlerPort& port, ::FileHandle& file) {
  std::int32_t res2 = 0;
  ::ExamineData* const record = port.ExamineFile(res2, file);
  const std::uint64_t id = record == nullptr ? 0 : record->ObjectID;
  port.FreeExamineData(record);
  if (id != 0) return port.device_name() + ":" + std::to_string(id);
  const auto path = PathOf(port, file);
  if (!path) return std::nullopt;
  return port.device_name() + ":/" + *path;
}

bool IsShared(std::uint32_t mode) {
  return mode == REC_SHARED || mode == REC_SHARED_IMMED;
}

bool IsImmediate(std::uint32_t mode) {
  return mode == REC_EXCLUSIVE_IMMED || mode == REC_SHARED_IMMED;
}

}  // namespace

HostedFurtherDos::HostedFurtherDos(HostedDos& dos, HandleNumbers& numbers)
    : dos_(dos), scans_(numbers), notifications_(numbers) {
  dos_.SetListener(this);
}

HostedFurtherDos::~HostedFurtherDos() {
  ReleaseEverything();
  dos_.SetListener(nullptr);
}

void HostedFurtherDos::ReleaseEverything() {
  Release(nullptr);
  records_ = {};
}

void HostedFurtherDos::OnUnmount(HandlerPort& port) {
  Release(&port);
}

void HostedFurtherDos::Release(const HandlerPort* port) {
  for (auto& [inhibited, times] : inhibited_) {
    std::int32_t res2 = 0;
    const bool is_meant = port == nullptr || port == inhibited;
    if (is_meant && std::exchange(times, 0) > 0) inhibited->Inhibit(res2, false);
  }
  scans_.RemoveIf([&](DirContextHandle, const std::unique_ptr<Scan>& scan) {
    const bool is_meant = port == nullptr || port == scan->port;
    if (is_meant) EndScan(*scan);
    return is_meant;
  });
  notifications_.RemoveIf([&](Notifications::Request& request) {
    const bool is_meant = port == nullptr || port == request.port;
    if (is_meant) EndRequest(request);
    return is_meant;
  });
}

// ---- Scans of a directory ------------------------------------------------------------------------

DirContextHandle HostedFurtherDos::AddScan(HandlerPort& port, ::Lock* lock) {
  auto scan = std::make_unique<Scan>(Scan{&port, {}, nullptr});
  scan->context.Directory = lock;
  return scans_.Add(std::move(scan));
}

void HostedFurtherDos::EndScan(Scan& scan) {
  dos_.FreeDosObject(DOS_EXAMINEDATA, std::exchange(scan.record, nullptr));
  scan.port->EndDir(scan.context);
  std::int32_t unused = 0;
  scan.port->UnLock(unused, scan.context.Directory);
}

DirContextHandle HostedFurtherDos::ObtainDirContext(std::uint32_t tag, LockHandle lock) {
  was_emulated_ = false;
  if (tag != EX_LockInput) return dos_.Fail<DirContextHandle>(ERROR_REQUIRED_ARG_MISSING);
  const PortObject* const place = dos_.LockBehind(lock);
  if (place == nullptr) return {};
  std::int32_t res2 = 0;
  ::Lock* const own = place->port->DupLock(res2, place->lock);
  return own == nullptr ? dos_.Fail<DirContextHandle>(res2) : AddScan(*place->port, own);
}

DirContextHandle HostedFurtherDos::ObtainDirContext(std::uint32_t tag, const char* name) {
  was_emulated_ = false;
  if (tag != EX_StringNameInput) return dos_.Fail<DirContextHandle>(ERROR_REQUIRED_ARG_MISSING);
  return dos_.OnObject(
      name, HostedDos::Links::kFollow,
      [&](HandlerPort& port, std::int32_t& res2, ::Lock* directory, const char* leaf) {
        ::Lock* const own = port.Lock(res2, directory, leaf, SHARED_LOCK);
        return own == nullptr ? DirContextHandle{} : AddScan(port, own);
      });
}

const ExamineData* HostedFurtherDos::ExamineDir(DirContextHandle context) {
  was_emulated_ = false;
  std::unique_ptr<Scan>* const found = scans_.Find(context);
  if (found == nullptr) {
    return dos_.Fail<const ExamineData*>(context ? ERROR_INVALID_LOCK : ERROR_REQUIRED_ARG_MISSING);
  }
  Scan& scan = **found;
  dos_.FreeDosObject(DOS_EXAMINEDATA, std::exchange(scan.record, nullptr));
  std::int32_t res2 = 0;
  if (!scan.port->ExamineDir(res2, scan.context)) {
    scan.port->FreeExamineData(std::exchange(scan.context.Entry, nullptr));
    return dos_.Fail<const ExamineData*>(res2);
  }
  scan.record = dos_.AddRecord(*scan.port, std::exchange(scan.context.Entry, nullptr));
  // A handler that says that there is an entry and gives none: the code is a choice of ours.
  return scan.record == nullptr ? dos_.Fail<const ExamineData*>(ERROR_NO_MORE_ENTRIES)
                                : scan.record;
}

void HostedFurtherDos::ReleaseDirContext(DirContextHandle context) {
  was_emulated_ = false;
  std::unique_ptr<Scan>* const found = scans_.Find(context);
  if (found == nullptr) return;
  EndScan(**found);
  scans_.Remove(context);
}

// ---- Files ---------------------------------------------------------------------------------------

std::int32_t HostedFurtherDos::SameFile(FileHandle a, FileHandle b) {
  was_emulated_ = false;
  if (!a || !b) return LOCK_DIFFERENT;
  const HostedDos::OpenFile* const left = dos_.FileBehind(a);
  const HostedDos::OpenFile* const right = dos_.FileBehind(b);
  if (left == nullptr || right == nullptr || left->port != right->port) return LOCK_DIFFERENT;
  // As of locks: a handler answers yes or no.
  std::int32_t res2 = 0;
  if (left->port->SameFile(res2, *left->handle, *right->handle)) return LOCK_SAME;
  if (res2 == ERROR_ACTION_NOT_KNOWN && left == right) return LOCK_SAME;
  if (res2 != 0) dos_.Fail(res2);
  return LOCK_SAME_VOLUME;
}

bool HostedFurtherDos::LockRecord(FileHandle file, std::int64_t offset, std::int64_t length,
                                  std::uint32_t mode, std::uint32_t ticks) {
  was_emulated_ = false;
  const HostedDos::OpenFile* const open = dos_.FileBehind(file);
  if (open == nullptr) return false;
  // Which code stands for a range or a mode that is none is a choice of ours.
  if (offset < 0 || length <= 0 || mode > REC_SHARED_IMMED) return dos_.Fail(ERROR_BAD_NUMBER);
  std::int32_t res2 = 0;
  if (open->port->LockRecord(res2, *open->handle, offset, length, mode, ticks)) return true;
  if (res2 != ERROR_ACTION_NOT_KNOWN) return dos_.Fail(res2);
  was_emulated_ = true;
  const auto identity = IdentityOf(*open->port, *open->handle);
  if (!identity) return dos_.Fail(ERROR_ACTION_NOT_KNOWN);
  if (records_.Lock(*open->handle, *identity, {offset, length}, IsShared(mode))) return true;
  if (IsImmediate(mode)) return dos_.Fail(ERROR_LOCK_COLLISION);
  dos_.Delay(ticks);
  return dos_.Fail(ERROR_LOCK_TIMEOUT);
}

bool HostedFurtherDos::UnLockRecord(FileHandle file, std::int64_t offset, std::int64_t length) {
  was_emulated_ = false;
  const HostedDos::OpenFile* const open = dos_.FileBehind(file);
  if (open == nullptr) return false;
  std::int32_t res2 = 0;
  if (open->port->UnLockRecord(res2, *open->handle, offset, length)) return true;
  if (res2 != ERROR_ACTION_NOT_KNOWN) return dos_.Fail(res2);
  was_emulated_ = true;
  return records_.UnLock(*open->handle, {offset, length}) || dos_.Fail(ERROR_RECORD_NOT_LOCKED);
}

// ---- Notification --------------------------------------------------------------------------------

bool HostedFurtherDos::IsThere(HandlerPort& port, ::Lock* directory, const char* name) {
  std::int32_t res2 = 0;
  ::Lock* const lock = port.Lock(res2, directory, name, SHARED_LOCK);
  if (lock == nullptr) return res2 == ERROR_OBJECT_IN_USE;
  port.UnLock(res2, lock);
  return true;
}

NotifyHandle HostedFurtherDos::StartNotify(const char* name, std::uint32_t flags) {
  was_emulated_ = false;
  if (name == nullptr) return dos_.Fail<NotifyHandle>(ERROR_REQUIRED_ARG_MISSING);
  ResolvedName at(dos_.parts_.list, dos_.Start());
  if (!at.Resolve(name)) return dos_.Fail<NotifyHandle>(at.error());
  HandlerPort& port = at.port();
  const auto path = PathOf(port, at.directory(), at.leaf());
  if (!path) return dos_.Fail<NotifyHandle>(ERROR_INVALID_LOCK);
  const NotifyHandle handle =
      notifications_.Add(port, name, port.device_name() + ":" + *path, flags);
  Notifications::Request& request = *notifications_.Find(handle);
  port.SetNotifyListener([this](const ::NotifyRequest& record) { notifications_.SendFor(record); });
  std::int32_t res2 = 0;
  if (!port.AddNotify(res2, &request.record)) {
    if (res2 != ERROR_ACTION_NOT_KNOWN) {
      notifications_.Remove(handle);
      return dos_.Fail<NotifyHandle>(res2);
    }
    was_emulated_ = request.by_dos = true;
  }
  // A handler that watches sends the first one as well.
  const bool sends_first = request.by_dos && (flags & NRF_NOTIFY_INITIAL) != 0;
  if (sends_first && IsThere(port, at.directory(), at.leaf())) Notifications::Send(request);
  return handle;
}

void HostedFurtherDos::EndRequest(Notifications::Request& request) {
  if (request.by_dos) return;
  std::int32_t res2 = 0;
  request.port->RemoveNotify(res2, &request.record);
}

void HostedFurtherDos::EndNotify(NotifyHandle request) {
  was_emulated_ = false;
  Notifications::Request* const found = notifications_.Find(request);
  if (found == nullptr) return;
  was_emulated_ = found->by_dos;
  EndRequest(*found);
  notifications_.Remove(request);
}

MessageHandle HostedFurtherDos::GetNotifyMsg(NotifyHandle request) {
  was_emulated_ = false;
  return notifications_.Take(request);
}

void HostedFurtherDos::ReplyNotifyMsg(MessageHandle message) {
  was_emulated_ = false;
  notifications_.Reply(message);
}

bool HostedFurtherDos::CheckNotifySignal(NotifyHandle request) {
  was_emulated_ = false;
  Notifications::Request* const found = notifications_.Find(request);
  return found != nullptr && std::exchange(found->signalled, false);
}

void HostedFurtherDos::OnEntry(HandlerPort& port, const ObjectName& object) {
  if (!notifications_.Watches(port)) return;
  const auto path = PathOf(port, object.directory, object.name);
  if (path) notifications_.SendOfEntries(port, {*path});
}

void HostedFurtherDos::OnRename(HandlerPort& port, const ObjectName& from, const ObjectName& to) {
  if (!notifications_.Watches(port)) return;
  const auto old_path = PathOf(port, from.directory, from.name);
  const auto new_path = PathOf(port, to.directory, to.name);
  if (old_path && new_path) notifications_.SendOfEntries(port, {*old_path, *new_path});
}

void HostedFurtherDos::OnAttribute(HandlerPort& port, const ObjectName& object) {
  if (!notifications_.Watches(port)) return;
  const auto path = PathOf(port, object.directory, object.name);
  if (path) notifications_.SendOf(port, *path);
}

bool HostedFurtherDos::IsMissing(HandlerPort& port, const ObjectName& object) {
  return notifications_.Watches(port) && !IsThere(port, object.directory, object.name);
}

void HostedFurtherDos::OnClosing(HandlerPort& port, ::FileHandle& file, bool is_changed) {
  records_.Release(file);
  if (!is_changed || !notifications_.Watches(port)) return;
  if (const auto path = PathOf(port, file)) notifications_.SendOfEntries(port, {*path});
}

// ---- Volumes -------------------------------------------------------------------------------------

HandlerPort* HostedFurtherDos::DeviceOf(const char* device) {
  was_emulated_ = false;
  HandlerPort* const port = dos_.PortOfDevice(device);
  if (port == nullptr) return nullptr;
  const std::string name = port->device_name() + ":";
  if (CompareLatin1(name, device) == 0) return port;
  return dos_.Fail<HandlerPort*>(ERROR_DEVICE_NOT_MOUNTED);
}

template <class Ask>
bool HostedFurtherDos::OnDevice(const char* device, Ask ask) {
  HandlerPort* const port = DeviceOf(device);
  std::int32_t res2 = 0;
  return port != nullptr && (ask(*port, res2) || dos_.Fail(res2));
}

bool HostedFurtherDos::Flush(const char* device) {
  return OnDevice(device, [](HandlerPort& port, std::int32_t& res2) { return port.Flush(res2); });
}

bool HostedFurtherDos::VolumeInfoData(const char* device, InfoData& info) {
  return OnDevice(device, [&](HandlerPort& port, std::int32_t& res2) {
    ::InfoData data{};
    if (!port.VolumeInfoData(res2, data)) return false;
    info = HostedDos::InfoOf(port, data);
    return true;
  });
}

bool HostedFurtherDos::FileSystemAttr(const char* device, std::uint32_t tag, std::uint32_t& value) {
  return OnDevice(device, [&](HandlerPort& port, std::int32_t& res2) {
    const std::array<::TagItem, 2> tags = {
        {{tag, reinterpret_cast<std::uintptr_t>(&value)}, {QUORLE_TAG_DONE, 0}}};
    return port.FileSystemAttr(res2, tags.data());
  });
}

/// The handler is asked when the first one comes and when the last one goes.
bool HostedFurtherDos::Inhibit(const char* device, bool on) {
  return OnDevice(device, [&](HandlerPort& port, std::int32_t& res2) {
    int& times = inhibited_[&port];
    if (!on) {
      if (times == 1) port.Inhibit(res2, false);
      if (times > 0) --times;
      return true;
    }
    if (times == 0 && !port.Inhibit(res2, true)) return false;
    ++times;
    return true;
  });
}

bool HostedFurtherDos::Serialize(const char* device) {
  return OnDevice(device,
                  [](HandlerPort& port, std::int32_t& res2) { return port.Serialize(res2); });
}

bool HostedFurtherDos::Format(const char* device, const char* volume, std::uint32_t dos_type) {
  if (volume == nullptr) return dos_.Fail(ERROR_REQUIRED_ARG_MISSING);
  return OnDevice(device, [&](HandlerPort& port, std::int32_t& res2) {
    return port.Format(res2, volume, dos_type);
  });
}

bool HostedFurtherDos::Remount(const char* device, LockHandle root) {
  HandlerPort* const port = DeviceOf(device);
  const PortObject* const lock = port == nullptr ? nullptr : dos_.LockBehind(root);
  if (lock == nullptr) return false;
  if (lock->port != port) return dos_.Fail(ERROR_INVALID_LOCK);
  if (!remountable_.contains(port)) return dos_.Fail(ERROR_NOT_IMPLEMENTED);
  if (port->life() != HandlerProgram::Life::kRuns) return dos_.Fail(ERROR_DEVICE_NOT_MOUNTED);
  dos_.ReleasePort(*port, root);
  port->UnmountForNow();
  std::string problem;
  if (!port->MountAgain(problem)) {
    port->ReportFailedRemount(problem);
    return dos_.Fail(ERROR_DEVICE_NOT_MOUNTED);
  }
  const std::int32_t error = dos_.LockRootAgain(*port, root);
  return error == 0 || dos_.Fail(error);
}

}  // namespace quorle
