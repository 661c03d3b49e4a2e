#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What docs/tests.md says of the checks. The document is a part of the program. Every text is Markdown
/// with code in backticks; its paragraphs, each in one line, are parted by an empty line.
namespace quorle {

/// A section of the document.
struct ExplainedGroup {
  struct Check {
    std::string id;    ///< "Lock.MissingObject"
    std::string what;  ///< what is done and expected
  };

  std::string id;        ///< "Lock"
  std::string title;     ///< "FSLock() / ACTION_LOCATE_OBJECT"
  std::int32_t row = 0;  ///< its number, from 1
  std::string what;      ///< what is called
  std::vector<Check>
      checks;       ///< none: a row that only prints a note, which has the texts above alone
  std::string why;  ///< why it matters
  std::string diagnostics;  ///< what its messages mean
  std::string mistakes;     ///< where authors go wrong
};

/// All of them, in the order of the catalogues.
const std::vector<ExplainedGroup>& ExplainedGroups();

/// What is to be said of one check or of one group.
struct Explanation {
  std::string title;  ///< of the group
  std::string
      what;  ///< what is called and expected; of a group, all of its checks with their names
  std::string why;
  std::string diagnostics;
  std::string mistakes;
};

/// What the check `id` does and expects, in one line without Markdown; empty for another id.
std::string RuleOf(std::string_view id);

/// The explanation of `id`: "Lock.MissingObject", or "Lock" for the whole group.
std::optional<Explanation> Explain(std::string_view id);

/// The same as one Markdown text, as reports show it; empty when there is none.
std::string ExplainInMarkdown(const std::string& id);

}  // namespace quorle
