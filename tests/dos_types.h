#pragma once

#include <cstdint>

namespace quorle {

/// The DOS type of the one filesystem for which some sub-tests make exceptions: "QVR" and the byte 4.
/// Compared with `TestContext::dos_type`.
inline constexpr std::uint32_t kQvr04 = 0x51565204;

}  // namespace quorle
