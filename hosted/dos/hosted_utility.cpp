#include "hosted/dos/hosted_utility.h"

#include <algorithm>
#include <cstring>

#include "hosted/dos/latin1.h"
#include "platform/format_text.h"

namespace quorle {
namespace {

/// Keeps the first characters of a text, as many as a buffer holds before its zero.
class BufferSink final : public TextSink {
 public:
  BufferSink(char* buffer, std::uint32_t size) : buffer_(buffer), size_(size) {}

  void Put(char c) override {
    if (size_ < 2) return;
    *buffer_++ = c;
    --size_;
  }
  void End() {
    if (size_ > 0) *buffer_ = '\0';
  }

 private:
  char* buffer_;
  std::uint32_t size_;
};

}  // namespace

std::uint32_t HostedUtility::Strlcpy(char* destination, const char* source, std::uint32_t size) {
  const std::size_t length = std::strlen(source);
  if (size > 0) {
    const std::size_t copied = std::min<std::size_t>(length, size - 1);
    std::memcpy(destination, source, copied);
    destination[copied] = '\0';
  }
  return static_cast<std::uint32_t>(length);
}

std::int32_t HostedUtility::VSNPrintf(char* buffer, std::uint32_t size, const char* format,
                                      const FormatArgument* args, std::size_t count) {
  BufferSink sink(buffer, size);
  const std::size_t length = FormatText(format, args, count, {}, sink);
  sink.End();
  return static_cast<std::int32_t>(length);
}

std::int32_t HostedUtility::Stricmp(const char* a, const char* b) {
  return CompareLatin1(a, b);
}

}  // namespace quorle
