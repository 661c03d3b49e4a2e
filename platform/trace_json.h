#pragma once

#include <cstddef>
#include <string>

#include "platform/trace_event.h"

namespace quorle {

/// Writes `event` behind `line` as one JSON object and a line break:
///
///   {"op":"Lock","args":["FILE01",-2],"result":"lock:7","ioerr":0}
///   {"op":"Output","text":"\nERROR: ...\n"}
///
/// A handle is its kind and its number; no handle is null. Bytes of a text are Latin-1 characters.
void AppendJson(const TraceEvent& event, std::string& line);

/// Where the lines of a trace go.
class LineSink {
 public:
  /// Takes one line, its line break included. False: no further line is wanted.
  virtual bool Write(const char* line, std::size_t bytes) = 0;

 protected:
  ~LineSink() = default;
};

/// A trace as JSON Lines.
class JsonTrace final : public TraceSink {
 public:
  /// `lines` must outlive this.
  explicit JsonTrace(LineSink& lines) : lines_(lines) {}

  bool Take(const TraceEvent& event) override {
    line_.clear();
    AppendJson(event, line_);
    return lines_.Write(line_.data(), line_.size());
  }

 private:
  LineSink& lines_;
  std::string line_;
};

}  // namespace quorle
