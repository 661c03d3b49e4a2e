#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "selftest/support/temporary_directory.h"

namespace quorle::selftest {

/// A filesystem of the host's own, made and mounted for a test, gone at the end. It is seen by this
/// process and those that it starts, by nobody else.
class HostFilesystem {
 public:
  /// Mounts one of a kind: "tmpfs", "ramfs", "ext4", "ext2" (small, without room
  /// for attributes in its inodes), "xfs", "btrfs" (in an image, over a loop
  /// device), "fuse2fs" (ext4 in an image, through FUSE), "bindfs" (another directory, through FUSE). `options` go to mount or, of bindfs, to
  /// the program. Null, with the reason in `why_not`, when this machine or this user cannot.
  static std::unique_ptr<HostFilesystem> Make(const std::string& kind, const std::string& options,
                                              std::string& why_not);
  ~HostFilesystem();
  HostFilesystem(const HostFilesystem&) = delete;
  HostFilesystem& operator=(const HostFilesystem&) = delete;

  /// A directory on it, empty at first.
  std::filesystem::path path() const { return mount_point_ / "directory"; }
  /// Mounts it read-only, or writable again. False when that fails.
  bool SetReadOnly(bool on);

 private:
  HostFilesystem();
  std::string MountAs(const std::string& kind, const std::string& options);
  /// Runs a command; empty when it ends well, else what it said.
  std::string Do(const std::string& command) const;

  TemporaryDirectory base_;
  std::filesystem::path mount_point_;
  bool is_mounted_ = false;
};

}  // namespace quorle::selftest
