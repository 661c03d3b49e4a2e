#include "results/markup_text.h"

#include "platform/control_characters.h"

namespace quorle {

std::string MarkupText(std::string_view text) {
  std::string escaped;
  for (const char c : ShowControlsOfUtf8(text)) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

}  // namespace quorle
