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

void Volume::OpenContent(const Entry& entry, const Opened& directory) {
  Object& object = *entry.object;
  const DosError error = OpenContentAt({directory.fd.get(), entry.host_name}, root_.stat.device,
                                       object.identity, object.content, object.write_refusal);
  Check(error == ERROR_OBJECT_NOT_FOUND ? ERROR_INVALID_LOCK : error);
}

void Volume::OpenContentOf(const Found& found) {
  const Entry& entry = *found.entry;
  if (entry.object->content.fd) return;
  if (!found.way.empty()) return OpenContent(entry, found.way.back());
  if (!entry.has_name) throw DosError(ERROR_INVALID_LOCK);
  const Way way = Reach(*entry.directory, Use::kAnything);
  Opened looked;
  const DosError error = LookAt({way.back().fd.get(), entry.host_name}, looked);
  Check(IsGoneOrForeign(error) ? ERROR_INVALID_LOCK : error);
  if (looked.stat.identity() != entry.object->identity) throw DosError(ERROR_INVALID_LOCK);
  OpenContent(entry, way.back());
}

void Volume::CheckReset(Found& found) {
  const Object& object = *found.entry->object;
  CheckOwn(object);
  if (object.holders.any()) throw DosError(ERROR_OBJECT_IN_USE);
  const Record record = ReadRecord(OpenFound(found, Use::kRecord));
  if ((record.protection & EXDF_NO_DELETE) != 0) throw DosError(ERROR_DELETE_PROTECTED);
}

void Volume::Reset(const Entry& entry) {
  Check(entry.object->write_refusal);
  Opened& content = entry.object->content;
  Check(HostError::Of(::ftruncate(content.fd.get(), 0)).ForWriting());
  const auto clear = [](Record& record) {
    record.comment.clear();
    record.protection = 0;
  };
  const ::DateStamp now = now_();
  ChangeRecord(content, clear, &now);
}

DosError Volume::Open(const EntryRef& rel, std::string_view name, std::int32_t mode,
                      OpenFile& file) {
  if (mode != MODE_OLDFILE && mode != MODE_READWRITE && mode != MODE_NEWFILE) {
    return ERROR_BAD_NUMBER;
  }
  bool exclusive = mode == MODE_NEWFILE;
  // The volume comes first: with its protection on, a new file is refused whatever is there.
  if (exclusive) Check(WriteProblem());
  const EntryRef& base = rel == nullptr ? root() : rel;
  Found found{.entry = base, .way = {}, .object = {}};
  bool is_new = false;
  if (!name.empty()) {
    Hit hit = Search(*base, name);
    is_new = !hit.is_there && mode != MODE_OLDFILE;
    if (is_new) {
      found.entry = MakeFile(LocationOf(base, name, std::move(hit)));
    } else {
      if (const DosError error = FoundOf(base, std::move(hit), found)) return error;
    }
  }
  const EntryRef& entry = found.entry;
  Object& object = *entry->object;
  if (object.IsSoftLink()) return ERROR_IS_SOFT_LINK;
  if (!object.IsFile()) return ERROR_OBJECT_WRONG_TYPE;

  const bool is_reset = exclusive && !is_new;
  if (is_reset) CheckReset(found);
  object.handles.reserve(object.handles.size() + 1);
  Check(TakeLock(*entry, exclusive));
  const DosError error = Catch([&] {
    OpenContentOf(found);
    if (is_reset) Reset(*entry);
  });
  if (error) {
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
  OpenContentOf({.entry = entry, .way = {}, .object = {}});
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
  if (object.handles.empty()) error = HostError::Of(object.content.fd.CloseChecked());
  if (file.changed) Touch(entry->directory);
  return error.Is(EINTR) ? kNoError : error.ForWriting();
}

DosError Volume::ChangeFileMode(OpenFile& file, bool to_exclusive) {
  return ChangeLock(*file.entry, file.exclusive, to_exclusive);
}

DosError Volume::Read(OpenFile& file, void* buffer, std::int32_t bytes, std::int32_t& count) {
  const Opened& content = file.entry->object->content;
  if (bytes < 0) return ERROR_BAD_NUMBER;
  if ((ReadRecord(content).protection & EXDF_NO_READ) != 0) return ERROR_READ_PROTECTED;
  std::size_t got = 0;
  Check(ReadAt(content.fd.get(), file.position, static_cast<char*>(buffer),
               static_cast<std::size_t>(bytes), got)
            .ForReading());
  count = static_cast<std::int32_t>(got);
  file.position += count;
  return kNoError;
}

void Volume::CheckContent(const Object& object) const {
  Check(WriteProblem());
  CheckOwn(object);
  const Record record = ReadRecord(object.content);
  if ((record.protection & EXDF_NO_WRITE) != 0) throw DosError(ERROR_WRITE_PROTECTED);
  Check(object.write_refusal);
}

DosError Volume::Write(OpenFile& file, const void* data, std::int32_t bytes) {
  Object& object = *file.entry->object;
  if (bytes < 0) return ERROR_BAD_NUMBER;
  CheckContent(object);
  std::int64_t end = 0;
  if (__builtin_add_overflow(file.position, bytes, &end)) return ERROR_OBJECT_TOO_LARGE;
  std::int64_t old_size = 0;
  Check(SizeOf(file, old_size));
  const std::string_view text(static_cast<const char*>(data), static_cast<std::size_t>(bytes));
  Check(WriteWhole(object.content.fd.get(), file.position, text, old_size).ForWriting());
  file.position = end;
  file.changed = true;
  MarkChanged(object.content);
  return kNoError;
}

DosError Volume::SizeOf(const OpenFile& file, std::int64_t& size) const {
  HostStat stat;
  const HostError error = StatOf(file.entry->object->content.fd.get(), stat);
  size = stat.size;
  return error.ForReading();
}

std::int64_t Volume::FindPosition(const OpenFile& file, std::int32_t mode, std::int64_t offset,
                                  std::int64_t& size) const {
  std::int64_t found = 0;
  Check(SizeOf(file, size));
  Check(common::FindPosition(mode, offset, file.position, size, found));
  return found;
}

DosError Volume::Seek(OpenFile& file, std::int32_t mode, std::int64_t position) {
  std::int64_t size = 0;
  const std::int64_t target = FindPosition(file, mode, position, size);
  if (target > size) return ERROR_SEEK_ERROR;
  file.position = target;
  return kNoError;
}

DosError Volume::Resize(OpenFile& file, std::int32_t mode, std::int64_t size) {
  Object& object = *file.entry->object;
  std::int64_t old_size = 0;
  const std::int64_t target = FindPosition(file, mode, size, old_size);
  CheckContent(object);
  for (const OpenFile* const other : object.handles) {
    if (other != &file && other->position > target) return ERROR_OBJECT_IN_USE;
  }
  const int fd = object.content.fd.get();
  Check(HostError::Of(::ftruncate(fd, static_cast<off_t>(target))).ForResizing());
  file.position = std::min(file.position, target);
  file.changed = true;
  MarkChanged(object.content);
  return kNoError;
}

}  // namespace quorle::hostdir
