#pragma once

#include <cstdint>

#include "harness/context.h"

namespace quorle {

/// Checks that a change to a file shows: that it cleared the archive bit and moved the date of the
/// file and of the directory that holds it. A sub-test uses it like this:
///
///   ChangeUpdateRecord* const record = ChangeUpdateSetUp(ctx, "Write()");
///   ... change the file record->file.path ...
///   const bool shown = Change_Update_Test(ctx, record);   // prints what did not show
///   ChangeUpdateTearDown(ctx, record);
struct ChangeUpdateRecord {
  struct DatedObject {
    static constexpr std::uint32_t kPathSize = 64;
    char path[kPathSize];
    DateStamp date;  ///< what the object was set to
  };

  DatedObject file;             ///< DIRECTORYnn/DIRECTORY02/FILE03
  DatedObject inner_directory;  ///< DIRECTORYnn/DIRECTORY02
  DatedObject outer_directory;  ///< DIRECTORYnn
  const char* label;            ///< what the messages name
  std::uint32_t magic;          ///< kMagic while the record is valid

  static constexpr std::uint32_t kMagic = 0x000AA289;
};
static_assert(sizeof(void*) != 4 || sizeof(ChangeUpdateRecord) == 236);

/// Makes the two directories and the file, dates them a day back and sets their archive bits. Null
/// when something fails: then it was reported under `label` and removed again.
ChangeUpdateRecord* ChangeUpdateSetUp(TestContext& ctx, const char* label);

/// Whether the change shows. A file that is gone is fine; its directory must show that. False,
/// without a message, for null or a record that is not valid.
bool Change_Update_Test(TestContext& ctx, const ChangeUpdateRecord* record);

/// Removes the objects and frees the record; null is ignored.
void ChangeUpdateTearDown(TestContext& ctx, ChangeUpdateRecord* record);

}  // namespace quorle
