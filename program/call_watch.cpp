#include "program/call_watch.h"

#include <cstdint>

#include "platform/constants.h"

namespace quorle {

void CallWatch::Around(const Call& call, MakeCall make) {
  make();
  if (call.kind == CallKind::kHandler) {
    // Call names are literals: they stay.
    if (HasFailed(call) && dos_.IoErr() == ERROR_ACTION_NOT_KNOWN) last_ = call.op;
  } else if (call.op == "IoErr") {
    const bool unknown = *call.Result<std::int32_t>() == ERROR_ACTION_NOT_KNOWN;
    if (unknown && unknown_.empty()) unknown_ = last_;
  } else if (call.op == "SetIoErr") {
    // A code that the program sets is no call's.
    if (dos_.IoErr() != ERROR_ACTION_NOT_KNOWN) last_ = {};
  } else if (call.op == "CheckSignal") {
    broken_ = broken_ || (*call.Result<std::uint32_t>() & SIGBREAKF_CTRL_C) != 0;
  }
}

}  // namespace quorle
