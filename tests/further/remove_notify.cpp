#include <cstdint>

#include "harness/at_end.h"
#include "tests/further/groups.h"
#include "tests/further/vocabulary.h"
#include "tests/further/watching.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "RemoveNotify()";

constexpr ChangeOfObject kWritten = {"writing to it and closing it",
                                     [](TestContext& ctx) { return WriteAndClose(ctx, "File"); }};

/// A scratch directory with the file "File".
class [[nodiscard]] WatchedFile {
 public:
  explicit WatchedFile(TestContext& ctx) : ctx_(ctx), work_(ctx, kLabel) {}
  ~WatchedFile() {
    if (work_) CleanUp(ctx_, "File", kLabel, 2);
  }
  WatchedFile(const WatchedFile&) = delete;
  WatchedFile& operator=(const WatchedFile&) = delete;

  bool Make() { return work_ && MakeFile(ctx_, "File", kLabel); }

 private:
  TestContext& ctx_;
  WorkDirectory work_;
};

// 1. After the end nothing is sent: a new request for the same file gets one message for a change, and none
// for what was before.
std::int32_t NothingAfterTheEnd(TestContext& ctx, std::int32_t) {
  WatchedFile file(ctx);
  if (!file.Make()) return kFailed;
  Watching ended(ctx, "File");
  if (!ended) return CannotWatch(ctx, "File");
  const std::int32_t status = CheckChange(ctx, kLabel, ended, kWritten);
  if (status != kPassed) return status;
  // This message waits when the request ends.
  if (!MakeChange(ctx, kLabel, kWritten)) return kFailed;
  ended.End();
  if (!MakeChange(ctx, kLabel, kWritten)) return kFailed;

  Watching watching(ctx, "File");
  if (!watching) return CannotWatch(ctx, "File");
  const std::uint32_t count = watching.TakeMessages(false);
  if (count != 0) {
    return Failure(
        ctx,
        "\nERROR: StartNotify(\"File\") gave %lu messages of changes that were made before.\n"
        "       They are those of a request that has ended.\n\n",
        count);
  }
  return CheckChange(ctx, kLabel, watching, kWritten);
}

// 2. The end of one request leaves others for the same file alone.
std::int32_t OtherRequestsStay(TestContext& ctx, std::int32_t) {
  WatchedFile file(ctx);
  if (!file.Make()) return kFailed;
  Watching ended(ctx, "File");
  if (!ended) return CannotWatch(ctx, "File");
  Watching watching(ctx, "File");
  if (!watching) return CannotWatch(ctx, "File");
  ended.End();
  return CheckChange(ctx, kLabel, watching, kWritten);
}

// 3. A file that was watched is in nobody's use.
std::int32_t ObjectIsFree(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  WatchedFile file(ctx);
  if (!file.Make()) return kFailed;
  Watching watching(ctx, "File");
  if (!watching) return CannotWatch(ctx, "File");
  watching.End();
  const LockHandle lock = dos.Lock("File", EXCLUSIVE_LOCK);
  if (!lock) {
    return Failure(
        ctx,
        "\nERROR: EndNotify(\"File\"), but then Lock(\"File\",EXCLUSIVE_LOCK) failed; #%n %m\n"
        "       Who watches an object must not keep others from it, and least of all "
        "afterwards.\n\n");
  }
  dos.UnLock(lock);
  if (!dos.Delete("File")) {
    return Failure(ctx,
                   "\nERROR: EndNotify(\"File\"), but then Delete(\"File\") failed; #%n %m\n\n");
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"NothingAfterTheEnd", NothingAfterTheEnd},  // 1
    {"OtherRequestsStay", OtherRequestsStay},    // 2
    {"ObjectIsFree", ObjectIsFree},              // 3
    {},
};

}  // namespace

const TestGroup kFurtherRemoveNotifyGroup = {
    .label = kLabel, .sub_tests = kSubTests, .id = "Further.RemoveNotify"};

}  // namespace quorle
