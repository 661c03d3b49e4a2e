#include "handlers/ram/directory.h"

#include <algorithm>

#include "handlers/ram/names.h"
#include "handlers/ram/volume.h"

namespace quorle::ram {
namespace {

constexpr std::size_t kFirstSlots = 16;

}  // namespace

Entry* Directory::Find(std::string_view name) const {
  if (count_ == 0) return nullptr;
  const std::uint32_t hash = HashName(name);
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t at = hash & mask; slots_[at].entry != nullptr; at = (at + 1) & mask) {
    if (slots_[at].hash == hash && SameName(slots_[at].entry->name, name)) return slots_[at].entry;
  }
  return nullptr;
}

void Directory::Reserve() {
  if ((count_ + 1) * 2 > slots_.size()) Grow();
  if (turns_.size() == turns_.capacity()) turns_.reserve(std::max(kFirstSlots, turns_.size() * 2));
}

void Directory::Add(Entry& entry) {
  entry.hash = HashName(entry.name);
  const auto turn = static_cast<std::uint32_t>(turns_.size());
  turns_.push_back({++last_serial_, &entry});
  Insert(slots_, {&entry, entry.hash, turn});
  ++count_;
}

void Directory::Remove(Entry& entry) {
  const std::size_t mask = slots_.size() - 1;
  Slot& slot = SlotOf(entry);
  turns_[slot.turn].entry = nullptr;
  // Entries behind the hole that a search would no longer reach move into it.
  auto hole = static_cast<std::size_t>(&slot - slots_.data());
  for (std::size_t at = (hole + 1) & mask; slots_[at].entry != nullptr; at = (at + 1) & mask) {
    const std::size_t home = slots_[at].hash & mask;
    if (((at - home) & mask) < ((at - hole) & mask)) continue;
    slots_[hole] = slots_[at];
    hole = at;
  }
  slots_[hole] = {};
  --count_;
  while (first_turn_ < turns_.size() && turns_[first_turn_].entry == nullptr) ++first_turn_;
  if (turns_.size() > count_ * 2 + kFirstSlots) Compact();
}

Entry* Directory::Next(std::uint64_t& serial) const {
  auto turn = std::upper_bound(
      turns_.begin() + static_cast<std::ptrdiff_t>(first_turn_), turns_.end(), serial,
      [](std::uint64_t after, const Turn& candidate) { return after < candidate.serial; });
  while (turn != turns_.end() && turn->entry == nullptr) ++turn;
  if (turn == turns_.end()) return nullptr;
  serial = turn->serial;
  return turn->entry;
}

Directory::Slot& Directory::SlotOf(const Entry& entry) {
  const std::size_t mask = slots_.size() - 1;
  std::size_t at = entry.hash & mask;
  while (slots_[at].entry != &entry) at = (at + 1) & mask;
  return slots_[at];
}

void Directory::Insert(std::vector<Slot>& slots, const Slot& slot) {
  const std::size_t mask = slots.size() - 1;
  std::size_t at = slot.hash & mask;
  while (slots[at].entry != nullptr) at = (at + 1) & mask;
  slots[at] = slot;
}

void Directory::Grow() {
  std::vector<Slot> larger(std::max(kFirstSlots, slots_.size() * 2));
  for (const Slot& slot : slots_) {
    if (slot.entry != nullptr) Insert(larger, slot);
  }
  slots_.swap(larger);
}

/// Drops the turns of entries that are gone: when they are the greater part, so that a removal costs
/// the same however many there are.
void Directory::Compact() {
  std::erase_if(turns_, [](const Turn& turn) { return turn.entry == nullptr; });
  first_turn_ = 0;
  for (std::size_t i = 0; i < turns_.size(); ++i) {
    SlotOf(*turns_[i].entry).turn = static_cast<std::uint32_t>(i);
  }
}

}  // namespace quorle::ram
