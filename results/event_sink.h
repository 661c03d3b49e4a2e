#pragma once

#include "results/event.h"

namespace quorle {

/// Where the events of a run go, as they happen.
class EventSink {
 public:
  virtual void Take(Event event) = 0;

 protected:
  ~EventSink() = default;
};

}  // namespace quorle
