#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "results/check_texts/source_tokens.h"

namespace quorle {

/// A statement of a function, as far as it matters here.
struct SourceStatement {
  enum class Type : std::uint8_t {
    kExpression,  ///< or a declaration
    kReturn,      ///< `tokens`: what is returned
    kBreak,       ///< also continue
    kIf,          ///< `tokens`: the condition
    kLoop,        ///< `tokens`: what stands in its brackets
    kBlock,       ///< of a switch, too; `tokens`: what that looks at
    kReleases,    ///< an AtEnd: `body` runs when the function is left
  };
  Type type = Type::kExpression;
  SourceTokens tokens;
  std::vector<SourceStatement> body;
  std::vector<SourceStatement> otherwise;  ///< behind an else
};

struct SourceFunction {
  std::string name;
  std::vector<std::string> parameters;
  std::vector<SourceStatement> body;
};

/// What a source of tests/ or harness/ has.
struct SourceFile {
  std::map<std::string, SourceFunction> functions;
  std::map<std::string, std::string> texts;                    ///< constants that are texts: kLabel
  std::map<std::string, std::vector<std::string>> structures;  ///< with the names of their members
  /// Of a test group: the names of its checks, which are those of their functions, in their order.
  std::vector<std::string> checks;
  std::string runner;  ///< of a test group that has a function of its own to run its checks
};

SourceFile ReadSource(std::string_view source);

}  // namespace quorle
