#pragma once

#include <cstddef>

#include "hosted/dos/console.h"
#include "platform/trace_json.h"

namespace quorle {

/// The file of the call trace. Every line is one write, so that the file ends with the last finished
/// call even when the process is killed, and lines of several runs never mix.
class TraceFile final : public LineSink {
 public:
  /// `console` hears of problems; it stays the caller's.
  explicit TraceFile(Console& console) : console_(console) {}
  ~TraceFile();
  TraceFile(const TraceFile&) = delete;
  TraceFile& operator=(const TraceFile&) = delete;

  /// Creates or empties `path`. False, with one line on standard error, when that is not possible.
  bool Open(const char* path);
  /// The first line that cannot be written whole is reported; after it nothing is written. The part
  /// of it that was written is taken back where that is possible, and named where it is not: in a
  /// pipe, or when another run has added lines behind it.
  bool Write(const char* line, std::size_t bytes) override;

  /// Whether a part of the trace was lost.
  bool failed() const { return failed_; }

 private:
  /// Cuts the last `bytes` off the file, which this run wrote; false when that cannot be done.
  bool TakeBack(std::size_t bytes);

  Console& console_;
  int descriptor_ = -1;
  bool failed_ = false;
};

}  // namespace quorle
