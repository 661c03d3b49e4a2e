#include "results/report.h"

namespace quorle {

std::string HtmlReport(const ReportInput& input) {
  return MarkdownReport(input);
}

}  // namespace quorle
