#include "program/catalogues.h"

#include <array>

#include "tests/catalogue.h"

namespace quorle {
namespace {

constexpr std::array kAll = {&kStandardCatalogue, &kFurtherCatalogue};

}  // namespace

std::span<const Catalogue* const> KnownCatalogues() {
  return kAll;
}

std::vector<const Catalogue*> FindCatalogues(std::string_view name) {
  if (name == "all") return {kAll.begin(), kAll.end()};
  for (const Catalogue* const catalogue : kAll) {
    if (catalogue->name == name) return {catalogue};
  }
  return {};
}

}  // namespace quorle
