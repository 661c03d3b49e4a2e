#include "handlers/hostdir/host.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>

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
  stat.born.reset();
  if ((found.stx_mask & STATX_BTIME) != 0) stat.born = TimeOf(found.stx_btime);
  return {};
}

/// What is open as `fd`: its error, when there is no descriptor.
HostError StatOfOpened(const Descriptor& fd, HostStat& stat) {
  return fd ? StatOf(fd.get(), stat) : HostError::Last();
}

/// Renames what is called `from` to `aside`, does `change(stat)` to it there when it is the one that
/// is `meant`, and gives it its name back when it is not or when the change fails.
template <class Change>
Outcome ChangeAside(const NameAt& from, const Identity& meant, const std::string& aside,
                    const Change& change) {
  const NameAt hidden{from.directory, aside};
  HostStat stat;
  const auto look = [&](const NameAt& at) {
    const HostError error = StatAt(at, stat);
    return !error && stat.identity() != meant ? HostError(ESTALE) : error;
  };
  // What plainly is another object is not even renamed.
  if (const HostError error = look(from)) return {.error = error};
  if (const HostError error = RenameAt(from, hidden)) return {.error = error};
  HostError error = look(hidden);
  if (!error) error = change(stat);
  if (!error) return {};
  return {.error = error, .is_aside = static_cast<bool>(RenameAt(hidden, from))};
}

struct CloseStream {
  void operator()(DIR* stream) const { ::closedir(stream); }
};

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

DosError OpenAt(const NameAt& at, std::uint64_t device, Opened& opened) {
  // Looked at first: opening a device may do something.
  if (const HostError error = StatAt(at, opened.stat)) return error.ForReading();
  if (!BelongsToVolume(opened.stat, device)) return ERROR_OBJECT_WRONG_TYPE;
  opened.readable = true;
  opened.fd = Descriptor(::openat(at.directory, at.name.c_str(), O_RDONLY | kCareful));
  if (!opened.fd && HostError::Last().Is(EACCES, EPERM)) {
    opened.readable = false;
    opened.fd =
        Descriptor(::openat(at.directory, at.name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  }
  if (const HostError error = StatOfOpened(opened.fd, opened.stat)) return error.ForReading();
  return BelongsToVolume(opened.stat, device) ? kNoError : ERROR_OBJECT_WRONG_TYPE;
}

DosError OpenContentAt(const NameAt& at, std::uint64_t device, const Identity& meant,
                       Opened& content, DosError& write_refusal) {
  if (const HostError error = StatAt(at, content.stat)) return error.ForReading();
  const auto is_meant = [&] {
    return BelongsToVolume(content.stat, device) && content.stat.identity() == meant;
  };
  if (!is_meant()) return ERROR_INVALID_LOCK;
  write_refusal = kNoError;
  content.fd = Descriptor(::openat(at.directory, at.name.c_str(), O_RDWR | kCareful));
  if (!content.fd && HostError::Last().Is(EACCES, EPERM, EROFS, ETXTBSY)) {
    write_refusal = HostError::Last().ForWriting();
    content.fd = Descriptor(::openat(at.directory, at.name.c_str(), O_RDONLY | kCareful));
  }
  if (const HostError error = StatOfOpened(content.fd, content.stat)) return error.ForReading();
  if (is_meant()) return kNoError;
  content.fd.Close();
  return ERROR_INVALID_LOCK;
}

DosError MakeFileAt(const NameAt& at, Opened& content) {
  content.fd = Descriptor(
      ::openat(at.directory, at.name.c_str(), O_RDWR | O_CREAT | O_EXCL | kCareful, 0666));
  // What cannot be looked at cannot be removed either: nothing says that it still has the name.
  return StatOfOpened(content.fd, content.stat).ForWriting();
}

DosError MakeDirectoryAt(const NameAt& at, std::uint64_t device, Opened& made) {
  const int result = ::mkdirat(at.directory, at.name.c_str(), 0777);
  if (const HostError error = HostError::Of(result)) return error.ForWriting();
  const DosError error = OpenAt(at, device, made);
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

Outcome MoveAt(const NameAt& from, const Identity& meant, const std::string& aside,
               const NameAt& to) {
  return ChangeAside(from, meant, aside, [&](const HostStat&) {
    return RenameAt({from.directory, aside}, to);
  });
}

DosError OpenAgain(const Opened& opened, Opened& again) {
  again.readable = opened.readable;
  again.fd = Descriptor(::fcntl(opened.fd.get(), F_DUPFD_CLOEXEC, 0));
  return StatOfOpened(again.fd, again.stat).ForReading();
}

DosError ListNames(int directory, std::vector<std::string>& names) {
  names.clear();
  // A descriptor of its own: a stream moves the position of the one that it has.
  Descriptor own(::openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!own) return HostError::Last().ForReading();
  const std::unique_ptr<DIR, CloseStream> stream(::fdopendir(own.get()));
  if (stream == nullptr) return HostError::Last().ForReading();
  static_cast<void>(own.Release());  // the stream's now
  errno = 0;
  while (const dirent* const entry = ::readdir(stream.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
    errno = 0;
  }
  if (errno != 0) return HostError::Last().ForReading();
  std::sort(names.begin(), names.end());
  return kNoError;
}

HostError RenameAt(const NameAt& from, const NameAt& to) {
  const char* const old_name = from.name.c_str();
  const char* const new_name = to.name.c_str();
  const HostError error = HostError::Of(
      ::renameat2(from.directory, old_name, to.directory, new_name, RENAME_NOREPLACE));
  // EINVAL is also what a directory on its way into itself gets; then the second call says so
  // again.
  if (!error.Is(EINVAL, ENOSYS)) return error;
  HostStat stat;
  if (!StatAt(to, stat)) return HostError(EEXIST);
  return HostError::Of(::renameat(from.directory, old_name, to.directory, new_name));
}

}  // namespace quorle::hostdir
