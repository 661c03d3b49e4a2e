#include "results/call_recorder.h"

#include <cstdint>
#include <string_view>
#include <variant>

#include "platform/tracing.h"

namespace quorle {
namespace {

/// The error code that a text shows, when it shows one.
std::int32_t ShownCode(const Call& call, std::int32_t code) {
  const auto* const message = call.MemoryAs<Message>();
  const bool shows =
      message != nullptr && std::string_view(message->format).find("%n") != std::string_view::npos;
  return shows ? code : 0;
}

}  // namespace

void CallRecorder::Around(const Call& call, MakeCall make) {
  if (call.kind == CallKind::kLocal) {
    make();
    return;
  }
  if (IsOutput(call)) {
    if (recorder_.wants_texts()) {
      const std::int32_t code = dos_.IoErr();
      recorder_.Print(PrintedText(call, code), ShownCode(call, code));
    } else {
      recorder_.CountCall();
    }
    make();
    return;
  }
  make();
  recorder_.CountCall();
  if (call.op == "Lock") {
    recorder_.SeeLock(std::get<const char*>(call.args[0]), !HasFailed(call));
  }
}

}  // namespace quorle
