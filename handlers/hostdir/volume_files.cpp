#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

#include "handlers/common/vectors.h"
#include "handlers/hostdir/host_content.h"
#include "handlers/hostdir/volume.h"

// Open files and what is in them.

namespace quorle::hostdir {

void Volume::Hold(OpenFile& file, const EntryRef& entry, bool exclusive) {
  file = {};
  file.entry = entry;
  file.exclusive = exclusive;
  entry->object->handles.push_back(&file);
}

DosError Volume::OpenContent(const Entry& entry) {
  Object& object = *entry.object;
  if (object.content.fd) return kNoError;
  if (!entry.has_name) return ERROR_INVALID_LOCK;
  Opened directory;
  if (const DosError error = Reach(*entry.directory, directory)) return error;
  const DosError error = OpenContentAt({directory.fd.get(), entry.host_name}, root_.stat.device,
                                       object.identity, object.content, object.write_refusal);
  return error == ERROR_OBJECT_NOT_FOUND ? ERROR_INVALID_LOCK : error;
}

DosError Volume::ResetProblem(const Entry& entry) {
  if (const DosError error = ForeignProblem(*entry.object)) return error;
  if (entry.object->holders.any()) return ERROR_OBJECT_IN_USE;
  Opened object;
  Record record;
  if (const DosError error = ReachRecord(entry, object, record)) return error;
  return (record.protection & EXDF_NO_DELETE) != 0 ? ERROR_DELETE_PROTECTED : kNoError;
}

DosError Volume::Reset(const Entry& entry) {
  Opened& content = entry.object->content;
  if (const DosError error = OpenContent(entry)) return error;
  if (entry.object->write_refusal) return entry.object->write_refusal;
  const HostError error = HostError::Of(::ftruncate(content.fd.get(), 0));
  if (error) return error.ForWriting();
  const auto clear = [](Record& record) {
    record.comment.clear();
    record.protection = 0;
  };
  const ::DateStamp now = now_();
  return ChangeRecord(content, clear, &now);
}

DosError Volume::Open(const EntryRef& rel, std::string_view name, std::int32_t mode,
                      OpenFile& file) {
  if (mode != MODE_OLDFILE && mode != MODE_READWRITE && mode != MODE_NEWFILE) {
    return ERROR_BAD_NUMBER;
  }
  bool exclusive = mode == MODE_NEWFILE;
  // The volume comes first: with its protection on, a new file is refused whatever is there.
  if (const DosError error = exclusive ? WriteProblem() : kNoError) return error;
  EntryRef entry;
  const DosError found = FindTarget(rel, name, entry);
  const bool is_new = found == ERROR_OBJECT_NOT_FOUND && mode != MODE_OLDFILE;
  if (const DosError error = is_new ? MakeFile(rel, name, entry) : found) return error;
  Object& object = *entry->object;
  if (!object.IsFile()) return ERROR_OBJECT_WRONG_TYPE;

  const bool is_reset = exclusive && !is_new;
  if (const DosError error = is_reset ? ResetProblem(*entry) : kNoError) return error;
  object.handles.reserve(object.handles.size() + 1);
  if (const DosError error = TakeLock(*entry, exclusive)) return error;
  if (const DosError error = is_reset ? Reset(*entry) : OpenContent(*entry)) {
    ReleaseLock(*entry, exclusive);
    if (object.handles.empty()) object.content.fd.Close();
    return error;
  }
  Hold(file, entry, exclusive);
  file.changed = is_reset;
  return kNoError;
}

DosError Volume::OpenLocked(const EntryRef& entry, bool exclusive, OpenFile& file) {
  if (!entry->object->IsFile()) return ERROR_OBJECT_WRONG_TYPE;
  entry->object->handles.reserve(entry->object->handles.size() + 1);
  if (const DosError error = OpenContent(*entry)) return error;
  Hold(file, entry, exclusive);
  return kNoError;
}

DosError Volume::Close(OpenFile& file) {
  const EntryRef entry = std::move(file.entry);
  Object& object = *entry->object;
  std::erase(object.handles, &file);
  ReleaseLock(*entry, file.exclusive);
  HostError error;
  // Some hosts report only now what could not be written.
  if (object.handles.empty()) error = HostError::Of(::close(object.content.fd.Release()));
  if (file.changed) Touch(entry->directory, true);
  return error.Is(EINTR) ? kNoError : error.ForWriting();
}

DosError Volume::ChangeFileMode(OpenFile& file, bool to_exclusive) {
  return ChangeLock(*file.entry, file.exclusive, to_exclusive);
}

DosError Volume::Read(OpenFile& file, void* buffer, std::int32_t bytes, std::int32_t& count) {
  const Opened& content = file.entry->object->content;
  if (bytes < 0) return ERROR_BAD_NUMBER;
  Record record;
  if (const DosError error = records_->Read(content, record)) return error;
  if ((record.protection & EXDF_NO_READ) != 0) return ERROR_READ_PROTECTED;
  std::size_t got = 0;
  const HostError error = ReadAt(content.fd.get(), file.position, static_cast<char*>(buffer),
                                 static_cast<std::size_t>(bytes), got);
  if (error) return error.ForReading();
  count = static_cast<std::int32_t>(got);
  file.position += count;
  return kNoError;
}

DosError Volume::ContentProblem(const Object& object) const {
  if (const DosError error = WriteProblem().Or(ForeignProblem(object))) return error;
  Record record;
  if (const DosError error = records_->Read(object.content, record)) return error;
  return (record.protection & EXDF_NO_WRITE) != 0 ? ERROR_WRITE_PROTECTED : object.write_refusal;
}

DosError Volume::Write(OpenFile& file, const void* data, std::int32_t bytes) {
  Object& object = *file.entry->object;
  if (bytes < 0) return ERROR_BAD_NUMBER;
  if (const DosError error = ContentProblem(object)) return error;
  std::int64_t end = 0;
  if (__builtin_add_overflow(file.position, bytes, &end)) return ERROR_OBJECT_TOO_LARGE;
  std::int64_t old_size = 0;
  if (const DosError error = SizeOf(file, old_size)) return error;
  const std::string_view text(static_cast<const char*>(data), static_cast<std::size_t>(bytes));
  const HostError error = WriteWhole(object.content.fd.get(), file.position, text, old_size);
  if (error) return error.ForWriting();
  file.position = end;
  file.changed = true;
  const ::DateStamp now = now_();
  MarkChanged(object.content, &now);
  return kNoError;
}

DosError Volume::SizeOf(const OpenFile& file, std::int64_t& size) const {
  HostStat stat;
  const HostError error = StatOf(file.entry->object->content.fd.get(), stat);
  size = stat.size;
  return error.ForReading();
}

DosError Volume::FindPosition(const OpenFile& file, std::int32_t mode, std::int64_t offset,
                              std::int64_t& found, std::int64_t& size) const {
  if (const DosError error = SizeOf(file, size)) return error;
  return common::FindPosition(mode, offset, file.position, size, found);
}

DosError Volume::Seek(OpenFile& file, std::int32_t mode, std::int64_t position) {
  std::int64_t target = 0;
  std::int64_t size = 0;
  if (const DosError error = FindPosition(file, mode, position, target, size)) return error;
  if (target > size) return ERROR_SEEK_ERROR;
  file.position = target;
  return kNoError;
}

DosError Volume::Resize(OpenFile& file, std::int32_t mode, std::int64_t size) {
  Object& object = *file.entry->object;
  std::int64_t target = 0;
  std::int64_t old_size = 0;
  if (const DosError error = FindPosition(file, mode, size, target, old_size)) return error;
  if (const DosError error = ContentProblem(object)) return error;
  for (const OpenFile* const other : object.handles) {
    if (other != &file && other->position > target) return ERROR_OBJECT_IN_USE;
  }
  const int fd = object.content.fd.get();
  const HostError error = HostError::Of(::ftruncate(fd, static_cast<off_t>(target)));
  if (error) return error.ForResizing();
  file.position = std::min(file.position, target);
  file.changed = true;
  const ::DateStamp now = now_();
  MarkChanged(object.content, &now);
  return kNoError;
}

}  // namespace quorle::hostdir
