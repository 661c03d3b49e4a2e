#pragma once

#include <sys/xattr.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace quorle::selftest {

/// A directory of the host, empty at first, gone with everything in it at the end.
class TemporaryDirectory {
 public:
  /// Throws std::runtime_error when there can be none. `where` is the directory that it is made in.
  explicit TemporaryDirectory(
      const std::filesystem::path& where = std::filesystem::temp_directory_path()) {
    std::string name = (where / "quorle-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) {
      throw std::runtime_error("cannot make a directory in " + where.string());
    }
    path_ = name;
  }
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

/// Whether files in a directory may have extended attributes of a user.
inline bool KeepsAttributes(const std::filesystem::path& directory) {
  constexpr const char* kName = "user.quorle.test";
  if (::setxattr(directory.c_str(), kName, "", 0, 0) != 0) return false;
  ::removexattr(directory.c_str(), kName);
  return true;
}

}  // namespace quorle::selftest
