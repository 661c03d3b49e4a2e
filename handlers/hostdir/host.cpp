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

bool IsDenied(int host_error) {
  return host_error == EACCES || host_error == EPERM;
}

std::timespec TimeOf(const ::statx_timestamp& moment) {
  std::timespec time{};
  time.tv_sec = static_cast<std::time_t>(moment.tv_sec);
  time.tv_nsec = static_cast<long>(moment.tv_nsec);
  return time;
}

int Look(int directory, const char* name, int flags, HostStat& stat) {
  struct ::statx found {};
  if (::statx(directory, name, flags | AT_STATX_FORCE_SYNC, STATX_BASIC_STATS | STATX_BTIME,
              &found) != 0) {
    return errno;
  }
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
  return 0;
}

/// Gives `name` the name `aside`, does `change(stat)` to it there when it is the one that is `meant`,
/// and gives it its name back when it is not or when the change fails with an error of the host.
template <class Change>
Outcome ChangeAside(int directory, const std::string& name, const Identity& meant,
                    const std::string& aside, const Change& change) {
  HostStat stat;
  const auto look = [&](const std::string& at) {
    const int error = StatAt(directory, at, stat);
    return error == 0 && stat.identity() != meant ? ESTALE : error;
  };
  // What plainly is another object is not even renamed.
  int error = look(name);
  if (error == 0) error = RenameAt(directory, name, directory, aside);
  if (error != 0) return {.error = error};
  error = look(aside);
  if (error == 0) error = change(stat);
  if (error == 0) return {};
  return {.error = error, .is_aside = RenameAt(directory, aside, directory, name) != 0};
}

struct CloseStream {
  void operator()(DIR* stream) const { ::closedir(stream); }
};

}  // namespace

DosError CodeFor(int host_error, DosError denied) {
  switch (host_error) {
    case 0:
      return kNoError;
    case EACCES:
    case EPERM:
    case EBADF:  // a descriptor that was opened for less, since more was denied
      return denied;
    case ENOENT:
      return ERROR_OBJECT_NOT_FOUND;
    case ENOTDIR:
    case EISDIR:
    case ELOOP:  // a symbolic link where none is followed
    case ENXIO:
      return ERROR_OBJECT_WRONG_TYPE;
    case EEXIST:
      return ERROR_OBJECT_EXISTS;
    case ENOTEMPTY:
      return ERROR_DIRECTORY_NOT_EMPTY;
    case ENAMETOOLONG:
    case EINVAL:  // a name that this filesystem does not take
    case EILSEQ:
      return ERROR_INVALID_COMPONENT_NAME;
    case EROFS:
      return ERROR_DISK_WRITE_PROTECTED;
    case EXDEV:
      return ERROR_RENAME_ACROSS_DEVICES;
    case EBUSY:
    case ETXTBSY:
      return ERROR_OBJECT_IN_USE;
    case ENOMEM:
    case EMFILE:
    case ENFILE:
      return ERROR_NO_FREE_STORE;
    case ENOSPC:
    case EDQUOT:
    case EMLINK:  // no room for one more name
    case EFBIG:   // nor for a file of that size
      return ERROR_DISK_FULL;
    case E2BIG:
    case ERANGE:
    case EOVERFLOW:
      return ERROR_OBJECT_TOO_LARGE;
    case ENOSYS:
    case EOPNOTSUPP:
      return ERROR_ACTION_NOT_KNOWN;
    case ESTALE:
      return ERROR_INVALID_LOCK;
    default:
      // The platform has no code for a medium that cannot be read (EIO): one that must be checked.
      return ERROR_DISK_NOT_VALIDATED;
  }
}

int StatAt(int directory, const std::string& name, HostStat& stat) {
  return Look(directory, name.c_str(), AT_SYMLINK_NOFOLLOW, stat);
}

int StatOf(int fd, HostStat& stat) {
  return Look(fd, "", AT_EMPTY_PATH, stat);
}

bool BelongsToVolume(const HostStat& stat, std::uint64_t device) {
  return stat.device == device && !stat.is_mount_root && (stat.IsFile() || stat.IsDirectory());
}

DosError OpenAt(int directory, const std::string& name, std::uint64_t device, Opened& opened) {
  // Looked at first: opening a device may do something.
  if (const int error = StatAt(directory, name, opened.stat); error != 0) {
    return CodeFor(error, ERROR_READ_PROTECTED);
  }
  if (!BelongsToVolume(opened.stat, device)) return ERROR_OBJECT_WRONG_TYPE;
  opened.readable = true;
  opened.fd = Descriptor(::openat(directory, name.c_str(), O_RDONLY | kCareful));
  if (!opened.fd && IsDenied(errno)) {
    opened.readable = false;
    opened.fd = Descriptor(::openat(directory, name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  }
  const int error = opened.fd ? StatOf(opened.fd.get(), opened.stat) : errno;
  if (error != 0) return CodeFor(error, ERROR_READ_PROTECTED);
  return BelongsToVolume(opened.stat, device) ? kNoError : ERROR_OBJECT_WRONG_TYPE;
}

DosError OpenContentAt(int directory, const std::string& name, std::uint64_t device,
                       const Identity& meant, Opened& content, DosError& write_refusal) {
  if (const int error = StatAt(directory, name, content.stat); error != 0) {
    return CodeFor(error, ERROR_READ_PROTECTED);
  }
  const auto is_meant = [&] {
    return BelongsToVolume(content.stat, device) && content.stat.identity() == meant;
  };
  if (!is_meant()) return ERROR_INVALID_LOCK;
  write_refusal = kNoError;
  content.fd = Descriptor(::openat(directory, name.c_str(), O_RDWR | kCareful));
  if (!content.fd && (IsDenied(errno) || errno == EROFS || errno == ETXTBSY)) {
    write_refusal = CodeFor(errno, ERROR_WRITE_PROTECTED);
    content.fd = Descriptor(::openat(directory, name.c_str(), O_RDONLY | kCareful));
  }
  const int error = content.fd ? StatOf(content.fd.get(), content.stat) : errno;
  if (error != 0) return CodeFor(error, ERROR_READ_PROTECTED);
  if (is_meant()) return kNoError;
  content.fd.Close();
  return ERROR_INVALID_LOCK;
}

DosError MakeFileAt(int directory, const std::string& name, Opened& content) {
  content.fd =
      Descriptor(::openat(directory, name.c_str(), O_RDWR | O_CREAT | O_EXCL | kCareful, 0666));
  if (!content.fd) return CodeFor(errno, ERROR_WRITE_PROTECTED);
  // What cannot be looked at cannot be removed either: nothing says that it still has the name.
  return CodeFor(StatOf(content.fd.get(), content.stat), ERROR_WRITE_PROTECTED);
}

DosError MakeDirectoryAt(int directory, const std::string& name, std::uint64_t device,
                         Opened& made) {
  if (::mkdirat(directory, name.c_str(), 0777) != 0) return CodeFor(errno, ERROR_WRITE_PROTECTED);
  const DosError error = OpenAt(directory, name, device, made);
  if (error) ::unlinkat(directory, name.c_str(), AT_REMOVEDIR);
  return error;
}

int LinkAt(const Opened& file, int directory, const std::string& name) {
  const int fd = file.fd.get();
  if (::linkat(fd, "", directory, name.c_str(), AT_EMPTY_PATH) == 0) return 0;
  // Not every kernel lets every user do that; then the way over /proc does.
  if (errno != ENOENT && errno != EPERM) return errno;
  const std::string path = "/proc/self/fd/" + std::to_string(fd);
  return ::linkat(AT_FDCWD, path.c_str(), directory, name.c_str(), AT_SYMLINK_FOLLOW) == 0 ? 0
                                                                                           : errno;
}

Outcome RemoveAt(int directory, const std::string& name, const Identity& meant,
                 const std::string& aside) {
  return ChangeAside(directory, name, meant, aside, [&](const HostStat& stat) {
    const int flags = stat.IsDirectory() ? AT_REMOVEDIR : 0;
    return ::unlinkat(directory, aside.c_str(), flags) == 0 ? 0 : errno;
  });
}

Outcome MoveAt(int directory, const std::string& name, const Identity& meant,
               const std::string& aside, int to_directory, const std::string& to) {
  return ChangeAside(directory, name, meant, aside,
                     [&](const HostStat&) { return RenameAt(directory, aside, to_directory, to); });
}

DosError OpenAgain(const Opened& opened, Opened& again) {
  again.readable = opened.readable;
  again.fd = Descriptor(::fcntl(opened.fd.get(), F_DUPFD_CLOEXEC, 0));
  const int error = again.fd ? StatOf(again.fd.get(), again.stat) : errno;
  return CodeFor(error, ERROR_READ_PROTECTED);
}

DosError ListNames(int directory, std::vector<std::string>& names) {
  names.clear();
  // A descriptor of its own: a stream moves the position of the one that it has.
  Descriptor own(::openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!own) return CodeFor(errno, ERROR_READ_PROTECTED);
  const std::unique_ptr<DIR, CloseStream> stream(::fdopendir(own.get()));
  if (stream == nullptr) return CodeFor(errno, ERROR_READ_PROTECTED);
  static_cast<void>(own.Release());  // the stream's now
  errno = 0;
  while (const dirent* const entry = ::readdir(stream.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
    errno = 0;
  }
  if (errno != 0) return CodeFor(errno, ERROR_READ_PROTECTED);
  std::sort(names.begin(), names.end());
  return kNoError;
}

int RenameAt(int from_directory, const std::string& from, int to_directory, const std::string& to) {
  if (::renameat2(from_directory, from.c_str(), to_directory, to.c_str(), RENAME_NOREPLACE) == 0) {
    return 0;
  }
  // EINVAL is also what a directory on its way into itself gets; then the second call says so
  // again.
  if (errno != EINVAL && errno != ENOSYS) return errno;
  HostStat stat;
  if (StatAt(to_directory, to, stat) == 0) return EEXIST;
  return ::renameat(from_directory, from.c_str(), to_directory, to.c_str()) == 0 ? 0 : errno;
}

}  // namespace quorle::hostdir
