#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quorle {

/// Replaces the file `path` by `text`, whole or not at all: it is written beside it under another name,
/// which is then renamed. A link is followed, permissions stay, and what is no plain file (a pipe, a
/// terminal) is written in place. False, with `problem` one line that names the file, when that fails;
/// nothing is left beside it.
bool WriteWholeFile(const std::string& path, std::string_view text, std::string& problem);

/// Reads the file `path`, "-" being standard input, into `text`. False, with `problem` one line that names the
/// file, when it cannot be read or has more than `most` bytes.
bool ReadWholeFile(const std::string& path, std::size_t most, std::string& text,
                   std::string& problem);

}  // namespace quorle
