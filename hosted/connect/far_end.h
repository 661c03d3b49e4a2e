#pragma once

#include <optional>
#include <string>

namespace quorle::connect {

/// Where the other end of a socket is, and how it came there. It lives in the process of the handler.
class FarEnd {
 public:
  FarEnd() = default;
  virtual ~FarEnd() = default;
  FarEnd(const FarEnd&) = delete;
  FarEnd& operator=(const FarEnd&) = delete;

  /// A stream to it, which is the caller's. -1, with one line in `problem`, when there is none.
  virtual int Open(std::string& problem) = 0;
  /// The stream has come to its end: how the far end ended, "exited with status 3", when that is known.
  virtual std::optional<std::string> HowItEnded() { return std::nullopt; }
  /// The stream was closed after the handler was unmounted: waits until the far end has ended. Returns
  /// how, when that was otherwise than well.
  virtual std::optional<std::string> Finish() { return std::nullopt; }
};

}  // namespace quorle::connect
