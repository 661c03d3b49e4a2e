#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "explore/choices.h"

namespace quorle::explore {

/// What a text is for: each has a list of what is drawn, the plainest first.
enum class NameKind : std::uint8_t {
  kFile,       ///< what is opened or made as a file
  kDirectory,  ///< what is made or scanned as a directory
  kHardLink,   ///< what is made as a hard link
  kSoftLink,   ///< what is made or read as a soft link
  kObject,     ///< what any other call names
  kComment,
  kTarget,  ///< of a soft link
  kVolume,  ///< what a volume is called
};

/// What texts may be.
struct NameRules {
  std::int32_t most_name = 0;     ///< bytes of a name
  std::int32_t most_comment = 0;  ///< the same
  std::int32_t most_target = 0;   ///< the same
  bool one_more_name = false;     ///< a byte more than that is drawn, too
  bool one_more_comment = false;  ///< the same
  bool one_more_target = false;   ///< the same
  bool may_leave = true;          ///< paths that lead above where the sequence began
  bool may_be_root = true;        ///< paths that may lead to the root itself
};

/// Makes `text` what `choice` stands for.
void DrawName(NameKind kind, Choice choice, const NameRules& rules, std::string& text);

/// The lowest choice that stands for `text`; none when there is none, or no plain one.
std::optional<Choice> ChoiceOf(NameKind kind, std::string_view text);

}  // namespace quorle::explore
