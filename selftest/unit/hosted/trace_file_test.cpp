#include "hosted/trace_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>

#include "memory_sink.h"

namespace quorle {
namespace {

class TraceFileTest : public ::testing::Test {
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

  static bool Write(TraceFile& trace, std::string_view line) {
    return trace.Write(line.data(), line.size());
  }

  MemorySink output_;
  MemorySink errors_;
  Console console_{output_, errors_, false};
  std::string folder_;
  std::string path_;
};

TEST_F(TraceFileTest, LinesAreThereAtOnce) {
  TraceFile trace(console_);
  ASSERT_TRUE(trace.Open(path_.c_str()));
  EXPECT_TRUE(Write(trace, "one\n"));
  EXPECT_EQ(Content(), "one\n");
  EXPECT_TRUE(Write(trace, "two\n"));
  EXPECT_EQ(Content(), "one\ntwo\n");
}

TEST_F(TraceFileTest, AnOldTraceIsReplaced) {
  std::ofstream(path_) << "of another run\n";
  TraceFile trace(console_);
  ASSERT_TRUE(trace.Open(path_.c_str()));
  EXPECT_EQ(Content(), "");
}

TEST_F(TraceFileTest, AFileThatCannotBeOpenedIsReported) {
  TraceFile trace(console_);
  const std::string missing = folder_ + "/no/calls";
  EXPECT_FALSE(trace.Open(missing.c_str()));
  EXPECT_EQ(errors_.text,
            "quorle: cannot open the trace file " + missing + ": No such file or directory\n");
  EXPECT_FALSE(Write(trace, "x\n"));
}

TEST_F(TraceFileTest, AFailedWriteIsReportedOnceAndEndsTheTrace) {
  TraceFile trace(console_);
  ASSERT_TRUE(trace.Open("/dev/full"));
  EXPECT_FALSE(Write(trace, "one\n"));
  EXPECT_FALSE(Write(trace, "two\n"));
  EXPECT_EQ(errors_.text,
            "quorle: the trace ends here, its file cannot be written: No space left on device\n");
  EXPECT_FALSE(console_.failed());
}

TEST_F(TraceFileTest, ItNeverTakesThePlaceOfStandardOutput) {
  const int kept = dup(STDOUT_FILENO);
  close(STDOUT_FILENO);
  {
    TraceFile trace(console_);
    EXPECT_TRUE(trace.Open(path_.c_str()));
    EXPECT_EQ(write(STDOUT_FILENO, "x", 1), -1);
    EXPECT_TRUE(Write(trace, "one\n"));
  }
  dup2(kept, STDOUT_FILENO);
  close(kept);
  EXPECT_EQ(Content(), "one\n");
}

}  // namespace
}  // namespace quorle
