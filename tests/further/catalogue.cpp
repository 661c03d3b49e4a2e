#include "tests/catalogue.h"

#include "tests/further/groups.h"

namespace quorle {
namespace {

// The order is fixed: its numbers are what users pass as TN, FTN and LTN.
constexpr TestEntry kFurtherEntries[] = {
    {&kFurtherExamineDirGroup, "FSExamineDir() / ACTION_EXAMINEDATA_DIR - Examine Directory"},
    {&kFurtherFileSystemAttrGroup,
     "FSFileSystemAttr() / ACTION_FILESYSTEM_ATTR - File System Attributes"},
    {&kFurtherVolumeInfoDataGroup, "FSVolumeInfoData() / ACTION_INFO - Volume Info Data"},
    {&kFurtherFlushGroup, "FSFlush() / ACTION_FLUSH - Flush"},
    {&kFurtherInhibitGroup, "FSInhibit() / ACTION_INHIBIT - Inhibit"},
    {&kFurtherSerializeGroup, "FSSerialize() / ACTION_SERIALIZE_DISK - Serialize Volume"},
    {&kFurtherFormatGroup, "FSFormat() / ACTION_FORMAT - Format"},
    {nullptr, ""},
};

}  // namespace

const Catalogue kFurtherCatalogue = {
    .name = "further", .entries = kFurtherEntries, .is_further = true};

}  // namespace quorle
