#include "handlers/hostdir/journal.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <utility>

#include "handlers/common/settings.h"
#include "handlers/hostdir/host_names.h"
#include "handlers/hostdir/words.h"

namespace quorle::hostdir {
namespace {

using common::ReadNumber;

constexpr std::string_view kFirstLine = "quorle directory journal 1\n";
constexpr std::string_view kFilePrefix = "directory-";

std::string TextOf(const Identity& identity) {
  return std::to_string(identity.device) + ' ' + std::to_string(identity.inode) + ' ' +
         std::to_string(identity.born_seconds) + ' ' + std::to_string(identity.born_nanoseconds);
}

bool ReadIdentity(std::string_view& words, Identity& identity) {
  return ReadNumber(CutAt(' ', words), identity.device) &&
         ReadNumber(CutAt(' ', words), identity.inode) &&
         ReadNumber(CutAt(' ', words), identity.born_seconds) &&
         ReadNumber(CutAt(' ', words), identity.born_nanoseconds);
}

/// Reads one line into `text`. What is not understood is passed over.
void ReadLine(std::string_view line, JournalText& text) {
  const std::string_view word = CutAt(' ', line);
  Identity identity;
  if (word == "run") {
    ReadNumber(CutAt(' ', line), text.process);
    ReadNumber(line, text.started);
  } else if (word == "root" && ReadIdentity(line, identity)) {
    text.root = identity;
    text.root_path = Unescaped(line);
  } else if (word == "aside") {
    text.aside_names.push_back(Unescaped(line));
  } else if (word == "making") {
    text.entries.StartMaking(Unescaped(line));
  } else if (word == "made" && ReadIdentity(line, identity)) {
    text.entries.FinishMaking(identity, Unescaped(line));
  } else if (word == "moving") {
    const std::string from = Unescaped(CutAt(' ', line));
    text.entries.Rename(from, Unescaped(line));
  } else if (word == "gone") {
    text.entries.Remove(Unescaped(line));
  }
}

/// Reads a journal that nobody keeps. False when it is none, or somebody's still.
bool ReadJournal(int folder, const std::string& name, JournalText& text) {
  const Descriptor file(
      ::openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file || ::flock(file.get(), LOCK_SH | LOCK_NB) != 0) return false;
  std::string all;
  char buffer[1 << 12];
  for (ssize_t count = 0; (count = ::read(file.get(), buffer, sizeof buffer)) > 0;) {
    all.append(buffer, static_cast<std::size_t>(count));
  }
  if (!all.starts_with(kFirstLine)) return false;
  std::string_view rest(all);
  // A last line without its end was never finished.
  while (rest.find('\n') != std::string_view::npos) ReadLine(CutAt('\n', rest), text);
  return true;
}

/// Whether a directory is the one of a journal. Devices may get other numbers when the host starts
/// again; without births, a FUSE filesystem uses other numbers each time.
bool IsSameRoot(const JournalText& text, const Opened& root, const std::string& path) {
  if (!root.stat.born) return text.root_path == path;
  Identity identity = root.stat.identity();
  if (text.root_path == path) identity.device = text.root.device;
  return text.root == identity;
}

/// Whether the directory `fd` is `root` or lies in it.
bool LiesIn(int fd, const Opened& root) {
  Descriptor at(::openat(fd, ".", O_PATH | O_DIRECTORY | O_CLOEXEC));
  HostStat last;
  for (HostStat stat; at && !StatOf(at.get(), stat); last = stat) {
    if (stat.identity() == root.stat.identity()) return true;
    if (stat.identity() == last.identity()) break;  // the top
    at = Descriptor(::openat(at.get(), "..", O_PATH | O_DIRECTORY | O_CLOEXEC));
  }
  return false;
}

/// The path of the state folder; empty when there is none.
std::filesystem::path StatePath() {
  const auto absolute = [](const char* name) {
    const char* const value = std::getenv(name);
    return value != nullptr && *value == '/' ? value : "";
  };
  if (const std::string state = absolute("XDG_STATE_HOME"); !state.empty()) return state;
  const std::string home = absolute("HOME");
  return home.empty() ? std::filesystem::path() : std::filesystem::path(home) / ".local" / "state";
}

}  // namespace

// ---- Entries -----------------------------------------------------------------------------------

std::vector<JournalEntry> JournalEntries::all() const {
  std::vector<std::pair<std::uint64_t, JournalEntry>> numbered;
  for (const auto& [path, known] : entries_) {
    numbered.push_back(
        {known.number, {.path = path, .former = known.former, .identity = known.identity}});
  }
  std::sort(numbered.begin(), numbered.end(),
            [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<JournalEntry> entries;
  entries.reserve(numbered.size());
  for (auto& [number, entry] : numbered) entries.push_back(std::move(entry));
  return entries;
}

void JournalEntries::StartMaking(const std::string& path) {
  entries_.insert_or_assign(path, Known{.number = ++last_number_, .former = {}, .identity = {}});
}

void JournalEntries::FinishMaking(const Identity& identity, const std::string& path) {
  const auto entry = entries_.find(path);
  if (entry != entries_.end()) entry->second.identity = identity;
}

void JournalEntries::Rename(const std::string& from, const std::string& to) {
  std::vector<decltype(entries_)::node_type> moved;
  const auto take = [&](auto entry) {
    moved.push_back(entries_.extract(entry));
    return entries_.lower_bound(moved.back().key());
  };
  if (const auto entry = entries_.find(from); entry != entries_.end()) take(entry);
  // What lies below it comes one after the other.
  const std::string below = from + '/';
  auto entry = entries_.lower_bound(below);
  while (entry != entries_.end() && entry->first.starts_with(below)) entry = take(entry);
  for (auto& node : moved) {
    node.mapped().former = std::exchange(node.key(), to + node.key().substr(from.size()));
    entries_.erase(node.key());
    entries_.insert(std::move(node));
  }
}

void JournalEntries::Remove(const std::string& path) {
  entries_.erase(path);
}

// ---- The folder --------------------------------------------------------------------------------

Descriptor OpenStateFolder(const Opened& root, std::string& problem) {
  std::filesystem::path path = StatePath();
  if (path.empty()) {
    problem = "neither XDG_STATE_HOME nor HOME names a directory";
    return {};
  }
  path /= "quorle";
  Descriptor at(::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
  for (const std::filesystem::path& part : path.relative_path()) {
    const char* const name = part.c_str();
    if (*name == '\0') continue;
    const auto enter = [&] {
      return Descriptor(::openat(at.get(), name, O_PATH | O_DIRECTORY | O_CLOEXEC));
    };
    Descriptor next = enter();
    if (!next && errno == ENOENT) {
      // Nothing is made in the directory itself.
      if (LiesIn(at.get(), root)) break;
      if (::mkdirat(at.get(), name, 0700) == 0 || errno == EEXIST) next = enter();
    }
    if (!next) {
      problem = "cannot open " + path.string() + ": " + HostError::Last().Message();
      return {};
    }
    at = std::move(next);
  }
  if (LiesIn(at.get(), root)) {
    problem = path.string() + " lies in the directory itself";
    return {};
  }
  at = Descriptor(::openat(at.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!at) problem = "cannot open " + path.string() + ": " + HostError::Last().Message();
  return at;
}

std::vector<OldJournal> FindOldJournals(int folder, const Opened& root, const std::string& path) {
  std::vector<OldJournal> found;
  std::vector<std::string> names;
  static_cast<void>(ListNames(folder, names));  // in one that cannot be read there are none
  for (const std::string& name : names) {
    OldJournal journal{.file = name, .text = {}};
    if (!name.starts_with(kFilePrefix) || !ReadJournal(folder, name, journal.text)) continue;
    if (IsSameRoot(journal.text, root, path)) found.push_back(std::move(journal));
  }
  return found;
}

// ---- Keeping one -------------------------------------------------------------------------------

Journal::Journal(Descriptor folder, const Opened& root, const std::string& path, Report report)
    : report_(std::move(report)),
      folder_(std::move(folder)),
      name_(std::string(kFilePrefix) + UniqueSuffix()) {
  file_ = Descriptor(::openat(folder_.get(), name_.c_str(),
                              O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0600));
  if (!file_) {
    report_("no journal is kept: " + HostError::Last().Message());
    return;
  }
  ::flock(file_.get(), LOCK_EX | LOCK_NB);
  head_ = kFirstLine;
  head_ += "run " + std::to_string(::getpid()) + ' ' + std::to_string(std::time(nullptr)) + '\n';
  head_ += "root " + TextOf(root.stat.identity()) + ' ' + Escaped(path) + '\n';
  Write(head_);
}

Journal::~Journal() {
  if (file_) ::unlinkat(folder_.get(), name_.c_str(), 0);
}

void Journal::AddAsideName(const std::string& name) {
  const std::string line = "aside " + Escaped(name) + '\n';
  head_ += line;
  Write(line);
}

void Journal::StartMaking(const std::string& path) {
  entries_.StartMaking(path);
  Write("making " + Escaped(path) + '\n');
}

void Journal::FinishMaking(const Identity& identity, const std::string& path) {
  entries_.FinishMaking(identity, path);
  Write("made " + TextOf(identity) + ' ' + Escaped(path) + '\n');
}

void Journal::Rename(const std::string& from, const std::string& to) {
  entries_.Rename(from, to);
  Write("moving " + Escaped(from) + ' ' + Escaped(to) + '\n');
}

void Journal::Remove(const std::string& path) {
  entries_.Remove(path);
  Write("gone " + Escaped(path) + '\n');
  // Nothing is there any more: the file starts again, and does not grow with the run.
  constexpr std::size_t kLong = 1 << 16;
  if (!file_ || written_ < kLong || !entries_.empty() || ::ftruncate(file_.get(), 0) != 0) return;
  written_ = 0;
  Write(head_);
}

void Journal::Write(std::string_view line) {
  if (!file_) return;
  written_ += line.size();
  while (!line.empty()) {
    const ssize_t count = ::write(file_.get(), line.data(), line.size());
    if (count > 0) {
      line.remove_prefix(static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {
      const HostError error = count == 0 ? HostError(ENOSPC) : HostError::Last();
      report_("no journal is kept any more: " + error.Message());
      ::unlinkat(folder_.get(), name_.c_str(), 0);
      file_.Close();
      return;
    }
  }
}

}  // namespace quorle::hostdir
