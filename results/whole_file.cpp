#include "results/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace quorle {
namespace {

/// A descriptor that is closed once; closing can report what writing did not.
class Descriptor {
 public:
  explicit Descriptor(int value) : value_(value) {}
  ~Descriptor() { Close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int value() const { return value_; }
  bool Close() {
    if (value_ < 0) return true;
    const int result = ::close(value_);
    value_ = -1;
    return result == 0;
  }

 private:
  int value_;
};

/// False, with errno, when not all of `text` could be written.
bool Write(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(descriptor, text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

/// The place that `path` leads to when links are followed; itself when nothing is there.
std::string Target(const std::string& path) {
  const std::unique_ptr<char, void (*)(void*)> real(::realpath(path.c_str(), nullptr), std::free);
  return real == nullptr ? path : std::string(real.get());
}

mode_t DefaultMode() {
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return 0666 & ~mask;
}

bool Refuse(const std::string& path, std::string& problem) {
  problem = "cannot write " + path + ": " + std::strerror(errno);
  return false;
}

}  // namespace

bool WriteWholeFile(const std::string& path, std::string_view text, std::string& problem) {
  struct stat old {};
  const bool exists = ::stat(path.c_str(), &old) == 0;
  if (exists && !S_ISREG(old.st_mode)) {
    Descriptor file(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
    const bool done = file.value() >= 0 && Write(file.value(), text) && file.Close();
    return done || Refuse(path, problem);
  }
  // A file that may not be written stays as it is, though its folder would allow another in its place.
  if (exists && ::access(path.c_str(), W_OK) != 0) return Refuse(path, problem);
  const std::string target = Target(path);
  std::string beside = target + ".XXXXXX";
  Descriptor file(::mkostemp(beside.data(), O_CLOEXEC));
  if (file.value() < 0) return Refuse(path, problem);
  const bool done = Write(file.value(), text) &&
                    ::fchmod(file.value(), exists ? old.st_mode & 07777 : DefaultMode()) == 0 &&
                    file.Close() && std::rename(beside.c_str(), target.c_str()) == 0;
  if (done) return true;
  const int error = errno;
  ::unlink(beside.c_str());
  errno = error;
  return Refuse(path, problem);
}

bool ReadWholeFile(const std::string& path, std::size_t most, std::string& text,
                   std::string& problem) {
  const bool is_input = path == "-";
  const auto close = [is_input](std::FILE* file) { return is_input ? 0 : std::fclose(file); };
  const std::unique_ptr<std::FILE, decltype(close)> file(
      is_input ? stdin : std::fopen(path.c_str(), "re"), close);
  text.assign(most + 1, '\0');
  if (file != nullptr) text.resize(std::fread(text.data(), 1, text.size(), file.get()));
  if (file == nullptr || std::ferror(file.get()) != 0) {
    problem = "cannot read " + path + ": " + std::strerror(errno);
    return false;
  }
  if (text.size() <= most) return true;
  problem = path + ": it is larger than " + std::to_string(most) + " bytes";
  return false;
}

}  // namespace quorle
