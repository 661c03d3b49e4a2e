#include "results/toml_text.h"

#include <optional>

#include "results/expectation_file.h"
#include "results/toml_guard.h"

namespace quorle {

bool ParseToml(const std::string& path, std::string_view text, toml::table& table,
               std::string& problem) {
  std::string_view content = text;
  if (content.starts_with(kByteOrderMark)) content.remove_prefix(kByteOrderMark.size());
  if (const std::optional<TomlProblem> found = FindUnparsable(content)) {
    problem = LineOf(path, found->line) + ": " + found->text;
    return false;
  }
  try {
    table = toml::parse(text, std::string_view(path));
    return true;
  } catch (const toml::parse_error& error) {
    problem = LineOf(path, error.source().begin.line) + ": " + OnOneLine(error.description());
    return false;
  }
}

}  // namespace quorle
