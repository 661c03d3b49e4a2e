#include "results/selection.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/catalogue.h"

namespace quorle::selftest {
namespace {

std::vector<std::string> Included(const Selection& selection) {
  std::vector<std::string> ids;
  for (const CheckInfo& check : selection.checks()) {
    if (selection.Includes(check.id)) ids.push_back(check.id);
  }
  return ids;
}

/// What `patterns` select; a line in place of it when they are refused.
std::vector<std::string> Select(const std::string& patterns) {
  Selection selection(kStandardCatalogue);
  std::string problem;
  if (!selection.Select(patterns, problem)) return {problem};
  return Included(selection);
}

using Ids = std::vector<std::string>;

TEST(SelectionTest, EverythingIsSelectedUntilSomethingIs) {
  const Selection selection(kStandardCatalogue);
  EXPECT_TRUE(selection.is_everything());
  EXPECT_EQ(Included(selection).size(), ListChecks(kStandardCatalogue).size());
  EXPECT_TRUE(selection.IncludesGroup("Lock"));
  EXPECT_TRUE(selection.IncludesGroup("AddNotify"));
}

TEST(SelectionTest, APatternIsAnIdAGroupOrAGlob) {
  EXPECT_EQ(Select("Delete.OpenFile"), Ids{"Delete.OpenFile"});
  EXPECT_EQ(Select("CreateSoftLink"),
            (Ids{"CreateSoftLink.LinkToDirectory", "CreateSoftLink.LinkToFile"}));
  EXPECT_EQ(Select("CreateSoftLink.*"), Select("CreateSoftLink"));
  EXPECT_EQ(Select("Delete.Protected*,Delete.OpenFile"),
            (Ids{"Delete.OpenFile", "Delete.ProtectedFile", "Delete.ProtectedDirectory"}))
      << "in the order of the catalogue";
}

TEST(SelectionTest, APatternThatFitsNothingIsRefusedWithTheNearest) {
  EXPECT_EQ(Select("Lock.MisingObject"),
            Ids{"no check is named \"Lock.MisingObject\"; is it Lock.MissingObject?"});
  EXPECT_EQ(Select("Delete,lokc"), Ids{"no check is named \"lokc\"; is it Lock?"});
  EXPECT_EQ(Select("Zzz*"), Ids{"no check is named \"Zzz*\""});
  EXPECT_EQ(Select(""), Ids{"no check is named \"\""});
}

TEST(SelectionTest, WhatIsSkippedIsLeftOut) {
  Selection selection(kStandardCatalogue);
  std::string problem;
  ASSERT_TRUE(selection.Select("CreateSoftLink,AddNotify", problem));
  ASSERT_TRUE(selection.Skip("*.LinkToFile", problem));
  EXPECT_EQ(Included(selection), Ids{"CreateSoftLink.LinkToDirectory"});
  EXPECT_TRUE(selection.IncludesGroup("AddNotify"));
  EXPECT_FALSE(selection.IncludesGroup("Lock"));
  ASSERT_TRUE(selection.Skip("AddNotify,CreateSoftLink", problem));
  EXPECT_FALSE(selection.IncludesGroup("AddNotify"));
  EXPECT_FALSE(selection.IncludesGroup("CreateSoftLink"));
}

TEST(SelectionTest, ASkippedGroupAloneLeavesTheOthers) {
  Selection selection(kStandardCatalogue);
  std::string problem;
  ASSERT_TRUE(selection.Skip("Lock", problem));
  EXPECT_FALSE(selection.is_everything());
  EXPECT_FALSE(selection.IncludesGroup("Lock"));
  EXPECT_TRUE(selection.IncludesGroup("DupLock"));
}

TEST(SelectionTest, WhatIsKeptIsSelectedFurther) {
  Selection selection(kStandardCatalogue);
  std::string problem;
  selection.Keep({"Delete.OpenFile", "Lock.MissingObject", "Gone.Long"});
  ASSERT_TRUE(selection.Select("Delete", problem));
  EXPECT_EQ(Included(selection), Ids{"Delete.OpenFile"});
}

TEST(SelectedCatalogueTest, RowsKeepTheirNumbersAndWholeGroupsTheirTables) {
  Selection selection(kStandardCatalogue);
  std::string problem;
  ASSERT_TRUE(selection.Select("Lock,Delete.OpenFile", problem));
  const SelectedCatalogue selected(kStandardCatalogue, selection);
  int rows = 0;
  for (const TestEntry* entry = selected.catalogue().entries; entry->group != nullptr;
       ++entry, ++rows) {
    EXPECT_STREQ(entry->title, kStandardCatalogue.entries[rows].title);
    EXPECT_STREQ(entry->group->label, kStandardCatalogue.entries[rows].group->label);
  }
  EXPECT_EQ(rows, kCatalogueRows);
  EXPECT_EQ(selected.catalogue().entries[23].group, kStandardCatalogue.entries[23].group);
  const SubTest* const deletes = selected.catalogue().entries[9].group->sub_tests;
  EXPECT_STREQ(deletes[0].name, "OpenFile");
  EXPECT_EQ(deletes[1].run, nullptr);
}

}  // namespace
}  // namespace quorle::selftest
