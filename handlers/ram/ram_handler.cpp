#include "handlers/ram/ram_handler.h"

#include <cstdint>
#include <string_view>
#include <utility>

#include "handlers/common/settings.h"
#include "handlers/common/volume_port.h"
#include "handlers/ram/volume.h"

namespace quorle::ram {
namespace {

using common::KeyAnswer;
using VolumePort = common::VolumePort<Volume>;

bool ReadKeys(const ::HandlerMount& mount, VolumeSettings& settings, std::uint64_t& size) {
  return common::ReadKeys(mount, settings, "ram", ", size",
                          [&size](std::string_view key, const char* value) {
                            if (key != "size") return KeyAnswer::kUnknown;
                            constexpr auto kLeast = static_cast<std::uint64_t>(Content::kPageSize);
                            return common::Taken(common::ReadNumber(value, size) && size >= kLeast);
                          });
}

VolumePort::Port* StartVolume(const ::HandlerMount& mount) {
  VolumeSettings settings;
  settings.device = mount.DeviceName;
  settings.label = settings.device + " Disk";
  settings.version = "ram-handler 53.1 (21.11.2026)";
  std::uint64_t size = 0;
  if (!ReadKeys(mount, settings, size)) return nullptr;
  return VolumePort::StartKept(mount, std::move(settings), size);
}

constexpr ::Handler kHandler = {sizeof(::Handler),
                                QUORLE_HANDLER_VERSION,
                                "ram",
                                VolumePort::Mount<StartVolume>,
                                VolumePort::Unmount,
                                nullptr,
                                VolumePort::Discard};

}  // namespace
}  // namespace quorle::ram

const struct Handler* QuorleRamHandler() {
  return &quorle::ram::kHandler;
}
