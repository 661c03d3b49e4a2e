#include "hosted/dos/hosted_dos.h"

namespace quorle {

FileHandle HostedDos::Open(const char* name, std::int32_t mode) {
  return OnObject(name, Links::kFollow,
                  [&](HandlerPort& port, std::int32_t& res2, ::Lock* directory, const char* leaf) {
                    auto handle = std::make_unique<::FileHandle>();
                    const bool is_new = listener_ != nullptr && mode != MODE_OLDFILE &&
                                        listener_->IsMissing(port, {directory, leaf});
                    if (!port.Open(res2, *handle, directory, leaf, mode)) return FileHandle{};
                    const FileHandle file = AddFile(port, std::move(handle));
                    files_.Find(file)->is_changed = mode == MODE_NEWFILE && !is_new;
                    EntryChanged(is_new, port, directory, leaf);
                    return file;
                  });
}

bool HostedDos::Close(FileHandle file) {
  if (!file) return false;
  OpenFile* const open = FileBehind(file);
  if (open == nullptr) return false;
  if (listener_ != nullptr) listener_->OnClosing(*open->port, *open->handle, open->is_changed);
  std::int32_t res2 = 0;
  const bool closed = open->port->Close(res2, *open->handle);
  files_.Remove(file);
  return closed || Fail(res2);
}

std::int32_t HostedDos::Read(FileHandle file, void* buffer, std::int32_t bytes) {
  OpenFile* const open = FileBehind(file);
  if (open == nullptr) return -1;
  std::int32_t res2 = 0;
  const std::int32_t count = open->port->Read(res2, *open->handle, buffer, bytes);
  if (count < 0) Fail(res2);
  return count;
}

std::int32_t HostedDos::Write(FileHandle file, const void* data, std::int32_t bytes) {
  OpenFile* const open = FileBehind(file);
  if (open == nullptr) return -1;
  std::int32_t res2 = 0;
  const std::int32_t count = open->port->Write(res2, *open->handle, data, bytes);
  // Nothing, written without a failure, is a change as well.
  open->is_changed = open->is_changed || count > 0 || (count == 0 && bytes == 0);
  // Older handlers tell a failure by a short count.
  if (count < 0 || (count != bytes && res2 != 0)) Fail(res2);
  return count;
}

bool HostedDos::ChangeFilePosition(FileHandle file, std::int64_t position, std::int32_t mode) {
  OpenFile* const open = FileBehind(file);
  if (open == nullptr) return false;
  std::int32_t res2 = 0;
  return open->port->ChangeFilePosition(res2, *open->handle, mode, position) || Fail(res2);
}

std::int64_t HostedDos::GetFilePosition(FileHandle file) {
  OpenFile* const open = FileBehind(file);
  if (open == nullptr) return -1;
  std::int32_t res2 = 0;
  const std::int64_t position = open->port->GetFilePosition(res2, *open->handle);
  if (position < 0) Fail(res2);
  return position;
}

bool HostedDos::ChangeFileSize(FileHandle file, std::int64_t size, std::int32_t mode) {
  OpenFile* const open = FileBehind(file);
  if (open == nullptr) return false;
  std::int32_t res2 = 0;
  if (!open->port->ChangeFileSize(res2, *open->handle, mode, size)) return Fail(res2);
  open->is_changed = true;
  return true;
}

std::int64_t HostedDos::GetFileSize(FileHandle file) {
  OpenFile* const open = FileBehind(file);
  if (open == nullptr) return -1;
  std::int32_t res2 = 0;
  const std::int64_t size = open->port->GetFileSize(res2, *open->handle);
  if (size < 0) Fail(res2);
  return size;
}

// A kind that does not go with the handle is a choice of ours: 212.

bool HostedDos::ChangeMode(std::int32_t type, LockHandle lock, std::int32_t mode) {
  const PortObject* const place = LockBehind(lock);
  if (place == nullptr) return false;
  if (type != CHANGE_LOCK) return Fail(ERROR_OBJECT_WRONG_TYPE);
  std::int32_t res2 = 0;
  return place->port->ChangeLockMode(res2, place->lock, mode) || Fail(res2);
}

bool HostedDos::ChangeMode(std::int32_t type, FileHandle file, std::int32_t mode) {
  OpenFile* const open = FileBehind(file);
  if (open == nullptr) return false;
  if (type != CHANGE_FH) return Fail(ERROR_OBJECT_WRONG_TYPE);
  std::int32_t res2 = 0;
  return open->port->ChangeFileMode(res2, *open->handle, mode) || Fail(res2);
}

}  // namespace quorle
