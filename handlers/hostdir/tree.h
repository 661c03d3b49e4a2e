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
#include "handlers/hostdir/host.h"

namespace quorle::hostdir {

struct OpenFile;

enum class Kind : std::uint8_t { kFile, kDirectory, kSoftLink };

/// An object in use, whatever its names: who holds it.
struct Object {
  Identity identity;
  Kind kind = Kind::kFile;
  common::Holders holders;  ///< of a file
  std::vector<OpenFile*> handles;
  Opened content;          ///< of a file, as long as there are handles
  DosError write_refusal;  ///< the error when the host does not let us write the content

  bool IsFile() const { return kind == Kind::kFile; }
  bool IsDirectory() const { return kind == Kind::kDirectory; }
  bool IsSoftLink() const { return kind == Kind::kSoftLink; }
};

struct Place;
using PlaceRef = std::shared_ptr<Place>;

/// A name in a directory that is in use: something holds it, or something below it. Where it stands
/// on the host is looked up anew, name by name from the root, each time that it is needed.
struct Place {
  PlaceRef directory;  ///< null for the root
  std::string host_name;
  std::string name;
  std::shared_ptr<Object> object;
  bool named = true;                                    ///< false: deleted or replaced
  std::uint32_t uses = 0;                               ///< locks and open files
  std::map<std::string, std::weak_ptr<Place>> entries;  ///< those in use, by the host's names

  Place() = default;
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;
  ~Place();

  /// It has no name any more.
  void Detach();
};

/// The places in use. Each exists once, each object too, however many hold them.
class Tree {
 public:
  explicit Tree(const Identity& root);

  const PlaceRef& root() const { return root_; }
  /// The place of the object `identity` in `directory`. One that had the name before and is another
  /// object now, since the host replaced it, loses its name.
  PlaceRef At(const PlaceRef& directory, const std::string& host_name, std::string_view name,
              const Identity& identity, Kind kind);
  /// The same for an object that was just made. Whatever is known under its name or its number is
  /// gone: the host gives numbers out again.
  PlaceRef Anew(const PlaceRef& directory, const std::string& host_name, std::string_view name,
                const Identity& identity, Kind kind);
  /// Gives the place another name. Nothing there has it.
  static void Move(const PlaceRef& place, const PlaceRef& directory, const std::string& host_name,
                   std::string_view name);

 private:
  std::shared_ptr<Object> ObjectOf(const Identity& identity, Kind kind);

  PlaceRef root_;
  std::map<Identity, std::weak_ptr<Object>> objects_;
  std::size_t sweep_at_;  ///< so many objects, and those that are gone are dropped
};

/// Whether `place` is `ancestor` or stands below it.
bool IsInside(const Place& place, const Place& ancestor);

}  // namespace quorle::hostdir
