#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "results/check_texts.h"
#include "results/check_texts/source_file.h"

namespace quorle {

/// A line that a check can print, as CheckText has it.
struct FoundText {
  std::string line;
  TextEffect effect = TextEffect::kPasses;
  std::size_t breaks = 1;

  auto operator<=>(const FoundText&) const = default;
};

/// The sources that a check is made of.
struct SourceSet {
  const SourceFile* own = nullptr;            ///< the group's
  std::vector<const SourceFile*> shared;      ///< whose functions others call
  std::map<std::string, std::int32_t> codes;  ///< ERROR_OBJECT_IN_USE -> 202
};

/// Every line that the check `name` of `sources.own`, or another of its functions, can print, with what
/// follows: it is walked with all that it calls, statement by statement, and every branch is taken. None
/// when there is no such function.
std::set<FoundText> TextsOfCheck(const SourceSet& sources, const std::string& name);

}  // namespace quorle
