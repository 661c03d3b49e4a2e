#include "program/trace_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "hosted/dos/descriptors.h"

namespace quorle {

TraceFile::~TraceFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

bool TraceFile::Open(const char* path) {
  descriptor_ = ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0666);
  if (descriptor_ >= 0) return true;
  console_.Report(std::string("cannot open the trace file ") + path + ": " + std::strerror(errno));
  return false;
}

bool TraceFile::Write(const char* line, std::size_t bytes) {
  if (descriptor_ < 0) return false;
  int error = 0;
  const std::size_t written = WriteAll(descriptor_, {line, bytes}, error);
  if (written == bytes) return true;
  std::string problem = std::strerror(error);
  if (written > 0 && !TakeBack(written)) problem += "; its last line is not whole";
  console_.Report("the trace ends here, its file cannot be written: " + problem);
  ::close(descriptor_);
  descriptor_ = -1;
  failed_ = true;
  return false;
}

bool TraceFile::TakeBack(std::size_t bytes) {
  // A write leaves the position behind it. Where another run has added lines since, the half line
  // is not the last one any more.
  const off_t position = ::lseek(descriptor_, 0, SEEK_CUR);
  struct stat file {};
  return ::fstat(descriptor_, &file) == 0 && S_ISREG(file.st_mode) && file.st_size == position &&
         ::ftruncate(descriptor_, position - static_cast<off_t>(bytes)) == 0;
}

}  // namespace quorle
