#pragma once

#include <cstddef>

#include "hosted/dos/console.h"
#include "platform/trace_json.h"

namespace quorle {

/// How messages name a file.
struct LineFileNames {
  const char* file;    ///< "the trace file"
  const char* ending;  ///< of a line that says why it is not whole: "the trace ends here, its file"
};
inline constexpr LineFileNames kTraceFile = {"the trace file", "the trace ends here, its file"};
inline constexpr LineFileNames kEventFile = {"the event file", "the events end here, their file"};

/// The file of a call trace or of events. Every line is one write, so that the file ends with the last
/// finished line even when the process is killed, and lines of several runs never mix.
class LineFile final : public LineSink {
 public:
  /// `console` hears of problems; it stays the caller's.
  LineFile(const LineFileNames& names, Console& console) : names_(names), console_(console) {}
  ~LineFile();
  LineFile(const LineFile&) = delete;
  LineFile& operator=(const LineFile&) = delete;

  /// Creates or empties `path`. False, with one line on standard error, when that is not possible.
  bool Open(const char* path);
  /// Writes to `descriptor`, which was open for writing when the program began; it stays open. False
  /// as above.
  bool Adopt(int descriptor);
  /// The first line that cannot be written whole is reported; after it nothing is written. The part
  /// of it that was written is taken back where that is possible, and named where it is not: in a
  /// pipe, or when another run has added lines behind it.
  bool Write(const char* line, std::size_t bytes) override;

  /// Whether a line was lost.
  bool failed() const { return failed_; }

 private:
  /// Cuts the last `bytes` off the file, which this run wrote; false when that cannot be done.
  bool TakeBack(std::size_t bytes);

  LineFileNames names_;
  Console& console_;
  int descriptor_ = -1;
  bool failed_ = false;
};

}  // namespace quorle
