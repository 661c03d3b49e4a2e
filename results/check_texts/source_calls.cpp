#include "results/check_texts/source_calls.h"

#include <algorithm>

namespace quorle {

std::vector<SourceTokens> ArgumentsIn(const SourceTokens& tokens) {
  std::vector<SourceTokens> arguments;
  std::size_t begin = 0;
  for (std::size_t i = 0; i <= tokens.size(); ++i) {
    if (i == tokens.size() || tokens[i].Is(",")) {
      if (i > begin) arguments.push_back(Part(tokens, begin, i));
      begin = i + 1;
    } else if (tokens[i].Is("(") || tokens[i].Is("{") || tokens[i].Is("[")) {
      i = ClosingBracket(tokens, i);
    }
  }
  return arguments;
}

std::vector<SourceCall> CallsIn(const SourceTokens& tokens) {
  std::vector<SourceCall> calls;
  for (std::size_t i = 0; i + 1 < tokens.size(); ++i) {
    if (tokens[i].type != SourceToken::Type::kWord || !tokens[i + 1].Is("(")) continue;
    calls.push_back({.name = tokens[i].text,
                     .method = i > 0 && (tokens[i - 1].Is(".") || tokens[i - 1].Is(">")),
                     .arguments = ArgumentsIn(Part(tokens, i + 2, ClosingBracket(tokens, i + 1)))});
  }
  return calls;
}

bool HasWord(const SourceTokens& tokens, std::string_view word) {
  return std::any_of(tokens.begin(), tokens.end(),
                     [&](const SourceToken& token) { return token.Is(word); });
}

std::string PathOf(const SourceTokens& tokens) {
  std::string path;
  for (std::size_t i = 0; i < tokens.size(); ++i) {
    const bool arrow = i + 1 < tokens.size() && tokens[i].Is("-") && tokens[i + 1].Is(">");
    if (tokens[i].type == SourceToken::Type::kWord) {
      if (!path.empty() && !path.ends_with('.')) return {};
      path += tokens[i].text;
    } else if (!path.empty() && (arrow || tokens[i].Is("."))) {
      path += '.';
      if (arrow) ++i;
    } else {
      return {};
    }
  }
  return path;
}

std::size_t AssignmentIn(const SourceTokens& tokens) {
  constexpr std::string_view kComparisons = "=!<>";
  for (std::size_t i = 1; i + 1 < tokens.size(); ++i) {
    if (tokens[i].Is("=") && !tokens[i + 1].Is("=") &&
        kComparisons.find(tokens[i - 1].text) == kComparisons.npos) {
      return i;
    }
  }
  return tokens.size();
}

std::string PathBefore(const SourceTokens& tokens, std::size_t end) {
  std::string path;
  for (std::size_t begin = std::min(end, tokens.size()); begin-- > 0;) {
    const std::string longer = PathOf(Part(tokens, begin, end));
    if (!longer.empty()) path = longer;
  }
  return path;
}

std::vector<std::string> ChangedIn(const SourceTokens& tokens) {
  constexpr std::string_view kOperators = "+-*/%&|^";
  std::vector<std::string> changed;
  for (std::size_t i = 0; i + 1 < tokens.size(); ++i) {
    const bool is_operator =
        kOperators.find(tokens[i].text) != kOperators.npos && !tokens[i].text.empty();
    if (is_operator && tokens[i + 1].Is("=")) changed.push_back(PathBefore(tokens, i));
    const bool twice = (tokens[i].Is("+") || tokens[i].Is("-")) && tokens[i + 1].Is(tokens[i].text);
    if (!twice) continue;
    changed.push_back(PathBefore(tokens, i));
    for (std::size_t end = i + 3; end <= tokens.size(); ++end) {
      changed.push_back(PathOf(Part(tokens, i + 2, end)));
    }
  }
  if (const std::size_t at = AssignmentIn(tokens); at < tokens.size()) {
    changed.push_back(PathBefore(tokens, at));
  }
  return changed;
}

}  // namespace quorle
