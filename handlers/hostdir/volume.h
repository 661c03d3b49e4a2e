#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "handlers/common/object_info.h"
#include "handlers/common/settings.h"
#include "handlers/hostdir/host.h"
#include "handlers/hostdir/journal.h"
#include "handlers/hostdir/own_objects.h"
#include "handlers/hostdir/record.h"
#include "handlers/hostdir/record_store.h"
#include "handlers/hostdir/tree.h"
#include "quorle/handler.h"

namespace quorle::hostdir {

using common::VolumeSettings;

/// What an open file is to the volume.
struct OpenFile {
  PlaceRef entry;
  bool exclusive = false;
  bool changed = false;  ///< something was written; its directories learn of it at the end
  std::int64_t position = 0;
};

/// A directory of the host under the rules of the platform. Every operation returns an error or
/// none; what it found or made comes back through the last parameter. A null `rel` is the
/// root, a name of "" the object of `rel`.
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
  /// Has one line for whoever runs the program.
  using Report = std::function<void(const std::string& line)>;
  using Ref = PlaceRef;
  using OpenFile = hostdir::OpenFile;

  Volume(VolumeSettings settings, Now now, Opened root, std::unique_ptr<RecordStore> records,
         Scratch scratch, Journal journal, Report report);

  const VolumeSettings& settings() const { return settings_; }
  const PlaceRef& root() const { return tree_.root(); }

  // ---- Looking up, locking -------------------------------------------------------------------

  /// The object itself, a soft link too.
  DosError Find(const PlaceRef& rel, std::string_view name, PlaceRef& found);
  /// The object, unless it is a soft link: 233.
  DosError FindTarget(const PlaceRef& rel, std::string_view name, PlaceRef& found);
  /// Takes a lock; `exclusive` says which, and is false afterwards for a directory.
  DosError TakeLock(Place& place, bool& exclusive);
  void ReleaseLock(Place& place, bool exclusive);
  DosError ChangeLock(Place& place, bool& exclusive, bool to_exclusive);
  /// The directory above; null for the root.
  static const PlaceRef& Parent(const Place& place) { return place.directory; }
  static bool IsSameObject(const Place& a, const Place& b) { return a.object == b.object; }

  // ---- Files ---------------------------------------------------------------------------------

  /// Opens in a MODE_...; the file is `file`'s to close with Close().
  DosError Open(const PlaceRef& rel, std::string_view name, std::int32_t mode, OpenFile& file);
  /// Opens what a lock holds; on success the lock is the file's.
  DosError OpenLocked(const PlaceRef& place, bool exclusive, OpenFile& file);
  /// The file is closed whatever comes back.
  DosError Close(OpenFile& file);
  DosError ChangeFileMode(OpenFile& file, bool to_exclusive);
  DosError Read(OpenFile& file, void* buffer, std::int32_t bytes, std::int32_t& count);
  DosError Write(OpenFile& file, const void* data, std::int32_t bytes);
  DosError Seek(OpenFile& file, std::int32_t mode, std::int64_t position);
  DosError Resize(OpenFile& file, std::int32_t mode, std::int64_t size);
  DosError SizeOf(const OpenFile& file, std::int64_t& size);

  // ---- Objects -------------------------------------------------------------------------------

  DosError MakeDirectory(const PlaceRef& rel, std::string_view name, PlaceRef& made);
  DosError MakeSoftLink(const PlaceRef& rel, std::string_view name, std::string_view target);
  DosError MakeHardLink(const PlaceRef& rel, std::string_view name, const Place& target);
  DosError Delete(const PlaceRef& rel, std::string_view name);
  DosError Rename(const PlaceRef& from_rel, std::string_view from, const PlaceRef& to_rel,
                  std::string_view to);
  DosError SetDate(const PlaceRef& rel, std::string_view name, const ::DateStamp& date);
  /// Changes the record of the object with `change`.
  DosError SetAttribute(const PlaceRef& rel, std::string_view name,
                        const std::function<void(Record&)>& change);

  // ---- Looking at objects --------------------------------------------------------------------

  DosError Examine(const Place& place, common::ObjectInfo& info);
  /// 212 when it is no soft link.
  DosError ReadTarget(const Place& place, std::string& target);
  /// The next object of a scan; 232 at the end. FSPrivate[0] of the context, which starts as 0, is
  /// the number of the scan from then on. Shown is what was there when the scan started and still
  /// is, in the host's byte order; foreign objects are passed over.
  DosError Next(const PlaceRef& directory, ::PRIVATE_ExamineDirContext& context, PlaceRef& found,
                common::ObjectInfo& info);
  /// Forgets scans of the directory that `lock` holds which were not carried to their end.
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

 private:
  struct Scan {
    const ::PRIVATE_ExamineDirContext* context = nullptr;
    const ::Lock* lock = nullptr;
    std::vector<std::string> names;
    std::size_t next = 0;
  };
  using Visit = std::function<void(Opened&)>;

  /// Opens what is at `place`; `visit` sees every directory on the way, from the root on, and the
  /// object itself. 211 when the host has something else there, or nothing.
  DosError Reach(const Place& place, Opened& opened, const Visit& visit = nullptr);
  /// The host's name of what `name` means in a directory, a foreign object too; 205 for nothing. A
  /// name in just this case comes first, then the first in byte order that differs in case alone.
  DosError Search(int directory, std::string_view name, std::string& host_name);
  /// The place of something that is open.
  DosError PlaceOf(const PlaceRef& directory, const std::string& host_name, const Opened& opened,
                   PlaceRef& place);
  /// 0 for an object that may be changed, else 211.
  DosError ForeignProblem(const Object& object) const;
  /// Notes what was just made as `path` and is `host_name` in `directory` now.
  void AddOwn(const std::string& path, const Opened& directory, const std::string& host_name,
              const Opened& made);
  /// Makes an empty file that is noted so, and opens it.
  DosError MakeOwnFile(const Place& place, const Opened& directory, const std::string& host_name,
                       Opened& made);
  /// Removes `path`, which is `object`, the `host_name` in `directory`. `denied` is the code for a
  /// permission that is missing.
  DosError Remove(const std::string& path, const Opened& directory, const std::string& host_name,
                  const Opened& object, DosError denied);
  /// Reports an object that `outcome` says has lost its name.
  void ReportAside(const Outcome& outcome, const std::string& host_name);
  /// A place for a new object: its directory, and that nothing has the name.
  DosError FindPlace(const PlaceRef& rel, std::string_view name, PlaceRef& place,
                     Opened& directory);
  /// Makes an object new: owner and group of its directory, today's date. When that fails it is
  /// removed again.
  DosError Furnish(const std::string& path, const Opened& directory, const std::string& host_name,
                   Opened& made, bool soft_link);
  DosError MakeFile(const PlaceRef& rel, std::string_view name, PlaceRef& made);
  DosError OpenContent(const Place& place);
  void Hold(OpenFile& file, const PlaceRef& place, bool exclusive);
  /// Empties a file for MODE_NEWFILE; other names of it stay.
  DosError Reset(Object& object);
  /// What a change of content leaves on the file itself.
  void Stamp(Object& object);
  DosError RecordOf(const Place& place, Record& record);
  DosError InfoOf(const Opened& opened, Kind kind, common::ObjectInfo& info);
  /// Gives an object a date, in the host's time of change or, where that cannot hold it, in
  /// `record`.
  DosError Date(Opened& opened, Record& record, const ::DateStamp& date);
  /// Clears the archive bits of a directory and all above, and dates them when `dated`. What the
  /// host refuses here is no failure of the operation that it comes after.
  void Touch(const PlaceRef& directory, bool dated);

  VolumeSettings settings_;
  Opened root_;
  std::unique_ptr<RecordStore> records_;
  Now now_;
  OwnObjects own_;
  Journal journal_;
  Report report_;
  std::string name_at_mount_;              ///< of the volume
  std::optional<std::string> kept_label_;  ///< that of the root's record at the same time
  std::string aside_;  ///< what an object is called while it is removed or renamed
  Tree tree_;
  std::map<std::intptr_t, Scan> scans_;
  std::intptr_t last_scan_ = 0;
  std::uint32_t in_use_ = 0;
};

}  // namespace quorle::hostdir
