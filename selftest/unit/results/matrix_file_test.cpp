#include "results/matrix_file.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "results/cell_names.h"

namespace quorle::selftest {
namespace {

const std::string kRamMount = "[[mount]]\nname = \"ram\"\ndevice = \"RAM:\"\n";
const std::string kTwoSettings =
    "[[setting]]\nname = \"plain\"\n[[setting]]\nname = \"ni\"\nwords = \"NI  TN=34\"\n";

Matrix Parsed(const std::string& text) {
  Matrix matrix;
  std::string problem;
  EXPECT_TRUE(ParseMatrix("folder/matrix.toml", text, matrix, problem)) << problem;
  EXPECT_EQ(problem, "");
  return matrix;
}

std::string MatrixProblem(const std::string& text) {
  Matrix matrix;
  matrix.path = "as it was";
  std::string problem;
  EXPECT_FALSE(ParseMatrix("matrix.toml", text, matrix, problem));
  EXPECT_EQ(matrix.path, "as it was");
  EXPECT_TRUE(problem.starts_with("matrix.toml:")) << problem;
  return problem.substr(std::string("matrix.toml:").size());
}

std::vector<std::string> CellIds(const std::string& text) {
  std::vector<std::string> ids;
  for (const MatrixCell& cell : Parsed(text).cells) ids.push_back(cell.id);
  return ids;
}

using WordList = std::vector<std::string>;

TEST(MatrixFileTest, AMountAloneIsOneCell) {
  const Matrix matrix = Parsed(kRamMount);
  ASSERT_EQ(matrix.cells.size(), 1U);
  EXPECT_EQ(matrix.cells[0].id, "ram/plain/standard");
  EXPECT_EQ(matrix.cells[0].words, (WordList{"RAM:"}));
  EXPECT_EQ(matrix.cells[0].limit, std::chrono::seconds(300));
  EXPECT_EQ(matrix.cells[0].resource, "");
  EXPECT_EQ(matrix.folder, "folder");
  EXPECT_EQ(matrix.jobs, 0U);
  EXPECT_FALSE(matrix.expect);
}

TEST(MatrixFileTest, CellsAreMountsSettingsAndRuns) {
  const Matrix matrix = Parsed(
      "expect = \"quorle.toml\"\njobs = 3\n[explore]\nseeds = \"7..8\"\noptions = \"--calls 9\"\n"
      "[[mount]]\nname = \"my\"\nmount = [\"DH0=dir:/a b\", \"DH1=ram\"]\ndevice = \"DH0:\"\n"
      "resource = \"disk\"\n[[setting]]\nname = \"ni\"\nwords = \" NI\\tTN=34 \"\n"
      "options = [\"--after-run\", \"fsck -n x\"]\nsearch = \"--remount each\"\n");
  ASSERT_EQ(matrix.cells.size(), 3U);
  EXPECT_EQ(matrix.jobs, 3U);
  EXPECT_EQ(matrix.expect, "quorle.toml");
  EXPECT_EQ(matrix.cells[0].id, "my/ni/standard");
  EXPECT_EQ(matrix.cells[0].words,
            (WordList{"--mount", "DH0=dir:/a b", "--mount", "DH1=ram", "--expect", "quorle.toml",
                      "--after-run", "fsck -n x", "DH0:", "NI", "TN=34"}));
  EXPECT_EQ(matrix.cells[2].id, "my/ni/explore-8");
  EXPECT_EQ(matrix.cells[2].words,
            (WordList{"explore", "--mount", "DH0=dir:/a b", "--mount", "DH1=ram", "--expect",
                      "quorle.toml", "--calls", "9", "--remount", "each", "--seed", "8", "DH0:"}));
  EXPECT_EQ(matrix.cells[2].resource, "disk");
}

TEST(MatrixFileTest, WhatIsExcludedAndIncludedAgain) {
  const std::string text = kRamMount + kTwoSettings + "[explore]\nseeds = \"1..2\"\n";
  EXPECT_EQ(CellIds(text + "[[exclude]]\nsetting = \"ni\"\nrun = \"explore-*\"\n"),
            (WordList{"ram/plain/standard", "ram/plain/explore-1", "ram/plain/explore-2",
                      "ram/ni/standard"}));
  EXPECT_EQ(CellIds(text + "[[exclude]]\nmount = \"r*\"\n[[include]]\nsetting = \"ni\"\nrun = "
                           "\"*-2\"\n"),
            (WordList{"ram/ni/explore-2"}));
}

TEST(MatrixFileTest, TheLastLimitThatFitsHolds) {
  const Matrix matrix = Parsed("seconds = 40\n" + kRamMount + kTwoSettings +
                               "[[limit]]\nsetting = \"*\"\nseconds = 50\n[[limit]]\nsetting = "
                               "\"ni\"\nseconds = 60\n");
  EXPECT_EQ(matrix.cells[0].limit, std::chrono::seconds(50));
  EXPECT_EQ(matrix.cells[1].limit, std::chrono::seconds(60));
  EXPECT_EQ(Parsed("seconds = 40\n" + kRamMount).cells[0].limit, std::chrono::seconds(40));
}

TEST(MatrixFileTest, WhatIsWrongIsNamedWithItsLine) {
  const struct {
    std::string text;
    std::string problem;
  } kWrong[] = {
      {"", "1: there is no [[mount]]"},
      {"catalogues = []\n" + kRamMount, "1: there is no cell to run"},
      {"mount = 1", "1: \"mount\" is no list of tables: [[mount]] in a line of its own"},
      {"mount = [1]", "1: \"mount\" is no list of tables: [[mount]] in a line of its own"},
      {"mounts = 1",
       "1: \"mounts\" is no key; there are [[mount]], [[setting]], catalogues, [explore], "
       "[[exclude]], [[include]], [[limit]], expect, seconds, jobs"},
      {"[[mount]]\ndevice = \"RAM:\"", "1: \"name\" is missing"},
      {"[[mount]]\nname = \"ram\"", "1: \"device\" is missing"},
      {"[[mount]]\nname = 4", "2: \"name\" is no text"},
      {"[[mount]]\nname = \" \"", "2: \"name\" is empty"},
      {"[[mount]]\nname = \"a/b\"",
       "2: \"a/b\" is no name: up to 64 letters, digits, _, + and -, which is not the first"},
      {"[[mount]]\nname = \"..\"",
       "2: \"..\" is no name: up to 64 letters, digits, _, + and -, which is not the first"},
      {"[[mount]]\nname = \"a\"\ndevice = \"--help\"", "1: \"--help\" is no device such as DH0:"},
      {"[[mount]]\nname = \"a\"\ndevice = \"R:\"\nresource = \"a;b\"",
       "4: \"a;b\" is no name of a resource"},
      {"[[mount]]\nname = \"a\"\nmount = 7", "3: \"mount\" is neither a text nor a list of texts"},
      {"[[mount]]\nname = \"a\"\nmount = [7]",
       "3: \"mount\" is neither a text nor a list of texts"},
      {"[[mount]]\nname = \"a\"\ndevice = \"R\\u0000:\"", "3: a text has a zero byte in it"},
      {kRamMount + kRamMount, "5: the mount \"ram\" is there twice, at first in line 1"},
      {kRamMount + kTwoSettings + kTwoSettings,
       "10: the setting \"plain\" is there twice, at first in line 4"},
      {kRamMount + "[[setting]]\nname = \"a\"\noptions = \"--no-delay --events=x\"",
       "6: --events is not for all cells of a matrix"},
      {kRamMount + "[[setting]]\nname = \"a\"\nword = \"\"",
       "6: \"word\" is no key; there are name, words, options, search"},
      {"catalogues = \"standard\"\n" + kRamMount, "1: \"catalogues\" is no list of texts"},
      {"catalogues = [\"first\"]\n" + kRamMount,
       "1: \"first\" is no catalogue; there are standard, further and all"},
      {"catalogues = [\"standard\",\n\"standard\"]\n" + kRamMount,
       "2: the catalogue \"standard\" is there twice"},
      {"explore = 1\n" + kRamMount, "1: \"explore\" is no table"},
      {kRamMount + "[explore]\noptions = \"\"", "4: \"seeds\" is missing"},
      {kRamMount + "[explore]\nseeds = \"5..1\"",
       "5: \"5..1\" is no range of seeds such as \"1..5\""},
      {kRamMount + "[explore]\nseeds = \"-1..5\"",
       "5: \"-1..5\" is no range of seeds such as \"1..5\""},
      {kRamMount + "[explore]\nseeds = \"1..100001\"", "5: there are more than 100000 seeds"},
      {kRamMount + kTwoSettings + "[explore]\nseeds = \"1..100000\"",
       "1: there are more than 100000 cells"},
      {"seconds = 0\n" + kRamMount, "1: \"seconds\" is not a number, 1 to 86400"},
      {"jobs = \"2\"\n" + kRamMount, "1: \"jobs\" is not a number, 1 to 1024"},
      {kRamMount + "[[exclude]]\n", "4: it names no mount, no setting and no run"},
      {kRamMount + "[[exclude]]\nmount = \"rom\"", "4: \"rom\" fits no mount"},
      {kRamMount + "[[include]]\nrun = \"explore-1\"", "4: \"explore-1\" fits no run"},
      {kRamMount + "[[limit]]\nmount = \"ram\"", "4: \"seconds\" is missing"},
      {kRamMount + "[[exclude]]\nseconds = 5",
       "5: \"seconds\" is no key; there are mount, setting, run"},
  };
  for (const auto& wrong : kWrong)
    EXPECT_EQ(MatrixProblem(wrong.text), wrong.problem) << wrong.text;
}

TEST(MatrixFileTest, EachCellHasAFileOfItsOwn) {
  EXPECT_EQ(CellFileName("ram-vector/ni/explore-7"), "ram-vector.ni.explore-7.jsonl");
}

TEST(MatrixFileTest, ShardsAreTheSameEverywhere) {
  // FNV-1a of "a" is in its reference.
  EXPECT_EQ(Fingerprint("a"), 0xAF63DC4C8601EC8CU);
  EXPECT_EQ(ShardOf("a", 1), 1U);
  EXPECT_EQ(ShardOf("a", 2), 1U);
  EXPECT_EQ(ShardOf("a", 1000), 0xAF63DC4C8601EC8CU % 1000 + 1);
  std::map<std::uint32_t, int> sizes;
  for (int i = 0; i < 8000; ++i) ++sizes[ShardOf("ram/plain/explore-" + std::to_string(i), 8)];
  ASSERT_EQ(sizes.size(), 8U);
  for (const auto& [shard, size] : sizes) EXPECT_NEAR(size, 1000, 200) << shard;
}

}  // namespace
}  // namespace quorle::selftest
