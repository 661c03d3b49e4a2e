#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "handlers/common/object_info.h"
#include "handlers/common/settings.h"
#include "handlers/hostdir/directory_names.h"
#include "handlers/hostdir/host.h"
#include "handlers/hostdir/journal.h"
#include "handlers/hostdir/own_objects.h"
#include "handlers/hostdir/record.h"
#include "handlers/hostdir/record_store.h"
#include "handlers/hostdir/tree.h"
#include "quorle/handler.h"

namespace quorle::hostdir {

using common::ObjectInfo;
using common::VolumeSettings;

/// What an open file is to the volume.
struct OpenFile {
  EntryRef entry;
  bool exclusive = false;
  bool changed = false;  ///< something was written; its directories are dated at the end
  std::int64_t position = 0;
};

/// What a mount has made and not removed when it ends: the next one of the same run may change it too.
struct LastMount {
  std::vector<std::pair<Identity, ObjectKind>> objects;
  std::vector<JournalEntry> journal;  ///< the names that are known of them
};

/// A directory of the host that is mounted, and what a mount of it works with.
struct MountedDirectory {
  Opened root;
  std::unique_ptr<RecordStore> records;
  Scratch scratch = Scratch::kOwn;
  Journal journal;
  std::function<void(const std::string& line)> report;  ///< prints a line for the user
  LastMount last = {};                                  ///< of the mount before
  void** medium = nullptr;  ///< where the next mount finds a LastMount; null: nowhere
};

/// A directory of the host under the rules of the platform. Every operation returns an error
/// or none, or throws the error; what it found or made comes back through the last parameter. A null
/// `rel` is the root, a name of "" the object of `rel`.
///
/// Every operation walks from the root's descriptor, one name at a time, follows no symbolic link
/// and compares what it finds with what the lock was taken on. So it acts on the object that was
/// meant or on none, whatever else happens to the directory, and never outside of it.
///
/// What this mount has not made is somebody's data: it is found, locked and read, but it is not
/// written to, changed, renamed, linked to or deleted, and nothing is made in it (211), unless the
/// volume was mounted with Scratch::kAll. The root is never foreign.
///
/// Codes that the platform leaves open are chosen so: a name looked up under a file gives 212, as
/// does the name of a foreign object; an impossible name 210; an unknown mode 115; a change to a
/// volume that is not validated 213; a lock whose object the host has moved or replaced 211; a hard
/// link to a directory, which the host has not, 209.
class Volume {
 public:
  using Now = std::function<::DateStamp()>;
  using Ref = EntryRef;
  using OpenFile = hostdir::OpenFile;

  Volume(VolumeSettings settings, Now now, MountedDirectory directory);

  const VolumeSettings& settings() const { return settings_; }
  const EntryRef& root() const { return tree_.root(); }

  // ---- Looking up, locking -------------------------------------------------------------------

  /// The object itself, a soft link too.
  DosError Find(const EntryRef& rel, std::string_view name, EntryRef& found);
  /// The object, unless it is a soft link: 233.
  DosError FindTarget(const EntryRef& rel, std::string_view name, EntryRef& found);
  /// Takes a lock; `exclusive` says which, and is false afterwards for a directory.
  DosError TakeLock(Entry& entry, bool& exclusive);
  void ReleaseLock(Entry& entry, bool exclusive);
  DosError ChangeLock(Entry& entry, bool& exclusive, bool to_exclusive);
  /// The directory above; null for the root.
  static const EntryRef& Parent(const Entry& entry) { return entry.directory; }
  static bool IsSameObject(const Entry& a, const Entry& b) { return a.object == b.object; }

  // ---- Files ---------------------------------------------------------------------------------

  /// Opens in a MODE_...; the file is `file`'s to close with Close().
  DosError Open(const EntryRef& rel, std::string_view name, std::int32_t mode, OpenFile& file);
  /// Opens what a lock holds; on success the lock is the file's.
  DosError OpenLocked(const EntryRef& entry, bool exclusive, OpenFile& file);
  /// The file is closed whatever comes back.
  DosError Close(OpenFile& file);
  DosError ChangeFileMode(OpenFile& file, bool to_exclusive);
  DosError Read(OpenFile& file, void* buffer, std::int32_t bytes, std::int32_t& count);
  DosError Write(OpenFile& file, const void* data, std::int32_t bytes);
  DosError Seek(OpenFile& file, std::int32_t mode, std::int64_t position);
  DosError Resize(OpenFile& file, std::int32_t mode, std::int64_t size);
  DosError SizeOf(const OpenFile& file, std::int64_t& size) const;

  // ---- Objects -------------------------------------------------------------------------------

  DosError MakeDirectory(const EntryRef& rel, std::string_view name, EntryRef& made);
  DosError MakeSoftLink(const EntryRef& rel, std::string_view name, std::string_view target);
  DosError MakeHardLink(const EntryRef& rel, std::string_view name, const Entry& target);
  DosError Delete(const EntryRef& rel, std::string_view name);
  DosError Rename(const EntryRef& from_rel, std::string_view from, const EntryRef& to_rel,
                  std::string_view to);
  DosError SetDate(const EntryRef& rel, std::string_view name, const ::DateStamp& date) {
    const auto keep = [](Record&) {};
    return ChangeAttributes(rel, name, keep, &date);
  }
  /// Changes the record of the object with `change`.
  DosError SetAttribute(const EntryRef& rel, std::string_view name,
                        const std::function<void(Record&)>& change) {
    return ChangeAttributes(rel, name, change, nullptr);
  }

  // ---- Looking at objects --------------------------------------------------------------------

  DosError Examine(const Entry& entry, ObjectInfo& info);
  /// 212 when it is no soft link.
  DosError ReadTarget(const Entry& entry, std::string& target);
  /// The next object of a scan; 232 at the end. FSPrivate[0] of the context, which starts as 0, is
  /// the number of the scan from then on. Shown is what was there when the scan started and still
  /// is, in the host's byte order; foreign objects are passed over.
  DosError Next(const EntryRef& directory, ::PRIVATE_ExamineDirContext& context, EntryRef& found,
                ObjectInfo& info);
  /// Forgets scans of the directory that `lock` holds which were not followed to their end.
  void EndScans(const ::Lock* lock);

  // ---- The volume ----------------------------------------------------------------------------

  DosError WriteProtect(bool on, std::uint32_t key) {
    return common::WriteProtect(settings_, on, key);
  }
  /// Whether a change is possible: none, 213 or 214.
  DosError WriteProblem() const { return common::WriteProblem(settings_); }
  /// The caller has asked whether the volume can be changed, and whether `name` is one and free.
  DosError Relabel(std::string_view name);
  DosError Flush();
  DosError GetSpace(common::VolumeSpace& space) const;
  std::uint32_t max_name() const;
  std::uint32_t in_use() const { return in_use_; }
  /// What is left when the mount ends.
  LastMount Leave() const;
  void** medium() const { return medium_; }
  /// For self-tests.
  const NamesCache::Counters& counters() const { return names_.counters(); }

 private:
  struct Scan {
    const ::PRIVATE_ExamineDirContext* context = nullptr;
    const ::Lock* lock = nullptr;
    std::vector<std::string> names;
    std::size_t next = 0;
  };
  /// From the root to an object: what an operation has looked at, and opened. Only of the root it is
  /// not known what it is now.
  using Way = std::vector<Opened>;
  /// A name in a directory, of something that is there or is to be made.
  struct Location {
    EntryRef parent;
    Way way;  ///< to `parent`
    std::string name;
    std::string host_name;
    bool is_new = false;    ///< nothing has the name, and it was looked what its directory is
    bool is_known = false;  ///< `names_` has what was in the directory before this operation
    std::optional<NamesCache::Mark> mark;  ///< of the directory, when its record is known

    const Opened& directory() const { return way.back(); }
    NameAt at() const { return {directory().fd.get(), host_name}; }
    /// What the journal calls it.
    std::string Path() const;
  };
  /// What a name in a directory leads to.
  struct Hit {
    Way way;                ///< to the directory
    std::string host_name;  ///< of what is there; the one to be made where nothing is
    bool is_there = false;  ///< a foreign object too
    DosError problem;  ///< of what is there: 212 for a foreign object, or that of looking at it
    Opened object;     ///< looked at, when there is no problem
    bool is_known = false;  ///< as in Location

    NameAt at() const { return {way.back().fd.get(), host_name}; }
  };
  /// An object in use, and where it was found in this operation.
  struct Found {
    EntryRef entry;
    Way way;        ///< to the directory above; none as long as a lock alone led to the object
    Opened object;  ///< not looked at as long as a lock alone led to it
  };
  /// What an object is opened for.
  enum class Use : std::uint8_t {
    kRecord,   ///< its record, and what it is; where that takes no descriptor, there may be none
    kAnything  ///< its content and attributes
  };

  // What follows returns what it found or made, and throws its error, unless it returns an error.

  // ---- Looking up: volume_lookup.cpp ---------------------------------------------------------

  /// As hostdir::LookAt() on this volume, with the descriptor that is held of the object, if any.
  DosError LookAt(const NameAt& at, Opened& looked) const;
  /// Opens what LookAt() has just found, unless `use` takes no descriptor or there is one.
  DosError OpenFor(Use use, const NameAt& at, Opened& looked) const;
  /// Looks at what `entry` leads to, which is opened for `use`, and at every directory on the way. 211
  /// when the host has something else there, or nothing.
  Way Reach(const Entry& entry, Use use);
  /// Opens a directory and looks for `name` in it. A name in just this case comes first, then the
  /// first in byte order that differs in case alone.
  Hit Search(const Entry& directory, std::string_view name);
  /// Looks for `name` just as it is. False when it is not there, or when the host may ignore case, so
  /// that the name need not be the one that the object has.
  bool SearchExactly(std::string_view name, Hit& hit);
  /// Looks for it among all names of the directory.
  void SearchAll(std::string_view name, Hit& hit);
  /// Notes for a location whether `names_` has what is in the directory now.
  void NoteKnown(Location& location);
  /// The entry of something that was looked at and is called `at`; it is opened when that takes it.
  EntryRef EntryOf(const EntryRef& directory, const NameAt& at, Opened& looked);
  /// As Find() and FindTarget(), and they return their commonest errors likewise: an exception costs
  /// more than the look-up.
  DosError LookUp(const EntryRef& rel, std::string_view name, Found& found);
  DosError LookUpTarget(const EntryRef& rel, std::string_view name, Found& found);
  /// The entry of what a search has found; 205 when that is nothing.
  DosError FoundOf(const EntryRef& directory, Hit hit, Found& found);
  /// The object, opened for `use`.
  Opened& OpenFound(Found& found, Use use);
  /// The location of what was found, which is not the root.
  Location Locate(const Found& found);
  /// The location of a new object. 203 when something has the name.
  Location LocateNew(const EntryRef& rel, std::string_view name);
  /// The same of what a search has not found.
  Location LocationOf(const EntryRef& parent, std::string_view name, Hit hit);
  /// 211 for an object that may not be changed.
  void CheckOwn(const Object& object) const;

  // ---- Files: volume_files.cpp ---------------------------------------------------------------

  /// Opens the content of a file that this operation has looked at in `directory`.
  void OpenContent(const Entry& entry, const Opened& directory);
  /// Opens that of a file, unless it is open.
  void OpenContentOf(const Found& found);
  void Hold(OpenFile& file, const EntryRef& entry, bool exclusive);
  /// Whether MODE_NEWFILE may empty a file that is there.
  void CheckReset(Found& found);
  /// Empties an open file for MODE_NEWFILE; other names of it stay.
  void Reset(const Entry& entry);
  /// Whether the content of an open file may be changed.
  void CheckContent(const Object& object) const;
  /// common::FindPosition() in `file`; `size` is the one that it has.
  std::int64_t FindPosition(const OpenFile& file, std::int32_t mode, std::int64_t offset,
                            std::int64_t& size) const;

  // ---- Objects: volume_objects.cpp -----------------------------------------------------------

  EntryRef MakeFile(Location location);
  /// Makes a file that holds `content`, is noted as the mount's own, and is open in `made` afterwards.
  /// With content it is a soft link.
  EntryRef MakeOwnFile(Location& location, std::string_view content, Opened& made);
  /// Makes a directory likewise.
  EntryRef MakeOwnDirectory(Location& location);
  /// The entry of what was just made for `location`, noted as the mount's own.
  EntryRef AddOwn(const Location& location, ObjectKind kind, const Opened& made);
  /// Holds an object of the mount's own open, which is called `at`.
  void Hold(Object& object, const NameAt& at) const;
  /// Reads the record of the directory of a location, unless it is known.
  void ReadMark(Location& location) const;
  /// Gives a new object its first record and date: owner and group of its directory, whose record is
  /// known, and today's date. It is known what the object is afterwards.
  void Initialize(const Location& location, Opened& made, bool soft_link);
  /// Removes `object`, which is at `location`.
  void Remove(const Location& location, const Opened& object);
  /// Whether a directory has no names, foreign ones either.
  bool IsEmpty(Found& directory);
  /// Renames unless both are the same.
  void Move(const EntryRef& entry, const Location& from, const Location& to);
  /// Reports an object that `outcome` says has lost its name.
  void ReportAside(const Outcome& outcome, const std::string& host_name);

  // ---- Attributes: volume_attributes.cpp -----------------------------------------------------

  /// What operations change in a record.
  using Change = std::function<void(Record&)>;

  Record ReadRecord(const Opened& opened) const;
  /// The same, but plain when the host keeps the record from us.
  Record ReadRecordIfAllowed(const Opened& opened) const;
  /// Reads the record of an object, has `change` change it, dates the object unless `date` is null,
  /// and writes the record.
  void ChangeRecord(Opened& object, const Change& change, const ::DateStamp* date) {
    Record record = ReadRecord(object);
    ChangeRecord(object, record, change, date);
  }
  /// The same of an object whose record is `record`.
  void ChangeRecord(Opened& object, Record& record, const Change& change, const ::DateStamp* date);
  /// The same for the object that a name leads to.
  DosError ChangeAttributes(const EntryRef& rel, std::string_view name, const Change& change,
                            const ::DateStamp* date);
  ObjectInfo InfoOf(const Opened& opened, ObjectKind kind) const;
  /// Starts a scan of `scanned`, open as `directory`, and returns its number.
  std::intptr_t StartScan(const ::PRIVATE_ExamineDirContext& context, const Entry& scanned,
                          Opened& directory);
  /// Gives an object a date, in the host's time of change or, where that cannot hold it, in
  /// `record`. It is known what the object is afterwards.
  void Date(Opened& opened, Record& record, const ::DateStamp& date);
  /// Marks a change of a file: clears its archive bit, and dates it. What the host refuses here and
  /// below is no failure of the operation that it comes after.
  void MarkChanged(Opened& file);
  /// The same of a directory, which is dated unless `date` is null. `mark` is the one that it had, or
  /// none; `is_known`: `names_` has what is in it.
  void MarkDirectory(Opened& directory, std::optional<NamesCache::Mark> mark,
                     const ::DateStamp* date, bool is_known);
  /// Does that for all directories in `way`, in which no names have changed.
  void TouchAll(Way& way, const ::DateStamp* date);
  /// The same, with today's date, for a directory and all above.
  void Touch(const EntryRef& directory);
  /// The same after a name was added or removed at `changed`. Where the way there is none, it is looked
  /// for again.
  void TouchAdded(Location changed);
  void TouchRemoved(Location changed);
  void TouchNames(Location changed);

  VolumeSettings settings_;
  Opened root_;
  std::unique_ptr<RecordStore> records_;
  Now now_;
  bool is_fuse_;  ///< or may be
  NamesCache names_;
  Tree tree_;
  OwnObjects own_;
  Journal journal_;
  void** medium_;
  std::function<void(const std::string& line)> report_;
  std::string name_at_mount_;              ///< of the volume
  std::optional<std::string> kept_label_;  ///< that of the root's record at the same time
  /// Whether the host sets the time of change only together with that of access, as bindfs 1.14 does.
  enum class Both : std::uint8_t { kUnknown, kNeeded, kNoHelp };
  Both date_both_ = Both::kUnknown;
  std::string aside_;  ///< what an object is called while it is removed or renamed
  std::map<std::intptr_t, Scan> scans_;
  std::intptr_t last_scan_ = 0;
  std::uint32_t in_use_ = 0;
};

}  // namespace quorle::hostdir
