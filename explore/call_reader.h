#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "explore/call.h"
#include "explore/due_outcome.h"
#include "explore/text_scanner.h"

namespace quorle::explore {

/// The most bytes that a name, a text or quoted data can have where calls are read.
inline constexpr std::size_t kLongestText = 65536;

/// A call as it is written, and what should come of it.
struct CallLine {
  Call call;
  std::optional<DueOutcome> due;  ///< none: nothing is expected
};

/// Reads one line: a call as TextOf() writes it, and what is expected behind "=>"; blanks are free, and what
/// stands behind a '#' is a comment. An object that comes back has its number from "= f1" or, where success
/// is expected, from "=> f1". False, with `problem` one line, for anything else.
bool ReadCallLine(std::string_view text, CallLine& line, std::string& problem);

/// Reads what TextOf(call, due) wrote, and an object's number into `call`.
bool ReadDue(std::string_view text, Call& call, DueOutcome& due, std::string& problem);

/// Reads what DataText() wrote, and takes it.
bool TakeData(TextScanner& scanner, DueOutcome& due, std::string& problem);

/// Reads fields of what comes back as `result` up to the end of the line, each of them once, and takes them.
/// `content`, which may be null, gets what `Content=` says.
bool TakeFields(TextScanner& scanner, Result result, DueOutcome& due, DueOutcome* content,
                std::string& problem);

}  // namespace quorle::explore
