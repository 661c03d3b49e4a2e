#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "explore/call.h"
#include "explore/side.h"

namespace quorle::explore {

/// Where the platform, or what a filesystem can do, leaves room for more than the reference's answer.
struct Tolerance {
  std::string_view name;    ///< "code-order"
  std::string_view reason;  ///< a sentence without its full stop
  /// Of codes: whether `device` is as good as `reference` for `call`, which both refused. `side` is the
  /// reference after the call, to be looked at and left as it is. Null: the rule is about something else, and
  /// is applied where that is compared.
  bool (*allows)(const Call& call, std::int32_t reference, std::int32_t device,
                 Side& side) = nullptr;
};

/// All of them. What none of them allows is a difference.
std::span<const Tolerance> Tolerances();

/// Whether one of them allows `device` in place of `reference`.
bool IsTolerated(const Call& call, std::int32_t reference, std::int32_t device, Side& side);

/// Whether no rule of the platform names the code with which the reference refused `call`: another code is
/// then worth a note, and no failure.
bool IsOpenCode(const Call& call, std::int32_t reference);

}  // namespace quorle::explore
