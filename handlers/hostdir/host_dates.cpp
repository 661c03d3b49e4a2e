#include "handlers/hostdir/host_dates.h"

#include <cstdint>

namespace quorle::hostdir {
namespace {

constexpr std::int64_t kSecondsPerDay = 24 * 60 * 60;
constexpr std::int64_t kSecondsFrom1970To1978 = 2922 * kSecondsPerDay;
constexpr std::int64_t kTicksPerSecond = 50;
constexpr long kNanosecondsPerTick = 1'000'000'000L / kTicksPerSecond;

/// Seconds that local time is ahead of UTC at a moment.
std::int64_t OffsetAt(std::time_t seconds) {
  std::tm local{};
  return ::localtime_r(&seconds, &local) != nullptr ? local.tm_gmtoff : 0;
}

}  // namespace

::DateStamp FromHostTime(const std::timespec& moment) {
  const std::int64_t seconds =
      std::int64_t{moment.tv_sec} + OffsetAt(moment.tv_sec) - kSecondsFrom1970To1978;
  if (seconds < 0) return {};
  const std::int64_t of_day = seconds % kSecondsPerDay;
  return {static_cast<std::int32_t>(seconds / kSecondsPerDay),
          static_cast<std::int32_t>(of_day / 60),
          static_cast<std::int32_t>(of_day % 60 * kTicksPerSecond +
                                    moment.tv_nsec / kNanosecondsPerTick)};
}

std::timespec ToHostTime(const ::DateStamp& date) {
  const std::int64_t local = kSecondsFrom1970To1978 + std::int64_t{date.ds_Days} * kSecondsPerDay +
                             std::int64_t{date.ds_Minute} * 60 + date.ds_Tick / kTicksPerSecond;
  // The offset is that of the moment looked for: twice, since it may change in between.
  const std::int64_t near = local - OffsetAt(static_cast<std::time_t>(local));
  std::timespec moment{};
  moment.tv_sec = static_cast<std::time_t>(local - OffsetAt(static_cast<std::time_t>(near)));
  const std::int64_t ticks = date.ds_Tick % kTicksPerSecond;
  moment.tv_nsec = ticks > 0 ? static_cast<long>(ticks) * kNanosecondsPerTick : 0;
  return moment;
}

}  // namespace quorle::hostdir
