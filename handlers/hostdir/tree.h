#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "handlers/common/holders.h"
#include "handlers/common/object_info.h"
#include "handlers/hostdir/host.h"

namespace quorle::hostdir {

using common::ObjectKind;

struct OpenFile;

/// An object in use, whatever its names: who holds it.
struct Object {
  Identity identity;
  ObjectKind kind = ObjectKind::kFile;
  common::Holders holders;  ///< of a file
  std::vector<OpenFile*> handles;
  Opened held;     ///< open for its attributes, as far as that is held; what it is, is not kept
  Opened content;  ///< of a file, as long as there are handles
  DosError write_refusal;  ///< the error when the host does not let us write it

  bool IsFile() const { return kind == ObjectKind::kFile; }
  bool IsDirectory() const { return kind == ObjectKind::kDirectory; }
  bool IsSoftLink() const { return kind == ObjectKind::kSoftLink; }
};

struct Entry;
using EntryRef = std::shared_ptr<Entry>;

/// A name in a directory that is in use: something holds it, or something below it. Where it is
/// on the host is looked up again, name by name from the root, each time that it is needed.
struct Entry {
  EntryRef directory;  ///< null for the root
  std::string host_name;
  std::string name;
  std::shared_ptr<Object> object;
  bool has_name = true;                                 ///< false: deleted or replaced
  std::uint32_t uses = 0;                               ///< locks and open files
  std::map<std::string, std::weak_ptr<Entry>> entries;  ///< those in use, by the host's names

  Entry() = default;
  Entry(const Entry&) = delete;
  Entry& operator=(const Entry&) = delete;
  ~Entry();

  /// It has no name any more.
  void Detach();
};

/// The entries in use. Each exists once, each object too, however many hold them.
class Tree {
 public:
  explicit Tree(const Opened& root);

  const EntryRef& root() const { return root_; }
  /// An object in use; null when there is none.
  std::shared_ptr<Object> Find(const Identity& identity) const;
  /// Whether there are so few objects that a directory in use may be held open. A process may open
  /// 1,024 files on most hosts.
  bool HasRoomToHold() const { return objects_.size() <= kMostHeld; }
  /// The entry of the object `identity` in `directory`. One that had the name before and is another
  /// object now, since the host replaced it, loses its name.
  EntryRef EntryFor(const EntryRef& directory, const std::string& host_name, std::string_view name,
                    const Identity& identity, ObjectKind kind);
  /// The same for an object that was just made. Whatever is known under its name or its number is
  /// gone: the host uses numbers again.
  EntryRef Insert(const EntryRef& directory, const std::string& host_name, std::string_view name,
                  const Identity& identity, ObjectKind kind);
  /// Gives the entry another name, which nothing in `directory` has.
  static void Move(const EntryRef& entry, const EntryRef& directory, const std::string& host_name,
                   std::string_view name);

 private:
  static constexpr std::size_t kMostHeld = 256;

  std::shared_ptr<Object> ObjectOf(const Identity& identity, ObjectKind kind);

  EntryRef root_;
  std::map<Identity, std::weak_ptr<Object>> objects_;
  std::size_t sweep_at_;  ///< so many objects, and those that are gone are dropped
};

/// Whether `entry` is `ancestor` or lies below it.
bool IsInside(const Entry& entry, const Entry& ancestor);

}  // namespace quorle::hostdir
