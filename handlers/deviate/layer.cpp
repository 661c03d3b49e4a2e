#include "handlers/deviate/layer.h"

#include "handlers/deviate/misbehaviour.h"

namespace quorle::deviate {

std::unique_ptr<Layer> Layer::Over(::FileSystemVectorPort& port, const ::HandlerServices& dos,
                                   std::string_view names, std::string& problem) {
  std::vector<std::span<const Rule>> rules;
  while (true) {
    const std::string_view name = names.substr(0, names.find('+'));
    const Deviation* const deviation = FindDeviation(name);
    if (deviation == nullptr) {
      problem = "no deviation is called \"" + std::string(name) +
                "\"; quorle --list-deviations tells their names";
      return nullptr;
    }
    rules.push_back(deviation->Rules());
    if (name.size() == names.size()) break;
    names.remove_prefix(name.size() + 1);
  }
  return std::make_unique<Layer>(port, dos, std::move(rules));
}

Layer::Layer(::FileSystemVectorPort& port, const ::HandlerServices& dos,
             std::vector<std::span<const Rule>> rules)
    : misbehaviour_(std::make_unique<Misbehaviour>(port, dos, std::move(rules))) {}

Layer::~Layer() = default;

}  // namespace quorle::deviate
