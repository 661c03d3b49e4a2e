#pragma once

#include <cstdint>

#include "platform/records.h"

/// Dates as numbers.
namespace quorle {

/// How far the date of an object may be from the moment that it stands for, in ticks: a minute. Filesystems keep
/// dates to a tick, a second, or two.
inline constexpr std::int64_t kDateSlack = 3000;

/// Ticks since 1978.
constexpr std::int64_t TicksOf(const DateStamp& date) {
  constexpr std::int64_t kMinutes = 1440;
  constexpr std::int64_t kTicks = 3000;
  return (date.ds_Days * kMinutes + date.ds_Minute) * kTicks + date.ds_Tick;
}

/// Whether `date` is a moment between `before` and `after`, as far as filesystems keep one.
constexpr bool IsBetween(const DateStamp& date, const DateStamp& before, const DateStamp& after) {
  return TicksOf(date) > TicksOf(before) - kDateSlack &&
         TicksOf(date) < TicksOf(after) + kDateSlack;
}

}  // namespace quorle
