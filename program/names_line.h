#pragma once

#include <string>
#include <vector>

namespace quorle {

/// The names of objects in one line, as files of calls have them; of many the first ones. Empty: there are none.
std::string NamesLine(const std::vector<std::string>& paths);

}  // namespace quorle
