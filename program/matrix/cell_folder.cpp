#include "program/matrix/cell_folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "hosted/dos/descriptors.h"
#include "program/host_options.h"
#include "results/cell_names.h"
#include "results/event_json.h"
#include "results/exit_status.h"
#include "results/run_record.h"

namespace quorle {
namespace {

constexpr std::string_view kPartEnding = ".part";
/// The last event of a file is not larger.
constexpr std::size_t kLongestTail = 64 << 10;

/// More than any line has that a run writes.
constexpr std::size_t kLongestLineOfPart = 4 << 20;

/// A file that is closed.
class OpenFile {
 public:
  OpenFile(const std::string& path, int flags)
      : descriptor_(::open(path.c_str(), flags | O_CLOEXEC, 0666)) {}
  ~OpenFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  int get() const { return descriptor_; }
  /// Its last bytes, `most` at most, and in `size` how many there are in all. False when they cannot be read.
  bool ReadTail(std::size_t most, std::string& tail, off_t& size) const {
    size = ::lseek(descriptor_, 0, SEEK_END);
    if (size < 0) return false;
    tail.resize(std::min(most, static_cast<std::size_t>(size)));
    const auto count = static_cast<off_t>(tail.size());
    return ::pread(descriptor_, tail.data(), tail.size(), size - count) == count;
  }

 private:
  int descriptor_;
};

/// The event that is the last line of the file `path`, when that is a whole one that says how a cell came out.
std::optional<CellEvent> LastCellEvent(const std::string& path) {
  const OpenFile file(path, O_RDONLY);
  std::string tail;
  off_t size = 0;
  if (file.get() < 0 || !file.ReadTail(kLongestTail, tail, size) || !tail.ends_with('\n')) {
    return std::nullopt;
  }
  tail.pop_back();
  const std::size_t begin = tail.rfind('\n');
  if (begin != std::string::npos) tail.erase(0, begin + 1);
  std::string problem;
  std::optional<Event> event = ReadJsonLine(tail, problem);
  CellEvent* const cell = event ? std::get_if<CellEvent>(&*event) : nullptr;
  if (cell == nullptr) return std::nullopt;
  return std::move(*cell);
}

/// The run of the file `path`, when it holds one.
std::optional<RunRecord> ReadOneRun(const std::string& path) {
  std::vector<RunRecord> runs;
  std::string problem;
  if (!ReadEvents(path, runs, problem) || runs.empty()) return std::nullopt;
  return std::move(runs.back());
}

/// What `status` of a run comes to for its cell.
std::int32_t CellStatus(std::int32_t status) {
  constexpr std::int32_t kNotAsExpected = 10;
  return status == 0 ? 0 : kNotAsExpected;
}

}  // namespace

CellFolder::~CellFolder() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

bool CellFolder::Open(Use use, std::string& problem) {
  std::error_code error;
  std::filesystem::create_directories(path_, error);
  descriptor_ = ::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor_ < 0) {
    problem = "cannot use the folder " + path_ + ": " + std::strerror(errno);
    return false;
  }
  const std::filesystem::path whole = std::filesystem::absolute(path_, error);
  if (!error) path_ = whole.lexically_normal().string();
  while (path_.size() > 1 && path_.ends_with('/')) path_.pop_back();
  // A process that a killed one was about to become a cell of still has the lock, for a moment.
  constexpr int kTries = 40;
  constexpr std::chrono::milliseconds kPause{50};
  for (int i = 0; i < kTries; ++i) {
    if (::flock(descriptor_, (use == Use::kAlone ? LOCK_EX : LOCK_SH) | LOCK_NB) == 0) return true;
    if (errno != EWOULDBLOCK) break;
    std::this_thread::sleep_for(kPause);
  }
  problem = errno == EWOULDBLOCK ? path_ + ": another quorle matrix is at work in this folder"
                                 : "cannot lock " + path_ + ": " + std::strerror(errno);
  return false;
}

std::string CellFolder::FileOf(const MatrixCell& cell) const {
  return path_ + "/" + CellFileName(cell.id);
}

std::string CellFolder::PartOf(const MatrixCell& cell) const {
  return path_ + "/." + CellFileName(cell.id) + "." + std::to_string(::getpid()) +
         std::string(kPartEnding);
}

void CellFolder::TakeLeftParts(const std::vector<MatrixCell>& cells) {
  std::map<std::string, std::string> parts;  // by the name of the file that they were to be
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(path_, error)) {
    const std::string name = entry.path().filename().string();
    if (!name.starts_with('.') || !name.ends_with(kPartEnding)) continue;
    const std::string_view stem =
        std::string_view(name).substr(1, name.size() - 1 - kPartEnding.size());
    parts.emplace(stem.substr(0, stem.rfind('.')), entry.path().string());
  }
  if (parts.empty()) return;
  for (const MatrixCell& cell : cells) {
    const auto found = parts.find(CellFileName(cell.id));
    if (found == parts.end() || Ended(cell)) continue;
    const std::optional<RunRecord> run = ReadOneRun(found->second);
    if (!run || !run->end || run->was_refused()) continue;
    const auto is_of = [&](std::vector<std::string> arguments) {
      // "--events" and its file stand before the device; where depends on the command.
      for (std::size_t i = 0; i + 1 < arguments.size(); ++i) {
        if (arguments[i] != "--events") continue;
        arguments.erase(arguments.begin() + static_cast<std::ptrdiff_t>(i),
                        arguments.begin() + static_cast<std::ptrdiff_t>(i) + 2);
        break;
      }
      return arguments == cell.words;
    };
    if (!is_of(run->start.arguments)) continue;
    std::string problem;
    static_cast<void>(KeepPart(found->second,
                               {.id = cell.id,
                                .arguments = cell.words,
                                .status = CellStatus(ExitStatus(*run, expectations_)),
                                .how = {},
                                .expect = expect_},
                               FileOf(cell), problem));
  }
  for (const auto& [name, path] : parts) ::unlink(path.c_str());
}

std::optional<CellEvent> CellFolder::Ended(const MatrixCell& cell) const {
  std::optional<CellEvent> event = LastCellEvent(FileOf(cell));
  if (!event || event->id != cell.id || event->arguments != cell.words) return std::nullopt;
  if (event->expect == expect_) return event;
  const std::optional<RunRecord> run = ReadOneRun(FileOf(cell));
  if (!run) return std::nullopt;
  const bool is_whole = event->how.empty();
  event->status = CellStatus(is_whole ? ExitStatus(*run, expectations_) : event->status);
  return event;
}

bool CellFolder::Keep(const MatrixCell& cell, std::int32_t status, const std::string& how,
                      std::string& problem) const {
  return KeepPart(PartOf(cell),
                  {.id = cell.id,
                   .arguments = cell.words,
                   .status = CellStatus(status),
                   .how = how,
                   .expect = expect_},
                  FileOf(cell), problem);
}

bool CellFolder::KeepPart(const std::string& part, const CellEvent& event, const std::string& file,
                          std::string& problem) const {
  const OpenFile events(part, O_RDWR | O_CREAT);
  std::string tail;
  off_t size = 0;
  bool done = events.get() >= 0 && events.ReadTail(kLongestLineOfPart, tail, size);
  std::string text;
  if (done) {
    // A process that was killed can leave a torn line, or nothing.
    const auto torn = static_cast<off_t>(tail.size() - (tail.rfind('\n') + 1));
    done = ::ftruncate(events.get(), size - torn) == 0 &&
           ::lseek(events.get(), 0, SEEK_END) == size - torn;
    if (size == torn) {
      RunEvent run;
      run.program = kProgramVersion;
      run.arguments = event.arguments;
      text = ToJsonLine(run);
    }
    text += ToJsonLine(event);
  }
  int error = errno;
  done = done && WriteAll(events.get(), text, error) == text.size();
  if (done && std::rename(part.c_str(), file.c_str()) == 0) return true;
  if (done) error = errno;
  problem = "cannot write " + file + ": " + std::strerror(error);
  ::unlink(part.c_str());
  return false;
}

void CellFolder::Drop(const MatrixCell& cell) const {
  ::unlink(PartOf(cell).c_str());
}

}  // namespace quorle
