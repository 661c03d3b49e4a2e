#pragma once

#include <cstdint>

namespace quorle {

/// The platform's standard English text for an error code; null for a code that has none.
const char* ErrorText(std::int32_t code);

}  // namespace quorle
