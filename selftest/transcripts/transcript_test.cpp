#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "selftest/kill_table/watched_run.h"
#include "selftest/support/test_bench.h"

// Whole runs of the tester, compared byte by byte. A case is a folder GROUP/CASE with the files
// `args`, `rules` (optional), `expect.out`, `expect.rc` and `expect.calls` (optional). What each of its
// sub-tests returned stands in GROUP/statuses, a line a case. Each is run twice on the same volume:
// what the first run leaves behind would show in the second.
//
// With QUORLE_APPROVE=GROUP/CASE,... in the environment (or "all") the expected texts of these cases
// are written instead of compared; scripts/approve sets it. `expect.calls` is written where it is
// there already, be it empty.

namespace quorle {
namespace {

namespace fs = std::filesystem;
using selftest::TestBench;
using selftest::WatchedPart;
using selftest::WatchedRun;

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

/// The calls of the tests, one a line: what is done between the switching off of requesters and its
/// end. Of an examine record only the handle is told, since its contents are the filesystem's, and no
/// size of an allocation, which is another where pointers are.
std::string CallsOfTests(const std::vector<std::string>& trace) {
  std::string text;
  bool in_tests = false;
  for (const std::string& line : trace) {
    nlohmann::json call = nlohmann::json::parse(line);
    if (call["op"] == "SetProcWindow") {
      in_tests = !in_tests;
      continue;
    }
    if (!in_tests) continue;
    if (call["op"] == "ExamineObject" && call["result"].is_object()) {
      call["result"] = call["result"]["handle"];
    }
    if (call["op"] == "AllocVecTags") call["args"].clear();
    text += selftest::CallText(call);
    text += '\n';
  }
  return text;
}

/// The handle that the call in this line of a trace releases, or an empty text. A lock that became a
/// file is released with it.
std::string_view ReleasedBy(std::string_view line) {
  constexpr std::string_view kReleases[] = {R"({"op":"Close",)", R"({"op":"UnLock",)",
                                            R"({"op":"FreeDosObject",)", R"({"op":"FreeVec",)",
                                            R"({"op":"OpenFromLock",)"};
  const bool is_release =
      std::any_of(std::begin(kReleases), std::end(kReleases),
                  [line](std::string_view start) { return line.starts_with(start); });
  if (!is_release) return {};
  if (line.starts_with(R"({"op":"OpenFromLock")") && line.find(R"("result":null)") != line.npos) {
    return {};
  }
  const std::string_view arguments = line.substr(0, line.find(']'));
  if (!arguments.ends_with('"')) return {};  // nothing is released
  const std::string_view last = arguments.substr(0, arguments.size() - 1);
  return last.substr(last.rfind('"') + 1);
}

/// The first call that releases what was released before, or an empty text. A trace gives no handle
/// twice.
std::string SecondRelease(const std::vector<std::string>& trace) {
  std::set<std::string_view> released;
  for (const std::string& line : trace) {
    const std::string_view handle = ReleasedBy(line);
    if (!handle.empty() && !released.insert(handle).second) return line;
  }
  return {};
}

/// What the sub-tests returned, in their order.
std::string StatusesOf(const WatchedRun& run) {
  std::string text;
  for (const WatchedPart& part : run.parts) {
    if (part.sub_test != 0) text += " " + std::to_string(part.status);
  }
  return text;
}

/// The lines "CASE: what its sub-tests returned" of one group.
class Statuses {
 public:
  /// Those of a group; read once.
  static Statuses& Of(const fs::path& group) {
    static std::map<fs::path, Statuses> groups;
    return groups.try_emplace(group, group).first->second;
  }

  explicit Statuses(const fs::path& group) : file_(group / "statuses") {
    std::istringstream in(ReadFile(file_));
    for (std::string line; std::getline(in, line);) {
      const std::size_t colon = line.find(':');
      lines_[line.substr(0, colon)] = line.substr(std::min(colon + 1, line.size()));
      if (!fs::exists(group / line.substr(0, colon))) stale_ = line;
    }
  }

  /// A line that belongs to no case any more; empty when there is none.
  const std::string& stale() const { return stale_; }

  /// Empty when the case has none.
  std::string OfCase(const std::string& name) const {
    const auto found = lines_.find(name);
    return found == lines_.end() ? std::string() : found->second;
  }

  void Approve(const std::string& name, const std::string& statuses) {
    lines_[name] = statuses;
    std::string text;
    for (const auto& [line_name, line] : lines_) {
      if (!line.empty()) text.append(line_name).append(":").append(line).append("\n");
    }
    WriteFile(file_, text);
  }

 private:
  fs::path file_;
  std::map<std::string, std::string> lines_;
  std::string stale_;
};

class TranscriptTest : public testing::Test {
 public:
  explicit TranscriptTest(fs::path folder, std::string name)
      : folder_(std::move(folder)), name_(std::move(name)) {}

  void TestBody() override {
    const std::string rules = ReadFile(folder_ / "rules");
    TestBench bench(Words(ReadFile(folder_ / "args")), rules);
    const std::string volumes = bench.Volumes();

    const WatchedRun run = selftest::RunWatched(bench);
    const std::int32_t result = run.result;
    const std::string& output = run.output;
    const std::string statuses = StatusesOf(run);
    const std::string case_name = folder_.filename().string();
    Statuses& expected_statuses = Statuses::Of(folder_.parent_path());
    const std::vector<std::string> trace = bench.TakeTraceLines();
    const bool compares_calls = fs::exists(folder_ / "expect.calls");
    EXPECT_EQ(bench.UnusedRule(), "") << "a rule that never fires tests nothing";
    EXPECT_EQ(bench.StillOpen(false), "");
    EXPECT_EQ(SecondRelease(trace), "") << "was released already";
    if (!LeavesObjectsBehind(output)) {
      EXPECT_EQ(bench.Volumes(), volumes) << "the volume is not what it was";
      const WatchedRun second = selftest::RunWatched(bench);
      EXPECT_EQ(second.result, result) << "the second run";
      EXPECT_EQ(second.output, output) << "the second run";
      EXPECT_EQ(StatusesOf(second), statuses) << "the second run";
    }

    if (IsToBeApproved(name_)) {
      WriteFile(folder_ / "expect.out", output);
      WriteFile(folder_ / "expect.rc", std::to_string(result) + "\n");
      expected_statuses.Approve(case_name, statuses);
      if (compares_calls) WriteFile(folder_ / "expect.calls", CallsOfTests(trace));
      return;
    }
    ASSERT_TRUE(fs::exists(folder_ / "expect.out"))
        << "not approved yet: scripts/approve " << name_;
    EXPECT_EQ(output, ReadFile(folder_ / "expect.out"));
    EXPECT_EQ(std::to_string(result) + "\n", ReadFile(folder_ / "expect.rc"));
    EXPECT_EQ(statuses, expected_statuses.OfCase(case_name));
    EXPECT_EQ(expected_statuses.stale(), "") << "a line of a case that is not there";
    if (compares_calls) {
      EXPECT_EQ(CallsOfTests(trace), ReadFile(folder_ / "expect.calls"));
    }
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
