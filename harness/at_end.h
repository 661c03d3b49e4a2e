#pragma once

namespace quorle {

/// Runs `release` at the end of the block: the list of a sub-test's releases in their order, on
/// every path. Nothing in it is skipped for being none: releases of nothing are calls as well.
template <class Release>
class [[nodiscard]] AtEnd {
 public:
  explicit AtEnd(Release release) : release_(release) {}
  ~AtEnd() { release_(); }
  AtEnd(const AtEnd&) = delete;
  AtEnd& operator=(const AtEnd&) = delete;

 private:
  Release release_;
};

}  // namespace quorle
