#include <cstdint>

#include "harness/at_end.h"
#include "tests/further/file_names.h"
#include "tests/further/groups.h"
#include "tests/further/vocabulary.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "Inhibit()";
constexpr char kFile[] = "File";
constexpr char kNew[] = "New";
constexpr char kFirst[] = "first";
constexpr char kSecond[] = "second";
constexpr std::int32_t kFirstBytes = sizeof kFirst - 1;
constexpr std::int32_t kSecondBytes = sizeof kSecond - 1;
constexpr std::uint32_t kBusyType = 0x42555359;  // "BUSY"

/// Keeps everybody off the volume until LetBack(), or to the end.
class [[nodiscard]] Inhibition {
 public:
  explicit Inhibition(TestContext& ctx)
      : ctx_(ctx), is_on_(FurtherOf(ctx).IFurtherDos->Inhibit(ctx.device_name, true)) {}
  /// Also lets back who was kept off by a call that was reported as failed.
  ~Inhibition() {
    if (!was_let_back_) FurtherOf(ctx_).IFurtherDos->Inhibit(ctx_.device_name, false);
  }
  Inhibition(const Inhibition&) = delete;
  Inhibition& operator=(const Inhibition&) = delete;

  explicit operator bool() const { return is_on_; }
  /// The status of a volume that cannot be inhibited. Whether one that is in use can be is left open: these tests
  /// have locks on it.
  std::int32_t Refused() const {
    if (ctx_.IDOS->IoErr() != ERROR_OBJECT_IN_USE) {
      return FailedCall(ctx_, "\nERROR: Inhibit(\"%s\",TRUE) failed; #%n %m\n\n", ctx_.device_name);
    }
    if (ctx_.NoInfoMessages()) return kPassed;
    ctx_.IDOS->Printf(
        "\nINFO:  Inhibit(\"%s\",TRUE) is refused while the volume is in use; #%n %m\n\n",
        ctx_.device_name);
    return kPassed;
  }
  /// Lets everybody back. Returns the status.
  std::int32_t LetBack() {
    was_let_back_ = FurtherOf(ctx_).IFurtherDos->Inhibit(ctx_.device_name, false);
    if (was_let_back_) return kPassed;
    return Failure(ctx_,
                   "\nERROR: Inhibit(\"%s\",FALSE) failed; #%n %m\n"
                   "       Nobody can use the volume any more.\n\n",
                   ctx_.device_name);
  }

 private:
  TestContext& ctx_;
  bool is_on_;
  bool was_let_back_ = false;
};

/// Makes kFile, which holds kFirst. False, with the reason printed, when it cannot.
bool MakeFirst(TestContext& ctx) {
  DosInterface& dos = *ctx.IDOS;
  const FileHandle file = OpenReadWrite(ctx, kFile, kLabel);
  if (!file) return false;
  const std::int32_t written = dos.Write(file, kFirst, kFirstBytes);
  dos.Close(file);
  if (written == kFirstBytes) return true;
  dos.Printf("\nERROR: %s test failed, cannot Write() to \"%s\"; #%n %m\n\n", kLabel, kFile);
  return false;
}

/// Asks the device for its type. Returns the status.
std::int32_t ReadType(TestContext& ctx, const char* when, std::uint32_t& type) {
  InfoData info = {};
  if (!ctx.IDOS->GetDiskInfo(ctx.device_name, info)) {
    return Failure(ctx,
                   "\nERROR: GetDiskInfo(\"%s\") failed %s; #%n %m\n"
                   "       A device can always be asked.\n\n",
                   ctx.device_name, when);
  }
  type = static_cast<std::uint32_t>(info.id_DiskType);
  return kPassed;
}

// ---- Calls that are refused meanwhile ------------------------------------------------------------------

bool LocksFile(TestContext& ctx) {
  const LockHandle lock = ctx.IDOS->Lock(kFile, SHARED_LOCK);
  ctx.IDOS->UnLock(lock);
  return static_cast<bool>(lock);
}

/// Whether kFile or, in MODE_NEWFILE, kNew is opened.
bool Opens(TestContext& ctx, const char* name, std::int32_t mode) {
  const FileHandle file = ctx.IDOS->Open(name, mode);
  if (!file) return false;
  ctx.IDOS->Close(file);
  return true;
}

bool OpensOldFile(TestContext& ctx) {
  return Opens(ctx, kFile, MODE_OLDFILE);
}

bool OpensNewFile(TestContext& ctx) {
  return Opens(ctx, kNew, MODE_NEWFILE);
}

bool CreatesDirectory(TestContext& ctx) {
  const LockHandle lock = ctx.IDOS->CreateDir(kNew);
  ctx.IDOS->UnLock(lock);
  return static_cast<bool>(lock);
}

bool RenamesFile(TestContext& ctx) {
  return ctx.IDOS->Rename(kFile, kNew);
}

bool SetsComment(TestContext& ctx) {
  return ctx.IDOS->SetComment(kFile, "changed");
}

bool SetsProtection(TestContext& ctx) {
  return ctx.IDOS->SetProtection(kFile, EXDF_NO_EXECUTE);
}

bool ExaminesFile(TestContext& ctx) {
  const ExamineData* const data = ctx.IDOS->ExamineObject(EX_StringNameInput, kFile);
  ctx.IDOS->FreeDosObject(DOS_EXAMINEDATA, data);
  return data != nullptr;
}

bool DeletesFile(TestContext& ctx) {
  return ctx.IDOS->Delete(kFile);
}

/// A call that an inhibited volume refuses.
struct InhibitedCall {
  const char* text;
  bool (*succeeds)(TestContext& ctx);  ///< leaves the code in IoErr() when it does not
};

constexpr InhibitedCall kInhibitedCalls[] = {
    {"Lock(\"File\",SHARED_LOCK)", LocksFile},
    {"Open(\"File\",MODE_OLDFILE)", OpensOldFile},
    {"Open(\"New\",MODE_NEWFILE)", OpensNewFile},
    {"CreateDir(\"New\")", CreatesDirectory},
    {"Rename(\"File\",\"New\")", RenamesFile},
    {"SetComment(\"File\",\"changed\")", SetsComment},
    {"SetProtection(\"File\",EXDF_NO_EXECUTE)", SetsProtection},
    {"ExamineObject(\"File\")", ExaminesFile},
    {"Delete(\"File\")", DeletesFile},
};

// ---- Sub-tests ----------------------------------------------------------------------------------------

// 1. While the volume is inhibited calls are refused with 202.
std::int32_t CallsAreRefused(TestContext& ctx, std::int32_t) {
  const WorkDirectory work(ctx, kLabel);
  if (!work) return kFailed;
  const AtEnd release([&] {
    CleanUp(ctx, kFile, kLabel, 2);
    CleanUp(ctx, kNew, kLabel, 3);
  });
  if (!MakeFirst(ctx)) return kFailed;

  Inhibition inhibition(ctx);
  if (!inhibition) return inhibition.Refused();
  for (const InhibitedCall& call : kInhibitedCalls) {
    if (call.succeeds(ctx)) {
      return Failure(ctx,
                     "\nERROR: %s succeeded although the volume is inhibited.\n"
                     "       What formats or repairs it works on the medium itself meanwhile.\n\n",
                     call.text);
    }
    if (WrongError(ctx, ERROR_OBJECT_IN_USE)) {
      return WrongCode(
          ctx, ERROR_OBJECT_IN_USE,
          "\nWARN:  %s failed ok while the volume is inhibited, but the error code was "
          "wrong; #%n %m\n",
          call.text);
    }
  }
  return inhibition.LetBack();
}

// 2. The type of the disk is BUSY, and afterwards what it was.
std::int32_t TypeIsBusy(TestContext& ctx, std::int32_t) {
  Inhibition inhibition(ctx);
  if (!inhibition) return inhibition.Refused();
  std::uint32_t type = 0;
  const std::int32_t while_inhibited = ReadType(ctx, "while the volume is inhibited", type);
  if (while_inhibited != kPassed) return while_inhibited;
  if (type != kBusyType) {
    return Failure(ctx,
                   "\nERROR: GetDiskInfo() gives the type 0x%08lx while the volume is inhibited.\n"
                   "       It should be 0x%08lx, 'BUSY', by which programs know that they must "
                   "wait.\n\n",
                   type, kBusyType);
  }
  if (const std::int32_t status = inhibition.LetBack(); status != kPassed) return status;
  const std::int32_t afterwards = ReadType(ctx, "after the volume was inhibited", type);
  if (afterwards != kPassed) return afterwards;
  if (type != static_cast<std::uint32_t>(ctx.disk_info.id_DiskType)) {
    return Failure(ctx,
                   "\nERROR: GetDiskInfo() gives the type 0x%08lx after the volume was inhibited, "
                   "and gave 0x%08lx before.\n\n",
                   type, ctx.disk_info.id_DiskType);
  }
  return kPassed;
}

// 3. What is on the volume is the same afterwards, whatever was tried meanwhile.
std::int32_t TreeIsAsItWas(TestContext& ctx, std::int32_t) {
  constexpr char kComment[] = "before";
  DosInterface& dos = *ctx.IDOS;
  const WorkDirectory work(ctx, kLabel);
  if (!work) return kFailed;
  const ExamineData* before = nullptr;
  const ExamineData* after = nullptr;
  FileHandle file;
  const AtEnd release([&] {
    dos.FreeDosObject(DOS_EXAMINEDATA, before);
    dos.FreeDosObject(DOS_EXAMINEDATA, after);
    dos.Close(file);
    CleanUp(ctx, kFile, kLabel, 2);
    CleanUp(ctx, kNew, kLabel, 3);
  });
  if (!MakeFirst(ctx)) return kFailed;
  if (!dos.SetComment(kFile, kComment)) {
    dos.Printf("\nERROR: %s test failed, cannot SetComment(\"%s\"); #%n %m\n\n", kLabel, kFile);
    return kFailed;
  }
  before = Examine(ctx, kFile, kLabel);
  if (before == nullptr) return kFailed;

  Inhibition inhibition(ctx);
  if (!inhibition) return inhibition.Refused();
  for (const InhibitedCall& call : kInhibitedCalls) call.succeeds(ctx);
  Opens(ctx, kFile, MODE_NEWFILE);
  if (const std::int32_t status = inhibition.LetBack(); status != kPassed) return status;

  const auto changed = [&](const char* what) {
    return Failure(ctx,
                   "\nERROR: %s after the volume was inhibited, and calls were made meanwhile.\n"
                   "       What formats or repairs it believes that nothing changes.\n\n",
                   what);
  };
  if (LockHandle lock = dos.Lock(kNew, SHARED_LOCK)) {
    dos.UnLock(lock);
    return changed("\"New\" is there");
  }
  after = dos.ExamineObject(EX_StringNameInput, kFile);
  if (after == nullptr) return changed("\"File\" cannot be examined");
  if (!AreEqual(after->Comment, before->Comment)) return changed("\"File\" has another comment");
  if (after->Protection != before->Protection) return changed("\"File\" has another protection");
  file = dos.Open(kFile, MODE_OLDFILE);
  if (!file) return changed("\"File\" cannot be opened");
  char buffer[kFirstBytes + 2] = {};
  if (dos.Read(file, buffer, kFirstBytes + 1) != kFirstBytes || !AreEqual(buffer, kFirst)) {
    return changed("\"File\" has other contents");
  }
  return kPassed;
}

// 4. It is inhibited until it was let back as often.
std::int32_t NestedInhibitions(TestContext& ctx, std::int32_t) {
  const WorkDirectory work(ctx, kLabel);
  if (!work) return kFailed;
  const AtEnd release([&] { CleanUp(ctx, kFile, kLabel, 2); });
  if (!MakeFile(ctx, kFile, kLabel)) return kFailed;

  Inhibition outer(ctx);
  if (!outer) return outer.Refused();
  Inhibition inner(ctx);
  if (!inner) {
    return Failure(ctx,
                   "\nERROR: Inhibit(\"%s\",TRUE) failed while the volume was inhibited; #%n %m\n"
                   "       A program that formats or repairs it may call another one that does so "
                   "too.\n\n",
                   ctx.device_name);
  }
  bool granted = LocksFile(ctx);
  if (const std::int32_t status = inner.LetBack(); status != kPassed) return status;
  granted |= LocksFile(ctx);
  if (granted) {
    return Failure(
        ctx,
        "\nERROR: Lock(\"%s\",SHARED_LOCK) succeeded while the volume was inhibited twice and let "
        "back once at most.\n"
        "       The program that inhibited it first still works on the medium.\n\n",
        kFile);
  }
  if (const std::int32_t status = outer.LetBack(); status != kPassed) return status;
  if (!LocksFile(ctx)) {
    return Failure(ctx,
                   "\nERROR: Lock(\"%s\",SHARED_LOCK) failed after the volume was inhibited twice "
                   "and let back twice; #%n %m\n\n",
                   kFile);
  }
  return kPassed;
}

// 5. A file that is open cannot be read meanwhile, and goes on afterwards.
std::int32_t OpenFileGoesOn(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  const WorkDirectory work(ctx, kLabel);
  if (!work) return kFailed;
  FileHandle file;
  const AtEnd release([&] {
    dos.Close(file);
    CleanUp(ctx, kFile, kLabel, 2);
  });
  file = OpenReadWrite(ctx, kFile, kLabel);
  if (!file) return kFailed;
  if (dos.Write(file, kFirst, kFirstBytes) != kFirstBytes) {
    dos.Printf("\nERROR: %s test failed, cannot Write() to \"%s\"; #%n %m\n\n", kLabel, kFile);
    return kFailed;
  }

  Inhibition inhibition(ctx);
  if (!inhibition) return inhibition.Refused();
  char buffer[kFirstBytes + kSecondBytes + 2] = {};
  if (dos.Read(file, buffer, 1) >= 0) {
    return Failure(ctx,
                   "\nERROR: Read() of an open file succeeded although the volume is inhibited.\n"
                   "       What it gives may come from a medium that is being formatted.\n\n");
  }
  if (WrongError(ctx, ERROR_OBJECT_IN_USE)) {
    return WrongCode(ctx, ERROR_OBJECT_IN_USE,
                     "\nWARN:  Read() of an open file failed ok while the volume is inhibited, but "
                     "the error code was wrong; #%n %m\n");
  }
  if (const std::int32_t status = inhibition.LetBack(); status != kPassed) return status;

  if (dos.Write(file, kSecond, kSecondBytes) != kSecondBytes) {
    return Failure(
        ctx,
        "\nERROR: Write() failed after the volume was inhibited while the file was open; "
        "#%n %m\n\n");
  }
  const bool is_moved = dos.ChangeFilePosition(file, 0, OFFSET_BEGINNING);
  const std::int32_t bytes = dos.Read(file, buffer, kFirstBytes + kSecondBytes + 1);
  if (!is_moved || bytes != kFirstBytes + kSecondBytes || !AreEqual(buffer, "firstsecond")) {
    return Failure(
        ctx,
        "\nERROR: an open file holds \"%s\" after \"%s\" and, when the volume had been "
        "inhibited, \"%s\" was written.\n"
        "       A program that was interrupted while it saved has lost what it saved.\n\n",
        buffer, kFirst, kSecond);
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"CallsAreRefused", CallsAreRefused},      // 1
    {"TypeIsBusy", TypeIsBusy},                // 2
    {"TreeIsAsItWas", TreeIsAsItWas},          // 3
    {"NestedInhibitions", NestedInhibitions},  // 4
    {"OpenFileGoesOn", OpenFileGoesOn},        // 5
    {},
};

}  // namespace

const TestGroup kFurtherInhibitGroup = {
    .label = kLabel, .sub_tests = kSubTests, .id = "Further.Inhibit"};

}  // namespace quorle
