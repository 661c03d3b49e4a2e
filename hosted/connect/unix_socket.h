#pragma once

#include <chrono>
#include <string>
#include <utility>

#include "hosted/connect/far_end.h"

namespace quorle::connect {

/// Somebody who listens on a socket of this host.
class UnixSocket final : public FarEnd {
 public:
  /// Where nobody listens yet that is waited for as long as `wait` says.
  UnixSocket(std::string path, std::chrono::milliseconds wait)
      : path_(std::move(path)), wait_(wait) {}

  int Open(std::string& problem) override;

 private:
  std::string path_;
  std::chrono::milliseconds wait_;
};

}  // namespace quorle::connect
