#include "tests/further/few_objects.h"

#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr const char* kFewFiles[] = {"First", "Second", "Drawer/First"};
// In the order in which they can be deleted.
constexpr const char* kFewNames[] = {"Link",   "Renamed", "Drawer/First",
                                     "Drawer", "Second",  "First"};

}  // namespace

FewObjects::FewObjects(TestContext& ctx, const char* label)
    : ctx_(ctx), label_(label), work_(ctx, label) {}

FewObjects::~FewObjects() {
  if (!work_) return;
  std::uint32_t number = 1;
  for (const char* const name : kFewNames) CleanUp(ctx_, name, label_, ++number);
}

bool FewObjects::Make() {
  if (!work_ || !MakeDirectory(ctx_, "Drawer", label_)) return false;
  for (const char* const name : kFewFiles) {
    if (!MakeFile(ctx_, name, label_)) return false;
  }
  return true;
}

bool FewObjects::MakeHardLink() {
  DosInterface& dos = *ctx_.IDOS;
  const LockHandle lock = dos.Lock("First", SHARED_LOCK);
  const bool is_made = dos.MakeLink("Link", lock, LINK_HARD);
  if (!is_made && !ctx_.NoInfoMessages()) {
    dos.Printf("\nINFO:  %s of a hard link was not tried, there is none; #%n %m\n", label_);
  }
  dos.UnLock(lock);
  return is_made;
}

bool FewObjects::RenameFirst(std::int32_t& status) {
  DosInterface& dos = *ctx_.IDOS;
  if (dos.Rename("First", "Renamed")) return true;
  // A call that is not there is the matter of its own group.
  const bool is_known = !NotImplemented(ctx_);
  if (is_known && WrongError(ctx_, ERROR_OBJECT_IN_USE)) {
    status =
        WrongCode(ctx_, ERROR_OBJECT_IN_USE,
                  "\nWARN:  Rename(\"First\",\"Renamed\") of an object in use failed, which it "
                  "may, but the error code was wrong; #%n %m\n");
    return false;
  }
  status = kPassed;
  if (!ctx_.NoInfoMessages()) {
    dos.Printf(
        "\nINFO:  %s after Rename() was not tried, an object in use is not renamed; #%n %m\n",
        label_);
  }
  return false;
}

LockHandle LockOtherVolume(TestContext& ctx, const char* label, const char*& name) {
  DosInterface& dos = *ctx.IDOS;
  name = ctx.IUtility->Stricmp(ctx.device_name, "RAM:") == 0 ? "ENV:" : "RAM:";
  const LockHandle lock = dos.Lock(name, SHARED_LOCK);
  const PortHandle own = dos.FileLockOf(ctx.root_lock).fl_Port;
  // "ENV:" may be a directory of "RAM:".
  if (lock && dos.FileLockOf(lock).fl_Port != own) return lock;
  if (!ctx.NoInfoMessages()) {
    dos.Printf("\nINFO:  %s across volumes was not tried, \"%s\" is no other volume.\n", label,
               name);
  }
  dos.UnLock(lock);
  return {};
}

}  // namespace quorle
