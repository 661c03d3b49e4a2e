#include "handlers/ram/watches.h"

#include <cstddef>
#include <utility>

#include "handlers/ram/names.h"
#include "handlers/ram/volume.h"

namespace quorle::ram {
namespace {

/// The components of what is behind the colon.
std::vector<std::string> ComponentsOf(std::string_view path) {
  if (const std::size_t colon = path.find(':'); colon != std::string_view::npos) {
    path.remove_prefix(colon + 1);
  }
  std::vector<std::string> components;
  while (!path.empty()) {
    const std::size_t end = path.find('/');
    const std::string_view component = path.substr(0, end);
    path.remove_prefix(end == std::string_view::npos ? path.size() : end + 1);
    if (!component.empty()) {
      components.emplace_back(component);
    } else if (!components.empty()) {
      components.pop_back();
    }
  }
  return components;
}

}  // namespace

bool Watches::Target::Is(const Node& in, std::string_view called) const {
  return directory == &in && SameName(name, called);
}

void Watches::Add(const ::NotifyRequest& request, std::function<void()> notify) {
  watches_.push_back({&request, std::move(notify), ComponentsOf(request.nr_FullName)});
  const Watch& added = watches_.back();
  const bool at_once = (request.nr_Flags & NRF_NOTIFY_INITIAL) != 0;
  if (at_once && Find(added).object != nullptr) added.notify();
}

bool Watches::Remove(const ::NotifyRequest* request) {
  return std::erase_if(watches_,
                       [request](const Watch& watch) { return watch.request == request; }) != 0;
}

Watches::Target Watches::Find(const Watch& watch) const {
  Target target{nullptr, {}, &root_};
  for (const std::string& component : watch.components) {
    if (target.object == nullptr || !target.object->IsDirectory()) return {};
    target.directory = target.object;
    target.name = component;
    const Entry* const entry = target.directory->entries.Find(component);
    target.object = entry == nullptr ? nullptr : entry->node;
  }
  return target;
}

template <class Concerns>
void Watches::NotifyWhere(const Concerns& concerns) const {
  for (const Watch& watch : watches_) {
    if (concerns(Find(watch))) watch.notify();
  }
}

void Watches::NotifyEntry(const Node& directory, std::string_view name) const {
  NotifyWhere([&](const Target& target) {
    return target.object == &directory || target.Is(directory, name);
  });
}

void Watches::NotifyRename(const Node& from, std::string_view old_name, const Node& to,
                           std::string_view new_name) const {
  NotifyWhere([&](const Target& target) {
    return target.object == &from || target.object == &to || target.Is(from, old_name) ||
           target.Is(to, new_name);
  });
}

void Watches::NotifyWritten(const Node& file, const Node& directory) const {
  NotifyWhere(
      [&](const Target& target) { return target.object == &file || target.object == &directory; });
}

void Watches::NotifyAttributes(const Node& object) const {
  NotifyWhere([&](const Target& target) { return target.object == &object; });
}

std::vector<std::function<void()>> Watches::AllThatExist() const {
  std::vector<std::function<void()>> all;
  for (const Watch& watch : watches_) {
    if (Find(watch).object != nullptr) all.push_back(watch.notify);
  }
  return all;
}

}  // namespace quorle::ram
