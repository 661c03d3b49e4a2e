#pragma once

#include <cstdint>

#include "platform/constants.h"
#include "platform/dos.h"
#include "platform/exec.h"
#include "platform/handles.h"
#include "platform/records.h"
#include "platform/utility.h"

namespace quorle {

/// What ReadArgs() reads the command line by.
extern const char kArgumentTemplate[];

/// The words of the command line, in the order of the template.
enum ArgumentIndex : std::size_t {
  kDeviceArgument,
  kNoInfoMessagesArgument,
  kNoWarnMessagesArgument,
  kNoRootMessagesArgument,
  kAbortOnErrArgument,
  kFirstTestNumberArgument,
  kLastTestNumberArgument,
  kTestNumberArgument,
  kArgumentCount,
};

/// The state of one run, and the first argument of every group, sub-test and helper. Allocated
/// zero-filled at start-up; only the entry and the target identification write to it, except
/// `last_error`, and where a test gives the lock on the root back for a while
/// (tests/further/destruction.h).
struct TestContext {
  const Library* dos_base;
  const Library* utility_base;
  const Process* process;
  std::uint32_t dos_version;  ///< of dos.library: version * 65536 + revision
  ExecInterface* IExec;
  DosInterface* IDOS;
  UtilityInterface* IUtility;
  std::int32_t
      last_error;      ///< captured after a failed call; the runner clears it before each sub-test
  InfoData disk_info;  ///< of the target, when the run started
  std::uint32_t dos_type;  ///< of the target; 0 when it reports none
  LockHandle root_lock;    ///< shared, on the target's root: the current directory during the run
  char version_text[256];  ///< of the filesystem, cut after its first ")"
  char device_name[256];   ///< with its colon
  char volume_name[256];   ///< without colon; the device's name when the volume has none
  ArgumentWord args[kArgumentCount];
  std::int32_t first_index;  ///< catalogue index of the first test
  std::int32_t last_index;   ///< catalogue index at which the run stops, inclusive
  std::int32_t catalogue_size;

  bool NoInfoMessages() const { return args[kNoInfoMessagesArgument].flag != 0; }
  bool NoWarnMessages() const { return args[kNoWarnMessagesArgument].flag != 0; }
  bool NoRootMessages() const { return args[kNoRootMessagesArgument].flag != 0; }
  bool AbortOnErr() const { return args[kAbortOnErrArgument].flag != 0; }
};
// The record's size on the platform, where a pointer has 32 bits.
static_assert(sizeof(void*) != 4 || sizeof(TestContext) == 888);

}  // namespace quorle
