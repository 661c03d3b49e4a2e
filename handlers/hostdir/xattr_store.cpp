#include "handlers/hostdir/xattr_store.h"

#include <sys/xattr.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <string_view>

#include "quorle/handler.h"

namespace quorle::hostdir {
namespace {

constexpr const char* kAttribute = "user.quorle";
constexpr const char* kProbe = "user.quorle.probe";

/// More than the longest record: a comment of 255 and a label of 255 bytes, three for each.
constexpr std::size_t kMaxRecord = 4096;

class XattrStore final : public RecordStore {
 public:
  bool NeedsDescriptor() const override { return true; }

  DosError Read(const Opened& object, Record& record) override {
    record = {};
    if (!object.readable) return ERROR_READ_PROTECTED;
    std::array<char, kMaxRecord> text;
    const ssize_t length = ::fgetxattr(object.fd.get(), kAttribute, text.data(), text.size());
    if (length < 0) {
      const HostError error = HostError::Last();
      return error.Is(ENODATA) ? kNoError : error.ForReading();
    }
    record = FromText(std::string_view(text.data(), static_cast<std::size_t>(length)));
    return kNoError;
  }

  DosError Write(const Opened& object, const Record& record) override {
    const std::string text = ToText(record);
    const int fd = object.fd.get();
    if (!text.empty()) {
      return HostError::Of(::fsetxattr(fd, kAttribute, text.data(), text.size(), 0)).ForWriting();
    }
    const HostError error = HostError::Of(::fremovexattr(fd, kAttribute));
    return error.Is(ENODATA) ? kNoError : error.ForWriting();
  }

  DosError WriteFirst(const Opened& object, const Record& record) override {
    // There is no old one to remove.
    return ToText(record).empty() ? kNoError : Write(object, record);
  }

  void Forget(const Opened&) override {}
};

}  // namespace

std::unique_ptr<RecordStore> OpenXattrStore(const Opened& root, std::string& problem) {
  if (::fsetxattr(root.fd.get(), kProbe, "", 0, 0) == 0) {
    ::fremovexattr(root.fd.get(), kProbe);
    return std::make_unique<XattrStore>();
  }
  const HostError error = HostError::Last();
  const std::string message = " (" + error.Message() + ")";
  if (error.Is(ENOSPC, EDQUOT)) {
    problem = "there is no room for extended attributes of the directory" + message;
  } else if (error.Is(EOPNOTSUPP)) {
    problem =
        "the directory cannot have extended attributes" + message + "; metadata=file does without";
  } else {
    problem = "extended attributes of the directory cannot be set" + message +
              "; metadata=file does without";
  }
  return nullptr;
}

}  // namespace quorle::hostdir
