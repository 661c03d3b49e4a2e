#include "program/line_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "hosted/dos/descriptors.h"

namespace quorle {

LineFile::~LineFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

bool LineFile::Open(const char* path) {
  descriptor_ = ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0666);
  if (descriptor_ >= 0) return true;
  console_.Report(std::string("cannot open ") + names_.file + " " + path + ": " +
                  std::strerror(errno));
  return false;
}

bool LineFile::Adopt(int descriptor) {
  const int flags = ::fcntl(descriptor, F_GETFL);
  if (flags >= 0 && (flags & O_ACCMODE) == O_RDONLY) {
    console_.Report("descriptor " + std::to_string(descriptor) + " is not open for writing");
    return false;
  }
  descriptor_ = flags < 0 ? -1 : ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
  if (descriptor_ >= 0) return true;
  console_.Report("cannot write to descriptor " + std::to_string(descriptor) + ": " +
                  std::strerror(errno));
  return false;
}

bool LineFile::Write(const char* line, std::size_t bytes) {
  if (descriptor_ < 0) return false;
  int error = 0;
  const std::size_t written = WriteAll(descriptor_, {line, bytes}, error);
  if (written == bytes) return true;
  std::string problem = std::strerror(error);
  if (written > 0 && !TakeBack(written)) problem += "; its last line is not whole";
  console_.Report(std::string(names_.ending) + " cannot be written: " + problem);
  ::close(descriptor_);
  descriptor_ = -1;
  failed_ = true;
  return false;
}

bool LineFile::TakeBack(std::size_t bytes) {
  // A write leaves the position behind it. Where another run has added lines since, the half line
  // is not the last one any more.
  const off_t position = ::lseek(descriptor_, 0, SEEK_CUR);
  struct stat file {};
  return ::fstat(descriptor_, &file) == 0 && S_ISREG(file.st_mode) && file.st_size == position &&
         ::ftruncate(descriptor_, position - static_cast<off_t>(bytes)) == 0;
}

}  // namespace quorle
