#include "program/line_file.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>

#include "selftest/unit/hosted/memory_sink.h"

namespace quorle {
namespace {

class LineFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    folder_ = ::testing::TempDir() + "quorle-trace-XXXXXX";
    ASSERT_NE(mkdtemp(folder_.data()), nullptr);
    path_ = folder_ + "/calls";
  }

  void TearDown() override {
    unlink(path_.c_str());
    rmdir(folder_.c_str());
  }

  std::string Content() const {
    std::ifstream file(path_, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
  }

  static bool Write(LineFile& trace, std::string_view line) {
    return trace.Write(line.data(), line.size());
  }

  MemorySink output_;
  MemorySink errors_;
  Console console_{output_, errors_, false};
  std::string folder_;
  std::string path_;
};

TEST_F(LineFileTest, LinesAreThereAtOnce) {
  LineFile trace(kTraceFile, console_);
  ASSERT_TRUE(trace.Open(path_.c_str()));
  EXPECT_TRUE(Write(trace, "one\n"));
  EXPECT_EQ(Content(), "one\n");
  EXPECT_TRUE(Write(trace, "two\n"));
  EXPECT_EQ(Content(), "one\ntwo\n");
}

TEST_F(LineFileTest, AnOldTraceIsReplaced) {
  std::ofstream(path_) << "of another run\n";
  LineFile trace(kTraceFile, console_);
  ASSERT_TRUE(trace.Open(path_.c_str()));
  EXPECT_EQ(Content(), "");
}

TEST_F(LineFileTest, AFileThatCannotBeOpenedIsReported) {
  LineFile trace(kTraceFile, console_);
  const std::string missing = folder_ + "/no/calls";
  EXPECT_FALSE(trace.Open(missing.c_str()));
  EXPECT_EQ(errors_.text,
            "quorle: cannot open the trace file " + missing + ": No such file or directory\n");
  EXPECT_FALSE(Write(trace, "x\n"));
}

TEST_F(LineFileTest, AFailedWriteIsReportedOnceAndEndsTheTrace) {
  LineFile trace(kTraceFile, console_);
  ASSERT_TRUE(trace.Open("/dev/full"));
  EXPECT_FALSE(Write(trace, "one\n"));
  EXPECT_FALSE(Write(trace, "two\n"));
  EXPECT_EQ(errors_.text,
            "quorle: the trace ends here, its file cannot be written: No space left on device\n");
  EXPECT_TRUE(trace.failed());
  EXPECT_FALSE(console_.failed());
}

TEST_F(LineFileTest, HalfALineIsTakenBackOnlyWhereItIsTheLast) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const std::string pipe_path = "/dev/fd/" + std::to_string(ends[1]);
  const auto before = std::signal(SIGPIPE, SIG_IGN);  // as main() does
  LineFile trace(kTraceFile, console_);
  ASSERT_TRUE(trace.Open(pipe_path.c_str()));
  close(ends[1]);
  // More than the pipe holds: a part is written, then the reader goes away.
  const std::string line(std::size_t{1} << 20, 'x');
  std::thread reader([end = ends[0]] {
    char byte = 0;
    EXPECT_EQ(read(end, &byte, 1), 1);
    close(end);
  });
  EXPECT_FALSE(Write(trace, line));
  reader.join();
  std::signal(SIGPIPE, before);
  EXPECT_TRUE(trace.failed());
  EXPECT_EQ(
      errors_.text,
      "quorle: the trace ends here, its file cannot be written: Broken pipe; its last line is "
      "not whole\n");
}

}  // namespace
}  // namespace quorle
