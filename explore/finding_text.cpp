#include "explore/finding_text.h"

#include <algorithm>
#include <utility>

#include "explore/call_text.h"
#include "explore/reference_volume.h"
#include "explore/replay.h"
#include "explore/search_clock.h"

namespace quorle::explore {
namespace {

std::string Indented(std::size_t number) {
  std::string text = std::to_string(number);
  text.insert(0, text.size() < 3 ? 3 - text.size() : 0, ' ');
  return text;
}

}  // namespace

std::vector<std::string> CallLines(const Difference& difference) {
  constexpr std::size_t kColumn = 48;
  std::vector<std::string> lines;
  for (const ShownCall& shown : difference.calls) {
    const bool is_known = !shown.device.empty() || !shown.reference.empty();
    std::string line = is_known ? MadeText(shown.call, shown.device) : TextOf(shown.call);
    const bool is_last = &shown == &difference.calls.back();
    if (!shown.reference.empty()) {
      line.resize(std::max(line.size() + 2, kColumn), ' ');
      line += "reference: " + shown.reference;
    } else if (is_last && is_known && !difference.then.empty()) {
      line.resize(std::max(line.size() + 2, kColumn), ' ');
      line += "as it should be";
    }
    lines.push_back(std::move(line));
  }
  return lines;
}

std::string FindingText(const Finding& finding, const FindingRemarks& remarks) {
  const Difference& difference = finding.difference;
  std::string text = "difference " + difference.id + "  (";
  if (finding.seed != 0) text += "seed " + std::to_string(finding.seed) + ", ";
  text += std::to_string(finding.calls) + " calls, ";
  text += finding.comes_again ? "shrunk to " + std::to_string(difference.calls.size())
          : finding.is_shrunk ? std::string("not seen again")
                              : std::string("not shrunk");
  text += remarks.first ? ")\n" : "; shorter than before)\n";
  std::size_t number = 0;
  for (const std::string& line : CallLines(difference)) {
    text += Indented(++number) + "  " + line + "\n";
  }
  for (const std::string& line : difference.then) text += "     then " + line + "\n";
  text += "  " + difference.what + " (rule: " + difference.rule + ")\n";
  if (!finding.is_shrunk) {
    text += "  the search was over before the same calls were made a second time\n";
  } else if (!finding.comes_again) {
    text += "  the same calls did not show it a second time\n";
  }
  if (remarks.expected) text += "  expected: " + *remarks.expected + "\n";
  return text + "  again: " + remarks.again + "\n\n";
}

std::string NoteText(const Difference& note) {
  std::string text = "note " + note.id + "\n";
  for (const std::string& line : CallLines(note)) text += "     " + line + "\n";
  for (const std::string& line : note.then) text += "     then " + line + "\n";
  return text + "  " + note.what + " (rule: " + note.rule + ")\n\n";
}

std::string FindingCalls(const Finding& finding, const std::string& again,
                         const std::string& volume, Console& console) {
  const Difference& difference = finding.difference;
  SearchClock clock;
  ReferenceVolume reference(clock, console, volume);
  std::string found = "difference " + difference.id;
  if (finding.seed != 0) found += " (seed " + std::to_string(finding.seed) + ")";
  return CallsText(difference,
                   {found, difference.what + " (rule: " + difference.rule + ")", "again: " + again},
                   {.side = reference.side(), .clock = clock, .port = reference.port()});
}

}  // namespace quorle::explore
