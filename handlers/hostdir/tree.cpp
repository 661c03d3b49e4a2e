#include "handlers/hostdir/tree.h"

#include <algorithm>
#include <utility>

namespace quorle::hostdir {
namespace {

constexpr std::size_t kFirstSweep = 64;

}  // namespace

Entry::~Entry() {
  Detach();
  // Directories above that nothing else needs end one by one, however many there are.
  EntryRef above = std::move(directory);
  while (above != nullptr && above.use_count() == 1) {
    above->Detach();
    EntryRef next = std::move(above->directory);
    above = std::move(next);
  }
}

void Entry::Detach() {
  if (has_name && directory != nullptr) directory->entries.erase(host_name);
  has_name = false;
}

Tree::Tree(const Opened& root) : root_(std::make_shared<Entry>()), sweep_at_(kFirstSweep) {
  root_->object = ObjectOf(root.stat.identity(), ObjectKind::kDirectory);
  root_->object->held = root;
}

std::shared_ptr<Object> Tree::Find(const Identity& identity) const {
  const auto found = objects_.find(identity);
  return found == objects_.end() ? nullptr : found->second.lock();
}

EntryRef Tree::EntryFor(const EntryRef& directory, const std::string& host_name,
                        std::string_view name, const Identity& identity, ObjectKind kind) {
  const auto in_use = directory->entries.find(host_name);
  if (in_use != directory->entries.end()) {
    EntryRef entry = in_use->second.lock();
    if (entry->object->identity == identity && entry->object->kind == kind) return entry;
    entry->Detach();
  }
  auto entry = std::make_shared<Entry>();
  entry->host_name = host_name;
  entry->name = name;
  entry->object = ObjectOf(identity, kind);
  directory->entries.emplace(host_name, entry);
  entry->directory = directory;
  return entry;
}

EntryRef Tree::Insert(const EntryRef& directory, const std::string& host_name,
                      std::string_view name, const Identity& identity, ObjectKind kind) {
  const auto gone = directory->entries.find(host_name);
  if (gone != directory->entries.end()) gone->second.lock()->Detach();
  objects_.erase(identity);
  return EntryFor(directory, host_name, name, identity, kind);
}

void Tree::Move(const EntryRef& entry, const EntryRef& directory, const std::string& host_name,
                std::string_view name) {
  std::string new_host_name = host_name;
  std::string new_name(name);
  // Only something that the host has removed can still be known there.
  const auto gone = directory->entries.find(host_name);
  if (gone != directory->entries.end()) gone->second.lock()->Detach();
  directory->entries.emplace(host_name, entry);
  // Nothing fails from here on.
  if (entry->directory != directory || entry->host_name != host_name) entry->Detach();
  entry->directory = directory;
  entry->host_name.swap(new_host_name);
  entry->name.swap(new_name);
  entry->has_name = true;
}

std::shared_ptr<Object> Tree::ObjectOf(const Identity& identity, ObjectKind kind) {
  std::weak_ptr<Object>& known = objects_[identity];
  std::shared_ptr<Object> object = known.lock();
  if (object != nullptr && object->kind == kind) return object;
  object = std::make_shared<Object>();
  object->identity = identity;
  object->kind = kind;
  known = object;
  if (objects_.size() >= sweep_at_) {
    std::erase_if(objects_, [](const auto& entry) { return entry.second.expired(); });
    sweep_at_ = std::max(kFirstSweep, objects_.size() * 2);
  }
  return object;
}

bool IsInside(const Entry& entry, const Entry& ancestor) {
  for (const Entry* at = &entry; at != nullptr; at = at->directory.get()) {
    if (at == &ancestor) return true;
  }
  return false;
}

}  // namespace quorle::hostdir
