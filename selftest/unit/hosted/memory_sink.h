#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "hosted/dos/console.h"

namespace quorle {

/// A sink that keeps what it gets. With `fails` set it takes nothing more.
class MemorySink final : public ByteSink {
 public:
  bool Write(std::string_view bytes) override {
    ++writes;
    if (fails) return false;
    text += bytes;
    return true;
  }
  std::string Problem() const override { return "the pen is dry"; }
  std::size_t ScreenLines() const override { return screen_lines; }

  std::string text;
  int writes = 0;
  bool fails = false;
  std::size_t screen_lines = 0;
};

}  // namespace quorle
