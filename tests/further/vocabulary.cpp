#include "tests/further/vocabulary.h"

#include "harness/memory.h"

namespace quorle {
namespace {

constexpr char kStem[] = "entry";
constexpr std::uint32_t kStemLength = sizeof kStem - 1;
constexpr std::uint32_t kDigits = 4;

}  // namespace

bool GiveBack(TestContext& ctx, LockHandle lock) {
  if (!lock) return false;
  ctx.IDOS->UnLock(lock);
  return true;
}

bool GiveBack(TestContext& ctx, FileHandle file) {
  if (!file) return false;
  ctx.IDOS->Close(file);
  return true;
}

// ---- WorkDirectory -----------------------------------------------------------------------------

WorkDirectory::WorkDirectory(TestContext& ctx, const char* label) : ctx_(ctx), label_(label) {
  DosInterface& dos = *ctx.IDOS;
  if (!UniqueDirectory(ctx, name_)) return;
  lock_ = dos.CreateDir(name_);
  if (!lock_) {
    dos.Printf("\nERROR: %s test failed, cannot CreateDir(\"%s\"); #%n %m\n\n", label, name_);
    return;
  }
  previous_ = dos.SetCurrentDir(lock_);
}

WorkDirectory::~WorkDirectory() {
  if (lock_) ctx_.IDOS->SetCurrentDir(previous_);
  ctx_.IDOS->UnLock(lock_);
  CleanUp(ctx_, name_, label_, 1);
}

// ---- ManyFiles ---------------------------------------------------------------------------------

bool ManyFiles::Make(std::uint32_t count) {
  DosInterface& dos = *ctx_.IDOS;
  for (; count > 0; --count) {
    const char* const name = Name(++made_);
    const FileHandle file = dos.Open(name, MODE_NEWFILE);
    if (!file) {
      dos.Printf("\nERROR: %s test failed, cannot Open(\"%s\",MODE_NEWFILE); #%n %m\n\n", label_,
                 name);
      return false;
    }
    dos.Close(file);
  }
  return true;
}

ManyFiles::~ManyFiles() {
  DosInterface& dos = *ctx_.IDOS;
  for (std::uint32_t number = 1; number <= made_; ++number) {
    const char* const name = Name(number);
    if (!dos.Delete(name) && dos.IoErr() != ERROR_OBJECT_NOT_FOUND) {
      CleanUp(ctx_, name, label_, number);
    }
  }
}

const char* ManyFiles::Name(std::uint32_t number) {
  ctx_.IUtility->SNPrintf(name_, sizeof name_, "%s%04lu", kStem, number);
  return name_;
}

std::uint32_t ManyFiles::NumberOf(const char* name) {
  if (TextLength(name) != kStemLength + kDigits) return 0;
  for (std::uint32_t i = 0; i < kStemLength; ++i) {
    if (name[i] != kStem[i]) return 0;
  }
  std::uint32_t number = 0;
  for (std::uint32_t i = kStemLength; i < kStemLength + kDigits; ++i) {
    if (name[i] < '0' || name[i] > '9') return 0;
    number = number * 10 + static_cast<std::uint32_t>(name[i] - '0');
  }
  return number;
}

}  // namespace quorle
