#pragma once

#include <cstdint>

#include "explore/choices.h"

namespace quorle::explore {

/// What a number is for: each has a table of the values that are drawn, the plainest first.
enum class NumberKind : std::uint8_t {
  kBytesToRead,
  kBytesToWrite,
  kLinkBuffer,    ///< bytes for the target of a soft link
  kFilesToMake,   ///< files that MakeFiles() makes
  kTicks,         ///< how long LockRecord() waits
  kOffset,        ///< a position or size, from where an OFFSET_... says
  kRecordStart,   ///< where a range to lock begins
  kRecordLength,  ///< its bytes
  kOpenMode,
  kLockMode,
  kOffsetMode,
  kRecordMode,
  kNotifyFlags,
  kMask,  ///< protection
  kId,    ///< an owner or group
  kKey,   ///< a key of write protection
  kTag,
  kTruth,
  kDay,
  kMinute,
  kTick,
  kPattern,
};

/// The number of that kind which `choice` stands for.
std::int64_t DrawNumber(NumberKind kind, Choice choice);

}  // namespace quorle::explore
