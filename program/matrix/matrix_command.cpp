#include "program/matrix/matrix_command.h"

#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/constants.h"
#include "program/catalogues.h"
#include "program/matrix/cell_folder.h"
#include "program/matrix/cell_runner.h"
#include "program/matrix/matrix_ctest.h"
#include "results/cell_names.h"
#include "results/check_list.h"
#include "results/expectation_file.h"
#include "results/expectations.h"
#include "results/explanations.h"
#include "results/judged_run.h"
#include "results/matrix_file.h"
#include "results/report.h"
#include "results/run_record.h"
#include "results/whole_file.h"

namespace quorle {
namespace {

constexpr const char* kMatrixFooter =
    "FILE says which devices are mounted, in which settings, and what is run there; docs/matrix.md\n"
    "describes it. Each run is a cell, which has an event file of its own; the cells that have one\n"
    "from an earlier time are not run again. What is named in FILE is seen from its folder.\n"
    "Exit status: 0 all cells are as expected, 10 some are not or it was interrupted, 20 FILE is\n"
    "wrong or a cell could not be run.";

/// A page of more runs is too large to be looked at, and to be made in little memory.
constexpr std::size_t kMostOnPage = 1000;
constexpr std::uint32_t kMostShards = 1'000'000;
constexpr std::uint32_t kMostAtATime = 1024;

constexpr const char* kAgain = "--failed";
constexpr const char* kList = "--list";

struct MatrixOptions {
  std::string file;
  std::string out;
  std::optional<std::string> ctest;
  std::optional<std::string> cell;
  std::uint32_t shard = 1;
  std::uint32_t shards = 1;
  std::uint32_t jobs = 0;  ///< 0: what the file says
  bool again = false;      ///< what is not as expected is run again
  bool list = false;
};

std::string ReadMatrixShard(std::string_view text, MatrixOptions& options) {
  const std::size_t at = text.find('/');
  if (at == std::string_view::npos || !ReadNumber(text.substr(0, at), options.shard) ||
      !ReadNumber(text.substr(at + 1), options.shards) || options.shard < 1 ||
      options.shard > options.shards || options.shards > kMostShards) {
    return "\"" + std::string(text) + "\" is not one of several shards such as 2/8";
  }
  return {};
}

std::vector<CommandOption> MatrixOptionList(MatrixOptions& options) {
  return {
      {.name = "--out",
       .type = "DIR",
       .help = "Where the event files and the page go; unless given a folder beside FILE, with the "
               "name of FILE and -cells instead of .toml.",
       .read =
           [&options](const std::string& text) {
             options.out = text;
             return std::string(text.empty() ? "it needs a name" : "");
           }},
      {.name = "--jobs",
       .type = "N",
       .help =
           "How many cells run at a time; unless given what FILE says, else the number of cores.",
       .read =
           [&options](const std::string& text) {
             const bool is_number = ReadNumber(std::string_view(text), options.jobs) &&
                                    options.jobs >= 1 && options.jobs <= kMostAtATime;
             return is_number
                        ? std::string()
                        : "\"" + text + "\" is not a number, 1 to " + std::to_string(kMostAtATime);
           }},
      {.name = "--shard",
       .type = "I/N",
       .help = "Runs part I of N: each cell is in one of them, on every machine the same.",
       .read = [&options](const std::string& text) { return ReadMatrixShard(text, options); }},
      {.name = kAgain,
       .type = nullptr,
       .help = "Runs the cells again that were not as expected.",
       .read =
           [&options](const std::string&) {
             options.again = true;
             return std::string();
           }},
      {.name = "--cell",
       .type = "ID",
       .help = "Runs one cell, whether or not it has an event file, and shows what it prints.",
       .read =
           [&options](const std::string& text) {
             options.cell = text;
             return std::string();
           }},
      {.name = kList,
       .type = nullptr,
       .help = "Lists the ids of the cells instead.",
       .read =
           [&options](const std::string&) {
             options.list = true;
             return std::string();
           }},
      {.name = "--ctest",
       .type = "DIR",
       .help = "Writes a CTest project with a test a cell there instead.",
       .read =
           [&options](const std::string& text) {
             options.ctest = text;
             return std::string(text.empty() ? "it needs a name" : "");
           }},
  };
}

/// "matrix-cells" for "matrix.toml".
std::string UsualFolder(std::string file) {
  constexpr std::string_view kTomlEnding = ".toml";
  if (file.ends_with(kTomlEnding)) file.resize(file.size() - kTomlEnding.size());
  return file + "-cells";
}

std::optional<std::int32_t> ReadMatrixOptions(std::span<const char* const> words,
                                              MatrixOptions& options, Console& console) {
  const std::vector<CommandOption> list = MatrixOptionList(options);
  const CommandLine line = SeparateOptions(
      words, list,
      {.name = "quorle matrix",
       .about = "Runs the cells of a matrix: mounts, settings, catalogues, searches.",
       .usage = "Usage: quorle matrix [options] FILE\n",
       .footer = kMatrixFooter,
       .version = {}});
  if (line.type == CommandLine::Type::kAnswer) {
    console.Print(line.text);
    return RETURN_OK;
  }
  std::string problem = line.text;
  if (problem.empty()) problem = ReadOptionValues(list, line);
  if (problem.empty() && line.rest.size() != 1) {
    problem = "one file is needed: quorle matrix [options] FILE";
  }
  const int instead = line.Has("--cell") + line.Has(kList) + line.Has("--ctest");
  if (problem.empty() && instead > 1) problem = "--cell, --list and --ctest exclude each other";
  if (!problem.empty()) {
    console.Report("matrix: " + problem);
    return RETURN_FAIL;
  }
  options.file = line.rest[0];
  if (options.out.empty()) options.out = UsualFolder(options.file);
  return std::nullopt;
}

std::size_t Cores() {
  cpu_set_t cores;
  CPU_ZERO(&cores);
  if (::sched_getaffinity(0, sizeof cores, &cores) != 0) return 1;
  return static_cast<std::size_t>(std::max(1, CPU_COUNT(&cores)));
}

std::string Hexadecimal(std::uint64_t number) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (int shift = 60; shift >= 0; shift -= 4) text += kDigits[number >> shift & 15U];
  return text;
}

std::string Tenths(std::chrono::steady_clock::duration time) {
  const auto tenths = std::chrono::duration_cast<std::chrono::milliseconds>(time).count() / 100;
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
}

/// A matrix from its file to its page.
class MatrixRun {
 public:
  MatrixRun(const MatrixOptions& options, Console& console)
      : options_(options), console_(console) {}

  std::int32_t Run() {
    if (!Load()) return RETURN_FAIL;
    if (options_.list) return List();
    if (options_.ctest) return WriteCtest();
    CellFolder folder(options_.out, matrix_.expect ? &expectations_ : nullptr, fingerprint_);
    std::string problem;
    if (!folder.Open(options_.cell ? CellFolder::Use::kShared : CellFolder::Use::kAlone, problem)) {
      return Fail(problem);
    }
    return options_.cell ? RunOne(folder) : RunAll(folder);
  }

 private:
  bool Load();
  bool LoadExpectations(std::string& problem);
  std::int32_t List();
  std::int32_t WriteCtest();
  std::int32_t RunOne(const CellFolder& folder);
  std::int32_t RunAll(CellFolder& folder);
  bool WritePage(const CellFolder& folder, std::string& problem);
  CellRunner::Settings RunnerSettings() const;
  std::int32_t Fail(const std::string& problem) {
    console_.Report(problem);
    return RETURN_FAIL;
  }

  const MatrixOptions& options_;
  Console& console_;
  Matrix matrix_;
  std::vector<const MatrixCell*> cells_;  ///< of this shard
  Expectations expectations_;
  std::string fingerprint_;
};

bool MatrixRun::LoadExpectations(std::string& problem) {
  if (!matrix_.expect) return true;
  const bool is_whole = matrix_.expect->starts_with('/');
  const std::string path = is_whole ? *matrix_.expect : matrix_.folder + "/" + *matrix_.expect;
  std::string text;
  if (!ReadExpectationText(path, text, problem)) return false;
  fingerprint_ = Hexadecimal(Fingerprint(text));
  return expectations_.Read(path, std::move(text), ListChecks(KnownCatalogues()), problem);
}

bool MatrixRun::Load() {
  std::string problem;
  if (!LoadMatrix(options_.file, matrix_, problem) || !LoadExpectations(problem)) {
    console_.Report(problem);
    return false;
  }
  for (const MatrixCell& cell : matrix_.cells) {
    if (options_.cell && cell.id != *options_.cell) continue;
    if (ShardOf(cell.id, options_.shards) == options_.shard) cells_.push_back(&cell);
  }
  if (!options_.cell || !cells_.empty()) return true;
  console_.Report("matrix: there is no cell " + QuotedBriefly(*options_.cell) +
                  " here; --list lists them");
  return false;
}

std::int32_t MatrixRun::List() {
  std::string text;
  for (const MatrixCell* const cell : cells_) text += cell->id + "\n";
  console_.Print(text);
  return RETURN_OK;
}

std::int32_t MatrixRun::WriteCtest() {
  std::error_code error;
  const std::string program = std::filesystem::read_symlink("/proc/self/exe", error).string();
  if (error) return Fail("matrix: cannot find out where this program is: " + error.message());
  const std::string file = std::filesystem::absolute(options_.file, error).string();
  if (error)
    return Fail("matrix: cannot find out where " + options_.file + " is: " + error.message());
  std::filesystem::create_directories(*options_.ctest, error);
  std::string problem;
  if (WriteWholeFile(*options_.ctest + "/CMakeLists.txt", CtestProject(cells_, program, file),
                     problem)) {
    return RETURN_OK;
  }
  return Fail(problem);
}

CellRunner::Settings MatrixRun::RunnerSettings() const {
  std::size_t jobs = options_.jobs != 0 ? options_.jobs : matrix_.jobs;
  if (jobs == 0) jobs = Cores();
  return {.jobs = jobs,
          .directory = matrix_.folder,
          .shows_output = options_.cell.has_value(),
          .is_terminal = ::isatty(STDERR_FILENO) == 1};
}

/// The exit status for these cells.
std::int32_t StatusFor(const CellCounts& counts) {
  if (counts.refused > 0) return RETURN_FAIL;
  return counts.not_fine > 0 || counts.interrupted ? RETURN_ERROR : RETURN_OK;
}

std::int32_t MatrixRun::RunOne(const CellFolder& folder) {
  CellRunner runner(folder, RunnerSettings(), console_);
  return StatusFor(runner.Run(cells_));
}

std::int32_t MatrixRun::RunAll(CellFolder& folder) {
  const auto began = std::chrono::steady_clock::now();
  folder.TakeLeftParts(matrix_.cells);
  std::vector<const MatrixCell*> left;
  CellCounts before;
  for (const MatrixCell* const cell : cells_) {
    const std::optional<CellEvent> ended = folder.Ended(*cell);
    if (!ended || (options_.again && ended->status != RETURN_OK)) {
      left.push_back(cell);
      continue;
    }
    ++(ended->status == RETURN_OK ? before.fine : before.not_fine);
    if (ended->status != RETURN_OK) {
      console_.Print("not as expected: " + cell->id +
                     (ended->how.empty() ? "" : ", which " + ended->how) + "\n");
    }
  }
  CellCounts counts;
  {
    CellRunner runner(folder, RunnerSettings(), console_);
    counts = runner.Run(left);
  }
  if (counts.interrupted) {
    console_.Report("matrix: interrupted; " + std::to_string(left.size() - counts.all()) + " of " +
                    Plural(cells_.size(), "cell") +
                    " are left, with which the same command goes on");
  }
  std::string line = Plural(cells_.size(), "cell") + ": " +
                     std::to_string(before.fine + counts.fine) + " as expected, " +
                     std::to_string(before.not_fine + counts.not_fine) + " not";
  if (counts.refused > 0) line += ", " + std::to_string(counts.refused) + " could not be run";
  if (before.all() > 0) line += "; " + std::to_string(before.all()) + " from an earlier time";
  console_.Print(line + "; " + Tenths(std::chrono::steady_clock::now() - began) + " seconds\n");
  counts.not_fine += before.not_fine;
  std::string problem;
  if (!counts.interrupted && !counts.lost && !WritePage(folder, problem)) return Fail(problem);
  return StatusFor(counts);
}

bool MatrixRun::WritePage(const CellFolder& folder, std::string& problem) {
  std::vector<const MatrixCell*> shown;
  std::vector<const MatrixCell*> fine;
  std::size_t ended_cells = 0;
  for (const MatrixCell* const cell : cells_) {
    const std::optional<CellEvent> ended = folder.Ended(*cell);
    if (!ended) continue;
    ++ended_cells;
    std::vector<const MatrixCell*>& list = ended->status == RETURN_OK ? fine : shown;
    if (list.size() < kMostOnPage) list.push_back(cell);
  }
  fine.resize(std::min(fine.size(), kMostOnPage - shown.size()));
  shown.insert(shown.end(), fine.begin(), fine.end());
  std::sort(shown.begin(), shown.end());  // they are in one list, in its order
  std::vector<RunRecord> runs;
  for (const MatrixCell* const cell : shown) {
    if (!ReadEvents(folder.FileOf(*cell), runs, problem)) return false;
  }
  if (runs.empty()) return true;
  const std::string page = folder.path() + "/matrix.html";
  const std::string report =
      HtmlReport({.runs = runs, .expectations = expectations_, .explain = ExplainInMarkdown});
  if (!WriteWholeFile(page, report, problem)) return false;
  console_.Print("page: " + page);
  if (shown.size() < ended_cells) {
    console_.Print(", with " + std::to_string(shown.size()) + " of " + Plural(ended_cells, "cell") +
                   ": first those that are not as expected");
  }
  console_.Print("\n");
  return true;
}

}  // namespace

CommandSyntax MatrixSyntax() {
  MatrixOptions unused;
  return {.options = WithoutReaders(MatrixOptionList(unused)), .operands = {"FILE"}};
}

std::int32_t RunMatrix(std::span<const char* const> words, Console& console) {
  MatrixOptions options;
  if (const auto status = ReadMatrixOptions(words, options, console)) return *status;
  return MatrixRun(options, console).Run();
}

}  // namespace quorle
