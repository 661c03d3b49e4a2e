#include "results/toml_depth.h"

#include <algorithm>
#include <string>

namespace quorle {
namespace {

/// Points in a line outside of texts. Tables in brackets are nested 256 deep at most, each with that many
/// parts in its name.
constexpr std::size_t kMostPoints = 16;

/// Walks over TOML and counts the points of each line that are in no text and no comment.
class PointCounter {
 public:
  explicit PointCounter(std::string_view text) : text_(text) {}

  std::size_t FirstDeepLine() {
    while (at_ < text_.size()) {
      const char c = text_[at_];
      if (c == '#') {
        at_ = std::min(text_.find('\n', at_), text_.size());
      } else if (c == '"' || c == '\'') {
        PassText(c);
      } else {
        if (c == '\n') BeginLine();
        if (c == '.' && ++points_ > kMostPoints) return line_;
        ++at_;
      }
    }
    return 0;
  }

 private:
  void BeginLine() {
    ++line_;
    points_ = 0;
  }

  /// Passes over the text between quotes, or three of them, that begins here.
  void PassText(char quote) {
    const std::string three(3, quote);
    const bool is_long = text_.substr(at_).starts_with(three);
    const std::string_view end = is_long ? std::string_view(three) : text_.substr(at_, 1);
    for (at_ += end.size(); at_ < text_.size(); ++at_) {
      const bool is_last = at_ + 1 == text_.size();
      if (text_[at_] == '\n') {
        if (!is_long) return;
        BeginLine();
      } else if (text_.substr(at_).starts_with(end)) {
        at_ += end.size();
        return;
      } else if (quote == '"' && text_[at_] == '\\' && !is_last && text_[at_ + 1] != '\n') {
        ++at_;
      }
    }
  }

  std::string_view text_;
  std::size_t at_ = 0;
  std::size_t line_ = 1;
  std::size_t points_ = 0;
};

}  // namespace

std::size_t FirstDeepLine(std::string_view text) {
  return PointCounter(text).FirstDeepLine();
}

}  // namespace quorle
