#pragma once

#include <string>
#include <string_view>

/// Control characters that are shown, "\x1b", where they would be obeyed. Names, comments and versions
/// come from a handler, which may have any character in them: what moves the cursor, changes the
/// title of a window or answers as if it were typed.
namespace quorle {

/// `text` of the platform, in Latin-1, for a terminal: 0x00 to 0x1F and 0x7F to 0x9F are shown. The last
/// of them matter on a terminal in UTF-8 too, where 0xC2 0x9B is one character that it obeys.
std::string ShowControls(std::string_view text);

/// A line of our own, whose parts are UTF-8, as paths of the host, or Latin-1: the same, except that
/// a well-formed character of UTF-8 stays whole when it is no control character.
std::string ShowControlsOfLine(std::string_view line);

/// `text`, in UTF-8, for a report, which is read as UTF-8 and perhaps as XML: control characters are
/// shown, so are bytes that are no UTF-8 and the two characters that XML has not, U+FFFE and U+FFFF.
std::string ShowControlsOfUtf8(std::string_view text);

}  // namespace quorle
