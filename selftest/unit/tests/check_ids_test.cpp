#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "tests/catalogue.h"

namespace quorle {
namespace {

using Lines = std::vector<std::string>;

/// The ids of the catalogue's checks, in order: the group's id, or its label without its brackets, a
/// point and the name of the rule.
Lines IdsOf(const Catalogue& catalogue) {
  Lines ids;
  for (const TestEntry* entry = catalogue.entries; entry->group != nullptr; ++entry) {
    const TestGroup& group = *entry->group;
    const std::string label = group.label;
    if (group.sub_tests == nullptr) continue;
    const std::string id = group.id == nullptr ? label.substr(0, label.find('(')) : group.id;
    for (const SubTest* check = group.sub_tests; check->run != nullptr; ++check) {
      ids.push_back(id + "." + check->name);
    }
  }
  return ids;
}

/// Those of both catalogues.
Lines AllIds() {
  Lines ids = IdsOf(kStandardCatalogue);
  const Lines further = IdsOf(kFurtherCatalogue);
  ids.insert(ids.end(), further.begin(), further.end());
  return ids;
}

/// The lines of a file, without comments.
Lines LinesOf(const std::string& path) {
  std::ifstream file(path);
  Lines lines;
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line[0] != '#') lines.push_back(line);
  }
  return lines;
}

bool Holds(const Lines& lines, const std::string& line) {
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

/// One line for each way in which the catalogue's ids are not those that are frozen.
Lines Differences(const Lines& ids, const Lines& frozen) {
  Lines found;
  for (std::size_t i = 0; i < frozen.size(); ++i) {
    const std::string& id = frozen[i];
    if (!Holds(ids, id)) found.push_back(id + " is frozen: a check must have this id");
    if (Holds(Lines(frozen.begin(), frozen.begin() + static_cast<std::ptrdiff_t>(i)), id)) {
      found.push_back(id + " is frozen twice");
    }
  }
  for (std::size_t i = 0; i < ids.size(); ++i) {
    const std::string& id = ids[i];
    if (!Holds(frozen, id)) found.push_back(id + " is new: append it to tests/check_ids.txt");
    if (Holds(Lines(ids.begin(), ids.begin() + static_cast<std::ptrdiff_t>(i)), id)) {
      found.push_back(id + " is the id of two checks");
    }
  }
  return found;
}

std::string Joined(const Lines& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

TEST(CheckIdsTest, TheCataloguesHaveTheFrozenIds) {
  const Lines frozen = LinesOf(QUORLE_CHECK_IDS);
  EXPECT_GE(frozen.size(), 108u);
  EXPECT_EQ(Joined(Differences(AllIds(), frozen)), "");
}

TEST(CheckIdsTest, AnIdIsAGroupAndARule) {
  for (const std::string& id : AllIds()) {
    const bool is_further = id.starts_with("Further.");
    EXPECT_EQ(std::count(id.begin(), id.end(), '.'), is_further ? 2 : 1) << id;
    for (const char c : id) {
      EXPECT_TRUE((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '.') << id;
    }
  }
}

TEST(CheckIdsTest, AnIdThatIsRenamedRemovedOrGivenTwiceIsNoticed) {
  const Lines frozen = {"Lock.A", "Lock.B"};
  EXPECT_EQ(Joined(Differences({"Lock.A", "Lock.B"}, frozen)), "");
  EXPECT_EQ(Joined(Differences({"Lock.A"}, frozen)),
            "Lock.B is frozen: a check must have this id\n");
  EXPECT_EQ(Joined(Differences({"Lock.A", "Lock.C"}, frozen)),
            "Lock.B is frozen: a check must have this id\n"
            "Lock.C is new: append it to tests/check_ids.txt\n");
  EXPECT_EQ(Joined(Differences({"Lock.A", "Lock.B", "Lock.B"}, frozen)),
            "Lock.B is the id of two checks\n");
  EXPECT_EQ(Joined(Differences({"Lock.A"}, {"Lock.A", "Lock.A"})), "Lock.A is frozen twice\n");
}

}  // namespace
}  // namespace quorle
