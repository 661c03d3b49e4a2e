#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "handlers/hostdir/tree.h"

namespace quorle::hostdir {

/// Whether a mount leaves alone what it has not made.
enum class Scratch : std::uint8_t {
  kOwn,  ///< only what this mount has made is changed, and the root
  kAll,  ///< everything on the volume is
};

/// What a mount has made and not removed since: all that it may change.
class OwnObjects {
 public:
  /// The root counts as made.
  OwnObjects(Scratch scratch, const std::shared_ptr<Object>& root) : scratch_(scratch) {
    Add(root);
  }

  bool MayChange(const Identity& identity) const {
    return scratch_ == Scratch::kAll || Find(identity) != nullptr;
  }
  /// What was made; null for what was not.
  const Object* Find(const Identity& identity) const {
    const auto found = objects_.find(identity);
    return found == objects_.end() ? nullptr : found->second.get();
  }
  /// All of them but the root, which is `root`.
  std::vector<std::pair<Identity, ObjectKind>> AllBut(const Identity& root) const {
    std::vector<std::pair<Identity, ObjectKind>> all;
    for (const auto& [identity, object] : objects_) {
      if (!(identity == root)) all.emplace_back(identity, object->kind);
    }
    return all;
  }
  /// Adds what was just made.
  void Add(const std::shared_ptr<Object>& object) {
    objects_.insert_or_assign(object->identity, object);
  }
  /// Whether there are so few that the one that was just added is to be held open: nothing else gets
  /// the number of an object that is open, not even when somebody removes it and makes another at the
  /// same tick.
  bool HasRoomToHold() const { return objects_.size() <= kMostHeld + 1; }
  /// It has no name any more.
  void Remove(const Identity& identity) { objects_.erase(identity); }

 private:
  /// The tester has a handful at a time; a process may open 1,024 files on most hosts.
  static constexpr std::size_t kMostHeld = 256;

  Scratch scratch_;
  std::map<Identity, std::shared_ptr<Object>> objects_;
};

}  // namespace quorle::hostdir
