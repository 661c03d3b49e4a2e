#include <cstdint>

#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "tests/groups.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "ReadSoftLink()";

constexpr std::int32_t kContentsSize = 256;

// What ReadSoftLink() returns instead of a length.
constexpr std::int32_t kReadFailed = -1;
constexpr std::int32_t kBufferTooSmall = -2;

/// Makes a file and a soft link to it. Returns kPassed, or what the sub-test is to return: then the
/// reason was reported, unless it is kFatal.
std::int32_t MakeFileAndSoftLink(TestContext& ctx, ScratchName& name, ScratchName& link_name) {
  DosInterface& dos = *ctx.IDOS;
  if (!UniqueFile(ctx, name)) return kFailed;
  if (!MakeFile(ctx, name, kLabel)) return kFailed;
  if (!UniqueFile(ctx, link_name)) return kFailed;
  if (!dos.MakeLink(link_name, name, LINK_SOFT)) {
    if (NotImplemented(ctx)) return kFatal;
    dos.Printf("\nERROR: %s test failed, cannot MakeLink(LINK_SOFT); #%n %m\n\n", kLabel);
    return kFailed;
  }
  return kPassed;
}

// 1. A soft link can be read; what it holds is not compared.
std::int32_t ReadableLink(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  const PortHandle port = dos.FileLockOf(ctx.root_lock).fl_Port;
  ScratchName name;
  ScratchName link_name;
  char contents[kContentsSize];
  const AtEnd release([&] {
    dos.Close({});  // the file was closed before; the call is made all the same
    CleanUp(ctx, link_name, kLabel, 1);
    CleanUp(ctx, name, kLabel, 2);
  });

  const std::int32_t status = MakeFileAndSoftLink(ctx, name, link_name);
  if (status != kPassed) return status;

  if (dos.ReadSoftLink(port, ctx.root_lock, link_name, contents, kContentsSize) < 0) {
    if (NotImplemented(ctx)) return kFatal;
    // As it stands: the operation under test failed, and the error is not in bold.
    dos.Printf("\nERROR: %s test failed, cannot ReadSoftLink(); #%n %m\n\n", kLabel);
    return kFailed;
  }
  return kPassed;
}

// 2. A buffer that is too small for what the link holds.
std::int32_t BufferTooSmall(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  const PortHandle port = dos.FileLockOf(ctx.root_lock).fl_Port;
  ScratchName name;
  ScratchName link_name;
  char contents[kContentsSize];
  const AtEnd release([&] {
    dos.Close({});  // the file was closed before; the call is made all the same
    CleanUp(ctx, link_name, kLabel, 3);
    CleanUp(ctx, name, kLabel, 4);
  });

  const std::int32_t status = MakeFileAndSoftLink(ctx, name, link_name);
  if (status != kPassed) return status;
  const std::int32_t length =
      dos.ReadSoftLink(port, ctx.root_lock, link_name, contents, kContentsSize);
  if (length < 4) {
    dos.Printf(
        "\nERROR: %s test failed, internal buffer size issue happened that shouldn't have.\n\n",
        kLabel);
    return kFailed;
  }

  // A length that no link in this buffer has must not make the buffer larger than it is.
  const std::int32_t too_small = length - 2 < kContentsSize ? length - 2 : kContentsSize;
  const std::int32_t result = dos.ReadSoftLink(port, ctx.root_lock, link_name, contents, too_small);
  if (result >= 0) {
    const Bold bold(ctx);
    dos.SetIoErr(ERROR_LINE_TOO_LONG);
    dos.Printf("\nERROR: %s test succeeded, when it should have failed; #%n %m\n", kLabel);
    dos.Printf("       The supplied buffer was too-small but failed to return an error.\n\n");
    return kFailed;
  }
  if (result != kBufferTooSmall) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: %s failed ok, but with the wrong primary return code, when reading into a too-small buffer; %ld instead of -2\n\n",
        kLabel, result);
    return kFailed;
  }
  if (WrongError(ctx, ERROR_LINE_TOO_LONG)) {
    dos.Printf(
        "\nWARN:  %s failed ok, reading into a buffer that was too-small, but the error code was wrong; #%n %m\n",
        kLabel);
    ShouldHaveBeen(ctx, ERROR_LINE_TOO_LONG);
    return kFailed;
  }
  return kPassed;
}

// 3. A file that is no link.
std::int32_t PlainFileIsRefused(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  const PortHandle port = dos.FileLockOf(ctx.root_lock).fl_Port;
  ScratchName name;
  char contents[kContentsSize];
  const AtEnd release([&] {
    dos.Close({});  // the file was closed before; the call is made all the same
    CleanUp(ctx, name, kLabel, 5);
  });

  if (!UniqueFile(ctx, name)) return kFailed;
  const FileHandle file = dos.Open(name, MODE_READWRITE);
  if (!file) {
    // As it stands: names MODE_NEWFILE, opens MODE_READWRITE.
    dos.Printf("\nERROR: %s test failed, cannot Open(\"%s\",MODE_NEWFILE); #%n %m\n\n", kLabel,
               name);
    return kFailed;
  }
  dos.Close(file);

  const std::int32_t result = dos.ReadSoftLink(port, ctx.root_lock, name, contents, kContentsSize);
  if (result >= 0) {
    const Bold bold(ctx);
    dos.SetIoErr(ERROR_OBJECT_WRONG_TYPE);
    dos.Printf("\nERROR: %s test succeeded, when it should have failed; #%n %m\n", kLabel);
    dos.Printf("       Attempting to use %s on a file object shall always cause failure.\n\n",
               kLabel);
    return kFailed;
  }
  if (result != kReadFailed) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: %s failed ok, but with the wrong primary return code, when reading a file object; %ld instead of -1\n\n",
        kLabel, result);
    return kFailed;
  }
  if (WrongError(ctx, ERROR_OBJECT_WRONG_TYPE)) {
    dos.Printf(
        "\nWARN:  %s failed ok, trying to read a file object, but the error code was wrong; #%n %m\n",
        kLabel);
    ShouldHaveBeen(ctx, ERROR_OBJECT_WRONG_TYPE);
    return kFailed;
  }
  return kPassed;
}

// 4. A hard link.
std::int32_t HardLinkIsRefused(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  const PortHandle port = dos.FileLockOf(ctx.root_lock).fl_Port;
  ScratchName name;
  ScratchName link_name;
  char contents[kContentsSize];
  FileHandle file;
  LockHandle file_lock;
  const AtEnd release([&] {
    dos.UnLock(file_lock);
    if (file) dos.Close(file);
    CleanUp(ctx, link_name, kLabel, 6);
    CleanUp(ctx, name, kLabel, 7);
  });

  if (!UniqueFile(ctx, name)) return kFailed;
  file = dos.Open(name, MODE_READWRITE);
  if (!file) {
    // As it stands: names MODE_NEWFILE, opens MODE_READWRITE.
    dos.Printf("\nERROR: %s test failed, cannot Open(\"%s\",MODE_NEWFILE); #%n %m\n\n", kLabel,
               name);
    return kFailed;
  }
  file_lock = dos.DupLockFromFH(file);
  if (!file_lock) {
    dos.Printf("\nERROR: %s test failed, cannot DupLockFromFH(); #%n %m\n\n", kLabel);
    return kFailed;
  }
  dos.Close(file);
  file = {};
  if (!UniqueFile(ctx, link_name)) return kFailed;
  if (!dos.MakeLink(link_name, file_lock, LINK_HARD)) {
    // A filesystem without hard links has nothing to show here.
    if (NotImplemented(ctx)) return kPassed;
    dos.Printf("\nERROR: %s test failed, cannot MakeLink(LINK_HARD); #%n %m\n\n", kLabel);
    return kFailed;
  }

  // As it stands: which negative value comes back is not checked, unlike above.
  if (dos.ReadSoftLink(port, ctx.root_lock, link_name, contents, kContentsSize) >= 0) {
    const Bold bold(ctx);
    dos.SetIoErr(ERROR_OBJECT_WRONG_TYPE);
    dos.Printf("\nERROR: %s test succeeded, when it should have failed; #%n %m\n", kLabel);
    dos.Printf("       Attempting to read a hardlink with %s shall always cause failure.\n\n",
               kLabel);
    return kFailed;
  }
  if (WrongError(ctx, ERROR_OBJECT_WRONG_TYPE)) {
    dos.Printf(
        "\nWARN:  %s failed ok, trying to read a hardlink, but the error code was wrong; #%n %m\n",
        kLabel);
    ShouldHaveBeen(ctx, ERROR_OBJECT_WRONG_TYPE);
    return kFailed;
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"ReadableLink", ReadableLink},              // 1
    {"BufferTooSmall", BufferTooSmall},          // 2
    {"PlainFileIsRefused", PlainFileIsRefused},  // 3
    {"HardLinkIsRefused", HardLinkIsRefused},    // 4
    {},
};

}  // namespace

const TestGroup kReadSoftLinkGroup = {kLabel, kSubTests};

}  // namespace quorle
