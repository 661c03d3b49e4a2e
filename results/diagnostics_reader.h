#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "results/event.h"

namespace quorle {

/// A message of the console and the lines that it had there.
struct ConsoleMessage {
  bool progress = false;  ///< one of the lines that every run has, which is no diagnostic
  Diagnostic diagnostic;
  std::vector<std::string>
      lines;  ///< without style codes and line ends; the bytes as printed (Latin-1)
};

/// Reads the messages of the console out of what is printed, piece by piece. A message begins at a line
/// with a class ("ERROR:", "ERROR,", "WARN:", "INFO:", "CLEANUP ERROR[n]:"); the indented lines that
/// follow are its own, also behind an empty line, and so is the rest of an argument that has a line
/// break in it. Any other line is a note (a stub's, "test skipped because ..."), but those which every
/// run has, its start and its closing lines, are none.
///
/// In the text of a diagnostic bytes of Latin-1 are UTF-8 and a control character is written "\x1b".
class DiagnosticsReader {
 public:
  /// `piece`: as it is printed; a line may come in several. `code`: the error code that it shows, by
  /// one who knows; with 0 it is read from the text ("#205 object not found").
  void Add(std::string_view piece, std::int32_t code = 0);

  /// The messages since the last call, in their order, and the start and closing lines between them; a
  /// line without its end counts as ended.
  std::vector<ConsoleMessage> TakeMessages();
  /// The diagnostics alone.
  std::vector<Diagnostic> Take();

 private:
  struct Style {
    bool bold = false;
    bool italic = false;
  };

  void Put(char c);
  void ObeyStyle();
  void EndLine();
  void Begin(DiagnosticClass type, std::string_view text);
  void Append(std::string_view text);

  Style style_;                 ///< of the next character
  Style line_style_;            ///< of the first one of the line that is no blank
  std::string line_;            ///< what it has so far, without style codes
  bool line_has_text_ = false;  ///< whether that is more than blanks
  std::string escape_;          ///< a style code that has not ended; else empty
  std::int32_t code_ = 0;       ///< that the line shows, when somebody said so
  bool open_ = false;           ///< whether the last message may go on in the next line
  bool after_blank_ = false;    ///< whether the line before is empty
  bool code_is_known_ = false;  ///< whether the last message showed one already, be it 0
  std::vector<ConsoleMessage> messages_;
};

/// `text`, bytes of Latin-1, as UTF-8; a control character becomes "\x1b".
std::string ToPlainUtf8(std::string_view text);

/// `line` without blanks, carriage returns and form feeds at its ends.
std::string_view TrimmedLine(std::string_view line);

/// The group that a closing line speaks of: "Lock" of "Lock() tests passed.", "Soft links" of "Soft links tests
/// passed."; empty for another line, which has no style codes.
std::string_view PassedGroup(std::string_view line);

}  // namespace quorle
