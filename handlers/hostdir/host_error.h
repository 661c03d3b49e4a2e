#pragma once

#include <cerrno>
#include <string>

#include "handlers/common/dos_error.h"

namespace quorle::hostdir {

using common::Catch;
using common::Check;
using common::DosError;
using common::kNoError;

/// An error of the host: its errno, or none. It becomes an error of the platform by one of the
/// functions below and in no other way. As a condition it is true when there is an error.
class [[nodiscard]] HostError {
 public:
  /// None: success.
  constexpr HostError() = default;
  constexpr explicit HostError(int number) : number_(number) {}
  /// That of the system call that has just failed.
  static HostError Last() { return HostError(errno); }
  /// That of a system call that returned `result`: -1 after a failure.
  static HostError Of(int result) { return result == -1 ? Last() : HostError(); }

  constexpr explicit operator bool() const { return number_ != 0; }
  /// Whether it is one of `numbers`, which are errnos.
  template <class... Numbers>
  constexpr bool Is(Numbers... numbers) const {
    return ((number_ == numbers) || ...);
  }
  /// The host's text for it.
  std::string Message() const;

  // ---- The platform's error, by what was being done ------------------------------------------

  /// 224 for a permission that is missing.
  DosError ForReading() const;
  /// 223 for a permission that is missing.
  DosError ForWriting() const;
  /// 222 for a permission that is missing.
  DosError ForDeleting() const;
  /// As for writing; 221 for a size that no file of the host can have.
  DosError ForResizing() const;
  /// As for writing; 209 where the host has no links, 211 when the object is gone.
  DosError ForLinking() const;
  /// As for writing; 202 for a directory that would be put into itself.
  DosError ForMoving(bool is_directory) const;

 private:
  DosError For(DosError denied) const;

  int number_ = 0;
};

}  // namespace quorle::hostdir
