#pragma once

#include <cstdint>

#include "harness/catalogue.h"
#include "tests/further/vocabulary.h"

/// Requests for notification, and changes of which they are notified.
namespace quorle {

/// A request, ended at the end of the block.
class [[nodiscard]] Watching {
 public:
  /// Begins it; `flags` are NRF_...
  Watching(TestContext& ctx, const char* name, std::uint32_t flags = NRF_SEND_MESSAGE);
  ~Watching() { End(); }
  Watching(const Watching&) = delete;
  Watching& operator=(const Watching&) = delete;

  /// Whether it was begun; when not, IoErr() says why.
  explicit operator bool() const { return static_cast<bool>(request_); }
  NotifyHandle request() const { return request_; }
  const char* name() const { return name_; }
  void End();
  /// The next message, or none. Waits up to a second for it.
  MessageHandle WaitForMessage();
  /// Whether the signal is set. Waits up to a second for it.
  bool WaitForSignal();
  /// Takes messages and gives each back, until none is there, or ten came. Waits for the first when `awaited`.
  /// Returns how many came.
  std::uint32_t TakeMessages(bool awaited);

 private:
  TestContext& ctx_;
  const char* name_;
  NotifyHandle request_;
};

/// A request was not begun. Returns the status.
std::int32_t CannotWatch(TestContext& ctx, const char* name);

/// Says that dos does for the filesystem what the last StartNotify() asked for, when it does.
void SayWhenEmulated(TestContext& ctx);

/// Something that is done to an object.
struct ChangeOfObject {
  const char* text;  ///< as messages have it: "deleting it"
  /// Does it. False when that fails.
  bool (*make)(TestContext& ctx);
  std::uint32_t least = 1;  ///< messages that are due
  std::uint32_t most = 1;
};

/// Makes `change`. False, with the reason printed, when that fails.
bool MakeChange(TestContext& ctx, const char* label, const ChangeOfObject& change);

/// Makes `change`, and looks what `watching` gets. Returns the status.
std::int32_t CheckChange(TestContext& ctx, const char* label, Watching& watching,
                         const ChangeOfObject& change);

/// Opens `name`, which is there, writes to it and closes it. False when that fails.
bool WriteAndClose(TestContext& ctx, const char* name);

}  // namespace quorle
