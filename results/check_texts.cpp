#include "results/check_texts.h"

namespace quorle {

bool FitsText(std::string_view pattern, std::string_view line) {
  // Where to go on when a character does not fit: the last kAnyText takes one more.
  std::size_t any = pattern.npos;
  std::size_t taken = 0;
  std::size_t p = 0;
  std::size_t at = 0;
  while (at < line.size()) {
    if (p < pattern.size() && pattern[p] == kAnyText) {
      any = p++;
      taken = at;
    } else if (p < pattern.size() && pattern[p] == line[at]) {
      ++p;
      ++at;
    } else if (any != pattern.npos) {
      p = any + 1;
      at = ++taken;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == kAnyText) ++p;
  return p == pattern.size();
}

}  // namespace quorle
