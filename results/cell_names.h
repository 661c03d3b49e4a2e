#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quorle {

/// Whether `name` can be a part of the id of a cell, and of the name of its file, whose parts are divided by
/// points: up to 64 letters, digits, _, + and -, which is not the first.
bool IsCellName(std::string_view name);

/// The name of the file of the cell `id`: "ram.plain.standard.jsonl".
std::string CellFileName(std::string_view id);

/// Which of `shards` parts the cell `id` belongs to, from 1: the same on every machine, for the same id and
/// number of parts.
std::uint32_t ShardOf(std::string_view id, std::uint32_t shards);

/// 64 bits that another text hardly has.
std::uint64_t Fingerprint(std::string_view text);

}  // namespace quorle
