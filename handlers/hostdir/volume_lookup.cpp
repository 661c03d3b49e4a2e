#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
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

/// What leads to `entry`, from the root on, and itself.
std::vector<const Entry*> EntriesTo(const Entry& entry) {
  std::vector<const Entry*> entries;
  for (const Entry* at = &entry; at != nullptr; at = at->directory.get()) entries.push_back(at);
  std::reverse(entries.begin(), entries.end());
  return entries;
}

/// Whether every host takes `host_name`.
bool IsPlain(std::string_view host_name) {
  constexpr std::size_t kShort = 100;
  return host_name.size() <= kShort && std::all_of(host_name.begin(), host_name.end(), [](char c) {
           return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                  c == '_' || c == '-';
         });
}

}  // namespace

DosError Volume::LookAt(const NameAt& at, Opened& looked) const {
  if (const DosError error = hostdir::LookAt(at, root_.stat.device, looked)) return error;
  const std::shared_ptr<const Object> object = tree_.Find(looked.stat.identity());
  if (object == nullptr) return kNoError;
  const Opened& open = object->content.fd ? object->content : object->held;
  // One that is good for nothing but the number is not used: the host may allow more by now.
  if (open.readable) looked.fd = open.fd;
  return kNoError;
}

DosError Volume::OpenFor(Use use, const NameAt& at, Opened& looked) const {
  if (looked.fd || (use == Use::kRecord && !records_->NeedsDescriptor())) return kNoError;
  return OpenLooked(at, root_.stat.device, looked);
}

Volume::Way Volume::Reach(const Entry& entry, Use use) {
  const std::vector<const Entry*> entries = EntriesTo(entry);
  Way way = {root_};
  way.reserve(entries.size());
  for (std::size_t i = 1; i < entries.size(); ++i) {
    const Entry& next = *entries[i];
    if (!next.has_name) throw DosError(ERROR_INVALID_LOCK);
    Object& object = *next.object;
    const NameAt at{way.back().fd.get(), next.host_name};
    Opened opened;
    DosError error = LookAt(at, opened);
    const auto is_meant = [&] {
      return opened.stat.identity() == object.identity &&
             opened.IsDirectory() == object.IsDirectory();
    };
    if (!error && is_meant()) {
      error = OpenFor(object.IsDirectory() ? Use::kAnything : use, at, opened);
    }
    Check(IsGoneOrForeign(error) ? ERROR_INVALID_LOCK : error);
    if (!is_meant()) throw DosError(ERROR_INVALID_LOCK);
    if (object.IsDirectory() && !object.held.fd && tree_.HasRoomToHold()) object.held = opened;
    way.push_back(std::move(opened));
  }
  return way;
}

void Volume::NoteKnown(Location& location) {
  Opened& directory = location.way.back();
  if (names_.Remembered(directory.stat.identity()) == nullptr) return;
  if (location.way.size() == 1) Check(StatAgain(directory));
  location.is_known = names_.Current(directory.stat) != nullptr;
  location.mark = names_.MarkOf(directory.stat);
}

bool Volume::SearchExactly(std::string_view name, Hit& hit) {
  hit.problem = LookAt(hit.at(), hit.object);
  if (hit.problem == ERROR_OBJECT_NOT_FOUND) return false;
  // Of what is foreign it is known at least that it is there.
  if (!IsGoneOrForeign(hit.problem)) Check(hit.problem);
  const Identity directory = hit.way.back().stat.identity();
  if (names_.KeepsCase(directory)) return true;
  const std::string other = OtherCase(name);
  if (other == name) return true;
  HostStat found;
  if (!StatAt({hit.way.back().fd.get(), ToHostName(other)}, found)) return false;
  names_.NoteKeepsCase(directory);
  return true;
}

void Volume::SearchAll(std::string_view name, Hit& hit) {
  const Opened& directory = hit.way.back();
  const DirectoryNames* names = names_.Current(directory.stat);
  hit.is_known = names != nullptr;
  if (!hit.is_known) {
    Check(names_.Read(directory, names));
    hit.is_known = names_.Current(directory.stat) != nullptr;
  }
  const std::string* const found = names->Find(name, hit.host_name);
  hit.is_there = found != nullptr;
  if (!hit.is_there) return;
  hit.host_name = *found;
  hit.problem = LookAt(hit.at(), hit.object);
}

Volume::Hit Volume::Search(const Entry& directory, std::string_view name) {
  if (!directory.object->IsDirectory()) throw DosError(ERROR_OBJECT_WRONG_TYPE);
  if (!IsName(name)) throw DosError(ERROR_INVALID_COMPONENT_NAME);
  Hit hit;
  hit.way = Reach(directory, Use::kAnything);
  hit.host_name = ToHostName(name);
  const Identity identity = directory.object->identity;
  const DirectoryNames* const names = names_.Remembered(identity);
  // Otherwise all names are looked at in any case. Of a name that the host may refuse, it is asked.
  if (names == nullptr || names->all().contains(hit.host_name) || !IsPlain(hit.host_name)) {
    hit.is_there = SearchExactly(name, hit);
    if (hit.is_there) return hit;
  }
  if (hit.way.size() == 1) Check(StatAgain(hit.way.back()));
  SearchAll(name, hit);
  if (hit.is_there && hit.problem == ERROR_OBJECT_NOT_FOUND) {
    // It went at this moment, or at that of a change of ours.
    names_.Forget(identity);
    hit.host_name = ToHostName(name);
    SearchAll(name, hit);
    if (hit.problem == ERROR_OBJECT_NOT_FOUND) hit.is_there = false;
  }
  return hit;
}

EntryRef Volume::EntryOf(const EntryRef& directory, const NameAt& at, Opened& looked) {
  ObjectKind kind = ObjectKind::kDirectory;
  if (looked.IsFile()) {
    if (const Object* const own = own_.Find(looked.stat.identity()); own != nullptr) {
      kind = own->kind;
    } else {
      Check(OpenFor(Use::kRecord, at, looked));
      // What the host does not let us look into is a file.
      const Record record = ReadRecordIfAllowed(looked);
      kind = record.soft_link ? ObjectKind::kSoftLink : ObjectKind::kFile;
      if (looked.IsDirectory()) kind = ObjectKind::kDirectory;
    }
  }
  std::string name;
  if (!FromHostName(at.name, name)) throw DosError(ERROR_OBJECT_NOT_FOUND);
  return tree_.EntryFor(directory, at.name, name, looked.stat.identity(), kind);
}

DosError Volume::FoundOf(const EntryRef& directory, Hit hit, Found& found) {
  if (!hit.is_there) return ERROR_OBJECT_NOT_FOUND;
  if (hit.problem) return hit.problem;
  found.entry = EntryOf(directory, hit.at(), hit.object);
  found.way = std::move(hit.way);
  found.object = std::move(hit.object);
  return kNoError;
}

DosError Volume::LookUp(const EntryRef& rel, std::string_view name, Found& found) {
  const EntryRef& base = rel == nullptr ? root() : rel;
  if (!name.empty()) return FoundOf(base, Search(*base, name), found);
  found.entry = base;
  return kNoError;
}

DosError Volume::LookUpTarget(const EntryRef& rel, std::string_view name, Found& found) {
  if (const DosError error = LookUp(rel, name, found)) return error;
  return found.entry->object->IsSoftLink() ? ERROR_IS_SOFT_LINK : kNoError;
}

Opened& Volume::OpenFound(Found& found, Use use) {
  const Entry& entry = *found.entry;
  if (found.way.empty()) {
    found.way = Reach(entry, use);
    found.object = found.way.back();
    if (found.way.size() > 1) found.way.pop_back();
    return found.object;
  }
  const DosError error = OpenFor(use, {found.way.back().fd.get(), entry.host_name}, found.object);
  Check(IsGoneOrForeign(error) ? ERROR_INVALID_LOCK : error);
  if (found.object.stat.identity() != entry.object->identity) throw DosError(ERROR_INVALID_LOCK);
  return found.object;
}

DosError Volume::Find(const EntryRef& rel, std::string_view name, EntryRef& found) {
  Found object;
  const DosError error = LookUp(rel, name, object);
  found = std::move(object.entry);
  return error;
}

DosError Volume::FindTarget(const EntryRef& rel, std::string_view name, EntryRef& found) {
  Found object;
  const DosError error = LookUpTarget(rel, name, object);
  found = std::move(object.entry);
  return error;
}

std::string Volume::Location::Path() const {
  std::string path = host_name;
  for (const Entry* above = parent.get(); above->directory != nullptr;) {
    path.insert(0, above->host_name + '/');
    above = above->directory.get();
  }
  return path;
}

Volume::Location Volume::Locate(const Found& found) {
  const Entry& entry = *found.entry;
  Location location{.parent = entry.directory,
                    .way = found.way,
                    .name = entry.name,
                    .host_name = entry.host_name,
                    .mark = {}};
  if (location.way.empty()) location.way = Reach(*entry.directory, Use::kAnything);
  NoteKnown(location);
  return location;
}

Volume::Location Volume::LocationOf(const EntryRef& parent, std::string_view name, Hit hit) {
  Check(WriteProblem());
  if (hit.is_there) throw DosError(ERROR_OBJECT_EXISTS);
  CheckOwn(*parent->object);
  std::optional<NamesCache::Mark> mark = names_.MarkOf(hit.way.back().stat);
  return {.parent = parent,
          .way = std::move(hit.way),
          .name = std::string(name),
          .host_name = std::move(hit.host_name),
          .is_new = true,
          .is_known = hit.is_known,
          .mark = std::move(mark)};
}

Volume::Location Volume::LocateNew(const EntryRef& rel, std::string_view name) {
  Check(WriteProblem());
  if (name.empty()) throw DosError(ERROR_OBJECT_EXISTS);
  const EntryRef& parent = rel == nullptr ? root() : rel;
  return LocationOf(parent, name, Search(*parent, name));
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
