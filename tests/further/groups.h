#pragma once

#include "harness/catalogue.h"

namespace quorle {

// The further test groups in catalogue order.
extern const TestGroup kFurtherExamineDirGroup;
extern const TestGroup kFurtherNamesGroup;
extern const TestGroup kFurtherRenameGroup;
extern const TestGroup kFurtherDatesGroup;
extern const TestGroup kFurtherSoftLinksGroup;

}  // namespace quorle
