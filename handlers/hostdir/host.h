#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "handlers/hostdir/descriptor.h"
#include "handlers/hostdir/host_error.h"

namespace quorle::hostdir {

/// What distinguishes an object of the host from all others. The number alone does not: the host
/// uses that of a removed object for the next one. Where it knows no births, the number has to do.
struct Identity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::int64_t born_seconds = 0;
  std::int64_t born_nanoseconds = 0;

  bool operator==(const Identity&) const = default;
  bool operator<(const Identity& other) const {
    return std::tie(device, inode, born_seconds, born_nanoseconds) <
           std::tie(other.device, other.inode, other.born_seconds, other.born_nanoseconds);
  }
};

/// What the host says of an object. Never of what a symbolic link leads to.
struct HostStat {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::uint32_t mode = 0;
  std::uint32_t links = 0;
  std::int64_t size = 0;
  std::timespec changed{};              ///< the content
  std::timespec status_changed{};       ///< anything of it, its attributes too
  std::optional<std::timespec> born{};  ///< where the host knows

  /// The root of a mount of the host, which may show what lies elsewhere on the same filesystem.
  bool is_mount_root = false;
  bool is_append_only = false;  ///< chattr +a: nothing in it is renamed or removed
  bool is_immutable = false;    ///< chattr +i

  bool IsFile() const { return S_ISREG(mode); }
  bool IsDirectory() const { return S_ISDIR(mode); }
  Identity identity() const {
    return born ? Identity{device, inode, born->tv_sec, born->tv_nsec}
                : Identity{device, inode, 0, 0};
  }
};

/// A name in a directory of the host that is open: one component, never a path.
struct NameAt {
  int directory;  ///< its descriptor
  const std::string& name;
};

/// An object of the host that was looked at, and is open for its attributes where `fd` is one.
struct Opened {
  SharedDescriptor fd;
  HostStat stat;
  bool readable = true;  ///< false: the host keeps content and attributes from us

  bool IsFile() const { return stat.IsFile(); }
  bool IsDirectory() const { return stat.IsDirectory(); }
};

/// Looks at what is open, or at what has a name. What the host itself remembers of it does not
/// count: a file with two names may be remembered twice.
HostError StatOf(int fd, HostStat& stat);
HostError StatAt(const NameAt& at, HostStat& stat);
/// Looks at something open once more.
inline DosError StatAgain(Opened& opened) {
  return StatOf(opened.fd.get(), opened.stat).ForReading();
}
/// Whether an object can be part of a volume on the device `device`: a file or a directory there.
/// All others are foreign: symbolic links, pipes, devices, and what is mounted from elsewhere.
bool BelongsToVolume(const HostStat& stat, std::uint64_t device);
/// Looks at a file or directory, and leaves `looked` without a descriptor. 212 for an object that is
/// foreign to the volume on `device`.
DosError LookAt(const NameAt& at, std::uint64_t device, Opened& looked);
/// Opens what LookAt() has just found there, and looks at what is open: nobody opens a device, which
/// may do something, unless it took the name since.
DosError OpenLooked(const NameAt& at, std::uint64_t device, Opened& looked);
/// Both.
DosError OpenAt(const NameAt& at, std::uint64_t device, Opened& opened);
/// Whether LookAt() found nothing, or nothing that can be part of the volume.
bool IsGoneOrForeign(DosError error);
/// Opens the content of a file that LookAt() has just found there, for reading alone when the host
/// does not let it be written; `write_refusal` is the error then, else none. 211 when it is not the
/// one that is `meant`.
DosError OpenContentAt(const NameAt& at, std::uint64_t device, const Identity& meant,
                       Opened& content, DosError& write_refusal);
/// Makes an empty file and opens its content; it is still to be looked at.
DosError MakeFileAt(const NameAt& at, Opened& content);
/// Makes a directory and opens it. The name must be one that nobody else uses: no host does both at
/// once, and what is opened must be what was made.
DosError MakeDirectoryAt(const NameAt& at, std::uint64_t device, Opened& made);
/// Gives the open file `file` a further name. What is linked is that file, whatever has its names by
/// now.
HostError LinkAt(const Opened& file, const NameAt& to);
/// What became of an object that was to be removed or renamed.
struct Outcome {
  HostError error;        ///< ESTALE: another object has the name
  bool is_aside = false;  ///< an object has lost its name to yet another, and stays as `aside`
};
/// Removes a file or an empty directory, or renames it, when it is the one that is `meant`, as
/// LookAt() has just found. No host does either by identity. So the object first gets the name
/// `aside` in its directory, which nobody else uses, is looked at there, and then removed or given
/// its new name; another one gets its own name back. So what another process puts in the place of an
/// object has another time of status at worst. Nothing is ever replaced, as far as RenameAt() can
/// promise it.
Outcome RemoveAt(const NameAt& at, const Identity& meant, const std::string& aside);
/// What has that name, for WaitUntilRemoved() alone: it does not count as open.
Descriptor Watch(const NameAt& at);
/// The program that serves a FUSE filesystem may keep a name whose file was open when it was removed as
/// another name in the same directory, and remove that, which dates the directory, when it hears of the
/// closing. Returns when what had `links` names has fewer, after half a second at most: another process may
/// have the file open for longer.
void WaitUntilRemoved(int watched, std::uint32_t links);
Outcome MoveAt(const NameAt& from, const Identity& meant, const std::string& aside,
               const NameAt& to);
/// The names in a directory, in byte order, without "." and "..".
DosError ListNames(int directory, std::vector<std::string>& names);
/// Whether a directory has no names. One that the host shows a part of at a time may have some yet.
DosError SeemsEmpty(int directory, bool& empty);
/// Renames without ever replacing anything, as far as the host can promise it: where it cannot,
/// what appears between a look and the renaming is replaced.
HostError RenameAt(const NameAt& from, const NameAt& to);

}  // namespace quorle::hostdir
