#include "results/cell_names.h"

#include <algorithm>
#include <cstddef>

namespace quorle {

bool IsCellName(std::string_view name) {
  constexpr std::size_t kLongestName = 64;
  constexpr std::string_view kLetters =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_+-";
  return !name.empty() && name.size() <= kLongestName && name.front() != '-' &&
         name.find_first_not_of(kLetters) == std::string_view::npos;
}

std::string CellFileName(std::string_view id) {
  std::string name(id);
  std::replace(name.begin(), name.end(), '/', '.');
  return name + ".jsonl";
}

std::uint32_t ShardOf(std::string_view id, std::uint32_t shards) {
  return static_cast<std::uint32_t>(Fingerprint(id) % shards) + 1;
}

std::uint64_t Fingerprint(std::string_view text) {
  // FNV-1a: https://www.rfc-editor.org/rfc/rfc9923
  std::uint64_t hash = 0xCBF29CE484222325U;
  for (const char c : text) {
    hash ^= static_cast<unsigned char>(c);
    hash *= 0x100000001B3U;
  }
  return hash;
}

}  // namespace quorle
