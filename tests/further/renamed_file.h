#pragma once

#include <cstdint>

#include "harness/catalogue.h"

/// A file whose contents show whether it is still the same under another name.
namespace quorle {

/// What it holds, with its zero.
inline constexpr char kRenamedText[] = "contents";
inline constexpr std::int32_t kRenamedTextBytes = sizeof kRenamedText;

/// Makes the file `name`, which holds kRenamedText. False, with the reason printed, when that fails.
bool MakeTextFile(TestContext& ctx, const char* name, const char* label);

/// The file `name` must hold kRenamedText after Rename(`old_name`,`new_name`). Returns the status.
std::int32_t CheckText(TestContext& ctx, const char* name, const char* old_name,
                       const char* new_name);

}  // namespace quorle
