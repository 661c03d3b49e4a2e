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

void LeftBehind::Around(const Call& call, MakeCall make) {
  if (call.op == "Delete") {
    const char* const name = std::get<const char*>(call.args[0]);
    deleted_ = name == nullptr ? "" : name;
  }
  make();
  if (call.op != "Lock") return;
  const char* const name = std::get<const char*>(call.args[0]);
  if (name == nullptr || deleted_ != name) return;
  if (const std::int32_t code = dos_.IoErr(); HasFailed(call) && LeavesOpen(code)) {
    unknown_[deleted_] = code;
  } else {
    unknown_.erase(deleted_);
  }
}

std::string LeftObject::Line() const {
  const char* const text = ErrorText(code);
  return "the object \"" + name + "\" may be left behind: it cannot be locked, error " +
         std::to_string(code) + (text == nullptr ? "" : std::string(" ") + text);
}

std::vector<LeftObject> LeftBehind::Take() {
  std::vector<LeftObject> left;
  for (const auto& [name, code] : unknown_) {
    if (!IsGone(name)) left.push_back({.name = name, .code = code});
  }
  unknown_.clear();
  return left;
}

bool LeftBehind::IsGone(const std::string& name) {
  const std::int32_t before = dos_.IoErr();
  const ExamineData* const data = dos_.ExamineObject(EX_ObjectNameInput, name.c_str());
  const bool is_gone = data == nullptr && !LeavesOpen(dos_.IoErr());
  if (data != nullptr) dos_.FreeDosObject(DOS_EXAMINEDATA, data);
  dos_.SetIoErr(before);
  return is_gone;
}

}  // namespace quorle
