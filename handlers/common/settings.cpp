#include "handlers/common/settings.h"

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <system_error>

#include "handlers/common/names.h"

namespace quorle::common {
namespace {

bool ReadState(std::string_view text, VolumeSettings& settings) {
  settings.validated = text != "validating";
  settings.write_protected = text == "write-protected";
  return text == "validated" || text == "validating" || text == "write-protected";
}

/// The first version in a text, as "name 53.1 (21.11.2026)" has it; `otherwise` when it has none.
std::uint32_t FindVersion(const std::string& text, std::uint32_t otherwise) {
  for (std::size_t at = text.find(' '); at != std::string::npos; at = text.find(' ', at + 1)) {
    std::uint16_t version = 0;
    std::uint16_t revision = 0;
    const char* const end = text.data() + text.size();
    const auto [point, error] = std::from_chars(text.data() + at + 1, end, version);
    if (error != std::errc() || point == end || *point != '.') continue;
    if (std::from_chars(point + 1, end, revision).ec != std::errc()) continue;
    return static_cast<std::uint32_t>(version) << 16 | revision;
  }
  return otherwise;
}

}  // namespace

KeyAnswer ReadCommonKey(std::string_view key, const char* value, VolumeSettings& settings) {
  if (key == "volume") {
    settings.label = value;
    return Taken(settings.label.empty() || IsName(settings.label));
  }
  if (key == "dostype") return Taken(ReadNumber(value, settings.dos_type));
  if (key == "version") {
    settings.version = value;
    settings.version_number = FindVersion(settings.version, settings.version_number);
    return KeyAnswer::kTaken;
  }
  if (key == "state") return Taken(ReadState(value, settings));
  return KeyAnswer::kUnknown;
}

void ReportKey(const ::HandlerMount& mount, const ::MountKey& pair, KeyAnswer answer,
               const char* handler, const char* keys) {
  if (answer == KeyAnswer::kBadValue) {
    std::snprintf(mount.Problem, mount.ProblemSize, "%s=%s is no value for this key", pair.Key,
                  pair.Value);
  } else {
    std::snprintf(mount.Problem, mount.ProblemSize,
                  "the %s handler knows no key %s, only volume, dostype, version, state%s", handler,
                  pair.Key, keys);
  }
}

bool IsNoLabel(const VolumeSettings& settings, std::string_view name) {
  return settings.nameless && SameName(name, settings.device);
}

const std::string& RootName(const VolumeSettings& settings) {
  return settings.label.empty() ? settings.device : settings.label;
}

DosError WriteProblem(const VolumeSettings& settings) {
  if (settings.write_protected) return ERROR_DISK_WRITE_PROTECTED;
  return settings.validated ? kNoError : ERROR_DISK_NOT_VALIDATED;
}

std::int32_t DiskState(const VolumeSettings& settings) {
  if (settings.write_protected) return ID_DISKSTATE_WRITE_PROTECTED;
  return settings.validated ? ID_DISKSTATE_VALIDATED : ID_DISKSTATE_VALIDATING;
}

DosError WriteProtect(VolumeSettings& settings, bool on, std::uint32_t key) {
  if (settings.write_protected && key != settings.key) return ERROR_BAD_NUMBER;
  settings.write_protected = on;
  settings.key = on ? key : 0;
  return kNoError;
}

}  // namespace quorle::common
