#include "handlers/deviate/hidden.h"

#include <algorithm>

#include "handlers/deviate/hidden_layer.h"

namespace quorle::deviate {

std::vector<HiddenDeviation> HiddenDeviations() {
  std::vector<HiddenDeviation> all;
  for (const auto& some : {HiddenInData(), HiddenInLinks(), HiddenInNames(), HiddenInRefusals(),
                           HiddenInScans(), HiddenInVolumes()}) {
    all.insert(all.end(), some.begin(), some.end());
  }
  return all;
}

std::vector<HiddenDeviation> FurtherDeviations() {
  std::vector<HiddenDeviation> all;
  for (const auto& some : {FurtherInData(), FurtherInNames(), FurtherInObjects(), FurtherInScans(),
                           FurtherInVolumes()}) {
    all.insert(all.end(), some.begin(), some.end());
  }
  return all;
}

std::optional<HiddenDeviation> FindHiddenDeviation(std::string_view name) {
  for (const auto& some : {HiddenDeviations(), FurtherDeviations()}) {
    for (const HiddenDeviation& deviation : some) {
      if (deviation.name == name) return deviation;
    }
  }
  return std::nullopt;
}

HiddenLayer::HiddenLayer(::FileSystemVectorPort& port, const ::HandlerServices& dos,
                         const HiddenDeviation& deviation)
    : deviation_(deviation), volume_(port, dos) {
  Divert(port, *this);
}

HiddenLayer::~HiddenLayer() {
  if (deviation_.at_end != nullptr && is_mounted_) deviation_.at_end(volume_);
  volume_.original().port().FSV = volume_.original().vectors();
}

bool HiddenLayer::CanMount() {
  is_mounted_ = deviation_.can_mount == nullptr || deviation_.can_mount(volume_);
  return is_mounted_;
}

void HiddenLayer::Intercept(Call& call) {
  if (deviation_.act == nullptr) return volume_.Make(call);
  deviation_.act(call, volume_);
}

void HiddenLayer::InterceptUnLock(::Lock* lock) {
  volume_.original().UnLock(lock);
}

}  // namespace quorle::deviate
