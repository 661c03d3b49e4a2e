#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "handlers/common/dos_error.h"
#include "handlers/common/holders.h"
#include "handlers/common/object_info.h"
#include "handlers/common/settings.h"
#include "handlers/ram/content.h"
#include "handlers/ram/directory.h"
#include "handlers/ram/watches.h"
#include "quorle/handler.h"

namespace quorle::ram {

using common::DosError;
using common::kNoError;
using common::ObjectInfo;
using common::ObjectKind;

struct Node;
struct OpenFile;

/// A name in a directory that leads to an object. Locks and open files hold on to the entry through
/// which they came, so that an object with several names has the parent that was meant.
struct Entry {
  std::string name;
  Node* node = nullptr;
  Node* directory = nullptr;  ///< which it is in; null for the root
  std::uint32_t hash = 0;     // the directory's own, as is turn
  std::uint32_t uses = 0;     ///< locks and open files
};

/// An object: a file, a directory or a soft link.
///
/// What finding and locking it reads comes first, its own name included, and fills one line of the
/// processor's cache: among a million objects, a look-up costs what fetching that line costs.
struct alignas(64) Node {
  explicit Node(ObjectKind what);

  Entry own;                ///< its first name, as long as it has it
  common::Holders holders;  ///< of a file
  ObjectKind kind;

  std::vector<Entry*> names;  ///< all of them; those behind the first are hard links
  std::uint64_t id = 0;
  ::DateStamp date{};
  std::uint32_t protection = 0;
  std::uint32_t owner = 0;
  std::uint32_t group = 0;
  std::string comment;
  Content content;                 ///< of a file
  std::vector<OpenFile*> handles;  ///< of a file
  Directory entries;               ///< of a directory
  std::string target;              ///< of a soft link

  bool IsFile() const { return kind == ObjectKind::kFile; }
  bool IsDirectory() const { return kind == ObjectKind::kDirectory; }
  bool IsSoftLink() const { return kind == ObjectKind::kSoftLink; }
};

/// What an open file is to the volume.
struct OpenFile {
  Entry* entry = nullptr;
  bool exclusive = false;
  bool changed = false;  ///< something was written; its directories are dated at the end
  std::int64_t position = 0;
};

using common::VolumeSettings;

/// The tree of objects and the rules for changing it. Every operation returns an error or none, and
/// throws no error: one that fails costs no more than another. What it found or made comes back
/// through the last parameter. A null `rel` is the root, a name of "" the object of `rel`.
///
/// Codes that the platform leaves open are chosen so: a name looked up under a file gives 212, an
/// impossible name 210, an unknown mode 115, a change to a volume that is not validated 213.
class Volume {
 public:
  using Now = std::function<::DateStamp()>;
  using Ref = Entry*;
  using OpenFile = ram::OpenFile;

  /// `size` is the room in bytes; 0: as much as the host has.
  Volume(VolumeSettings settings, Now now, std::uint64_t size = 0);
  ~Volume();
  Volume(const Volume&) = delete;
  Volume& operator=(const Volume&) = delete;

  const VolumeSettings& settings() const { return settings_; }
  Entry* root() { return &root_; }
  /// Who is notified of changes.
  Watches& watches() { return watches_; }

  // ---- Looking up, locking -------------------------------------------------------------------

  /// The object itself, a soft link too.
  DosError Find(Entry* rel, std::string_view name, Entry*& found);
  /// The object, unless it is a soft link: 233.
  DosError FindTarget(Entry* rel, std::string_view name, Entry*& found);
  /// Takes a lock; `exclusive` says which, and is false afterwards for a directory.
  DosError TakeLock(Entry& entry, bool& exclusive);
  void ReleaseLock(Entry& entry, bool exclusive);
  DosError ChangeLock(Entry& entry, bool& exclusive, bool to_exclusive);
  /// The name of the directory above; null for the root.
  static Entry* Parent(const Entry& entry);
  static bool IsSameObject(const Entry& a, const Entry& b) { return a.node == b.node; }

  // ---- Files ---------------------------------------------------------------------------------

  /// Opens in a MODE_...; the file is `file`'s to close with Close().
  DosError Open(Entry* rel, std::string_view name, std::int32_t mode, OpenFile& file);
  /// Opens what a lock holds; on success the lock is the file's.
  DosError OpenLocked(Entry* entry, bool exclusive, OpenFile& file);
  DosError Close(OpenFile& file);
  DosError ChangeFileMode(OpenFile& file, bool to_exclusive);
  DosError Read(OpenFile& file, void* buffer, std::int32_t bytes, std::int32_t& count);
  DosError Write(OpenFile& file, const void* data, std::int32_t bytes);
  DosError Seek(OpenFile& file, std::int32_t mode, std::int64_t position);
  DosError Resize(OpenFile& file, std::int32_t mode, std::int64_t size);
  static DosError SizeOf(const OpenFile& file, std::int64_t& size);

  // ---- Objects -------------------------------------------------------------------------------

  DosError MakeDirectory(Entry* rel, std::string_view name, Entry*& made);
  DosError MakeSoftLink(Entry* rel, std::string_view name, std::string_view target);
  DosError MakeHardLink(Entry* rel, std::string_view name, Entry& target);
  DosError Delete(Entry* rel, std::string_view name);
  DosError Rename(Entry* from_rel, std::string_view from, Entry* to_rel, std::string_view to);
  DosError SetDate(Entry* rel, std::string_view name, const ::DateStamp& date);
  /// Changes attributes of the object with `change`.
  DosError SetAttribute(Entry* rel, std::string_view name,
                        const std::function<void(Node&)>& change);

  // ---- Looking at objects --------------------------------------------------------------------

  static DosError Examine(const Entry& entry, ObjectInfo& info);
  /// 212 when it is no soft link.
  static DosError ReadTarget(const Entry& entry, std::string& target);
  /// The next entry of a scan; 232 at the end. FSPrivate[0] and [1] of the context, which start as
  /// 0, hold the serial number of the last one: low and high half.
  static DosError Next(const Entry* directory, PRIVATE_ExamineDirContext& context, Entry*& found,
                       ObjectInfo& info);
  /// A scan keeps nothing here.
  void EndScans(const Lock*) {}

  // ---- The volume ----------------------------------------------------------------------------

  DosError WriteProtect(bool on, std::uint32_t key) {
    return common::WriteProtect(settings_, on, key);
  }
  /// The caller has asked whether the volume can be changed, and whether `name` is one and free.
  DosError Relabel(std::string_view name);
  /// Empties the volume, which nobody uses, and gives it a fresh root. The name is as of Relabel().
  DosError Format(std::string_view name, std::uint32_t dos_type);
  /// Gives the volume, which is its root, another date: the current one, or a tick more.
  DosError Serialize();
  /// Whether a change is possible: none, 213 or 214.
  DosError WriteProblem() const { return common::WriteProblem(settings_); }
  DosError Flush() { return kNoError; }
  DosError GetSpace(common::VolumeSpace& space) const;
  std::uint32_t max_name() const;
  std::uint64_t blocks() const;
  std::uint64_t blocks_used() const { return objects_ + pages_; }
  std::uint32_t in_use() const { return in_use_; }

 private:
  /// The directory of a new entry. 203 when something has the name.
  DosError LocateNew(Entry* rel, std::string_view name, Node*& directory);
  DosError Insert(Node& directory, std::string_view name, std::unique_ptr<Node> node, Entry*& made);
  DosError Make(ObjectKind kind, Entry* rel, std::string_view name, Entry*& made);
  /// Removes an entry, and the object with its last name.
  void Remove(Entry& entry);
  void Discard(Entry& root);
  /// Whether `directory` is `ancestor` or lies below it, by whatever names.
  bool IsInside(const Node& directory, const Node& ancestor) const;
  /// Dates a directory that changed and clears the archive bits up to the root.
  void Touch(Node* directory);
  void ClearArchiveBits(Node* directory);
  bool HasRoomFor(std::uint64_t blocks) const;
  static void Hold(OpenFile& file, Entry& entry, bool exclusive);

  VolumeSettings settings_;
  Now now_;
  std::uint64_t size_;
  Node root_node_;
  Entry& root_ = root_node_.own;
  Watches watches_{root_node_};
  std::uint64_t last_id_ = 0;
  std::uint64_t objects_ = 0;
  std::uint64_t pages_ = 0;
  std::uint32_t in_use_ = 0;
};

}  // namespace quorle::ram
