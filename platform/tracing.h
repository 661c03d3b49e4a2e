#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/dos.h"
#include "platform/intercepting.h"
#include "platform/trace_event.h"

namespace quorle {

/// Whether `call` is a text on the console, which a trace shows as "Output".
bool IsOutput(const Call& call);

/// What such a call prints, finished; `code` is the error code before it.
std::string PrintedText(const Call& call, std::int32_t code);

/// The call trace: every call of the tester, in order, as an event.
///
/// Arguments and results are those that the tester sees; `ioerr` is `IoErr()` right after the call.
/// Calls of CallKind::kLocal and what happens in memory are left out. The trace itself changes
/// nothing.
class Tracer final : public CallHook {
 public:
  /// `dos` is the platform below the interception. Neither is owned.
  Tracer(DosInterface& dos, TraceSink& sink) : dos_(dos), sink_(sink) {}

  void Around(const Call& call, MakeCall make) override;

 private:
  struct Key {
    HandleType type;
    std::uintptr_t value;
    friend bool operator==(const Key&, const Key&) = default;
  };
  struct KeyHash {
    std::size_t operator()(const Key& key) const {
      return std::hash<std::uintptr_t>()(key.value) * 16 + static_cast<std::size_t>(key.type);
    }
  };
  class ResultReader;

  void Output(const Call& call, MakeCall make);
  /// The number of a handle, a new one when it was not seen before.
  TraceHandle Known(HandleType type, std::uintptr_t value);
  /// The number of a handle that was just given. Values come back after a release, numbers do not.
  TraceHandle New(HandleType type, std::uintptr_t value);
  TraceValue Shown(const CallValue& value);

  DosInterface& dos_;
  TraceSink& sink_;
  std::vector<TraceValue> args_;
  std::optional<TraceHandle> given_;  ///< by the call that is looked at
  std::unordered_map<Key, std::uint64_t, KeyHash> numbers_;
  std::uint64_t last_number_ = 0;
  bool open_ = true;
};

}  // namespace quorle
