#pragma once

#include "harness/context.h"

namespace quorle {

/// The four lines on what an empty name means together with a lock on a file. They close an error,
/// within its bold stretch.
///
///   { const Bold bold(ctx); dos.Printf("\nERROR: ...\n"); ExplainRelativeLock(ctx); }
///       "       There appears to be an issue with the relative lock and name string handling.\n"
///       and three more
void ExplainRelativeLock(TestContext& ctx);

}  // namespace quorle
