#include "program/event_file.h"

#include <string_view>

#include "program/option_list.h"
#include "results/event_json.h"

namespace quorle {

bool EventFile::Open(const std::string& name) {
  constexpr std::string_view kDescriptor = "fd:";
  if (!name.starts_with(kDescriptor)) {
    is_open_ = file_.Open(name.c_str());
    return is_open_;
  }
  int descriptor = -1;
  if (!ReadNumber(std::string_view(name).substr(kDescriptor.size()), descriptor) ||
      descriptor < 2) {
    console_.Report("--events: \"" + name +
                    "\" is no descriptor for events: a number from 2, since 1 is the tester's own");
    return false;
  }
  is_open_ = file_.Adopt(descriptor);
  return is_open_;
}

void EventFile::Write(const Event& event) {
  if (!is_open_ || file_.failed()) return;
  const std::string line = ToJsonLine(event);
  static_cast<void>(file_.Write(line.data(), line.size()));
}

}  // namespace quorle
