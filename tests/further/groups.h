#pragma once

#include "harness/catalogue.h"

namespace quorle {

// The further test groups in catalogue order.
extern const TestGroup kFurtherExamineDirGroup;
extern const TestGroup kFurtherFileSystemAttrGroup;
extern const TestGroup kFurtherVolumeInfoDataGroup;
extern const TestGroup kFurtherFlushGroup;
extern const TestGroup kFurtherInhibitGroup;
extern const TestGroup kFurtherSerializeGroup;
extern const TestGroup kFurtherFormatGroup;

}  // namespace quorle
