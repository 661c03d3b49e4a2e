#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "results/event.h"
#include "results/json_line.h"

namespace quorle {

/// `event` as one JSON object and a line break. Bytes that are no UTF-8 become U+FFFD.
std::string ToJsonLine(const Event& event);

/// Reads the lines of a stream.
class EventReader {
 public:
  /// The event of one line, its line break left out. Nothing for an event that this version does not
  /// know, and, with `problem` filled, for what is no event.
  std::optional<Event> Read(std::string_view line, std::string& problem);

 private:
  JsonLine json_;
};

/// The same for a single line.
std::optional<Event> ReadJsonLine(std::string_view line, std::string& problem);

/// The name of the class, as events and reports have it: "ERROR".
std::string_view NameOf(DiagnosticClass type);

}  // namespace quorle
