#pragma once

#include <cstdint>

#include "hosted/calls/clock.h"

namespace quorle::explore {

/// The clock of a search: each call has a tick of its own, so that the same calls see the same dates, and
/// the date of a change says in which call it was made. Processes that this one forks see it go on.
class SearchClock final : public Clock {
 public:
  /// The day on which a search begins: far enough from the host's own that the two cannot be mixed up.
  static constexpr std::int32_t kFirstDay = 20000;
  static constexpr std::int64_t kTicksPerDay = 24 * 60 * 60 * 50;

  SearchClock();
  ~SearchClock();
  SearchClock(const SearchClock&) = delete;
  SearchClock& operator=(const SearchClock&) = delete;

  quorle::DateStamp Now() override { return ToDate(ticks()); }
  void Sleep(std::uint32_t ticks) override { Add(ticks); }

  /// The next call.
  void Step() { Add(1); }
  /// Ticks since 1978.
  std::int64_t ticks() const { return *ticks_; }

  static constexpr std::int64_t ToTicks(const quorle::DateStamp& date) {
    return (date.ds_Days * std::int64_t{24 * 60} + date.ds_Minute) * 3000 + date.ds_Tick;
  }
  static constexpr quorle::DateStamp ToDate(std::int64_t ticks) {
    return {static_cast<std::int32_t>(ticks / kTicksPerDay),
            static_cast<std::int32_t>(ticks / 3000 % (24 * 60)),
            static_cast<std::int32_t>(ticks % 3000)};
  }

 private:
  void Add(std::int64_t ticks) { *ticks_ += ticks; }

  /// In memory that is shared with what is forked. It is read during a call, for which the caller waits, so
  /// that nobody writes then.
  std::int64_t* ticks_;
};

}  // namespace quorle::explore
