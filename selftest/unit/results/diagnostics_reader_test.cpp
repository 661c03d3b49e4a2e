#include "results/diagnostics_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "selftest/support/transcripts.h"

namespace quorle {
namespace {

namespace fs = std::filesystem;

std::vector<Diagnostic> ReadConsole(std::string_view text) {
  DiagnosticsReader reader;
  reader.Add(text);
  return reader.Take();
}

TEST(DiagnosticsReader, JoinsTheLinesOfAMessage) {
  const std::vector<Diagnostic> read = ReadConsole(
      "\x1b[1m\nERROR: Lock(\"FILE01\",EXCLUSIVE_LOCK) failed ok, but the error code was wrong;\n"
      "       #205 object not found\n"
      "       instead, the error code should have been; #202 object is in use.\n\n\x1b[0m");
  ASSERT_EQ(read.size(), 1U);
  EXPECT_EQ(read[0].type, DiagnosticClass::kError);
  EXPECT_TRUE(read[0].bold);
  EXPECT_EQ(read[0].code, 205);
  EXPECT_EQ(
      read[0].text,
      "Lock(\"FILE01\",EXCLUSIVE_LOCK) failed ok, but the error code was wrong; #205 object not "
      "found instead, the error code should have been; #202 object is in use.");
}

TEST(DiagnosticsReader, KnowsTheClasses) {
  const std::vector<Diagnostic> read = ReadConsole(
      "\nERROR:Open(\"DIRECTORY01\",MODE_OLDFILE) succeeded even though it was \n"
      "      actually a directory object and not a file.\n\n"
      "\x1b[1mERROR, DH0: is not identified as a filesystem.\n\n\x1b[0m"
      "\nWARN:  DupLock(\"FILE01\") failed ok, but the error code was wrong; #203 object already exists\n"
      "\nINFO:  SetOwner() test did not store the new 32 bit wide value;  0x1234abcd.\n"
      "\x1b[1m\nCLEANUP ERROR[2]: Lock() test left the object \"FILE01\" behind, error; 222 object is "
      "protected from deletion\n\n\x1b[0m"
      "\x1b[3mFlush() test skipped because it is not testable.\n\x1b[0m");
  ASSERT_EQ(read.size(), 6U);
  EXPECT_EQ(read[0].type, DiagnosticClass::kError);
  EXPECT_EQ(read[0].text,
            "Open(\"DIRECTORY01\",MODE_OLDFILE) succeeded even though it was actually a directory "
            "object and not a file.");
  EXPECT_FALSE(read[0].bold);
  EXPECT_EQ(read[1].type, DiagnosticClass::kError);
  EXPECT_EQ(read[1].text, "DH0: is not identified as a filesystem.");
  EXPECT_TRUE(read[1].bold);
  EXPECT_EQ(read[2].type, DiagnosticClass::kWarn);
  EXPECT_EQ(read[2].code, 203);
  EXPECT_EQ(read[3].type, DiagnosticClass::kInfo);
  EXPECT_EQ(read[3].code, 0);
  EXPECT_EQ(read[4].type, DiagnosticClass::kCleanup);
  EXPECT_EQ(read[4].code, 222);
  EXPECT_EQ(
      read[4].text,
      "Lock() test left the object \"FILE01\" behind, error; 222 object is protected from deletion");
  EXPECT_EQ(read[5].type, DiagnosticClass::kNote);
  EXPECT_EQ(read[5].text, "Flush() test skipped because it is not testable.");
}

TEST(DiagnosticsReader, PrintsOfALineMayComeInPieces) {
  DiagnosticsReader reader;
  reader.Add("\x1b[1m");
  reader.Add("\nERROR: ExamineObj(\"FILE01\") test failed because;");
  reader.Add("\n       ExamineData->ObjectID was <1 for root dir. [was 0]\n\n");
  reader.Add("\x1b[0m");
  const std::vector<Diagnostic> read = reader.Take();
  ASSERT_EQ(read.size(), 1U);
  EXPECT_TRUE(read[0].bold);
  EXPECT_EQ(
      read[0].text,
      "ExamineObj(\"FILE01\") test failed because; ExamineData->ObjectID was <1 for root dir. "
      "[was 0]");
  EXPECT_TRUE(reader.Take().empty()) << "they are taken once";
}

TEST(DiagnosticsReader, TakesUpIndentedLinesBehindAnEmptyOne) {
  const std::vector<Diagnostic> read = ReadConsole(
      "\nERROR: SetGroup(\"DIRECTORY01\",0) failed when a shared lock is held on the dir; #202 object "
      "is in use\n\n       Internal filesystem locks must be shared locks.\n\n");
  ASSERT_EQ(read.size(), 1U);
  EXPECT_TRUE(
      read[0].text.ends_with("object is in use Internal filesystem locks must be shared locks."));
}

TEST(DiagnosticsReader, KeepsAnArgumentWithALineBreak) {
  const std::vector<Diagnostic> read = ReadConsole(
      "\nERROR: Relabel() test failed, \"a\nb\" != \"c\" \n\n\x1b[0mRelabel() tests passed.\n");
  ASSERT_EQ(read.size(), 1U);
  EXPECT_EQ(read[0].text, "Relabel() test failed, \"a b\" != \"c\"");
}

TEST(DiagnosticsReader, FirstCodeIsTheOneShownFirst) {
  EXPECT_EQ(
      ReadConsole("\nWARN:  it failed ok, but the error code was wrong; #0 \n"
                  "       instead, the error code should have been; #202 object is in use.\n\n")
          .at(0)
          .code,
      0);
  EXPECT_EQ(
      ReadConsole("\nERROR: cannot rename \"A/file#01\" -> \"#02\"  #203 object already exists\n")
          .at(0)
          .code,
      203);
  EXPECT_EQ(ReadConsole("\nERROR: x; #-7 Error code -7\n").at(0).code, -7);
  EXPECT_EQ(ReadConsole("\nERROR: x; #99999999999 y\n").at(0).code, 0);
  DiagnosticsReader reader;
  reader.Add("\nERROR: the name is \" #7 x\"; #205 object not found\n", 205);
  reader.Add("       instead, the error code should have been; #202 object is in use.\n", 202);
  reader.Add("\nINFO:  no code here\n");
  const std::vector<Diagnostic> read = reader.Take();
  ASSERT_EQ(read.size(), 2U);
  EXPECT_EQ(read[0].code, 205);
  EXPECT_EQ(read[1].code, 0);
}

TEST(DiagnosticsReader, BytesOfAConsoleAreSafeText) {
  EXPECT_EQ(ReadConsole("\nERROR: caf\xe9 \a\x9b"
                        "1m \x1b]0;title \x7f\n")
                .at(0)
                .text,
            "caf\xc3\xa9 \\x07\\x9b1m \\x1b]0;title \\x7f");
  EXPECT_EQ(ReadConsole("\nERROR: colour \x1b[31mred\x1b[0m\n").at(0).text, "colour red");
  EXPECT_EQ(ReadConsole("\nERROR: cut off \x1b[").at(0).text, "cut off \\x1b[");
  EXPECT_EQ(ReadConsole("\r\nERROR: other line ends\r\n       go on\r\n").at(0).text,
            "other line ends go on");
}

TEST(DiagnosticsReader, StartAndClosingLinesAreNone) {
  EXPECT_TRUE(
      ReadConsole("\n\f\n\n\f\nStarting tests for Device Name= RAM:        Volume Name= Ram Disk\n"
                  "\x1b[1mHost Filesystem = ram 53.1   DOSType:0x444f5309 [DOS\\09]\n\n\x1b[0m"
                  "Lock() tests passed.\n\x1b[1m\nBREAK ^C - Aborting...\n\x1b[0m\n")
          .empty());
  EXPECT_EQ(PassedGroup("Lock() tests passed."), "Lock");
  EXPECT_EQ(PassedGroup("Soft links tests passed."), "Soft links");
  EXPECT_EQ(PassedGroup("a b() tests passed."), "");
  EXPECT_EQ(PassedGroup("Lock() tests passed"), "");
}

/// The lines that speak of no check, written here a second time from the rules of the console.
bool IsStartOrClosing(const std::string& line) {
  static const std::regex kKnown(
      "Starting tests for Device Name= .*|Host Filesystem = .*|----- NOTE: DOSType .*|"
      "[A-Za-z]+\\(\\) tests passed\\.|[A-Z][a-z ]+ tests passed\\.|BREAK \\^C - Aborting\\.\\.\\.|Error - Aborting\\.\\.\\.");
  return std::regex_match(line, kKnown);
}

/// How a line begins that is a message of its own.
bool BeginsMessage(const std::string& line) {
  static const std::regex kStart("(ERROR[:,]|WARN:|INFO:|CLEANUP ERROR\\[).*");
  return std::regex_match(line, kStart);
}

std::vector<std::string> PlainLines(const std::string& text) {
  static const std::regex kStyle("\x1b\\[[0-9]m");
  const std::string plain = std::regex_replace(text, kStyle, "");
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < plain.size();) {
    const std::size_t end = std::min(plain.find('\n', at), plain.size());
    const std::string line = plain.substr(at, end - at);
    if (line.find_first_not_of(" \r\f") != std::string::npos) lines.push_back(line);
    at = end + 1;
  }
  return lines;
}

// Every line that a kept run prints is part of exactly one message, in its order, or one of the known
// lines that speak of no check.
TEST(DiagnosticsReader, EveryLineOfTheTranscriptsIsSomewhere) {
  std::size_t messages = 0;
  std::size_t lines = 0;
  std::set<DiagnosticClass> classes;
  for (const fs::directory_entry& entry : fs::directory_iterator(QUORLE_TRANSCRIPTS)) {
    if (entry.path().extension() != ".txt" ||
        entry.path().stem().string().ends_with("deviations") ||
        entry.path().stem() == "CMakeLists") {
      continue;
    }
    const selftest::TranscriptFile file = selftest::ReadTranscripts(entry.path());
    for (const selftest::Transcript& test : file.transcripts()) {
      // Before a run starts there are other texts: how it is called.
      if (!test.prints || test.result == "20") continue;
      DiagnosticsReader reader;
      reader.Add(*test.prints);
      std::vector<std::string> read;
      for (const ConsoleMessage& message : reader.TakeMessages()) {
        if (message.progress) continue;
        ++messages;
        classes.insert(message.diagnostic.type);
        EXPECT_EQ(BeginsMessage(message.lines.at(0)),
                  message.diagnostic.type != DiagnosticClass::kNote);
        for (std::size_t i = 1; i < message.lines.size(); ++i) {
          EXPECT_TRUE(message.lines[i].starts_with("      ")) << message.lines[i];
        }
        if (message.diagnostic.type == DiagnosticClass::kNote) {
          EXPECT_EQ(message.lines.size(), 1U);
        }
        read.insert(read.end(), message.lines.begin(), message.lines.end());
      }
      std::vector<std::string> wanted;
      for (const std::string& line : PlainLines(*test.prints)) {
        ++lines;
        if (!IsStartOrClosing(line)) wanted.push_back(line);
      }
      EXPECT_EQ(read, wanted) << entry.path() << " " << test.name;
    }
  }
  EXPECT_EQ(classes.size(), 5U);
  EXPECT_GT(messages, 2000U);
  EXPECT_GT(lines, messages);
}

}  // namespace
}  // namespace quorle
