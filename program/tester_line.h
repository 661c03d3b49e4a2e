#pragma once

#include <string>

namespace quorle {

/// What the tester's own command line says, as the tester reads it.
struct TesterLine {
  std::string device;        ///< as it is named there, without quotes; empty when there is none
  std::string words;         ///< the others, in short and in the order of the template: "NI TN=34"
  bool has_numbers = false;  ///< FTN, LTN or TN is among them
};

/// Reads the line as ReadArgs() does. One that fits no template has no device, and all of it is `words`.
TesterLine ReadTesterLine(const std::string& line);

}  // namespace quorle
