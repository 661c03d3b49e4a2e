#include "handlers/ram/volume.h"

#include <algorithm>
#include <utility>

#include "handlers/common/vectors.h"
#include "handlers/ram/names.h"

namespace quorle::ram {

Node::Node(ObjectKind what) : kind(what) {
  own.node = this;
  names.push_back(&own);
}

Volume::Volume(VolumeSettings settings, Now now, std::uint64_t size)
    : settings_(std::move(settings)),
      now_(std::move(now)),
      size_(size),
      root_node_(ObjectKind::kDirectory) {
  root_.name = common::RootName(settings_);
  root_node_.id = ++last_id_;
  root_node_.date = now_();
  objects_ = 1;
}

Volume::~Volume() {
  Discard(root_);
}

/// Frees everything below a directory, however deep, without calling itself.
void Volume::Discard(Entry& root) {
  std::vector<Node*> directories{root.node};
  while (!directories.empty()) {
    std::uint64_t first = 0;
    Entry* const entry = directories.back()->entries.Next(first);
    if (entry == nullptr) {
      directories.pop_back();
      continue;
    }
    const bool is_last_name = entry->node->names.size() == 1;
    if (is_last_name && !entry->node->entries.empty()) {
      directories.push_back(entry->node);
    } else {
      Remove(*entry);
    }
  }
}

// ---- Looking up, locking -----------------------------------------------------------------------

DosError Volume::Find(Entry* rel, std::string_view name, Entry*& found) {
  Entry& base = rel == nullptr ? root_ : *rel;
  if (name.empty()) {
    found = &base;
    return kNoError;
  }
  if (!base.node->IsDirectory()) return ERROR_OBJECT_WRONG_TYPE;
  if (!IsName(name)) return ERROR_INVALID_COMPONENT_NAME;
  found = base.node->entries.Find(name);
  return found == nullptr ? ERROR_OBJECT_NOT_FOUND : kNoError;
}

DosError Volume::FindTarget(Entry* rel, std::string_view name, Entry*& found) {
  if (const DosError error = Find(rel, name, found)) return error;
  return found->node->IsSoftLink() ? ERROR_IS_SOFT_LINK : kNoError;
}

DosError Volume::TakeLock(Entry& entry, bool& exclusive) {
  Node& node = *entry.node;
  if (!node.IsFile()) {
    exclusive = false;
  } else if (const DosError error = node.holders.Take(exclusive)) {
    return error;
  }
  ++entry.uses;
  ++in_use_;
  return kNoError;
}

void Volume::ReleaseLock(Entry& entry, bool exclusive) {
  if (entry.node->IsFile()) entry.node->holders.Release(exclusive);
  --entry.uses;
  --in_use_;
}

DosError Volume::ChangeLock(Entry& entry, bool& exclusive, bool to_exclusive) {
  if (entry.node->IsFile()) return entry.node->holders.Change(exclusive, to_exclusive);
  return to_exclusive ? ERROR_OBJECT_WRONG_TYPE : kNoError;
}

Entry* Volume::Parent(const Entry& entry) {
  return entry.directory == nullptr ? nullptr : entry.directory->names.front();
}

// ---- Files -------------------------------------------------------------------------------------

void Volume::Hold(OpenFile& file, Entry& entry, bool exclusive) {
  file.entry = &entry;
  file.exclusive = exclusive;
  entry.node->handles.push_back(&file);
}

DosError Volume::Open(Entry* rel, std::string_view name, std::int32_t mode, OpenFile& file) {
  if (mode != MODE_OLDFILE && mode != MODE_READWRITE && mode != MODE_NEWFILE) {
    return ERROR_BAD_NUMBER;
  }
  // The volume comes first: with its protection on, a new file is refused whatever is there.
  bool exclusive = mode == MODE_NEWFILE;
  if (const DosError error = exclusive ? WriteProblem() : kNoError) return error;
  Entry* entry = nullptr;
  const DosError found = FindTarget(rel, name, entry);
  const bool is_new = found == ERROR_OBJECT_NOT_FOUND && mode != MODE_OLDFILE;
  if (const DosError error = is_new ? Make(ObjectKind::kFile, rel, name, entry) : found) {
    return error;
  }
  Node& node = *entry->node;
  if (!node.IsFile()) return ERROR_OBJECT_WRONG_TYPE;

  node.handles.reserve(node.handles.size() + 1);
  if (exclusive && !is_new) {
    if (node.holders.any()) return ERROR_OBJECT_IN_USE;
    if ((node.protection & EXDF_NO_DELETE) != 0) return ERROR_DELETE_PROTECTED;
  }
  if (const DosError error = TakeLock(*entry, exclusive)) return error;
  file = {};
  Hold(file, *entry, exclusive);
  if (exclusive && !is_new) {
    // The object and its other names stay; what was in it goes.
    pages_ -= node.content.pages();
    node.content.Resize(0);
    node.comment.clear();
    node.protection = 0;
    node.date = now_();
    file.changed = true;
  }
  return kNoError;
}

DosError Volume::OpenLocked(Entry* entry, bool exclusive, OpenFile& file) {
  if (!entry->node->IsFile()) return ERROR_OBJECT_WRONG_TYPE;
  file = {};
  Hold(file, *entry, exclusive);
  return kNoError;
}

DosError Volume::Close(OpenFile& file) {
  Entry& entry = *file.entry;
  std::erase(entry.node->handles, &file);
  ReleaseLock(entry, file.exclusive);
  if (!file.changed) return kNoError;
  Touch(entry.directory);
  watches_.NotifyWritten(*entry.node, *entry.directory);
  return kNoError;
}

DosError Volume::ChangeFileMode(OpenFile& file, bool to_exclusive) {
  return ChangeLock(*file.entry, file.exclusive, to_exclusive);
}

DosError Volume::Read(OpenFile& file, void* buffer, std::int32_t bytes, std::int32_t& count) {
  Node& node = *file.entry->node;
  if (bytes < 0) return ERROR_BAD_NUMBER;
  if ((node.protection & EXDF_NO_READ) != 0) return ERROR_READ_PROTECTED;
  count = static_cast<std::int32_t>(
      node.content.Read(file.position, buffer, static_cast<std::size_t>(bytes)));
  file.position += count;
  return kNoError;
}

DosError Volume::Write(OpenFile& file, const void* data, std::int32_t bytes) {
  Node& node = *file.entry->node;
  if (bytes < 0) return ERROR_BAD_NUMBER;
  if (const DosError error = WriteProblem()) return error;
  if ((node.protection & EXDF_NO_WRITE) != 0) return ERROR_WRITE_PROTECTED;
  std::int64_t end = 0;
  if (__builtin_add_overflow(file.position, bytes, &end)) return ERROR_OBJECT_TOO_LARGE;
  Content& content = node.content;
  const auto count = static_cast<std::size_t>(bytes);
  if (!HasRoomFor(content.NewPages(file.position, count))) return ERROR_DISK_FULL;
  const std::size_t pages = content.pages();
  content.Write(file.position, data, count);
  pages_ += content.pages() - pages;
  file.position = end;
  file.changed = true;
  node.protection &= ~std::uint32_t{EXDF_ARCHIVE};
  node.date = now_();
  return kNoError;
}

DosError Volume::Seek(OpenFile& file, std::int32_t mode, std::int64_t position) {
  const std::int64_t size = file.entry->node->content.size();
  std::int64_t target = 0;
  if (const DosError error = common::FindPosition(mode, position, file.position, size, target)) {
    return error;
  }
  if (target > size) return ERROR_SEEK_ERROR;
  file.position = target;
  return kNoError;
}

DosError Volume::Resize(OpenFile& file, std::int32_t mode, std::int64_t size) {
  Node& node = *file.entry->node;
  std::int64_t target = 0;
  const std::int64_t old_size = node.content.size();
  if (const DosError error =
          common::FindPosition(mode, size, file.position, old_size, target).Or(WriteProblem())) {
    return error;
  }
  if ((node.protection & EXDF_NO_WRITE) != 0) return ERROR_WRITE_PROTECTED;
  for (const OpenFile* const other : node.handles) {
    if (other != &file && other->position > target) return ERROR_OBJECT_IN_USE;
  }
  pages_ -= node.content.pages();
  node.content.Resize(target);
  pages_ += node.content.pages();
  file.position = std::min(file.position, target);
  file.changed = true;
  node.protection &= ~std::uint32_t{EXDF_ARCHIVE};
  node.date = now_();
  return kNoError;
}

DosError Volume::SizeOf(const OpenFile& file, std::int64_t& size) {
  size = file.entry->node->content.size();
  return kNoError;
}

// ---- Objects -----------------------------------------------------------------------------------

DosError Volume::LocateNew(Entry* rel, std::string_view name, Node*& directory) {
  if (const DosError error = WriteProblem()) return error;
  Entry* existing = nullptr;
  const DosError found = Find(rel, name, existing);
  if (!found) return ERROR_OBJECT_EXISTS;
  if (found != ERROR_OBJECT_NOT_FOUND) return found;
  directory = rel == nullptr ? &root_node_ : rel->node;
  return kNoError;
}

DosError Volume::Insert(Node& directory, std::string_view name, std::unique_ptr<Node> node,
                        Entry*& made) {
  if (!HasRoomFor(1)) return ERROR_DISK_FULL;
  Entry& entry = node->own;
  entry.name = name;
  entry.directory = &directory;
  directory.entries.Reserve();
  // Nothing fails from here on.
  node->id = ++last_id_;
  node->owner = directory.owner;
  node->group = directory.group;
  Touch(&directory);
  node->date = directory.date;
  directory.entries.Add(entry);
  ++objects_;
  made = &entry;
  static_cast<void>(node.release());  // freed with its last name
  watches_.NotifyEntry(directory, name);
  return kNoError;
}

DosError Volume::Make(ObjectKind kind, Entry* rel, std::string_view name, Entry*& made) {
  Node* directory = nullptr;
  if (const DosError error = LocateNew(rel, name, directory)) return error;
  return Insert(*directory, name, std::make_unique<Node>(kind), made);
}

DosError Volume::MakeDirectory(Entry* rel, std::string_view name, Entry*& made) {
  return Make(ObjectKind::kDirectory, rel, name, made);
}

DosError Volume::MakeSoftLink(Entry* rel, std::string_view name, std::string_view target) {
  if (target.empty() || target.size() > kMaxTarget) {
    return WriteProblem().Or(ERROR_INVALID_COMPONENT_NAME);
  }
  Node* directory = nullptr;
  if (const DosError error = LocateNew(rel, name, directory)) return error;
  Entry* made = nullptr;
  auto node = std::make_unique<Node>(ObjectKind::kSoftLink);
  node->target = target;
  return Insert(*directory, name, std::move(node), made);
}

DosError Volume::MakeHardLink(Entry* rel, std::string_view name, Entry& target) {
  Node* directory = nullptr;
  if (const DosError error = LocateNew(rel, name, directory)) return error;
  Node& node = *target.node;
  if (node.IsDirectory() && IsInside(*directory, node)) return ERROR_OBJECT_WRONG_TYPE;
  if (!HasRoomFor(1)) return ERROR_DISK_FULL;
  auto entry = std::make_unique<Entry>();
  entry->name = name;
  entry->node = &node;
  entry->directory = directory;
  node.names.reserve(node.names.size() + 1);
  directory->entries.Reserve();
  Touch(directory);
  directory->entries.Add(*entry);
  node.names.push_back(entry.release());
  ++objects_;
  watches_.NotifyEntry(*directory, name);
  return kNoError;
}

void Volume::Remove(Entry& entry) {
  Node* const node = entry.node;
  entry.directory->entries.Remove(entry);
  std::erase(node->names, &entry);
  if (&entry != &node->own) delete &entry;
  --objects_;
  if (!node->names.empty()) return;
  pages_ -= node->content.pages();
  delete node;
}

DosError Volume::Delete(Entry* rel, std::string_view name) {
  if (const DosError error = WriteProblem()) return error;
  Entry* entry = nullptr;
  if (const DosError error = Find(rel, name, entry)) return error;
  if (entry == &root_ || entry->uses > 0) return ERROR_OBJECT_IN_USE;
  Node& node = *entry->node;
  if ((node.protection & EXDF_NO_DELETE) != 0) return ERROR_DELETE_PROTECTED;
  if (node.IsFile() && (node.protection & EXDF_NO_WRITE) != 0) {
    return ERROR_WRITE_PROTECTED;
  }
  const bool is_last_name = node.names.size() == 1;
  if (is_last_name && !node.entries.empty()) {
    return ERROR_DIRECTORY_NOT_EMPTY;
  }
  Node* const directory = entry->directory;
  const std::string old_name = std::move(entry->name);
  Remove(*entry);
  Touch(directory);
  watches_.NotifyEntry(*directory, old_name);
  return kNoError;
}

DosError Volume::Rename(Entry* from_rel, std::string_view from, Entry* to_rel,
                        std::string_view to) {
  if (const DosError error = WriteProblem()) return error;
  Entry* entry = nullptr;
  if (const DosError error = Find(from_rel, from, entry)) return error;
  if (entry == &root_) return ERROR_OBJECT_IN_USE;
  Entry* existing = nullptr;
  const DosError error = Find(to_rel, to, existing);
  if (error && error != ERROR_OBJECT_NOT_FOUND) return error;
  if (existing != nullptr && existing != entry) return ERROR_OBJECT_EXISTS;
  if (existing == entry && to.empty()) return kNoError;
  Node& target = to_rel == nullptr ? root_node_ : *to_rel->node;
  if (entry->node->IsDirectory() && IsInside(target, *entry->node)) {
    return ERROR_OBJECT_IN_USE;
  }

  std::string new_name(to);
  target.entries.Reserve();
  Node* const source = entry->directory;
  source->entries.Remove(*entry);
  entry->name.swap(new_name);
  entry->directory = &target;
  target.entries.Add(*entry);
  Touch(source);
  if (source != &target) Touch(&target);
  watches_.NotifyRename(*source, new_name, target, entry->name);
  return kNoError;
}

DosError Volume::SetDate(Entry* rel, std::string_view name, const ::DateStamp& date) {
  return SetAttribute(rel, name, [&date](Node& node) { node.date = date; });
}

DosError Volume::SetAttribute(Entry* rel, std::string_view name,
                              const std::function<void(Node&)>& change) {
  if (const DosError error = WriteProblem()) return error;
  Entry* entry = nullptr;
  if (const DosError error = FindTarget(rel, name, entry)) return error;
  change(*entry->node);
  // Only from the directory upward: attributes of a copy must survive being set.
  ClearArchiveBits(entry->directory);
  watches_.NotifyAttributes(*entry->node);
  return kNoError;
}

bool Volume::IsInside(const Node& directory, const Node& ancestor) const {
  if (&directory == &ancestor) return true;
  return std::any_of(directory.names.begin(), directory.names.end(), [&](const Entry* name) {
    return name->directory != nullptr && IsInside(*name->directory, ancestor);
  });
}

void Volume::Touch(Node* directory) {
  if (directory == nullptr) return;
  const ::DateStamp now = now_();
  for (Node* node = directory; node != nullptr; node = node->names.front()->directory) {
    node->date = now;
    node->protection &= ~std::uint32_t{EXDF_ARCHIVE};
  }
}

void Volume::ClearArchiveBits(Node* directory) {
  for (Node* node = directory; node != nullptr; node = node->names.front()->directory) {
    node->protection &= ~std::uint32_t{EXDF_ARCHIVE};
  }
}

}  // namespace quorle::ram
