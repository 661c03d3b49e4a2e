#include "hosted/dos/line_input.h"

#include <unistd.h>

#include <cerrno>

namespace quorle {

bool StandardInput::ReadLine(std::string& line) {
  line.clear();
  for (;;) {
    char c = '\0';
    const ssize_t count = ::read(STDIN_FILENO, &c, 1);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return !line.empty();
    if (c == '\n') return true;
    line += c;
  }
}

}  // namespace quorle
