#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "handlers/hostdir/host_error.h"

namespace quorle::hostdir {

/// Reads up to `bytes` bytes of the open file `fd` from `position` on; `count` is how many there
/// were.
HostError ReadAt(int fd, std::int64_t position, char* to, std::size_t bytes, std::size_t& count);

/// Writes all of `data` at `position`.
HostError WriteAt(int fd, std::int64_t position, std::string_view data);

/// The same, with the room that it takes asked for before anything is written over. When there is
/// none, what was added to the file goes again: it has `old_size` bytes then. Should that fail as
/// well, the file has grown, which the platform allows.
HostError WriteWhole(int fd, std::int64_t position, std::string_view data, std::int64_t old_size);

}  // namespace quorle::hostdir
