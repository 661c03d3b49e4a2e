#include "handlers/hostdir/host_names.h"

#include <sys/random.h>

#include <cstddef>
#include <cstdint>
#include <ctime>

#include "handlers/common/names.h"

namespace quorle::hostdir {
namespace {

/// U+F02E in UTF-8.
constexpr std::string_view kDot = "\xEF\x80\xAE";

/// How many dots at the front of `name` the host must not see: it would take the name for its own
/// "." or "..", or the handler for one of its files.
std::size_t DotsToHide(std::string_view name) {
  if (name == "." || name == "..") return name.size();
  return common::SameName(name.substr(0, kOwnPrefix.size()), kOwnPrefix) ? 1 : 0;
}

}  // namespace

std::string ToHostName(std::string_view name) {
  std::string host;
  const std::size_t dots = DotsToHide(name);
  for (std::size_t i = 0; i < dots; ++i) host += kDot;
  for (const char c : name.substr(dots)) {
    const auto code = static_cast<unsigned char>(c);
    if (code < 0x80) {
      host += c;
    } else {
      host += static_cast<char>(0xC0 | code >> 6);
      host += static_cast<char>(0x80 | (code & 0x3F));
    }
  }
  return host;
}

bool FromHostName(std::string_view host, std::string& name) {
  name.clear();
  for (std::size_t i = 0; i < host.size(); ++i) {
    const auto code = static_cast<unsigned char>(host[i]);
    if (code < 0x80) {
      name += host[i];
    } else if (host.substr(i, kDot.size()) == kDot) {
      name += '.';
      i += kDot.size() - 1;
    } else if ((code == 0xC2 || code == 0xC3) && i + 1 < host.size()) {
      name += static_cast<char>(code << 6 | (static_cast<unsigned char>(host[++i]) & 0x3F));
    } else {
      return false;
    }
  }
  // Whatever was taken too lightly above does not come out the same again.
  return common::IsName(name) && ToHostName(name) == host;
}

std::string UniqueSuffix() {
  std::uint64_t number = 0;
  if (::getrandom(&number, sizeof number, 0) != sizeof number) {
    std::timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    number = static_cast<std::uint64_t>(now.tv_sec) * 1000000000 +
             static_cast<std::uint64_t>(now.tv_nsec);
  }
  return std::to_string(number);
}

std::string AsideName() {
  return std::string(kOwnPrefix) + '.' + UniqueSuffix();
}

}  // namespace quorle::hostdir
