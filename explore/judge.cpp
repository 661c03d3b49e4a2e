#include "explore/judge.h"

#include <cstddef>
#include <utility>

#include "explore/call_text.h"
#include "explore/tolerance.h"
#include "explore/value_text.h"
#include "platform/constants.h"

namespace quorle::explore {
namespace {

/// What a name of a call is called in a difference.
std::string_view RoleOf(Operation operation, std::size_t name) {
  switch (operation) {
    case Operation::kRename:
      return name == 0 ? "source" : "target";
    case Operation::kMakeHardLink:
    case Operation::kMakeSoftLink:
      return "link";
    default:
      return "object";
  }
}

/// Whether what a call names may be another than before: of a call that was granted, or refused. What was
/// only asked about is left to the next look at the whole tree.
bool MayChange(Operation operation, bool refused) {
  switch (operation) {
    case Operation::kCreateDir:
    case Operation::kCreateDirTree:
    case Operation::kDelete:
    case Operation::kRename:
    case Operation::kMakeHardLink:
    case Operation::kMakeSoftLink:
    case Operation::kSetComment:
    case Operation::kSetProtection:
    case Operation::kSetDate:
    case Operation::kSetOwner:
    case Operation::kSetGroup:
      return true;
    case Operation::kOpen:
    case Operation::kMakeFiles:
      return refused;
    default:
      return false;
  }
}

std::string CodeText(std::int32_t code) {
  return code == 0 ? "there" : "refused with " + std::to_string(code);
}

std::string Text(const Unlike& unlike) {
  return std::string(unlike.what) + " " + unlike.device + "; reference: " + unlike.reference;
}

}  // namespace

Judge::Judge(const Traits& traits, Side& reference, Side& device, DeviceControl& control,
             Comparison& comparison)
    : traits_(traits),
      reference_side_(reference),
      device_side_(device),
      control_(control),
      comparison_(comparison),
      scans_(reference, comparison) {}

void Judge::Begin() {
  scans_.Begin();
  is_full_ = false;
}

std::optional<Difference> Judge::AfterCall(const Call& call, const Outcome& reference,
                                           const Outcome& device, bool look) {
  call_ = &call;
  row_ = &RowOf(call.operation);
  reference_ = &reference;
  device_ = &device;
  found_.reset();
  // Whatever came of the call: of one that gives something back nothing comes.
  if (const std::string how = control_.HowItEnded(); !how.empty()) {
    return OfEnd(std::string(row_->id), how);
  }
  const bool may_go_on = reference.done || reference.code == ERROR_NO_MORE_ENTRIES;
  if (may_go_on && scans_.Knows(call)) {
    if (const auto unlike = scans_.Step(call, device)) {
      Report("scan", std::string(unlike->what), "a scan is not as it should be", Text(*unlike));
    }
    return std::move(found_);
  }
  scans_.Follow(call, reference);
  if (IsHeldFromLooks(call, device)) return std::nullopt;
  if (!device.done && device.code == ERROR_DISK_FULL && LacksRoom()) {
    is_full_ = reference.done;
    return std::nullopt;
  }
  if (reference.done != device.done) {
    const std::string due = std::to_string(reference.code);
    if (device.done) {
      Report("result", "granted-not-" + due, "it is granted, and should be refused with " + due);
    } else {
      Report("result", "refused-" + std::to_string(device.code),
             "it is refused, and should be granted");
    }
  } else if (reference.done) {
    CompareResults();
  } else if (reference.code != device.code) {
    CompareCodes();
  } else if (reference.value != device.value) {
    ReportValue();
  }
  if (!found_ && look) LookAfter();
  if (!found_) return std::nullopt;
  if (const std::string how = control_.HowItEnded(); !how.empty()) {
    return OfEnd(std::string(row_->id), how);
  }
  return std::move(found_);
}

bool Judge::IsHeldFromLooks(const Call& call, const Outcome& device) const {
  return !traits_.examines_held && call.operation == Operation::kExamineObject &&
         device.code == ERROR_OBJECT_IN_USE;
}

bool Judge::LacksRoom() {
  // What names, directories and maps of blocks take is the filesystem's own matter.
  constexpr std::int64_t kSpareBlocks = 64;
  InfoData info{};
  const std::string& device = device_side_.device();
  if (!device_side_.dos().GetDiskInfo(device.c_str(), info)) return false;
  const std::int64_t free = std::int64_t{info.id_NumBlocks} - info.id_NumBlocksUsed;
  std::int64_t needed = kSpareBlocks;
  if (call_->operation == Operation::kMakeFiles) {
    needed += call_->number[1] * 2;
  } else if (row_->arguments[0] == Argument::kFile && info.id_BytesPerBlock > 0) {
    // Where holes are filled the whole file.
    std::int32_t code = 0;
    const auto number = static_cast<std::uint8_t>(call_->number[0]);
    const ExamineData* const file = reference_side_.LookAt(Argument::kFile, number, code);
    if (file != nullptr) needed += file->FileSize / info.id_BytesPerBlock;
  }
  return free < needed;
}

Difference Judge::OfEnd(const std::string& what, const std::string& how) {
  // Whatever is done when it ends that way, it is the same defect.
  return {.rule = std::string(kEndRule),
          .id = what + "-ends-handler",
          .kind = how,
          .during = what,
          .what = how,
          .calls = {},
          .then = {}};
}

Difference Judge::OfTrees(const std::string& rule, const std::string& before,
                          const Unlike& unlike) {
  const std::string what(unlike.what);
  return {.rule = rule,
          .id = (before.empty() ? std::string() : before + "-") + rule + "-" + what,
          .kind = rule + "-" + what,
          .during = {},
          .what = "the tree is not as it should be: " + what,
          .calls = {},
          .then = {Text(unlike)}};
}

void Judge::CompareCodes() {
  const std::int32_t due = reference_->code;
  const std::int32_t is = device_->code;
  if (IsTolerated(*call_, due, is, reference_side_)) return;
  Report(
      "code", "code-" + std::to_string(is) + "-not-" + std::to_string(due),
      "it is refused with " + std::to_string(is) + ", and should be with " + std::to_string(due));
  if (IsOpenCode(*call_, due)) MakeNote("no rule names that code");
}

void Judge::MakeNote(const std::string& why) {
  Difference note = *std::exchange(found_, std::nullopt);
  note.weight = Difference::Weight::kNote;
  note.what += "; " + why;
  if (notes_.contains(note.id)) return;
  note.calls.push_back({*call_, TextOf(*call_, *device_), TextOf(*call_, *reference_)});
  std::string id = note.id;
  notes_.emplace(std::move(id), std::move(note));
}

void Judge::CompareResults() {
  switch (row_->result) {
    case Result::kRecord:
      if (const auto unlike = comparison_.Records(*reference_->record, *device_->record)) {
        Report("record", std::string(unlike->what), "a record is not as it should be",
               Text(*unlike));
      }
      return;
    case Result::kData:
    case Result::kText:
      if (reference_->value != device_->value) {
        ReportValue();
      } else if (reference_->bytes != device_->bytes) {
        Report("value", "contents", "other bytes come back", FirstOtherByte());
      }
      return;
    case Result::kInfo:
      if (reference_->info.id_DiskState != device_->info.id_DiskState) {
        Report("value", "state", "the volume is in another state",
               Text({"state", std::to_string(reference_->info.id_DiskState),
                     std::to_string(device_->info.id_DiskState)}));
      }
      return;
    default:
      if (call_->operation == Operation::kFileSystemAttr) {
        CompareAttribute();
      } else if (reference_->value != device_->value) {
        ReportValue();
        const bool is_message = call_->operation == Operation::kGetNotifyMsg;
        if (is_message && !traits_.notifies) {
          MakeNote("dos watches the volume itself, and sees what this program does by names alone");
        }
      }
      return;
  }
}

/// Each volume has its own; they stay what they are.
void Judge::CompareAttribute() {
  const auto [known, added] = attributes_.try_emplace(call_->number[0], device_->value);
  if (!added && known->second != device_->value) {
    Report("value", "value", "a number that was another one before comes back",
           Text({"value", std::to_string(known->second), std::to_string(device_->value)}));
  }
}

std::string Judge::FirstOtherByte() const {
  std::size_t at = 0;
  while (at < reference_->bytes.size() && reference_->bytes[at] == device_->bytes[at]) ++at;
  return "the first one at " + std::to_string(at);
}

void Judge::LookAfter() {
  const bool refused = !reference_->done;
  std::size_t name = 0;
  for (std::size_t i = 0; i != row_->Arguments().size() && !found_; ++i) {
    const Argument argument = row_->arguments[i];
    if (argument == Argument::kName) {
      if (MayChange(call_->operation, refused)) LookAtName(name);
      ++name;
    } else if (refused && (argument == Argument::kLock || argument == Argument::kFile)) {
      const std::int64_t number = call_->number[i];
      if (number <= 0 || number > kMostObjects) continue;
      if (reference_side_.Has(argument, static_cast<std::uint8_t>(number))) {
        LookAtObject(argument, static_cast<std::uint8_t>(number));
      }
    }
  }
  if (found_ || refused || call_->result == 0) return;
  if (row_->result == Result::kLock) LookAtObject(Argument::kLock, call_->result);
  if (row_->result == Result::kFile) LookAtObject(Argument::kFile, call_->result);
}

void Judge::LookAtName(std::size_t name) {
  const char* const path = call_->text[name].c_str();
  Seen seen;
  seen.reference = reference_side_.Look(path, seen.reference_code);
  seen.device = device_side_.Look(path, seen.device_code);
  if (const auto unlike = CompareSeen(seen)) {
    ReportLook(std::string(RoleOf(call_->operation, name)), *unlike,
               "ExamineObject(" + Quoted(call_->text[name]) + ")");
  }
}

void Judge::LookAtObject(Argument kind, std::uint8_t number) {
  Seen seen;
  seen.reference = reference_side_.LookAt(kind, number, seen.reference_code);
  seen.device = device_side_.LookAt(kind, number, seen.device_code);
  if (const auto unlike = CompareSeen(seen)) {
    const bool lock = kind == Argument::kLock;
    ReportLook(lock ? "lock" : "file", *unlike,
               std::string("ExamineObject(") + (lock ? "l" : "f") + std::to_string(number) + ")");
  }
}

std::optional<Unlike> Judge::CompareSeen(const Seen& seen) {
  if (!traits_.examines_held && seen.device_code == ERROR_OBJECT_IN_USE) return std::nullopt;
  if ((seen.reference == nullptr) != (seen.device == nullptr)) {
    return Unlike{seen.device == nullptr ? "gone" : "there", CodeText(seen.reference_code),
                  CodeText(seen.device_code)};
  }
  if (seen.reference == nullptr) return std::nullopt;
  return comparison_.Records(*seen.reference, *seen.device);
}

void Judge::ReportLook(const std::string& role, const Unlike& unlike, const std::string& look) {
  const std::string detail = look + ": " + Text(unlike);
  if (reference_->done) {
    Report("effect", role + "-" + std::string(unlike.what),
           "what the call made is not as it should be", detail);
  } else {
    Report("refusal-is-harmless", "refused-changes-" + role, "a refused call changed what it named",
           detail);
  }
}

void Judge::Report(const std::string& rule, const std::string& outcome, const std::string& what,
                   const std::string& detail) {
  found_.emplace();
  found_->rule = rule;
  found_->id = std::string(row_->id) + "-" + outcome;
  found_->kind = found_->id;
  found_->what = what;
  if (!detail.empty()) found_->then.push_back(detail);
}

void Judge::ReportValue() {
  Report("value", "value", "another number comes back",
         Text({"value", std::to_string(reference_->value), std::to_string(device_->value)}));
}

}  // namespace quorle::explore
