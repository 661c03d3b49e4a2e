#pragma once

#include <cstdint>

#include "harness/context.h"

namespace quorle {

/// `port` when it is a vector port of at least `minimum_version`, else none.
PortHandle VectorPort(TestContext& ctx, PortHandle port, std::uint32_t minimum_version);

/// Whether the target is a vector-port filesystem, by the port of the root lock.
bool TargetIsVectorPort(TestContext& ctx);

}  // namespace quorle
