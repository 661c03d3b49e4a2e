#include "handlers/deviate/own_volume.h"

#include <algorithm>

namespace quorle::deviate {
namespace {

bool IsAtStart(const ::PRIVATE_ExamineDirContext& scan) {
  return scan.FSPrivate[0] == 0 && scan.FSPrivate[1] == 0;
}

}  // namespace

void OwnVolume::Make(Call& call) {
  if (call.op == Op::kExamineDir && IsAtStart(*call.scan)) {
    for (auto& [scan, memory] : scans) memory.is_disturbed = true;
    scans[call.scan] = {};
  }
  call = original_.Invoke(call);
  Note(call);
}

void OwnVolume::Note(const Call& call) {
  if (call.op == Op::kClose) files.erase(call.file);
  if (Failed(call)) {
    if (call.op == Op::kExamineDir) scans.erase(call.scan);
    return;
  }
  switch (call.op) {
    case Op::kOpen:
      files[call.file] = {.mode = call.mode, .first_size = Size(call), .data = {}};
      break;
    case Op::kOpenFromLock:
      files[call.file] = {.mode = 0, .first_size = Size(call), .data = {}};
      break;
    case Op::kWrite:
    case Op::kChangeFileSize:
      files[call.file].is_written = true;
      break;
    case Op::kRename:
      for (auto& [file, memory] : files) memory.is_renamed = true;
      break;
    case Op::kDelete:
      for (auto& [scan, memory] : scans) memory.is_disturbed = true;
      break;
    case Op::kExamineDir:
      ++scans[call.scan].given;
      break;
    default:
      break;
  }
}

ObjectState OwnVolume::StateOf(::Lock* rel, const char* name) const {
  return StateOf({.op = Op::kExamineObj, .rel = rel, .name = name});
}

// ---- Objects by name ---------------------------------------------------------------------------

void OwnVolume::Delete(::Lock* rel, const char* name) const {
  SetProtection(rel, name, 0);
  Invoke({.op = Op::kDelete, .rel = rel, .name = name});
}

void OwnVolume::SetDate(::Lock* rel, const char* name, const ::DateStamp& date) const {
  Invoke({.op = Op::kSetDate, .rel = rel, .name = name, .date = date});
}

void OwnVolume::SetProtection(::Lock* rel, const char* name, std::uint32_t mask) const {
  Invoke({.op = Op::kSetProtection, .rel = rel, .name = name, .number = mask});
}

void OwnVolume::SetComment(::Lock* rel, const char* name, const char* comment) const {
  Invoke({.op = Op::kSetComment, .rel = rel, .name = name, .text = comment});
}

void OwnVolume::MakeFile(::Lock* rel, const char* name) const {
  ::FileHandle file{};
  file.fh_MsgPort = &original_.port().MP;
  if (Failed(Invoke(
          {.op = Op::kOpen, .rel = rel, .name = name, .file = &file, .mode = MODE_NEWFILE}))) {
    return;
  }
  Invoke({.op = Op::kClose, .file = &file});
}

void OwnVolume::Resize(::Lock* rel, const char* name, std::int64_t size) const {
  ::FileHandle file{};
  file.fh_MsgPort = &original_.port().MP;
  if (Failed(Invoke(
          {.op = Op::kOpen, .rel = rel, .name = name, .file = &file, .mode = MODE_OLDFILE}))) {
    return;
  }
  const ObjectState state = StateOf(rel, name);
  SetProtection(rel, name, 0);
  Invoke({.op = Op::kChangeFileSize, .file = &file, .mode = OFFSET_BEGINNING, .number = size});
  Invoke({.op = Op::kClose, .file = &file});
  SetProtection(rel, name, state.protection);
  SetDate(rel, name, state.date);
}

std::vector<ObjectState> OwnVolume::Entries(::Lock* directory) const {
  std::vector<std::string> names;
  ::PRIVATE_ExamineDirContext scan{};
  scan.Directory = directory;
  while (!Failed(Invoke({.op = Op::kExamineDir, .scan = &scan}))) {
    names.emplace_back(scan.Entry->Name);
    original_.Free(scan.Entry);
    scan.Entry = nullptr;
  }
  std::vector<ObjectState> entries;
  entries.reserve(names.size());
  for (const std::string& name : names) entries.push_back(StateOf(directory, name.c_str()));
  return entries;
}

void OwnVolume::Walk(const std::function<void(::Lock*, const ObjectState&)>& visit) const {
  Walk(nullptr, visit);
}

void OwnVolume::Walk(::Lock* directory,
                     const std::function<void(::Lock*, const ObjectState&)>& visit) const {
  for (const ObjectState& entry : Entries(directory)) {
    // A directory of several names is seen by each, and not gone into: that might not end.
    if (entry.Is(kDirectory) && !entry.Is(kHardLink)) {
      ::Lock* const lock =
          Invoke(
              {.op = Op::kLock, .rel = directory, .name = entry.name.c_str(), .mode = SHARED_LOCK})
              .given_lock;
      if (lock != nullptr) Walk(lock, visit);
      original_.UnLock(lock);
    }
    visit(directory, entry);
  }
}

// ---- Open files ----------------------------------------------------------------------------------

std::int64_t OwnVolume::Position(const Call& call) const {
  return Invoke({.op = Op::kGetFilePosition, .file = call.file}).result;
}

std::int64_t OwnVolume::Size(const Call& call) const {
  return Invoke({.op = Op::kGetFileSize, .file = call.file}).result;
}

std::string OwnVolume::ReadAt(const Call& call, std::int64_t position, std::size_t bytes) const {
  const std::int64_t old = Position(call);
  std::string data(bytes, '\0');
  MoveTo(call, position);
  const std::int64_t count = Invoke({.op = Op::kRead,
                                     .file = call.file,
                                     .number = static_cast<std::int64_t>(bytes),
                                     .buffer = data.data()})
                                 .result;
  MoveTo(call, old);
  data.resize(static_cast<std::size_t>(std::max<std::int64_t>(count, 0)));
  return data;
}

void OwnVolume::WriteAt(const Call& call, std::int64_t position, const std::string& data) const {
  const std::int64_t old = Position(call);
  MoveTo(call, position);
  Invoke({.op = Op::kWrite,
          .file = call.file,
          .number = static_cast<std::int64_t>(data.size()),
          .data = data.data()});
  MoveTo(call, old);
}

void OwnVolume::MoveTo(const Call& call, std::int64_t position) const {
  Invoke({.op = Op::kChangeFilePosition,
          .file = call.file,
          .mode = OFFSET_BEGINNING,
          .number = position});
}

}  // namespace quorle::deviate
