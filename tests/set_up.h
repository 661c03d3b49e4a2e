#pragma once

#include <cstdint>

#include "harness/context.h"
#include "harness/scratch.h"

/// Steps that sub-tests of several groups start with. Each prints one line when it fails, not in
/// bold, and the line differs between groups in nothing but the label:
///
///   if (!MakeFile(ctx, name, kLabel)) return kFailed;
///       "\nERROR: SetDate() test failed, cannot Open("FILE01",MODE_NEWFILE); #221 disk is full\n\n"
///
/// `label` is the group's, as "SetDate()". The line has the error code of the failed call; it is not
/// kept. A group whose line reads otherwise has the call and its literal in the sub-test.
namespace quorle {

/// Makes the empty file `name` by opening it in MODE_NEWFILE, and closes it.
bool MakeFile(TestContext& ctx, const char* name, const char* label);

/// Makes the empty file `name` by opening it in MODE_READWRITE, and closes it.
bool MakeFileReadWrite(TestContext& ctx, const char* name, const char* label);

/// Opens the file `name` in MODE_READWRITE, which makes it when there is none. The caller closes
/// it; none after a failure.
FileHandle OpenReadWrite(TestContext& ctx, const char* name, const char* label);

/// Makes the directory `name` and releases the lock on it.
bool MakeDirectory(TestContext& ctx, const char* name, const char* label);

/// A shared lock on `name`, which the caller releases; none after a failure.
LockHandle SharedLock(TestContext& ctx, const char* name, const char* label);

/// The record that `ExamineObject()` returns for `name`, which the caller releases; null after a
/// failure.
const ExamineData* Examine(TestContext& ctx, const char* name, const char* label);

/// The bytes of `name` with its terminating zero, 7 for "FILE01": the file of that name holds them.
std::int32_t ContentBytes(const ScratchName& name);

/// What every `Read()` asks for: more than a test file holds.
inline constexpr std::int32_t kReadBytes = 256;

}  // namespace quorle
