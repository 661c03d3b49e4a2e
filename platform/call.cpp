#include "platform/call.h"

#include <type_traits>

namespace quorle {

bool HasFailed(const Call& call) {
  return std::visit(
      [](const auto& place) {
        using Place = std::decay_t<decltype(place)>;
        if constexpr (std::is_same_v<Place, std::int32_t*> ||
                      std::is_same_v<Place, std::int64_t*>) {
          return *place < 0;
        } else if constexpr (std::is_same_v<Place, bool*> || std::is_same_v<Place, LockHandle*> ||
                             std::is_same_v<Place, FileHandle*> ||
                             std::is_same_v<Place, DirContextHandle*> ||
                             std::is_same_v<Place, NotifyHandle*> ||
                             std::is_same_v<Place, const ExamineData**>) {
          return !*place;
        } else {
          return false;
        }
      },
      call.result);
}

}  // namespace quorle
