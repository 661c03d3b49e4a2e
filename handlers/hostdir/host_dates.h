#pragma once

#include <ctime>

#include "quorle/handler.h"

namespace quorle::hostdir {

/// A moment of the host (UTC since 1970) as the platform's local time. Moments before 1978 become
/// the first one of 1978.
::DateStamp FromHostTime(const std::timespec& moment);

/// The moment of the host that comes closest to `date`.
std::timespec ToHostTime(const ::DateStamp& date);

/// Whether two dates are the same.
constexpr bool SameDate(const ::DateStamp& a, const ::DateStamp& b) {
  return a.ds_Days == b.ds_Days && a.ds_Minute == b.ds_Minute && a.ds_Tick == b.ds_Tick;
}

}  // namespace quorle::hostdir
