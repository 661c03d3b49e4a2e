#pragma once

#include <string>
#include <string_view>

namespace quorle {

/// `text`, UTF-8, as it stands in an element or, in double quotes, in an attribute of XML or HTML. Control
/// characters, which XML has none of, are shown (control_characters.h).
std::string MarkupText(std::string_view text);

}  // namespace quorle
