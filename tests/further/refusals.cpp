#include <cstdint>

#include "harness/at_end.h"
#include "tests/further/groups.h"
#include "tests/further/refusal_tree.h"
#include "tests/further/refused_call.h"
#include "tests/further/vocabulary.h"
#include "tests/set_up.h"

/// The codes are what the groups of the calls look at. Here a refusal has to do no harm, whatever the reason.
namespace quorle {
namespace {

constexpr char kLabel[] = "Refusals";

bool OpenIn(TestContext& ctx, const char* name, std::int32_t mode) {
  return GiveBack(ctx, ctx.IDOS->Open(name, mode));
}

/// After `call` a date is another one: locks and opens as the call did, without it. When dates change by that, or by a
/// look at the tree, as nothing forbids, they are left out from now on. Returns the status.
std::int32_t TryDatesWithout(TestContext& ctx, RefusalTree& tree, const RefusedCall& call) {
  RefusedCall idle = call;
  idle.make = [](TestContext&, LockHandle&, FileHandle) { return false; };
  tree.MarkAgain();
  TreeLook before;
  tree.Look(before);
  bool is_granted = false;
  const std::int32_t status = Refuse(ctx, kLabel, idle, is_granted);
  if (status != kPassed) return status;
  TreeLook now;
  tree.Look(now);
  if (!RefusalTree::HaveOtherDates(before, now)) return kPassed;
  tree.LeaveOutDates();
  if (ctx.NoInfoMessages()) return kPassed;
  ctx.IDOS->Printf(
      "\nINFO:  The date of an object changes when it is looked at, locked or opened; dates are not "
      "compared.\n");
  return kPassed;
}

/// Makes each of `calls`, which end with an empty one, and looks at the tree after each.
std::int32_t MakeCalls(TestContext& ctx, RefusalTree& tree, const RefusedCall* calls) {
  TreeLook before;
  tree.Look(before);
  if (!tree.IsComplete(before)) return kFailed;
  for (const RefusedCall* call = calls; call->text != nullptr; ++call) {
    bool is_granted = false;
    std::int32_t status = Refuse(ctx, kLabel, *call, is_granted);
    // Such a call is the last one: it did its work.
    if (status != kPassed || is_granted) return status;
    TreeLook now;
    tree.Look(now);
    if (tree.compares_dates() && RefusalTree::HaveOtherDates(before, now)) {
      status = TryDatesWithout(ctx, tree, *call);
      if (status != kPassed) return status;
    }
    status = tree.Compare(call->text, before, now);
    if (status != kPassed) return status;
  }
  return kPassed;
}

std::int32_t MakeCalls(TestContext& ctx, const RefusedCall* calls) {
  RefusalTree tree(ctx, kLabel);
  if (!tree.Make()) return kFailed;
  return MakeCalls(ctx, tree, calls);
}

constexpr RefusedCall kRefusedRenames[] = {
    {"Rename(\"Drawer/Source\",\"Drawer/Target\")",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return ctx.IDOS->Rename("Drawer/Source", "Drawer/Target");
     }},
    {"Rename(\"Drawer/Source\",\"Drawer/Folder/First\")",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return ctx.IDOS->Rename("Drawer/Source", "Drawer/Folder/First");
     }},
    {"Rename(\"Drawer/Source\",\"Drawer/Folder\")",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return ctx.IDOS->Rename("Drawer/Source", "Drawer/Folder");
     }},
    {"Rename(\"Drawer/Folder\",\"Drawer/Target\")",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return ctx.IDOS->Rename("Drawer/Folder", "Drawer/Target");
     }},
    {"Rename(\"Drawer\",\"Drawer/Folder/New\")",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return ctx.IDOS->Rename("Drawer", "Drawer/Folder/New");
     }},
    {"Rename(\"Drawer/Folder\",\"Drawer/Folder/New\")",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return ctx.IDOS->Rename("Drawer/Folder", "Drawer/Folder/New");
     }},
    {"Rename(\"Drawer/None\",\"Drawer/New\")",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return ctx.IDOS->Rename("Drawer/None", "Drawer/New");
     }},
    {"Rename(\"Drawer/None\",\"Drawer/Target\")",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return ctx.IDOS->Rename("Drawer/None", "Drawer/Target");
     }},
    {"Rename(\"Drawer/Source\",\"Drawer/None/New\")",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return ctx.IDOS->Rename("Drawer/Source", "Drawer/None/New");
     }},
    {},
};

// 1. A refused Rename() leaves both objects and their directories alone.
std::int32_t RefusedRename(TestContext& ctx, std::int32_t) {
  return MakeCalls(ctx, kRefusedRenames);
}

constexpr RefusedCall kRefusedDeletes[] = {
    {"Delete(\"Drawer/Folder\")",
     [](TestContext& ctx, LockHandle&, FileHandle) { return ctx.IDOS->Delete("Drawer/Folder"); }},
    {"Delete(\"Drawer/Kept\")",
     [](TestContext& ctx, LockHandle&, FileHandle) { return ctx.IDOS->Delete("Drawer/Kept"); }},
    {"Delete(\"Drawer/Source\") of a locked file",
     [](TestContext& ctx, LockHandle&, FileHandle) { return ctx.IDOS->Delete("Drawer/Source"); },
     "Drawer/Source"},
    {"Delete(\"Drawer/Source\") of an open file",
     [](TestContext& ctx, LockHandle&, FileHandle) { return ctx.IDOS->Delete("Drawer/Source"); },
     nullptr, SHARED_LOCK, "Drawer/Source"},
    {"Delete(\"Drawer/None\")",
     [](TestContext& ctx, LockHandle&, FileHandle) { return ctx.IDOS->Delete("Drawer/None"); }},
    {"Delete(\":\")",
     [](TestContext& ctx, LockHandle&, FileHandle) { return ctx.IDOS->Delete(":"); }},
    {},
};

// 2. A refused Delete() leaves the object, and what is in it.
std::int32_t RefusedDelete(TestContext& ctx, std::int32_t) {
  return MakeCalls(ctx, kRefusedDeletes);
}

constexpr RefusedCall kRefusedOpens[] = {
    {"Open(\"Drawer/New\",MODE_OLDFILE)",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return OpenIn(ctx, "Drawer/New", MODE_OLDFILE);
     }},
    {"Open(\"Drawer/None/New\",MODE_NEWFILE)",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return OpenIn(ctx, "Drawer/None/New", MODE_NEWFILE);
     }},
    {"Open(\"Drawer/Folder\",MODE_OLDFILE)",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return OpenIn(ctx, "Drawer/Folder", MODE_OLDFILE);
     }},
    {"Open(\"Drawer/Folder\",MODE_READWRITE)",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return OpenIn(ctx, "Drawer/Folder", MODE_READWRITE);
     }},
    {"Open(\"Drawer/Folder\",MODE_NEWFILE)",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return OpenIn(ctx, "Drawer/Folder", MODE_NEWFILE);
     }},
    {"Open(\"Drawer/Kept\",MODE_NEWFILE)",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return OpenIn(ctx, "Drawer/Kept", MODE_NEWFILE);
     }},
    {"Open(\"Drawer/Source\",MODE_NEWFILE) of a locked file",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return OpenIn(ctx, "Drawer/Source", MODE_NEWFILE);
     },
     "Drawer/Source"},
    {"Open(\"Drawer/Source\",MODE_NEWFILE) of an open file",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return OpenIn(ctx, "Drawer/Source", MODE_NEWFILE);
     },
     nullptr, SHARED_LOCK, "Drawer/Source"},
    {"Open(\"Drawer/Source\",MODE_OLDFILE) of a file under an exclusive lock",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return OpenIn(ctx, "Drawer/Source", MODE_OLDFILE);
     },
     "Drawer/Source", EXCLUSIVE_LOCK},
    {"OpenFromLock() of a lock on \"Drawer/Folder\"",
     [](TestContext& ctx, LockHandle& lock, FileHandle) {
       const FileHandle file = ctx.IDOS->OpenFromLock(lock);
       if (file) lock = {};  // the handle has it
       return GiveBack(ctx, file);
     },
     "Drawer/Folder"},
    {},
};

// 3. A refused Open() makes no file, and leaves the one that is there.
std::int32_t RefusedOpen(TestContext& ctx, std::int32_t) {
  return MakeCalls(ctx, kRefusedOpens);
}

constexpr RefusedCall kRefusedCreates[] = {
    {"CreateDir(\"Drawer/Source\")",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return GiveBack(ctx, ctx.IDOS->CreateDir("Drawer/Source"));
     }},
    {"CreateDir(\"Drawer/Folder\")",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return GiveBack(ctx, ctx.IDOS->CreateDir("Drawer/Folder"));
     }},
    {"MakeLink(\"Drawer/Source\",LINK_HARD) to \"Drawer/Target\"",
     [](TestContext& ctx, LockHandle& lock, FileHandle) {
       return ctx.IDOS->MakeLink("Drawer/Source", lock, LINK_HARD);
     },
     "Drawer/Target"},
    {"MakeLink(\"Drawer/Folder/New\",LINK_HARD) to \"Drawer/Folder\"",
     [](TestContext& ctx, LockHandle& lock, FileHandle) {
       return ctx.IDOS->MakeLink("Drawer/Folder/New", lock, LINK_HARD);
     },
     "Drawer/Folder"},
    {"MakeLink(\"Drawer/Source\",\"Target\",LINK_SOFT)",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return ctx.IDOS->MakeLink("Drawer/Source", "Target", LINK_SOFT);
     }},
    {"MakeLink(\"Drawer/New\",\"\",LINK_SOFT)",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return ctx.IDOS->MakeLink("Drawer/New", "", LINK_SOFT);
     },
     nullptr, SHARED_LOCK, nullptr, true},
    {},
};

// 4. A refused CreateDir() or MakeLink() makes nothing, and leaves what has the name.
std::int32_t RefusedCreate(TestContext& ctx, std::int32_t) {
  return MakeCalls(ctx, kRefusedCreates);
}

constexpr RefusedCall kRefusedAttributes[] = {
    {"SetComment(\"Drawer/Source\") of 300 characters",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       char comment[301];
       for (char& character : comment) character = 'c';
       comment[300] = '\0';
       return ctx.IDOS->SetComment("Drawer/Source", comment);
     }},
    {"SetComment(\"Drawer/New\")",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return ctx.IDOS->SetComment("Drawer/New", "comment");
     }},
    {"SetProtection(\"Drawer/New\")",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return ctx.IDOS->SetProtection("Drawer/New", EXDF_ARCHIVE);
     }},
    {"SetDate(\"Drawer/New\")",
     [](TestContext& ctx, LockHandle&, FileHandle) { return ctx.IDOS->SetDate("Drawer/New", {}); }},
    {"SetOwnerInfo(\"Drawer/New\",OI_OwnerUID)",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return ctx.IDOS->SetOwnerInfo("Drawer/New", OI_OwnerUID, 1);
     }},
    {"ReadSoftLink(\"Drawer/Source\")",
     [](TestContext& ctx, LockHandle& lock, FileHandle) {
       char target[16];
       return ctx.IDOS->ReadSoftLink({}, lock, "Source", target, sizeof target) >= 0;
     },
     "Drawer"},
    {},
};

// 5. A refused comment leaves the old one; what is not there does not come into being by its attributes.
std::int32_t RefusedAttributes(TestContext& ctx, std::int32_t) {
  return MakeCalls(ctx, kRefusedAttributes);
}

constexpr RefusedCall kRefusedData[] = {
    {"ChangeFilePosition(1000,OFFSET_BEGINNING)",
     [](TestContext& ctx, LockHandle&, FileHandle file) {
       return ctx.IDOS->ChangeFilePosition(file, 1000, OFFSET_BEGINNING);
     },
     nullptr, SHARED_LOCK, "Drawer/Source"},
    {"ChangeFilePosition(-1,OFFSET_BEGINNING)",
     [](TestContext& ctx, LockHandle&, FileHandle file) {
       return ctx.IDOS->ChangeFilePosition(file, -1, OFFSET_BEGINNING);
     },
     nullptr, SHARED_LOCK, "Drawer/Source"},
    {"ChangeFilePosition(-1000,OFFSET_CURRENT)",
     [](TestContext& ctx, LockHandle&, FileHandle file) {
       return ctx.IDOS->ChangeFilePosition(file, -1000, OFFSET_CURRENT);
     },
     nullptr, SHARED_LOCK, "Drawer/Source"},
    {"ChangeFilePosition(1,OFFSET_END)",
     [](TestContext& ctx, LockHandle&, FileHandle file) {
       return ctx.IDOS->ChangeFilePosition(file, 1, OFFSET_END);
     },
     nullptr, SHARED_LOCK, "Drawer/Source"},
    {"ChangeFileSize(-1,OFFSET_BEGINNING)",
     [](TestContext& ctx, LockHandle&, FileHandle file) {
       return ctx.IDOS->ChangeFileSize(file, -1, OFFSET_BEGINNING);
     },
     nullptr, SHARED_LOCK, "Drawer/Source"},
    {"Read() of \"Drawer/Sealed\"",
     [](TestContext& ctx, LockHandle&, FileHandle file) {
       char byte = 0;
       return ctx.IDOS->Read(file, &byte, sizeof byte) >= 0;
     },
     nullptr, SHARED_LOCK, "Drawer/Sealed"},
    {"Write() to \"Drawer/Sealed\"",
     [](TestContext& ctx, LockHandle&, FileHandle file) {
       const char byte = '!';
       return ctx.IDOS->Write(file, &byte, sizeof byte) >= 0;
     },
     nullptr, SHARED_LOCK, "Drawer/Sealed"},
    {"ChangeFileSize(1,OFFSET_BEGINNING) of \"Drawer/Sealed\"",
     [](TestContext& ctx, LockHandle&, FileHandle file) {
       return ctx.IDOS->ChangeFileSize(file, 1, OFFSET_BEGINNING);
     },
     nullptr, SHARED_LOCK, "Drawer/Sealed"},
    {},
};

// 6. A refused read, write, move or size leaves the file and the position.
std::int32_t RefusedData(TestContext& ctx, std::int32_t) {
  return MakeCalls(ctx, kRefusedData);
}

constexpr RefusedCall kRefusedLocks[] = {
    {"Lock(\"Drawer/New\",SHARED_LOCK)",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return GiveBack(ctx, ctx.IDOS->Lock("Drawer/New", SHARED_LOCK));
     }},
    {"Lock(\"Drawer/Source\",EXCLUSIVE_LOCK) of a locked file",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return GiveBack(ctx, ctx.IDOS->Lock("Drawer/Source", EXCLUSIVE_LOCK));
     },
     "Drawer/Source"},
    {"Lock(\"Drawer/Source\",SHARED_LOCK) of a file under an exclusive lock",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return GiveBack(ctx, ctx.IDOS->Lock("Drawer/Source", SHARED_LOCK));
     },
     "Drawer/Source", EXCLUSIVE_LOCK},
    {"DupLock() of an exclusive lock on \"Drawer/Source\"",
     [](TestContext& ctx, LockHandle& lock, FileHandle) {
       return GiveBack(ctx, ctx.IDOS->DupLock(lock));
     },
     "Drawer/Source", EXCLUSIVE_LOCK},
    {"ChangeMode(CHANGE_LOCK,EXCLUSIVE_LOCK) of \"Drawer/Source\", which is open,",
     [](TestContext& ctx, LockHandle& lock, FileHandle) {
       return ctx.IDOS->ChangeMode(CHANGE_LOCK, lock, EXCLUSIVE_LOCK);
     },
     "Drawer/Source", SHARED_LOCK, "Drawer/Source"},
    {"ChangeMode(CHANGE_FH,EXCLUSIVE_LOCK) of \"Drawer/Source\", which is locked,",
     [](TestContext& ctx, LockHandle&, FileHandle file) {
       return ctx.IDOS->ChangeMode(CHANGE_FH, file, EXCLUSIVE_LOCK);
     },
     "Drawer/Source", SHARED_LOCK, "Drawer/Source"},
    {"ChangeMode(CHANGE_LOCK,EXCLUSIVE_LOCK) of the directory \"Drawer/Folder\"",
     [](TestContext& ctx, LockHandle& lock, FileHandle) {
       return ctx.IDOS->ChangeMode(CHANGE_LOCK, lock, EXCLUSIVE_LOCK);
     },
     "Drawer/Folder"},
    {},
};

// 7. A refused lock or mode leaves the locks that are there.
std::int32_t RefusedLock(TestContext& ctx, std::int32_t) {
  return MakeCalls(ctx, kRefusedLocks);
}

constexpr RefusedCall kOnProtectedVolume[] = {
    {"Rename(\"Drawer/Source\",\"Drawer/New\") on a write-protected volume",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return ctx.IDOS->Rename("Drawer/Source", "Drawer/New");
     }},
    {"Delete(\"Drawer/Source\") on a write-protected volume",
     [](TestContext& ctx, LockHandle&, FileHandle) { return ctx.IDOS->Delete("Drawer/Source"); }},
    {"CreateDir(\"Drawer/New\") on a write-protected volume",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return GiveBack(ctx, ctx.IDOS->CreateDir("Drawer/New"));
     }},
    {"Open(\"Drawer/Source\",MODE_NEWFILE) on a write-protected volume",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return OpenIn(ctx, "Drawer/Source", MODE_NEWFILE);
     }},
    {"Open(\"Drawer/New\",MODE_READWRITE) on a write-protected volume",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return OpenIn(ctx, "Drawer/New", MODE_READWRITE);
     }},
    {"SetComment(\"Drawer/Source\") on a write-protected volume",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return ctx.IDOS->SetComment("Drawer/Source", "another");
     }},
    {"SetProtection(\"Drawer/Source\") on a write-protected volume",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return ctx.IDOS->SetProtection("Drawer/Source", EXDF_NO_DELETE);
     }},
    {"SetDate(\"Drawer/Source\") on a write-protected volume",
     [](TestContext& ctx, LockHandle&, FileHandle) {
       return ctx.IDOS->SetDate("Drawer/Source", {});
     }},
    {"Write() on a write-protected volume",
     [](TestContext& ctx, LockHandle&, FileHandle file) {
       const char byte = '!';
       return ctx.IDOS->Write(file, &byte, sizeof byte) >= 0;
     },
     nullptr, SHARED_LOCK, "Drawer/Source"},
    {"ChangeFileSize(1,OFFSET_BEGINNING) on a write-protected volume",
     [](TestContext& ctx, LockHandle&, FileHandle file) {
       return ctx.IDOS->ChangeFileSize(file, 1, OFFSET_BEGINNING);
     },
     nullptr, SHARED_LOCK, "Drawer/Source"},
    {},
};

// 8. What a write-protected volume refuses is not done half.
std::int32_t ProtectedVolume(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  RefusalTree tree(ctx, kLabel);
  if (!tree.Make()) return kFailed;
  if (!dos.WriteProtectVolume(ctx.device_name, true, 0, 0)) {
    if (!ctx.NoInfoMessages()) {
      dos.Printf("\nINFO:  The volume cannot be write-protected, nothing was tried; #%n %m\n");
    }
    dos.WriteProtectVolume(ctx.device_name, false, 0, 0);  // whatever the call did
    return kPassed;
  }
  const std::int32_t status = MakeCalls(ctx, tree, kOnProtectedVolume);
  dos.WriteProtectVolume(ctx.device_name, false, 0, 0);
  return status;
}

constexpr SubTestTable kSubTests = {
    {"RefusedRename", RefusedRename},          // 1
    {"RefusedDelete", RefusedDelete},          // 2
    {"RefusedOpen", RefusedOpen},              // 3
    {"RefusedCreate", RefusedCreate},          // 4
    {"RefusedAttributes", RefusedAttributes},  // 5
    {"RefusedData", RefusedData},              // 6
    {"RefusedLock", RefusedLock},              // 7
    {"ProtectedVolume", ProtectedVolume},      // 8
    {},
};

}  // namespace

const TestGroup kFurtherRefusalsGroup = {
    .label = kLabel, .sub_tests = kSubTests, .id = "Further.Refusals"};

}  // namespace quorle
