#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "platform/exec.h"
#include "platform/format.h"

namespace quorle {

/// utility.library: formatting into buffers, bounded copies, comparison. None of these touches `IoErr()`.
class UtilityInterface : public Interface {
 public:
  /// Copies `source` into `destination`, at most `size` bytes with the terminating zero, which is
  /// always written when `size` is not 0. Returns the length of `source`.
  virtual std::uint32_t Strlcpy(char* destination, const char* source, std::uint32_t size) = 0;

  /// Formats into `buffer`, at most `size` bytes with the terminating zero, which is always written
  /// when `size` is not 0. Returns the length of the whole text, cut or not (a choice of ours; the
  /// platform does not say). "%n" and "%m" belong to `Printf()` alone and print nothing here.
  template <class... Args>
  std::int32_t SNPrintf(char* buffer, std::uint32_t size,
                        CheckedFormat<std::type_identity_t<Args>...> format, const Args&... args) {
    const FormatArgument list[sizeof...(Args) + 1] = {FormatArgument(args)..., FormatArgument()};
    return VSNPrintf(buffer, size, format.text, list, sizeof...(Args));
  }

  /// The list form of `SNPrintf()`.
  virtual std::int32_t VSNPrintf(char* buffer, std::uint32_t size, const char* format,
                                 const FormatArgument* args, std::size_t count) = 0;

  /// Compares two texts, case ignored: below, equal to or above 0.
  virtual std::int32_t Stricmp(const char* a, const char* b) = 0;

 protected:
  ~UtilityInterface() = default;
};

}  // namespace quorle
