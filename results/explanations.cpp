#include "results/explanations.h"

#include <charconv>
#include <utility>

#include "results/tests_document.h"

namespace quorle {
namespace {

constexpr std::string_view kHeading = "## ";
constexpr std::string_view kFurther = "Further ";
constexpr std::string_view kAnchor = "<a id=\"";
constexpr std::string_view kAnchorEnd = "\"></a>";
constexpr std::string_view kNameEnd = "`: ";

/// Takes what is before `end` off the front of `text`, and `end` too; all of it when there is none.
std::string_view Take(std::string_view& text, std::string_view end) {
  const std::size_t at = text.find(end);
  const std::string_view taken = text.substr(0, at);
  text.remove_prefix(at == text.npos ? text.size() : at + end.size());
  return taken;
}

/// `text` behind `start`, if it begins with that.
std::optional<std::string_view> Behind(std::string_view text, std::string_view start) {
  if (!text.starts_with(start)) return std::nullopt;
  return text.substr(start.size());
}

/// The lines of a paragraph, joined.
std::string Joined(std::string_view lines) {
  std::string text;
  while (!lines.empty()) {
    std::string_view line = Take(lines, "\n");
    while (line.starts_with(' ')) line.remove_prefix(1);
    if (line.empty()) continue;
    if (!text.empty()) text += ' ';
    text += line;
  }
  return text;
}

void AddParagraph(std::string& text, std::string_view paragraph) {
  if (!text.empty()) text += "\n\n";
  text += paragraph;
}

/// `1. <a id="Lock.MissingObject"></a>`MissingObject`: ...`, one behind the other.
void ReadChecks(std::string_view list, ExplainedGroup& group) {
  Take(list, kAnchor);
  while (!list.empty()) {
    std::string_view item = Take(list, kAnchor);
    // The number of the next one stands before its anchor.
    if (!list.empty()) item = item.substr(0, item.rfind('\n'));
    ExplainedGroup::Check check;
    check.id = Take(item, kAnchorEnd);
    Take(item, kNameEnd);
    check.what = Joined(item);
    group.checks.push_back(std::move(check));
  }
}

/// "24. FSLock() / ACTION_LOCATE_OBJECT: Lock()". A row without checks ends before the colon; its label
/// is then that of the function, without "FS". "Further 3. ..." is a row of the further catalogue.
void ReadHeading(std::string_view heading, ExplainedGroup& group) {
  const std::optional<std::string_view> further = Behind(heading, kFurther);
  heading = further.value_or(heading);
  const std::string_view number = Take(heading, ". ");
  std::from_chars(number.data(), number.data() + number.size(), group.row);
  group.title = Take(heading, ": ");
  std::string_view label = heading.empty() ? std::string_view(group.title).substr(2) : heading;
  group.id = (further ? "Further." : "") + std::string(Take(label, "()"));
}

ExplainedGroup ReadSection(std::string_view section) {
  ExplainedGroup group;
  ReadHeading(Take(section, "\n"), group);
  while (!section.empty()) {
    const std::string_view lines = Take(section, "\n\n");
    const std::string paragraph = Joined(lines);
    if (paragraph.empty()) continue;
    if (paragraph.starts_with(std::string("1. ").append(kAnchor))) {
      ReadChecks(lines, group);
    } else if (const auto why = Behind(paragraph, "Why it matters: ")) {
      group.why = *why;
    } else if (const auto diagnostics = Behind(paragraph, "Diagnostics: ")) {
      group.diagnostics = *diagnostics;
    } else if (const auto mistakes = Behind(paragraph, "Where authors go wrong: ")) {
      group.mistakes = *mistakes;
    } else {
      AddParagraph(group.what, paragraph);
    }
  }
  return group;
}

std::vector<ExplainedGroup> ReadDocument(std::string_view document) {
  std::vector<ExplainedGroup> groups;
  const std::string start = std::string("\n").append(kHeading);
  Take(document, start);
  while (!document.empty()) {
    const std::string_view section = Take(document, start);
    // A section without a number is about all of them.
    const std::string_view number = Behind(section, kFurther).value_or(section);
    if (number.front() >= '0' && number.front() <= '9') groups.push_back(ReadSection(section));
  }
  return groups;
}

}  // namespace

const std::vector<ExplainedGroup>& ExplainedGroups() {
  static const std::vector<ExplainedGroup> groups = ReadDocument(TestsDocument());
  return groups;
}

std::string RuleOf(std::string_view id) {
  for (const ExplainedGroup& group : ExplainedGroups()) {
    for (const ExplainedGroup::Check& check : group.checks) {
      if (check.id != id) continue;
      std::string rule = check.what;
      std::erase(rule, '`');
      return rule;
    }
  }
  return {};
}

std::optional<Explanation> Explain(std::string_view id) {
  for (const ExplainedGroup& group : ExplainedGroups()) {
    Explanation explanation = {.title = group.title,
                               .what = group.what,
                               .why = group.why,
                               .diagnostics = group.diagnostics,
                               .mistakes = group.mistakes};
    const bool whole = group.id == id;
    bool found = whole;
    for (const ExplainedGroup::Check& check : group.checks) {
      if (whole) {
        AddParagraph(explanation.what, "`" + check.id + "`: " + check.what);
      } else if (check.id == id) {
        AddParagraph(explanation.what, check.what);
        found = true;
      }
    }
    if (found) return explanation;
  }
  return std::nullopt;
}

std::string ExplainInMarkdown(const std::string& id) {
  const std::optional<Explanation> explanation = Explain(id);
  if (!explanation) return {};
  std::string text = explanation->what;
  const auto add = [&](const char* heading, const std::string& part) {
    if (!part.empty()) text += std::string("\n\n") + heading + part;
  };
  add("**Why it matters:** ", explanation->why);
  add("**Diagnostics:** ", explanation->diagnostics);
  add("**Where authors go wrong:** ", explanation->mistakes);
  return text;
}

}  // namespace quorle
