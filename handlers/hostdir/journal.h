#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "handlers/hostdir/descriptor.h"
#include "handlers/hostdir/host.h"

namespace quorle::hostdir {

/// A name of an object that a mount has made, by the host's names from the root on, "a/b".
struct JournalEntry {
  std::string path;
  std::string former;                ///< where it was before it was moved; empty: never moved
  std::optional<Identity> identity;  ///< none: it was about to be made
};

/// What a mount has made and not removed, as its journal has it.
class JournalEntries {
 public:
  /// In the order in which they were made.
  std::vector<JournalEntry> all() const;
  bool empty() const { return entries_.empty(); }
  void StartMaking(const std::string& path);
  void FinishMaking(const Identity& identity, const std::string& path);
  /// With everything below it.
  void Rename(const std::string& from, const std::string& to);
  void Remove(const std::string& path);

 private:
  struct Known {
    std::uint64_t number = 0;  ///< of those made before it
    std::string former;
    std::optional<Identity> identity;
  };

  std::map<std::string, Known> entries_;  ///< by their paths
  std::uint64_t last_number_ = 0;
};

/// What is known of a mount, from its journal.
struct JournalText {
  pid_t process = 0;
  std::int64_t started = 0;  ///< seconds since 1970
  Identity root;
  std::string root_path;                 ///< where the directory was
  std::vector<std::string> aside_names;  ///< what its objects may have been called for a moment
  JournalEntries entries;
};

/// The folder of the user in which programs keep their state, `quorle` in it:
/// $XDG_STATE_HOME/quorle or ~/.local/state/quorle. It is made when it is not there. None, with the
/// reason in `problem`, when it cannot be, or when it would lie in the directory `root`.
Descriptor OpenStateFolder(const Opened& root, std::string& problem);

/// A journal of an earlier mount that nobody keeps any more.
struct OldJournal {
  std::string file;  ///< its name in the state folder
  JournalText text;
};
/// Those of mounts of the directory `root`, which was found at `path`: each is of a run that was
/// killed.
std::vector<OldJournal> FindOldJournals(int folder, const Opened& root, const std::string& path);

/// A file that says what a mount has made and not removed, for the next one to find when this one is
/// killed. It lies outside of the directory and is gone at the end. What is written is safe from
/// the end of the process, not from that of the host.
class Journal {
 public:
  using Report = std::function<void(const std::string& line)>;

  /// Keeps nothing.
  Journal() = default;
  /// Begins a file in `folder`. When it cannot be written, now or later, one line is reported, and
  /// nothing is kept any more.
  Journal(Descriptor folder, const Opened& root, const std::string& path, Report report);
  Journal(Journal&& other) noexcept = default;
  Journal& operator=(Journal&&) = delete;
  /// Removes the file.
  ~Journal();

  // ---- What is about to happen, or has happened; paths as in JournalEntry --------------------

  void AddAsideName(const std::string& name);
  void StartMaking(const std::string& path);
  void FinishMaking(const Identity& identity, const std::string& path);
  void Rename(const std::string& from, const std::string& to);
  void Remove(const std::string& path);
  /// What is there at the moment, whether or not a file is kept.
  const JournalEntries& entries() const { return entries_; }

 private:
  void Write(std::string_view line);

  Report report_;
  Descriptor folder_;
  Descriptor file_;
  std::string name_;
  std::string head_;         ///< the lines that hold as long as the mount
  std::size_t written_ = 0;  ///< bytes since the file was empty
  JournalEntries entries_;
};

}  // namespace quorle::hostdir
