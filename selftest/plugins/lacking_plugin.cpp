#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string_view>
#include <vector>

#include "handlers/ram/ram_handler.h"

namespace {

/// Takes the function at `place` of the table, from 1, out of it; false when there is no such place.
bool Remove(::FileSystemVectors& vectors, unsigned long place) {
  using Function = void (*)();
  const std::span all(
      reinterpret_cast<std::byte*>(&vectors) + offsetof(::FileSystemVectors, FSLock),
      reinterpret_cast<std::byte*>(&vectors.End_Marker));
  if (place < 1 || place > all.size() / sizeof(Function)) return false;
  std::ranges::fill(all.subspan((place - 1) * sizeof(Function), sizeof(Function)), std::byte{0});
  return true;
}

/// The filesystem in memory without some of its functions. A mount key beside those of the
/// filesystem: without=N[+N...], their places in the table.
::FileSystemVectorPort* Mount(const ::HandlerMount* mount) {
  const char* without = nullptr;
  std::vector<::MountKey> keys;
  for (std::uint32_t i = 0; i < mount->KeyCount; ++i) {
    if (std::string_view(mount->Keys[i].Key) == "without") {
      without = mount->Keys[i].Value;
    } else {
      keys.push_back(mount->Keys[i]);
    }
  }
  ::HandlerMount request = *mount;
  request.Keys = keys.data();
  request.KeyCount = static_cast<std::uint32_t>(keys.size());
  ::FileSystemVectorPort* const port = QuorleRamHandler()->Mount(&request);
  while (port != nullptr && without != nullptr) {
    char* end = nullptr;
    if (!Remove(port->FSV, std::strtoul(without, &end, 10))) {
      QuorleRamHandler()->Unmount(port);
      return nullptr;
    }
    without = *end == '+' ? end + 1 : nullptr;
  }
  return port;
}

void Unmount(::FileSystemVectorPort* port) {
  QuorleRamHandler()->Unmount(port);
}

}  // namespace

const struct Handler* QuorleHandler(uint32_t version) {
  static const ::Handler handler = {
      sizeof handler, QUORLE_HANDLER_VERSION,     "lacking", Mount, Unmount,
      nullptr,        QuorleRamHandler()->Discard};
  return version >= QUORLE_HANDLER_VERSION ? &handler : nullptr;
}
