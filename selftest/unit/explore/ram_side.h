#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "explore/search_clock.h"
#include "explore/side.h"
#include "hosted/dos/console.h"
#include "hosted/dos/machine.h"

namespace quorle::explore {

/// DH0:, a volume in memory on a machine of its own, and the side that makes calls there.
class RamSide {
 public:
  RamSide();
  ~RamSide();
  RamSide(const RamSide&) = delete;
  RamSide& operator=(const RamSide&) = delete;

  Side& side() { return *side_; }
  Machine& machine() { return *machine_; }
  DosInterface& dos() { return machine_->dos(); }
  SearchClock& clock() { return clock_; }
  /// An empty volume under the same name, on which a sequence has begun in the root.
  void Renew();

 private:
  class Nowhere final : public ByteSink {
   public:
    bool Write(std::string_view) override { return true; }
    std::string Problem() const override { return {}; }
  };
  class NoInput final : public LineInput {
   public:
    bool ReadLine(std::string&) override { return false; }
  };
  class NoBreak final : public BreakSource {
   public:
    bool TakeBreak() override { return false; }
  };

  Nowhere nowhere_;
  Console console_{nowhere_, nowhere_, false};
  NoInput input_;
  NoBreak breaks_;
  SearchClock clock_;
  std::unique_ptr<Machine> machine_;
  std::unique_ptr<Side> side_;
};

}  // namespace quorle::explore
