#include "explore/scan_watch.h"

#include <utility>

#include "explore/value_text.h"
#include "platform/constants.h"

namespace quorle::explore {
namespace {

/// Whether a call that was granted may change what a scan shows.
bool MayChangeEntries(Operation operation) {
  switch (operation) {
    case Operation::kOpen:
    case Operation::kClose:
    case Operation::kWrite:
    case Operation::kChangeFileSize:
    case Operation::kOpenFromLock:
    case Operation::kMakeFiles:
    case Operation::kWriteProtect:
    case Operation::kInhibit:
      return true;
    default:
      return operation >= Operation::kCreateDir && operation <= Operation::kSetGroup &&
             operation != Operation::kReadSoftLink;
  }
}

}  // namespace

ScanWatch::ScanWatch(Side& reference, Comparison& comparison)
    : reference_(reference), comparison_(comparison) {}

void ScanWatch::Begin() {
  for (std::uint8_t number = 0; number <= kMostObjects; ++number) Forget(number);
}

void ScanWatch::Forget(std::uint8_t number) {
  std::optional<Scan>& scan = scans_[number];
  if (!scan) return;
  reference_.dos().UnLock(scan->directory);
  scan.reset();
}

void ScanWatch::Follow(const Call& call, const Outcome& reference) {
  if (!reference.done) return;
  DosInterface& dos = reference_.dos();
  switch (call.operation) {
    case Operation::kScanLock:
      if (call.result == 0 || call.result > kMostObjects) return;
      Watch(call.result, dos.DupLock(reference_.LockOf(static_cast<std::uint8_t>(call.number[1]))));
      return;
    case Operation::kScanName:
      if (call.result == 0 || call.result > kMostObjects) return;
      Watch(call.result, dos.Lock(call.text[0].c_str(), SHARED_LOCK));
      return;
    case Operation::kReleaseScan:
      if (call.number[0] > 0 && call.number[0] <= kMostObjects) {
        Forget(static_cast<std::uint8_t>(call.number[0]));
      }
      return;
    default:
      if (!MayChangeEntries(call.operation)) return;
      if (call.operation == Operation::kRename) ExcuseRenamed(call.text[1]);
      for (std::optional<Scan>& scan : scans_) {
        if (scan) scan->changed = true;
      }
      return;
  }
}

void ScanWatch::ExcuseRenamed(const std::string& name) {
  std::int32_t code = 0;
  const ExamineData* const record = reference_.Look(name.c_str(), code);
  if (record == nullptr) return;
  const auto is_it = [number = record->ObjectID](const auto& entry) {
    return entry.second == number;
  };
  for (std::optional<Scan>& scan : scans_) {
    if (!scan) continue;
    std::erase_if(scan->at_first, is_it);
    std::erase_if(scan->given, is_it);
  }
}

void ScanWatch::Watch(std::uint8_t number, LockHandle directory) {
  Forget(number);
  if (!directory) return;
  FurtherDosInterface& further = reference_.further();
  const DirContextHandle context = further.ObtainDirContext(EX_LockInput, directory);
  Scan scan{.directory = directory, .at_first = {}, .given = {}};
  while (const ExamineData* const entry = further.ExamineDir(context)) {
    scan.at_first.emplace(entry->Name, entry->ObjectID);
  }
  const bool is_directory = reference_.dos().IoErr() == ERROR_NO_MORE_ENTRIES;
  further.ReleaseDirContext(context);
  if (is_directory) {
    scans_[number] = std::move(scan);
  } else {
    reference_.dos().UnLock(directory);
  }
}

bool ScanWatch::Knows(const Call& call) const {
  return call.operation == Operation::kExamineDir && call.number[0] > 0 &&
         call.number[0] <= kMostObjects && scans_[static_cast<std::size_t>(call.number[0])];
}

std::optional<Unlike> ScanWatch::Step(const Call& call, const Outcome& device) {
  Scan& scan = *scans_[static_cast<std::size_t>(call.number[0])];
  if (device.done) return Entry(scan, *device.record);
  if (device.code == ERROR_NO_MORE_ENTRIES) return End(scan);
  return Unlike{"refusal", "the next entry, or 232", std::to_string(device.code)};
}

const ExamineData* ScanWatch::Look(const Scan& scan, const std::string& name) {
  const LockHandle current = reference_.dos().SetCurrentDir(scan.directory);
  std::int32_t code = 0;
  const ExamineData* const record = reference_.Look(name.c_str(), code);
  reference_.dos().SetCurrentDir(current);
  return record;
}

std::optional<Unlike> ScanWatch::Entry(Scan& scan, const ExamineData& device) {
  const std::string name = device.Name;
  const auto first = scan.at_first.find(name);
  const ExamineData* const now = Look(scan, name);
  if (first == scan.at_first.end() && now == nullptr && !scan.changed) {
    return Unlike{"stranger", "no such entry", "an entry " + Quoted(name)};
  }
  // What is gone again, or was renamed, may still come: the filesystem may have read ahead.
  if (first == scan.at_first.end() && now == nullptr) return std::nullopt;
  const std::uint64_t number = now != nullptr ? now->ObjectID : first->second;
  if (!scan.given.emplace(name, number).second) {
    return Unlike{"repeated", Quoted(name) + " once", Quoted(name) + " again"};
  }
  // Scans show what is a link as what it is; Look() does the same.
  if (scan.changed || now == nullptr) return std::nullopt;
  ExamineData reference = *now;
  reference.Link = device.Link;
  return comparison_.Records(reference, device);
}

std::optional<Unlike> ScanWatch::End(const Scan& scan) {
  for (const auto& [name, number] : scan.at_first) {
    if (scan.given.contains({name, number})) continue;
    const ExamineData* const now = Look(scan, name);
    if (now != nullptr && now->ObjectID == number && name == now->Name) {
      return Unlike{"lost", Quoted(name), "the end of the scan"};
    }
  }
  return std::nullopt;
}

}  // namespace quorle::explore
