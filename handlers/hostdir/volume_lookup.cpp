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

DosError Volume::Reach(const Entry& entry, Opened& opened, const Visit& visit) {
  std::vector<const Entry*> way;
  for (const Entry* at = &entry; at->directory != nullptr; at = at->directory.get()) {
    if (!at->has_name) return ERROR_INVALID_LOCK;
    way.push_back(at);
  }
  if (const DosError error = OpenAgain(root_, opened)) return error;
  if (visit) visit(opened);
  for (auto step = way.rbegin(); step != way.rend(); ++step) {
    const Entry& next = **step;
    Opened above = std::move(opened);
    opened = {};
    if (const DosError error =
            OpenAt({above.fd.get(), next.host_name}, root_.stat.device, opened)) {
      return IsGoneOrForeign(error) ? ERROR_INVALID_LOCK : error;
    }
    if (opened.stat.identity() != next.object->identity ||
        opened.IsDirectory() != next.object->IsDirectory()) {
      return ERROR_INVALID_LOCK;
    }
    if (visit) visit(opened);
  }
  return kNoError;
}

DosError Volume::ReachRecord(const Entry& entry, Opened& opened, Record& record) {
  if (const DosError error = Reach(entry, opened)) return error;
  return records_->Read(opened, record);
}

DosError Volume::Search(const Entry& directory, std::string_view name, Opened& opened,
                        std::string& host_name) {
  if (!directory.object->IsDirectory()) return ERROR_OBJECT_WRONG_TYPE;
  if (!IsName(name)) return ERROR_INVALID_COMPONENT_NAME;
  if (const DosError error = Reach(directory, opened)) return error;
  const int fd = opened.fd.get();
  host_name = ToHostName(name);
  HostStat stat;
  const HostError there = StatAt({fd, host_name}, stat);
  if (!there && !IsThereInOtherCase(fd, name)) return kNoError;
  if (there && !there.Is(ENOENT)) return there.ForReading();

  std::vector<std::string> names;
  if (const DosError error = ListNames(fd, names)) return error;
  const std::string* const found = FindName(names, name, host_name);
  if (found == nullptr) return ERROR_OBJECT_NOT_FOUND;
  host_name = *found;
  return kNoError;
}

DosError Volume::EntryOf(const EntryRef& directory, const std::string& host_name,
                         const Opened& opened, EntryRef& entry) {
  ObjectKind kind = ObjectKind::kDirectory;
  if (opened.IsFile()) {
    Record record;
    if (const DosError error = ReadRecord(opened, record)) return error;
    // What the host does not let us look into is a file.
    kind = record.soft_link ? ObjectKind::kSoftLink : ObjectKind::kFile;
  }
  std::string name;
  if (!FromHostName(host_name, name)) return ERROR_OBJECT_NOT_FOUND;
  entry = tree_.EntryFor(directory, host_name, name, opened.stat.identity(), kind);
  return kNoError;
}

DosError Volume::Find(const EntryRef& rel, std::string_view name, EntryRef& found) {
  const EntryRef& base = rel == nullptr ? root() : rel;
  if (name.empty()) {
    found = base;
    return kNoError;
  }
  Opened directory;
  Opened opened;
  std::string host_name;
  if (const DosError error = Search(*base, name, directory, host_name)) return error;
  const NameAt at{directory.fd.get(), host_name};
  if (const DosError error = OpenAt(at, root_.stat.device, opened)) return error;
  return EntryOf(base, host_name, opened, found);
}

DosError Volume::FindTarget(const EntryRef& rel, std::string_view name, EntryRef& found) {
  if (const DosError error = Find(rel, name, found)) return error;
  return found->object->IsSoftLink() ? ERROR_IS_SOFT_LINK : kNoError;
}

void Volume::Location::Set(EntryRef in, std::string name) {
  parent = std::move(in);
  host_name = std::move(name);
  path = host_name;
  for (const Entry* above = parent.get(); above->directory != nullptr;) {
    path.insert(0, above->host_name + '/');
    above = above->directory.get();
  }
}

DosError Volume::Locate(const Entry& entry, Location& location) {
  location.Set(entry.directory, entry.host_name);
  return Reach(*entry.directory, location.directory);
}

DosError Volume::LocateNew(const EntryRef& rel, std::string_view name, Location& location) {
  if (const DosError error = WriteProblem()) return error;
  if (name.empty()) return ERROR_OBJECT_EXISTS;
  location.Set(rel == nullptr ? root() : rel, ToHostName(name));
  std::string existing;
  const DosError found = Search(*location.parent, name, location.directory, existing);
  if (!found) return ERROR_OBJECT_EXISTS;
  return found == ERROR_OBJECT_NOT_FOUND ? ForeignProblem(*location.parent->object) : found;
}

DosError Volume::ForeignProblem(const Object& object) const {
  return own_.MayChange(object.identity) ? kNoError : ERROR_INVALID_LOCK;
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
