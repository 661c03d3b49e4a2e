#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "results/event_json.h"
#include "results/report.h"
#include "results/run_record.h"
#include "results/summary.h"

// Event files, and what reports make of them.

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

/// A file without a name.
class MemoryFile {
 public:
  MemoryFile(const std::uint8_t* data, std::size_t size) : descriptor_(memfd_create("events", 0)) {
    Require(descriptor_ >= 0);
    Require(write(descriptor_, data, size) == static_cast<ssize_t>(size));
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const MemoryFile file(data, size);
  std::vector<quorle::RunRecord> runs;
  std::string problem;
  const bool ok = quorle::ReadEvents(file.path(), runs, problem);
  Require(ok == problem.empty() && ok != runs.empty());
  Require(problem.find('\n') == std::string::npos);
  if (!ok) {
    Require(problem.find(file.path()) != std::string::npos);
    return 0;
  }
  for (const quorle::RunRecord& run : runs) {
    for (const quorle::CheckEvent& check : run.checks) RequireTheSameAgain(check);
    for (const quorle::ComplaintEvent& complaint : run.complaints) RequireTheSameAgain(complaint);
  }
  const quorle::Expectations expectations;
  const quorle::ReportInput input = {.runs = runs, .expectations = expectations, .explain = {}};
  Require(MovesNoCursor(quorle::SummaryReport(runs, expectations, false)));
  Require(MovesNoCursor(quorle::TapReport(input)));
  Require(MovesNoCursor(quorle::JunitReport(input)));
  Require(MovesNoCursor(quorle::MarkdownReport(input)));
  Require(MovesNoCursor(quorle::HtmlReport(input)));
  return 0;
}
