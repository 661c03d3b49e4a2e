#include "handlers/hostdir/volume.h"

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "handlers/common/names.h"
#include "handlers/common/vectors.h"
#include "handlers/hostdir/host_dates.h"
#include "handlers/hostdir/host_names.h"

namespace quorle::hostdir {
namespace {

using common::IsName;
using common::kMaxName;
using common::kMaxTarget;
using common::SameName;

/// FSPrivate of a scan that came to its end.
constexpr std::intptr_t kEnded = -1;

/// `name` with the case of its letters turned round.
std::string OtherCase(std::string_view name) {
  std::string other(name);
  for (char& c : other) {
    const auto folded = static_cast<char>(common::Fold(c));
    // In both halves of Latin-1 the small letters stand 0x20 behind the others.
    const auto small = static_cast<char>(static_cast<unsigned char>(c) | 0x20);
    if (folded != c) {
      c = folded;
    } else if (static_cast<char>(common::Fold(small)) == c) {
      c = small;
    }
  }
  return other;
}

/// Whether `name` is there in another case as well: it may be the host that ignores case, and then
/// the name that was asked for need not be the one that the object has.
bool IsThereInOtherCase(int directory, std::string_view name) {
  const std::string other = OtherCase(name);
  HostStat found;
  return other != name && StatAt(directory, ToHostName(other), found) == 0;
}

bool SameTime(const std::timespec& a, const std::timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

::DateStamp DateOf(const Opened& opened, const Record& record) {
  if (record.date && SameTime(record.date->stand_in, opened.stat.changed)) {
    return record.date->date;
  }
  return FromHostTime(opened.stat.changed);
}

/// Reads up to `bytes` bytes; `count` says how many there were. Returns an error of the host.
int ReadAt(int fd, std::int64_t position, char* to, std::size_t bytes, std::size_t& count) {
  count = 0;
  while (count < bytes) {
    const ssize_t got = ::pread(fd, to + count, bytes - count,
                                static_cast<off_t>(position) + static_cast<off_t>(count));
    if (got == 0) break;
    if (got > 0) {
      count += static_cast<std::size_t>(got);
    } else if (errno != EINTR) {
      return count == 0 ? errno : 0;
    }
  }
  return 0;
}

/// Asks the host for the room that a write takes, before anything is written over. Returns an error
/// of the host when there is none, 0 when there is or when the host cannot tell.
int MakeRoom(int fd, std::int64_t position, std::int64_t bytes) {
  if (::fallocate(fd, FALLOC_FL_KEEP_SIZE, static_cast<off_t>(position),
                  static_cast<off_t>(bytes)) == 0) {
    return 0;
  }
  return errno == ENOSPC || errno == EDQUOT || errno == EFBIG ? errno : 0;
}

/// Writes all bytes. Returns an error of the host.
int WriteAt(int fd, std::int64_t position, const char* from, std::size_t bytes) {
  while (bytes > 0) {
    const ssize_t put = ::pwrite(fd, from, bytes, static_cast<off_t>(position));
    if (put == 0) return ENOSPC;
    if (put > 0) {
      from += put;
      position += put;
      bytes -= static_cast<std::size_t>(put);
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

/// What the journal calls `host_name` in `directory`.
std::string PathOf(const Place& directory, const std::string& host_name) {
  std::string path = host_name;
  for (const Place* at = &directory; at->directory != nullptr; at = at->directory.get()) {
    path.insert(0, at->host_name + '/');
  }
  return path;
}

}  // namespace

Volume::Volume(VolumeSettings settings, Now now, Opened root, std::unique_ptr<RecordStore> records,
               Scratch scratch, Journal journal, Report report)
    : settings_(std::move(settings)),
      root_(std::move(root)),
      records_(std::move(records)),
      now_(std::move(now)),
      own_(scratch, root_.stat.identity()),
      journal_(std::move(journal)),
      report_(std::move(report)),
      aside_(AsideName()),
      tree_(root_.stat.identity()) {
  journal_.Aside(aside_);
  tree_.root()->name = common::RootName(settings_);
  Record record;
  if (!records_->Read(root_, record)) kept_label_ = record.label;
  name_at_mount_ = tree_.root()->name;
}

// ---- Looking up, locking -----------------------------------------------------------------------

DosError Volume::Reach(const Place& place, Opened& opened, const Visit& visit) {
  std::vector<const Place*> way;
  for (const Place* at = &place; at->directory != nullptr; at = at->directory.get()) {
    if (!at->named) return ERROR_INVALID_LOCK;
    way.push_back(at);
  }
  if (const DosError error = OpenAgain(root_, opened)) return error;
  if (visit) visit(opened);
  for (auto step = way.rbegin(); step != way.rend(); ++step) {
    const Place& next = **step;
    Opened above = std::move(opened);
    opened = {};
    const DosError error = OpenAt(above.fd.get(), next.host_name, root_.stat.device, opened);
    if (error == ERROR_OBJECT_NOT_FOUND || error == ERROR_OBJECT_WRONG_TYPE) {
      return ERROR_INVALID_LOCK;
    }
    if (error) return error;
    if (opened.stat.identity() != next.object->identity ||
        opened.IsDirectory() != next.object->IsDirectory()) {
      return ERROR_INVALID_LOCK;
    }
    if (visit) visit(opened);
  }
  return kNoError;
}

DosError Volume::Search(int directory, std::string_view name, std::string& host_name) {
  host_name = ToHostName(name);
  HostStat stat;
  const int error = StatAt(directory, host_name, stat);
  if (!error && !IsThereInOtherCase(directory, name)) return kNoError;
  if (error && error != ENOENT) return CodeFor(error, ERROR_READ_PROTECTED);

  std::vector<std::string> names;
  if (const DosError problem = ListNames(directory, names)) return problem;
  const std::string* best = nullptr;
  std::string shown;
  for (const std::string& candidate : names) {
    if (!FromHostName(candidate, shown) || !SameName(shown, name)) continue;
    if (best == nullptr || candidate == host_name) best = &candidate;
  }
  if (best == nullptr) return ERROR_OBJECT_NOT_FOUND;
  host_name = *best;
  return kNoError;
}

DosError Volume::PlaceOf(const PlaceRef& directory, const std::string& host_name,
                         const Opened& opened, PlaceRef& place) {
  Kind kind = Kind::kDirectory;
  if (opened.IsFile()) {
    Record record;
    const DosError error = records_->Read(opened, record);
    // What the host does not let us look into is a file.
    if (error && error != ERROR_READ_PROTECTED) return error;
    kind = record.soft_link ? Kind::kSoftLink : Kind::kFile;
  }
  std::string name;
  if (!FromHostName(host_name, name)) return ERROR_OBJECT_NOT_FOUND;
  place = tree_.At(directory, host_name, name, opened.stat.identity(), kind);
  return kNoError;
}

DosError Volume::Find(const PlaceRef& rel, std::string_view name, PlaceRef& found) {
  const PlaceRef& base = rel == nullptr ? root() : rel;
  if (name.empty()) {
    found = base;
    return kNoError;
  }
  if (!base->object->IsDirectory()) return ERROR_OBJECT_WRONG_TYPE;
  if (!IsName(name)) return ERROR_INVALID_COMPONENT_NAME;
  Opened directory;
  DosError error = Reach(*base, directory);
  std::string host_name;
  if (!error) error = Search(directory.fd.get(), name, host_name);
  Opened opened;
  if (!error) error = OpenAt(directory.fd.get(), host_name, root_.stat.device, opened);
  return error ? error : PlaceOf(base, host_name, opened, found);
}

DosError Volume::FindTarget(const PlaceRef& rel, std::string_view name, PlaceRef& found) {
  if (const DosError error = Find(rel, name, found)) return error;
  return found->object->IsSoftLink() ? ERROR_IS_SOFT_LINK : kNoError;
}

DosError Volume::TakeLock(Place& place, bool& exclusive) {
  Object& object = *place.object;
  if (!object.IsFile()) {
    exclusive = false;
  } else if (const DosError error = object.holders.Take(exclusive)) {
    return error;
  }
  ++place.uses;
  ++in_use_;
  return kNoError;
}

void Volume::ReleaseLock(Place& place, bool exclusive) {
  if (place.object->IsFile()) place.object->holders.Release(exclusive);
  --place.uses;
  --in_use_;
}

DosError Volume::ChangeLock(Place& place, bool& exclusive, bool to_exclusive) {
  if (place.object->IsFile()) return place.object->holders.Change(exclusive, to_exclusive);
  return to_exclusive ? ERROR_OBJECT_WRONG_TYPE : kNoError;
}

// ---- Files -------------------------------------------------------------------------------------

void Volume::Hold(OpenFile& file, const PlaceRef& place, bool exclusive) {
  file = {};
  file.entry = place;
  file.exclusive = exclusive;
  place->object->handles.push_back(&file);
}

DosError Volume::OpenContent(const Place& place) {
  Object& object = *place.object;
  if (object.content.fd) return kNoError;
  if (!place.named) return ERROR_INVALID_LOCK;
  Opened directory;
  if (const DosError error = Reach(*place.directory, directory)) return error;
  const DosError error = OpenContentAt(directory.fd.get(), place.host_name, root_.stat.device,
                                       object.identity, object.content, object.write_refusal);
  return error == ERROR_OBJECT_NOT_FOUND ? ERROR_INVALID_LOCK : error;
}

DosError Volume::MakeFile(const PlaceRef& rel, std::string_view name, PlaceRef& made) {
  if (const DosError problem = WriteProblem()) return problem;
  PlaceRef place;
  Opened directory;
  Opened content;
  DosError error = FindPlace(rel, name, place, directory);
  const std::string host_name = ToHostName(name);
  if (!error) error = MakeOwnFile(*place, directory, host_name, content);
  if (!error) {
    error = Furnish(PathOf(*place, host_name), directory, host_name, content, false);
  }
  if (error) return error;
  made = tree_.Anew(place, host_name, name, content.stat.identity(), Kind::kFile);
  made->object->content = std::move(content);
  made->object->write_refusal = kNoError;
  Touch(place, true);
  return kNoError;
}

DosError Volume::Reset(Object& object) {
  if (object.write_refusal) return object.write_refusal;
  if (::ftruncate(object.content.fd.get(), 0) != 0) return CodeFor(errno, ERROR_WRITE_PROTECTED);
  Record record;
  if (const DosError error = records_->Read(object.content, record)) return error;
  record.comment.clear();
  record.protection = 0;
  if (const DosError error = Date(object.content, record, now_())) return error;
  return records_->Write(object.content, record);
}

DosError Volume::Open(const PlaceRef& rel, std::string_view name, std::int32_t mode,
                      OpenFile& file) {
  if (mode != MODE_OLDFILE && mode != MODE_READWRITE && mode != MODE_NEWFILE) {
    return ERROR_BAD_NUMBER;
  }
  // The volume comes first: with its protection on, a new file is refused whatever is there.
  if (mode == MODE_NEWFILE) {
    if (const DosError problem = WriteProblem()) return problem;
  }
  PlaceRef place;
  DosError error = FindTarget(rel, name, place);
  const bool is_new = error == ERROR_OBJECT_NOT_FOUND && mode != MODE_OLDFILE;
  if (is_new) error = MakeFile(rel, name, place);
  if (error) return error;
  Object& object = *place->object;
  if (!object.IsFile()) return ERROR_OBJECT_WRONG_TYPE;

  bool exclusive = mode == MODE_NEWFILE;
  const bool is_reset = exclusive && !is_new;
  if (is_reset) {
    if (const DosError foreign = ForeignProblem(object)) return foreign;
    if (object.holders.any()) return ERROR_OBJECT_IN_USE;
    Record record;
    error = RecordOf(*place, record);
    if (error) return error;
    if ((record.protection & EXDF_NO_DELETE) != 0) return ERROR_DELETE_PROTECTED;
  }
  object.handles.reserve(object.handles.size() + 1);
  error = TakeLock(*place, exclusive);
  if (error) return error;
  error = OpenContent(*place);
  if (!error && is_reset) error = Reset(object);
  if (error) {
    ReleaseLock(*place, exclusive);
    if (object.handles.empty()) object.content.fd.Close();
    return error;
  }
  Hold(file, place, exclusive);
  file.changed = is_reset;
  return kNoError;
}

DosError Volume::OpenLocked(const PlaceRef& place, bool exclusive, OpenFile& file) {
  if (!place->object->IsFile()) return ERROR_OBJECT_WRONG_TYPE;
  place->object->handles.reserve(place->object->handles.size() + 1);
  if (const DosError error = OpenContent(*place)) return error;
  Hold(file, place, exclusive);
  return kNoError;
}

DosError Volume::Close(OpenFile& file) {
  const PlaceRef place = std::move(file.entry);
  Object& object = *place->object;
  std::erase(object.handles, &file);
  ReleaseLock(*place, file.exclusive);
  DosError error;
  // Some hosts tell only now what could not be written.
  if (object.handles.empty() && ::close(object.content.fd.Release()) != 0 && errno != EINTR) {
    error = CodeFor(errno, ERROR_WRITE_PROTECTED);
  }
  if (file.changed) Touch(place->directory, true);
  return error;
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
  const int error = ReadAt(content.fd.get(), file.position, static_cast<char*>(buffer),
                           static_cast<std::size_t>(bytes), got);
  if (error) return CodeFor(error, ERROR_READ_PROTECTED);
  count = static_cast<std::int32_t>(got);
  file.position += count;
  return kNoError;
}

DosError Volume::Write(OpenFile& file, const void* data, std::int32_t bytes) {
  Object& object = *file.entry->object;
  if (bytes < 0) return ERROR_BAD_NUMBER;
  if (const DosError problem = WriteProblem()) return problem;
  if (const DosError foreign = ForeignProblem(object)) return foreign;
  Record record;
  if (const DosError error = records_->Read(object.content, record)) return error;
  if ((record.protection & EXDF_NO_WRITE) != 0) return ERROR_WRITE_PROTECTED;
  if (object.write_refusal) return object.write_refusal;
  std::int64_t end = 0;
  if (__builtin_add_overflow(file.position, bytes, &end)) return ERROR_OBJECT_TOO_LARGE;
  std::int64_t old_size = 0;
  if (const DosError error = SizeOf(file, old_size)) return error;
  const int fd = object.content.fd.get();
  int error = MakeRoom(fd, file.position, bytes);
  if (!error) {
    error =
        WriteAt(fd, file.position, static_cast<const char*>(data), static_cast<std::size_t>(bytes));
  }
  if (error) {
    // What was added before the room ran out goes again, and frees it. Should that fail as well,
    // the file has grown, which the platform allows.
    static_cast<void>(::ftruncate(fd, static_cast<off_t>(old_size)) == 0);
    return CodeFor(error, ERROR_WRITE_PROTECTED);
  }
  file.position = end;
  file.changed = true;
  Stamp(object);
  return kNoError;
}

DosError Volume::SizeOf(const OpenFile& file, std::int64_t& size) {
  HostStat stat;
  const int error = StatOf(file.entry->object->content.fd.get(), stat);
  size = stat.size;
  return CodeFor(error, ERROR_READ_PROTECTED);
}

DosError Volume::Seek(OpenFile& file, std::int32_t mode, std::int64_t position) {
  std::int64_t size = 0;
  if (const DosError error = SizeOf(file, size)) return error;
  std::int64_t target = 0;
  const DosError error = common::FindPosition(mode, position, file.position, size, target);
  if (error) return error;
  if (target > size) return ERROR_SEEK_ERROR;
  file.position = target;
  return kNoError;
}

DosError Volume::Resize(OpenFile& file, std::int32_t mode, std::int64_t size) {
  Object& object = *file.entry->object;
  std::int64_t old_size = 0;
  DosError error = SizeOf(file, old_size);
  if (error) return error;
  std::int64_t target = 0;
  error = common::FindPosition(mode, size, file.position, old_size, target);
  if (error) return error;
  if (const DosError problem = WriteProblem()) return problem;
  if (const DosError foreign = ForeignProblem(object)) return foreign;
  Record record;
  error = records_->Read(object.content, record);
  if (error) return error;
  if ((record.protection & EXDF_NO_WRITE) != 0) return ERROR_WRITE_PROTECTED;
  if (object.write_refusal) return object.write_refusal;
  for (const OpenFile* const other : object.handles) {
    if (other != &file && other->position > target) return ERROR_OBJECT_IN_USE;
  }
  if (::ftruncate(object.content.fd.get(), static_cast<off_t>(target)) != 0) {
    // EINVAL: more than any file here can have.
    return errno == EINVAL ? ERROR_DISK_FULL : CodeFor(errno, ERROR_WRITE_PROTECTED);
  }
  file.position = std::min(file.position, target);
  file.changed = true;
  Stamp(object);
  return kNoError;
}

void Volume::Stamp(Object& object) {
  Record record;
  if (records_->Read(object.content, record)) return;
  const std::string before = ToText(record);
  record.protection &= ~std::uint32_t{EXDF_ARCHIVE};
  if (Date(object.content, record, now_())) return;
  if (ToText(record) != before) static_cast<void>(records_->Write(object.content, record));
}

// ---- Objects -----------------------------------------------------------------------------------

DosError Volume::FindPlace(const PlaceRef& rel, std::string_view name, PlaceRef& place,
                           Opened& directory) {
  place = rel == nullptr ? root() : rel;
  if (name.empty()) return ERROR_OBJECT_EXISTS;
  if (!place->object->IsDirectory()) return ERROR_OBJECT_WRONG_TYPE;
  if (!IsName(name)) return ERROR_INVALID_COMPONENT_NAME;
  if (const DosError error = Reach(*place, directory)) return error;
  std::string host_name;
  const DosError error = Search(directory.fd.get(), name, host_name);
  if (!error) return ERROR_OBJECT_EXISTS;
  return error == ERROR_OBJECT_NOT_FOUND ? ForeignProblem(*place->object) : error;
}

DosError Volume::ForeignProblem(const Object& object) const {
  return own_.MayChange(object.identity) ? kNoError : ERROR_INVALID_LOCK;
}

void Volume::AddOwn(const std::string& path, const Opened& directory, const std::string& host_name,
                    const Opened& made) {
  journal_.Made(made.stat.identity(), path);
  own_.Add(made.stat.identity(), directory.fd.get(), host_name);
}

DosError Volume::MakeOwnFile(const Place& place, const Opened& directory,
                             const std::string& host_name, Opened& made) {
  const std::string path = PathOf(place, host_name);
  journal_.Making(path);
  const DosError error = MakeFileAt(directory.fd.get(), host_name, made);
  if (!error) {
    AddOwn(path, directory, host_name, made);
  } else {
    journal_.Gone(path);
  }
  return error;
}

DosError Volume::Remove(const std::string& path, const Opened& directory,
                        const std::string& host_name, const Opened& object, DosError denied) {
  const Identity identity = object.stat.identity();
  const Outcome outcome = RemoveAt(directory.fd.get(), host_name, identity, aside_);
  ReportAside(outcome, host_name);
  if (outcome.error == 0) journal_.Gone(path);
  if (outcome.error == 0 && (object.IsDirectory() || object.stat.links <= 1)) {
    records_->Forget(object);
    own_.Remove(identity);
  }
  // Some hosts say "exists" of a directory that is not empty.
  return outcome.error == EEXIST ? ERROR_DIRECTORY_NOT_EMPTY : CodeFor(outcome.error, denied);
}

void Volume::ReportAside(const Outcome& outcome, const std::string& host_name) {
  if (!outcome.is_aside) return;
  report_("what was called " + host_name + " is called " + aside_ +
          " now: another process has taken its name");
  aside_ = AsideName();
  journal_.Aside(aside_);
}

DosError Volume::Furnish(const std::string& path, const Opened& directory,
                         const std::string& host_name, Opened& made, bool soft_link) {
  Record above;
  DosError error = records_->Read(directory, above);
  if (!error) {
    Record record;
    record.soft_link = soft_link;
    record.owner = above.owner;
    record.group = above.group;
    error = Date(made, record, now_());
    if (!error) error = records_->Write(made, record);
  }
  if (error) {
    static_cast<void>(Remove(path, directory, host_name, made, ERROR_DELETE_PROTECTED));
  }
  return error;
}

DosError Volume::MakeDirectory(const PlaceRef& rel, std::string_view name, PlaceRef& made) {
  if (const DosError problem = WriteProblem()) return problem;
  PlaceRef place;
  Opened directory;
  if (const DosError error = FindPlace(rel, name, place, directory)) return error;
  const std::string host_name = ToHostName(name);
  const std::string path = PathOf(*place, host_name);
  Opened opened;
  journal_.Making(path);
  DosError error = MakeDirectoryAt(directory.fd.get(), aside_, root_.stat.device, opened);
  if (!error) {
    AddOwn(path, directory, aside_, opened);
    const int refusal = RenameAt(directory.fd.get(), aside_, directory.fd.get(), host_name);
    error = CodeFor(refusal, ERROR_WRITE_PROTECTED);
    if (error) {
      ::unlinkat(directory.fd.get(), aside_.c_str(), AT_REMOVEDIR);
      own_.Remove(opened.stat.identity());
    }
  }
  if (error) {
    journal_.Gone(path);
    return error;
  }
  error = Furnish(path, directory, host_name, opened, false);
  if (error) return error;
  made = tree_.Anew(place, host_name, name, opened.stat.identity(), Kind::kDirectory);
  Touch(place, true);
  return kNoError;
}

DosError Volume::MakeSoftLink(const PlaceRef& rel, std::string_view name, std::string_view target) {
  if (const DosError problem = WriteProblem()) return problem;
  if (target.empty() || target.size() > kMaxTarget) return ERROR_INVALID_COMPONENT_NAME;
  PlaceRef place;
  Opened directory;
  Opened content;
  DosError error = FindPlace(rel, name, place, directory);
  const std::string host_name = ToHostName(name);
  if (!error) error = MakeOwnFile(*place, directory, host_name, content);
  if (error) return error;
  const std::string path = PathOf(*place, host_name);
  if (const int full = WriteAt(content.fd.get(), 0, target.data(), target.size()); full != 0) {
    static_cast<void>(Remove(path, directory, host_name, content, ERROR_DELETE_PROTECTED));
    return CodeFor(full, ERROR_WRITE_PROTECTED);
  }
  error = Furnish(path, directory, host_name, content, true);
  if (!error) Touch(place, true);
  return error;
}

DosError Volume::MakeHardLink(const PlaceRef& rel, std::string_view name, const Place& target) {
  if (const DosError problem = WriteProblem()) return problem;
  PlaceRef place;
  Opened directory;
  if (const DosError error = FindPlace(rel, name, place, directory)) return error;
  if (target.object->IsDirectory()) {
    // A loop is refused as such; any other link to a directory is what the host does not have.
    return IsInside(*place, target) ? ERROR_OBJECT_WRONG_TYPE : ERROR_ACTION_NOT_KNOWN;
  }
  Opened source;
  if (const DosError error = Reach(target, source)) return error;
  if (const DosError foreign = ForeignProblem(*target.object)) return foreign;
  const std::string host_name = ToHostName(name);
  const std::string path = PathOf(*place, host_name);
  journal_.Making(path);
  const int error = LinkAt(source, directory.fd.get(), host_name);
  if (error) journal_.Gone(path);
  switch (error) {
    case 0:
      journal_.Made(target.object->identity, path);
      Touch(place, true);
      return kNoError;
    case EPERM:  // how a filesystem without links says so
      return ERROR_ACTION_NOT_KNOWN;
    case ENOENT:
      return ERROR_INVALID_LOCK;
    default:
      return CodeFor(error, ERROR_WRITE_PROTECTED);
  }
}

DosError Volume::Delete(const PlaceRef& rel, std::string_view name) {
  if (const DosError problem = WriteProblem()) return problem;
  PlaceRef place;
  if (const DosError error = Find(rel, name, place)) return error;
  if (place == root() || place->uses > 0) return ERROR_OBJECT_IN_USE;
  if (const DosError foreign = ForeignProblem(*place->object)) return foreign;
  Opened object;
  if (const DosError error = Reach(*place, object)) return error;
  Record record;
  if (const DosError error = records_->Read(object, record)) return error;
  if ((record.protection & EXDF_NO_DELETE) != 0) return ERROR_DELETE_PROTECTED;
  if (place->object->IsFile() && (record.protection & EXDF_NO_WRITE) != 0) {
    return ERROR_WRITE_PROTECTED;
  }
  const PlaceRef directory = place->directory;
  Opened above;
  if (const DosError error = Reach(*directory, above)) return error;
  if (object.IsDirectory()) {
    // Asked first: the directory above keeps its date when nothing is deleted.
    std::vector<std::string> names;
    if (!ListNames(object.fd.get(), names) && !names.empty()) return ERROR_DIRECTORY_NOT_EMPTY;
  }
  if (const DosError error = Remove(PathOf(*directory, place->host_name), above, place->host_name,
                                    object, ERROR_DELETE_PROTECTED)) {
    return error;
  }
  place->Detach();
  Touch(directory, true);
  return kNoError;
}

DosError Volume::Rename(const PlaceRef& from_rel, std::string_view from, const PlaceRef& to_rel,
                        std::string_view to) {
  if (const DosError problem = WriteProblem()) return problem;
  PlaceRef place;
  if (const DosError error = Find(from_rel, from, place)) return error;
  if (place == root()) return ERROR_OBJECT_IN_USE;
  const PlaceRef target = to_rel == nullptr ? root() : to_rel;
  if (to.empty()) return target == place ? kNoError : ERROR_OBJECT_EXISTS;
  if (!target->object->IsDirectory()) return ERROR_OBJECT_WRONG_TYPE;
  if (!IsName(to)) return ERROR_INVALID_COMPONENT_NAME;

  const PlaceRef source = place->directory;
  Opened from_directory;
  Opened to_directory;
  if (const DosError error = Reach(*source, from_directory)) return error;
  if (const DosError error = Reach(*target, to_directory)) return error;
  std::string existing;
  const DosError found = Search(to_directory.fd.get(), to, existing);
  if (found && found != ERROR_OBJECT_NOT_FOUND) return found;
  const bool is_itself = !found && source == target && existing == place->host_name;
  if (!found && !is_itself) return ERROR_OBJECT_EXISTS;
  if (IsInside(*target, *place)) return ERROR_OBJECT_IN_USE;
  for (const Place* const changed : {place.get(), source.get(), target.get()}) {
    if (const DosError foreign = ForeignProblem(*changed->object)) return foreign;
  }

  const std::string host_name = ToHostName(to);
  if (source != target || host_name != place->host_name) {
    const std::string path = PathOf(*source, place->host_name);
    const std::string new_path = PathOf(*target, host_name);
    journal_.Moving(path, new_path);
    const Outcome outcome =
        MoveAt(from_directory.fd.get(), place->host_name, place->object->identity, aside_,
               to_directory.fd.get(), host_name);
    ReportAside(outcome, place->host_name);
    if (outcome.error) journal_.Moving(new_path, path);
    if (outcome.error == EINVAL && place->object->IsDirectory()) return ERROR_OBJECT_IN_USE;
    if (outcome.error) return CodeFor(outcome.error, ERROR_WRITE_PROTECTED);
    Tree::Move(place, target, host_name, to);
  }
  Touch(source, true);
  if (source != target) Touch(target, true);
  return kNoError;
}

DosError Volume::SetDate(const PlaceRef& rel, std::string_view name, const ::DateStamp& date) {
  if (const DosError problem = WriteProblem()) return problem;
  PlaceRef place;
  DosError error = FindTarget(rel, name, place);
  if (!error) error = ForeignProblem(*place->object);
  if (error) return error;
  Opened object;
  Record record;
  error = Reach(*place, object);
  if (!error) error = records_->Read(object, record);
  if (!error) error = Date(object, record, date);
  if (!error) error = records_->Write(object, record);
  if (!error) Touch(place->directory, false);
  return error;
}

DosError Volume::SetAttribute(const PlaceRef& rel, std::string_view name,
                              const std::function<void(Record&)>& change) {
  if (const DosError problem = WriteProblem()) return problem;
  PlaceRef place;
  DosError error = FindTarget(rel, name, place);
  if (!error) error = ForeignProblem(*place->object);
  if (error) return error;
  Opened object;
  Record record;
  error = Reach(*place, object);
  if (!error) error = records_->Read(object, record);
  if (error) return error;
  change(record);
  error = records_->Write(object, record);
  // Only from the directory upward: attributes of a copy must survive being set.
  if (!error) Touch(place->directory, false);
  return error;
}

DosError Volume::Date(Opened& opened, Record& record, const ::DateStamp& date) {
  const std::timespec times[2] = {{0, UTIME_OMIT}, ToHostTime(date)};
  if (::futimens(opened.fd.get(), times) != 0) {
    const bool is_not_ours = errno == EPERM || errno == EACCES || errno == EBADF;
    // A time that this filesystem does not have, or an object of another user: the record keeps it.
    if (!is_not_ours && errno != EINVAL) return CodeFor(errno, ERROR_WRITE_PROTECTED);
  }
  if (const int error = StatOf(opened.fd.get(), opened.stat); error) {
    return CodeFor(error, ERROR_READ_PROTECTED);
  }
  record.date.reset();
  if (!SameDate(FromHostTime(opened.stat.changed), date)) {
    record.date = {date, opened.stat.changed};
  }
  return kNoError;
}

void Volume::Touch(const PlaceRef& directory, bool dated) {
  if (directory == nullptr) return;
  const ::DateStamp now = now_();
  Opened last;
  static_cast<void>(Reach(*directory, last, [&](Opened& opened) {
    Record record;
    if (!own_.MayChange(opened.stat.identity()) || records_->Read(opened, record)) return;
    const std::string before = ToText(record);
    record.protection &= ~std::uint32_t{EXDF_ARCHIVE};
    if (dated && Date(opened, record, now)) return;
    if (ToText(record) != before) static_cast<void>(records_->Write(opened, record));
  }));
}

// ---- Looking at objects ------------------------------------------------------------------------

DosError Volume::RecordOf(const Place& place, Record& record) {
  Opened object;
  const DosError error = Reach(place, object);
  return error ? error : records_->Read(object, record);
}

DosError Volume::InfoOf(const Opened& opened, Kind kind, common::ObjectInfo& info) {
  Record record;
  const DosError error = records_->Read(opened, record);
  if (error && error != ERROR_READ_PROTECTED) return error;
  info.id = opened.stat.inode;
  info.date = DateOf(opened, record);
  info.protection = record.protection;
  info.owner = record.owner;
  info.group = record.group;
  info.comment = std::move(record.comment);
  switch (kind) {
    case Kind::kFile:
      info.type = FSO_TYPE_FILE;
      info.size = opened.stat.size;
      // The names of a file are equal on the host: none of them is the link.
      info.references = opened.stat.links;
      return kNoError;
    case Kind::kDirectory:
      info.type = FSO_TYPE_DIRECTORY;
      return kNoError;
    case Kind::kSoftLink:
      break;
  }
  info.type = static_cast<std::uint32_t>(FSO_TYPE_SOFTLINK) | FSOF_LINK;
  info.link.resize(kMaxTarget);
  std::size_t length = 0;
  const int host_error = ReadAt(opened.fd.get(), 0, info.link.data(), info.link.size(), length);
  info.link.resize(length);
  return CodeFor(host_error, ERROR_READ_PROTECTED);
}

DosError Volume::Examine(const Place& place, common::ObjectInfo& info) {
  Opened opened;
  // An open file is itself, wherever the host has put its name.
  const DosError error =
      place.object->content.fd ? OpenAgain(place.object->content, opened) : Reach(place, opened);
  return error ? error : InfoOf(opened, place.object->kind, info);
}

DosError Volume::ReadTarget(const Place& place, std::string& target) {
  if (!place.object->IsSoftLink()) return ERROR_OBJECT_WRONG_TYPE;
  common::ObjectInfo info;
  const DosError error = Examine(place, info);
  target = std::move(info.link);
  return error;
}

DosError Volume::Next(const PlaceRef& directory, ::PRIVATE_ExamineDirContext& context,
                      PlaceRef& found, common::ObjectInfo& info) {
  std::intptr_t& scan = context.FSPrivate[0];
  if (!directory->object->IsDirectory()) return ERROR_OBJECT_WRONG_TYPE;
  if (scan == kEnded) return ERROR_NO_MORE_ENTRIES;
  Opened opened;
  if (const DosError error = Reach(*directory, opened)) return error;
  if (scan == 0) {
    Scan started{.context = &context, .lock = context.Directory, .names = {}, .next = 0};
    const DosError error = ListNames(opened.fd.get(), started.names);
    if (error) return error;
    // A context that starts again has left its last scan behind.
    std::erase_if(scans_,
                  [&context](const auto& entry) { return entry.second.context == &context; });
    scans_.emplace(++last_scan_, std::move(started));
    scan = last_scan_;
  }
  const auto running = scans_.find(scan);
  if (running == scans_.end()) return ERROR_INVALID_LOCK;
  Scan& state = running->second;
  while (state.next < state.names.size()) {
    const std::string& host_name = state.names[state.next++];
    std::string name;
    Opened entry;
    if (!FromHostName(host_name, name)) continue;
    DosError error = OpenAt(opened.fd.get(), host_name, root_.stat.device, entry);
    // Gone since, or foreign. What only could not be looked at now is not passed over.
    if (error == ERROR_OBJECT_NOT_FOUND || error == ERROR_OBJECT_WRONG_TYPE) continue;
    if (error) {
      --state.next;
      return error;
    }
    error = PlaceOf(directory, host_name, entry, found);
    return error ? error : InfoOf(entry, found->object->kind, info);
  }
  scans_.erase(running);
  scan = kEnded;
  return ERROR_NO_MORE_ENTRIES;
}

void Volume::EndScans(const ::Lock* lock) {
  std::erase_if(scans_, [lock](const auto& entry) { return entry.second.lock == lock; });
}

// ---- The volume --------------------------------------------------------------------------------

DosError Volume::Relabel(std::string_view name) {
  Record record;
  DosError error = records_->Read(root_, record);
  const bool is_no_label = common::IsNoLabel(settings_, name);
  // A volume that is called as it was when it was mounted has the record that it had then: the name
  // may come from the mount alone.
  record.label = std::string(name);
  if (is_no_label || name == name_at_mount_) record.label = kept_label_;
  if (!error) error = Date(root_, record, now_());
  if (!error) error = records_->Write(root_, record);
  if (error) return error;
  root()->name = name;
  settings_.label = is_no_label ? std::string_view() : name;
  return kNoError;
}

DosError Volume::Flush() {
  return ::syncfs(root_.fd.get()) == 0 ? kNoError : CodeFor(errno, ERROR_WRITE_PROTECTED);
}

DosError Volume::GetSpace(common::VolumeSpace& space) const {
  struct ::statvfs stat {};
  if (::fstatvfs(root_.fd.get(), &stat) != 0) return CodeFor(errno, ERROR_READ_PROTECTED);
  space.blocks = stat.f_blocks;
  space.blocks_used = stat.f_blocks - std::min<std::uint64_t>(stat.f_bavail, stat.f_blocks);
  space.block_size = stat.f_frsize;
  return kNoError;
}

std::uint32_t Volume::max_name() const {
  const long host = ::fpathconf(root_.fd.get(), _PC_NAME_MAX);
  const auto most = static_cast<long>(kMaxName);
  return static_cast<std::uint32_t>(host > 0 ? std::min(host, most) : most);
}

}  // namespace quorle::hostdir
