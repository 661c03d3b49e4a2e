#pragma once

#include <string_view>

namespace quorle {

/// docs/tests.md as it was when the program was built.
std::string_view TestsDocument();

}  // namespace quorle
