#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "platform/format_text.h"

// Messages and their arguments. The first byte says how many arguments there are (0 to 7), then a
// byte each for its kind, then the message; arguments are made of the message itself.

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

/// Counts, and keeps the text.
class Kept final : public quorle::TextSink {
 public:
  void Put(char c) override { text += c; }
  std::string text;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::size_t count = data[0] % 8;
  if (size < 1 + count) return 0;
  const std::string format(reinterpret_cast<const char*>(data) + 1 + count, size - 1 - count);
  if (std::strlen(format.c_str()) > 4096) return 0;

  std::int64_t number = 0;
  std::memcpy(&number, format.data(),
              format.size() < sizeof number ? format.size() : sizeof number);
  std::vector<quorle::FormatArgument> args;
  for (std::size_t i = 0; i < count; ++i) {
    switch (data[1 + i] % 4) {
      case 0:
        args.emplace_back(format.c_str());
        break;
      case 1:
        args.emplace_back(static_cast<const char*>(nullptr));
        break;
      case 2:
        args.emplace_back(static_cast<std::int32_t>(number));
        break;
      default:
        args.emplace_back(number);
        break;
    }
  }
  const quorle::ErrorArguments error{static_cast<std::int32_t>(number), data[0] >= 128};
  Kept first;
  const std::size_t length = quorle::FormatText(format.c_str(), args.data(), count, error, first);
  Require(length == first.text.size());
  // A text without a '%' is printed as it stands.
  if (std::strchr(format.c_str(), '%') == nullptr) Require(first.text == format.c_str());
  // The reader of conversions never goes back, and never past the end.
  for (const char* p = format.c_str(); *p != '\0'; ++p) {
    if (*p != '%') continue;
    const quorle::Conversion conversion = quorle::ReadConversion(p);
    Require(conversion.end > p && conversion.end <= format.c_str() + std::strlen(format.c_str()));
    Require(conversion.width <= quorle::Conversion::kMaxWidth || !conversion.valid);
  }
  Kept second;
  quorle::FormatText(format.c_str(), args.data(), count, error, second);
  Require(first.text == second.text);
  return 0;
}
