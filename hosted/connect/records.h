#pragma once

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "hosted/calls/handler_services.h"
#include "quorle/handler.h"

/// The records of the platform as messages have them: maps, and those whose layout is known as the
/// bytes, too, that the platform has in memory, the highest byte first. Where the far end gives
/// both, the bytes count.
namespace quorle::connect {

/// As large as on the platform.
inline constexpr std::size_t kInfoBytes = 36;
inline constexpr std::size_t kBlockBytes = 260;

/// No text of a record is longer.
inline constexpr std::size_t kMostRecordText = 65'000;

nlohmann::json DateValue(const ::DateStamp& date);
::DateStamp DateFrom(const nlohmann::json& value, std::string_view name);

/// A record of `services` from `map`, which the far end gave. What is not in `map` stays as
/// AllocDosObject() makes it.
::ExamineData* RecordFrom(const nlohmann::json& map, HostServices& services);

/// Fills `info` with what `value`, which the far end gave, says.
void TakeInfo(const nlohmann::json& value, ::InfoData& info);

nlohmann::json BlockValue(const ::FileInfoBlock& block);
/// Fills `block` with what `value`, which the far end gave, says; the rest stays as it is.
void TakeBlock(const nlohmann::json& value, ::FileInfoBlock& block);

}  // namespace quorle::connect
