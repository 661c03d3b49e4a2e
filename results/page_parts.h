#pragma once

#include <string_view>

/// What every HTML page has in it: the files of results/page/, which CMake puts into the program.
namespace quorle {

std::string_view PageStyle();
std::string_view PageScript();

}  // namespace quorle
