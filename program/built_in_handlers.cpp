#include "program/built_in_handlers.h"

#include <sstream>

#include "handlers/deviate/deviation.h"
#include "handlers/deviate/further_notices.h"
#include "handlers/deviate/hidden.h"
#include "handlers/deviate/layer.h"
#include "handlers/hostdir/hostdir_handler.h"
#include "handlers/ram/ram_handler.h"

namespace quorle {
namespace {

class DeviatingLayer final : public PortLayer {
 public:
  explicit DeviatingLayer(std::unique_ptr<deviate::Layer> layer) : layer_(std::move(layer)) {}

 private:
  std::unique_ptr<deviate::Layer> layer_;
};

std::unique_ptr<PortLayer> Deviate(::FileSystemVectorPort& port, const ::HandlerServices& dos,
                                   std::string_view names, std::string& problem) {
  auto layer = deviate::Layer::Over(port, dos, names, problem);
  if (layer == nullptr) return nullptr;
  return std::make_unique<DeviatingLayer>(std::move(layer));
}

/// "NAME: the filesystem ...; noticed by Further.Group.Check, Further.Group.Other"
std::string HiddenLine(const deviate::HiddenDeviation& deviation) {
  std::string line = std::string(deviation.name) + ": the filesystem " +
                     std::string(deviation.does) + "; noticed by";
  std::istringstream checks{std::string(deviate::FurtherNotices(deviation.name))};
  const char* separator = " Further.";
  for (std::string check; checks >> check;) {
    line += separator + check;
    separator = ", Further.";
  }
  return checks.str().empty() ? line + " none of the tests" : line;
}

}  // namespace

std::vector<NamedHandler> BuiltInHandlers() {
  return {{"ram", QuorleRamHandler()}, {"dir", QuorleHostdirHandler()}};
}

std::vector<NamedLayer> BuiltInLayers() {
  return {{"deviate", Deviate}};
}

std::string DeviationList() {
  std::string list;
  for (const deviate::Deviation& deviation : deviate::Deviations()) {
    list += std::string(deviation.name) + ": the filesystem " + std::string(deviation.does) +
            "; noticed by";
    const char* separator = " ";
    for (const deviate::Notice& notice : deviation.Notices()) {
      list += separator + std::to_string(notice.test);
      separator = ", ";
    }
    if (!deviation.elsewhere.empty()) list += " and " + std::string(deviation.elsewhere);
    list += '\n';
  }
  for (const deviate::HiddenDeviation& deviation : deviate::HiddenDeviations()) {
    list += HiddenLine(deviation) + "; quorle explore finds it\n";
  }
  for (const deviate::HiddenDeviation& deviation : deviate::FurtherDeviations()) {
    list += HiddenLine(deviation) + '\n';
  }
  return list;
}

std::vector<MountSpec> StandardMounts() {
  const auto ram = [](const char* name, const char* volume) {
    MountSpec spec;
    spec.name = name;
    spec.handler = "ram";
    spec.keys = {{"volume", volume}};
    return spec;
  };
  // A volume may not have the name of its device.
  return {ram("RAM", "Ram Disk"), ram("ENV", "Env Disk")};
}

}  // namespace quorle
