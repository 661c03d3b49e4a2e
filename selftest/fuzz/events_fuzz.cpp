#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "results/event_json.h"
#include "results/report.h"
#include "results/run_record.h"
#include "results/summary.h"

// Event files, and what reports make of them: the input is one, and then it is the texts of another.

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

/// A file without a name.
class MemoryFile {
 public:
  explicit MemoryFile(std::string_view text) : descriptor_(memfd_create("events", 0)) {
    Require(descriptor_ >= 0);
    Require(write(descriptor_, text.data(), text.size()) == static_cast<ssize_t>(text.size()));
  }
  ~MemoryFile() { close(descriptor_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

/// Whether no terminal would obey anything in `report`.
bool MovesNoCursor(const std::string& report) {
  for (const char c : report) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte < 0x20 && c != '\n') || byte == 0x7F) return false;
  }
  return true;
}

template <class Type>
void RequireTheSameAgain(const Type& event) {
  const std::string line = quorle::ToJsonLine(event);
  std::string problem;
  const auto again =
      quorle::ReadJsonLine(std::string_view(line).substr(0, line.size() - 1), problem);
  Require(again.has_value() && quorle::ToJsonLine(*again) == line);
}

void RequireReports(const std::vector<quorle::RunRecord>& runs) {
  const quorle::Expectations expectations;
  const quorle::ReportInput input = {.runs = runs, .expectations = expectations, .explain = {}};
  Require(MovesNoCursor(quorle::SummaryReport(runs, expectations, false)));
  Require(MovesNoCursor(quorle::TapReport(input)));
  Require(MovesNoCursor(quorle::JunitReport(input)));
  Require(MovesNoCursor(quorle::MarkdownReport(input)));
  Require(MovesNoCursor(quorle::HtmlReport(input)));
}

/// The stream of a run whose texts are the lines of the input, each used where the next text is due.
std::string StreamOfTexts(std::string_view texts) {
  std::size_t place = 0;
  const auto next = [&] {
    if (place >= texts.size()) place = 0;
    const std::size_t end = std::min(texts.find('\n', place), texts.size());
    const std::string_view text = texts.substr(place, end - place);
    place = end + 1;
    return std::string(text);
  };
  quorle::RunEvent run;
  run.device = next();
  run.arguments = {next(), next()};
  std::string stream = quorle::ToJsonLine(run);
  for (std::size_t i = 0; i < quorle::kVerdictCount; ++i) {
    quorle::CheckEvent check;
    check.id = next();
    check.catalogue = next();
    check.verdict = static_cast<quorle::Verdict>(i);
    check.cause = next();
    check.diagnostics.push_back({.type = quorle::DiagnosticClass::kError, .text = next()});
    stream += quorle::ToJsonLine(check);
  }
  return stream + quorle::ToJsonLine(quorle::LeftBehindEvent{.id = next(), .object = next()});
}

/// Reads the stream and makes every report of it; whether it is one.
bool Report(std::string_view stream) {
  const MemoryFile file(stream);
  std::vector<quorle::RunRecord> runs;
  std::string problem;
  const bool ok = quorle::ReadEvents(file.path(), runs, problem);
  Require(ok == problem.empty() && ok != runs.empty());
  Require(problem.find('\n') == std::string::npos);
  if (!ok) {
    Require(problem.find(file.path()) != std::string::npos);
    return false;
  }
  for (const quorle::RunRecord& run : runs) {
    for (const quorle::CheckEvent& check : run.checks) RequireTheSameAgain(check);
    for (const quorle::ComplaintEvent& complaint : run.complaints) RequireTheSameAgain(complaint);
  }
  RequireReports(runs);
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  Report(input);
  Require(Report(StreamOfTexts(input)));
  return 0;
}
