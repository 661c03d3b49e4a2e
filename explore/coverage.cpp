#include "explore/coverage.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <limits>
#include <map>
#include <span>

#include "explore/argument_class.h"

namespace quorle::explore {
namespace {

/// The codes that have a cell of their own.
constexpr auto kCountedCodes = std::to_array<std::int32_t>(
    {103, 114, 115, 116, 120, 202, 203, 204, 205, 207, 209, 210, 211, 212, 213, 214, 215,
     216, 217, 218, 219, 220, 221, 222, 223, 224, 226, 232, 233, 236, 240, 241, 242});
constexpr std::size_t kOutcomes = kCountedCodes.size() + 3;  // "ok", "0" and "other"

/// Of each code below 256 its outcome.
constexpr auto kOutcomeOfCode = [] {
  std::array<std::uint8_t, 256> outcomes{};
  outcomes.fill(kOutcomes - 1);
  outcomes[0] = 1;
  for (std::size_t i = 0; i != kCountedCodes.size(); ++i) {
    outcomes[static_cast<std::size_t>(kCountedCodes[i])] = static_cast<std::uint8_t>(i + 2);
  }
  return outcomes;
}();

/// Calls `take` with each cell that there is.
template <class Take>
void ForEachCell(const Take& take) {
  for (const OperationRow& row : Operations()) {
    const ClassedArguments classed = ClassedArgumentsOf(row.operation);
    for (const std::uint8_t place : std::span(classed.place, classed.count)) {
      const std::size_t classes = ClassesOf(row.operation, place).size();
      for (std::size_t index = 0; index != classes; ++index) {
        for (std::size_t outcome = 0; outcome != kOutcomes; ++outcome) {
          take(Cell{row.operation, place, static_cast<std::uint8_t>(index),
                    static_cast<std::uint8_t>(outcome)});
        }
      }
    }
  }
}

/// The next word of `line`, which it leaves there without.
std::string_view TakeWord(std::string_view& line) {
  line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
  const std::string_view word = line.substr(0, line.find(' '));
  line.remove_prefix(word.size());
  return word;
}

/// A text of a file, as it can be shown in one line.
std::string Shown(std::string_view text) {
  constexpr std::size_t kMost = 40;
  std::string shown;
  for (const char c : text.substr(0, kMost)) shown += c >= ' ' && c <= '~' ? c : '?';
  return text.size() > kMost ? shown + "..." : shown;
}

}  // namespace

std::vector<std::string> OutcomeNames() {
  std::vector<std::string> names{"ok", "0"};
  for (const std::int32_t code : kCountedCodes) names.push_back(std::to_string(code));
  names.emplace_back("other");
  return names;
}

std::uint8_t OutcomeIndexOf(const Outcome& outcome) {
  if (outcome.done) return 0;
  const auto code = static_cast<std::uint32_t>(outcome.code);
  return code < kOutcomeOfCode.size() ? kOutcomeOfCode[code] : kOutcomeOfCode[255];
}

std::string ClassText(const Cell& cell) {
  const std::string_view name = ClassedNameOf(cell.operation, cell.place);
  const std::string_view class_name = ClassesOf(cell.operation, cell.place)[cell.class_index];
  std::string text(name);
  if (name.empty()) return text.append(class_name);
  // The second argument of that name has its number.
  int count = 1;
  for (std::uint8_t place = 0; place != cell.place; ++place) {
    if (ClassedNameOf(cell.operation, place) == name) ++count;
  }
  if (count != 1) text += std::to_string(count);
  return text.append(":").append(class_name);
}

std::string CellText(const Cell& cell) {
  std::string text(RowOf(cell.operation).id);
  return text.append(" ").append(ClassText(cell)).append(" ").append(OutcomeNames()[cell.outcome]);
}

CoverageTable::CoverageTable() {
  std::size_t size = 0;
  for (const OperationRow& row : Operations()) {
    const ClassedArguments classed = ClassedArgumentsOf(row.operation);
    for (const std::uint8_t place : std::span(classed.place, classed.count)) {
      begin_[static_cast<std::size_t>(row.operation)][place] = size;
      size += ClassesOf(row.operation, place).size() * kOutcomes;
    }
  }
  counts_.resize(size);
}

std::size_t CoverageTable::IndexOf(const Cell& cell) const {
  return begin_[static_cast<std::size_t>(cell.operation)][cell.place] +
         cell.class_index * kOutcomes + cell.outcome;
}

void CoverageTable::OnCall(const Call& call, const Outcome&, const Outcome& device) {
  const std::uint8_t outcome = OutcomeIndexOf(device);
  const ClassedArguments classed = ClassedArgumentsOf(call.operation);
  for (const std::uint8_t place : std::span(classed.place, classed.count)) {
    ++counts_[IndexOf({call.operation, place, ClassOf(call, place), outcome})];
  }
}

std::string CoverageTable::Text() const {
  std::vector<std::string> lines;
  ForEachCell([&](const Cell& cell) {
    const std::uint64_t count = CountOf(cell);
    if (count != 0) lines.push_back(CellText(cell) + " " + std::to_string(count) + "\n");
  });
  std::sort(lines.begin(), lines.end());
  std::string text;
  for (const std::string& line : lines) text += line;
  return text;
}

std::string CoverageTable::Add(std::string_view text) {
  std::map<std::string, std::size_t, std::less<>> cells;
  ForEachCell([&](const Cell& cell) { cells.emplace(CellText(cell), IndexOf(cell)); });
  std::vector<std::pair<std::size_t, std::uint64_t>> found;
  for (std::size_t number = 1; !text.empty(); ++number) {
    const auto problem = [number](const std::string& what) {
      return "line " + std::to_string(number) + ": " + what;
    };
    const std::size_t end = text.find('\n');
    if (end == std::string_view::npos) return problem("it has no end: the file is not whole");
    std::string_view rest = text.substr(0, end);
    text.remove_prefix(end + 1);
    if (rest.empty() || rest.front() == '#') continue;
    std::string name(TakeWord(rest));
    for (int i = 0; i != 2; ++i) name.append(" ").append(TakeWord(rest));
    const auto cell = cells.find(name);
    if (cell == cells.end()) return problem("there is no cell \"" + Shown(name) + "\"");
    const std::string_view digits = TakeWord(rest);
    std::uint64_t count = 0;
    const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), count);
    const bool is_number = read.ec == std::errc() && read.ptr == digits.data() + digits.size();
    if (!is_number || !TakeWord(rest).empty()) {
      return problem("\"" + Shown(digits.data() == nullptr ? std::string_view() : digits) +
                     "\" is no count");
    }
    found.emplace_back(cell->second, count);
  }
  for (const auto& [index, count] : found) {
    std::uint64_t& sum = counts_[index];
    sum = count > std::numeric_limits<std::uint64_t>::max() - sum
              ? std::numeric_limits<std::uint64_t>::max()
              : sum + count;
  }
  return {};
}

}  // namespace quorle::explore
