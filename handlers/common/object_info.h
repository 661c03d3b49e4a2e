#pragma once

#include <cstdint>
#include <string>

#include "quorle/handler.h"

namespace quorle::common {

enum class ObjectKind : std::uint8_t { kFile, kDirectory, kSoftLink };

/// What an examination of an object reports.
struct ObjectInfo {
  std::uint32_t type = 0;        ///< FSO_TYPE_..., with FSOF_LINK where it is due
  std::int64_t size = -1;        ///< bytes; -1 for what is no file
  std::uint32_t references = 1;  ///< names that it has
  std::uint64_t id = 0;
  ::DateStamp date{};
  std::uint32_t protection = 0;
  std::uint32_t owner = 0;
  std::uint32_t group = 0;
  std::string comment;
  std::string link;  ///< what a scan shows as the target of a link; empty for anything else
};

/// How much space a volume has.
struct VolumeSpace {
  std::uint64_t blocks = 0;
  std::uint64_t blocks_used = 0;
  std::uint64_t block_size = 0;  ///< bytes
};

}  // namespace quorle::common
