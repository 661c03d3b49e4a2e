#include "harness/change_update.h"

#include "harness/at_end.h"
#include "harness/scratch.h"

namespace quorle {
namespace {

/// The size that a failed allocation names: the record's on the platform.
constexpr std::uint32_t kRecordBytes = 236;

/// Makes the objects of `record`, whose paths are empty until they are known.
bool MakeObjects(TestContext& ctx, ChangeUpdateRecord& record, const char* label) {
  DosInterface& dos = *ctx.IDOS;
  UtilityInterface& utility = *ctx.IUtility;
  constexpr std::uint32_t kPathSize = ChangeUpdateRecord::DatedObject::kPathSize;

  if (!UniqueName(ctx, "DIRECTORY", record.outer_directory.path, kPathSize)) return false;
  utility.SNPrintf(record.inner_directory.path, kPathSize, "%s/DIRECTORY02",
                   record.outer_directory.path);
  const LockHandle tree = dos.CreateDirTree(record.inner_directory.path);
  if (!tree) {
    dos.Printf("\nERROR: %s test failed, cannot CreateDirTree(\"%s\"); #%n %m\n\n", label,
               record.inner_directory.path);
    return false;
  }
  dos.UnLock(tree);

  utility.SNPrintf(record.file.path, kPathSize, "%s/FILE03", record.inner_directory.path);
  const FileHandle file = dos.Open(record.file.path, MODE_NEWFILE);
  if (!file) {
    dos.Printf("\nERROR: %s test failed, cannot Open(\"%s\",NEW); #%n %m\n\n", label,
               record.file.path);
    return false;
  }
  dos.Close(file);
  return true;
}

/// Gives `object` its date and the archive bit.
bool MarkUnchanged(TestContext& ctx, const ChangeUpdateRecord::DatedObject& object,
                   const char* label) {
  DosInterface& dos = *ctx.IDOS;
  if (!dos.SetDate(object.path, object.date)) {
    dos.Printf("\nERROR: %s test failed, cannot SetDate(\"%s\"); #%n %m\n\n", label, object.path);
    return false;
  }
  if (!dos.SetProtection(object.path, EXDF_ARCHIVE)) {
    dos.Printf("\nERROR: %s test failed, cannot SetProtection(\"%s\",'A'); #%n %m\n\n", label,
               object.path);
    return false;
  }
  return true;
}

bool SetUp(TestContext& ctx, ChangeUpdateRecord& record, const char* label) {
  if (!MakeObjects(ctx, record, label)) return false;

  ctx.IDOS->DateStamp(record.file.date);
  if (record.file.date.ds_Days > 0) --record.file.date.ds_Days;
  ctx.IExec->CopyMem(&record.file.date, &record.inner_directory.date, sizeof(DateStamp));
  ctx.IExec->CopyMem(&record.file.date, &record.outer_directory.date, sizeof(DateStamp));

  return MarkUnchanged(ctx, record.file, label) &&
         MarkUnchanged(ctx, record.inner_directory, label) &&
         MarkUnchanged(ctx, record.outer_directory, label);
}

bool IsSet(const ExamineData& data, std::uint32_t bit) {
  return (data.Protection & bit) != 0;
}

bool SameDay(const ExamineData& data, const ChangeUpdateRecord::DatedObject& object) {
  return data.Date.ds_Days == object.date.ds_Days;
}

}  // namespace

ChangeUpdateRecord* ChangeUpdateSetUp(TestContext& ctx, const char* label) {
  auto* const record =
      static_cast<ChangeUpdateRecord*>(ctx.IExec->AllocVecTags(sizeof(ChangeUpdateRecord)));
  if (record == nullptr) {
    ctx.IDOS->Printf("\nERROR: %s test failed, cannot AllocVec(%lu) bytes; #%n %m\n\n", label,
                     kRecordBytes);
    return nullptr;
  }
  if (!SetUp(ctx, *record, label)) {
    CleanUp(ctx, record->file.path, label, 100);
    CleanUp(ctx, record->inner_directory.path, label, 200);
    CleanUp(ctx, record->outer_directory.path, label, 300);
    ctx.IExec->FreeVec(record);
    return nullptr;
  }
  record->label = label;
  record->magic = ChangeUpdateRecord::kMagic;
  return record;
}

bool Change_Update_Test(TestContext& ctx, const ChangeUpdateRecord* record) {
  DosInterface& dos = *ctx.IDOS;
  if (record == nullptr || record->label == nullptr ||
      record->magic != ChangeUpdateRecord::kMagic) {
    return false;
  }
  const char* const label = record->label;
  const ExamineData* file = nullptr;
  const ExamineData* directory = nullptr;
  const AtEnd release([&] {
    dos.FreeDosObject(DOS_EXAMINEDATA, file);
    dos.FreeDosObject(DOS_EXAMINEDATA, directory);
  });

  file = dos.ExamineObject(EX_StringNameInput, record->file.path);
  if (file == nullptr && dos.IoErr() != ERROR_OBJECT_NOT_FOUND) {
    dos.Printf("\nERROR: %s test failed, cannot ExamineObject(\"%s\"); #%n %m \n\n", label,
               record->file.path);
    return false;
  }
  if (file != nullptr && IsSet(*file, EXDF_ARCHIVE)) {
    dos.Printf("\nERROR: %s test failed. \n", label);
    dos.Printf("       Changes to the test file failed to clear its (A)rchive bit.\n\n");
    return false;
  }
  if (file != nullptr && SameDay(*file, record->file)) {
    dos.Printf("\nERROR: %s test failed. \n", label);
    dos.Printf("       Changes to the test file failed to update its datestamp.\n\n");
    return false;
  }

  directory = dos.ExamineObject(EX_StringNameInput, record->inner_directory.path);
  if (directory == nullptr) {
    dos.Printf("\nERROR: %s test failed, cannot ExamineObject(\"%s\"); #%n %m \n\n", label,
               record->inner_directory.path);
    return false;
  }
  const bool archived = IsSet(*directory, EXDF_ARCHIVE);
  const bool same_day = SameDay(*directory, record->inner_directory);
  if (!archived && !same_day) return true;

  dos.Printf("\nERROR: %s test failed. \n", label);
  dos.Printf(
      "       Changes to the test file successfully updated 'FILE03' in the path; \":%s\" \n",
      record->file.path);
  dos.Printf("       but the change update was incomplete for the parent 'DIRECTORY02' because;\n");
  if (archived) dos.Printf("       --  The (A)rchive bit was not cleared.\n");
  if (same_day) dos.Printf("       --  The datestamp was not updated.\n");
  dos.Printf("\n");
  return false;
}

void ChangeUpdateTearDown(TestContext& ctx, ChangeUpdateRecord* record) {
  if (record == nullptr) return;
  if (record->magic == ChangeUpdateRecord::kMagic) {
    CleanUp(ctx, record->file.path, record->label, 400);
    CleanUp(ctx, record->inner_directory.path, record->label, 500);
    CleanUp(ctx, record->outer_directory.path, record->label, 600);
  } else {
    ctx.IDOS->Printf("\nERROR: Change_Update_Test() error, the magic has gone. [%ld != %ld]\n\n",
                     ChangeUpdateRecord::kMagic, record->magic);
  }
  ctx.IExec->FreeVec(record);
}

}  // namespace quorle
