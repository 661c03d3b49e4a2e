#pragma once

#include <cstdint>
#include <ctime>

#include "platform/records.h"

namespace quorle {

/// Where time comes from.
class Clock {
 public:
  /// The current moment.
  virtual quorle::DateStamp Now() = 0;
  /// Waits `ticks` ticks of 1/50 second.
  virtual void Sleep(std::uint32_t ticks) = 0;

 protected:
  ~Clock() = default;
};

/// The host's clock. The platform keeps wall-clock time, so this is local time.
class SystemClock final : public Clock {
 public:
  quorle::DateStamp Now() override;
  void Sleep(std::uint32_t ticks) override;
};

/// A moment of the host (seconds since 1970, UTC) as the platform's local time. Moments before 1978
/// become the first one of 1978.
quorle::DateStamp ToDateStamp(const std::timespec& moment);

}  // namespace quorle
