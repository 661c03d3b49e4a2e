#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "harness/catalogue.h"
#include "results/check_list.h"

namespace quorle {

/// Which checks of a catalogue, or of several, a run is for, beside the range of rows that the tester itself knows:
/// `--select`, `--skip` and `--failed`. Everything, until something is chosen.
class Selection {
 public:
  /// Of all `catalogues`, which are not kept.
  explicit Selection(std::span<const Catalogue* const> catalogues);
  /// Of the whole `catalogue`, which is not kept.
  explicit Selection(const Catalogue& catalogue);

  /// Keeps of `patterns`, separated by commas, what fits one of them: an id, a group's name (all its
  /// checks), or a glob of either. False, with `problem` one line, when one fits nothing.
  bool Select(std::string_view patterns, std::string& problem);
  /// Takes out what fits one of `patterns`. False as above.
  bool Skip(std::string_view patterns, std::string& problem);
  /// Keeps what is in `ids`. Those that the catalogue does not have are ignored.
  void Keep(const std::set<std::string>& ids);

  bool is_everything() const { return !chosen_ && skipped_.empty(); }
  bool Includes(const std::string& id) const;
  /// Whether the group runs: it has a check that is included or, of one without checks, its name was
  /// not left out.
  bool IncludesGroup(std::string_view group) const;

  /// What is chosen of `catalogue` alone, one of those that this is of.
  Selection Of(const Catalogue& catalogue) const;
  /// Whether there is anything to run: a check that is included, or a group without checks.
  bool is_empty() const;

  const std::vector<CheckInfo>& checks() const { return checks_; }

 private:
  /// The ids, and the names of groups without checks, that fit one of `patterns`.
  std::optional<std::set<std::string>> Find(std::string_view patterns, std::string& problem) const;

  std::vector<CheckInfo> checks_;
  std::vector<std::string> notes_;               ///< the groups without checks
  std::optional<std::set<std::string>> chosen_;  ///< ids, and names of groups without checks
  std::set<std::string> skipped_;
};

/// A catalogue of which only what is selected does something: other rows print nothing and pass, of a
/// group in part selected the selected checks run. Rows keep their numbers.
class SelectedCatalogue {
 public:
  /// `catalogue` must outlive this; `selection` is needed for the construction alone.
  SelectedCatalogue(const Catalogue& catalogue, const Selection& selection);
  SelectedCatalogue(const SelectedCatalogue&) = delete;
  SelectedCatalogue& operator=(const SelectedCatalogue&) = delete;

  /// What Run() is started with.
  const Catalogue& catalogue() const { return catalogue_; }

 private:
  std::vector<TestEntry> entries_;
  std::deque<TestGroup> groups_;
  std::deque<std::vector<SubTest>> sub_tests_;
  Catalogue catalogue_;
};

}  // namespace quorle
