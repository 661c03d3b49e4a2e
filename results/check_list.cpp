#include "results/check_list.h"

#include <fnmatch.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <limits>

namespace quorle {
namespace {

char Lower(char c) {
  return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

/// How many letters are to be changed, added, left out or swapped with the next, case ignored.
std::size_t Distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> before_last;
  std::vector<std::size_t> last(b.size() + 1);
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) last[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const bool same = Lower(a[i - 1]) == Lower(b[j - 1]);
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (same ? 0 : 1)});
      const bool swapped = i > 1 && j > 1 && Lower(a[i - 1]) == Lower(b[j - 2]) &&
                           Lower(a[i - 2]) == Lower(b[j - 1]);
      if (swapped) row[j] = std::min(row[j], before_last[j - 2] + 1);
    }
    before_last = last;
    last = row;
  }
  return last[b.size()];
}

}  // namespace

std::string_view IdOf(const TestGroup& group) {
  if (group.id != nullptr) return group.id;
  const std::string_view label = group.label;
  return label.substr(0, label.find('('));
}

std::vector<CheckInfo> ListChecks(const Catalogue& catalogue) {
  std::vector<CheckInfo> checks;
  for (std::int32_t row = 1; catalogue.entries[row - 1].group != nullptr; ++row) {
    const TestEntry& entry = catalogue.entries[row - 1];
    if (entry.group->sub_tests == nullptr) continue;
    const std::string group(IdOf(*entry.group));
    for (std::int32_t i = 0; entry.group->sub_tests[i].run != nullptr; ++i) {
      checks.push_back({.id = group + "." + entry.group->sub_tests[i].name,
                        .group = group,
                        .catalogue = catalogue.name,
                        .row = row,
                        .number = i + 1,
                        .title = entry.title == nullptr ? "" : entry.title});
    }
  }
  return checks;
}

std::vector<CheckInfo> ListChecks(std::span<const Catalogue* const> catalogues) {
  std::vector<CheckInfo> checks;
  for (const Catalogue* const catalogue : catalogues) {
    const std::vector<CheckInfo> more = ListChecks(*catalogue);
    checks.insert(checks.end(), more.begin(), more.end());
  }
  return checks;
}

std::vector<std::string> ListNotes(const Catalogue& catalogue) {
  std::vector<std::string> notes;
  for (const TestEntry* entry = catalogue.entries; entry->group != nullptr; ++entry) {
    if (entry->group->sub_tests == nullptr) notes.emplace_back(IdOf(*entry->group));
  }
  return notes;
}

bool FitsPattern(const std::string& pattern, const std::string& id) {
  return fnmatch(pattern.c_str(), id.c_str(), 0) == 0;
}

std::string NearestId(std::string_view text, const std::vector<CheckInfo>& checks) {
  std::string nearest;
  std::size_t best = std::numeric_limits<std::size_t>::max();
  const auto consider = [&](const std::string& id) {
    const std::size_t distance = Distance(text, id);
    if (distance >= best) return;
    best = distance;
    nearest = id;
  };
  for (const CheckInfo& check : checks) {
    consider(check.id);
    consider(check.group);
  }
  // More than a third of the letters wrong is another word.
  return best <= std::max<std::size_t>(2, text.size() / 3) ? nearest : std::string();
}

}  // namespace quorle
