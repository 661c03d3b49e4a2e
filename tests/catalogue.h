#pragma once

#include "harness/catalogue.h"

namespace quorle {

/// Tests in the catalogue, those counted that only print a note.
inline constexpr int kCatalogueRows = 47;

/// The 47 tests in their order and the row that ends them. It is here, not in harness/, because
/// it names every group: the harness gets it as an argument.
extern const TestEntry kCatalogue[];

}  // namespace quorle
