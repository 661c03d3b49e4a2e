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
  if (records_->Read(root_, record) == 0) kept_label_ = record.label;
  name_at_mount_ = tree_.root()->name;
}

// ---- Looking up, locking -----------------------------------------------------------------------

std::int32_t Volume::Reach(const Place& place, Opened& opened, const Visit& visit) {
  std::vector<const Place*> way;
  for (const Place* at = &place; at->directory != nullptr; at = at->directory.get()) {
    if (!at->named) return ERROR_INVALID_LOCK;
    way.push_back(at);
  }
  if (const std::int32_t error = OpenAgain(root_, opened); error != 0) return error;
  if (visit) visit(opened);
  for (auto step = way.rbegin(); step != way.rend(); ++step) {
    const Place& next = **step;
    Opened above = std::move(opened);
    opened = {};
    const std::int32_t error = OpenAt(above.fd.get(), next.host_name, root_.stat.device, opened);
    if (error == ERROR_OBJECT_NOT_FOUND || error == ERROR_OBJECT_WRONG_TYPE) {
      return ERROR_INVALID_LOCK;
    }
    if (error != 0) return error;
    if (opened.stat.identity() != next.object->identity ||
        opened.IsDirectory() != next.object->IsDirectory()) {
      return ERROR_INVALID_LOCK;
    }
    if (visit) visit(opened);
  }
  return 0;
}

std::int32_t Volume::Search(int directory, std::string_view name, std::string& host_name) {
  host_name = ToHostName(name);
  HostStat stat;
  const int error = StatAt(directory, host_name, stat);
  if (error == 0 && !IsThereInOtherCase(directory, name)) return 0;
  if (error != 0 && error != ENOENT) return CodeFor(error, ERROR_READ_PROTECTED);

  std::vector<std::string> names;
  if (const std::int32_t problem = ListNames(directory, names); problem != 0) return problem;
  const std::string* best = nullptr;
  std::string shown;
  for (const std::string& candidate : names) {
    if (!FromHostName(candidate, shown) || !SameName(shown, name)) continue;
    if (best == nullptr || candidate == host_name) best = &candidate;
  }
  if (best == nullptr) return ERROR_OBJECT_NOT_FOUND;
  host_name = *best;
  return 0;
}

std::int32_t Volume::PlaceOf(const PlaceRef& directory, const std::string& host_name,
                             const Opened& opened, PlaceRef& place) {
  Kind kind = Kind::kDirectory;
  if (opened.IsFile()) {
    Record record;
    const std::int32_t error = records_->Read(opened, record);
    // What the host does not let us look into is a file.
    if (error != 0 && error != ERROR_READ_PROTECTED) return error;
    kind = record.soft_link ? Kind::kSoftLink : Kind::kFile;
  }
  std::string name;
  if (!FromHostName(host_name, name)) return ERROR_OBJECT_NOT_FOUND;
  place = tree_.At(directory, host_name, name, opened.stat.identity(), kind);
  return 0;
}

std::int32_t Volume::Find(const PlaceRef& rel, std::string_view name, PlaceRef& found) {
  const PlaceRef& base = rel == nullptr ? root() : rel;
  if (name.empty()) {
    found = base;
    return 0;
  }
  if (!base->object->IsDirectory()) return ERROR_OBJECT_WRONG_TYPE;
  if (!IsName(name)) return ERROR_INVALID_COMPONENT_NAME;
  Opened directory;
  std::int32_t error = Reach(*base, directory);
  std::string host_name;
  if (error == 0) error = Search(directory.fd.get(), name, host_name);
  Opened opened;
  if (error == 0) error = OpenAt(directory.fd.get(), host_name, root_.stat.device, opened);
  return error == 0 ? PlaceOf(base, host_name, opened, found) : error;
}

std::int32_t Volume::FindTarget(const PlaceRef& rel, std::string_view name, PlaceRef& found) {
  if (const std::int32_t error = Find(rel, name, found); error != 0) return error;
  return found->object->IsSoftLink() ? ERROR_IS_SOFT_LINK : 0;
}

std::int32_t Volume::TakeLock(Place& place, bool& exclusive) {
  Object& object = *place.object;
  if (!object.IsFile()) {
    exclusive = false;
  } else if (const std::int32_t error = object.holders.Take(exclusive); error != 0) {
    return error;
  }
  ++place.uses;
  ++in_use_;
  return 0;
}

void Volume::ReleaseLock(Place& place, bool exclusive) {
  if (place.object->IsFile()) place.object->holders.Release(exclusive);
  --place.uses;
  --in_use_;
}

std::int32_t Volume::ChangeLock(Place& place, bool& exclusive, bool to_exclusive) {
  if (place.object->IsFile()) return place.object->holders.Change(exclusive, to_exclusive);
  return to_exclusive ? ERROR_OBJECT_WRONG_TYPE : 0;
}

// ---- Files -------------------------------------------------------------------------------------

void Volume::Hold(OpenFile& file, const PlaceRef& place, bool exclusive) {
  file = {};
  file.place = place;
  file.exclusive = exclusive;
  place->object->handles.push_back(&file);
}

std::int32_t Volume::OpenContent(const Place& place) {
  Object& object = *place.object;
  if (object.content.fd) return 0;
  if (!place.named) return ERROR_INVALID_LOCK;
  Opened directory;
  if (const std::int32_t error = Reach(*place.directory, directory); error != 0) return error;
  const std::int32_t error = OpenContentAt(directory.fd.get(), place.host_name, root_.stat.device,
                                           object.identity, object.content, object.write_refusal);
  return error == ERROR_OBJECT_NOT_FOUND ? ERROR_INVALID_LOCK : error;
}

std::int32_t Volume::MakeFile(const PlaceRef& rel, std::string_view name, PlaceRef& made) {
  if (const std::int32_t problem = WriteProblem(); problem != 0) return problem;
  PlaceRef place;
  Opened directory;
  Opened content;
  std::int32_t error = FindPlace(rel, name, place, directory);
  const std::string host_name = ToHostName(name);
  if (error == 0) error = MakeOwnFile(*place, directory, host_name, content);
  if (error == 0) {
    error = Furnish(PathOf(*place, host_name), directory, host_name, content, false);
  }
  if (error != 0) return error;
  made = tree_.Anew(place, host_name, name, content.stat.identity(), Kind::kFile);
  made->object->content = std::move(content);
  made->object->write_refusal = 0;
  Touch(place, true);
  return 0;
}

std::int32_t Volume::Reset(Object& object) {
  if (object.write_refusal != 0) return object.write_refusal;
  if (::ftruncate(object.content.fd.get(), 0) != 0) return CodeFor(errno, ERROR_WRITE_PROTECTED);
  Record record;
  if (const std::int32_t error = records_->Read(object.content, record); error != 0) return error;
  record.comment.clear();
  record.protection = 0;
  if (const std::int32_t error = Date(object.content, record, now_()); error != 0) return error;
  return records_->Write(object.content, record);
}

std::int32_t Volume::Open(const PlaceRef& rel, std::string_view name, std::int32_t mode,
                          OpenFile& file) {
  if (mode != MODE_OLDFILE && mode != MODE_READWRITE && mode != MODE_NEWFILE) {
    return ERROR_BAD_NUMBER;
  }
  // The volume comes first: with its protection on, a new file is refused whatever is there.
  if (mode == MODE_NEWFILE) {
    if (const std::int32_t problem = WriteProblem(); problem != 0) return problem;
  }
  PlaceRef place;
  std::int32_t error = FindTarget(rel, name, place);
  const bool is_new = error == ERROR_OBJECT_NOT_FOUND && mode != MODE_OLDFILE;
  if (is_new) error = MakeFile(rel, name, place);
  if (error != 0) return error;
  Object& object = *place->object;
  if (!object.IsFile()) return ERROR_OBJECT_WRONG_TYPE;

  bool exclusive = mode == MODE_NEWFILE;
  const bool is_reset = exclusive && !is_new;
  if (is_reset) {
    if (const std::int32_t foreign = ForeignProblem(object); foreign != 0) return foreign;
    if (object.holders.any()) return ERROR_OBJECT_IN_USE;
    Record record;
    error = RecordOf(*place, record);
    if (error != 0) return error;
    if ((record.protection & EXDF_NO_DELETE) != 0) return ERROR_DELETE_PROTECTED;
  }
  object.handles.reserve(object.handles.size() + 1);
  error = TakeLock(*place, exclusive);
  if (error != 0) return error;
  error = OpenContent(*place);
  if (error == 0 && is_reset) error = Reset(object);
  if (error != 0) {
    ReleaseLock(*place, exclusive);
    if (object.handles.empty()) object.content.fd.Close();
    return error;
  }
  Hold(file, place, exclusive);
  file.changed = is_reset;
  return 0;
}

std::int32_t Volume::OpenLocked(const PlaceRef& place, bool exclusive, OpenFile& file) {
  if (!place->object->IsFile()) return ERROR_OBJECT_WRONG_TYPE;
  place->object->handles.reserve(place->object->handles.size() + 1);
  if (const std::int32_t error = OpenContent(*place); error != 0) return error;
  Hold(file, place, exclusive);
  return 0;
}

std::int32_t Volume::Close(OpenFile& file) {
  const PlaceRef place = std::move(file.place);
  Object& object = *place->object;
  std::erase(object.handles, &file);
  ReleaseLock(*place, file.exclusive);
  std::int32_t error = 0;
  // Some hosts tell only now what could not be written.
  if (object.handles.empty() && ::close(object.content.fd.Release()) != 0 && errno != EINTR) {
    error = CodeFor(errno, ERROR_WRITE_PROTECTED);
  }
  if (file.changed) Touch(place->directory, true);
  return error;
}

std::int32_t Volume::ChangeFileMode(OpenFile& file, bool to_exclusive) {
  return ChangeLock(*file.place, file.exclusive, to_exclusive);
}

std::int32_t Volume::Read(OpenFile& file, void* buffer, std::int32_t bytes, std::int32_t& count) {
  const Opened& content = file.place->object->content;
  if (bytes < 0) return ERROR_BAD_NUMBER;
  Record record;
  if (const std::int32_t error = records_->Read(content, record); error != 0) return error;
  if ((record.protection & EXDF_NO_READ) != 0) return ERROR_READ_PROTECTED;
  std::size_t got = 0;
  const int error = ReadAt(content.fd.get(), file.position, static_cast<char*>(buffer),
                           static_cast<std::size_t>(bytes), got);
  if (error != 0) return CodeFor(error, ERROR_READ_PROTECTED);
  count = static_cast<std::int32_t>(got);
  file.position += count;
  return 0;
}

std::int32_t Volume::Write(OpenFile& file, const void* data, std::int32_t bytes) {
  Object& object = *file.place->object;
  if (bytes < 0) return ERROR_BAD_NUMBER;
  if (const std::int32_t problem = WriteProblem(); problem != 0) return problem;
  if (const std::int32_t foreign = ForeignProblem(object); foreign != 0) return foreign;
  Record record;
  if (const std::int32_t error = records_->Read(object.content, record); error != 0) return error;
  if ((record.protection & EXDF_NO_WRITE) != 0) return ERROR_WRITE_PROTECTED;
  if (object.write_refusal != 0) return object.write_refusal;
  std::int64_t end = 0;
  if (__builtin_add_overflow(file.position, bytes, &end)) return ERROR_OBJECT_TOO_LARGE;
  std::int64_t old_size = 0;
  if (const std::int32_t error = SizeOf(file, old_size); error != 0) return error;
  const int fd = object.content.fd.get();
  int error = MakeRoom(fd, file.position, bytes);
  if (error == 0) {
    error =
        WriteAt(fd, file.position, static_cast<const char*>(data), static_cast<std::size_t>(bytes));
  }
  if (error != 0) {
    // What was added before the room ran out goes again, and frees it. Should that fail as well,
    // the file has grown, which the platform allows.
    static_cast<void>(::ftruncate(fd, static_cast<off_t>(old_size)) == 0);
    return CodeFor(error, ERROR_WRITE_PROTECTED);
  }
  file.position = end;
  file.changed = true;
  Stamp(object);
  return 0;
}

std::int32_t Volume::SizeOf(const OpenFile& file, std::int64_t& size) {
  HostStat stat;
  const int error = StatOf(file.place->object->content.fd.get(), stat);
  size = stat.size;
  return CodeFor(error, ERROR_READ_PROTECTED);
}

std::int32_t Volume::Seek(OpenFile& file, std::int32_t mode, std::int64_t position) {
  std::int64_t size = 0;
  if (const std::int32_t error = SizeOf(file, size); error != 0) return error;
  std::int64_t target = 0;
  const std::int32_t error = common::FindPosition(mode, position, file.position, size, target);
  if (error != 0) return error;
  if (target > size) return ERROR_SEEK_ERROR;
  file.position = target;
  return 0;
}

std::int32_t Volume::Resize(OpenFile& file, std::int32_t mode, std::int64_t size) {
  Object& object = *file.place->object;
  std::int64_t old_size = 0;
  std::int32_t error = SizeOf(file, old_size);
  if (error != 0) return error;
  std::int64_t target = 0;
  error = common::FindPosition(mode, size, file.position, old_size, target);
  if (error != 0) return error;
  if (const std::int32_t problem = WriteProblem(); problem != 0) return problem;
  if (const std::int32_t foreign = ForeignProblem(object); foreign != 0) return foreign;
  Record record;
  error = records_->Read(object.content, record);
  if (error != 0) return error;
  if ((record.protection & EXDF_NO_WRITE) != 0) return ERROR_WRITE_PROTECTED;
  if (object.write_refusal != 0) return object.write_refusal;
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
  return 0;
}

void Volume::Stamp(Object& object) {
  Record record;
  if (records_->Read(object.content, record) != 0) return;
  const std::string before = ToText(record);
  record.protection &= ~std::uint32_t{EXDF_ARCHIVE};
  if (Date(object.content, record, now_()) != 0) return;
  if (ToText(record) != before) records_->Write(object.content, record);
}

// ---- Objects -----------------------------------------------------------------------------------

std::int32_t Volume::FindPlace(const PlaceRef& rel, std::string_view name, PlaceRef& place,
                               Opened& directory) {
  place = rel == nullptr ? root() : rel;
  if (name.empty()) return ERROR_OBJECT_EXISTS;
  if (!place->object->IsDirectory()) return ERROR_OBJECT_WRONG_TYPE;
  if (!IsName(name)) return ERROR_INVALID_COMPONENT_NAME;
  if (const std::int32_t error = Reach(*place, directory); error != 0) return error;
  std::string host_name;
  const std::int32_t error = Search(directory.fd.get(), name, host_name);
  if (error == 0) return ERROR_OBJECT_EXISTS;
  return error == ERROR_OBJECT_NOT_FOUND ? ForeignProblem(*place->object) : error;
}

std::int32_t Volume::ForeignProblem(const Object& object) const {
  return own_.MayChange(object.identity) ? 0 : ERROR_INVALID_LOCK;
}

void Volume::AddOwn(const std::string& path, const Opened& directory, const std::string& host_name,
                    const Opened& made) {
  journal_.Made(made.stat.identity(), path);
  own_.Add(made.stat.identity(), directory.fd.get(), host_name);
}

std::int32_t Volume::MakeOwnFile(const Place& place, const Opened& directory,
                                 const std::string& host_name, Opened& made) {
  const std::string path = PathOf(place, host_name);
  journal_.Making(path);
  const std::int32_t error = MakeFileAt(directory.fd.get(), host_name, made);
  if (error == 0) {
    AddOwn(path, directory, host_name, made);
  } else {
    journal_.Gone(path);
  }
  return error;
}

std::int32_t Volume::Remove(const std::string& path, const Opened& directory,
                            const std::string& host_name, const Opened& object,
                            std::int32_t denied) {
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

std::int32_t Volume::Furnish(const std::string& path, const Opened& directory,
                             const std::string& host_name, Opened& made, bool soft_link) {
  Record above;
  std::int32_t error = records_->Read(directory, above);
  if (error == 0) {
    Record record;
    record.soft_link = soft_link;
    record.owner = above.owner;
    record.group = above.group;
    error = Date(made, record, now_());
    if (error == 0) error = records_->Write(made, record);
  }
  if (error != 0) Remove(path, directory, host_name, made, ERROR_DELETE_PROTECTED);
  return error;
}

std::int32_t Volume::MakeDirectory(const PlaceRef& rel, std::string_view name, PlaceRef& made) {
  if (const std::int32_t problem = WriteProblem(); problem != 0) return problem;
  PlaceRef place;
  Opened directory;
  if (const std::int32_t error = FindPlace(rel, name, place, directory); error != 0) return error;
  const std::string host_name = ToHostName(name);
  const std::string path = PathOf(*place, host_name);
  Opened opened;
  journal_.Making(path);
  std::int32_t error = MakeDirectoryAt(directory.fd.get(), aside_, root_.stat.device, opened);
  if (error == 0) {
    AddOwn(path, directory, aside_, opened);
    const int refusal = RenameAt(directory.fd.get(), aside_, directory.fd.get(), host_name);
    error = CodeFor(refusal, ERROR_WRITE_PROTECTED);
    if (error != 0) {
      ::unlinkat(directory.fd.get(), aside_.c_str(), AT_REMOVEDIR);
      own_.Remove(opened.stat.identity());
    }
  }
  if (error != 0) {
    journal_.Gone(path);
    return error;
  }
  error = Furnish(path, directory, host_name, opened, false);
  if (error != 0) return error;
  made = tree_.Anew(place, host_name, name, opened.stat.identity(), Kind::kDirectory);
  Touch(place, true);
  return 0;
}

std::int32_t Volume::MakeSoftLink(const PlaceRef& rel, std::string_view name,
                                  std::string_view target) {
  if (const std::int32_t problem = WriteProblem(); problem != 0) return problem;
  if (target.empty() || target.size() > kMaxTarget) return ERROR_INVALID_COMPONENT_NAME;
  PlaceRef place;
  Opened directory;
  Opened content;
  std::int32_t error = FindPlace(rel, name, place, directory);
  const std::string host_name = ToHostName(name);
  if (error == 0) error = MakeOwnFile(*place, directory, host_name, content);
  if (error != 0) return error;
  const std::string path = PathOf(*place, host_name);
  if (const int full = WriteAt(content.fd.get(), 0, target.data(), target.size()); full != 0) {
    Remove(path, directory, host_name, content, ERROR_DELETE_PROTECTED);
    return CodeFor(full, ERROR_WRITE_PROTECTED);
  }
  error = Furnish(path, directory, host_name, content, true);
  if (error == 0) Touch(place, true);
  return error;
}

std::int32_t Volume::MakeHardLink(const PlaceRef& rel, std::string_view name, const Place& target) {
  if (const std::int32_t problem = WriteProblem(); problem != 0) return problem;
  PlaceRef place;
  Opened directory;
  if (const std::int32_t error = FindPlace(rel, name, place, directory); error != 0) return error;
  if (target.object->IsDirectory()) {
    // A loop is refused as such; any other link to a directory is what the host does not have.
    return IsInside(*place, target) ? ERROR_OBJECT_WRONG_TYPE : ERROR_ACTION_NOT_KNOWN;
  }
  Opened source;
  if (const std::int32_t error = Reach(target, source); error != 0) return error;
  if (const std::int32_t foreign = ForeignProblem(*target.object); foreign != 0) return foreign;
  const std::string host_name = ToHostName(name);
  const std::string path = PathOf(*place, host_name);
  journal_.Making(path);
  const int error = LinkAt(source, directory.fd.get(), host_name);
  if (error != 0) journal_.Gone(path);
  switch (error) {
    case 0:
      journal_.Made(target.object->identity, path);
      Touch(place, true);
      return 0;
    case EPERM:  // how a filesystem without links says so
      return ERROR_ACTION_NOT_KNOWN;
    case ENOENT:
      return ERROR_INVALID_LOCK;
    default:
      return CodeFor(error, ERROR_WRITE_PROTECTED);
  }
}

std::int32_t Volume::Delete(const PlaceRef& rel, std::string_view name) {
  if (const std::int32_t problem = WriteProblem(); problem != 0) return problem;
  PlaceRef place;
  if (const std::int32_t error = Find(rel, name, place); error != 0) return error;
  if (place == root() || place->uses > 0) return ERROR_OBJECT_IN_USE;
  if (const std::int32_t foreign = ForeignProblem(*place->object); foreign != 0) return foreign;
  Opened object;
  if (const std::int32_t error = Reach(*place, object); error != 0) return error;
  Record record;
  if (const std::int32_t error = records_->Read(object, record); error != 0) return error;
  if ((record.protection & EXDF_NO_DELETE) != 0) return ERROR_DELETE_PROTECTED;
  if (place->object->IsFile() && (record.protection & EXDF_NO_WRITE) != 0) {
    return ERROR_WRITE_PROTECTED;
  }
  const PlaceRef directory = place->directory;
  Opened above;
  if (const std::int32_t error = Reach(*directory, above); error != 0) return error;
  if (object.IsDirectory()) {
    // Asked first: the directory above keeps its date when nothing is deleted.
    std::vector<std::string> names;
    if (ListNames(object.fd.get(), names) == 0 && !names.empty()) return ERROR_DIRECTORY_NOT_EMPTY;
  }
  if (const std::int32_t error = Remove(PathOf(*directory, place->host_name), above,
                                        place->host_name, object, ERROR_DELETE_PROTECTED);
      error != 0) {
    return error;
  }
  place->Detach();
  Touch(directory, true);
  return 0;
}

std::int32_t Volume::Rename(const PlaceRef& from_rel, std::string_view from, const PlaceRef& to_rel,
                            std::string_view to) {
  if (const std::int32_t problem = WriteProblem(); problem != 0) return problem;
  PlaceRef place;
  if (const std::int32_t error = Find(from_rel, from, place); error != 0) return error;
  if (place == root()) return ERROR_OBJECT_IN_USE;
  const PlaceRef target = to_rel == nullptr ? root() : to_rel;
  if (to.empty()) return target == place ? 0 : ERROR_OBJECT_EXISTS;
  if (!target->object->IsDirectory()) return ERROR_OBJECT_WRONG_TYPE;
  if (!IsName(to)) return ERROR_INVALID_COMPONENT_NAME;

  const PlaceRef source = place->directory;
  Opened from_directory;
  Opened to_directory;
  if (const std::int32_t error = Reach(*source, from_directory); error != 0) return error;
  if (const std::int32_t error = Reach(*target, to_directory); error != 0) return error;
  std::string existing;
  const std::int32_t found = Search(to_directory.fd.get(), to, existing);
  if (found != 0 && found != ERROR_OBJECT_NOT_FOUND) return found;
  const bool is_itself = found == 0 && source == target && existing == place->host_name;
  if (found == 0 && !is_itself) return ERROR_OBJECT_EXISTS;
  if (IsInside(*target, *place)) return ERROR_OBJECT_IN_USE;
  for (const Place* const changed : {place.get(), source.get(), target.get()}) {
    if (const std::int32_t foreign = ForeignProblem(*changed->object); foreign != 0) return foreign;
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
    if (outcome.error != 0) journal_.Moving(new_path, path);
    if (outcome.error == EINVAL && place->object->IsDirectory()) return ERROR_OBJECT_IN_USE;
    if (outcome.error != 0) return CodeFor(outcome.error, ERROR_WRITE_PROTECTED);
    Tree::Move(place, target, host_name, to);
  }
  Touch(source, true);
  if (source != target) Touch(target, true);
  return 0;
}

std::int32_t Volume::SetDate(const PlaceRef& rel, std::string_view name, const ::DateStamp& date) {
  if (const std::int32_t problem = WriteProblem(); problem != 0) return problem;
  PlaceRef place;
  std::int32_t error = FindTarget(rel, name, place);
  if (error == 0) error = ForeignProblem(*place->object);
  if (error != 0) return error;
  Opened object;
  Record record;
  error = Reach(*place, object);
  if (error == 0) error = records_->Read(object, record);
  if (error == 0) error = Date(object, record, date);
  if (error == 0) error = records_->Write(object, record);
  if (error == 0) Touch(place->directory, false);
  return error;
}

std::int32_t Volume::SetAttribute(const PlaceRef& rel, std::string_view name,
                                  const std::function<void(Record&)>& change) {
  if (const std::int32_t problem = WriteProblem(); problem != 0) return problem;
  PlaceRef place;
  std::int32_t error = FindTarget(rel, name, place);
  if (error == 0) error = ForeignProblem(*place->object);
  if (error != 0) return error;
  Opened object;
  Record record;
  error = Reach(*place, object);
  if (error == 0) error = records_->Read(object, record);
  if (error != 0) return error;
  change(record);
  error = records_->Write(object, record);
  // Only from the directory upward: attributes of a copy must survive being set.
  if (error == 0) Touch(place->directory, false);
  return error;
}

std::int32_t Volume::Date(Opened& opened, Record& record, const ::DateStamp& date) {
  const std::timespec times[2] = {{0, UTIME_OMIT}, ToHostTime(date)};
  if (::futimens(opened.fd.get(), times) != 0) {
    const bool is_not_ours = errno == EPERM || errno == EACCES || errno == EBADF;
    // A time that this filesystem does not have, or an object of another user: the record keeps it.
    if (!is_not_ours && errno != EINVAL) return CodeFor(errno, ERROR_WRITE_PROTECTED);
  }
  if (const int error = StatOf(opened.fd.get(), opened.stat); error != 0) {
    return CodeFor(error, ERROR_READ_PROTECTED);
  }
  record.date.reset();
  if (!SameDate(FromHostTime(opened.stat.changed), date)) {
    record.date = {date, opened.stat.changed};
  }
  return 0;
}

void Volume::Touch(const PlaceRef& directory, bool dated) {
  if (directory == nullptr) return;
  const ::DateStamp now = now_();
  Opened last;
  Reach(*directory, last, [&](Opened& opened) {
    Record record;
    if (!own_.MayChange(opened.stat.identity()) || records_->Read(opened, record) != 0) return;
    const std::string before = ToText(record);
    record.protection &= ~std::uint32_t{EXDF_ARCHIVE};
    if (dated && Date(opened, record, now) != 0) return;
    if (ToText(record) != before) records_->Write(opened, record);
  });
}

// ---- Looking at objects ------------------------------------------------------------------------

std::int32_t Volume::RecordOf(const Place& place, Record& record) {
  Opened object;
  const std::int32_t error = Reach(place, object);
  return error == 0 ? records_->Read(object, record) : error;
}

std::int32_t Volume::FactsOf(const Opened& opened, Kind kind, common::Facts& facts) {
  Record record;
  const std::int32_t error = records_->Read(opened, record);
  if (error != 0 && error != ERROR_READ_PROTECTED) return error;
  facts.id = opened.stat.inode;
  facts.date = DateOf(opened, record);
  facts.protection = record.protection;
  facts.owner = record.owner;
  facts.group = record.group;
  facts.comment = std::move(record.comment);
  switch (kind) {
    case Kind::kFile:
      facts.type = FSO_TYPE_FILE;
      facts.size = opened.stat.size;
      // The names of a file are equal on the host: none of them is the link.
      facts.references = opened.stat.links;
      return 0;
    case Kind::kDirectory:
      facts.type = FSO_TYPE_DIRECTORY;
      return 0;
    case Kind::kSoftLink:
      break;
  }
  facts.type = static_cast<std::uint32_t>(FSO_TYPE_SOFTLINK) | FSOF_LINK;
  facts.link.resize(kMaxTarget);
  std::size_t length = 0;
  const int host_error = ReadAt(opened.fd.get(), 0, facts.link.data(), facts.link.size(), length);
  facts.link.resize(length);
  return CodeFor(host_error, ERROR_READ_PROTECTED);
}

std::int32_t Volume::Examine(const Place& place, common::Facts& facts) {
  Opened opened;
  // An open file is itself, wherever the host has put its name.
  const std::int32_t error =
      place.object->content.fd ? OpenAgain(place.object->content, opened) : Reach(place, opened);
  return error == 0 ? FactsOf(opened, place.object->kind, facts) : error;
}

std::int32_t Volume::ReadTarget(const Place& place, std::string& target) {
  if (!place.object->IsSoftLink()) return ERROR_OBJECT_WRONG_TYPE;
  common::Facts facts;
  const std::int32_t error = Examine(place, facts);
  target = std::move(facts.link);
  return error;
}

std::int32_t Volume::Next(const PlaceRef& directory, ::PRIVATE_ExamineDirContext& context,
                          PlaceRef& found, common::Facts& facts) {
  std::intptr_t& scan = context.FSPrivate[0];
  if (!directory->object->IsDirectory()) return ERROR_OBJECT_WRONG_TYPE;
  if (scan == kEnded) return ERROR_NO_MORE_ENTRIES;
  Opened opened;
  if (const std::int32_t error = Reach(*directory, opened); error != 0) return error;
  if (scan == 0) {
    Scan started{.context = &context, .lock = context.Directory, .names = {}, .next = 0};
    const std::int32_t error = ListNames(opened.fd.get(), started.names);
    if (error != 0) return error;
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
    std::int32_t error = OpenAt(opened.fd.get(), host_name, root_.stat.device, entry);
    // Gone since, or foreign. What only could not be looked at now is not passed over.
    if (error == ERROR_OBJECT_NOT_FOUND || error == ERROR_OBJECT_WRONG_TYPE) continue;
    if (error != 0) {
      --state.next;
      return error;
    }
    error = PlaceOf(directory, host_name, entry, found);
    return error == 0 ? FactsOf(entry, found->object->kind, facts) : error;
  }
  scans_.erase(running);
  scan = kEnded;
  return ERROR_NO_MORE_ENTRIES;
}

void Volume::EndScans(const ::Lock* lock) {
  std::erase_if(scans_, [lock](const auto& entry) { return entry.second.lock == lock; });
}

// ---- The volume --------------------------------------------------------------------------------

std::int32_t Volume::Relabel(std::string_view name) {
  Record record;
  std::int32_t error = records_->Read(root_, record);
  const bool is_no_label = common::IsNoLabel(settings_, name);
  // A volume that is called as it was when it was mounted has the record that it had then: the name
  // may come from the mount alone.
  record.label = std::string(name);
  if (is_no_label || name == name_at_mount_) record.label = kept_label_;
  if (error == 0) error = Date(root_, record, now_());
  if (error == 0) error = records_->Write(root_, record);
  if (error != 0) return error;
  root()->name = name;
  settings_.label = is_no_label ? std::string_view() : name;
  return 0;
}

std::int32_t Volume::Flush() {
  return ::syncfs(root_.fd.get()) == 0 ? 0 : CodeFor(errno, ERROR_WRITE_PROTECTED);
}

std::int32_t Volume::HowMuchRoom(common::Room& room) const {
  struct ::statvfs stat {};
  if (::fstatvfs(root_.fd.get(), &stat) != 0) return CodeFor(errno, ERROR_READ_PROTECTED);
  room.blocks = stat.f_blocks;
  room.blocks_used = stat.f_blocks - std::min<std::uint64_t>(stat.f_bavail, stat.f_blocks);
  room.block_size = stat.f_frsize;
  return 0;
}

std::uint32_t Volume::max_name() const {
  const long host = ::fpathconf(root_.fd.get(), _PC_NAME_MAX);
  const auto most = static_cast<long>(kMaxName);
  return static_cast<std::uint32_t>(host > 0 ? std::min(host, most) : most);
}

}  // namespace quorle::hostdir
