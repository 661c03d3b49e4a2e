#include "handlers/hostdir/host.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "handlers/hostdir/descriptor.h"
#include "selftest/unit/handlers/hostdir_fixture.h"

// What the host is and allows: mounting, sizes, permissions.

namespace quorle::selftest {
namespace {

namespace fs = std::filesystem;

/// Acts for a user who may do little, as long as it lives.
class AsNobody {
 public:
  AsNobody() {
    if (::setegid(kNobody) != 0 || ::seteuid(kNobody) != 0) {
      throw std::runtime_error("cannot be nobody");
    }
  }
  ~AsNobody() {
    if (::seteuid(0) != 0 || ::setegid(0) != 0) std::abort();
  }
  AsNobody(const AsNobody&) = delete;
  AsNobody& operator=(const AsNobody&) = delete;

  static constexpr unsigned kNobody = 65534;
};

// ---- Mounting -----------------------------------------------------------------------------------

TEST_F(HostdirTest, OnlyADirectoryIsMounted) {
  Put(root() / "file", "");
  EXPECT_NE(Refusal(root() / "missing").find("cannot open the directory"), std::string::npos);
  EXPECT_NE(Refusal(root() / "file").find("cannot open the directory"), std::string::npos);
  EXPECT_NE(Refusal("", "").find("nothing after"), std::string::npos);
  try {
    TestBench bench({"--mount", "DH0=dir", "DH0:"});
    ADD_FAILURE() << "there is no directory";
  } catch (const std::runtime_error& error) {
    EXPECT_NE(std::string(error.what()).find("no directory to mount"), std::string::npos);
  }
}

TEST_F(HostdirTest, KeysThatAreNoneAreRefused) {
  EXPECT_NE(Refusal(root(), ",metadata=stone").find("metadata=stone is no value"),
            std::string::npos);
  EXPECT_NE(Refusal(root(), ",scratch=1").find("scratch=1 is no value"), std::string::npos);
  EXPECT_NE(Refusal(root(), ",size=1").find("knows no key size"), std::string::npos);
  EXPECT_NE(Refusal(root(), ",state=x").find("state=x is no value"), std::string::npos);
  EXPECT_NE(Refusal(root(), ",volume=a/b").find("volume=a/b is no value"), std::string::npos);
}

TEST_F(HostdirTest, ADirectoryIsMountedOnce) {
  Mount();
  EXPECT_NE(Refusal(root()).find("mounted already"), std::string::npos);
  Unmount();
  EXPECT_EQ(Refusal(root(), KeepsAttributes(root()) ? "" : ",metadata=file"), "");
}

TEST_F(HostdirTest, ADirectoryThatCannotBeWrittenIsNotMounted) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root, to become somebody who may not write";
  fs::permissions(base_.path(), fs::perms(0755));
  fs::permissions(root(), fs::perms(0755));
  const AsNobody nobody;
  EXPECT_NE(Refusal(root()).find("cannot be written"), std::string::npos);
  EXPECT_NE(Refusal(root(), ",metadata=file").find("cannot be written"), std::string::npos);
}

TEST_F(HostdirTest, ADirectoryFromWhichNothingIsDeletedIsNotMounted) {
  for (const char attribute : {'a', 'i'}) {
    SCOPED_TRACE(attribute);
    const std::string command =
        std::string("chattr ") + "+" + attribute + " " + root().string() + " 2>/dev/null";
    if (std::system(command.c_str()) != 0) GTEST_SKIP() << "no such attributes here";
    const std::string xattr = Refusal(root());
    const std::string file = Refusal(root(), ",metadata=file");
    EXPECT_EQ(std::system(("chattr -a -i " + root().string()).c_str()), 0);
    for (const std::string& refusal : {xattr, file}) {
      EXPECT_NE(refusal.find(std::string("(chattr +") + attribute + ")"), std::string::npos)
          << refusal;
    }
    EXPECT_TRUE(fs::is_empty(root()));
  }
}

TEST_F(HostdirTest, AUmaskThatTakesTheOwnersRightsIsRefused) {
  const mode_t before = ::umask(0777);
  const std::string xattr = Refusal(root());
  const std::string file = Refusal(root(), ",metadata=file");
  EXPECT_EQ(::umask(before), mode_t{0777}) << "it was changed";
  for (const std::string& refusal : {xattr, file}) {
    EXPECT_NE(refusal.find("the umask 0777"), std::string::npos) << refusal;
  }
  EXPECT_TRUE(fs::is_empty(root()));
}

TEST_F(HostdirTest, AFullHostSaysSoAtTheMount) {
  std::string why_not;
  // So old that no attribute has a place in an inode.
  const auto host = HostFilesystem::Make("ext2", "", why_not);
  if (host == nullptr) GTEST_SKIP() << why_not;
  {
    std::ofstream filler(host->path().parent_path() / "filler", std::ios::binary);
    const std::string block(1024, 'x');
    while (filler << block << std::flush) continue;
  }
  const std::string xattr = Refusal(host->path());
  EXPECT_NE(xattr.find("no room for extended attributes"), std::string::npos) << xattr;
  EXPECT_EQ(xattr.find("metadata=file"), std::string::npos) << xattr;
  // A file that has to be written again finds no room either; the old one stays.
  EXPECT_EQ(Refusal(host->path(), ",metadata=file"), "") << "an empty one needs none";
  const std::string record = "1 comment=" + std::string(200, 'c') + "\n";
  EXPECT_EQ(::truncate((host->path().parent_path() / "filler").c_str(), 0), 0);
  Put(host->path() / kSideFile, record);
  {
    std::ofstream filler(host->path().parent_path() / "filler", std::ios::binary);
    const std::string block(1024, 'x');
    while (filler << block << std::flush) continue;
  }
  const std::string file = Refusal(host->path(), ",metadata=file");
  EXPECT_NE(file.find("cannot write .quorle-metadata (No space left"), std::string::npos) << file;
  EXPECT_EQ(Content(host->path() / kSideFile), record);
  EXPECT_EQ(HostNames(host->path()), Names());
}

TEST_F(HostdirTest, AMissingRightIsNamed) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root, to become somebody else";
  fs::permissions(base_.path(), fs::perms(0755));
  // As the directory for temporary files is: everybody makes files, and removes nobody else's.
  fs::permissions(root(), fs::perms(01777));
  const auto refusal = [this](const char* keys) {
    const AsNobody nobody;
    return Refusal(root(), keys);
  };
  const std::string attributes = refusal("");
  EXPECT_NE(attributes.find("cannot be set (Operation not permitted)"), std::string::npos)
      << attributes;
  Put(root() / kSideFile, "");
  const std::string rename = refusal(",metadata=file");
  EXPECT_NE(rename.find("cannot write .quorle-metadata (Operation not"), std::string::npos)
      << rename;
  fs::permissions(root() / kSideFile, fs::perms(0600));
  const std::string read = refusal(",metadata=file");
  EXPECT_NE(read.find("cannot read .quorle-metadata (Permission denied)"), std::string::npos)
      << read;
  EXPECT_EQ(HostNames(root()), Names());
}

TEST_F(HostdirTest, NothingIsLeftOpen) {
  const std::size_t before = OpenDescriptors();
  Mount();
  Make("DH0:file", "x");
  LockHandle locks[100];
  const std::size_t mounted = OpenDescriptors();
  for (LockHandle& lock : locks) lock = MustLock("DH0:file");
  EXPECT_EQ(OpenDescriptors(), mounted) << "a lock needs no descriptor";
  const FileHandle one = MustOpen("DH0:file", MODE_OLDFILE);
  const FileHandle two = MustOpen("DH0:file", MODE_OLDFILE);
  EXPECT_EQ(OpenDescriptors(), mounted + 1) << "a file needs one, however often it is open";
  dos().Close(one);
  dos().Close(two);
  for (const LockHandle lock : locks) dos().UnLock(lock);
  Unmount();
  EXPECT_EQ(OpenDescriptors(), before);
}

// ---- Sizes --------------------------------------------------------------------------------------

TEST_F(HostdirTest, AFileMayBeHuge) {
  Mount();
  const std::int64_t huge = std::int64_t{3} << 40;
  const FileHandle file = MustOpen("DH0:file", MODE_NEWFILE);
  ASSERT_TRUE(dos().ChangeFileSize(file, huge, OFFSET_BEGINNING)) << dos().IoErr();
  EXPECT_EQ(dos().GetFileSize(file), huge);
  EXPECT_TRUE(dos().ChangeFilePosition(file, -1, OFFSET_END));
  EXPECT_EQ(WriteCode(file, "xy"), 0);
  EXPECT_EQ(dos().GetFileSize(file), huge + 1);
  // Past what any file of this host can have, or almost any.
  const std::int32_t code = Code(dos().ChangeFileSize(file, INT64_MAX - 1, OFFSET_BEGINNING));
  EXPECT_TRUE(code == ERROR_DISK_FULL || code == 0) << code;
  EXPECT_TRUE(dos().ChangeFileSize(file, 0, OFFSET_BEGINNING));
  dos().Close(file);
}

TEST_F(HostdirTest, AFullHostLosesNothing) {
  std::string why_not;
  const auto host = HostFilesystem::Make("tmpfs", "size=128k,nr_inodes=12", why_not);
  if (host == nullptr) GTEST_SKIP() << why_not;
  MountAt(host->path());
  const std::string page(4096, 'x');
  const FileHandle file = MustOpen("DH0:file", MODE_NEWFILE);
  int pages = 0;
  while (pages < 100 && WriteCode(file, page) == 0) ++pages;
  EXPECT_EQ(dos().IoErr(), ERROR_DISK_FULL);
  ASSERT_GT(pages, 10);
  ASSERT_LT(pages, 100);
  EXPECT_EQ(dos().GetFileSize(file), pages * 4096);
  EXPECT_EQ(dos().GetFilePosition(file), pages * 4096);
  // Half of this would fit, where a file ends in a page that is not full.
  EXPECT_TRUE(dos().ChangeFileSize(file, -2000, OFFSET_END));
  EXPECT_EQ(WriteCode(file, page), ERROR_DISK_FULL);
  EXPECT_EQ(dos().GetFileSize(file), pages * 4096 - 2000);
  EXPECT_EQ(dos().GetFilePosition(file), pages * 4096 - 2000);
  // Over old content and beyond the end: what is there stays.
  EXPECT_TRUE(dos().ChangeFilePosition(file, -6000, OFFSET_END));
  EXPECT_EQ(WriteCode(file, std::string(65536, 'y')), ERROR_DISK_FULL);
  EXPECT_EQ(dos().GetFileSize(file), pages * 4096 - 2000);
  dos().Close(file);

  const std::string content = Content(host->path() / "file");
  EXPECT_EQ(content.find_first_not_of('x'), std::string::npos);
  EXPECT_EQ(Code(dos().MakeLink("DH0:soft", "target", LINK_SOFT)), ERROR_DISK_FULL);
  EXPECT_EQ(LockCode("DH0:soft"), ERROR_OBJECT_NOT_FOUND);
  EXPECT_EQ(HostNames(host->path()), Names{"file"});

  EXPECT_EQ(Code(dos().Delete("DH0:file")), 0);
  std::string name = "DH0:a";
  while (OpenCode(name, MODE_NEWFILE) == 0 && name.back() < 'z') ++name.back();
  EXPECT_EQ(dos().IoErr(), ERROR_DISK_FULL);
  EXPECT_EQ(LockCode(name), ERROR_OBJECT_NOT_FOUND);
  EXPECT_EQ(DirectoryCode(name), ERROR_DISK_FULL);
  for (; name.back() > 'a';) {
    --name.back();
    EXPECT_EQ(Code(dos().Delete(name.c_str())), 0) << name;
  }
  EXPECT_EQ(HostNames(host->path()), Names());
  Unmount();
}

TEST_F(HostdirTest, AFullHostKeepsTheSideFileWhole) {
  std::string why_not;
  const auto host = HostFilesystem::Make("tmpfs", "size=64k", why_not);
  if (host == nullptr) GTEST_SKIP() << why_not;
  MountAt(host->path(), ",metadata=file");
  EXPECT_EQ(Code(dos().SetOwnerInfo("DH0:", OI_OwnerUID, 7)), 0);
  Make("DH0:file");
  const std::string comment(250, 'c');
  EXPECT_EQ(Code(dos().SetComment("DH0:file", comment.c_str())), 0);
  Make("DH0:filler");
  const FileHandle filler = MustOpen("DH0:filler", MODE_OLDFILE);
  while (WriteCode(filler, std::string(4096, 'x')) == 0) continue;
  dos().Close(filler);
  // The last page of the side file takes some lines more.
  std::int32_t code = 0;
  std::string last = comment;
  for (int i = 0; i < 100 && code == 0; ++i) {
    std::string next(200 + i % 2, 'd');
    code = Code(dos().SetComment("DH0:file", next.c_str()));
    if (code == 0) last = next;
  }
  EXPECT_EQ(code, ERROR_DISK_FULL);
  EXPECT_EQ(Look("DH0:file").comment, last);
  const std::string text = Content(host->path() / kSideFile);
  EXPECT_TRUE(text.ends_with("comment=" + last + "\n"));
  // The host has room for new files, but in the end not for the owner that they take over.
  Names made = {"file", "filler"};
  std::string name = "DH0:new-a";
  while (name.back() < 'z' && OpenCode(name, MODE_NEWFILE) == 0) {
    made.push_back(name.substr(4));
    ++name.back();
  }
  EXPECT_EQ(OpenCode(name, MODE_NEWFILE), ERROR_DISK_FULL);
  EXPECT_EQ(DirectoryCode(name), ERROR_DISK_FULL);
  EXPECT_EQ(Code(dos().MakeLink(name.c_str(), "x", LINK_SOFT)), ERROR_DISK_FULL);
  EXPECT_EQ(HostNames(host->path()), made);
  EXPECT_EQ(Code(dos().Delete("DH0:filler")), 0);
  EXPECT_EQ(Code(dos().SetComment("DH0:file", "room again")), 0);
  MountAt(host->path(), ",metadata=file");
  EXPECT_EQ(Look("DH0:file").comment, "room again");
  Unmount();
}

// ---- What the host does not allow ---------------------------------------------------------------

TEST_F(HostdirTest, AReadOnlyHostIsRefusedAndOneThatBecomesSoIsProtected) {
  std::string why_not;
  const auto host = HostFilesystem::Make("tmpfs", "", why_not);
  if (host == nullptr) GTEST_SKIP() << why_not;
  MountAt(host->path());
  EXPECT_EQ(DirectoryCode("DH0:dir"), 0);
  Make("DH0:file", "content");
  ASSERT_TRUE(host->SetReadOnly(true));
  EXPECT_EQ(ReadAll("DH0:file"), "content");
  const FileHandle file = MustOpen("DH0:file", MODE_OLDFILE);
  EXPECT_EQ(WriteCode(file, "x"), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().ChangeFileSize(file, 0, OFFSET_BEGINNING)), ERROR_DISK_WRITE_PROTECTED);
  dos().Close(file);
  EXPECT_EQ(OpenCode("DH0:file", MODE_NEWFILE), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(OpenCode("DH0:new", MODE_NEWFILE), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(DirectoryCode("DH0:new"), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().Delete("DH0:file")), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().Rename("DH0:file", "DH0:new")), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().MakeLink("DH0:new", "x", LINK_SOFT)), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().SetComment("DH0:file", "x")), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().SetDate("DH0:file", {1, 2, 3})), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().Relabel("DH0:", "new")), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(LockCode("DH0 Disk:"), 0);
  const std::string refusal = Refusal(host->path());
  Unmount();
  EXPECT_NE(refusal.find("mounted read-only"), std::string::npos) << refusal;
  EXPECT_EQ(Content(host->path() / "file"), "content");
}

TEST_F(HostdirTest, AHostWithoutAttributesSaysSo) {
  std::string why_not;
  const auto host = HostFilesystem::Make("ramfs", "", why_not);
  if (host == nullptr) GTEST_SKIP() << why_not;
  const std::string refusal = Refusal(host->path());
  EXPECT_NE(refusal.find("extended attributes"), std::string::npos) << refusal;
  EXPECT_NE(refusal.find("metadata=file"), std::string::npos) << refusal;
  EXPECT_EQ(HostNames(host->path()), Names());
  EXPECT_EQ(Refusal(host->path(), ",metadata=file"), "");
}

TEST_F(HostdirTest, AHostMayIgnoreCaseAndHaveNoLinks) {
  std::string why_not;
  const auto host = HostFilesystem::Make("exfat", "", why_not);
  if (host == nullptr) GTEST_SKIP() << why_not;
  MountAt(host->path(), ",metadata=file");
  for (const auto& [name, same, shown] : {std::array{"DH0:File", "DH0:fILE", "File"},
                                          std::array{"DH0:\xc4", "DH0:\xe4", "\xc3\x84"}}) {
    SCOPED_TRACE(shown);
    Make(name, "x");
    const LockHandle lock = dos().Lock(same, EXCLUSIVE_LOCK);
    EXPECT_EQ(LockCode(name), ERROR_OBJECT_IN_USE);
    dos().UnLock(lock);
    EXPECT_EQ(DirectoryCode(same), ERROR_OBJECT_EXISTS);
    EXPECT_EQ(HostNames(host->path()), Names{shown});
    EXPECT_EQ(Code(dos().SetComment(same, "kept")), 0);
    EXPECT_EQ(Code(dos().Rename(name, same)), 0);
    EXPECT_NE(HostNames(host->path()), Names{shown});
    EXPECT_EQ(Look(name).comment, "kept");
    const LockHandle target = MustLock(name);
    EXPECT_EQ(Code(dos().MakeLink("DH0:link", target, LINK_HARD)), ERROR_ACTION_NOT_KNOWN);
    dos().UnLock(target);
    EXPECT_EQ(Code(dos().Delete(name)), 0);
    EXPECT_EQ(HostNames(host->path()), Names());
  }
  Unmount();
}

TEST_F(HostdirTest, ANameThatTheHostForbidsIsNone) {
  std::string why_not;
  const auto host = HostFilesystem::Make("exfat", "", why_not);
  if (host == nullptr) GTEST_SKIP() << why_not;
  MountAt(host->path(), ",metadata=file");
  Make("DH0:file", "x");
  for (const char* const name : {"DH0:what?", "DH0:a*b", "DH0:<", "DH0:\"", "DH0:a|b"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(DirectoryCode(name), ERROR_INVALID_COMPONENT_NAME);
    EXPECT_EQ(Code(static_cast<bool>(dos().Open(name, MODE_NEWFILE))),
              ERROR_INVALID_COMPONENT_NAME);
    EXPECT_EQ(Code(dos().MakeLink(name, "file", LINK_SOFT)), ERROR_INVALID_COMPONENT_NAME);
    EXPECT_EQ(Code(dos().Rename("DH0:file", name)), ERROR_INVALID_COMPONENT_NAME);
    EXPECT_EQ(LockCode(name), ERROR_OBJECT_NOT_FOUND);
    EXPECT_EQ(HostNames(host->path()), Names{"file"});
  }
  EXPECT_EQ(Code(dos().Delete("DH0:file")), 0);
  Unmount();
}

TEST_F(HostdirTest, ANameInADirectoryThatIsGoneIsNotFound) {
  fs::create_directory(root() / "gone");
  Put(root() / "file", "x");
  const hostdir::Descriptor above(::open(root().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  const hostdir::Descriptor gone(
      ::open((root() / "gone").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  fs::remove(root() / "gone");
  hostdir::Opened made;
  EXPECT_EQ(hostdir::MakeFileAt({gone.get(), "new"}, made).code(), ERROR_OBJECT_NOT_FOUND);
  EXPECT_EQ(hostdir::MakeDirectoryAt({gone.get(), "new"}, 0, made).code(), ERROR_OBJECT_NOT_FOUND);
  EXPECT_TRUE(hostdir::RenameAt({above.get(), "file"}, {gone.get(), "new"}).Is(ENOENT));
  EXPECT_TRUE(hostdir::RenameAt({above.get(), "none"}, {above.get(), "new"}).Is(ENOENT));
  fs::remove(root() / "file");
}

TEST_F(HostdirTest, WhatTheHostForbidsIsProtected) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root, to become somebody else";
  fs::permissions(base_.path(), fs::perms(0755));
  ASSERT_EQ(::chown(root().c_str(), AsNobody::kNobody, AsNobody::kNobody), 0);
  Put(root() / "hidden", "theirs");
  fs::permissions(root() / "hidden", fs::perms(0600));
  Put(root() / "fixed", "theirs");
  fs::permissions(root() / "fixed", fs::perms(0644));
  fs::create_directory(root() / "dir");
  fs::permissions(root() / "dir", fs::perms(0755));
  Put(root() / "dir" / "file", "theirs");
  {
    const AsNobody nobody;
    Mount(",scratch=no");
    EXPECT_EQ(Shown(), (Names{"DH0:dir", "DH0:fixed", "DH0:hidden", "DH0:dir/file"}));
    EXPECT_EQ(OpenCode("DH0:hidden", MODE_OLDFILE), ERROR_READ_PROTECTED);
    EXPECT_EQ(ReadAll("DH0:fixed"), "theirs");
    const FileHandle file = MustOpen("DH0:fixed", MODE_OLDFILE);
    EXPECT_EQ(WriteCode(file, "x"), ERROR_WRITE_PROTECTED);
    EXPECT_EQ(Code(dos().ChangeFileSize(file, 0, OFFSET_BEGINNING)), ERROR_WRITE_PROTECTED);
    dos().Close(file);
    EXPECT_EQ(OpenCode("DH0:fixed", MODE_NEWFILE), ERROR_WRITE_PROTECTED);
    EXPECT_EQ(OpenCode("DH0:dir/new", MODE_NEWFILE), ERROR_WRITE_PROTECTED);
    EXPECT_EQ(Code(dos().Delete("DH0:dir/file")), ERROR_DELETE_PROTECTED);
    EXPECT_EQ(Code(dos().Rename("DH0:dir/file", "DH0:file")), ERROR_WRITE_PROTECTED);
    Unmount();
  }
  EXPECT_EQ(Content(root() / "fixed"), "theirs");
  EXPECT_EQ(Content(root() / "dir" / "file"), "theirs");
}

TEST_F(HostdirTest, WhatIsDeletedIsGoneFromAFuseFilesystem) {
  std::string why_not;
  const auto host = HostFilesystem::Make("bindfs", "", why_not);
  if (host == nullptr) GTEST_SKIP() << why_not;
  MountAt(host->path(), ",metadata=file");
  const DateStamp date{.ds_Days = 20000, .ds_Minute = 7, .ds_Tick = 50};
  // libfuse keeps what is open when it is removed as ".fuse_hidden...", till it hears of the closing.
  for (int i = 0; i != 20; ++i) {
    EXPECT_EQ(DirectoryCode("DH0:d"), 0);
    Make("DH0:d/a", "x");
    const LockHandle lock = MustLock("DH0:d/a");
    EXPECT_EQ(Code(dos().MakeLink("DH0:d/b", lock, LINK_HARD)), 0);
    dos().UnLock(lock);
    for (const char* const name : {"DH0:d/a", "DH0:d/b"}) {
      EXPECT_EQ(Code(dos().Delete(name)), 0);
      EXPECT_EQ(HostNames(host->path() / "d"),
                name == std::string("DH0:d/a") ? Names{"b"} : Names{});
      EXPECT_EQ(Code(dos().SetDate("DH0:d", date)), 0);
      const Attributes directory = Look("DH0:d");
      EXPECT_EQ(directory.date.ds_Days, date.ds_Days);
      EXPECT_EQ(directory.date.ds_Minute, date.ds_Minute);
    }
    EXPECT_EQ(Code(dos().Delete("DH0:d")), 0);
  }
  EXPECT_EQ(bench_->TakeErrors().find("left"), std::string::npos);
  Unmount();
}

}  // namespace
}  // namespace quorle::selftest
