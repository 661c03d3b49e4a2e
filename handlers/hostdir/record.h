#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include "quorle/handler.h"

namespace quorle::hostdir {

/// A date that the host's own time of change cannot hold, and the time that replaces it on the host. It
/// counts as long as the host still has that time: then nobody else has changed the object.
struct KeptDate {
  ::DateStamp date;
  std::timespec stand_in;
};

/// What the platform knows of an object and the host does not.
struct Record {
  bool soft_link = false;  ///< a file of the host whose content is the target of a soft link
  std::uint32_t protection = 0;
  std::uint32_t owner = 0;
  std::uint32_t group = 0;
  std::string comment;
  std::optional<KeptDate> date;
  std::optional<std::string> label;  ///< of the root: the volume's name, as it was last relabelled
};

/// One line without a line break, words of the form key=value; empty when everything is as it is
/// for an object that nobody has set anything of.
std::string ToText(const Record& record);
/// Reads such a line. Words that are not understood are passed over.
Record FromText(std::string_view text);

}  // namespace quorle::hostdir
