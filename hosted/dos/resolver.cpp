#include "hosted/dos/resolver.h"

#include <utility>

#include "platform/constants.h"

namespace quorle {
namespace {

/// First buffer for a link's target: the platform's longest is 4000 bytes. A longer one is tried for,
/// up to a limit of ours.
constexpr std::size_t kLinkBuffer = 4096;
constexpr std::size_t kMaxLinkBuffer = std::size_t{64} * 1024;

/// The path behind a link: its target and what followed its name.
std::string Splice(const std::string& target, const std::string& rest) {
  const bool complete = target.empty() || target.back() == ':' || target.back() == '/';
  return complete ? target + rest : target + "/" + rest;
}

}  // namespace

ResolvedName::ResolvedName(const DosList& list, PortObject start) : list_(list), here_(start) {}

ResolvedName::~ResolvedName() {
  MoveTo({}, false);
}

bool ResolvedName::Resolve(std::string_view name) {
  return Walk(std::string(name));
}

bool ResolvedName::FollowLink() {
  std::string target;
  if (!ReadLink(leaf_, target)) return false;
  return Walk(std::move(target));
}

bool ResolvedName::Walk(std::string path) {
  for (;;) {
    // After a link `path` begins again, perhaps on another volume; otherwise it has no colon left
    // that counts.
    const int links_before = links_;
    if (!EnterStart(path)) return false;
    for (;;) {
      const std::size_t slash = path.find('/');
      if (slash == std::string::npos) {
        if (path.size() > kMaxComponent) return Fail(ERROR_INVALID_COMPONENT_NAME);
        leaf_ = std::move(path);
        return true;
      }
      const std::string component = path.substr(0, slash);
      path.erase(0, slash + 1);
      if (component.empty()) {
        if (!EnterParent()) return false;
      } else if (!EnterChild(component, path)) {
        return false;
      }
      if (links_ != links_before) break;
    }
  }
}

bool ResolvedName::EnterStart(std::string& path) {
  const std::size_t colon = path.find(':');
  if (colon == std::string::npos) {
    return here_.port != nullptr || Fail(ERROR_INVALID_LOCK);
  }
  const PortObject place =
      colon == 0 ? PortObject{here_.port, nullptr} : list_.Find(path.substr(0, colon));
  if (place.port == nullptr)
    return Fail(colon == 0 ? ERROR_INVALID_LOCK : ERROR_DEVICE_NOT_MOUNTED);
  MoveTo(place, false);
  path.erase(0, colon + 1);
  return true;
}

bool ResolvedName::EnterParent() {
  // The root has no parent, whether it is given as a lock or as none.
  if (here_.lock == nullptr) return Fail(ERROR_OBJECT_NOT_FOUND);
  std::int32_t res2 = 0;
  ::Lock* const parent = here_.port->ParentDir(res2, here_.lock);
  if (parent == nullptr) return Fail(res2 == 0 ? ERROR_OBJECT_NOT_FOUND : res2);
  MoveTo({here_.port, parent}, true);
  return true;
}

bool ResolvedName::EnterChild(const std::string& component, std::string& path) {
  if (component.size() > kMaxComponent) return Fail(ERROR_INVALID_COMPONENT_NAME);
  std::int32_t res2 = 0;
  ::Lock* const child = here_.port->Lock(res2, here_.lock, component.c_str(), SHARED_LOCK);
  if (child != nullptr) {
    MoveTo({here_.port, child}, true);
    return true;
  }
  if (res2 != ERROR_IS_SOFT_LINK) return Fail(res2);
  std::string target;
  if (!ReadLink(component, target)) return false;
  path = Splice(target, path);
  return true;
}

bool ResolvedName::ReadLink(const std::string& component, std::string& target) {
  if (++links_ > kMaxLinks) return Fail(ERROR_TOO_MANY_LEVELS);
  for (std::size_t size = kLinkBuffer; size <= kMaxLinkBuffer; size *= 2) {
    target.assign(size, '\0');
    std::int32_t res2 = 0;
    const std::int32_t length = here_.port->ReadSoftLink(
        res2, here_.lock, component.c_str(), target.data(), static_cast<std::int32_t>(size));
    if (length >= 0) {
      target.resize(static_cast<std::size_t>(length));
      return true;
    }
    if (length != -2) return Fail(res2);
  }
  return Fail(ERROR_INVALID_COMPONENT_NAME);
}

void ResolvedName::MoveTo(PortObject place, bool owned) {
  if (owned_ && here_.lock != nullptr) {
    std::int32_t res2 = 0;
    here_.port->UnLock(res2, here_.lock);
  }
  here_ = place;
  owned_ = owned;
}

bool ResolvedName::Fail(std::int32_t code) {
  error_ = code;
  return false;
}

}  // namespace quorle
