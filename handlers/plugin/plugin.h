#pragma once

#include <memory>
#include <string>

#include "quorle/handler.h"

namespace quorle::plugin {

/// Somebody's handler in a shared object, loaded as long as this lives.
class Plugin {
 public:
  /// Loads `path`, which is looked for nowhere else, and asks it for its handler. Null, with one
  /// line in `problem`, when it cannot be loaded, exports no QuorleHandler() or gives no handler.
  static std::unique_ptr<Plugin> Load(const std::string& path, std::string& problem);
  ~Plugin();
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  const ::Handler& handler() const { return *handler_; }

 private:
  Plugin() = default;

  void* object_ = nullptr;
  const ::Handler* handler_ = nullptr;
};

}  // namespace quorle::plugin
