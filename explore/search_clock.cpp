#include "explore/search_clock.h"

#include <sys/mman.h>

#include <new>

namespace quorle::explore {

SearchClock::SearchClock() {
  void* const memory =
      mmap(nullptr, sizeof *ticks_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::bad_alloc();
  ticks_ = new (memory) std::int64_t(kFirstDay * kTicksPerDay);
}

SearchClock::~SearchClock() {
  munmap(ticks_, sizeof *ticks_);
}

}  // namespace quorle::explore
