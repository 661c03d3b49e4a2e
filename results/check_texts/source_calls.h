#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "results/check_texts/source_tokens.h"

namespace quorle {

/// A call: its name and the tokens of each argument.
struct SourceCall {
  std::string name;
  bool method = false;  ///< of an interface of the platform
  std::vector<SourceTokens> arguments;
};

/// The calls of an expression, in the order in which they are written.
std::vector<SourceCall> CallsIn(const SourceTokens& tokens);

/// What stands between the commas of `tokens`.
std::vector<SourceTokens> ArgumentsIn(const SourceTokens& tokens);

bool HasWord(const SourceTokens& tokens, std::string_view word);

/// "record.label" of `record->label` and "name" of `name`; empty for any other expression.
std::string PathOf(const SourceTokens& tokens);

/// The index of the "=" of an assignment or a declaration; the number of tokens when there is none.
std::size_t AssignmentIn(const SourceTokens& tokens);

/// The path that ends before `end`, without the type that a declaration has in front of it; empty when
/// there is none.
std::string PathBefore(const SourceTokens& tokens, std::size_t end);

/// What an expression gives another value: by =, += and the like, ++ and --.
std::vector<std::string> ChangedIn(const SourceTokens& tokens);

}  // namespace quorle
