#include "handlers/deviate/layer.h"

#include "handlers/deviate/hidden_layer.h"
#include "handlers/deviate/misbehaviour.h"

namespace quorle::deviate {

std::unique_ptr<Layer> Layer::Over(::FileSystemVectorPort& port, const ::HandlerServices& dos,
                                   std::string_view names, std::string& problem) {
  std::vector<std::span<const Rule>> rules;
  std::vector<HiddenDeviation> hidden;
  while (true) {
    const std::string_view name = names.substr(0, names.find('+'));
    if (const Deviation* const deviation = FindDeviation(name)) {
      rules.push_back(deviation->Rules());
    } else if (const auto some = FindHiddenDeviation(name)) {
      hidden.push_back(*some);
    } else {
      problem = "no deviation is called \"" + std::string(name) +
                "\"; quorle --list-deviations lists them";
      return nullptr;
    }
    if (name.size() == names.size()) break;
    names.remove_prefix(name.size() + 1);
  }
  auto layer = std::make_unique<Layer>(port, dos, std::move(rules));
  for (const HiddenDeviation& deviation : hidden) {
    layer->hidden_.push_back(std::make_unique<HiddenLayer>(port, dos, deviation));
    if (layer->hidden_.back()->CanMount()) continue;
    problem = "the deviation " + std::string(deviation.name) + " refuses the volume";
    return nullptr;
  }
  return layer;
}

Layer::Layer(::FileSystemVectorPort& port, const ::HandlerServices& dos,
             std::vector<std::span<const Rule>> rules)
    : misbehaviour_(std::make_unique<Misbehaviour>(port, dos, std::move(rules))) {}

Layer::~Layer() {
  while (!hidden_.empty()) hidden_.pop_back();
}

}  // namespace quorle::deviate
