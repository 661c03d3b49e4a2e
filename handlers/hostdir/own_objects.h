#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "handlers/hostdir/descriptor.h"
#include "handlers/hostdir/host.h"

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
  OwnObjects(Scratch scratch, const Identity& root);

  bool MayChange(const Identity& identity) const {
    return scratch_ == Scratch::kAll || objects_.count(identity) != 0;
  }
  /// Adds what was just made and is called `at` now.
  void Add(const Identity& identity, const NameAt& at);
  /// It has no name any more.
  void Remove(const Identity& identity) { objects_.erase(identity); }

 private:
  Scratch scratch_;
  /// With a descriptor as long as there are not too many: nothing else gets the number of an object
  /// that is open, not even when somebody removes it and makes another at the same tick.
  std::map<Identity, Descriptor> objects_;
};

}  // namespace quorle::hostdir
