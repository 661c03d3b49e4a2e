#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace quorle::ram {

struct Entry;

/// The entries of one directory. Finding, adding and removing one costs the same however many there
/// are: a table addressed by the hash of the name, whose slots hold hash and entry side by side, so
/// that a search touches one slot and the entry that is found. It owns nothing.
class Directory {
 public:
  bool empty() const { return count_ == 0; }
  std::size_t count() const { return count_; }

  /// The entry called `name`, case ignored, or null.
  Entry* Find(std::string_view name) const;
  /// Makes room for one more entry, so that Add() cannot fail. Throws std::bad_alloc.
  void Reserve();
  /// Adds an entry that is not in any directory, whose name nothing here has.
  void Add(Entry& entry);
  void Remove(Entry& entry);
  /// The first entry that was added after the one with the serial number `serial` (0: the first of
  /// all), or null; `serial` becomes its own. Entries may come and go between calls: none is shown
  /// twice, none is missed.
  Entry* Next(std::uint64_t& serial) const;

 private:
  struct Slot {
    Entry* entry = nullptr;
    std::uint32_t hash = 0;
    std::uint32_t turn = 0;  ///< its index in turns_
  };
  struct Turn {
    std::uint64_t serial;
    Entry* entry;  ///< null: removed since
  };

  void Grow();
  static void Insert(std::vector<Slot>& slots, const Slot& slot);
  Slot& SlotOf(const Entry& entry);
  void Compact();

  std::vector<Slot> slots_;     ///< as many as a power of two, at most half of them used
  std::vector<Turn> turns_;     ///< in the order of adding, for scans
  std::size_t first_turn_ = 0;  ///< before it are only turns of entries that are gone
  std::size_t count_ = 0;
  std::uint64_t last_serial_ = 0;
};

}  // namespace quorle::ram
