#include <charconv>
#include <cstdint>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "explore/traits.h"

namespace quorle::explore {
namespace {

/// The traits that are numbers or truths, as a file has them.
std::map<std::string, std::string> FactsOf(const Traits& traits) {
  const auto truth = [](bool is) { return std::string(is ? "yes" : "no"); };
  const auto hex = [](std::uint32_t bits) {
    std::ostringstream text;
    text << "0x" << std::hex << bits;
    return text.str();
  };
  std::map<std::string, std::string> facts{
      {"links-to-directories", truth(traits.links_to_directories)},
      {"root-attributes", truth(traits.root_attributes)},
      {"name-limit", std::to_string(traits.name_limit)},
      {"comment-limit", std::to_string(traits.comment_limit)},
      {"target-limit", std::to_string(traits.target_limit)},
      {"protection", hex(traits.protection)},
      {"owner", hex(traits.owner)},
      {"group", hex(traits.group)},
      {"date-ticks", std::to_string(traits.date_ticks)},
      {"own-clock", truth(traits.own_clock)},
      {"numbers-objects", truth(traits.numbers_objects)},
      {"marks-links", truth(traits.marks_links)},
      {"counts-links", truth(traits.counts_links)},
      {"shows-targets", truth(traits.shows_targets)},
      {"examines-held", truth(traits.examines_held)},
      {"notifies", truth(traits.notifies)},
      {"counts-users", truth(traits.counts_users)},
      {"frees-blocks", truth(traits.frees_blocks)},
      {"zeroes-grown", truth(traits.zeroes_grown)},
      {"size-limit", std::to_string(traits.size_limit)}};
  for (const OperationRow& row : Operations()) {
    facts.emplace("knows-" + std::string(row.id), truth(traits.Knows(row.operation)));
  }
  return facts;
}

/// Whether `value` is of the kind of `fact`: a truth, a number, or bits.
bool IsLike(const std::string& fact, const std::string& value) {
  if (fact == "yes" || fact == "no") return value == "yes" || value == "no";
  const bool is_hex = fact.starts_with("0x");
  if (is_hex != value.starts_with("0x")) return false;
  const char* const end = value.data() + value.size();
  std::uint64_t number = 0;
  const auto read = std::from_chars(value.data() + (is_hex ? 2 : 0), end, number, is_hex ? 16 : 10);
  return read.ec == std::errc() && read.ptr == end;
}

constexpr std::string_view kTraitsHead = "quorle-traits 1";

}  // namespace

std::vector<std::string> TraitLines(const Traits& traits) {
  std::vector<std::string> lines;
  std::string unknown;
  for (const OperationRow& row : Operations()) {
    if (!traits.Knows(row.operation))
      unknown += (unknown.empty() ? "" : ", ") + std::string(row.id);
  }
  if (!unknown.empty()) lines.push_back("cannot: " + unknown);
  const std::map<std::string, std::string> usual = FactsOf(Traits());
  for (const auto& [name, value] : FactsOf(traits)) {
    if (name.starts_with("knows-") || usual.at(name) == value) continue;
    lines.push_back(name + " " + value + " (reference: " + usual.at(name) + ")");
  }
  return lines;
}

std::string TraitsText(const Traits& traits) {
  std::string text(kTraitsHead);
  text += '\n';
  for (const auto& [name, value] : FactsOf(traits)) text += name + " " + value + "\n";
  return text;
}

bool HoldTraits(const Traits& traits, const std::string& text, std::vector<std::string>& unlike,
                std::string& problem) {
  std::istringstream lines(text);
  std::string line;
  int number = 1;
  const auto refuse = [&](const std::string& what) {
    problem = "line " + std::to_string(number) + ": " + what;
    return false;
  };
  if (!std::getline(lines, line) || line != kTraitsHead) {
    return refuse("no file of traits: it does not begin with \"" + std::string(kTraitsHead) + "\"");
  }
  std::map<std::string, std::string> facts = FactsOf(traits);
  for (number = 2; std::getline(lines, line); ++number) {
    if (lines.eof()) return refuse("it has no end: the file is not whole");
    const std::size_t blank = line.find(' ');
    const auto fact = facts.find(line.substr(0, blank));
    if (blank == std::string::npos || fact == facts.end()) {
      return refuse("there is no such trait, or it was there before");
    }
    const std::string value = line.substr(blank + 1);
    if (!IsLike(fact->second, value)) return refuse(fact->first + " has no such value");
    if (fact->second != value) {
      unlike.push_back(fact->first + " is " + fact->second + ", and was " + value);
    }
    facts.erase(fact);
  }
  if (!facts.empty()) return refuse("the file ends before " + facts.begin()->first);
  return true;
}

}  // namespace quorle::explore
