#include "hosted/dos/console.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <string>

#include "selftest/unit/hosted/memory_sink.h"

namespace quorle {
namespace {

TEST(ConsoleTest, BytesGoOutAsTheyAre) {
  MemorySink output;
  MemorySink errors;
  Console console(output, errors, false);
  const std::string text("a\f\x1b[1m\xe4\0z\r\n", 11);
  console.Print(text);
  EXPECT_EQ(output.text, text);
  EXPECT_EQ(errors.text, "");
  EXPECT_FALSE(console.failed());
}

TEST(ConsoleTest, OnATerminalTheFormFeedScrollsToAFreshScreen) {
  MemorySink output;
  MemorySink errors;
  Console console(output, errors, true);
  output.screen_lines = 3;
  console.Print("\n\f\nnext");
  EXPECT_EQ(output.text, "\n\n\n\n\x1b[H\x1b[J\nnext");
}

TEST(ConsoleTest, WithoutAKnownSizeThereIsNoFreshScreen) {
  MemorySink output;
  MemorySink errors;
  Console console(output, errors, true);
  console.Print("\n\f\nnext");
  EXPECT_EQ(output.text, "\n\nnext");
}

TEST(ConsoleTest, EveryPrintIsDeliveredBeforeItReturns) {
  MemorySink output;
  MemorySink errors;
  Console console(output, errors, true);
  console.Print("one\f");
  EXPECT_EQ(output.writes, 1);
  console.Print("two");
  EXPECT_EQ(output.writes, 2);
}

TEST(ConsoleTest, ALostOutputIsReportedOnceAndTheRestDropped) {
  MemorySink output;
  MemorySink errors;
  Console console(output, errors, false);
  console.Print("before");
  output.fails = true;
  console.Print("lost");
  console.Print("lost too");
  output.fails = false;
  console.Print("dropped");
  EXPECT_TRUE(console.failed());
  EXPECT_EQ(output.text, "before");
  EXPECT_EQ(output.writes, 2);
  EXPECT_EQ(errors.text, "quorle: cannot write the output: the pen is dry\n");
}

TEST(ConsoleTest, ReportsAreLinesOnStandardError) {
  MemorySink output;
  MemorySink errors;
  Console console(output, errors, false);
  console.Report("first");
  console.PrintError("second");
  EXPECT_EQ(errors.text, "quorle: first\nsecond");
  EXPECT_EQ(output.text, "");
}

TEST(ConsoleTest, ReportsShowControlCharacters) {
  MemorySink output;
  MemorySink errors;
  Console console(output, errors, false);
  console.Report("a\x1b[2Jb\nc\x7f\x9b");
  EXPECT_EQ(errors.text, "quorle: a\\x1b[2Jb\\x0ac\\x7f\\x9b\n");
}

TEST(ConsoleTest, ALostReportIsNoLostOutput) {
  MemorySink output;
  MemorySink errors;
  errors.fails = true;
  Console console(output, errors, false);
  console.Report("nobody hears");
  EXPECT_FALSE(console.failed());
}

TEST(DescriptorSinkTest, WritesToItsDescriptor) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  DescriptorSink sink(ends[1]);
  EXPECT_TRUE(sink.Write("some bytes"));
  EXPECT_TRUE(sink.Write(""));
  char buffer[32];
  EXPECT_EQ(read(ends[0], buffer, sizeof buffer), 10);
  close(ends[0]);
  close(ends[1]);
}

TEST(DescriptorSinkTest, AFullDiskIsAProblem) {
  const int full = open("/dev/full", O_WRONLY);
  ASSERT_GE(full, 0);
  DescriptorSink sink(full);
  EXPECT_FALSE(sink.Write("x"));
  EXPECT_EQ(sink.Problem(), "No space left on device");
  close(full);
}

TEST(DescriptorSinkTest, AClosedPipeIsAProblem) {
  const auto before = std::signal(SIGPIPE, SIG_IGN);  // as main() does
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  DescriptorSink sink(ends[1]);
  EXPECT_FALSE(sink.Write("x"));
  EXPECT_EQ(sink.Problem(), "Broken pipe");
  close(ends[1]);
  std::signal(SIGPIPE, before);
}

}  // namespace
}  // namespace quorle
