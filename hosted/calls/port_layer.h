#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "quorle/handler.h"

namespace quorle {

/// Something between dos and a mounted handler: it changes the functions of the
/// handler's port as long as it lives. It ends before the handler does.
class PortLayer {
 public:
  PortLayer() = default;
  virtual ~PortLayer() = default;
  PortLayer(const PortLayer&) = delete;
  PortLayer& operator=(const PortLayer&) = delete;
};

/// A kind of layer under the mount key that asks for it. The key goes no further: the handler does
/// not see it.
struct NamedLayer {
  std::string_view key;
  /// Puts one over `port`, whose handler was given `dos`, as `value` says. Null, with one line in
  /// `problem`, when there is no such layer.
  std::unique_ptr<PortLayer> (*cover)(::FileSystemVectorPort& port, const ::HandlerServices& dos,
                                      std::string_view value, std::string& problem);
};

}  // namespace quorle
