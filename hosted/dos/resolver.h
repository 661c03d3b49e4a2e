#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "hosted/calls/handler_port.h"
#include "hosted/dos/dos_list.h"

namespace quorle {

/// A name on its way to a handler, which takes one component at a time: the port, a lock on the
/// directory that holds the object, and the last component. It locks the directories on the way,
/// follows the soft links that stand there, and releases every lock that it took.
///
/// What stands before the first colon is a device, volume or assign; nothing before it is the root
/// of the volume where the name starts. Without a colon the name starts where the caller says, which
/// may be a lock on a file. Components stand between slashes; an empty one is the parent, but at the
/// end of a name it is the object itself.
class ResolvedName {
 public:
  /// `list` and the lock of `start` must outlive this. A start without a port is none: a name that
  /// needs it fails with 211.
  ResolvedName(const DosList& list, PortObject start);
  ~ResolvedName();
  ResolvedName(const ResolvedName&) = delete;
  ResolvedName& operator=(const ResolvedName&) = delete;

  /// Walks to the directory of the last component of `name`. False: error() says why.
  bool Resolve(std::string_view name);
  /// Goes on from the object, which a handler called a soft link (233), to what the link leads to.
  /// False: error() says why; 217 after more than kMaxLinks links in all.
  bool FollowLink();

  HandlerPort& port() const { return *here_.port; }
  /// The directory of the object; null is the root. It belongs to this.
  ::Lock* directory() const { return here_.lock; }
  /// The last component; "" means the object of directory() itself.
  const char* leaf() const { return leaf_.c_str(); }
  std::int32_t error() const { return error_; }

  /// As many soft links are followed for one name.
  static constexpr int kMaxLinks = 15;
  /// Bytes in the longest component.
  static constexpr std::size_t kMaxComponent = 255;

 private:
  bool Walk(std::string path);
  bool EnterStart(std::string& path);
  bool EnterParent();
  /// Goes down into `component`; `path` is what comes after it, and is replaced when it is a link.
  bool EnterChild(const std::string& component, std::string& path);
  bool ReadLink(const std::string& component, std::string& target);
  void MoveTo(PortObject place, bool owned);
  bool Fail(std::int32_t code);

  const DosList& list_;
  PortObject here_;
  bool owned_ = false;  ///< whether here_.lock was taken by this
  std::string leaf_;
  int links_ = 0;
  std::int32_t error_ = 0;
};

}  // namespace quorle
