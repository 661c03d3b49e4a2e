#pragma once

#include <cstdint>
#include <type_traits>

#include "handlers/common/dos_error.h"
#include "quorle/handler.h"

namespace quorle::common {

/// id_DiskType of a device that is inhibited.
inline constexpr std::int32_t kBusyDisk = 0x42555359;  // "BUSY"

/// A function of a table that refuses with 202 while `kIsInhibited(port)` is true and otherwise calls
/// `kFunction`. A function that gives a number fails with -1 where `kFailure` says so.
template <auto kIsInhibited, auto kFunction, int kFailure = 0>
struct Inhibitable;

template <auto kIsInhibited, class Result, class... Args,
          Result (*kFunction)(::FileSystemVectorPort*, std::int32_t*, Args...), int kFailure>
struct Inhibitable<kIsInhibited, kFunction, kFailure> {
  static Result Call(::FileSystemVectorPort* vp, std::int32_t* res2, Args... args) {
    if (!kIsInhibited(vp)) return kFunction(vp, res2, args...);
    *res2 = DosError(ERROR_OBJECT_IN_USE).code();
    if constexpr (std::is_pointer_v<Result>) {
      return nullptr;
    } else {
      return kFailure;
    }
  }
};

}  // namespace quorle::common
