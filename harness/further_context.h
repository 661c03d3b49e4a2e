#pragma once

#include "harness/context.h"
#include "platform/further_dos.h"

namespace quorle {

/// The state of a run of a catalogue that makes calls of the second interface.
struct FurtherContext : TestContext {
  FurtherDosInterface* IFurtherDos;
  bool may_destroy;  ///< whether all that is on the volume may be lost
};

/// The context of a test of such a catalogue, whose tests are called like all others.
inline FurtherContext& FurtherOf(TestContext& ctx) {
  return static_cast<FurtherContext&>(ctx);
}

}  // namespace quorle
