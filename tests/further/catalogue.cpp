#include "tests/catalogue.h"

#include "tests/further/groups.h"

namespace quorle {
namespace {

// The order is fixed: its numbers are what users pass as TN, FTN and LTN.
constexpr TestEntry kFurtherEntries[] = {
    {&kFurtherExamineDirGroup, "FSExamineDir() / ACTION_EXAMINEDATA_DIR - Examine Directory"},
    {&kFurtherNamesGroup, "Names - What an Object May Be Called"},
    {&kFurtherRenameGroup, "FSRename() / ACTION_RENAME_OBJECT - Rename Object, Further"},
    {&kFurtherDatesGroup, "Dates - When an Object Was Changed"},
    {&kFurtherSoftLinksGroup, "Soft links - Where They Lead"},
    {nullptr, ""},
};

}  // namespace

const Catalogue kFurtherCatalogue = {
    .name = "further", .entries = kFurtherEntries, .is_further = true};

}  // namespace quorle
