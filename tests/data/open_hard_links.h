#pragma once

#include <cstdint>

#include "harness/context.h"

namespace quorle {

// The sub-tests of Open() that go through a hard link, in the group's table like the others. Each
// takes its position there and returns kPassed or kFailed.

/// 10. MODE_NEWFILE over a hard link to a directory.
std::int32_t NewFileOverDirectoryLinkIsRefused(TestContext& ctx, std::int32_t position);
/// 11. MODE_NEWFILE through a hard link to a file resets the file's size and protection.
std::int32_t NewFileThroughFileLinkResetsFile(TestContext& ctx, std::int32_t position);

}  // namespace quorle
