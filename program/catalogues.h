#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "harness/catalogue.h"

namespace quorle {

/// The catalogues that there are, the standard one first.
std::span<const Catalogue* const> KnownCatalogues();

/// What `--catalogue NAME` runs: one of them, or "all". None for another name.
std::vector<const Catalogue*> FindCatalogues(std::string_view name);

}  // namespace quorle
