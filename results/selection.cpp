#include "results/selection.h"

#include <algorithm>
#include <utility>

namespace quorle {
namespace {

std::int32_t PassSilently(TestContext&, const TestGroup&, RunListener&) {
  return 0;
}

std::vector<std::string> SplitAtCommas(std::string_view text) {
  std::vector<std::string> parts;
  for (;;) {
    const std::size_t comma = text.find(',');
    parts.emplace_back(text.substr(0, comma));
    if (comma == std::string_view::npos) return parts;
    text.remove_prefix(comma + 1);
  }
}

}  // namespace

Selection::Selection(std::span<const Catalogue* const> catalogues)
    : checks_(ListChecks(catalogues)) {
  for (const Catalogue* const catalogue : catalogues) {
    const std::vector<std::string> notes = ListNotes(*catalogue);
    notes_.insert(notes_.end(), notes.begin(), notes.end());
  }
}

Selection::Selection(const Catalogue& catalogue)
    : checks_(ListChecks(catalogue)), notes_(ListNotes(catalogue)) {}

Selection Selection::Of(const Catalogue& catalogue) const {
  Selection selection(catalogue);
  selection.chosen_ = chosen_;
  selection.skipped_ = skipped_;
  return selection;
}

bool Selection::is_empty() const {
  return std::none_of(checks_.begin(), checks_.end(),
                      [&](const CheckInfo& check) { return Includes(check.id); }) &&
         std::none_of(notes_.begin(), notes_.end(),
                      [&](const std::string& note) { return Includes(note); });
}

std::optional<std::set<std::string>> Selection::Find(std::string_view patterns,
                                                     std::string& problem) const {
  std::set<std::string> found;
  for (const std::string& pattern : SplitAtCommas(patterns)) {
    std::set<std::string> fitting;
    for (const CheckInfo& check : checks_) {
      const bool fits = FitsPattern(pattern, check.id) || FitsPattern(pattern, check.group);
      if (fits) fitting.insert(check.id);
    }
    for (const std::string& note : notes_) {
      if (FitsPattern(pattern, note)) fitting.insert(note);
    }
    if (!fitting.empty()) {
      found.merge(fitting);
      continue;
    }
    problem = "no check is named \"" + pattern + "\"";
    if (const std::string nearest = NearestId(pattern, checks_); !nearest.empty()) {
      problem += "; is it " + nearest + "?";
    }
    return std::nullopt;
  }
  return found;
}

bool Selection::Select(std::string_view patterns, std::string& problem) {
  std::optional<std::set<std::string>> found = Find(patterns, problem);
  if (!found) return false;
  Keep(*found);
  return true;
}

bool Selection::Skip(std::string_view patterns, std::string& problem) {
  std::optional<std::set<std::string>> found = Find(patterns, problem);
  if (!found) return false;
  skipped_.merge(*found);
  return true;
}

void Selection::Keep(const std::set<std::string>& ids) {
  if (!chosen_) {
    chosen_ = ids;
    return;
  }
  std::erase_if(*chosen_, [&](const std::string& id) { return ids.count(id) == 0; });
}

bool Selection::Includes(const std::string& id) const {
  return (!chosen_ || chosen_->count(id) != 0) && skipped_.count(id) == 0;
}

bool Selection::IncludesGroup(std::string_view group) const {
  if (is_everything()) return true;
  const bool is_note = std::find(notes_.begin(), notes_.end(), group) != notes_.end();
  return (is_note && Includes(std::string(group))) ||
         std::any_of(checks_.begin(), checks_.end(), [&](const CheckInfo& check) {
           return check.group == group && Includes(check.id);
         });
}

SelectedCatalogue::SelectedCatalogue(const Catalogue& catalogue, const Selection& selection)
    : catalogue_(catalogue) {
  for (const TestEntry* entry = catalogue.entries; entry->group != nullptr; ++entry) {
    entries_.push_back(*entry);
    const TestGroup& group = *entry->group;
    const std::string name(IdOf(group));
    if (!selection.IncludesGroup(name)) {
      entries_.back().group = &groups_.emplace_back(group);
      groups_.back().run = PassSilently;
    } else if (group.sub_tests != nullptr) {
      std::vector<SubTest> selected;
      bool is_whole = true;
      for (const SubTest* check = group.sub_tests; check->run != nullptr; ++check) {
        if (selection.Includes(name + "." + check->name)) {
          selected.push_back(*check);
        } else {
          is_whole = false;
        }
      }
      if (is_whole) continue;
      selected.emplace_back();
      entries_.back().group = &groups_.emplace_back(group);
      groups_.back().sub_tests = sub_tests_.emplace_back(std::move(selected)).data();
    }
  }
  entries_.push_back({nullptr, ""});
  catalogue_.entries = entries_.data();
}

}  // namespace quorle
