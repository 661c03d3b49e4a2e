#include <fcntl.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
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

/// Sets the time of change of something open; that of access is set to now when `both`, else it stays.
HostError SetTime(int fd, const std::timespec& time, bool both) {
  std::timespec times[2] = {{0, UTIME_OMIT}, time};
  // Not UTIME_NOW: what cannot set one may not know that either.
  if (both) ::clock_gettime(CLOCK_REALTIME, &times[0]);
  return HostError::Of(::futimens(fd, times));
}

/// Whether every filesystem has the time, as closely as it has any: one from 1980 to 2037.
bool IsCommon(const std::timespec& time) {
  return time.tv_sec >= 315'532'800 && time.tv_sec < 2'145'916'800;
}

void ClearArchive(Record& record) {
  record.protection &= ~std::uint32_t{EXDF_ARCHIVE};
}

::DateStamp DateOf(const Opened& opened, const Record& record) {
  if (record.date && SameTime(record.date->stand_in, opened.stat.changed)) {
    return record.date->date;
  }
  return FromHostTime(opened.stat.changed);
}

}  // namespace

// ---- Changing ----------------------------------------------------------------------------------

void Volume::ChangeRecord(Opened& object, Record& record, const Change& change,
                          const ::DateStamp* date) {
  const std::string before = ToText(record);
  change(record);
  if (date != nullptr) Date(object, record, *date);
  if (ToText(record) == before) return;
  if (object.IsDirectory()) names_.ForgetMark(object.stat.identity());
  Check(records_->Write(object, record));
}

DosError Volume::ChangeAttributes(const EntryRef& rel, std::string_view name, const Change& change,
                                  const ::DateStamp* date) {
  if (const DosError error = WriteProblem()) return error;
  Found found;
  if (const DosError error = LookUpTarget(rel, name, found)) return error;
  CheckOwn(*found.entry->object);
  // The times of a directory may become those that it had before somebody changed it.
  if (date != nullptr) names_.Forget(found.entry->object->identity);
  ChangeRecord(OpenFound(found, date != nullptr ? Use::kAnything : Use::kRecord), change, date);
  // Only from the directory upward: attributes of a copy must survive being set.
  if (found.entry != root()) TouchAll(found.way, nullptr);
  return kNoError;
}

void Volume::Date(Opened& opened, Record& record, const ::DateStamp& date) {
  const std::timespec time = ToHostTime(date);
  const auto set = [&](bool both) {
    const HostError refusal = SetTime(opened.fd.get(), time, both);
    // A time that this filesystem does not have, or an object of another user: the record keeps it.
    if (!refusal.Is(EINVAL, EPERM, EACCES, EBADF)) Check(refusal.ForWriting());
    Check(StatAgain(opened));
    return SameTime(opened.stat.changed, time);
  };
  const bool is_set = set(date_both_ == Both::kNeeded);
  if (!is_set && date_both_ == Both::kUnknown && IsCommon(time)) {
    date_both_ = set(true) ? Both::kNeeded : Both::kNoHelp;
  }
  record.date.reset();
  if (!SameDate(FromHostTime(opened.stat.changed), date)) {
    record.date = {date, opened.stat.changed};
  }
}

void Volume::MarkChanged(Opened& file) {
  const ::DateStamp now = now_();
  static_cast<void>(Catch([&] { ChangeRecord(file, ClearArchive, &now); }));
}

void Volume::MarkDirectory(Opened& directory, std::optional<NamesCache::Mark> mark,
                           const ::DateStamp* date, bool is_known) {
  static_cast<void>(Catch([&] {
    if (!mark) mark = names_.NewMark(ReadRecord(directory));
    ChangeRecord(directory, mark->record, ClearArchive, date);
    if (date == nullptr) return;
    mark->date = *date;
    if (is_known) names_.Accept(directory.stat);
    names_.SetMark(directory.stat, std::move(*mark));
  }));
}

void Volume::TouchAll(Way& way, const ::DateStamp* date) {
  for (Opened& directory : way) {
    const Identity identity = directory.stat.identity();
    if (!own_.MayChange(identity)) continue;
    std::optional<NamesCache::Mark> mark;
    bool is_known = false;
    if (names_.Remembered(identity) != nullptr) {
      const bool is_root = &directory == way.data();
      if (is_root && StatAgain(directory)) continue;
      mark = names_.MarkOf(directory.stat);
      if (mark && (date == nullptr || SameDate(mark->date, *date))) continue;
      is_known = date != nullptr && names_.Current(directory.stat) != nullptr;
    }
    MarkDirectory(directory, std::move(mark), date, is_known);
  }
}

void Volume::Touch(const EntryRef& directory) {
  const ::DateStamp now = now_();
  static_cast<void>(Catch([&] {
    Way way = Reach(*directory, Use::kAnything);
    TouchAll(way, &now);
  }));
}

void Volume::TouchNames(Location changed) {
  const ::DateStamp now = now_();
  static_cast<void>(Catch([&] {
    if (changed.way.empty()) changed.way = Reach(*changed.parent, Use::kAnything);
    Opened directory = std::move(changed.way.back());
    changed.way.pop_back();
    TouchAll(changed.way, &now);
    if (!own_.MayChange(directory.stat.identity())) return;
    if (changed.is_new && !names_.are_times_kept()) {
      // Dating it would hide whether the host does.
      HostStat after;
      if (!StatOf(directory.fd.get(), after)) names_.NoteTimes(directory.stat, after);
    }
    MarkDirectory(directory, std::move(changed.mark), &now, changed.is_known);
  }));
}

void Volume::TouchAdded(Location changed) {
  if (changed.is_known) names_.Add(changed.parent->object->identity, changed.host_name);
  TouchNames(std::move(changed));
}

void Volume::TouchRemoved(Location changed) {
  if (changed.is_known) names_.Remove(changed.parent->object->identity, changed.host_name);
  TouchNames(std::move(changed));
}

// ---- Examining ---------------------------------------------------------------------------------

Record Volume::ReadRecord(const Opened& opened) const {
  Record record;
  Check(records_->Read(opened, record));
  return record;
}

Record Volume::ReadRecordIfAllowed(const Opened& opened) const {
  Record record;
  const DosError error = records_->Read(opened, record);
  if (error != ERROR_READ_PROTECTED) Check(error);
  return record;
}

ObjectInfo Volume::InfoOf(const Opened& opened, ObjectKind kind) const {
  Record record = ReadRecordIfAllowed(opened);
  ObjectInfo info;
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
      return info;
    case ObjectKind::kDirectory:
      info.type = FSO_TYPE_DIRECTORY;
      return info;
    case ObjectKind::kSoftLink:
      break;
  }
  info.type = static_cast<std::uint32_t>(FSO_TYPE_SOFTLINK) | FSOF_LINK;
  info.link.resize(common::kMaxTarget);
  std::size_t length = 0;
  Check(ReadAt(opened.fd.get(), 0, info.link.data(), info.link.size(), length).ForReading());
  info.link.resize(length);
  return info;
}

DosError Volume::Examine(const Entry& entry, ObjectInfo& info) {
  const Opened& content = entry.object->content;
  // An open file is itself, wherever the host has put its name.
  Opened opened = content;
  if (!content.fd) {
    opened = Reach(entry, entry.object->IsSoftLink() ? Use::kAnything : Use::kRecord).back();
  }
  // Of others than these it was seen just now what they are.
  if (content.fd || entry.directory == nullptr) {
    Check(StatAgain(opened));
  }
  info = InfoOf(opened, entry.object->kind);
  return kNoError;
}

DosError Volume::ReadTarget(const Entry& entry, std::string& target) {
  if (!entry.object->IsSoftLink()) return ERROR_OBJECT_WRONG_TYPE;
  ObjectInfo info;
  Check(Examine(entry, info));
  target = std::move(info.link);
  return kNoError;
}

std::intptr_t Volume::StartScan(const ::PRIVATE_ExamineDirContext& context, const Entry& scanned,
                                Opened& directory) {
  Scan started{.context = &context, .lock = context.Directory, .names = {}, .next = 0};
  if (scanned.directory == nullptr) Check(StatAgain(directory));
  const DirectoryNames* names = names_.Current(directory.stat);
  if (names == nullptr) Check(names_.Read(directory, names));
  started.names.assign(names->all().begin(), names->all().end());
  // A context that starts again has left its last scan behind.
  std::erase_if(scans_, [&context](const auto& entry) { return entry.second.context == &context; });
  scans_.emplace(++last_scan_, std::move(started));
  return last_scan_;
}

DosError Volume::Next(const EntryRef& directory, ::PRIVATE_ExamineDirContext& context,
                      EntryRef& found, ObjectInfo& info) {
  std::intptr_t& scan = context.FSPrivate[0];
  if (!directory->object->IsDirectory()) return ERROR_OBJECT_WRONG_TYPE;
  if (scan == kEnded) return ERROR_NO_MORE_ENTRIES;
  Opened opened = Reach(*directory, Use::kAnything).back();
  if (scan == 0) scan = StartScan(context, *directory, opened);
  const auto running = scans_.find(scan);
  if (running == scans_.end()) return ERROR_INVALID_LOCK;
  Scan& state = running->second;
  for (; state.next < state.names.size(); ++state.next) {
    const std::string& host_name = state.names[state.next];
    std::string name;
    Opened object;
    if (!FromHostName(host_name, name)) continue;
    const NameAt at{opened.fd.get(), host_name};
    DosError error = LookAt(at, object);
    if (!error) error = OpenFor(Use::kRecord, at, object);
    if (IsGoneOrForeign(error)) continue;
    // What only could not be looked at now is not passed over.
    Check(error);
    ++state.next;
    found = EntryOf(directory, at, object);
    if (found->object->IsSoftLink()) Check(OpenFor(Use::kAnything, at, object));
    info = InfoOf(object, found->object->kind);
    return kNoError;
  }
  scans_.erase(running);
  scan = kEnded;
  return ERROR_NO_MORE_ENTRIES;
}

void Volume::EndScans(const ::Lock* lock) {
  std::erase_if(scans_, [lock](const auto& entry) { return entry.second.lock == lock; });
}

}  // namespace quorle::hostdir
