#include "explore/replay.h"

#include <utility>

#include "explore/call_text.h"
#include "explore/value_text.h"
#include "platform/constants.h"

namespace quorle::explore {
namespace {

// Names alone: contents stay unread.
constexpr ListingBounds kNames = {.objects = kTreeBounds.objects, .file_bytes = 0, .all_bytes = 0};

void CompareCount(const char* what, std::int64_t before, std::int64_t now,
                  std::vector<std::string>& lines) {
  if (now == before) return;
  lines.push_back(std::to_string(now) + " " + what + ", expected " + std::to_string(before) +
                  " as before the first line");
}

}  // namespace

Replay::Replay(Parts parts) : parts_(std::move(parts)) {
  for (const auto& [path, object] : ListVolume(parts_.port, kNames).objects) before_.insert(path);
}

std::int32_t Replay::Begin() {
  parts_.side.End();
  const std::int32_t code = parts_.side.Begin("");
  if (code == 0) info_ = Info();
  return code;
}

InfoData Replay::Info() {
  InfoData info{};
  parts_.side.dos().GetDiskInfo(parts_.side.device().c_str(), info);
  return info;
}

ReplayedLine Replay::Make(const CallsStep& step) {
  ReplayedLine outcome;
  switch (step.type) {
    case CallsStep::Type::kCall:
      outcome = MakeCall(step);
      if (step.call.due) ++expected_;
      break;
    case CallsStep::Type::kTree:
      outcome = MakeTree(*step.tree);
      ++expected_;
      break;
    case CallsStep::Type::kRemount:
      outcome = MakeRemount();
      ++expected_;
      break;
    case CallsStep::Type::kEmpty:
      outcome = MakeEmpty();
      ++expected_;
      break;
  }
  if (!outcome.is_due) ++wrong_;
  return outcome;
}

ReplayedLine Replay::MakeCall(const CallsStep& step) {
  const Call& call = step.call.call;
  parts_.clock.Step();
  ++calls_;
  Outcome made;
  parts_.side.Make(call, made);
  const DueOutcome all = AllOf(call, made);
  ReplayedLine outcome{.is_due = !step.call.due || IsAsDue(*step.call.due, all),
                       .text = MadeText(call, TextOf(call, all)),
                       .below = {}};
  if (!outcome.is_due) outcome.below.push_back("expected: " + TextOf(call, *step.call.due));
  return outcome;
}

ReplayedLine Replay::MakeTree(const DueTree& due) {
  std::vector<std::string> lines = CompareTree(due, ListVolume(parts_.port, kTreeBounds));
  return {.is_due = lines.empty(), .text = "tree", .below = std::move(lines)};
}

ReplayedLine Replay::MakeRemount() {
  parts_.side.End();
  std::string problem = parts_.remount();
  if (const std::int32_t code = parts_.side.Begin(""); code != 0 && problem.empty()) {
    problem = "the root cannot be locked, error " + std::to_string(code);
  }
  ReplayedLine outcome{.is_due = problem.empty(), .text = "remount", .below = {}};
  if (!problem.empty()) outcome.below.push_back(std::move(problem));
  return outcome;
}

ReplayedLine Replay::MakeEmpty() {
  parts_.side.End();
  // What could not be deleted because of what was in it, or was linked to, can be then.
  constexpr int kRounds = 3;
  for (int round = 0; round != kRounds; ++round) DeleteWhatIsLeft();
  std::vector<std::string> lines;
  for (const std::string& path : Left()) lines.push_back(Quoted(path) + " cannot be deleted");
  if (const std::int32_t code = parts_.side.Begin(""); code != 0) {
    lines.push_back("the root cannot be locked, error " + std::to_string(code));
  } else if (lines.empty()) {
    const InfoData info = Info();
    CompareCount("users", info_.id_InUse, info.id_InUse, lines);
    CompareCount("blocks used", info_.id_NumBlocksUsed, info.id_NumBlocksUsed, lines);
  }
  return {.is_due = lines.empty(), .text = "empty", .below = std::move(lines)};
}

void Replay::DeleteWhatIsLeft() {
  const std::vector<std::string> left = Left();
  DosInterface& dos = parts_.side.dos();
  for (auto path = left.rbegin(); path != left.rend(); ++path) {
    const std::string name = parts_.side.device() + *path;
    dos.SetProtection(name.c_str(), 0);
    dos.Delete(name.c_str());
  }
}

std::vector<std::string> Replay::Left() const {
  std::vector<std::string> left;
  for (const auto& [path, object] : ListVolume(parts_.port, kNames).objects) {
    if (!before_.contains(path)) left.push_back(path);
  }
  return left;
}

std::string CallsText(const Difference& difference, std::vector<std::string> comments,
                      const FreshReference& reference) {
  DifferenceNotes notes;
  notes.comments = std::move(comments);
  reference.side.Begin("");
  const auto make = [&](const Call& call) {
    reference.clock.Step();
    Outcome outcome;
    reference.side.Make(call, outcome);
    return AllOf(call, outcome);
  };
  for (const ShownCall& shown : difference.calls) notes.reference.push_back(make(shown.call));
  for (const std::string& line : difference.then) {
    CallLine look;
    std::string field;
    if (!ReadLook(line, look.call, field)) continue;
    look.due = make(look.call);
    std::erase_if(look.due->fields, [&](const DueField& due) {
      return FieldsOf(Result::kRecord)[due.field].name != field;
    });
    notes.looks.push_back(std::move(look));
  }
  const VolumeListing tree = ListVolume(reference.port, kTreeBounds);
  notes.tree = &tree;
  return CallsText(difference, notes);
}

}  // namespace quorle::explore
