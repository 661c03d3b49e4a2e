#include "handlers/hostdir/host.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>

#include "quorle/handler.h"

namespace quorle::hostdir {
namespace {

/// For every open: no link is followed, no device waited for, nothing left to child processes.
constexpr int kCareful = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

std::timespec TimeOf(const ::statx_timestamp& moment) {
  std::timespec time{};
  time.tv_sec = static_cast<std::time_t>(moment.tv_sec);
  time.tv_nsec = static_cast<long>(moment.tv_nsec);
  return time;
}

HostError Look(int directory, const char* name, int flags, HostStat& stat) {
  struct ::statx found {};
  const int result = ::statx(directory, name, flags | AT_STATX_FORCE_SYNC,
                             STATX_BASIC_STATS | STATX_BTIME, &found);
  if (const HostError error = HostError::Of(result)) return error;
  stat.device = std::uint64_t{found.stx_dev_major} << 32 | found.stx_dev_minor;
  stat.inode = found.stx_ino;
  stat.mode = found.stx_mode;
  stat.is_mount_root = (found.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
  stat.is_append_only = (found.stx_attributes & STATX_ATTR_APPEND) != 0;
  stat.is_immutable = (found.stx_attributes & STATX_ATTR_IMMUTABLE) != 0;
  stat.links = found.stx_nlink;
  stat.size = static_cast<std::int64_t>(found.stx_size);
  stat.changed = TimeOf(found.stx_mtime);
  stat.status_changed = TimeOf(found.stx_ctime);
  stat.born.reset();
  if ((found.stx_mask & STATX_BTIME) != 0) stat.born = TimeOf(found.stx_btime);
  return {};
}

/// What is open as `fd`: its error, when there is no descriptor.
HostError StatOfOpened(const SharedDescriptor& fd, HostStat& stat) {
  return fd ? StatOf(fd.get(), stat) : HostError::Last();
}

/// Renames what is called `from` to `aside`, does `change(stat)` to it there when it is the one that
/// is `meant`, and gives it its name back when it is not or when the change fails.
template <class Change>
Outcome ChangeAside(const NameAt& from, const Identity& meant, const std::string& aside,
                    const Change& change) {
  const NameAt hidden{from.directory, aside};
  HostStat stat;
  if (const HostError error = RenameAt(from, hidden)) return {.error = error};
  HostError error = StatAt(hidden, stat);
  if (!error && stat.identity() != meant) error = HostError(ESTALE);
  if (!error) error = change(stat);
  if (!error) return {};
  return {.error = error, .is_aside = static_cast<bool>(RenameAt(hidden, from))};
}

/// `error`, of giving something the name `at`. exfat-fuse says ENOENT of a name that it does not take, as a directory
/// that is gone does of every name; of one that is there it becomes EILSEQ, as others say.
HostError OfNewName(HostError error, const NameAt& at) {
  HostStat directory;
  const bool is_about_name =
      error.Is(ENOENT) && !StatOf(at.directory, directory) && directory.links > 0;
  return is_about_name ? HostError(EILSEQ) : error;
}

/// Opens what `directory` is, to read the names in it: a descriptor of its own, which has a position.
Descriptor OpenForNames(int directory) {
  return Descriptor(::openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

/// Reads the next entries of a directory and calls `visit(name)` for each but "." and "..". False at
/// the end.
template <class Visit>
HostError ReadNames(const Descriptor& directory, const Visit& visit, bool& more) {
  alignas(dirent64) std::array<char, 1 << 15> entries;
  const ssize_t bytes = ::getdents64(directory.get(), entries.data(), entries.size());
  if (bytes < 0) return HostError::Last();
  more = bytes > 0;
  for (const char* at = entries.data(); at < entries.data() + bytes;) {
    const auto* const entry = reinterpret_cast<const dirent64*>(at);
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") visit(name);
    at += entry->d_reclen;
  }
  return {};
}

}  // namespace

HostError StatAt(const NameAt& at, HostStat& stat) {
  return Look(at.directory, at.name.c_str(), AT_SYMLINK_NOFOLLOW, stat);
}

HostError StatOf(int fd, HostStat& stat) {
  return Look(fd, "", AT_EMPTY_PATH, stat);
}

bool BelongsToVolume(const HostStat& stat, std::uint64_t device) {
  return stat.device == device && !stat.is_mount_root && (stat.IsFile() || stat.IsDirectory());
}

DosError LookAt(const NameAt& at, std::uint64_t device, Opened& looked) {
  looked = {};
  if (const HostError error = StatAt(at, looked.stat)) return error.ForReading();
  return BelongsToVolume(looked.stat, device) ? kNoError : ERROR_OBJECT_WRONG_TYPE;
}

bool IsGoneOrForeign(DosError error) {
  return error == ERROR_OBJECT_NOT_FOUND || error == ERROR_OBJECT_WRONG_TYPE;
}

DosError OpenLooked(const NameAt& at, std::uint64_t device, Opened& looked) {
  looked.readable = true;
  looked.fd = SharedDescriptor(::openat(at.directory, at.name.c_str(), O_RDONLY | kCareful));
  if (!looked.fd && HostError::Last().Is(EACCES, EPERM)) {
    looked.readable = false;
    looked.fd =
        SharedDescriptor(::openat(at.directory, at.name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  }
  if (const HostError error = StatOfOpened(looked.fd, looked.stat)) return error.ForReading();
  return BelongsToVolume(looked.stat, device) ? kNoError : ERROR_OBJECT_WRONG_TYPE;
}

DosError OpenAt(const NameAt& at, std::uint64_t device, Opened& opened) {
  const DosError error = LookAt(at, device, opened);
  return error ? error : OpenLooked(at, device, opened);
}

DosError OpenContentAt(const NameAt& at, std::uint64_t device, const Identity& meant,
                       Opened& content, DosError& write_refusal) {
  write_refusal = kNoError;
  content.readable = true;
  content.fd = SharedDescriptor(::openat(at.directory, at.name.c_str(), O_RDWR | kCareful));
  if (!content.fd && HostError::Last().Is(EACCES, EPERM, EROFS, ETXTBSY)) {
    write_refusal = HostError::Last().ForWriting();
    content.fd = SharedDescriptor(::openat(at.directory, at.name.c_str(), O_RDONLY | kCareful));
  }
  if (const HostError error = StatOfOpened(content.fd, content.stat)) return error.ForReading();
  if (BelongsToVolume(content.stat, device) && content.stat.identity() == meant) return kNoError;
  content.fd.Close();
  return ERROR_INVALID_LOCK;
}

DosError MakeFileAt(const NameAt& at, Opened& content) {
  content.fd = SharedDescriptor(
      ::openat(at.directory, at.name.c_str(), O_RDWR | O_CREAT | O_EXCL | kCareful, 0666));
  return content.fd ? kNoError : OfNewName(HostError::Last(), at).ForWriting();
}

DosError MakeDirectoryAt(const NameAt& at, std::uint64_t device, Opened& made) {
  const int result = ::mkdirat(at.directory, at.name.c_str(), 0777);
  if (const HostError error = HostError::Of(result)) return OfNewName(error, at).ForWriting();
  made = {};
  made.fd =
      SharedDescriptor(::openat(at.directory, at.name.c_str(), O_RDONLY | O_DIRECTORY | kCareful));
  DosError error = StatOfOpened(made.fd, made.stat).ForReading();
  if (!error && !BelongsToVolume(made.stat, device)) error = ERROR_OBJECT_WRONG_TYPE;
  if (error) ::unlinkat(at.directory, at.name.c_str(), AT_REMOVEDIR);
  return error;
}

HostError LinkAt(const Opened& file, const NameAt& to) {
  const int fd = file.fd.get();
  const HostError error =
      HostError::Of(::linkat(fd, "", to.directory, to.name.c_str(), AT_EMPTY_PATH));
  // Not every kernel lets every user do that; then the way over /proc does.
  if (!error.Is(ENOENT, EPERM)) return error;
  const std::string path = "/proc/self/fd/" + std::to_string(fd);
  return HostError::Of(
      ::linkat(AT_FDCWD, path.c_str(), to.directory, to.name.c_str(), AT_SYMLINK_FOLLOW));
}

Outcome RemoveAt(const NameAt& at, const Identity& meant, const std::string& aside) {
  return ChangeAside(at, meant, aside, [&](const HostStat& stat) {
    const int flags = stat.IsDirectory() ? AT_REMOVEDIR : 0;
    return HostError::Of(::unlinkat(at.directory, aside.c_str(), flags));
  });
}

Descriptor Watch(const NameAt& at) {
  return Descriptor(::openat(at.directory, at.name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
}

void WaitUntilRemoved(int watched, std::uint32_t links) {
  constexpr int kMostLooks = 1000;
  constexpr useconds_t kBetweenLooks = 500;
  HostStat stat;
  for (int look = 0; look != kMostLooks; ++look) {
    if (StatOf(watched, stat) || stat.links < links) return;
    ::usleep(kBetweenLooks);
  }
}

Outcome MoveAt(const NameAt& from, const Identity& meant, const std::string& aside,
               const NameAt& to) {
  return ChangeAside(from, meant, aside, [&](const HostStat&) {
    return RenameAt({from.directory, aside}, to);
  });
}

DosError ListNames(int directory, std::vector<std::string>& names) {
  names.clear();
  const Descriptor own = OpenForNames(directory);
  if (!own) return HostError::Last().ForReading();
  const auto keep = [&names](std::string_view name) { names.emplace_back(name); };
  for (bool more = true; more;) {
    if (const HostError error = ReadNames(own, keep, more)) return error.ForReading();
  }
  std::sort(names.begin(), names.end());
  return kNoError;
}

DosError SeemsEmpty(int directory, bool& empty) {
  const Descriptor own = OpenForNames(directory);
  if (!own) return HostError::Last().ForReading();
  empty = true;
  bool more = false;
  const auto found = [&empty](std::string_view) { empty = false; };
  return ReadNames(own, found, more).ForReading();
}

HostError RenameAt(const NameAt& from, const NameAt& to) {
  const char* const old_name = from.name.c_str();
  const char* const new_name = to.name.c_str();
  HostError error = HostError::Of(
      ::renameat2(from.directory, old_name, to.directory, new_name, RENAME_NOREPLACE));
  HostStat stat;
  // EINVAL is also what a directory on its way into itself gets; then the second call says so
  // again.
  if (error.Is(EINVAL, ENOSYS)) {
    if (!StatAt(to, stat)) return HostError(EEXIST);
    error = HostError::Of(::renameat(from.directory, old_name, to.directory, new_name));
  }
  // What has its old name still is not what is missing.
  return error.Is(ENOENT) && !StatAt(from, stat) ? OfNewName(error, to) : error;
}

}  // namespace quorle::hostdir
