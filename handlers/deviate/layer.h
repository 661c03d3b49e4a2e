#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "handlers/deviate/deviation.h"
#include "quorle/handler.h"

namespace quorle::deviate {

class HiddenLayer;
class Misbehaviour;

/// A layer between dos and a mounted handler: as long as it lives, the functions of the handler's port
/// misbehave as some deviations say. It takes the port's DOSPrivate for itself.
class Layer {
 public:
  /// Over `port`, whose handler got `dos`; both must outlive it. `names` are names of deviations, hidden
  /// ones too, with "+" between them. Null, with one line in `problem`, when one of them is not known or
  /// does not let the volume be mounted.
  static std::unique_ptr<Layer> Over(::FileSystemVectorPort& port, const ::HandlerServices& dos,
                                     std::string_view names, std::string& problem);
  /// The same with other rules, which must outlive the layer too.
  Layer(::FileSystemVectorPort& port, const ::HandlerServices& dos,
        std::vector<std::span<const Rule>> rules);
  /// Gives the port its own functions back.
  ~Layer();
  Layer(const Layer&) = delete;
  Layer& operator=(const Layer&) = delete;

 private:
  std::unique_ptr<Misbehaviour> misbehaviour_;
  std::vector<std::unique_ptr<HiddenLayer>> hidden_;  ///< each over those before it
};

}  // namespace quorle::deviate
