#include "native/native_utility.h"

#include "native/formatted_message.h"

namespace quorle::native {

std::uint32_t NativeUtility::Strlcpy(char* destination, const char* source, std::uint32_t size) {
  return utility_->Strlcpy(utility_, destination, source, size);
}

std::int32_t NativeUtility::VSNPrintf(char* buffer, std::uint32_t size, const char* format,
                                      const FormatArgument* args, std::size_t count) {
  const FormattedMessage message(format, args, count);
  return utility_->VSNPrintf(utility_, buffer, size, message.format(), message.words());
}

std::int32_t NativeUtility::Stricmp(const char* a, const char* b) {
  return utility_->Stricmp(utility_, a, b);
}

}  // namespace quorle::native
