#include "handlers/hostdir/own_objects.h"

#include <fcntl.h>

#include <cstddef>
#include <utility>

namespace quorle::hostdir {
namespace {

/// Objects that are kept open. The tester has a handful at a time; a process may open 1,024 files
/// on most hosts.
constexpr std::size_t kMostOpen = 256;

}  // namespace

OwnObjects::OwnObjects(Scratch scratch, const Identity& root) : scratch_(scratch) {
  objects_.emplace(root, Descriptor());
}

void OwnObjects::Add(const Identity& identity, const NameAt& at) {
  Descriptor open;
  if (objects_.size() <= kMostOpen) {
    // For nothing but its number: no host takes this for a file in use.
    open = Descriptor(::openat(at.directory, at.name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    HostStat stat;
    if (open && (StatOf(open.get(), stat) || stat.identity() != identity)) open.Close();
  }
  objects_.insert_or_assign(identity, std::move(open));
}

}  // namespace quorle::hostdir
