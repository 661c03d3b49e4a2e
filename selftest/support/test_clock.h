#pragma once

#include <cstdint>

#include "hosted/calls/clock.h"
#include "platform/constants.h"
#include "platform/records.h"

namespace quorle::selftest {

/// A clock that moves one tick each time it is read, so that a run is the same on every day. It
/// starts at noon of day 16000 and waits for nothing.
class TestClock final : public Clock {
 public:
  quorle::DateStamp Now() override {
    ++ticks_;
    return {16000, kNoon + ticks_ / kTicksPerMinute, ticks_ % kTicksPerMinute};
  }
  void Sleep(std::uint32_t ticks) override { slept_ += ticks; }

  /// Ticks that were waited for so far.
  std::uint32_t slept() const { return slept_; }

 private:
  static constexpr std::int32_t kNoon = 12 * 60;
  static constexpr std::int32_t kTicksPerMinute = 60 * TICKS_PER_SECOND;

  std::int32_t ticks_ = 0;
  std::uint32_t slept_ = 0;
};

}  // namespace quorle::selftest
