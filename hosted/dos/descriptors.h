#pragma once

#include <cstddef>
#include <string_view>

namespace quorle {

/// Gives the descriptors 0 to 2 that are closed a file that stands for nothing. Call it before
/// anything is opened: what is opened next would take their places and get what is printed. Reading
/// descriptor 0 then gives the end, writing to descriptor 1 fails with EBADF as it does on a closed
/// one, what is written to descriptor 2 is dropped. Descriptors that are open stay as they are.
/// Returns 0, or the host's error number when there is no such file.
int OpenStandardDescriptors();

/// Writes `bytes` to `descriptor`, in as many pieces as it takes, and waits where a pipe or a
/// terminal that is non-blocking takes none at the moment. Returns how many were written; when they
/// are not all, `error` is the host's error number.
std::size_t WriteAll(int descriptor, std::string_view bytes, int& error);

}  // namespace quorle
