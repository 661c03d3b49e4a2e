#include <string>
#include <utility>
#include <vector>

#include "handlers/common/names.h"
#include "handlers/hostdir/host_names.h"
#include "handlers/hostdir/volume.h"

// Looking up and locking.

namespace quorle::hostdir {
namespace {

using common::IsName;
using common::SameName;

/// `name` with the case of its letters turned round.
std::string OtherCase(std::string_view name) {
  std::string other(name);
  for (char& c : other) {
    const auto folded = static_cast<char>(common::Fold(c));
    // In both halves of Latin-1 the small letters are 0x20 behind the others.
    const auto small = static_cast<char>(static_cast<unsigned char>(c) | 0x20);
    if (folded != c) {
      c = folded;
    } else if (static_cast<char>(common::Fold(small)) == c) {
      c = small;
    }
  }
  return other;
}

/// Whether `name` is there in another case as well: it may be the host that ignores case, and then
/// the name that was asked for need not be the one that the object has.
bool IsThereInOtherCase(int directory, std::string_view name) {
  const std::string other = OtherCase(name);
  HostStat found;
  return other != name && !StatAt({directory, ToHostName(other)}, found);
}

/// The one of `names` that means `name`: `exact` when it is there, else the first that differs in
/// case alone; null for none.
const std::string* FindName(const std::vector<std::string>& names, std::string_view name,
                            const std::string& exact) {
  const std::string* best = nullptr;
  std::string shown;
  for (const std::string& candidate : names) {
    if (!FromHostName(candidate, shown) || !SameName(shown, name)) continue;
    if (best == nullptr || candidate == exact) best = &candidate;
  }
  return best;
}

}  // namespace

Opened Volume::Reach(const Entry& entry, const Visit& visit) {
  std::vector<const Entry*> way;
  for (const Entry* at = &entry; at->directory != nullptr; at = at->directory.get()) {
    if (!at->has_name) throw DosError(ERROR_INVALID_LOCK);
    way.push_back(at);
  }
  Opened opened;
  Check(OpenAgain(root_, opened));
  if (visit) visit(opened);
  for (auto step = way.rbegin(); step != way.rend(); ++step) {
    const Entry& next = **step;
    const Opened above = std::exchange(opened, {});
    const DosError error = OpenAt({above.fd.get(), next.host_name}, root_.stat.device, opened);
    Check(IsGoneOrForeign(error) ? ERROR_INVALID_LOCK : error);
    if (opened.stat.identity() != next.object->identity ||
        opened.IsDirectory() != next.object->IsDirectory()) {
      throw DosError(ERROR_INVALID_LOCK);
    }
    if (visit) visit(opened);
  }
  return opened;
}

bool Volume::Search(const Entry& directory, std::string_view name, Opened& opened,
                    std::string& host_name) {
  if (!directory.object->IsDirectory()) throw DosError(ERROR_OBJECT_WRONG_TYPE);
  if (!IsName(name)) throw DosError(ERROR_INVALID_COMPONENT_NAME);
  opened = Reach(directory);
  const int fd = opened.fd.get();
  host_name = ToHostName(name);
  HostStat stat;
  const HostError error = StatAt({fd, host_name}, stat);
  if (!error && !IsThereInOtherCase(fd, name)) return true;
  if (!error.Is(ENOENT)) Check(error.ForReading());

  std::vector<std::string> names;
  Check(ListNames(fd, names));
  const std::string* const found = FindName(names, name, host_name);
  if (found != nullptr) host_name = *found;
  return found != nullptr;
}

EntryRef Volume::EntryOf(const EntryRef& directory, const std::string& host_name,
                         const Opened& opened) {
  ObjectKind kind = ObjectKind::kDirectory;
  if (opened.IsFile()) {
    // What the host does not let us look into is a file.
    const Record record = ReadRecordIfAllowed(opened);
    kind = record.soft_link ? ObjectKind::kSoftLink : ObjectKind::kFile;
  }
  std::string name;
  if (!FromHostName(host_name, name)) throw DosError(ERROR_OBJECT_NOT_FOUND);
  return tree_.EntryFor(directory, host_name, name, opened.stat.identity(), kind);
}

EntryRef Volume::LookUp(const EntryRef& rel, std::string_view name) {
  const EntryRef& base = rel == nullptr ? root() : rel;
  if (name.empty()) return base;
  Opened directory;
  Opened opened;
  std::string host_name;
  if (!Search(*base, name, directory, host_name)) throw DosError(ERROR_OBJECT_NOT_FOUND);
  Check(OpenAt({directory.fd.get(), host_name}, root_.stat.device, opened));
  return EntryOf(base, host_name, opened);
}

EntryRef Volume::LookUpTarget(const EntryRef& rel, std::string_view name) {
  EntryRef entry = LookUp(rel, name);
  if (entry->object->IsSoftLink()) throw DosError(ERROR_IS_SOFT_LINK);
  return entry;
}

DosError Volume::Find(const EntryRef& rel, std::string_view name, EntryRef& found) {
  found = LookUp(rel, name);
  return kNoError;
}

DosError Volume::FindTarget(const EntryRef& rel, std::string_view name, EntryRef& found) {
  found = LookUpTarget(rel, name);
  return kNoError;
}

Volume::Location::Location(EntryRef in, std::string name)
    : parent(std::move(in)), host_name(std::move(name)), path(host_name) {
  for (const Entry* above = parent.get(); above->directory != nullptr;) {
    path.insert(0, above->host_name + '/');
    above = above->directory.get();
  }
}

Volume::Location Volume::Locate(const Entry& entry) {
  Location location(entry.directory, entry.host_name);
  location.directory = Reach(*entry.directory);
  return location;
}

Volume::Location Volume::LocateNew(const EntryRef& rel, std::string_view name) {
  Check(WriteProblem());
  if (name.empty()) throw DosError(ERROR_OBJECT_EXISTS);
  Location location(rel == nullptr ? root() : rel, ToHostName(name));
  std::string existing;
  if (Search(*location.parent, name, location.directory, existing)) {
    throw DosError(ERROR_OBJECT_EXISTS);
  }
  CheckOwn(*location.parent->object);
  return location;
}

void Volume::CheckOwn(const Object& object) const {
  if (!own_.MayChange(object.identity)) throw DosError(ERROR_INVALID_LOCK);
}

DosError Volume::TakeLock(Entry& entry, bool& exclusive) {
  Object& object = *entry.object;
  if (!object.IsFile()) {
    exclusive = false;
  } else if (const DosError error = object.holders.Take(exclusive)) {
    return error;
  }
  ++entry.uses;
  ++in_use_;
  return kNoError;
}

void Volume::ReleaseLock(Entry& entry, bool exclusive) {
  if (entry.object->IsFile()) entry.object->holders.Release(exclusive);
  --entry.uses;
  --in_use_;
}

DosError Volume::ChangeLock(Entry& entry, bool& exclusive, bool to_exclusive) {
  if (entry.object->IsFile()) return entry.object->holders.Change(exclusive, to_exclusive);
  return to_exclusive ? ERROR_OBJECT_WRONG_TYPE : kNoError;
}

}  // namespace quorle::hostdir
