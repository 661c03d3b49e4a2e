#include "calls/tags.h"

#include <algorithm>
#include <cstdint>

namespace quorle::calls {

std::size_t RoomBehind(const ::TagItem* tags, const ::TagItem& tag) {
  if (tag.ti_Data == 0) return 0;
  switch (tag.ti_Tag) {
    case QUORLE_FSA_MaxFileNameLengthR:
    case QUORLE_FSA_MaxFileNameLengthW:
    case QUORLE_FSA_VersionNumberR:
    case QUORLE_FSA_DOSTypeR:
    case QUORLE_FSA_ActivityFlushTimeoutR:
    case QUORLE_FSA_InactivityFlushTimeoutR:
    case QUORLE_FSA_MaxRecycledEntriesR:
    case QUORLE_FSA_HasRecycledEntriesR:
      return sizeof(std::uint32_t);
    case QUORLE_FSA_VersionStringR:
      for (; tags->ti_Tag != QUORLE_TAG_DONE; ++tags) {
        if (tags->ti_Tag != QUORLE_FSA_VersionStringR_BufSize) continue;
        return std::min(static_cast<std::size_t>(tags->ti_Data), kMostTagBytes);
      }
      return 0;
    default:
      return 0;
  }
}

}  // namespace quorle::calls
