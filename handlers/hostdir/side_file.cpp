#include "handlers/hostdir/side_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <ctime>
#include <map>
#include <string_view>
#include <system_error>
#include <utility>

#include "handlers/hostdir/host_names.h"
#include "quorle/handler.h"

namespace quorle::hostdir {
namespace {

constexpr const char* kFile = ".quorle-metadata";
constexpr const char* kNewFile = ".quorle-metadata.new";
static_assert(std::string_view(kFile) == kOwnPrefix);

constexpr mode_t kMode = 0666;

bool WriteAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(fd, text.data(), text.size());
    if (count > 0) {
      text.remove_prefix(static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      if (count == 0) errno = ENOSPC;
      return false;
    }
  }
  return true;
}

bool ReadAll(int fd, std::string& text) {
  char buffer[1 << 16];
  for (;;) {
    const ssize_t count = ::read(fd, buffer, sizeof buffer);
    if (count == 0) return true;
    if (count > 0) {
      text.append(buffer, static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      return false;
    }
  }
}

/// INODE:SECONDS.NANOSECONDS of the birth; without the second part where the host knows no births.
std::string KeyOf(const Opened& object) {
  std::string key = std::to_string(object.stat.inode);
  if (object.stat.born) {
    key += ':' + std::to_string(object.stat.born->tv_sec) + '.' +
           std::to_string(object.stat.born->tv_nsec);
  }
  return key;
}

std::string Line(const std::string& key, const std::string& text) {
  return key + ' ' + text + '\n';
}

class SideFile final : public RecordStore {
 public:
  /// False when the file cannot be read or written: `problem` says at what, errno why.
  bool Open(const Opened& root, std::string& problem) {
    problem = std::string("cannot read ") + kFile;
    if (!Load(root.fd.get()) || !WriteAnew(root.fd.get(), problem)) return false;
    problem.clear();
    // The file is none of the volume's business: its root has not changed.
    const std::timespec times[2] = {{0, UTIME_OMIT}, root.stat.changed};
    ::futimens(root.fd.get(), times);
    return true;
  }

  DosError Read(const Opened& object, Record& record) override {
    const auto found = records_.find(KeyOf(object));
    record = found == records_.end() ? Record() : FromText(found->second);
    return kNoError;
  }

  DosError Write(const Opened& object, const Record& record) override {
    return Keep(KeyOf(object), ToText(record));
  }

  void Forget(const Opened& object) override {
    // Without room for the line the object only seems to be there still: nothing has its key again.
    const std::string key = KeyOf(object);
    if (Keep(key, {})) records_.erase(key);
  }

 private:
  bool Load(int root) {
    const Descriptor old(::openat(root, kFile, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!old) return errno == ENOENT;
    HostStat stat;
    if ((errno = StatOf(old.get(), stat)) != 0) return false;
    if (!stat.IsFile()) {
      errno = EINVAL;
      return false;
    }
    std::string text;
    if (!ReadAll(old.get(), text)) return false;
    // A last line without its end was never finished.
    std::size_t start = 0;
    for (std::size_t end = 0; (end = text.find('\n', start)) != std::string::npos;
         start = end + 1) {
      const std::string_view line(text.data() + start, end - start);
      const std::size_t blank = line.find(' ');
      if (blank == std::string_view::npos) continue;
      Remember(std::string(line.substr(0, blank)), std::string(line.substr(blank + 1)));
    }
    return true;
  }

  bool WriteAnew(int root, std::string& problem) {
    std::string text;
    for (const auto& [key, record] : records_) text += Line(key, record);
    // One that was left behind, or that somebody put there, is not written into: it may have another
    // name outside of the directory.
    problem = std::string("cannot remove an old ") + kNewFile;
    if (::unlinkat(root, kNewFile, 0) != 0 && errno != ENOENT) return false;
    problem = std::string("cannot write ") + kFile;
    Descriptor fresh(
        ::openat(root, kNewFile, O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, kMode));
    if (!fresh) return false;
    if (!WriteAll(fresh.get(), text) || ::fsync(fresh.get()) != 0 ||
        ::renameat(root, kNewFile, root, kFile) != 0) {
      const int error = errno;
      ::unlinkat(root, kNewFile, 0);
      errno = error;
      return false;
    }
    file_ = std::move(fresh);
    return true;
  }

  void Remember(const std::string& key, const std::string& text) {
    if (text.empty()) {
      records_.erase(key);
    } else {
      records_[key] = text;
    }
  }

  DosError Keep(const std::string& key, const std::string& text) {
    const auto found = records_.find(key);
    if (found == records_.end() ? text.empty() : found->second == text) return kNoError;
    HostStat before;
    if (const int error = StatOf(file_.get(), before); error != 0) {
      return CodeFor(error, ERROR_WRITE_PROTECTED);
    }
    if (!WriteAll(file_.get(), Line(key, text))) {
      const int error = errno;
      // Half a line would swallow the next one.
      if (::ftruncate(file_.get(), static_cast<off_t>(before.size)) != 0)
        return ERROR_DISK_NOT_VALIDATED;
      return CodeFor(error, ERROR_WRITE_PROTECTED);
    }
    Remember(key, text);
    return kNoError;
  }

  std::map<std::string, std::string> records_;
  Descriptor file_;
};

}  // namespace

std::unique_ptr<RecordStore> OpenSideFile(const Opened& root, std::string& problem) {
  auto store = std::make_unique<SideFile>();
  if (store->Open(root, problem)) return store;
  problem += " (" + std::generic_category().message(errno) + ")";
  return nullptr;
}

}  // namespace quorle::hostdir
