#include <fcntl.h>
#include <sys/stat.h>

#include <cstddef>
#include <ctime>
#include <string>
#include <utility>

#include "handlers/common/names.h"
#include "handlers/hostdir/host_content.h"
#include "handlers/hostdir/host_dates.h"
#include "handlers/hostdir/host_names.h"
#include "handlers/hostdir/volume.h"

// Dates and other attributes; examining objects.

namespace quorle::hostdir {
namespace {

/// FSPrivate of a scan that came to its end.
constexpr std::intptr_t kEnded = -1;

bool SameTime(const std::timespec& a, const std::timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

::DateStamp DateOf(const Opened& opened, const Record& record) {
  if (record.date && SameTime(record.date->stand_in, opened.stat.changed)) {
    return record.date->date;
  }
  return FromHostTime(opened.stat.changed);
}

}  // namespace

// ---- Changing ----------------------------------------------------------------------------------

DosError Volume::ChangeRecord(Opened& object, const Change& change, const ::DateStamp* date) {
  Record record;
  if (const DosError error = records_->Read(object, record)) return error;
  change(record);
  if (const DosError error = date ? Date(object, record, *date) : kNoError) return error;
  return records_->Write(object, record);
}

DosError Volume::ChangeAttributes(const EntryRef& rel, std::string_view name, const Change& change,
                                  const ::DateStamp* date) {
  if (const DosError error = WriteProblem()) return error;
  EntryRef entry;
  Opened object;
  if (const DosError error = FindTarget(rel, name, entry)) return error;
  if (const DosError error = ForeignProblem(*entry->object)) return error;
  if (const DosError error = Reach(*entry, object)) return error;
  if (const DosError error = ChangeRecord(object, change, date)) return error;
  // Only from the directory upward: attributes of a copy must survive being set.
  Touch(entry->directory, false);
  return kNoError;
}

DosError Volume::Date(Opened& opened, Record& record, const ::DateStamp& date) {
  const std::timespec times[2] = {{0, UTIME_OMIT}, ToHostTime(date)};
  const HostError refusal = HostError::Of(::futimens(opened.fd.get(), times));
  // A time that this filesystem does not have, or an object of another user: the record keeps it.
  if (refusal && !refusal.Is(EINVAL, EPERM, EACCES, EBADF)) return refusal.ForWriting();
  if (const HostError error = StatOf(opened.fd.get(), opened.stat)) return error.ForReading();
  record.date.reset();
  if (!SameDate(FromHostTime(opened.stat.changed), date)) {
    record.date = {date, opened.stat.changed};
  }
  return kNoError;
}

void Volume::MarkChanged(Opened& object, const ::DateStamp* date) {
  Record record;
  if (records_->Read(object, record)) return;
  const std::string before = ToText(record);
  record.protection &= ~std::uint32_t{EXDF_ARCHIVE};
  if (date != nullptr && Date(object, record, *date)) return;
  if (ToText(record) != before) static_cast<void>(records_->Write(object, record));
}

void Volume::Touch(const EntryRef& directory, bool dated) {
  if (directory == nullptr) return;
  const ::DateStamp now = now_();
  const auto mark = [&](Opened& opened) {
    if (own_.MayChange(opened.stat.identity())) MarkChanged(opened, dated ? &now : nullptr);
  };
  Opened last;
  static_cast<void>(Reach(*directory, last, mark));
}

// ---- Examining ---------------------------------------------------------------------------------

DosError Volume::ReadRecord(const Opened& opened, Record& record) const {
  const DosError error = records_->Read(opened, record);
  return error == ERROR_READ_PROTECTED ? kNoError : error;
}

DosError Volume::InfoOf(const Opened& opened, ObjectKind kind, ObjectInfo& info) const {
  Record record;
  if (const DosError error = ReadRecord(opened, record)) return error;
  info.id = opened.stat.inode;
  info.date = DateOf(opened, record);
  info.protection = record.protection;
  info.owner = record.owner;
  info.group = record.group;
  info.comment = std::move(record.comment);
  switch (kind) {
    case ObjectKind::kFile:
      info.type = FSO_TYPE_FILE;
      info.size = opened.stat.size;
      // The names of a file are equal on the host: none of them is the link.
      info.references = opened.stat.links;
      return kNoError;
    case ObjectKind::kDirectory:
      info.type = FSO_TYPE_DIRECTORY;
      return kNoError;
    case ObjectKind::kSoftLink:
      break;
  }
  info.type = static_cast<std::uint32_t>(FSO_TYPE_SOFTLINK) | FSOF_LINK;
  info.link.resize(common::kMaxTarget);
  std::size_t length = 0;
  const HostError error = ReadAt(opened.fd.get(), 0, info.link.data(), info.link.size(), length);
  info.link.resize(length);
  return error.ForReading();
}

DosError Volume::Examine(const Entry& entry, ObjectInfo& info) {
  Opened opened;
  const Opened& content = entry.object->content;
  // An open file is itself, wherever the host has put its name.
  const DosError error = content.fd ? OpenAgain(content, opened) : Reach(entry, opened);
  return error ? error : InfoOf(opened, entry.object->kind, info);
}

DosError Volume::ReadTarget(const Entry& entry, std::string& target) {
  if (!entry.object->IsSoftLink()) return ERROR_OBJECT_WRONG_TYPE;
  ObjectInfo info;
  const DosError error = Examine(entry, info);
  target = std::move(info.link);
  return error;
}

DosError Volume::StartScan(const ::PRIVATE_ExamineDirContext& context, const Opened& directory,
                           std::intptr_t& scan) {
  Scan started{.context = &context, .lock = context.Directory, .names = {}, .next = 0};
  if (const DosError error = ListNames(directory.fd.get(), started.names)) return error;
  // A context that starts again has left its last scan behind.
  std::erase_if(scans_, [&context](const auto& entry) { return entry.second.context == &context; });
  scans_.emplace(++last_scan_, std::move(started));
  scan = last_scan_;
  return kNoError;
}

DosError Volume::Next(const EntryRef& directory, ::PRIVATE_ExamineDirContext& context,
                      EntryRef& found, ObjectInfo& info) {
  std::intptr_t& scan = context.FSPrivate[0];
  if (!directory->object->IsDirectory()) return ERROR_OBJECT_WRONG_TYPE;
  if (scan == kEnded) return ERROR_NO_MORE_ENTRIES;
  Opened opened;
  if (const DosError error = Reach(*directory, opened)) return error;
  if (const DosError error = scan == 0 ? StartScan(context, opened, scan) : kNoError) return error;
  const auto running = scans_.find(scan);
  if (running == scans_.end()) return ERROR_INVALID_LOCK;
  Scan& state = running->second;
  for (; state.next < state.names.size(); ++state.next) {
    const std::string& host_name = state.names[state.next];
    std::string name;
    Opened object;
    if (!FromHostName(host_name, name)) continue;
    const DosError error = OpenAt({opened.fd.get(), host_name}, root_.stat.device, object);
    if (IsGoneOrForeign(error)) continue;
    // What only could not be looked at now is not passed over.
    if (error) return error;
    ++state.next;
    const DosError problem = EntryOf(directory, host_name, object, found);
    return problem ? problem : InfoOf(object, found->object->kind, info);
  }
  scans_.erase(running);
  scan = kEnded;
  return ERROR_NO_MORE_ENTRIES;
}

void Volume::EndScans(const ::Lock* lock) {
  std::erase_if(scans_, [lock](const auto& entry) { return entry.second.lock == lock; });
}

}  // namespace quorle::hostdir
