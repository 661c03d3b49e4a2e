#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <utility>

#include "platform/handles.h"

namespace quorle {

/// The numbers of handles: small, counted up, used once in a run whatever the kind. A handle that
/// was given back, or one of another kind, is therefore never taken for a live one.
class HandleNumbers {
 public:
  std::uintptr_t Next() { return ++last_; }

 private:
  std::uintptr_t last_ = 0;
};

/// The things behind the handles of one kind. A handle is only ever looked up, never dereferenced.
template <class Kind, class Thing>
class HandleTable {
 public:
  /// `numbers` must outlive this.
  explicit HandleTable(HandleNumbers& numbers) : numbers_(numbers) {}

  Handle<Kind> Add(Thing thing) {
    const Handle<Kind> handle{numbers_.Next()};
    things_.emplace(handle.value, std::move(thing));
    return handle;
  }
  /// Null when `handle` is none or stands for nothing. Valid until the next Add() or Remove().
  Thing* Find(Handle<Kind> handle) {
    const auto found = things_.find(handle.value);
    return found == things_.end() ? nullptr : &found->second;
  }
  void Remove(Handle<Kind> handle) { things_.erase(handle.value); }
  std::size_t size() const { return things_.size(); }
  /// Calls `each` with every handle and its thing, oldest first, and forgets those of which it returns
  /// true. It may change the things.
  template <class Each>
  void RemoveIf(Each each) {
    for (auto entry = things_.begin(); entry != things_.end();) {
      const bool goes = each(Handle<Kind>{entry->first}, entry->second);
      entry = goes ? things_.erase(entry) : std::next(entry);
    }
  }
  /// Calls `each` with every thing, oldest first.
  template <class Each>
  void ForEach(Each each) {
    for (auto& entry : things_) each(entry.second);
  }
  /// Calls `each` with every thing, oldest first, and forgets them all.
  template <class Each>
  void RemoveAll(Each each) {
    for (auto& entry : things_) each(entry.second);
    things_.clear();
  }

 private:
  HandleNumbers& numbers_;
  std::map<std::uintptr_t, Thing> things_;
};

}  // namespace quorle
