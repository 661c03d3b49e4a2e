#pragma once

#include "handlers/deviate/hidden.h"
#include "handlers/deviate/own_volume.h"

namespace quorle::deviate {

/// Puts a hidden deviation over a port: replaces its functions as long as it lives.
class HiddenLayer final : public Interceptor {
 public:
  /// Over `port`, whose handler got `dos`; both must outlive it.
  HiddenLayer(::FileSystemVectorPort& port, const ::HandlerServices& dos,
              const HiddenDeviation& deviation);
  /// Does what the deviation does at the end, and gives the port its own functions back.
  ~HiddenLayer();
  HiddenLayer(const HiddenLayer&) = delete;
  HiddenLayer& operator=(const HiddenLayer&) = delete;

  /// Whether the deviation lets the volume be mounted.
  bool CanMount();

  void Intercept(Call& call) override;
  void InterceptUnLock(::Lock* lock) override;
  const ::FileSystemVectors& OwnVectors() const override { return volume_.original().vectors(); }

 private:
  HiddenDeviation deviation_;
  OwnVolume volume_;
  bool is_mounted_ = true;
};

}  // namespace quorle::deviate
