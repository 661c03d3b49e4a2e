#include "handlers/ram/ram_handler.h"

/// The filesystem in memory as anybody else's.
const struct Handler* QuorleHandler(uint32_t version) {
  return version >= QUORLE_HANDLER_VERSION ? QuorleRamHandler() : nullptr;
}
