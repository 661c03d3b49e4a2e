#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "explore/call.h"

namespace quorle::explore {

/// What one call came to on both sides, as text: "TRUE", "FALSE 203", "0 205", "300".
struct ShownCall {
  Call call;
  std::string device;     ///< what came of it on the device
  std::string reference;  ///< empty: the same
};

/// The rule of a sequence that could not begin.
inline constexpr std::string_view kStartRule = "start";
/// The rule of a handler that ended.
inline constexpr std::string_view kEndRule = "handler-lives";

/// Where a device is unlike the reference.
struct Difference {
  /// How it counts.
  enum class Weight : std::uint8_t {
    kError,
    kNote,  ///< what is due is unknown or disputed: reported, and never a failure
  };
  std::string rule;  ///< "refusal-is-harmless"
  std::string id;    ///< rule, operation and outcome: "rename-refused-changes-source"
  /// What must be the same when it is shrunk: of the rules for whole trees not the operation, which is that
  /// of the last call.
  std::string kind;
  Weight weight = Weight::kError;
  std::string during;  ///< of a handler that ended: the operation or the rule that it was for
  std::string what;    ///< one line: "a refused call changed what it named"
  std::vector<ShownCall> calls;   ///< the sequence up to and with the call that showed it
  std::vector<std::string> then;  ///< what was looked at afterwards, and what was seen, a line each
};

}  // namespace quorle::explore
