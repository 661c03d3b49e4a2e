#include "program/host_options.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quorle {
namespace {

HostCommand Read(const std::vector<const char*>& words) {
  return ReadHostCommand(words);
}

/// The line that the tester's ReadArgs() gets.
std::string Joined(const std::vector<const char*>& words) {
  return JoinArguments(words);
}

/// The complaint about a command line.
std::string Refusal(const std::vector<const char*>& words) {
  const HostCommand command = Read(words);
  EXPECT_EQ(command.type, HostCommand::Type::kRefused);
  EXPECT_FALSE(command.text.empty());
  return command.text;
}

TEST(HostOptionsTest, WithoutOptionsEverythingIsTheTesters) {
  const HostCommand command = Read({"RAM:", "TN=5", "NI"});
  ASSERT_EQ(command.type, HostCommand::Type::kRun);
  EXPECT_EQ(command.options.dos.arguments, "RAM: TN=5 NI");
  EXPECT_TRUE(command.options.mounts.empty());
  EXPECT_FALSE(command.options.trace_file.has_value());
  EXPECT_TRUE(command.options.dos.delays);
  EXPECT_FALSE(command.options.exec.workbench);
  EXPECT_EQ(command.options.exec.dos_version, 53);
  EXPECT_EQ(command.options.exec.dos_revision, 113);
  EXPECT_EQ(command.options.limit.count(), 60);
}

TEST(HostOptionsTest, ALimitIsANumberOfSeconds) {
  EXPECT_EQ(Read({"--limit", "1", "RAM:"}).options.limit.count(), 1);
  EXPECT_EQ(Read({"--limit=86400", "RAM:"}).options.limit.count(), 86400);
  for (const char* const text : {"0", "86401", "-1", "1s", "1.5", "99999999999"}) {
    EXPECT_EQ(Refusal({"--limit", text, "RAM:"}),
              "--limit: \"" + std::string(text) + "\" is not a number of seconds, 1 to 86400");
  }
  EXPECT_EQ(Refusal({"--limit"}), "--limit needs a value");
  EXPECT_EQ(Refusal({"--limit=1", "--limit=1", "RAM:"}), "--limit is given twice");
}

TEST(HostOptionsTest, ACatalogueIsOneOfThreeNames) {
  EXPECT_EQ(Read({"RAM:"}).options.results.catalogue, "standard");
  for (const char* const name : {"standard", "further", "all"}) {
    EXPECT_EQ(Read({"--catalogue", name, "RAM:"}).options.results.catalogue, name);
  }
  for (const char* const name : {"", "Further", "47"}) {
    EXPECT_EQ(Refusal({"--catalogue", name, "RAM:"}),
              "--catalogue: \"" + std::string(name) +
                  "\" is not a catalogue; it is standard, further or all");
  }
  EXPECT_EQ(Read({"--catalogue=further", "RAM:", "TN=2"}).type, HostCommand::Type::kRun);
  for (const char* const word : {"TN=2", "ftn=1", "LTN=3"}) {
    EXPECT_EQ(Refusal({"--catalogue=all", "RAM:", word}),
              "--catalogue all excludes TN, FTN and LTN: each catalogue has numbers of its own");
  }
  EXPECT_EQ(Refusal({"--catalogue=all", "--trace=t", "RAM:"}),
            "--trace is of one run: it excludes --catalogue all");
  EXPECT_FALSE(Read({"RAM:"}).options.may_destroy);
  EXPECT_TRUE(Read({"--allow-destroy", "RAM:"}).options.may_destroy);
}

TEST(HostOptionsTest, WhatHappensBetweenGroups) {
  const RemountOptions none = Read({"RAM:"}).options.remount;
  EXPECT_FALSE(none.each || none.after_group || none.after_run);
  const RemountOptions all =
      Read({"--remount", "each", "--after-group", "check -q", "--after-run", "check", "RAM:"})
          .options.remount;
  EXPECT_TRUE(all.each);
  EXPECT_EQ(all.after_group, "check -q");
  EXPECT_EQ(all.after_run, "check");
  EXPECT_EQ(Refusal({"--remount", "Each", "RAM:"}), "--remount: \"Each\" is not known; it is each");
  EXPECT_EQ(Refusal({"--remount"}), "--remount needs a value");
  EXPECT_EQ(Refusal({"--after-group", "", "RAM:"}), "--after-group: it needs a command");
  EXPECT_EQ(Refusal({"--after-run", "", "RAM:"}), "--after-run: it needs a command");
  EXPECT_EQ(Refusal({"--after-run=a", "--after-run=b", "RAM:"}), "--after-run is given twice");
}

TEST(HostOptionsTest, NoWordsAtAllAreAnEmptyCommandLine) {
  const HostCommand command = Read({});
  ASSERT_EQ(command.type, HostCommand::Type::kRun);
  EXPECT_EQ(command.options.dos.arguments, "");
}

TEST(HostOptionsTest, EveryOption) {
  const HostCommand command =
      Read({"--mount", "DH0=ram,port=packet,volume=Work", "--trace", "calls.jsonl", "--no-delay",
            "--dos-version", "52.7", "--workbench", "--mount=DH1=dir:/tmp", "DH0:"});
  ASSERT_EQ(command.type, HostCommand::Type::kRun) << command.text;
  const HostOptions& options = command.options;
  ASSERT_EQ(options.mounts.size(), 2U);
  EXPECT_EQ(options.mounts[0].name, "DH0");
  EXPECT_EQ(options.mounts[0].handler, "ram");
  EXPECT_EQ(options.mounts[0].port, PortType::kPacket);
  EXPECT_EQ(options.mounts[1].name, "DH1");
  EXPECT_EQ(options.mounts[1].handler, "dir");
  EXPECT_EQ(options.mounts[1].argument, "/tmp");
  EXPECT_EQ(options.trace_file, "calls.jsonl");
  EXPECT_FALSE(options.dos.delays);
  EXPECT_EQ(options.exec.dos_version, 52);
  EXPECT_EQ(options.exec.dos_revision, 7);
  EXPECT_TRUE(options.exec.workbench);
  EXPECT_EQ(options.dos.arguments, "DH0:");
}

TEST(HostOptionsTest, TheFirstOtherWordEndsTheHostOptions) {
  HostCommand command = Read({"--no-delay", "RAM:", "--trace", "x", "--bogus"});
  ASSERT_EQ(command.type, HostCommand::Type::kRun);
  EXPECT_FALSE(command.options.trace_file.has_value());
  EXPECT_EQ(command.options.dos.arguments, "RAM: --trace x --bogus");

  command = Read({"-x", "--no-delay"});
  ASSERT_EQ(command.type, HostCommand::Type::kRun);
  EXPECT_TRUE(command.options.dos.delays);
  EXPECT_EQ(command.options.dos.arguments, "-x --no-delay");
}

TEST(HostOptionsTest, ALoneDoubleDashEndsThemToo) {
  HostCommand command = Read({"--no-delay", "--", "--trace", "x"});
  ASSERT_EQ(command.type, HostCommand::Type::kRun);
  EXPECT_EQ(command.options.dos.arguments, "--trace x");
  command = Read({"--"});
  ASSERT_EQ(command.type, HostCommand::Type::kRun);
  EXPECT_EQ(command.options.dos.arguments, "");
  command = Read({"RAM:", "--"});
  EXPECT_EQ(command.options.dos.arguments, "RAM: --");
}

TEST(HostOptionsTest, AValueMayLookLikeAnything) {
  const HostCommand command = Read({"--trace", "--no-delay", "RAM:"});
  ASSERT_EQ(command.type, HostCommand::Type::kRun) << command.text;
  EXPECT_EQ(command.options.trace_file, "--no-delay");
  EXPECT_TRUE(command.options.dos.delays);
  EXPECT_EQ(command.options.dos.arguments, "RAM:");
}

TEST(HostOptionsTest, ValuesAreTakenAsTheyAre) {
  EXPECT_EQ(Read({"--trace", "[a]", "x"}).options.trace_file, "[a]");
  EXPECT_EQ(Read({"--trace=a=b", "x"}).options.trace_file, "a=b");
  EXPECT_EQ(Read({"--trace", "", "x"}).options.trace_file, "");
}

TEST(HostOptionsTest, ADosLibraryThatNobodyOpensIsRefused) {
  EXPECT_EQ(Refusal({"--dos-version", "0.0", "RAM:"}),
            "--dos-version: 0.0 is too old, the tester opens no dos.library below version 50");
  EXPECT_EQ(Refusal({"--dos-version=49.65535", "RAM:"}),
            "--dos-version: 49.65535 is too old, the tester opens no dos.library below version 50");
  EXPECT_EQ(Read({"--dos-version", "50.0", "RAM:"}).options.exec.dos_version, 50);
}

TEST(HostOptionsTest, WrongOptionsAreRefused) {
  EXPECT_EQ(Refusal({"--bogus", "RAM:"}), "--bogus is not an option; --help lists them");
  EXPECT_EQ(Refusal({"--bogus=1", "--trace"}), "--bogus is not an option; --help lists them");
  EXPECT_EQ(Refusal({"--trac", "x"}), "--trac is not an option; --help lists them");
  EXPECT_EQ(Refusal({"--trace"}), "--trace needs a value");
  EXPECT_EQ(Refusal({"--mount"}), "--mount needs a value");
  EXPECT_EQ(Refusal({"--trace=", "--no-delay", "RAM:"}), "--trace needs a value");
  EXPECT_EQ(Refusal({"--no-delay=1", "RAM:"}), "--no-delay takes no value");
  EXPECT_EQ(Refusal({"--help=me"}), "--help takes no value");
  EXPECT_EQ(Refusal({"--trace", "a", "--trace", "b", "RAM:"}), "--trace is given twice");
  EXPECT_EQ(Refusal({"--dos-version", "1.1", "--dos-version=1.1", "RAM:"}),
            "--dos-version is given twice");
  EXPECT_EQ(Refusal({"--bo\n\x01gus"}), "--bo\n\x01gus is not an option; --help lists them");
  EXPECT_EQ(Refusal({"---"}), "--- is not an option; --help lists them");
  EXPECT_EQ(Refusal({"--=x"}), "-- is not an option; --help lists them");
}

TEST(HostOptionsTest, AFlagMayBeRepeated) {
  const HostCommand command = Read({"--no-delay", "--no-delay", "RAM:"});
  ASSERT_EQ(command.type, HostCommand::Type::kRun);
  EXPECT_FALSE(command.options.dos.delays);
}

TEST(HostOptionsTest, AVersionIsTwoNumbers) {
  const auto refused = [](const char* text) {
    return Refusal({"--dos-version", text, "RAM:"}) ==
           "--dos-version: \"" + std::string(text) +
               "\" is not a version and a revision, such as 53.113";
  };
  for (const char* const text : {"53", "53.", ".113", "53.113.1", "53.-1", "+53.1", "a.b", " 53.1",
                                 "53.1 ", "65536.1", "53.65536", "53,113", "."}) {
    EXPECT_TRUE(refused(text)) << text;
  }
  const HostCommand command = Read({"--dos-version=65535.0", "RAM:"});
  EXPECT_EQ(command.options.exec.dos_version, 65535);
  EXPECT_EQ(command.options.exec.dos_revision, 0);
}

TEST(HostOptionsTest, AWrongMountIsRefused) {
  EXPECT_TRUE(Refusal({"--mount", "DH0", "DH0:"}).starts_with("--mount: "));
  EXPECT_TRUE(Refusal({"--mount", "DH0=ram,port=serial", "DH0:"}).starts_with("--mount: "));
  EXPECT_TRUE(Refusal({"--mount", "[DH0]", "DH0:"}).find("[DH0]") != std::string::npos);
}

TEST(HostOptionsTest, HelpAndVersionAreAboutTheHostProgram) {
  const HostCommand help = Read({"--help"});
  EXPECT_EQ(help.type, HostCommand::Type::kAnswer);
  for (const char* const option : {"--mount", "--trace", "--no-delay", "--dos-version",
                                   "--workbench", "--help", "--version"}) {
    EXPECT_NE(help.text.find(option), std::string::npos) << option;
  }
  // The list of tests has 47 rows, but no option takes that number.
  EXPECT_NE(help.text.find("TN 47 is refused, FTN 46 runs the last two"), std::string::npos);
  EXPECT_TRUE(help.text.ends_with('\n'));
  const HostCommand version = Read({"--version"});
  EXPECT_EQ(version.type, HostCommand::Type::kAnswer);
  EXPECT_EQ(version.text, "quorle 53.24 for Linux\n");
  // Behind the first other word they are the tester's.
  EXPECT_EQ(Read({"RAM:", "--help"}).type, HostCommand::Type::kRun);
}

TEST(JoinArgumentsTest, PlainWordsStayUnchanged) {
  EXPECT_EQ(Joined({"RAM:", "TN=5", "?", "a\"b", "a*b", "x;y", "FTN", "3"}),
            "RAM: TN=5 ? a\"b a*b x;y FTN 3");
}

TEST(JoinArgumentsTest, WordsWithBlanksAreQuoted) {
  EXPECT_EQ(Joined({"Ram Disk:"}), "\"Ram Disk:\"");
  EXPECT_EQ(Joined({"a\tb", "c\nd"}), "\"a\tb\" \"c*Nd\"");
  EXPECT_EQ(Joined({"a \"b\" *c"}), "\"a *\"b*\" **c\"");
}

TEST(JoinArgumentsTest, AnEmptyWordStaysAWord) {
  EXPECT_EQ(Joined({""}), "\"\"");
  EXPECT_EQ(Joined({"", "a", ""}), "\"\" a \"\"");
}

TEST(JoinArgumentsTest, OnlyTheValueOfAKeywordIsQuoted) {
  EXPECT_EQ(Joined({"DEVICE=Ram Disk:"}), "DEVICE=\"Ram Disk:\"");
  EXPECT_EQ(Joined({"=Ram Disk:"}), "\"=Ram Disk:\"");
  EXPECT_EQ(Joined({"a b=c d"}), "\"a b=c d\"");
}

TEST(JoinArgumentsTest, AWordThatBeginsWithAQuoteWasQuotedOnPurpose) {
  EXPECT_EQ(Joined({"\"Ram Disk:\""}), "\"Ram Disk:\"");
  EXPECT_EQ(Joined({"\"open"}), "\"open");
}

TEST(HostOptionsTest, DeviationsAreListedOnRequest) {
  const char* const words[] = {"--list-deviations"};
  EXPECT_EQ(ReadHostCommand(words).type, HostCommand::Type::kListDeviations);
}

}  // namespace
}  // namespace quorle
