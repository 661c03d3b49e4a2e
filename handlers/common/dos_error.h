#pragma once

#include <cstdint>

#include "quorle/handler.h"

namespace quorle::common {

/// An error code of the platform, or none. It is made from the ERROR_... of handler.h and of nothing
/// else: an errno of the host or a count does not compile in its place. As a condition it is true
/// when there is an error. It can be returned, and it can be thrown: Check() and Catch() lead from
/// the one to the other.
class [[nodiscard]] DosError {
 public:
  using Code = decltype(ERROR_OBJECT_NOT_FOUND);

  /// None: success.
  constexpr DosError() = default;
  constexpr DosError(Code code) : code_(code) {}

  constexpr explicit operator bool() const { return code_ != 0; }
  constexpr bool operator==(const DosError&) const = default;

  /// As the C header has it: 0 for none.
  constexpr std::int32_t code() const { return code_; }
  /// This error; where there is none, `other`.
  constexpr DosError Or(DosError other) const { return code_ != 0 ? *this : other; }

 private:
  std::int32_t code_ = 0;
};

inline constexpr DosError kNoError;

/// Throws `error` unless it is none.
inline void Check(DosError error) {
  if (error) throw error;
}

/// Makes `call`. Returns the error that it throws, or none.
template <class Call>
DosError Catch(const Call& call) {
  try {
    call();
  } catch (const DosError& error) {
    return error;
  }
  return kNoError;
}

}  // namespace quorle::common
