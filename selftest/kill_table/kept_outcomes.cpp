#include "selftest/kill_table/kept_outcomes.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <utility>

#include "selftest/support/transcripts.h"

namespace quorle::selftest {

bool IsToBeApproved(std::string_view name) {
  const char* const names = std::getenv("QUORLE_APPROVE");
  if (names == nullptr) return false;
  if (std::string_view(names) == "all") return true;
  return ("," + std::string(names) + ",").find("," + std::string(name) + ",") != std::string::npos;
}

KeptOutcomes::KeptOutcomes(std::filesystem::path path, std::vector<std::string> names)
    : path_(std::move(path)), names_(std::move(names)) {
  std::string* block = nullptr;
  std::istringstream lines(ReadFile(path_));
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("== ")) {
      block = &blocks_[line.substr(3)];
    } else if (block != nullptr && !line.empty()) {
      block->append(line).append("\n");
    }
  }
}

const std::string* KeptOutcomes::Find(std::string_view name) const {
  const auto found = blocks_.find(name);
  return found == blocks_.end() ? nullptr : &found->second;
}

void KeptOutcomes::Approve(std::string_view name, const std::string& outcomes) {
  blocks_[std::string(name)] = outcomes;
  std::ofstream file(path_, std::ios::binary);
  const char* separator = "";
  for (const std::string& known : names_) {
    const std::string* const block = Find(known);
    if (block == nullptr) continue;
    file << separator << "== " << known << "\n" << *block;
    separator = "\n";
  }
}

std::string KeptOutcomes::Stale() const {
  for (const auto& [name, block] : blocks_) {
    if (std::find(names_.begin(), names_.end(), name) == names_.end()) return name;
  }
  return {};
}

std::string VolumesOf(TestBench& bench) {
  std::string volumes = bench.Volumes();
  constexpr std::string_view kValidating = "state=81";
  for (std::size_t at = volumes.find(kValidating); at != std::string::npos;
       at = volumes.find(kValidating)) {
    volumes.replace(at, kValidating.size(), "state=82");
  }
  return volumes;
}

std::string OneLine(const std::string& text) {
  std::string line;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\033') {
      i = std::min(text.find('m', i), text.size());
    } else if (text[i] > ' ') {
      line += text[i];
    } else if (!line.empty() && !line.ends_with(' ')) {
      line += ' ';
    }
  }
  if (line.ends_with(' ')) line.pop_back();
  return line;
}

}  // namespace quorle::selftest
