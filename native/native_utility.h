#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "native/interfaces.h"
#include "platform/utility.h"

namespace quorle::native {

/// utility.library of the platform itself.
class NativeUtility final : public UtilityInterface {
 public:
  /// From here on calls go to `utility`.
  void Attach(UtilityMain* utility) { utility_ = utility; }
  /// Calls go nowhere any more; returns where they went.
  UtilityMain* Detach() { return std::exchange(utility_, nullptr); }

  std::uint32_t Strlcpy(char* destination, const char* source, std::uint32_t size) override;
  std::int32_t VSNPrintf(char* buffer, std::uint32_t size, const char* format,
                         const FormatArgument* args, std::size_t count) override;
  std::int32_t Stricmp(const char* a, const char* b) override;

 private:
  UtilityMain* utility_ = nullptr;
};

}  // namespace quorle::native
