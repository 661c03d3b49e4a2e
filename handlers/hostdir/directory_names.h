#pragma once

#include <chrono>
#include <cstddef>
#include <ctime>
#include <list>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "handlers/hostdir/host.h"
#include "handlers/hostdir/record.h"

namespace quorle::hostdir {

/// The names that a directory of the host had when it was read, and those that this mount has given
/// and taken there since.
class DirectoryNames {
 public:
  /// The host's names of everything in it, in byte order, foreign objects too.
  const std::set<std::string>& all() const { return names_; }
  /// The host's name of what `name` means: `exact`, which is ToHostName() of it, when it is there,
  /// else the first in byte order that differs in case alone; null for none.
  const std::string* Find(std::string_view name, const std::string& exact) const;

  void Assign(const std::vector<std::string>& names);
  void Add(const std::string& host_name);
  void Remove(const std::string& host_name);

 private:
  std::set<std::string> names_;
  /// Those that are names of the platform, by their letters in one case; they lie in `names_`.
  std::unordered_map<std::string, std::vector<const std::string*>> by_folded_name_;
};

/// The names in the directories that were used last. They hold as long as the host gives the directory
/// the times that it had, of its content (mtime) and of its status (ctime): whoever adds, removes or
/// renames something there changes both.
///
/// Times move in ticks, and a second change within one tick does not show. So times are believed only
/// where no later change can lead to the same ones: when they differ from each other, since a change
/// sets both to the same moment (a directory that this mount has changed is dated by it, and has such
/// times), or when the directory was read long after they were seen first. A time with no more
/// than two digits of the second may come from a filesystem with coarse ticks: such times are waited out
/// for as long as the coarsest tick there is (2 s on FAT).
///
/// A change of this mount leads to new times, which are taken over with the name that was changed. What
/// somebody else changes between the look at the times and the new times is then missed, though not for
/// long: the directory is read again when the last reading is a second old.
class NamesCache {
 public:
  using Clock = std::chrono::steady_clock;
  /// The time of day; a test has its own.
  using Now = Clock::time_point (*)();

  /// Counted for self-tests.
  struct Counters {
    std::size_t readings = 0;  ///< of whole directories
  };

  /// `are_times_kept`: it is known already.
  explicit NamesCache(bool are_times_kept, Now now = Clock::now)
      : now_(now), are_times_kept_(are_times_kept) {}

  /// What was read of the directory `identity`, however old; null when that is nothing. For a guess
  /// that the host is asked about at once.
  const DirectoryNames* Remembered(const Identity& identity) const;
  /// Its names, when `directory`, which was looked at just now, shows that they still are the same;
  /// else null.
  const DirectoryNames* Current(const HostStat& directory);
  /// Reads the directory, which was looked at just now. What comes back is valid until the next call.
  DosError Read(const Opened& directory, const DirectoryNames*& names);

  // ---- What this mount changes ---------------------------------------------------------------

  // The names were current before the change; Accept() with a look at the directory comes after it.
  void Add(const Identity& directory, const std::string& host_name);
  void Remove(const Identity& directory, const std::string& host_name);
  void Accept(const HostStat& directory);
  /// The directory was just made in `above`: it has no names.
  void AddEmpty(const HostStat& directory, const Identity& above);
  /// The directory is gone.
  void Forget(const Identity& directory);

  // ---- Dates ---------------------------------------------------------------------------------

  /// How this mount has marked a directory as changed. It holds as the names do.
  struct Mark {
    ::DateStamp date{};
    Record record;           ///< without the archive bit
    Clock::time_point read;  ///< the record
  };
  /// One for a directory whose record was read just now.
  Mark NewMark(Record record) const { return {.record = std::move(record), .read = now_()}; }
  /// The directory, which was looked at just now, was marked so.
  void SetMark(const HostStat& directory, Mark mark);
  /// The mark that the directory, which was looked at just now, has still.
  std::optional<Mark> MarkOf(const HostStat& directory);
  /// The record of the directory is about to change.
  void ForgetMark(const Identity& directory);

  // ---- What the host does --------------------------------------------------------------------

  /// Whether the host dates a directory when its names change. As long as that is not known, names are
  /// read again each time.
  bool are_times_kept() const { return are_times_kept_; }
  /// What a directory was before and after a name was added.
  void NoteTimes(const HostStat& before, const HostStat& after);
  /// Whether it was seen that the host keeps names that differ in case alone apart in the directory.
  bool KeepsCase(const Identity& directory) const;
  void NoteKeepsCase(const Identity& directory);

  const Counters& counters() const { return counters_; }

 private:
  struct Known {
    Identity identity;
    std::timespec changed{};
    std::timespec status_changed{};
    Clock::time_point first_seen;  ///< the two times
    Clock::time_point read;
    Clock::duration reading_took{};
    bool is_read = false;
    bool is_complete = false;  ///< as long as the times stay these
    bool has_own_changes = false;
    bool keeps_case = false;
    std::optional<Mark> mark;  ///< as long as the times stay these
    DirectoryNames names;

    bool HasTimes(const HostStat& directory) const;
  };

  Known* Find(const Identity& identity);
  const Known* Find(const Identity& identity) const;
  /// That of `directory`, with its times; a new one where there is none, or where they were others.
  Known& KnownFor(const HostStat& directory);
  void DropOldest();

  Now now_;
  bool are_times_kept_;
  Counters counters_;
  std::list<Known> known_;  ///< the one that was used last comes first
};

}  // namespace quorle::hostdir
