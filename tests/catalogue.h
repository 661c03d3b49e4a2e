#pragma once

#include "harness/catalogue.h"

namespace quorle {

/// Tests in the standard catalogue, those counted that only print a note.
inline constexpr int kCatalogueRows = 47;

/// The 47 tests in their order. Catalogues are here, not in harness/, because they name every group:
/// the harness gets one as an argument.
extern const Catalogue kStandardCatalogue;

/// The tests of what those only announce, and of rules beyond single calls; in further/. They are for the
/// program on Linux.
extern const Catalogue kFurtherCatalogue;

}  // namespace quorle
