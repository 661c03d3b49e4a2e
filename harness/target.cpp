#include "harness/target.h"

#include "harness/diagnostics.h"

namespace quorle {
namespace {

constexpr std::uint32_t kNameSize = sizeof(TestContext::device_name);

/// Ends the version text right after its first ")".
void ShortenVersion(char* text) {
  for (; *text != '\0'; ++text) {
    if (*text == ')') {
      text[1] = '\0';
      return;
    }
  }
}

void PrintFilesystem(TestContext& ctx) {
  DosInterface& dos = *ctx.IDOS;
  const std::uint32_t type = ctx.dos_type;
  const std::uint32_t first = type >> 24;
  const std::uint32_t second = type >> 16 & 0xFF;
  const std::uint32_t third = type >> 8 & 0xFF;
  const std::uint32_t last = type & 0xFF;

  const Bold bold(ctx);
  dos.Printf("Host Filesystem = %s   ", ctx.version_text);
  if (last > 0x20) {
    dos.Printf("%s:0x%08lx [%lc%lc%lc%lc]\n\n", "DOSType", type, first, second, third, last);
  } else {
    dos.Printf("%s:0x%08lx [%lc%lc%lc\\%02lx]\n\n", "DOSType", type, first, second, third, last);
  }
}

}  // namespace

bool IdentifyTarget(TestContext& ctx, const DevProc*& handler) {
  DosInterface& dos = *ctx.IDOS;

  handler = dos.GetDeviceProc(ctx.device_name, nullptr);
  if (handler == nullptr) {
    dos.Printf("ERROR: Can't find %s\n", ctx.device_name);
    return false;
  }
  const PortHandle port = handler->dvp_Port;
  if (!dos.IsFileSystem(port)) {
    const Bold bold(ctx);
    dos.Printf("ERROR, %s is not identified as a filesystem.\n\n", ctx.device_name);
    return false;
  }

  if (!dos.DevNameFromPort(port, ctx.device_name, kNameSize, true)) {
    dos.Printf("ERROR: Can't get full handler name from %s\n", ctx.device_name);
    return false;
  }
  if (!dos.VolNameFromPort(port, ctx.volume_name, kNameSize, false)) {
    dos.DevNameFromPort(port, ctx.volume_name, kNameSize, false);
  }

  ClearScreen(ctx);
  if (ctx.volume_name[0] != '\0') {
    dos.Printf("Starting tests for Device Name= %s        Volume Name= %s\n", ctx.device_name,
               ctx.volume_name);
  } else {
    dos.Printf("Starting tests for Device Name= %s \n", ctx.device_name);
  }

  // What the filesystem does not report stays zero.
  dos.FileSystemAttr(port, ctx.version_text, sizeof(ctx.version_text), ctx.dos_type);
  // A filesystem may fill the buffer to its last byte.
  ctx.version_text[sizeof(ctx.version_text) - 1] = '\0';

  if (!dos.GetDiskInfo(port, ctx.disk_info)) {
    const Bold bold(ctx);
    dos.Printf("ERROR, IDOS->GetDiskInfo() failed for %s.\n\n", ctx.device_name);
    return false;
  }
  if (ctx.dos_type == 0 && ctx.disk_info.id_DiskType != 0) {
    dos.Printf(
        "----- NOTE: DOSType unavailable via IDOS->FileSystemAttr() - Falling back to IDOS->GetDiskInfo()\n");
    ctx.dos_type = static_cast<std::uint32_t>(ctx.disk_info.id_DiskType);
  }

  ShortenVersion(ctx.version_text);
  PrintFilesystem(ctx);

  switch (ctx.disk_info.id_DiskState) {
    case ID_DISKSTATE_VALIDATED:
      return true;
    case ID_DISKSTATE_WRITE_PROTECTED:
      dos.Printf("ERROR, %s is write-protected, cannot perform tests.\n\n", ctx.device_name);
      return false;
    default:
      dos.Printf("ERROR, %s is not validated, cannot perform tests.\n\n", ctx.device_name);
      return false;
  }
}

}  // namespace quorle
