#include "handlers/hostdir/hostdir_handler.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "handlers/common/names.h"
#include "handlers/common/settings.h"
#include "handlers/common/volume_port.h"
#include "handlers/hostdir/journal.h"
#include "handlers/hostdir/leftovers.h"
#include "handlers/hostdir/side_file.h"
#include "handlers/hostdir/volume.h"
#include "handlers/hostdir/xattr_store.h"

namespace quorle::hostdir {
namespace {

using common::KeyAnswer;
using VolumePort = common::VolumePort<Volume>;

/// How the directory is to be mounted.
struct MountRequest {
  VolumeSettings settings;
  std::string path;
  bool has_label = false;
  bool has_side_file = false;
  Scratch scratch = Scratch::kOwn;
};

KeyAnswer ReadKey(std::string_view key, const char* value, MountRequest& request) {
  if (key == "path") {
    request.path = value;
    return common::Taken(!request.path.empty());
  }
  if (key == "metadata") {
    const std::string_view where = value;
    request.has_side_file = where == "file";
    return common::Taken(where == "xattr" || where == "file");
  }
  if (key == "scratch") {
    const std::string_view own = value;
    request.scratch = own == "no" ? Scratch::kAll : Scratch::kOwn;
    return common::Taken(own == "yes" || own == "no");
  }
  if (key == "volume") request.has_label = true;
  return KeyAnswer::kUnknown;
}

/// Whether this process may read, write and search what it makes itself.
bool IsUmaskUsable(mode_t& mask) {
  // There is no way to look at it that does not set it; this value gives away nothing meanwhile.
  mask = ::umask(0077);
  ::umask(mask);
  return (mask & 0700) == 0;
}

/// Opens the directory. False, with the reason in `problem`, when it is none or cannot be written.
bool OpenRoot(const std::string& path, Opened& root, std::string& problem) {
  // The path itself is the host's, and found by the host's rules: it may lead over symbolic links.
  root.fd = SharedDescriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  struct ::statvfs host {};
  mode_t mask = 0;
  if (!root.fd || ::fstatvfs(root.fd.get(), &host) != 0) {
    problem = "cannot open the directory: " + HostError::Last().Message();
  } else if (const HostError error = StatOf(root.fd.get(), root.stat)) {
    problem = "cannot look at the directory: " + error.Message();
  } else if (root.stat.is_append_only) {
    problem = "the directory is append-only (chattr +a): nothing could be deleted there";
  } else if (root.stat.is_immutable) {
    problem = "the directory is immutable (chattr +i)";
  } else if ((host.f_flag & ST_RDONLY) != 0) {
    problem = "the directory's filesystem is mounted read-only";
  } else if (::faccessat(root.fd.get(), ".", R_OK | W_OK | X_OK, AT_EACCESS) != 0) {
    problem = "the directory cannot be written: " + HostError::Last().Message();
  } else if (!IsUmaskUsable(mask)) {
    std::array<char, 16> octal{};
    std::snprintf(octal.data(), octal.size(), "%04o", static_cast<unsigned>(mask));
    problem = std::string("the umask ") + octal.data() +
              " takes the owner's rights from whatever is made; it must be 0077 or less";
  } else if (::flock(root.fd.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    // Two tables of locks would know nothing of each other.
    problem = "the directory is mounted already, or locked by another program";
  } else {
    return true;
  }
  return false;
}

/// The same path from the top and without symbolic links.
std::string WholePath(const std::string& path) {
  std::error_code error;
  const std::filesystem::path whole = std::filesystem::canonical(path, error);
  return error ? path : whole.string();
}

VolumePort::Port* StartVolume(const ::HandlerMount& mount) {
  MountRequest request;
  VolumeSettings& settings = request.settings;
  settings.device = mount.DeviceName;
  settings.version = "hostdir-handler 53.1 (21.11.2026)";
  const bool is_read = common::ReadKeys(
      mount, settings, "dir", ", metadata, scratch",
      [&request](std::string_view key, const char* value) { return ReadKey(key, value, request); });
  if (!is_read) return nullptr;
  Opened root;
  std::string problem;
  if (request.path.empty()) {
    problem = "there is no directory to mount: dir:PATH";
  } else if (OpenRoot(request.path, root, problem)) {
    problem.clear();
  }
  std::unique_ptr<RecordStore> records;
  if (problem.empty()) {
    records = request.has_side_file ? OpenSideFile(root, problem) : OpenXattrStore(root, problem);
  }
  if (records == nullptr) {
    std::snprintf(mount.Problem, mount.ProblemSize, "%s", problem.c_str());
    return nullptr;
  }
  if (!request.has_label) {
    Record record;
    if (!records->Read(root, record) && record.label) settings.label = *record.label;
    if (!common::IsName(settings.label)) settings.label = settings.device + " Disk";
  }
  const std::string path = WholePath(request.path);
  const ::HandlerServices* const dos = mount.Dos;
  const auto report = [dos](const std::string& line) { dos->Report(dos, line.c_str()); };
  if (!root.stat.born) {
    report(
        "the host does not know when objects were made: after the end of a run their numbers "
        "alone do not prove that they were the run's");
  }
  Descriptor folder = OpenStateFolder(root, problem);
  if (folder) {
    RemoveLeftovers(folder.get(), root, path, *records, report);
  } else {
    report("no journal is kept, and what a killed run has left is not looked for: " + problem);
  }
  Journal journal = folder ? Journal(std::move(folder), root, path, report) : Journal();
  MountedDirectory directory{.root = std::move(root),
                             .records = std::move(records),
                             .scratch = request.scratch,
                             .journal = std::move(journal),
                             .report = report};
  // Where the host knows no time of birth nothing proves after the end of a mount what it has made.
  if (mount.Version >= 2 && directory.root.stat.born) directory.medium = mount.Medium;
  if (directory.medium != nullptr && *directory.medium != nullptr) {
    directory.last = *static_cast<const LastMount*>(*directory.medium);
  }
  return VolumePort::Start(mount, std::move(settings), std::move(directory));
}

void Discard(void* medium) {
  delete static_cast<LastMount*>(medium);
}

void Unmount(VolumePort::Port* port) {
  const Volume& volume = common::MountedVolume<Volume>::VolumeOf(port);
  void** const medium = volume.medium();
  LastMount last = volume.Leave();
  VolumePort::Unmount(port);
  if (medium == nullptr) return;
  Discard(std::exchange(*medium, nullptr));
  if (!last.objects.empty()) *medium = new LastMount(std::move(last));
}

constexpr ::Handler kHandler = {sizeof(::Handler),
                                QUORLE_HANDLER_VERSION,
                                "hostdir",
                                VolumePort::Mount<StartVolume>,
                                Unmount,
                                nullptr,
                                Discard};

}  // namespace
}  // namespace quorle::hostdir

const struct Handler* QuorleHostdirHandler() {
  return &quorle::hostdir::kHandler;
}
