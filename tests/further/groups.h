#pragma once

#include "harness/catalogue.h"

namespace quorle {

// The further test groups in catalogue order.
extern const TestGroup kFurtherExamineDirGroup;
extern const TestGroup kFurtherGetFilePositionGroup;
extern const TestGroup kFurtherLockRecordGroup;
extern const TestGroup kFurtherUnLockRecordGroup;
extern const TestGroup kFurtherContentsGroup;
extern const TestGroup kFurtherManyGroup;

}  // namespace quorle
