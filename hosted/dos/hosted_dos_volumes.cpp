#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "hosted/dos/hosted_dos.h"

namespace quorle {
namespace {

/// The name of a device without a filesystem's port, and of no port at all.
constexpr const char* kNilName = "NIL";

/// Packets with a lock as their first argument and their first result, all that DoPkt() is for; two
/// of them need a name.
bool IsLockPacket(std::int32_t action, bool has_name) {
  switch (action) {
    case QUORLE_ACTION_LOCATE_OBJECT:
    case QUORLE_ACTION_CREATE_DIR:
      return has_name;
    case QUORLE_ACTION_COPY_LOCK:
    case QUORLE_ACTION_PARENT:
      return true;
    default:
      return false;
  }
}

/// The platform's truth values in the argument of a handler.
constexpr std::int32_t kOn = -1;
constexpr std::int32_t kOff = 0;

}  // namespace

HandlerPort* HostedDos::PortOf(const char* name) {
  if (name == nullptr) return Fail<HandlerPort*>(ERROR_REQUIRED_ARG_MISSING);
  const std::string_view text = name;
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos || colon == 0) {
    // A program that has just started stands nowhere yet: a word without a device must not quietly
    // mean the volume that happened to be mounted first.
    if (!current_dir_) return Fail<HandlerPort*>(ERROR_DEVICE_NOT_MOUNTED);
    HandlerPort* const port = Start().port;
    return port != nullptr ? port : Fail<HandlerPort*>(ERROR_INVALID_LOCK);
  }
  HandlerPort* const port = parts_.list.Find(text.substr(0, colon)).port;
  return port != nullptr ? port : Fail<HandlerPort*>(ERROR_DEVICE_NOT_MOUNTED);
}

HandlerPort* HostedDos::PortOfDevice(const char* device) {
  // Without its colon the name would mean the current volume: not one to be changed by mistake.
  if (device != nullptr && !std::string_view(device).ends_with(':')) {
    return Fail<HandlerPort*>(ERROR_INVALID_COMPONENT_NAME);
  }
  return PortOf(device);
}

const DevProc* HostedDos::GetDeviceProc(const char* name, const DevProc* previous) {
  // A second member of an assign: there are no assigns of more than one.
  if (previous != nullptr) return Fail<const DevProc*>(ERROR_NO_MORE_ENTRIES);
  HandlerPort* const port = PortOf(name);
  if (port == nullptr) return nullptr;
  auto devproc = std::make_unique<DevProc>(DevProc{HandleOf(*port)});
  const DevProc* const key = devproc.get();
  device_procs_.emplace(key, std::move(devproc));
  return key;
}

void HostedDos::FreeDeviceProc(const DevProc* devproc) {
  device_procs_.erase(devproc);
}

bool HostedDos::IsFileSystem(PortHandle port) {
  HandlerPort* const handler = PortBehind(port);
  return handler != nullptr && handler->IsFileSystem();
}

bool HostedDos::CopyName(const std::string& name, char* buffer, std::uint32_t size,
                         bool add_colon) {
  const std::size_t needed = name.size() + (add_colon ? 1 : 0) + 1;
  if (needed > size) return Fail(ERROR_LINE_TOO_LONG);
  char* const end = std::copy(name.begin(), name.end(), buffer);
  std::strcpy(end, add_colon ? ":" : "");
  return true;
}

bool HostedDos::DevNameFromPort(PortHandle port, char* buffer, std::uint32_t size, bool add_colon) {
  if (buffer == nullptr) return Fail(ERROR_REQUIRED_ARG_MISSING);
  if (size > 0) buffer[0] = '\0';
  if (!port) return CopyName(kNilName, buffer, size, add_colon);
  const HandlerPort* const handler = PortBehind(port);
  return handler != nullptr && CopyName(handler->device_name(), buffer, size, add_colon);
}

bool HostedDos::VolNameFromPort(PortHandle port, char* buffer, std::uint32_t size, bool add_colon) {
  if (buffer == nullptr) return Fail(ERROR_REQUIRED_ARG_MISSING);
  if (size > 0) buffer[0] = '\0';
  if (!port) return CopyName(kNilName, buffer, size, add_colon);
  const HandlerPort* const handler = PortBehind(port);
  if (handler == nullptr) return false;
  // The platform does not say which code a handler without a volume node gets: no disk, for us.
  if (!handler->volume_name()) return Fail(ERROR_NO_DISK);
  return CopyName(*handler->volume_name(), buffer, size, add_colon);
}

bool HostedDos::FileSystemAttr(PortHandle port, char* version, std::uint32_t version_size,
                               std::uint32_t& dos_type) {
  HandlerPort* const handler = PortBehind(port);
  if (handler == nullptr) return false;
  // A handler stops at the first question that it does not know, so each question is a call of its
  // own; the first code stays.
  const std::array<::TagItem, 3> version_tags = {{
      {QUORLE_FSA_VersionStringR, reinterpret_cast<std::uintptr_t>(version)},
      {QUORLE_FSA_VersionStringR_BufSize, version_size},
      {QUORLE_TAG_DONE, 0},
  }};
  const std::array<::TagItem, 2> type_tags = {{
      {QUORLE_FSA_DOSTypeR, reinterpret_cast<std::uintptr_t>(&dos_type)},
      {QUORLE_TAG_DONE, 0},
  }};
  std::int32_t version_res2 = 0;
  const bool has_version = handler->FileSystemAttr(version_res2, version_tags.data());
  std::int32_t type_res2 = 0;
  const bool has_type = handler->FileSystemAttr(type_res2, type_tags.data());
  if (!has_version) return Fail(version_res2);
  return has_type || Fail(type_res2);
}

InfoData HostedDos::InfoOf(const HandlerPort& port, const ::InfoData& data) {
  return {.id_NumSoftErrors = data.id_NumSoftErrors,
          .id_UnitNumber = data.id_UnitNumber,
          .id_DiskState = data.id_DiskState,
          .id_NumBlocks = static_cast<std::int32_t>(data.id_NumBlocks),
          .id_NumBlocksUsed = static_cast<std::int32_t>(data.id_NumBlocksUsed),
          .id_BytesPerBlock = static_cast<std::int32_t>(data.id_BytesPerBlock),
          .id_DiskType = data.id_DiskType,
          // The platform's address of the volume node; here it shows that there is one.
          .id_VolumeNode = port.volume_name() ? 1U : 0U,
          .id_InUse = data.id_InUse};
}

/// The device is asked, no volume required.
bool HostedDos::DiskInfoOf(HandlerPort& port, InfoData& info) {
  ::InfoData data{};
  std::int32_t res2 = 0;
  if (!port.DeviceInfoData(res2, data)) return Fail(res2);
  info = InfoOf(port, data);
  return true;
}

bool HostedDos::GetDiskInfo(PortHandle port, InfoData& info) {
  HandlerPort* const handler = PortBehind(port);
  return handler != nullptr && DiskInfoOf(*handler, info);
}

bool HostedDos::GetDiskInfo(const char* device, InfoData& info) {
  HandlerPort* const handler = PortOf(device);
  return handler != nullptr && DiskInfoOf(*handler, info);
}

bool HostedDos::Relabel(const char* device, const char* volume) {
  if (volume == nullptr) return Fail(ERROR_REQUIRED_ARG_MISSING);
  HandlerPort* const handler = PortOfDevice(device);
  if (handler == nullptr) return false;
  std::int32_t res2 = 0;
  return AttributeChanged(handler->Relabel(res2, volume), *handler, nullptr, "") || Fail(res2);
}

bool HostedDos::WriteProtectVolume(const char* device, bool on, std::uint32_t key,
                                   std::uint32_t reserved) {
  if (reserved != 0) return Fail(ERROR_BAD_NUMBER);
  HandlerPort* const handler = PortOfDevice(device);
  if (handler == nullptr) return false;
  const std::int32_t state = on ? kOn : kOff;
  std::int32_t res2 = 0;
  return handler->WriteProtect(res2, state, key) || Fail(res2);
}

LockHandle HostedDos::DoPkt(PortHandle port, std::int32_t action, LockHandle lock,
                            const std::uint8_t* name, std::int32_t arg3, std::int32_t arg4,
                            const std::uint8_t* arg5) {
  HandlerPort* const handler = PortBehind(port);
  if (handler == nullptr) return {};
  PortObject place;
  if (lock) {
    const PortObject* const found = LockBehind(lock);
    if (found == nullptr) return {};
    place = *found;
  }
  // The result of any other packet could not be distinguished from a lock here.
  if (!IsLockPacket(action, name != nullptr)) return Fail<LockHandle>(ERROR_ACTION_NOT_KNOWN);
  ::DosPacket packet{};
  packet.dp_Type = action;
  packet.dp_Arg1 = reinterpret_cast<std::intptr_t>(place.lock);
  packet.dp_Arg2 = reinterpret_cast<std::intptr_t>(name);
  packet.dp_Arg3 = arg3;
  packet.dp_Arg4 = arg4;
  packet.dp_Arg5 = reinterpret_cast<std::intptr_t>(arg5);
  handler->Send(packet);
  error_ = packet.dp_Res2;
  // NOLINTNEXTLINE(performance-no-int-to-ptr): a packet carries the lock as a number
  auto* const result = reinterpret_cast<::Lock*>(packet.dp_Res1);
  return AddLock(*handler, result);
}

bool HostedDos::CopyStringSTRToBSTR(const char* text, std::uint8_t* buffer, std::uint32_t size) {
  if (buffer == nullptr || size == 0) return false;
  const std::string_view source = text == nullptr ? "" : text;
  // The length byte and the closing zero, which dos adds for handlers that want one, take room too.
  constexpr std::size_t kMaxLength = 255;
  const std::size_t room = size < 2 ? 0 : std::min<std::size_t>(size - 2, kMaxLength);
  const std::size_t length = std::min(source.size(), room);
  buffer[0] = static_cast<std::uint8_t>(length);
  std::copy_n(source.begin(), length, buffer + 1);
  if (size >= 2) buffer[1 + length] = 0;
  return length == source.size();
}

FileLock HostedDos::FileLockOf(LockHandle lock) {
  const PortObject* const place = locks_.Find(lock);
  return {place == nullptr ? PortHandle{} : HandleOf(*place->port)};
}

PortRecord HostedDos::PortRecordOf(PortHandle port) {
  const auto found = ports_.find(port.value);
  return found == ports_.end() ? PortRecord{} : found->second->Record();
}

}  // namespace quorle
