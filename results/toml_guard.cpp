#include "results/toml_guard.h"

#include <algorithm>

namespace quorle {
namespace {

/// Points in a line. Tables in brackets are nested 256 deep at most, each with that many parts in its name.
constexpr std::size_t kMostPoints = 16;
constexpr unsigned char kLastOfAscii = 0x7F;
constexpr std::size_t kLongQuotes = 3;

/// Walks over what of TOML is in no text and no comment.
class TomlWalker {
 public:
  explicit TomlWalker(std::string_view text) : text_(text) {}

  std::optional<TomlProblem> Walk() {
    while (at_ < text_.size()) {
      const char c = text_[at_];
      if (c == '#') {
        at_ = std::min(text_.find('\n', at_), text_.size());
        continue;
      }
      if (c == '"' || c == '\'') {
        PassText(c);
        continue;
      }
      if (static_cast<unsigned char>(c) > kLastOfAscii) {
        return TomlProblem{line_, "a character beyond ASCII outside of texts and comments"};
      }
      if (c == '\n') BeginLine();
      if (c == '.' && ++points_ > kMostPoints) {
        return TomlProblem{line_, "a name of more parts than any key has"};
      }
      ++at_;
    }
    return std::nullopt;
  }

 private:
  void BeginLine() {
    ++line_;
    points_ = 0;
  }

  /// How many of `quote` follow each other here, at most `most`.
  std::size_t CountQuotes(char quote, std::size_t most) const {
    std::size_t count = 0;
    while (count < most && at_ + count < text_.size() && text_[at_ + count] == quote) ++count;
    return count;
  }

  /// Passes over the text between quotes, or three of them, that begins here. A short one that does not
  /// end is over with its line.
  void PassText(char quote) {
    const bool is_long = CountQuotes(quote, kLongQuotes) == kLongQuotes;
    const std::size_t quotes = is_long ? kLongQuotes : 1;
    for (at_ += quotes; at_ < text_.size(); ++at_) {
      const bool is_last = at_ + 1 == text_.size();
      if (text_[at_] == '\n') {
        if (!is_long) return;
        BeginLine();
      } else if (CountQuotes(quote, quotes) == quotes) {
        // Of a long text up to two quotes more are its own.
        at_ += is_long ? CountQuotes(quote, kLongQuotes + 2) : quotes;
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

std::optional<TomlProblem> FindUnparsable(std::string_view text) {
  return TomlWalker(text).Walk();
}

}  // namespace quorle
