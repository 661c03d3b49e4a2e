#pragma once

#include <string>

#include "hosted/dos/console.h"
#include "program/line_file.h"
#include "results/event.h"

namespace quorle {

/// What `--events` names: each event is a line of it.
class EventFile {
 public:
  /// `console`, which hears of problems, must outlive this. Until Open() events go nowhere.
  explicit EventFile(Console& console) : console_(console), file_(kEventFile, console) {}

  /// Opens a file, or "fd:" and the number of a descriptor from 2. False, with one line, when that is not
  /// possible.
  bool Open(const std::string& name);
  void Write(const Event& event);
  /// Whether an event was lost.
  bool failed() const { return file_.failed(); }

 private:
  Console& console_;
  LineFile file_;
  bool is_open_ = false;
};

}  // namespace quorle
