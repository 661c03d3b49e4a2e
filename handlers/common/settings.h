#pragma once

#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>

#include "handlers/common/dos_error.h"
#include "quorle/handler.h"

namespace quorle::common {

/// How a volume was mounted, as far as all filesystems have it in common, and the state it is in.
struct VolumeSettings {
  std::string device;  ///< is used where there is no volume name
  std::string label;   ///< the volume's name; empty: none
  std::uint32_t dos_type = 0x444F5309;
  std::uint32_t version_number = 53U << 16 | 1;  ///< the version, the revision in the low half
  std::string version;
  bool validated = true;
  bool write_protected = false;
  std::uint32_t key = 0;  ///< what ends the write protection
  bool nameless = false;  ///< whether it was mounted without a label; VolumePort::Start() notes it
};

/// What a handler made of a key of its mount.
enum class KeyAnswer : std::uint8_t { kTaken, kBadValue, kUnknown };

/// The answer for a key that is known.
constexpr KeyAnswer Taken(bool good) {
  return good ? KeyAnswer::kTaken : KeyAnswer::kBadValue;
}

/// A number in decimal, or hexadecimal after "0x".
template <class Number>
bool ReadNumber(std::string_view text, Number& number) {
  int base = 10;
  if (text.starts_with("0x") || text.starts_with("0X")) {
    text.remove_prefix(2);
    base = 16;
  }
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  return error == std::errc() && end == text.data() + text.size();
}

/// Takes one of the keys that all filesystems know: volume, dostype, version, state.
KeyAnswer ReadCommonKey(std::string_view key, const char* value, VolumeSettings& settings);

/// Says in the mount's `Problem` that a key is refused; `keys` are those that the handler knows
/// beside the common ones, as ", size".
void ReportKey(const ::HandlerMount& mount, const ::MountKey& pair, KeyAnswer answer,
               const char* handler, const char* keys);

/// Calls `read(key, value)`, which returns a KeyAnswer, for every key of a mount, and ReadCommonKey()
/// for those that it does not know. False, with the reason in `Problem`, at the first that is
/// refused.
template <class Read>
bool ReadKeys(const ::HandlerMount& mount, VolumeSettings& settings, const char* handler,
              const char* keys, const Read& read) {
  for (std::uint32_t i = 0; i < mount.KeyCount; ++i) {
    const ::MountKey& pair = mount.Keys[i];
    KeyAnswer answer = read(std::string_view(pair.Key), pair.Value);
    if (answer == KeyAnswer::kUnknown) answer = ReadCommonKey(pair.Key, pair.Value, settings);
    if (answer == KeyAnswer::kTaken) continue;
    ReportKey(mount, pair, answer, handler, keys);
    return false;
  }
  return true;
}

/// Whether `name` means no label: a volume that was mounted without one goes by the name of
/// its device, and can be given it back.
bool IsNoLabel(const VolumeSettings& settings, std::string_view name);
/// What the root is called.
const std::string& RootName(const VolumeSettings& settings);
/// Whether a change is possible: 0, 213 or 214.
DosError WriteProblem(const VolumeSettings& settings);
/// The ID_DISKSTATE_... of the volume.
std::int32_t DiskState(const VolumeSettings& settings);
/// Turns write protection on or off. 115 for a key that is not the one it was turned on with.
DosError WriteProtect(VolumeSettings& settings, bool on, std::uint32_t key);

}  // namespace quorle::common
