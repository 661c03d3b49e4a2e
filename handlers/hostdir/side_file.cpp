#include "handlers/hostdir/side_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <ctime>
#include <map>
#include <string_view>
#include <utility>

#include "handlers/hostdir/host_names.h"
#include "quorle/handler.h"

namespace quorle::hostdir {
namespace {

constexpr const char* kFile = ".quorle-metadata";
constexpr const char* kNewFile = ".quorle-metadata.new";
static_assert(std::string_view(kFile) == kOwnPrefix);

constexpr mode_t kMode = 0666;

HostError WriteAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(fd, text.data(), text.size());
    if (count > 0) {
      text.remove_prefix(static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      return count == 0 ? HostError(ENOSPC) : HostError::Last();
    }
  }
  return {};
}

HostError ReadAll(int fd, std::string& text) {
  char buffer[1 << 16];
  for (;;) {
    const ssize_t count = ::read(fd, buffer, sizeof buffer);
    if (count == 0) return {};
    if (count > 0) {
      text.append(buffer, static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      return HostError::Last();
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
  /// `step` is what could not be done when the file cannot be read or written.
  HostError Open(const Opened& root, std::string& step) {
    step = std::string("cannot read ") + kFile;
    if (const HostError error = Load(root.fd.get())) return error;
    if (const HostError error = Rewrite(root.fd.get(), step)) return error;
    // The file is none of the volume's business: its root has not changed.
    const std::timespec times[2] = {{0, UTIME_OMIT}, root.stat.changed};
    ::futimens(root.fd.get(), times);
    return {};
  }

  bool NeedsDescriptor() const override { return false; }

  DosError Read(const Opened& object, Record& record) override {
    const auto found = records_.find(KeyOf(object));
    record = found == records_.end() ? Record() : FromText(found->second);
    return kNoError;
  }

  DosError Write(const Opened& object, const Record& record) override {
    return Keep(KeyOf(object), ToText(record));
  }

  DosError WriteFirst(const Opened& object, const Record& record) override {
    // There may be an old one, of an object that somebody else removed and that had the same key.
    return Write(object, record);
  }

  void Forget(const Opened& object) override {
    // Without room for the line the object only seems to be there still: nothing has its key again.
    const std::string key = KeyOf(object);
    if (Keep(key, {})) records_.erase(key);
  }

 private:
  HostError Load(int root) {
    const Descriptor old(::openat(root, kFile, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!old) return errno == ENOENT ? HostError() : HostError::Last();
    HostStat stat;
    if (const HostError error = StatOf(old.get(), stat)) return error;
    if (!stat.IsFile()) return HostError(EINVAL);
    std::string text;
    if (const HostError error = ReadAll(old.get(), text)) return error;
    // A last line without its end was never finished.
    std::size_t start = 0;
    for (std::size_t end = 0; (end = text.find('\n', start)) != std::string::npos;
         start = end + 1) {
      const std::string_view line(text.data() + start, end - start);
      const std::size_t blank = line.find(' ');
      if (blank == std::string_view::npos) continue;
      Remember(std::string(line.substr(0, blank)), std::string(line.substr(blank + 1)));
    }
    return {};
  }

  HostError Rewrite(int root, std::string& step) {
    std::string text;
    for (const auto& [key, record] : records_) text += Line(key, record);
    // One that was left behind, or that somebody put there, is not written into: it may have another
    // name outside of the directory.
    step = std::string("cannot remove an old ") + kNewFile;
    const HostError removal = HostError::Of(::unlinkat(root, kNewFile, 0));
    if (removal && !removal.Is(ENOENT)) return removal;
    step = std::string("cannot write ") + kFile;
    Descriptor fresh(
        ::openat(root, kNewFile, O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, kMode));
    if (!fresh) return HostError::Last();
    HostError error = WriteAll(fresh.get(), text);
    if (!error) error = HostError::Of(::fsync(fresh.get()));
    if (!error) error = HostError::Of(::renameat(root, kNewFile, root, kFile));
    if (error) {
      ::unlinkat(root, kNewFile, 0);
    } else {
      file_ = std::move(fresh);
    }
    return error;
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
    if (const HostError error = StatOf(file_.get(), before)) return error.ForWriting();
    if (const HostError error = WriteAll(file_.get(), Line(key, text))) {
      // Half a line would swallow the next one.
      const bool is_whole = ::ftruncate(file_.get(), static_cast<off_t>(before.size)) == 0;
      return is_whole ? error.ForWriting() : ERROR_DISK_NOT_VALIDATED;
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
  std::string step;
  const HostError error = store->Open(root, step);
  if (!error) return store;
  problem = step + " (" + error.Message() + ")";
  return nullptr;
}

}  // namespace quorle::hostdir
