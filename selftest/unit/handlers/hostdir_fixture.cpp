#include "selftest/unit/handlers/hostdir_fixture.h"

#include <algorithm>
#include <fstream>

namespace quorle::selftest {

namespace fs = std::filesystem;

std::string Content(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void Put(const fs::path& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary);
  file << content;
  EXPECT_TRUE(file.flush()) << path;
}

Names HostNames(const fs::path& directory) {
  Names names;
  for (const auto& entry : fs::directory_iterator(directory)) {
    if (entry.path().filename() != kSideFile) names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::size_t OpenDescriptors() {
  const fs::directory_iterator all("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

}  // namespace quorle::selftest
