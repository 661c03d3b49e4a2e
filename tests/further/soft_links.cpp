#include <cstdint>

#include "harness/at_end.h"
#include "tests/further/file_names.h"
#include "tests/further/groups.h"
#include "tests/further/vocabulary.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "Soft links";
constexpr char kTarget[] = "Target";
constexpr char kFolder[] = "Folder";
constexpr char kInner[] = "Folder/Target";
constexpr char kLink[] = "Link";

/// Makes the soft link `name`, which holds `target`. Returns the status, with the reason printed unless it is
/// kFatal.
std::int32_t MakeSoftLink(TestContext& ctx, const char* name, const char* target) {
  DosInterface& dos = *ctx.IDOS;
  if (dos.MakeLink(name, target, LINK_SOFT)) return kPassed;
  if (NotImplemented(ctx)) return kFatal;
  dos.Printf("\nERROR: %s test failed, cannot MakeLink(\"%s\",\"%s\",LINK_SOFT); #%n %m\n\n",
             kLabel, name, target);
  return kFailed;
}

/// `path` must lead to the object of `expected`, which is `object`. Returns the status.
std::int32_t CheckLeadsTo(TestContext& ctx, const char* path, LockHandle expected,
                          const char* object) {
  DosInterface& dos = *ctx.IDOS;
  const LockHandle found = dos.Lock(path, SHARED_LOCK);
  if (!found) {
    return Failure(
        ctx,
        "\nERROR: Lock(\"%s\",SHARED_LOCK) through a soft link to \"%s\" failed; #%n %m\n"
        "       A soft link stands for what it leads to.\n\n",
        path, object);
  }
  const std::int32_t relation = dos.SameLock(found, expected);
  dos.UnLock(found);
  if (relation != LOCK_SAME) {
    return Failure(
        ctx,
        "\nERROR: Lock(\"%s\",SHARED_LOCK) through a soft link gave another object than \"%s\".\n"
        "       Who writes to the one destroys the other.\n\n",
        path, object);
  }
  return kPassed;
}

/// Lock() of `path` must fail with `code`. Returns the status.
std::int32_t CheckRefused(TestContext& ctx, const char* path, std::int32_t code) {
  DosInterface& dos = *ctx.IDOS;
  const LockHandle found = dos.Lock(path, SHARED_LOCK);
  if (found) {
    dos.UnLock(found);
    return Failure(
        ctx,
        "\nERROR: Lock(\"%s\",SHARED_LOCK) through soft links actually succeeded.\n"
        "       They lead in a circle, too far or nowhere: what was found is something else.\n\n",
        path);
  }
  if (WrongError(ctx, code)) {
    return WrongCode(
        ctx, code,
        "\nWARN:  Lock(\"%s\",SHARED_LOCK) failed ok, but the error code was wrong; #%n %m\n",
        path);
  }
  return kPassed;
}

/// Soft links of which each leads to the one before, and the first one to the file "Target". They are removed at
/// the end of the block.
class [[nodiscard]] LinkChain {
 public:
  explicit LinkChain(TestContext& ctx) : ctx_(ctx) {}
  ~LinkChain() {
    for (; made_ > 0; --made_) CleanUp(ctx_, Name(made_), kLabel, made_ + 1);
    CleanUp(ctx_, kTarget, kLabel, 1);
  }
  LinkChain(const LinkChain&) = delete;
  LinkChain& operator=(const LinkChain&) = delete;

  /// Makes the file and `count` links. Returns the status.
  std::int32_t Make(std::uint32_t count) {
    if (!MakeFile(ctx_, kTarget, kLabel)) return kFailed;
    ScratchName target;
    ctx_.IUtility->Strlcpy(target.text, kTarget, ScratchName::kSize);
    while (made_ < count) {
      const std::int32_t status = MakeSoftLink(ctx_, Name(++made_), target);
      if (status != kPassed) return status;
      ctx_.IUtility->Strlcpy(target.text, Name(made_), ScratchName::kSize);
    }
    return kPassed;
  }
  /// The name of link `number`, from 1, which is valid until the next call.
  const char* Name(std::uint32_t number) {
    ctx_.IUtility->SNPrintf(name_, sizeof name_, "Link%02lu", number);
    return name_;
  }

 private:
  TestContext& ctx_;
  std::uint32_t made_ = 0;  ///< up to this number there may be links
  char name_[16] = {};
};

/// As many links as are followed.
constexpr std::uint32_t kMostLinks = 15;

// 1. A chain of 15 soft links leads to its end.
std::int32_t ChainOfFifteen(TestContext& ctx, std::int32_t) {
  WorkDirectory work(ctx, kLabel);
  if (!work) return kFailed;
  LinkChain chain(ctx);
  const std::int32_t made = chain.Make(kMostLinks);
  if (made != kPassed) return made;
  const LockHandle target = SharedLock(ctx, kTarget, kLabel);
  if (!target) return kFailed;
  const std::int32_t status = CheckLeadsTo(ctx, chain.Name(kMostLinks), target, kTarget);
  ctx.IDOS->UnLock(target);
  return status;
}

// 2. One of 16 is too long: 217.
std::int32_t ChainOfSixteen(TestContext& ctx, std::int32_t) {
  WorkDirectory work(ctx, kLabel);
  if (!work) return kFailed;
  LinkChain chain(ctx);
  const std::int32_t made = chain.Make(kMostLinks + 1);
  if (made != kPassed) return made;
  return CheckRefused(ctx, chain.Name(kMostLinks + 1), ERROR_TOO_MANY_LEVELS);
}

/// A soft link and what it holds.
struct LinkText {
  const char* name;
  const char* text;
};

// 3. Links that lead to themselves, and to each other: 217.
std::int32_t Loops(TestContext& ctx, std::int32_t) {
  constexpr LinkText kLinks[] = {{"Itself", "Itself"}, {"First", "Second"}, {"Second", "First"}};
  WorkDirectory work(ctx, kLabel);
  const AtEnd release([&] {
    if (!work) return;
    for (const LinkText& link : kLinks) CleanUp(ctx, link.name, kLabel, 2);
  });
  if (!work) return kFailed;
  for (const LinkText& link : kLinks) {
    const std::int32_t status = MakeSoftLink(ctx, link.name, link.text);
    if (status != kPassed) return status;
  }
  for (const LinkText& link : kLinks) {
    const std::int32_t status = CheckRefused(ctx, link.name, ERROR_TOO_MANY_LEVELS);
    if (status != kPassed) return status;
  }
  return kPassed;
}

// 4. A link to what is not there: 205. The link itself can be deleted.
std::int32_t DanglingLink(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  WorkDirectory work(ctx, kLabel);
  const AtEnd release([&] {
    if (work) CleanUp(ctx, kLink, kLabel, 2);
  });
  if (!work) return kFailed;
  std::int32_t status = MakeSoftLink(ctx, kLink, "Missing");
  if (status == kPassed) status = CheckRefused(ctx, kLink, ERROR_OBJECT_NOT_FOUND);
  if (status != kPassed) return status;
  if (!dos.Delete(kLink)) {
    return Failure(ctx,
                   "\nERROR: Delete(\"%s\") of a soft link to what is not there failed; #%n %m\n"
                   "       It can be removed in no other way.\n\n",
                   kLink);
  }
  return kPassed;
}

/// A soft link in a directory with a file "Target", in which there is a directory "Folder" with another file
/// "Target".
struct PlacedLink {
  const char* name;
  const char* text;
  const char* object;  ///< what it leads to
};

/// Makes the directories, the files and the link, and looks where the link leads. Returns the status.
std::int32_t CheckPlaced(TestContext& ctx, const PlacedLink& link) {
  DosInterface& dos = *ctx.IDOS;
  const AtEnd release([&] {
    CleanUp(ctx, link.name, kLabel, 2);
    CleanUp(ctx, kInner, kLabel, 3);
    CleanUp(ctx, kFolder, kLabel, 4);
    CleanUp(ctx, kTarget, kLabel, 5);
  });
  if (!MakeFile(ctx, kTarget, kLabel) || !MakeDirectory(ctx, kFolder, kLabel) ||
      !MakeFile(ctx, kInner, kLabel)) {
    return kFailed;
  }
  const std::int32_t made = MakeSoftLink(ctx, link.name, link.text);
  if (made != kPassed) return made;
  const LockHandle object = SharedLock(ctx, link.object, kLabel);
  if (!object) return kFailed;
  const std::int32_t status = CheckLeadsTo(ctx, link.name, object, link.object);
  dos.UnLock(object);
  return status;
}

// 5. What a link holds is relative to the directory of the link, not to the current one.
std::int32_t RelativeToItsDirectory(TestContext& ctx, std::int32_t) {
  constexpr PlacedLink kLinks[] = {
      {"Folder/Link", "Target", kInner},
      {"Folder/Link", "/Target", kTarget},
      {"Link", "Folder/Target", kInner},
  };
  WorkDirectory work(ctx, kLabel);
  if (!work) return kFailed;
  for (const PlacedLink& link : kLinks) {
    const std::int32_t status = CheckPlaced(ctx, link);
    if (status != kPassed) return status;
  }
  return kPassed;
}

// 6. A link that holds a path from its device, or from the root of its volume.
std::int32_t AbsoluteTarget(TestContext& ctx, std::int32_t) {
  WorkDirectory work(ctx, kLabel);
  if (!work) return kFailed;
  ScratchName path;
  ctx.IUtility->SNPrintf(path.text, ScratchName::kSize, "%s%s/%s", ctx.device_name, work.name(),
                         kTarget);
  const std::int32_t status = CheckPlaced(ctx, {"Folder/Link", path, kTarget});
  if (status != kPassed) return status;
  ctx.IUtility->SNPrintf(path.text, ScratchName::kSize, ":%s/%s", work.name(), kTarget);
  return CheckPlaced(ctx, {"Folder/Link", path, kTarget});
}

// 7. A link that holds a path of more than 200 letters.
std::int32_t LongTarget(TestContext& ctx, std::int32_t) {
  // Into the directory and back to its parent, again and again.
  constexpr std::uint32_t kRounds = 24;
  WorkDirectory work(ctx, kLabel);
  if (!work) return kFailed;
  ScratchName path;
  std::uint32_t length = 0;
  for (std::uint32_t round = 0; round < kRounds; ++round) {
    length += ctx.IUtility->Strlcpy(path.text + length, "Folder//", ScratchName::kSize - length);
  }
  ctx.IUtility->Strlcpy(path.text + length, kInner, ScratchName::kSize - length);
  return CheckPlaced(ctx, {kLink, path, kInner});
}

// 8. A link to a directory is a part of paths: what is behind it is found, made and deleted.
std::int32_t ThroughADirectory(TestContext& ctx, std::int32_t) {
  constexpr char kThrough[] = "Link/Target";
  DosInterface& dos = *ctx.IDOS;
  WorkDirectory work(ctx, kLabel);
  LockHandle inner;
  const AtEnd release([&] {
    dos.UnLock(inner);
    if (!work) return;
    CleanUp(ctx, kLink, kLabel, 2);
    CleanUp(ctx, kInner, kLabel, 3);
    CleanUp(ctx, kFolder, kLabel, 4);
  });
  if (!work) return kFailed;
  if (!MakeDirectory(ctx, kFolder, kLabel)) return kFailed;
  const std::int32_t made = MakeSoftLink(ctx, kLink, kFolder);
  if (made != kPassed) return made;

  const FileHandle file = dos.Open(kThrough, MODE_NEWFILE);
  dos.Close(file);
  if (!file) {
    return Failure(
        ctx,
        "\nERROR: Open(\"%s\",MODE_NEWFILE) through a soft link to \"%s\" failed; #%n %m\n"
        "       A soft link to a directory is a part of paths.\n\n",
        kThrough, kFolder);
  }
  inner = SharedLock(ctx, kInner, kLabel);
  if (!inner) return kFailed;
  const std::int32_t status = CheckLeadsTo(ctx, kThrough, inner, kInner);
  if (status != kPassed) return status;
  dos.UnLock(inner);
  inner = {};
  if (!dos.Delete(kThrough)) {
    return Failure(ctx,
                   "\nERROR: Delete(\"%s\") through a soft link to \"%s\" failed; #%n %m\n"
                   "       A soft link to a directory is a part of paths.\n\n",
                   kThrough, kFolder);
  }
  return kPassed;
}

/// The first of some devices that is there and is not the target's; null without one.
const char* OtherDevice(TestContext& ctx) {
  constexpr const char* kDevices[] = {"RAM:", "ENV:"};
  DosInterface& dos = *ctx.IDOS;
  const PortHandle own_port = dos.FileLockOf(ctx.root_lock).fl_Port;
  for (const char* const device : kDevices) {
    const DevProc* const found = dos.GetDeviceProc(device, nullptr);
    const bool is_other = found != nullptr && found->dvp_Port != own_port;
    dos.FreeDeviceProc(found);
    if (is_other) return device;
  }
  return nullptr;
}

// 9. A link to another volume.
std::int32_t ToAnotherVolume(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  const char* const device = OtherDevice(ctx);
  if (device == nullptr) {
    if (!ctx.NoInfoMessages()) {
      dos.Printf("\nINFO:  %s test without another volume: neither RAM: nor ENV: is there.\n\n",
                 kLabel);
    }
    return kPassed;
  }
  WorkDirectory work(ctx, kLabel);
  LockHandle root;
  const AtEnd release([&] {
    dos.UnLock(root);
    if (!work) return;
    // CleanUp() sets a protection, which would be that of the other volume's root.
    if (!dos.Delete(kLink) && dos.IoErr() != ERROR_OBJECT_NOT_FOUND) CleanUp(ctx, kLink, kLabel, 2);
  });
  if (!work) return kFailed;
  const std::int32_t made = MakeSoftLink(ctx, kLink, device);
  if (made != kPassed) return made;
  root = SharedLock(ctx, device, kLabel);
  if (!root) return kFailed;
  return CheckLeadsTo(ctx, kLink, root, device);
}

// 10. A comment and a protection are set on what a link leads to; Delete() removes the link alone.
std::int32_t CallsGoToTheTarget(TestContext& ctx, std::int32_t) {
  constexpr char kComment[] = "linked";
  DosInterface& dos = *ctx.IDOS;
  WorkDirectory work(ctx, kLabel);
  const ExamineData* data = nullptr;
  const AtEnd release([&] {
    dos.FreeDosObject(DOS_EXAMINEDATA, data);
    if (!work) return;
    CleanUp(ctx, kLink, kLabel, 2);
    CleanUp(ctx, kTarget, kLabel, 3);
  });
  if (!work) return kFailed;
  if (!MakeFile(ctx, kTarget, kLabel)) return kFailed;
  const std::int32_t made = MakeSoftLink(ctx, kLink, kTarget);
  if (made != kPassed) return made;

  if (!dos.SetComment(kLink, kComment) || !dos.SetProtection(kLink, EXDF_NO_EXECUTE)) {
    return Failure(
        ctx,
        "\nERROR: SetComment(\"%s\") or SetProtection(\"%s\") of a soft link failed; #%n %m\n"
        "       All calls but MakeLink(), Rename() and Delete() go to what it leads to.\n\n",
        kLink, kLink);
  }
  data = Examine(ctx, kTarget, kLabel);
  if (data == nullptr) return kFailed;
  if (!AreEqual(data->Comment, kComment) || data->Protection != EXDF_NO_EXECUTE) {
    return Failure(
        ctx,
        "\nERROR: SetComment(\"%s\") or SetProtection(\"%s\") did not change \"%s\".\n"
        "       All calls but MakeLink(), Rename() and Delete() go to what a link leads to.\n\n",
        kLink, kLink, kTarget);
  }
  if (!dos.Delete(kLink)) {
    return Failure(ctx, "\nERROR: Delete(\"%s\") of a soft link failed; #%n %m\n\n", kLink);
  }
  const LockHandle target = dos.Lock(kTarget, SHARED_LOCK);
  dos.UnLock(target);
  if (!target) {
    return Failure(
        ctx,
        "\nERROR: Delete(\"%s\") of a soft link removed \"%s\", to which it led; #%n %m\n"
        "       Who removes a link keeps what it leads to.\n\n",
        kLink, kTarget);
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"ChainOfFifteen", ChainOfFifteen},                  // 1
    {"ChainOfSixteen", ChainOfSixteen},                  // 2
    {"Loops", Loops},                                    // 3
    {"DanglingLink", DanglingLink},                      // 4
    {"RelativeToItsDirectory", RelativeToItsDirectory},  // 5
    {"AbsoluteTarget", AbsoluteTarget},                  // 6
    {"LongTarget", LongTarget},                          // 7
    {"ThroughADirectory", ThroughADirectory},            // 8
    {"ToAnotherVolume", ToAnotherVolume},                // 9
    {"CallsGoToTheTarget", CallsGoToTheTarget},          // 10
    {},
};

}  // namespace

const TestGroup kFurtherSoftLinksGroup = {
    .label = kLabel, .sub_tests = kSubTests, .id = "Further.SoftLinks"};

}  // namespace quorle
