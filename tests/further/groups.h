#pragma once

#include "harness/catalogue.h"

namespace quorle {

// The further test groups in catalogue order.
extern const TestGroup kFurtherExamineDirGroup;
extern const TestGroup kFurtherSameLockGroup;
extern const TestGroup kFurtherSameFileGroup;
extern const TestGroup kFurtherAddNotifyGroup;
extern const TestGroup kFurtherRemoveNotifyGroup;
extern const TestGroup kFurtherRefusalsGroup;
extern const TestGroup kFurtherArgumentsGroup;

}  // namespace quorle
