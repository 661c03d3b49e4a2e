#include "hosted/calls/clock.h"

#include <cerrno>

#include "platform/constants.h"

namespace quorle {
namespace {

constexpr std::int64_t kSecondsPerDay = 24 * 60 * 60;
constexpr std::int64_t kSecondsFrom1970To1978 = 2922 * kSecondsPerDay;
constexpr long kNanosecondsPerTick = 1'000'000'000L / TICKS_PER_SECOND;

}  // namespace

quorle::DateStamp ToDateStamp(const std::timespec& moment) {
  std::tm local{};
  std::int64_t offset = 0;
  if (localtime_r(&moment.tv_sec, &local) != nullptr) offset = local.tm_gmtoff;
  const std::int64_t seconds = moment.tv_sec + offset - kSecondsFrom1970To1978;
  if (seconds < 0) return {};
  const std::int64_t of_day = seconds % kSecondsPerDay;
  return {static_cast<std::int32_t>(seconds / kSecondsPerDay),
          static_cast<std::int32_t>(of_day / 60),
          static_cast<std::int32_t>(of_day % 60 * TICKS_PER_SECOND +
                                    moment.tv_nsec / kNanosecondsPerTick)};
}

quorle::DateStamp SystemClock::Now() {
  std::timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return ToDateStamp(now);
}

void SystemClock::Sleep(std::uint32_t ticks) {
  std::timespec left{};
  left.tv_sec = static_cast<std::time_t>(ticks / TICKS_PER_SECOND);
  left.tv_nsec = static_cast<long>(ticks % TICKS_PER_SECOND) * kNanosecondsPerTick;
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

}  // namespace quorle
