#include <cstdint>

#include "harness/at_end.h"
#include "tests/further/groups.h"
#include "tests/further/vocabulary.h"
#include "tests/further/watching.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "AddNotify()";

bool MakesFile(TestContext& ctx, const char* name) {
  return GiveBack(ctx, ctx.IDOS->Open(name, MODE_NEWFILE));
}

// A file that is made and closed has changed once or twice.

constexpr ChangeOfObject kChangesOfFile[] = {
    {"writing to it and closing it", [](TestContext& ctx) { return WriteAndClose(ctx, "File"); }},
    {"making another file", [](TestContext& ctx) { return MakesFile(ctx, "Other"); }, 0, 0},
    {"renaming it", [](TestContext& ctx) { return ctx.IDOS->Rename("File", "Renamed"); }},
    {"giving its name to another",
     [](TestContext& ctx) { return ctx.IDOS->Rename("Renamed", "File"); }},
    {"deleting it", [](TestContext& ctx) { return ctx.IDOS->Delete("File"); }},
    {"making it again", [](TestContext& ctx) { return MakesFile(ctx, "File"); }, 1, 2},
};

constexpr ChangeOfObject kChangesInDirectory[] = {
    {"making a directory in it",
     [](TestContext& ctx) { return GiveBack(ctx, ctx.IDOS->CreateDir("Drawer/New")); }},
    {"deleting a directory in it", [](TestContext& ctx) { return ctx.IDOS->Delete("Drawer/New"); }},
    {"making a file in it", [](TestContext& ctx) { return MakesFile(ctx, "Drawer/File"); }, 1, 2},
    {"writing to a file in it and closing it",
     [](TestContext& ctx) { return WriteAndClose(ctx, "Drawer/File"); }},
    {"making a file beside it", [](TestContext& ctx) { return MakesFile(ctx, "Other"); }, 0, 0},
    {"renaming a file in it",
     [](TestContext& ctx) { return ctx.IDOS->Rename("Drawer/File", "Drawer/New"); }},
    {"moving a file out of it",
     [](TestContext& ctx) { return ctx.IDOS->Rename("Drawer/New", "Renamed"); }},
    {"moving a file into it",
     [](TestContext& ctx) { return ctx.IDOS->Rename("Renamed", "Drawer/New"); }},
    {"deleting a file in it", [](TestContext& ctx) { return ctx.IDOS->Delete("Drawer/New"); }},
};

/// A scratch directory with the file "File" and the directory "Drawer".
class [[nodiscard]] WatchedObjects {
 public:
  explicit WatchedObjects(TestContext& ctx) : ctx_(ctx), work_(ctx, kLabel) {}
  ~WatchedObjects() {
    if (!work_) return;
    std::uint32_t number = 1;
    for (const char* const name : kNames) CleanUp(ctx_, name, kLabel, ++number);
  }
  WatchedObjects(const WatchedObjects&) = delete;
  WatchedObjects& operator=(const WatchedObjects&) = delete;

  bool Make() {
    return work_ && MakeFile(ctx_, "File", kLabel) && MakeDirectory(ctx_, "Drawer", kLabel);
  }

 private:
  static constexpr const char* kNames[] = {"Drawer/File", "Drawer/New", "Drawer",
                                           "Renamed",     "Other",      "File"};

  TestContext& ctx_;
  WorkDirectory work_;
};

/// Makes each of `changes`, and looks what `watching` gets. Returns the status.
template <std::size_t count>
std::int32_t CheckChanges(TestContext& ctx, Watching& watching,
                          const ChangeOfObject (&changes)[count]) {
  if (!watching) return CannotWatch(ctx, watching.name());
  for (const ChangeOfObject& change : changes) {
    const std::int32_t status = CheckChange(ctx, kLabel, watching, change);
    if (status != kPassed) return status;
  }
  return kPassed;
}

// 1. A file is watched: each change of it sends one message.
std::int32_t FileIsWatched(TestContext& ctx, std::int32_t) {
  WatchedObjects objects(ctx);
  if (!objects.Make()) return kFailed;
  Watching watching(ctx, "File");
  SayWhenEmulated(ctx);
  return CheckChanges(ctx, watching, kChangesOfFile);
}

// 2. A directory is watched: each change of what is in it sends one message.
std::int32_t DirectoryIsWatched(TestContext& ctx, std::int32_t) {
  WatchedObjects objects(ctx);
  if (!objects.Make()) return kFailed;
  Watching watching(ctx, "Drawer");
  return CheckChanges(ctx, watching, kChangesInDirectory);
}

// 3. What is not there yet is watched too.
std::int32_t MissingObjectIsWatched(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  const AtEnd release([&] { CleanUp(ctx, name, kLabel, 1); });
  if (!UniqueFile(ctx, name)) return kFailed;
  Watching watching(ctx, name);
  if (!watching) return CannotWatch(ctx, name);

  if (watching.TakeMessages(false) != 0) {
    return Failure(ctx,
                   "\nERROR: StartNotify(\"%s\") gave a message, though nothing is there and "
                   "nothing was done.\n\n",
                   name);
  }
  if (!MakeFile(ctx, name, kLabel)) return kFailed;
  if (watching.TakeMessages(true) == 0) {
    return Failure(
        ctx,
        "\nERROR: StartNotify(\"%s\") gave no message when the file was made.\n"
        "       Programs wait for settings and messages that others are still to write.\n\n",
        name);
  }
  if (!dos.Delete(name)) {
    dos.Printf("\nERROR: %s test failed, cannot Delete(\"%s\"); #%n %m\n\n", kLabel, name);
    return kFailed;
  }
  if (watching.TakeMessages(true) == 0) {
    return Failure(
        ctx, "\nERROR: StartNotify(\"%s\") gave no message when the file was deleted.\n\n", name);
  }
  return kPassed;
}

// 4. Several requests for one object get a message each.
std::int32_t EachRequestIsNotified(TestContext& ctx, std::int32_t) {
  WatchedObjects objects(ctx);
  if (!objects.Make()) return kFailed;
  Watching first(ctx, "File");
  if (!first) return CannotWatch(ctx, "File");
  Watching second(ctx, "File");
  if (!second) return CannotWatch(ctx, "File");
  const std::int32_t status = CheckChange(ctx, kLabel, first, kChangesOfFile[0]);
  if (status != kPassed) return status;
  const std::uint32_t count = second.TakeMessages(true);
  if (count != 1) {
    return Failure(ctx,
                   "\nERROR: StartNotify(\"File\"), the second, gave %lu messages where the first "
                   "gave one.\n"
                   "       Programs do not know of each other: each waits for its own.\n\n",
                   count);
  }
  return kPassed;
}

// 5. With NRF_WAIT_REPLY the next message comes when the last was given back.
std::int32_t NextWaitsForReply(TestContext& ctx, std::int32_t) {
  FurtherDosInterface& further = *FurtherOf(ctx).IFurtherDos;
  WatchedObjects objects(ctx);
  if (!objects.Make()) return kFailed;
  Watching watching(ctx, "File", NRF_SEND_MESSAGE | NRF_WAIT_REPLY);
  if (!watching) return CannotWatch(ctx, "File");

  if (!MakeChange(ctx, kLabel, kChangesOfFile[0])) return kFailed;
  const MessageHandle message = watching.WaitForMessage();
  if (!message) {
    return Failure(
        ctx,
        "\nERROR: StartNotify(\"File\",NRF_WAIT_REPLY) gave no message about writing to it "
        "and closing it.\n\n");
  }
  if (!MakeChange(ctx, kLabel, kChangesOfFile[0])) {
    further.ReplyNotifyMsg(message);
    return kFailed;
  }
  ctx.IDOS->Delay(2);
  const MessageHandle early = further.GetNotifyMsg(watching.request());
  further.ReplyNotifyMsg(message);
  if (early) {
    further.ReplyNotifyMsg(early);
    return Failure(
        ctx,
        "\nERROR: StartNotify(\"File\",NRF_WAIT_REPLY) gave a message before the last was "
        "given back.\n"
        "       A program that is busy with the last would be overrun.\n\n");
  }
  if (watching.TakeMessages(true) == 0) {
    return Failure(
        ctx,
        "\nERROR: StartNotify(\"File\",NRF_WAIT_REPLY) gave no message about what was "
        "changed before the last was given back.\n"
        "       The program has read what was there before, and never reads it again.\n\n");
  }
  return kPassed;
}

// 6. With NRF_NOTIFY_INITIAL there is a message at once when the object is there.
std::int32_t InitialMessage(TestContext& ctx, std::int32_t) {
  WatchedObjects objects(ctx);
  if (!objects.Make()) return kFailed;
  Watching watching(ctx, "File", NRF_SEND_MESSAGE | NRF_NOTIFY_INITIAL);
  if (!watching) return CannotWatch(ctx, "File");
  const std::uint32_t count = watching.TakeMessages(true);
  if (count != 1) {
    return Failure(
        ctx,
        "\nERROR: StartNotify(\"File\",NRF_NOTIFY_INITIAL) gave %lu messages at once, and "
        "one is due.\n"
        "       Programs read the object for the first time when it comes.\n\n",
        count);
  }
  return CheckChange(ctx, kLabel, watching, kChangesOfFile[0]);
}

// 7. With NRF_SEND_SIGNAL a signal is set instead.
std::int32_t SignalIsSet(TestContext& ctx, std::int32_t) {
  WatchedObjects objects(ctx);
  if (!objects.Make()) return kFailed;
  Watching watching(ctx, "File", NRF_SEND_SIGNAL);
  if (!watching) return CannotWatch(ctx, "File");
  if (FurtherOf(ctx).IFurtherDos->CheckNotifySignal(watching.request())) {
    return Failure(ctx,
                   "\nERROR: StartNotify(\"File\",NRF_SEND_SIGNAL) set the signal at once.\n\n");
  }
  if (!MakeChange(ctx, kLabel, kChangesOfFile[0])) return kFailed;
  if (!watching.WaitForSignal()) {
    return Failure(
        ctx,
        "\nERROR: StartNotify(\"File\",NRF_SEND_SIGNAL) set no signal when it was written "
        "to and closed.\n"
        "       A program that waits for it waits forever.\n\n");
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"FileIsWatched", FileIsWatched},                    // 1
    {"DirectoryIsWatched", DirectoryIsWatched},          // 2
    {"MissingObjectIsWatched", MissingObjectIsWatched},  // 3
    {"EachRequestIsNotified", EachRequestIsNotified},    // 4
    {"NextWaitsForReply", NextWaitsForReply},            // 5
    {"InitialMessage", InitialMessage},                  // 6
    {"SignalIsSet", SignalIsSet},                        // 7
    {},
};

}  // namespace

const TestGroup kFurtherAddNotifyGroup = {
    .label = kLabel, .sub_tests = kSubTests, .id = "Further.AddNotify"};

}  // namespace quorle
