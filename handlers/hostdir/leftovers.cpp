#include "handlers/hostdir/leftovers.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string_view>
#include <utility>
#include <vector>

#include "handlers/hostdir/host_names.h"
#include "handlers/hostdir/words.h"

namespace quorle::hostdir {
namespace {

/// More are counted, not named.
constexpr std::size_t kMostNamed = 20;

/// "the run of 2026-11-21 14:03:11 (process 1234), which was killed,"
std::string NameOf(const JournalText& journal) {
  const auto started = static_cast<std::time_t>(journal.started);
  std::tm moment{};
  std::array<char, 32> text{};
  if (::localtime_r(&started, &moment) != nullptr) {
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &moment);
  }
  return std::string("the run of ") + text.data() + " (process " + std::to_string(journal.process) +
         "), which was killed,";
}

std::string ListOf(const std::vector<std::string>& names) {
  std::string list;
  for (std::size_t i = 0; i < std::min(names.size(), kMostNamed); ++i) {
    list += (i == 0 ? "" : ", ") + names[i];
  }
  if (names.size() > kMostNamed) {
    list += " and " + std::to_string(names.size() - kMostNamed) + " more";
  }
  return list;
}

/// `path` with another last name.
std::string Beside(const std::string& path, const std::string& name) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? name : path.substr(0, slash + 1) + name;
}

/// What one run has left.
class Leftovers {
 public:
  Leftovers(const Opened& root, const JournalText& journal, RecordStore& records)
      : root_(root), journal_(journal), records_(records) {}

  /// Removes what it can. True unless something of the run's is still there.
  bool Remove() {
    std::vector<JournalEntry> entries = journal_.entries.all();
    // What is in a directory comes before it.
    std::stable_sort(entries.begin(), entries.end(),
                     [](const auto& a, const auto& b) { return a.path.size() > b.path.size(); });
    for (const JournalEntry& entry : entries) Handle(entry);
    return stuck_.empty();
  }

  void ReportTo(const std::function<void(const std::string&)>& report) const {
    const std::string left = NameOf(journal_) + " left ";
    if (!removed_.empty()) report(left + ListOf(removed_) + ": removed");
    if (!stuck_.empty()) report(left + ListOf(stuck_) + ": cannot be removed (" + why_stuck_ + ")");
    if (!unproved_.empty()) {
      report(left + ListOf(unproved_) +
             ": not removed, as nothing proves that what is there is it");
    }
  }

 private:
  void Handle(const JournalEntry& entry) {
    bool is_there = false;
    for (const std::string& path : PathsOf(entry)) {
      Opened directory;
      HostStat stat;
      const std::string name = path.substr(path.rfind('/') + 1);
      if (!EnterDirectoryOf(path, directory)) continue;
      if (StatAt({directory.fd.get(), name}, stat)) continue;
      if (IsIt(entry, stat)) {
        // A name of the mount's own means nothing to anybody.
        RemoveIt(directory, name, stat, path == entry.former ? path : entry.path);
        return;
      }
      // What has its name is worth a line; elsewhere, what may be it.
      is_there = is_there || path == entry.path || !entry.identity || !stat.born;
    }
    if (is_there) unproved_.push_back(entry.path);
  }

  /// Where it may be, the most likely first.
  std::vector<std::string> PathsOf(const JournalEntry& entry) const {
    std::vector<std::string> paths = {entry.path};
    if (!entry.former.empty()) paths.push_back(entry.former);
    // While it was removed or renamed it had another name.
    for (const std::string& aside : journal_.aside_names) {
      paths.push_back(Beside(entry.path, aside));
      if (!entry.former.empty()) paths.push_back(Beside(entry.former, aside));
    }
    return paths;
  }

  /// The device's number may have changed since, and there must be a birth.
  bool IsIt(const JournalEntry& entry, const HostStat& stat) const {
    if (!entry.identity || !stat.born || !BelongsToVolume(stat, root_.stat.device)) return false;
    Identity identity = *entry.identity;
    identity.device = root_.stat.device;
    return stat.identity() == identity;
  }

  bool EnterDirectoryOf(std::string_view path, Opened& directory) const {
    directory = root_;
    while (path.find('/') != std::string_view::npos) {
      const std::string name(CutAt('/', path));
      Opened above = std::move(directory);
      directory = {};
      if (OpenAt({above.fd.get(), name}, root_.stat.device, directory)) return false;
      if (!directory.IsDirectory()) return false;
    }
    return true;
  }

  void RemoveIt(const Opened& directory, const std::string& name, const HostStat& stat,
                const std::string& path) {
    Opened object;
    const NameAt at{directory.fd.get(), name};
    const bool is_open = !OpenAt(at, root_.stat.device, object);
    const Outcome outcome = RemoveAt(at, stat.identity(), AsideName());
    if (outcome.error) {
      stuck_.push_back(path);
      why_stuck_ = outcome.error.Message();
      return;
    }
    removed_.push_back(path);
    if (is_open && (stat.IsDirectory() || stat.links <= 1)) records_.Forget(object);
  }

  const Opened& root_;
  const JournalText& journal_;
  RecordStore& records_;
  std::vector<std::string> removed_;
  std::vector<std::string> stuck_;
  std::string why_stuck_;
  std::vector<std::string> unproved_;
};

}  // namespace

void RemoveLeftovers(int folder, const Opened& root, const std::string& path, RecordStore& records,
                     const std::function<void(const std::string&)>& report) {
  for (const OldJournal& journal : FindOldJournals(folder, root, path)) {
    Leftovers leftovers(root, journal.text, records);
    if (leftovers.Remove()) ::unlinkat(folder, journal.file.c_str(), 0);
    leftovers.ReportTo(report);
  }
}

}  // namespace quorle::hostdir
