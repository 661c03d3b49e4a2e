#include "handlers/hostdir/tree.h"

#include <algorithm>
#include <utility>

namespace quorle::hostdir {
namespace {

constexpr std::size_t kFirstSweep = 64;

}  // namespace

Place::~Place() {
  Detach();
  // Directories above that nothing else needs end one by one, however many there are.
  PlaceRef above = std::move(directory);
  while (above != nullptr && above.use_count() == 1) {
    above->Detach();
    PlaceRef next = std::move(above->directory);
    above = std::move(next);
  }
}

void Place::Detach() {
  if (named && directory != nullptr) directory->entries.erase(host_name);
  named = false;
}

Tree::Tree(const Identity& root) : root_(std::make_shared<Place>()), sweep_at_(kFirstSweep) {
  root_->object = ObjectOf(root, Kind::kDirectory);
}

PlaceRef Tree::At(const PlaceRef& directory, const std::string& host_name, std::string_view name,
                  const Identity& identity, Kind kind) {
  const auto in_use = directory->entries.find(host_name);
  if (in_use != directory->entries.end()) {
    PlaceRef place = in_use->second.lock();
    if (place->object->identity == identity && place->object->kind == kind) return place;
    place->Detach();
  }
  auto place = std::make_shared<Place>();
  place->host_name = host_name;
  place->name = name;
  place->object = ObjectOf(identity, kind);
  directory->entries.emplace(host_name, place);
  place->directory = directory;
  return place;
}

PlaceRef Tree::Anew(const PlaceRef& directory, const std::string& host_name, std::string_view name,
                    const Identity& identity, Kind kind) {
  const auto gone = directory->entries.find(host_name);
  if (gone != directory->entries.end()) gone->second.lock()->Detach();
  objects_.erase(identity);
  return At(directory, host_name, name, identity, kind);
}

void Tree::Move(const PlaceRef& place, const PlaceRef& directory, const std::string& host_name,
                std::string_view name) {
  std::string new_host_name = host_name;
  std::string new_name(name);
  // Only something that the host has removed can still be known there.
  const auto gone = directory->entries.find(host_name);
  if (gone != directory->entries.end()) gone->second.lock()->Detach();
  directory->entries.emplace(host_name, place);
  // Nothing fails from here on.
  if (place->directory != directory || place->host_name != host_name) place->Detach();
  place->directory = directory;
  place->host_name.swap(new_host_name);
  place->name.swap(new_name);
  place->named = true;
}

std::shared_ptr<Object> Tree::ObjectOf(const Identity& identity, Kind kind) {
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

bool IsInside(const Place& place, const Place& ancestor) {
  for (const Place* at = &place; at != nullptr; at = at->directory.get()) {
    if (at == &ancestor) return true;
  }
  return false;
}

}  // namespace quorle::hostdir
