#pragma once

#include <toml++/toml.h>

#include <string>
#include <string_view>

namespace quorle {

/// Parses `text`, the content of the file `path`, into `table`. False, with `problem` one line that names
/// file and line, when it is no TOML or has what the parser must not be given (toml_guard.h).
bool ParseToml(const std::string& path, std::string_view text, toml::table& table,
               std::string& problem);

}  // namespace quorle
