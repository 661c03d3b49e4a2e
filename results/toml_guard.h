#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace quorle {

/// What is wrong with a line of TOML.
struct TomlProblem {
  std::size_t line = 0;  ///< from 1
  std::string text;
};

/// Finds what the TOML parser must not be given: a name of very many parts (a.b.c ...), since it makes a
/// table of each and calls itself for each; a character beyond ASCII that is in no text and no comment,
/// since its search for blanks is undefined there. Neither can be in a file of expectations. All else
/// that is wrong it reports itself.
std::optional<TomlProblem> FindUnparsable(std::string_view text);

}  // namespace quorle
