#pragma once

#include <cstdint>

#include "harness/context.h"

namespace quorle {

/// Checks what `ExamineObject()` returned for an object of the type `type` (FSO_TYPE_SOFTLINK,
/// FSO_TYPE_FILE or FSO_TYPE_DIRECTORY). Its name must be `expected_name`, or `object` when that is
/// null. The messages say `function`("`object`"). Stops at the first thing that is wrong, reports
/// it and returns kFailed; else kPassed. The record stays the caller's.
std::int32_t CheckExamineData(TestContext& ctx, const ExamineData& data, const char* function,
                              const char* object, const char* expected_name, std::uint32_t type);

}  // namespace quorle
