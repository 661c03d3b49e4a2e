#pragma once

#include <cstdint>

namespace quorle {

/// What a handler did with what it was given, or gave, that dos cannot take: the call is a failure.
enum class Breach : std::uint8_t {
  kNone,
  kForeignLock,     ///< gave a lock that AllocDosObject() did not make, or that is freed
  kFreedLock,       ///< freed a lock that dos still holds
  kForeignRecord,   ///< gave an examine record that AllocDosObject() did not make, or that is freed
  kForeignText,     ///< gave a record with a text outside the record's own buffer
  kTextWithoutEnd,  ///< gave a text that does not end within its buffer
  kBeyondBuffer,    ///< wrote before or behind what it was given to fill
};
inline constexpr Breach kLastBreach = Breach::kBeyondBuffer;

/// As the line that reports it has it: "gave a lock that is not from AllocDosObject()".
const char* Describe(Breach breach);

/// The code with which the call fails: 211 where it is about a lock, 115 otherwise (a choice of
/// ours).
std::int32_t CodeOf(Breach breach);

}  // namespace quorle
