#include <cstdint>

#include "native/interfaces.h"
#include "native/native_exec.h"
#include "platform/constants.h"

// A program for the platform that does one thing wrong, so that the test loader can be seen to
// notice. Which thing follows from the revision of dos.library: see check_loader.

namespace quorle::native {
namespace {

[[gnu::used]] constexpr char kStackCookie[] = "$STACK: 65536";
[[gnu::used]] std::uint32_t data_anchor = 1;

/// Writes to where nothing may be written.
void WriteTo(const void* place) {
  *const_cast<volatile char*>(static_cast<const char*>(place)) = 1;
}

/// Uses `left` KiB of stack and more.
std::uint32_t Recurse(std::uint32_t left) {
  volatile char frame[1024];
  frame[0] = static_cast<char>(left);
  return left == 0 ? 0 : Recurse(left - 1) + static_cast<std::uint32_t>(frame[0] == 0);
}

[[gnu::used, gnu::noinline]] void DoWrong(std::uint32_t what, ExecMain& exec, LibraryBase* library,
                                          DosMain& dos) {
  switch (what) {
    case 1:  // nothing
      break;
    case 2:                                  // a method that the tester has no business with
      reinterpret_cast<void (*)(DosMain*)>(  // NOLINT(performance-no-int-to-ptr)
          At<std::uint32_t>(Word(&dos))[1244 / 4])(&dos);
      break;
    case 3:  // a lock stays
      dos.Lock(&dos, ":", SHARED_LOCK);
      break;
    case 4:  // memory stays
    {
      const TagItem tags[] = {{0x80000001, 1 << 12}, {0x80000006, 0}, {0, 0}};
      exec.AllocVecTagList(&exec, 16, tags);
      break;
    }
    case 5:  // memory of another kind
    {
      const TagItem tags[] = {{0x80000001, 1 << 11}, {0x80000006, 0}, {0, 0}};
      exec.AllocVecTagList(&exec, 16, tags);
      break;
    }
    case 6:  // a library stays
      exec.OpenLibrary(&exec, "dos.library", 50);
      break;
    case 7:  // an interface stays
      exec.GetInterface(&exec, library, "main", 1, nullptr);
      break;
    case 8:  // somebody else's register
      asm volatile("li 13,0" ::: "memory");
      dos.IoErr(&dos);
      break;
    case 9:  // a register that must survive
      asm volatile("li 14,0" ::: "memory");
      break;
    case 10:  // the condition register
      asm volatile("li 0,0\n\tmtcrf 0x38,0" ::: "r0", "memory");
      break;
    case 11:  // a lock that is none
      dos.UnLock(&dos, 0x1234);
      break;
    case 12:  // writes to its own code
      WriteTo(reinterpret_cast<const void*>(&DoWrong));
      break;
    case 13:  // writes to a constant
      WriteTo(kStackCookie);
      break;
    case 14:  // more stack than it has asked for
      Recurse(200);
      break;
    case 15:  // a tag that means something else
    {
      const TagItem tags[] = {{OI_StringNameInput, Word("x")}, {OI_OwnerUID + 5, 1}, {0, 0}};
      dos.SetOwnerInfo(&dos, tags);
      break;
    }
    case 16:  // a 64-bit number where only 32 bits are safe
    {
      const std::uint32_t words[] = {0, 0, 0, 0};
      dos.VPrintf(&dos, "%lld\n", words);
      break;
    }
    default:
      break;
  }
}

}  // namespace

extern "C" [[gnu::used, gnu::section(".text.start")]] std::int32_t _start(const char* /*arguments*/,
                                                                          std::int32_t /*length*/,
                                                                          ExecBase* base) {
  ExecMain& exec = *base->MainInterface;
  exec.FindTask(&exec, nullptr);
  LibraryBase* const library = exec.OpenLibrary(&exec, "dos.library", 50);
  auto* const dos = static_cast<DosMain*>(exec.GetInterface(&exec, library, "main", 1, nullptr));
  DoWrong(library->version.lib_Revision, exec, library, *dos);
  exec.DropInterface(&exec, dos);
  if (library->version.lib_Revision == 17) dos->IoErr(dos);  // an interface that was given back
  exec.CloseLibrary(&exec, library);
  return 0;
}

}  // namespace quorle::native
