#include "handlers/deviate/further_notices.h"

#include <algorithm>
#include <iterator>

namespace quorle::deviate {
namespace {

struct FurtherNotice {
  std::string_view deviation;
  std::string_view checks;  ///< in the order of the catalogue
};

// In the order of the deviations' names.
constexpr FurtherNotice kNotices[] = {
    {"scan-stops-after-104", "ExamineDir.ThousandsOfEntries"},
};

}  // namespace

std::string_view FurtherNotices(std::string_view name) {
  const auto* const found =
      std::find_if(std::begin(kNotices), std::end(kNotices),
                   [name](const FurtherNotice& notice) { return notice.deviation == name; });
  return found == std::end(kNotices) ? std::string_view() : found->checks;
}

}  // namespace quorle::deviate
