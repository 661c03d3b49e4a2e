#include "selftest/plugins/rogue_handler.h"

const struct Handler* QuorleHandler(uint32_t version) {
  return version >= QUORLE_HANDLER_VERSION ? QuorleRogueHandler() : nullptr;
}
