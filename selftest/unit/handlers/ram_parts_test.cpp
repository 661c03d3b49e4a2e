#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "handlers/ram/content.h"
#include "handlers/ram/directory.h"
#include "handlers/ram/names.h"
#include "handlers/ram/volume.h"

namespace quorle::ram {
namespace {

// ---- Names ---------------------------------------------------------------------------------------

TEST(RamNamesTest, CaseIsIgnoredInLatin1) {
  EXPECT_TRUE(SameName("File01", "fILE01"));
  EXPECT_TRUE(SameName("\xe9t\xe9", "\xc9T\xc9"));
  EXPECT_EQ(HashName("File01"), HashName("fILE01"));
  EXPECT_EQ(HashName("\xe9t\xe9"), HashName("\xc9T\xc9"));
  EXPECT_FALSE(SameName("File01", "File02"));
  EXPECT_FALSE(SameName("File", "File01"));
  EXPECT_FALSE(SameName("\xf7", "\xd7")) << "the signs of division and multiplication are no pair";
}

TEST(RamNamesTest, WhatANameMayBe) {
  EXPECT_TRUE(IsName("a"));
  EXPECT_TRUE(IsName(std::string(255, 'x')));
  EXPECT_TRUE(IsName("file#01 with blanks \x80\xff"));
  EXPECT_FALSE(IsName(""));
  EXPECT_FALSE(IsName(std::string(256, 'x')));
  EXPECT_FALSE(IsName("a:b"));
  EXPECT_FALSE(IsName("a/b"));
  EXPECT_FALSE(IsName("a\nb"));
  EXPECT_FALSE(IsName(std::string_view("a\0b", 3)));
}

// ---- Content -------------------------------------------------------------------------------------

std::string ReadAll(const Content& content, std::int64_t from, std::size_t bytes) {
  std::string text(bytes, '?');
  text.resize(content.Read(from, text.data(), bytes));
  return text;
}

TEST(RamContentTest, WritesAndReadsAcrossPages) {
  Content content;
  std::string data;
  for (int i = 0; i < 10000; ++i) data += static_cast<char>('a' + i % 26);
  content.Write(0, data.data(), data.size());
  EXPECT_EQ(content.size(), 10000);
  EXPECT_EQ(content.pages(), 3U);
  EXPECT_EQ(ReadAll(content, 0, 20000), data);
  EXPECT_EQ(ReadAll(content, 4090, 10), data.substr(4090, 10));
  EXPECT_EQ(ReadAll(content, 10000, 5), "");
  content.Write(4094, "WXYZ", 4);
  EXPECT_EQ(ReadAll(content, 4093, 6), data.substr(4093, 1) + "WXYZ" + data.substr(4098, 1));
  EXPECT_EQ(content.size(), 10000);
}

TEST(RamContentTest, HolesCostNothingAndReadAsZeros) {
  Content content;
  content.Resize(8LL << 30);
  EXPECT_EQ(content.pages(), 0U);
  EXPECT_EQ(ReadAll(content, (8LL << 30) - 3, 10), std::string(3, '\0'));
  EXPECT_EQ(content.NewPages(4LL << 30, 1), 1U);
  content.Write(4LL << 30, "x", 1);
  EXPECT_EQ(content.pages(), 1U);
  EXPECT_EQ(content.NewPages(4LL << 30, 1), 0U);
  EXPECT_EQ(ReadAll(content, (4LL << 30) - 1, 3), std::string("\0x\0", 3));
}

TEST(RamContentTest, WhatWasCutOffDoesNotComeBack) {
  Content content;
  const std::string data(9000, 'x');
  content.Write(0, data.data(), data.size());
  content.Resize(5000);
  EXPECT_EQ(content.pages(), 2U);
  content.Resize(9000);
  EXPECT_EQ(ReadAll(content, 4998, 4), std::string("xx\0\0", 4));
  EXPECT_EQ(ReadAll(content, 8999, 4), std::string(1, '\0'));
  content.Resize(4096);
  EXPECT_EQ(content.pages(), 1U);
  content.Resize(0);
  EXPECT_EQ(content.pages(), 0U);
}

// ---- Directory -----------------------------------------------------------------------------------

class RamDirectoryTest : public testing::Test {
 protected:
  Entry& Add(const std::string& name) {
    entries_.push_back(std::make_unique<Entry>());
    entries_.back()->name = name;
    directory_.Reserve();
    directory_.Add(*entries_.back());
    return *entries_.back();
  }

  std::vector<std::string> Scan() {
    std::vector<std::string> names;
    std::uint64_t serial = 0;
    while (Entry* const entry = directory_.Next(serial)) {
      names.push_back(entry->name);
    }
    return names;
  }

  std::vector<std::unique_ptr<Entry>> entries_;
  Directory directory_;
};

TEST_F(RamDirectoryTest, EmptyOne) {
  EXPECT_TRUE(directory_.empty());
  EXPECT_EQ(directory_.Find("x"), nullptr);
  std::uint64_t serial = 0;
  EXPECT_EQ(directory_.Next(serial), nullptr);
}

TEST_F(RamDirectoryTest, ScansInTheOrderOfAdding) {
  Add("b");
  Entry& a = Add("a");
  Add("c");
  EXPECT_EQ(Scan(), (std::vector<std::string>{"b", "a", "c"}));
  directory_.Remove(a);
  EXPECT_EQ(Scan(), (std::vector<std::string>{"b", "c"}));
  directory_.Reserve();
  directory_.Add(a);
  EXPECT_EQ(Scan(), (std::vector<std::string>{"b", "c", "a"}));
}

TEST_F(RamDirectoryTest, ScanGoesOnAfterItsPlaceWasRemoved) {
  Entry& first = Add("first");
  Entry& second = Add("second");
  Add("third");
  std::uint64_t serial = 0;
  EXPECT_EQ(directory_.Next(serial), &first);
  EXPECT_EQ(directory_.Next(serial), &second);
  directory_.Remove(second);
  EXPECT_EQ(directory_.Next(serial)->name, "third");
  EXPECT_EQ(directory_.Next(serial), nullptr);
}

// A scan that removes what it finds, as a program does that empties a directory.
TEST_F(RamDirectoryTest, EmptyingWhileScanning) {
  for (int i = 0; i < 50000; ++i) Add("name" + std::to_string(i));
  std::uint64_t serial = 0;
  int found = 0;
  while (Entry* const entry = directory_.Next(serial)) {
    ASSERT_EQ(entry->name, "name" + std::to_string(found));
    directory_.Remove(*entry);
    ++found;
    serial = 0;
  }
  EXPECT_EQ(found, 50000);
  EXPECT_TRUE(directory_.empty());
}

// Against a plain list: every name is found or not as it should be, after any changes.
TEST_F(RamDirectoryTest, HoldsWhatWasAddedAndNotRemoved) {
  std::set<std::string> present;
  std::uint32_t random = 1;
  for (int step = 0; step < 20000; ++step) {
    random = random * 1664525 + 1013904223;
    const std::string name = "name" + std::to_string((random >> 8) % 500);
    Entry* const found = directory_.Find(name);
    ASSERT_EQ(found != nullptr, present.contains(name)) << name;
    if (found != nullptr) {
      ASSERT_EQ(found->name, name);
      directory_.Remove(*found);
      present.erase(name);
    } else {
      Add(name);
      present.insert(name);
    }
    ASSERT_EQ(directory_.count(), present.size());
  }
  std::vector<std::string> scanned = Scan();
  EXPECT_EQ(std::set<std::string>(scanned.begin(), scanned.end()), present);
  EXPECT_EQ(scanned.size(), present.size());
}

// ---- Volume --------------------------------------------------------------------------------------

TEST(RamVolumeTest, FullVolumeRefusesAndStaysWhole) {
  Volume volume(
      {.device = "DH0", .label = "", .version = ""},
      [] {
        return ::DateStamp{1, 2, 3};
      },
      8 * 4096);
  OpenFile file;
  ASSERT_EQ(volume.Open(nullptr, "file", MODE_NEWFILE, file).code(), 0);
  const std::string page(4096, 'x');
  int pages = 0;
  while (!volume.Write(file, page.data(), 4096)) ++pages;
  EXPECT_EQ(pages, 6) << "eight blocks less the root and the file";
  EXPECT_EQ(volume.Write(file, page.data(), 4096).code(), ERROR_DISK_FULL);
  EXPECT_EQ(file.position, 6 * 4096);
  EXPECT_EQ(file.entry->node->content.size(), 6 * 4096);
  Entry* made = nullptr;
  EXPECT_EQ(volume.MakeDirectory(nullptr, "directory", made).code(), ERROR_DISK_FULL);
  EXPECT_FALSE(volume.Close(file));
  EXPECT_EQ(volume.Delete(nullptr, "file").code(), 0);
  EXPECT_EQ(volume.blocks_used(), 1U);
  EXPECT_EQ(volume.MakeDirectory(nullptr, "directory", made).code(), 0);
}

TEST(RamVolumeTest, DeepTreesAreFreed) {
  Volume volume({.device = "DH0", .label = "", .version = ""}, [] { return ::DateStamp{1, 2, 3}; });
  Entry* at = nullptr;
  for (int depth = 0; depth < 3000; ++depth) ASSERT_EQ(volume.MakeDirectory(at, "d", at).code(), 0);
}

TEST(RamVolumeTest, LoopsAreRefusedThroughLinksToo) {
  Volume volume({.device = "DH0", .label = "", .version = ""}, [] { return ::DateStamp{1, 2, 3}; });
  Entry* a = nullptr;
  Entry* b = nullptr;
  ASSERT_EQ(volume.MakeDirectory(nullptr, "a", a).code(), 0);
  ASSERT_EQ(volume.MakeDirectory(nullptr, "b", b).code(), 0);
  ASSERT_EQ(volume.MakeHardLink(a, "link-to-b", *b).code(), 0);
  EXPECT_EQ(volume.MakeHardLink(b, "link-to-a", *a).code(), ERROR_OBJECT_WRONG_TYPE)
      << "b is in a already";
  EXPECT_EQ(volume.Rename(nullptr, "a", b, "a").code(), ERROR_OBJECT_IN_USE);
  EXPECT_EQ(volume.MakeHardLink(a, "self", *a).code(), ERROR_OBJECT_WRONG_TYPE);
  EXPECT_EQ(volume.MakeHardLink(a, "root", *volume.root()).code(), ERROR_OBJECT_WRONG_TYPE);
}

TEST(RamVolumeTest, LinkedObjectLivesUntilItsLastName) {
  Volume volume({.device = "DH0", .label = "", .version = ""}, [] { return ::DateStamp{1, 2, 3}; });
  OpenFile file;
  ASSERT_EQ(volume.Open(nullptr, "file", MODE_NEWFILE, file).code(), 0);
  ASSERT_EQ(volume.Write(file, "data", 4).code(), 0);
  EXPECT_FALSE(volume.Close(file));
  Entry* entry = nullptr;
  ASSERT_EQ(volume.Find(nullptr, "file", entry).code(), 0);
  ASSERT_EQ(volume.MakeHardLink(nullptr, "link", *entry).code(), 0);
  ASSERT_EQ(volume.Delete(nullptr, "file").code(), 0);
  ASSERT_EQ(volume.Open(nullptr, "link", MODE_OLDFILE, file).code(), 0);
  EXPECT_EQ(file.entry->node->content.size(), 4);
  EXPECT_FALSE(volume.Close(file));
  EXPECT_EQ(volume.Delete(nullptr, "link").code(), 0);
  EXPECT_EQ(volume.blocks_used(), 1U);
}

TEST(RamVolumeTest, PassKeyOpensWhatItClosed) {
  Volume volume({.device = "DH0", .label = "", .version = ""}, [] { return ::DateStamp{1, 2, 3}; });
  EXPECT_EQ(volume.WriteProtect(true, 5).code(), 0);
  EXPECT_EQ(common::DiskState(volume.settings()), ID_DISKSTATE_WRITE_PROTECTED);
  EXPECT_EQ(volume.WriteProtect(false, 0).code(), ERROR_BAD_NUMBER);
  EXPECT_EQ(volume.WriteProtect(false, 5).code(), 0);
  EXPECT_EQ(common::DiskState(volume.settings()), ID_DISKSTATE_VALIDATED);
  EXPECT_EQ(volume.WriteProtect(true, 0).code(), 0);
  EXPECT_EQ(volume.WriteProtect(false, 0).code(), 0);
}

}  // namespace
}  // namespace quorle::ram
