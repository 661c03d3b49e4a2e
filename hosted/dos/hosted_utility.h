#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/utility.h"

namespace quorle {

/// utility.library on Linux.
class HostedUtility final : public UtilityInterface {
 public:
  std::uint32_t Strlcpy(char* destination, const char* source, std::uint32_t size) override;
  std::int32_t VSNPrintf(char* buffer, std::uint32_t size, const char* format,
                         const FormatArgument* args, std::size_t count) override;
  std::int32_t Stricmp(const char* a, const char* b) override;
};

}  // namespace quorle
