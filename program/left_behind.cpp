#include "program/left_behind.h"

#include "platform/constants.h"
#include "platform/error_texts.h"
#include "platform/records.h"

namespace quorle {
namespace {

/// Whether a lock that failed with this code leaves open what became of the object. Of a handler that
/// has ended (218) nothing can be known, which is said once, where it ended.
bool LeavesOpen(std::int32_t code) {
  return code != ERROR_OBJECT_NOT_FOUND && code != ERROR_DEVICE_NOT_MOUNTED;
}

}  // namespace

LockHandle LeftBehind::WatchedDos::Lock(const char* name, std::int32_t mode) {
  const LockHandle lock = inner().Lock(name, mode);
  if (name == nullptr || deleted_ != name) return lock;
  if (const std::int32_t code = inner().IoErr(); !lock && LeavesOpen(code)) {
    unknown_[deleted_] = code;
  } else {
    unknown_.erase(deleted_);
  }
  return lock;
}

bool LeftBehind::WatchedDos::Delete(const char* name) {
  deleted_ = name == nullptr ? "" : name;
  return inner().Delete(name);
}

std::vector<std::string> LeftBehind::WatchedDos::TakeLines() {
  std::vector<std::string> lines;
  for (const auto& [name, code] : unknown_) {
    if (IsGone(name)) continue;
    const char* const text = ErrorText(code);
    lines.push_back("the object \"" + name + "\" may be left behind: it cannot be locked, error " +
                    std::to_string(code) + (text == nullptr ? "" : std::string(" ") + text));
  }
  unknown_.clear();
  return lines;
}

bool LeftBehind::WatchedDos::IsGone(const std::string& name) {
  const std::int32_t before = inner().IoErr();
  const ExamineData* const data = inner().ExamineObject(EX_ObjectNameInput, name.c_str());
  const bool is_gone = data == nullptr && !LeavesOpen(inner().IoErr());
  if (data != nullptr) inner().FreeDosObject(DOS_EXAMINEDATA, data);
  inner().SetIoErr(before);
  return is_gone;
}

Interface* LeftBehind::WatchedExec::GetInterface(const Library* library, const char* name,
                                                 std::uint32_t version) {
  Interface* const real = inner().GetInterface(library, name, version);
  return real == &dos_.real() ? &dos_ : real;
}

void LeftBehind::WatchedExec::DropInterface(Interface* interface) {
  inner().DropInterface(interface == &dos_ ? &dos_.real() : interface);
}

}  // namespace quorle
