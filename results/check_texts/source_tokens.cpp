#include "results/check_texts/source_tokens.h"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace quorle {
namespace {

bool IsWordPart(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

char Named(char c) {
  constexpr std::string_view kNames = "nrtfabv0";
  constexpr std::string_view kStandFor("\n\r\t\f\a\b\v\0", 8);
  const std::size_t at = kNames.find(c);
  return at == kNames.npos ? c : kStandFor[at];
}

/// What the source has at `at`, which is moved behind it.
class Lexer {
 public:
  explicit Lexer(std::string_view source) : source_(source) {}

  SourceTokens Read() {
    while (at_ < source_.size()) {
      if (!Skip()) ReadToken();
    }
    return std::move(tokens_);
  }

 private:
  using Type = SourceToken::Type;

  bool StartsWith(std::string_view text) const { return source_.substr(at_).starts_with(text); }

  /// Moves behind `end`, or to the end of the source.
  void MoveBehind(std::string_view end) {
    const std::size_t found = source_.find(end, at_);
    at_ = found == source_.npos ? source_.size() : found + end.size();
  }

  bool Skip() {
    if (std::isspace(static_cast<unsigned char>(source_[at_])) != 0) {
      ++at_;
    } else if (StartsWith("//") || StartsWith("#")) {
      MoveBehind("\n");
    } else if (StartsWith("/*")) {
      MoveBehind("*/");
    } else {
      return false;
    }
    return true;
  }

  void ReadToken() {
    const char c = source_[at_];
    if (c == '"' || c == '\'') {
      ReadLiteral(c);
    } else if (IsWordPart(c)) {
      const std::size_t begin = at_;
      while (at_ < source_.size() && (IsWordPart(source_[at_]) || source_[at_] == '\'')) ++at_;
      const bool number = std::isdigit(static_cast<unsigned char>(c)) != 0;
      tokens_.push_back(
          {number ? Type::kNumber : Type::kWord, std::string(source_.substr(begin, at_ - begin))});
    } else {
      tokens_.push_back({Type::kMark, std::string(1, c)});
      ++at_;
    }
  }

  void ReadLiteral(char quote) {
    std::string text;
    for (++at_; at_ < source_.size() && source_[at_] != quote; ++at_) {
      text += source_[at_] == '\\' ? ReadEscape() : source_[at_];
    }
    ++at_;
    if (quote == '\'') {
      tokens_.push_back({Type::kNumber, text});
    } else if (!tokens_.empty() && tokens_.back().type == Type::kText) {
      tokens_.back().text += text;
    } else {
      tokens_.push_back({Type::kText, text});
    }
  }

  /// Leaves `at_` at the last character of the escape.
  char ReadEscape() {
    ++at_;
    if (at_ == source_.size()) return '\\';
    const bool octal = source_[at_] == '0';
    if (source_[at_] != 'x' && !octal) return Named(source_[at_]);
    std::size_t end = octal ? at_ : at_ + 1;
    const std::size_t begin = end;
    while (end < source_.size() && std::isxdigit(static_cast<unsigned char>(source_[end])) != 0)
      ++end;
    unsigned value = 0;
    std::from_chars(source_.data() + begin, source_.data() + end, value, octal ? 8 : 16);
    at_ = end - 1;
    return static_cast<char>(value);
  }

  std::string_view source_;
  std::size_t at_ = 0;
  SourceTokens tokens_;
};

}  // namespace

SourceTokens TokensOf(std::string_view source) {
  return Lexer(source).Read();
}

std::size_t ClosingBracket(const SourceTokens& tokens, std::size_t open) {
  constexpr std::string_view kOpen = "([{";
  constexpr std::string_view kClose = ")]}";
  int depth = 0;
  for (std::size_t i = open; i < tokens.size(); ++i) {
    if (tokens[i].type != SourceToken::Type::kMark) continue;
    if (kOpen.find(tokens[i].text) != kOpen.npos) ++depth;
    if (kClose.find(tokens[i].text) != kClose.npos && --depth == 0) return i;
  }
  return tokens.size();
}

SourceTokens Part(const SourceTokens& tokens, std::size_t begin, std::size_t end) {
  const auto at = [&](std::size_t i) {
    return tokens.begin() + static_cast<std::ptrdiff_t>(std::min(i, tokens.size()));
  };
  return begin < end ? SourceTokens(at(begin), at(end)) : SourceTokens();
}

}  // namespace quorle
