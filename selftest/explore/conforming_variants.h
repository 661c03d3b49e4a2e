#pragma once

#include "hosted/calls/port_layer.h"

namespace quorle::selftest {

/// The layer under the mount key `variant`: it answers as a filesystem may that is unlike RAM:, or, of some
/// names, as one that goes a little beyond that.
NamedLayer VariantLayer();

}  // namespace quorle::selftest
