#include "selftest/support/host_filesystem.h"

#include <sched.h>
#include <sys/mount.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <system_error>

namespace quorle::selftest {
namespace {

namespace fs = std::filesystem;

/// How large an image is made; each kind has its own least size.
struct Image {
  const char* size;
  const char* make;
  const char*
      type;  ///< for mount, over a loop device; null: a program called as the kind mounts it
};

const Image* FindImage(const std::string& kind) {
  static const std::map<std::string, Image> kImages = {
      {"ext4", {"64M", "mkfs.ext4 -q -F", "ext4"}},
      {"ext2", {"1M", "mkfs.ext2 -q -F -b 1024 -I 128 -m 0", "ext2"}},
      {"xfs", {"320M", "mkfs.xfs -q -f", "xfs"}},
      {"btrfs", {"128M", "mkfs.btrfs -q -f", "btrfs"}},
      // Not the kernel's own: few have it, or it is to be tried through a program.
      {"fuse2fs", {"64M", "mkfs.ext4 -q -F", nullptr}},
      {"exfat", {"64M", "mkfs.exfat", "exfat-fuse"}},
  };
  const auto found = kImages.find(kind);
  return found == kImages.end() ? nullptr : &found->second;
}

/// A list of mounts that is this process's own. Once, empty when it is; else why not.
const std::string& OwnMounts() {
  static const std::string kProblem = []() -> std::string {
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
      return "this user may not mount: " + std::generic_category().message(errno);
    }
    return {};
  }();
  return kProblem;
}

}  // namespace

HostFilesystem::HostFilesystem() : mount_point_(base_.path() / "mounted") {
  fs::create_directory(mount_point_);
}

HostFilesystem::~HostFilesystem() {
  if (is_mounted_) ::umount2(mount_point_.c_str(), MNT_DETACH);
}

std::unique_ptr<HostFilesystem> HostFilesystem::Make(const std::string& kind,
                                                     const std::string& options,
                                                     std::string& why_not) {
  why_not = OwnMounts();
  if (!why_not.empty()) return nullptr;
  std::unique_ptr<HostFilesystem> made(new HostFilesystem);
  why_not = made->MountAs(kind, options);
  if (!why_not.empty()) return nullptr;
  fs::create_directory(made->path());
  return made;
}

std::string HostFilesystem::MountAs(const std::string& kind, const std::string& options) {
  const std::string where = " " + mount_point_.string();
  const std::string image = (base_.path() / "image").string();
  std::string command;
  if (const Image* const plan = FindImage(kind); plan != nullptr) {
    std::string problem = Do(std::string("truncate -s ") + plan->size + " " + image + " && " +
                             plan->make + " " + image);
    if (!problem.empty()) return problem;
    command = plan->type == nullptr ? kind + " -o " + options + " " + image
                                    : std::string("mount -t ") + plan->type + " -o loop" +
                                          (options.empty() ? "" : "," + options) + " " + image;
  } else if (kind == "bindfs") {
    fs::create_directory(base_.path() / "source");
    command = "bindfs " + options + " " + (base_.path() / "source").string();
  } else {
    command = "mount -t " + kind + (options.empty() ? "" : " -o " + options) + " none";
  }
  std::string problem = Do(command + where);
  is_mounted_ = problem.empty();
  return problem;
}

std::string HostFilesystem::Do(const std::string& command) const {
  const fs::path log = base_.path() / "log";
  const std::string line =
      "PATH=$PATH:/usr/sbin:/sbin; { " + command + "; } >" + log.string() + " 2>&1";
  if (std::system(line.c_str()) == 0) return {};
  std::ifstream said(log);
  return command + ": " + std::string(std::istreambuf_iterator<char>(said), {});
}

bool HostFilesystem::SetReadOnly(bool on) {
  return Do(std::string("mount -o remount,") + (on ? "ro " : "rw ") + mount_point_.string())
      .empty();
}

}  // namespace quorle::selftest
