#include "native/formatted_message.h"

#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include "native/records.h"
#include "platform/format_text.h"

// Messages with 64-bit numbers, as the native program hands them to the platform, must come out as
// the tester's own formatting makes them. Ends with 1 when one does not.

namespace quorle::selftest {
namespace {

class StringSink final : public TextSink {
 public:
  void Put(char c) override { text += c; }

  std::string text;
};

std::string Formatted(const char* format, const std::vector<FormatArgument>& args) {
  StringSink sink;
  FormatText(format, args.data(), args.size(), {}, sink);
  return sink.text;
}

/// What the platform prints for the words of `message`: a text for each 64-bit number of `args`.
std::string Printed(const native::FormattedMessage& message, std::vector<FormatArgument> args) {
  for (std::size_t i = 0; i < args.size(); ++i) {
    if (args[i].kind == ArgumentKind::kWideNumber) {
      args[i] = FormatArgument(native::At<const char>(message.words()[i]));
    } else if (args[i].kind == ArgumentKind::kNumber) {
      args[i] = FormatArgument(static_cast<std::int32_t>(message.words()[i]));
    }
  }
  return Formatted(message.format(), args);
}

/// Whether the message comes out right; prints it when it does not.
bool IsRight(const char* format, const std::vector<FormatArgument>& args) {
  const native::FormattedMessage message(format, args.data(), args.size());
  const std::string wanted = Formatted(format, args);
  const std::string found = Printed(message, args);
  if (wanted == found) return true;
  std::printf("%s: \"%s\" instead of \"%s\"\n", format, found.c_str(), wanted.c_str());
  return false;
}

int Wrong() {
  int wrong = 0;
  std::vector<std::int64_t> numbers = {0,
                                       1,
                                       -1,
                                       9,
                                       10,
                                       65535,
                                       65536,
                                       99999,
                                       4294967295,
                                       4294967296,
                                       std::numeric_limits<std::int64_t>::max(),
                                       std::numeric_limits<std::int64_t>::min()};
  for (int bit = 0; bit < 63; ++bit) {
    numbers.push_back((std::int64_t{1} << bit) - 1);
    numbers.push_back(-(std::int64_t{1} << bit));
  }
  for (const std::int64_t number : numbers) {
    for (const char* const format : {"%lld", "%llu", "%llx", "[%30lld]", "[%-30lld]"}) {
      if (!IsRight(format, {FormatArgument(number)})) ++wrong;
    }
  }
  if (!IsRight("%s: %lld of %ld%% and %lld (%ld)\n",
               {FormatArgument("text"), FormatArgument(std::int64_t{-5}), FormatArgument(7),
                FormatArgument(std::int64_t{1} << 40), FormatArgument(-1)})) {
    ++wrong;
  }
  if (!IsRight("no such number: %ld %s\n", {FormatArgument(-3), FormatArgument("x")})) ++wrong;
  return wrong;
}

}  // namespace
}  // namespace quorle::selftest

int main() {
  const int wrong = quorle::selftest::Wrong();
  std::printf("%d messages wrong\n", wrong);
  return wrong == 0 ? 0 : 1;
}
