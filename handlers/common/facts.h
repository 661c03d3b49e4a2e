#pragma once

#include <cstdint>
#include <string>

#include "quorle/handler.h"

namespace quorle::common {

/// What is to be told of an object.
struct Facts {
  std::uint32_t type = 0;        ///< FSO_TYPE_..., with FSOF_LINK where it is due
  std::int64_t size = -1;        ///< bytes; -1 for what is no file
  std::uint32_t references = 1;  ///< names that it has
  std::uint64_t id = 0;
  ::DateStamp date{};
  std::uint32_t protection = 0;
  std::uint32_t owner = 0;
  std::uint32_t group = 0;
  std::string comment;
  std::string link;  ///< what a scan tells of a link; empty for anything else
};

/// How much room a volume has.
struct Room {
  std::uint64_t blocks = 0;
  std::uint64_t blocks_used = 0;
  std::uint64_t block_size = 0;  ///< bytes
};

}  // namespace quorle::common
