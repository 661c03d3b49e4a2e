#include "program/names_line.h"

#include <algorithm>
#include <cstddef>

#include "explore/value_text.h"

namespace quorle {

std::string NamesLine(const std::vector<std::string>& paths) {
  constexpr std::size_t kMostNames = 20;
  std::string names;
  for (std::size_t i = 0; i != std::min(paths.size(), kMostNames); ++i) {
    names += (i == 0 ? "" : ", ") + explore::Quoted(paths[i]);
  }
  if (paths.size() > kMostNames) {
    names += " and " + std::to_string(paths.size() - kMostNames) + " more";
  }
  return names;
}

}  // namespace quorle
