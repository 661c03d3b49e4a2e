#pragma once

#include <cstddef>

#include "quorle/handler.h"

namespace quorle::calls {

/// The largest buffer that a tag leads to, in bytes; more of it is not carried.
inline constexpr std::size_t kMostTagBytes = std::size_t{64} << 10;

/// How many bytes the data of `tag`, which is one of `tags` of FSFileSystemAttr(), lead to; 0 when
/// they are a number.
std::size_t RoomBehind(const ::TagItem* tags, const ::TagItem& tag);

}  // namespace quorle::calls
