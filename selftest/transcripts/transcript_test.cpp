#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "selftest/support/test_bench.h"

// Whole runs of the tester, compared byte by byte. A case is a folder GROUP/CASE with the files
// `args`, `rules` (optional), `expect.out`, `expect.rc`. Each is run twice on the same volume: what
// the first run leaves behind would show in the second.
//
// With QUORLE_APPROVE=GROUP/CASE,... in the environment (or "all") the expected texts of these cases
// are written instead of compared; scripts/approve sets it.

namespace quorle {
namespace {

namespace fs = std::filesystem;
using selftest::TestBench;

std::string ReadFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void WriteFile(const fs::path& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary);
  file << text;
}

std::vector<std::string> Words(const std::string& line) {
  std::istringstream in(line);
  return {std::istream_iterator<std::string>(in), std::istream_iterator<std::string>()};
}

bool IsToBeApproved(const std::string& name) {
  const char* const names = std::getenv("QUORLE_APPROVE");
  if (names == nullptr) return false;
  if (std::string_view(names) == "all") return true;
  return ("," + std::string(names) + ",").find("," + name + ",") != std::string::npos;
}

/// Whether the tester itself says that scratch objects stay behind.
bool LeavesObjectsBehind(const std::string& output) {
  return output.find("CLEANUP ERROR") != std::string::npos ||
         output.find("the magic has gone") != std::string::npos;
}

class TranscriptTest : public testing::Test {
 public:
  explicit TranscriptTest(fs::path folder, std::string name)
      : folder_(std::move(folder)), name_(std::move(name)) {}

  void TestBody() override {
    const std::string rules = ReadFile(folder_ / "rules");
    TestBench bench(Words(ReadFile(folder_ / "args")), rules);
    const std::string volumes = bench.Volumes();

    const std::int32_t result = bench.Run();
    const std::string output = bench.TakeOutput();
    EXPECT_EQ(bench.UnusedRule(), "") << "a rule that never fires tests nothing";
    EXPECT_EQ(bench.StillOpen(false), "");
    if (!LeavesObjectsBehind(output)) {
      EXPECT_EQ(bench.Volumes(), volumes) << "the volume is not what it was";
      EXPECT_EQ(bench.Run(), result) << "the second run";
      EXPECT_EQ(bench.TakeOutput(), output) << "the second run";
    }

    if (IsToBeApproved(name_)) {
      WriteFile(folder_ / "expect.out", output);
      WriteFile(folder_ / "expect.rc", std::to_string(result) + "\n");
      return;
    }
    ASSERT_TRUE(fs::exists(folder_ / "expect.out"))
        << "not approved yet: scripts/approve " << name_;
    EXPECT_EQ(output, ReadFile(folder_ / "expect.out"));
    EXPECT_EQ(std::to_string(result) + "\n", ReadFile(folder_ / "expect.rc"));
  }

 private:
  fs::path folder_;
  std::string name_;
};

void RegisterCases(const fs::path& root) {
  std::vector<fs::path> folders;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
    if (entry.path().filename() == "args") folders.push_back(entry.path().parent_path());
  }
  std::sort(folders.begin(), folders.end());
  for (const fs::path& folder : folders) {
    const std::string name = fs::relative(folder, root).generic_string();
    std::string test_name = folder.filename().string();
    std::replace(test_name.begin(), test_name.end(), '-', '_');
    testing::RegisterTest(
        folder.parent_path().filename().string().c_str(), test_name.c_str(), nullptr, nullptr,
        __FILE__, __LINE__,
        [folder, name]() -> TranscriptTest* { return new TranscriptTest(folder, name); });
  }
}

}  // namespace
}  // namespace quorle

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (argc != 2) {
    std::fprintf(stderr, "usage: transcript_tests FOLDER\n");
    return 2;
  }
  quorle::RegisterCases(argv[1]);
  return RUN_ALL_TESTS();
}
