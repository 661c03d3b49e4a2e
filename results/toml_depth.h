#pragma once

#include <cstddef>
#include <string_view>

namespace quorle {

/// The first line of the TOML `text` with a name of very many parts (a.b.c ...), from 1; 0 when there is
/// none. The TOML parser makes a table of each part and calls itself for each: such a file must not be
/// given to it.
std::size_t FirstDeepLine(std::string_view text);

}  // namespace quorle
