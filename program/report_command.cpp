#include "program/report_command.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string>
#include <vector>

#include "platform/constants.h"
#include "program/catalogues.h"
#include "results/check_list.h"
#include "results/expectations.h"
#include "results/explanations.h"
#include "results/report.h"
#include "results/run_record.h"
#include "results/summary.h"
#include "results/whole_file.h"

namespace quorle {
namespace {

/// One way to show runs.
struct ReportFormat {
  const char* option;
  const char* help;
  std::string (*render)(const ReportInput& input);
};

/// All of them. The first is the default.
constexpr ReportFormat kFormats[] = {
    {"--summary", "Counts and what is not as expected, as plain text. The default.", nullptr},
    {"--tap", "TAP, version 14.", TapReport},
    {"--junit", "JUnit's XML, as CI servers read it.", JunitReport},
    {"--markdown", "Markdown, for the summary of a CI job.", MarkdownReport},
    {"--html", "One HTML page that works offline, with the runs as columns.", HtmlReport},
};

/// What the words ask for.
struct ReportRequest {
  const ReportFormat* format = &kFormats[0];
  std::string expectations;  ///< a file; empty: none
  std::string output;        ///< a file; empty: standard output
  std::vector<std::string> events;
};

/// An option that names a file.
struct ReportFile {
  const char* option;
  const char* help;
  std::string ReportRequest::*path;
};

constexpr ReportFile kFiles[] = {
    {"--expect", "What is expected of the checks (TOML).", &ReportRequest::expectations},
    {"-o,--output",
     "Writes the report to a file, whole or not at all; to standard output unless given.",
     &ReportRequest::output},
};

/// Whether the console may be coloured: https://no-color.org
bool WantsColours(const ReportRequest& request, const Console& console) {
  const char* const no_color = std::getenv("NO_COLOR");
  return request.output.empty() && console.terminal() && (no_color == nullptr || *no_color == '\0');
}

/// Reads the words into `request`. False when there is nothing more to do; `status` is then the exit
/// status.
bool ReadRequest(std::span<const char* const> words, ReportRequest& request, Console& console,
                 std::int32_t& status) {
  CLI::App app(
      "Shows runs from their event files (--events). Exit status: 0 the report is written, whatever "
      "it says of the runs; 20 it is not.",
      "quorle report");
  bool given[std::size(kFormats)] = {};
  app.set_help_flag(kHelpOption, kHelpHelp);
  for (std::size_t i = 0; i < std::size(kFormats); ++i) {
    app.add_flag(kFormats[i].option, given[i], kFormats[i].help);
  }
  for (const ReportFile& file : kFiles) {
    app.add_option(file.option, request.*file.path, file.help)->type_name("FILE");
  }
  app.add_option("EVENTS", request.events, "Event files, in the order in which they are shown.")
      ->type_name("FILE")
      ->required();
  status = RETURN_FAIL;
  try {
    std::vector<std::string> reversed(words.rbegin(),
                                      words.rend());  // CLI11 takes them from the end
    app.parse(std::move(reversed));
  } catch (const CLI::CallForHelp&) {
    console.Print(app.help());
    status = RETURN_OK;
    return false;
  } catch (const CLI::ParseError& error) {
    console.Report(std::string("report: ") + error.what());
    return false;
  }
  const auto count = std::count(std::begin(given), std::end(given), true);
  if (count > 1) {
    console.Report("report: one format at a time");
    return false;
  }
  for (std::size_t i = 0; i < std::size(kFormats); ++i) {
    if (given[i]) request.format = &kFormats[i];
  }
  return true;
}

}  // namespace

CommandSyntax ReportSyntax() {
  CommandSyntax syntax{.options = {}, .operands = {"EVENTS", "..."}, .is_option_anywhere = true};
  for (const ReportFormat& format : kFormats) {
    syntax.options.push_back(
        {.name = format.option, .type = nullptr, .help = format.help, .read = nullptr});
  }
  for (const ReportFile& file : kFiles) {
    syntax.options.push_back(
        {.name = file.option, .type = "FILE", .help = file.help, .read = nullptr});
  }
  return syntax;
}

std::int32_t RunReport(std::span<const char* const> words, Console& console) {
  ReportRequest request;
  std::int32_t status = RETURN_OK;
  if (!ReadRequest(words, request, console, status)) return status;
  std::string problem;
  std::vector<RunRecord> runs;
  for (const std::string& path : request.events) {
    if (ReadEvents(path, runs, problem)) continue;
    console.Report(problem);
    return RETURN_FAIL;
  }
  Expectations expectations;
  const bool is_fine =
      request.expectations.empty() ||
      expectations.Load(request.expectations, ListChecks(KnownCatalogues()), problem);
  if (!is_fine) {
    console.Report(problem);
    return RETURN_FAIL;
  }
  const std::string report =
      request.format->render == nullptr
          ? SummaryReport(runs, expectations, WantsColours(request, console))
          : request.format->render(
                {.runs = runs, .expectations = expectations, .explain = ExplainInMarkdown});
  if (request.output.empty()) {
    console.Print(report);
    return console.failed() ? RETURN_FAIL : RETURN_OK;
  }
  if (WriteWholeFile(request.output, report, problem)) return RETURN_OK;
  console.Report(problem);
  return RETURN_FAIL;
}

}  // namespace quorle
