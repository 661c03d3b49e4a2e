#include "explore/names.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "explore/shares.h"

namespace quorle::explore {
namespace {

/// What a row gives.
enum class NameForm : std::uint8_t {
  kText,        ///< its text
  kLength,      ///< one name of 2 to the most bytes, every length
  kEdge,        ///< one name of a length at an edge, the limit among them
  kOneMore,     ///< one name with a byte more than there can be
  kLongPath,    ///< a path of more than 255 bytes, each name of which can be
  kMissingPath  ///< the same, below what is not there
};

/// Where a text can lead.
enum NameReach : std::uint8_t {
  kInside = 0,
  kLeaves = 1,  ///< above the directory in which a sequence works
  kIsRoot = 2,  ///< to the root itself, if that is where it works
};

struct NameRow {
  std::uint32_t weight;
  std::string_view text;
  std::uint8_t reach = kInside;
  NameForm form = NameForm::kText;
};

// Few names, so that calls meet the same objects, and that as files, directories and links by turns.
constexpr auto kFileNames = std::to_array<NameRow>({
    {2600, "a"},
    {1300, "b"},
    {500, "c"},
    {900, "d/a"},
    {500, "d/b"},
    {500, "d"},
    {300, "e"},
    {300, "d/e"},
    {400, "d/e/a"},
    {350, "s"},
    {250, "l"},
    {200, "s/a"},
});
constexpr auto kDirectoryNames = std::to_array<NameRow>({
    {2600, "d"},
    {1400, "d/e"},
    {900, "e"},
    {400, "a"},
    {300, "b"},
    {200, "d/a"},
    {200, "d/e/d"},
    {200, "s"},
    {200, "l"},
    {600, "", kIsRoot},
});
constexpr auto kHardLinkNames = std::to_array<NameRow>({
    {2200, "l"},
    {900, "d/l"},
    {700, "b"},
    {600, "c"},
    {500, "s"},
    {400, "d/b"},
    {300, "a"},
    {200, "s/a"},
});
constexpr auto kSoftLinkNames = std::to_array<NameRow>({
    {3600, "s"},
    {1200, "d/s"},
    {500, "l"},
    {400, "c"},
    {200, "a"},
    {200, "s/a"},
});
constexpr auto kObjectNames = std::to_array<NameRow>({
    {2600, "a"},
    {1500, "b"},
    {1500, "d"},
    {900, "d/a"},
    {500, "d/b"},
    {600, "s"},
    {500, "l"},
    {400, "c"},
    {600, "d/e"},
    {400, "d/e/a"},
    {400, "e"},
    {200, "s/a"},
    {200, "d/s"},
    {100, "l/a"},
});
// What follows each of those.
constexpr auto kEdgeNames = std::to_array<NameRow>({
    // In another case.
    {150, "A"},
    {80, "B"},
    {60, "D/A"},
    {60, "D"},
    {40, "d/E/A"},
    {30, "S"},
    // Through a file, through a link, through what is not there.
    {120, "a/b"},
    {40, "b/a"},
    {40, "c/d/a"},
    {20, "S/a"},
    {20, "s/\xE4"},
    {50, "s/b"},
    {30, "s/d/a"},
    {60, "x/a"},
    {40, "x"},
    // The directory itself, by no name and by an empty one.
    {100, "", kIsRoot},
    {50, "d/"},
    {30, "a/"},
    {20, "x/"},
    {20, "s/"},
    // From the root, and upward.
    {60, ":", kLeaves | kIsRoot},
    {80, ":a", kLeaves},
    {50, ":d/a", kLeaves},
    {20, ":d", kLeaves},
    {10, ":A", kLeaves},
    {20, ":d/e/a", kLeaves},
    {20, ":s/a", kLeaves},
    {20, "/s/a", kLeaves},
    {50, "/", kLeaves | kIsRoot},
    {60, "/a", kLeaves},
    {30, "/b", kLeaves},
    {20, "//", kLeaves | kIsRoot},
    {40, "d//", kLeaves | kIsRoot},
    {60, "d//a", kLeaves},
    {20, "a//b", kLeaves},
    {20, "//a", kLeaves},
    {20, ":/a", kLeaves},
    {20, "d/e//a", kLeaves},
    // With blanks, dots, and what patterns and quotes are made of.
    {20, "a b"},
    {20, " a"},
    {20, "a "},
    {20, " "},
    {20, "."},
    {20, ".."},
    {20, ".a"},
    {20, "a."},
    {20, "a.b"},
    {10, "d/.."},
    {10, "#?"},
    {10, "a*"},
    {10, "\"a\""},
    {10, "a'"},
    {10, "a\\b"},
    {10, "~(a)"},
    {10, "-1"},
    // Latin-1: letters with and without another case, and what lies between them.
    {40, "\xE4"},
    {40, "\xC4"},
    {20, "d/\xE4"},
    {10, "d/\xC4"},
    {20, "\xF7"},
    {20, "\xD7"},
    {15, "\xFF"},
    {15, "\xDF"},
    {10, "\xFE"},
    {10, "\xDE"},
    {10, "\xA0"},
    {10, "a\xE9"},
    {10, "A\xC9"},
    // Long.
    {60, "", kInside, NameForm::kEdge},
    {60, "d/", kInside, NameForm::kEdge},
    {40, "", kInside, NameForm::kLength},
    {20, "d/", kInside, NameForm::kLength},
    {50, "", kInside, NameForm::kOneMore},
    {10, "d/", kInside, NameForm::kOneMore},
    {10, "s/", kInside, NameForm::kOneMore},
    {30, "", kLeaves, NameForm::kLongPath},
    {15, "", kInside, NameForm::kMissingPath},
});
constexpr auto kComments = std::to_array<NameRow>({
    {300, "c"},
    {150, ""},
    {100, "comment"},
    {40, "a b"},
    {40, " "},
    {40, "\xE4\xF6\xFC"},
    {20, "a/b:c"},
    {20, "\"*\""},
    {60, "", kInside, NameForm::kEdge},
    {60, "", kInside, NameForm::kLength},
    {40, "", kInside, NameForm::kOneMore},
});
constexpr auto kTargets = std::to_array<NameRow>({
    {1500, "a"},
    {1000, "d"},
    {600, "b"},
    {500, "d/a"},
    {400, "s"},
    {300, "l"},
    {300, "e"},
    {300, "x"},
    {200, "d/s"},
    {200, "s/a"},
    {100, "A"},
    {60, "d/"},
    {60, "x/a"},
    {60, "", kIsRoot},
    {150, ":a", kLeaves},
    {150, ":d", kLeaves},
    {60, ":", kLeaves | kIsRoot},
    {60, "/a", kLeaves},
    {30, "/", kLeaves | kIsRoot},
    {60, "d//a", kLeaves},
    {30, "\xE4"},
    {30, "a b"},
    {60, "", kInside, NameForm::kEdge},
    {60, "", kInside, NameForm::kLength},
    {40, "", kInside, NameForm::kOneMore},
    {30, "", kInside, NameForm::kMissingPath},
});
constexpr auto kVolumeNames = std::to_array<NameRow>({
    {300, "V"},
    {200, "W"},
    {100, "v"},
    {50, "V W"},
    {50, "\xC4"},
    {30, ""},
    {20, "V/W"},
    {20, "V:"},
    {50, "", kInside, NameForm::kEdge},
    {20, "", kInside, NameForm::kOneMore},
});

template <std::size_t kCount, std::size_t kMore>
constexpr std::array<NameRow, kCount + kMore> Join(const std::array<NameRow, kCount>& rows,
                                                   const std::array<NameRow, kMore>& more) {
  std::array<NameRow, kCount + kMore> all{};
  std::copy(rows.begin(), rows.end(), all.begin());
  std::copy(more.begin(), more.end(), all.begin() + kCount);
  return all;
}

constexpr auto kFileRows = Join(kFileNames, kEdgeNames);
constexpr auto kDirectoryRows = Join(kDirectoryNames, kEdgeNames);
constexpr auto kHardLinkRows = Join(kHardLinkNames, kEdgeNames);
constexpr auto kSoftLinkRows = Join(kSoftLinkNames, kEdgeNames);
constexpr auto kObjectRows = Join(kObjectNames, kEdgeNames);

/// The lengths at which names are cut, the limit apart.
constexpr auto kEdges = std::to_array<std::int32_t>(
    {15, 16, 29, 30, 31, 32, 78, 79, 80, 105, 106, 107, 108, 127, 128, 253, 254, 255, 256});

/// How much of something there can be.
struct LengthRule {
  std::int32_t most;
  bool one_more;
};

LengthRule LengthRuleOf(NameKind kind, const NameRules& rules) {
  switch (kind) {
    case NameKind::kComment:
      return {rules.most_comment, rules.one_more_comment};
    case NameKind::kTarget:
      return {rules.most_target, rules.one_more_target};
    default:
      return {rules.most_name, rules.one_more_name};
  }
}

/// A row whose text has a length instead, and where in the row the choice is.
struct LongRow {
  NameForm form;
  std::uint32_t place;
  std::uint32_t width;
};

std::int32_t LengthOf(const LongRow& row, const LengthRule& rule) {
  const auto nth = [&](std::int32_t count) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(count) * row.place / row.width);
  };
  if (row.form == NameForm::kOneMore) return rule.one_more ? rule.most + 1 : rule.most;
  if (row.form == NameForm::kLength) return 2 + nth(std::max(rule.most - 1, 1));
  // The limit is one edge of two.
  const std::int32_t edge = nth(2 * static_cast<std::int32_t>(kEdges.size()));
  const auto at = static_cast<std::size_t>(edge);
  return at < kEdges.size() ? std::min(kEdges[at], rule.most) : rule.most;
}

/// Appends a name of `bytes` bytes. Names of one length differ in the last byte, by which what was cut
/// is noticed.
void AppendLong(std::int32_t bytes, const LongRow& row, std::string& text) {
  if (bytes <= 0) return;
  text.append(static_cast<std::size_t>(bytes) - 1, 'n');
  text += row.place % 2 == 0 ? 'a' : 'b';
}

void AppendLongPath(const LongRow& row, const NameRules& rules, std::string& text) {
  if (row.form == NameForm::kMissingPath) {
    const auto name = static_cast<std::size_t>(std::min(rules.most_name, 100));
    for (std::size_t bytes = 0; bytes < 300; bytes += name + 1) text.append(name, 'm') += '/';
  } else {
    // Up again from the directory, so often.
    for (int i = 0; i != 86; ++i) text += "d//";
  }
  text += row.place % 2 == 0 ? 'a' : 'b';
}

template <const auto& kRows>
constexpr Shares kSharesOf(WeightsOf(kRows));

/// Calls `use` with the shares of the rows of `kind`, and with them.
template <class Use>
auto WithRows(NameKind kind, const Use& use) {
  switch (kind) {
    case NameKind::kFile:
      return use(kSharesOf<kFileRows>, kFileRows);
    case NameKind::kDirectory:
      return use(kSharesOf<kDirectoryRows>, kDirectoryRows);
    case NameKind::kHardLink:
      return use(kSharesOf<kHardLinkRows>, kHardLinkRows);
    case NameKind::kSoftLink:
      return use(kSharesOf<kSoftLinkRows>, kSoftLinkRows);
    case NameKind::kObject:
      return use(kSharesOf<kObjectRows>, kObjectRows);
    case NameKind::kComment:
      return use(kSharesOf<kComments>, kComments);
    case NameKind::kTarget:
      return use(kSharesOf<kTargets>, kTargets);
    default:
      return use(kSharesOf<kVolumeNames>, kVolumeNames);
  }
}

}  // namespace

void DrawName(NameKind kind, Choice choice, const NameRules& rules, std::string& text) {
  WithRows(kind, [&](const auto& shares, const auto& rows) {
    const auto drawn = shares.Draw(choice);
    const NameRow& row = rows[drawn.row];
    const bool is_allowed = ((row.reach & kLeaves) == 0 || rules.may_leave) &&
                            ((row.reach & kIsRoot) == 0 || rules.may_be_root);
    // The plainest instead.
    text.assign(is_allowed ? row.text : rows[0].text);
    if (row.form == NameForm::kText || !is_allowed) return;
    const LongRow with_length{row.form, drawn.place, drawn.width};
    if (row.form == NameForm::kLongPath || row.form == NameForm::kMissingPath) {
      AppendLongPath(with_length, rules, text);
    } else {
      AppendLong(LengthOf(with_length, LengthRuleOf(kind, rules)), with_length, text);
    }
  });
}

std::optional<Choice> ChoiceOf(NameKind kind, std::string_view text) {
  return WithRows(kind, [&](const auto& shares, const auto& rows) -> std::optional<Choice> {
    for (std::size_t row = 0; row != rows.size(); ++row) {
      if (rows[row].form == NameForm::kText && rows[row].text == text) return shares.FirstOf(row);
    }
    return std::nullopt;
  });
}

}  // namespace quorle::explore
