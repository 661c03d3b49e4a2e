#include "results/matrix_file.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <exception>
#include <limits>
#include <system_error>
#include <utility>

#include "results/cell_names.h"
#include "results/check_list.h"
#include "results/expectation_file.h"
#include "results/toml_text.h"
#include "results/whole_file.h"

namespace quorle {
namespace {

constexpr std::size_t kLargestMatrixFile = 1 << 20;
constexpr std::size_t kMostCells = 100'000;
constexpr std::int64_t kLongestCell = 24 * 60 * 60;
constexpr std::int64_t kUsualCell = 300;
constexpr std::int64_t kMostJobs = 1024;
/// What runs in a cell beside the searches.
constexpr std::array<std::string_view, 3> kCatalogues = {"standard", "further", "all"};
/// Options that a cell has of the matrix, or whose file each cell would write.
constexpr std::array<std::string_view, 8> kOwnOptions = {
    "--events", "--expect", "--bless", "--trace", "--seed", "--seeds", "--shard", "--coverage"};

/// Why a matrix file is refused.
class WrongMatrix final : public std::exception {
 public:
  explicit WrongMatrix(std::string problem) : problem_(std::move(problem)) {}
  const char* what() const noexcept override { return problem_.c_str(); }

 private:
  std::string problem_;
};

struct MatrixMount {
  std::string name;
  std::size_t line = 0;
  std::vector<std::string> mounts;  ///< values of --mount
  std::string device;
  std::string resource;
};

struct MatrixSetting {
  std::string name;
  std::size_t line = 0;
  std::vector<std::string> words;    ///< of the tester
  std::vector<std::string> options;  ///< of the host, for runs of the tester
  std::vector<std::string> search;   ///< of quorle explore
};

/// Which cells an [[exclude]], an [[include]] or a [[limit]] is for: patterns. An empty one fits all.
struct CellPatterns {
  std::size_t line = 0;
  std::string mount;
  std::string setting;
  std::string run;
  std::chrono::seconds limit{0};
};

/// The names that a cell is made of.
struct CellNames {
  std::string mount;
  std::string setting;
  std::string run;
};

bool Fits(const CellPatterns& patterns, const CellNames& names) {
  const auto fits = [](const std::string& pattern, const std::string& name) {
    return pattern.empty() || FitsPattern(pattern, name);
  };
  return fits(patterns.mount, names.mount) && fits(patterns.setting, names.setting) &&
         fits(patterns.run, names.run);
}

std::size_t LineOfValue(const toml::node& node) {
  return node.source().begin.line;
}

/// Reads a file into its cells.
class MatrixReader {
 public:
  explicit MatrixReader(Matrix& matrix) : matrix_(matrix) {}

  void Read(const toml::table& table) {
    for (const auto& [key, value] : table) ReadTop(key, value);
    if (mounts_.empty()) Refuse(1, "there is no [[mount]]");
    if (settings_.empty()) settings_.emplace_back().name = "plain";
    for (std::string& run : Runs()) runs_.push_back(std::move(run));
    for (const auto* const list : {&excludes_, &includes_, &limits_}) {
      for (const CellPatterns& patterns : *list) CheckThatSomethingFits(patterns);
    }
    if (mounts_.size() * settings_.size() * runs_.size() > kMostCells) {
      Refuse(1, "there are more than " + std::to_string(kMostCells) + " cells");
    }
    MakeCells();
    if (matrix_.cells.empty()) Refuse(1, "there is no cell to run");
  }

 private:
  [[noreturn]] void Refuse(std::size_t line, const std::string& what) const {
    throw WrongMatrix(LineOf(matrix_.path, line) + ": " + what);
  }

  [[noreturn]] void RefuseKey(const toml::key& key, const char* known) const {
    Refuse(key.source().begin.line, QuotedBriefly(key.str()) + " is no key; there are " + known);
  }

  void ReadTop(const toml::key& key, const toml::node& value) {
    const std::string_view name = key.str();
    if (name == "mount") {
      ReadTables("mount", value, [this](const toml::table& table) { ReadMount(table); });
    } else if (name == "setting") {
      ReadTables("setting", value, [this](const toml::table& table) { ReadSetting(table); });
    } else if (name == "exclude") {
      ReadTables("exclude", value, [this](const toml::table& table) {
        excludes_.push_back(ReadPatterns(table, false));
      });
    } else if (name == "include") {
      ReadTables("include", value, [this](const toml::table& table) {
        includes_.push_back(ReadPatterns(table, false));
      });
    } else if (name == "limit") {
      ReadTables("limit", value, [this](const toml::table& table) {
        limits_.push_back(ReadPatterns(table, true));
      });
    } else if (name == "catalogues") {
      ReadCatalogues(value);
    } else if (name == "explore") {
      ReadExplore(value);
    } else if (name == "expect") {
      matrix_.expect = TextOf("expect", value);
    } else if (name == "seconds") {
      seconds_ = std::chrono::seconds(NumberOf("seconds", value, kLongestCell));
    } else if (name == "jobs") {
      matrix_.jobs = static_cast<std::uint32_t>(NumberOf("jobs", value, kMostJobs));
    } else {
      RefuseKey(key,
                "[[mount]], [[setting]], catalogues, [explore], [[exclude]], [[include]], "
                "[[limit]], expect, seconds, jobs");
    }
  }

  template <class ReadOne>
  void ReadTables(const char* name, const toml::node& value, const ReadOne& read) const {
    const auto refuse = [&](const toml::node& at) {
      Refuse(LineOfValue(at), "\"" + std::string(name) + "\" is no list of tables: [[" + name +
                                  "]] in a line of its own");
    };
    const toml::array* const list = value.as_array();
    if (list == nullptr) refuse(value);
    for (const toml::node& item : *list) {
      if (!item.is_table()) refuse(item);
      read(*item.as_table());
    }
  }

  std::string TextOf(std::string_view name, const toml::node& value) const {
    const toml::value<std::string>* const text = value.as_string();
    if (text == nullptr) Refuse(LineOfValue(value), QuotedBriefly(name) + " is no text");
    if (text->get().find_first_not_of(" \t\r\n") == std::string::npos) {
      Refuse(LineOfValue(value), QuotedBriefly(name) + " is empty");
    }
    RefuseZero(text->get(), value);
    return text->get();
  }

  /// No word of a command line can have a zero byte.
  void RefuseZero(const std::string& text, const toml::node& value) const {
    if (text.find('\0') == std::string::npos) return;
    Refuse(LineOfValue(value), "a text has a zero byte in it");
  }

  std::int64_t NumberOf(std::string_view name, const toml::node& value, std::int64_t most) const {
    const toml::value<std::int64_t>* const number = value.as_integer();
    if (number != nullptr && number->get() >= 1 && number->get() <= most) return number->get();
    Refuse(LineOfValue(value),
           QuotedBriefly(name) + " is not a number, 1 to " + std::to_string(most));
  }

  /// A text that is divided at its blanks, or a list of texts.
  std::vector<std::string> WordsOf(std::string_view name, const toml::node& value) const {
    std::vector<std::string> words;
    if (const toml::value<std::string>* const text = value.as_string()) {
      RefuseZero(text->get(), value);
      constexpr std::string_view kBlanks = " \t\r\n";
      std::string_view rest = text->get();
      for (;;) {
        rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
        if (rest.empty()) break;
        const std::size_t end = std::min(rest.find_first_of(kBlanks), rest.size());
        words.emplace_back(rest.substr(0, end));
        rest.remove_prefix(end);
      }
      return words;
    }
    const toml::array* const list = value.as_array();
    const auto refuse = [&](const toml::node& at) {
      Refuse(LineOfValue(at), QuotedBriefly(name) + " is neither a text nor a list of texts");
    };
    if (list == nullptr) refuse(value);
    for (const toml::node& item : *list) {
      const toml::value<std::string>* const text = item.as_string();
      if (text == nullptr) refuse(item);
      RefuseZero(text->get(), item);
      words.push_back(text->get());
    }
    return words;
  }

  std::vector<std::string> OptionsOf(std::string_view name, const toml::node& value) const {
    std::vector<std::string> words = WordsOf(name, value);
    for (const std::string& word : words) {
      const std::string_view option = std::string_view(word).substr(0, word.find('='));
      if (std::find(kOwnOptions.begin(), kOwnOptions.end(), option) == kOwnOptions.end()) continue;
      Refuse(LineOfValue(value), std::string(option) + " is not for all cells of a matrix");
    }
    return words;
  }

  /// The name of an item of `items`, in which it is not yet.
  template <class Item>
  void ReadName(const char* what, const toml::table& table, const std::vector<Item>& items,
                Item& item) const {
    item.line = LineOfValue(table);
    const toml::node* const value = table.get("name");
    if (value == nullptr) Refuse(item.line, "\"name\" is missing");
    item.name = TextOf("name", *value);
    const std::size_t line = LineOfValue(*value);
    if (!IsCellName(item.name)) {
      Refuse(line, QuotedBriefly(item.name) +
                       " is no name: up to 64 letters, digits, _, + and -, which is not the first");
    }
    for (const Item& other : items) {
      if (other.name != item.name) continue;
      Refuse(line, std::string("the ") + what + " " + QuotedBriefly(item.name) +
                       " is there twice, at first in line " + std::to_string(other.line));
    }
  }

  void ReadMount(const toml::table& table) {
    MatrixMount mount;
    ReadName("mount", table, mounts_, mount);
    for (const auto& [key, value] : table) {
      const std::string_view name = key.str();
      if (name == "name") continue;
      if (name == "mount") {
        // A path in it can have blanks: a text is one mount.
        mount.mounts = value.is_string() ? std::vector<std::string>{TextOf(name, value)}
                                         : WordsOf(name, value);
      } else if (name == "device") {
        mount.device = TextOf(name, value);
      } else if (name == "resource") {
        mount.resource = TextOf(name, value);
        if (!IsCellName(mount.resource)) {
          Refuse(LineOfValue(value), QuotedBriefly(mount.resource) + " is no name of a resource");
        }
      } else {
        RefuseKey(key, "name, mount, device, resource");
      }
    }
    if (mount.device.empty()) Refuse(mount.line, "\"device\" is missing");
    if (mount.device.front() == '-') {
      Refuse(mount.line, QuotedBriefly(mount.device) + " is no device such as DH0:");
    }
    mounts_.push_back(std::move(mount));
  }

  void ReadSetting(const toml::table& table) {
    MatrixSetting setting;
    ReadName("setting", table, settings_, setting);
    for (const auto& [key, value] : table) {
      const std::string_view name = key.str();
      if (name == "name") continue;
      if (name == "words") {
        setting.words = WordsOf(name, value);
      } else if (name == "options") {
        setting.options = OptionsOf(name, value);
      } else if (name == "search") {
        setting.search = OptionsOf(name, value);
      } else {
        RefuseKey(key, "name, words, options, search");
      }
    }
    settings_.push_back(std::move(setting));
  }

  CellPatterns ReadPatterns(const toml::table& table, bool is_limit) const {
    CellPatterns patterns;
    patterns.line = LineOfValue(table);
    for (const auto& [key, value] : table) {
      const std::string_view name = key.str();
      if (name == "mount") {
        patterns.mount = TextOf(name, value);
      } else if (name == "setting") {
        patterns.setting = TextOf(name, value);
      } else if (name == "run") {
        patterns.run = TextOf(name, value);
      } else if (is_limit && name == "seconds") {
        patterns.limit = std::chrono::seconds(NumberOf(name, value, kLongestCell));
      } else {
        RefuseKey(key, is_limit ? "mount, setting, run, seconds" : "mount, setting, run");
      }
    }
    if (patterns.mount.empty() && patterns.setting.empty() && patterns.run.empty()) {
      Refuse(patterns.line, "it names no mount, no setting and no run");
    }
    if (is_limit && patterns.limit.count() == 0) Refuse(patterns.line, "\"seconds\" is missing");
    return patterns;
  }

  void ReadCatalogues(const toml::node& value) {
    catalogues_.clear();
    const toml::array* const list = value.as_array();
    if (list == nullptr) Refuse(LineOfValue(value), "\"catalogues\" is no list of texts");
    for (const toml::node& item : *list) {
      std::string name = TextOf("catalogues", item);
      if (std::find(kCatalogues.begin(), kCatalogues.end(), name) == kCatalogues.end()) {
        Refuse(LineOfValue(item),
               QuotedBriefly(name) + " is no catalogue; there are standard, further and all");
      }
      if (std::find(catalogues_.begin(), catalogues_.end(), name) != catalogues_.end()) {
        Refuse(LineOfValue(item), "the catalogue " + QuotedBriefly(name) + " is there twice");
      }
      catalogues_.push_back(std::move(name));
    }
  }

  void ReadExplore(const toml::node& value) {
    const toml::table* const table = value.as_table();
    if (table == nullptr) Refuse(LineOfValue(value), "\"explore\" is no table");
    for (const auto& [key, member] : *table) {
      const std::string_view name = key.str();
      if (name == "seeds") {
        ReadSeedsOf(member);
      } else if (name == "options") {
        search_ = OptionsOf(name, member);
      } else {
        RefuseKey(key, "seeds, options");
      }
    }
    if (!has_seeds_) Refuse(LineOfValue(value), "\"seeds\" is missing");
  }

  void ReadSeedsOf(const toml::node& value) {
    const std::string text = TextOf("seeds", value);
    const std::string_view both = text;
    const std::size_t points = both.find("..");
    const auto number = [](std::string_view digits, std::uint64_t& seed) {
      const char* const end = digits.data() + digits.size();
      const auto [stop, error] = std::from_chars(digits.data(), end, seed);
      return error == std::errc() && stop == end &&
             seed <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    };
    const bool is_range = points != std::string_view::npos &&
                          number(both.substr(0, points), first_seed_) &&
                          number(both.substr(points + 2), last_seed_) && first_seed_ <= last_seed_;
    if (!is_range) {
      Refuse(LineOfValue(value), QuotedBriefly(text) + " is no range of seeds such as \"1..5\"");
    }
    if (last_seed_ - first_seed_ >= kMostCells) {
      Refuse(LineOfValue(value), "there are more than " + std::to_string(kMostCells) + " seeds");
    }
    has_seeds_ = true;
  }

  std::vector<std::string> Runs() const {
    std::vector<std::string> runs = catalogues_;
    if (!has_seeds_) return runs;
    for (std::uint64_t seed = first_seed_;; ++seed) {
      runs.push_back("explore-" + std::to_string(seed));
      if (seed == last_seed_) return runs;
    }
  }

  void CheckThatSomethingFits(const CellPatterns& patterns) const {
    const auto look = [&](const char* what, const std::string& pattern, const auto& items,
                          const auto& name) {
      const bool fits =
          pattern.empty() || std::any_of(items.begin(), items.end(), [&](const auto& item) {
            return FitsPattern(pattern, name(item));
          });
      if (!fits) {
        Refuse(patterns.line, QuotedBriefly(pattern) + " fits no " + std::string(what));
      }
    };
    const auto name_of = [](const auto& item) { return item.name; };
    look("mount", patterns.mount, mounts_, name_of);
    look("setting", patterns.setting, settings_, name_of);
    look("run", patterns.run, runs_, [](const std::string& run) { return run; });
  }

  void MakeCells() {
    const auto any_fits = [](const std::vector<CellPatterns>& list, const CellNames& names) {
      return std::any_of(list.begin(), list.end(),
                         [&](const CellPatterns& patterns) { return Fits(patterns, names); });
    };
    for (const MatrixMount& mount : mounts_) {
      for (const MatrixSetting& setting : settings_) {
        for (std::size_t i = 0; i < runs_.size(); ++i) {
          const CellNames names = {mount.name, setting.name, runs_[i]};
          if (any_fits(excludes_, names) && !any_fits(includes_, names)) continue;
          MatrixCell cell;
          cell.id = names.mount + "/" + names.setting + "/" + names.run;
          cell.words = i < catalogues_.size() ? RunWords(mount, setting, catalogues_[i])
                                              : SearchWords(mount, setting, i - catalogues_.size());
          cell.resource = mount.resource;
          cell.limit = seconds_;
          for (const CellPatterns& limit : limits_) {
            if (Fits(limit, names)) cell.limit = limit.limit;
          }
          matrix_.cells.push_back(std::move(cell));
        }
      }
    }
  }

  void AddShared(const MatrixMount& mount, std::vector<std::string>& words) const {
    for (const std::string& spec : mount.mounts) {
      words.emplace_back("--mount");
      words.push_back(spec);
    }
    if (!matrix_.expect) return;
    words.emplace_back("--expect");
    words.push_back(*matrix_.expect);
  }

  std::vector<std::string> RunWords(const MatrixMount& mount, const MatrixSetting& setting,
                                    const std::string& catalogue) const {
    std::vector<std::string> words;
    AddShared(mount, words);
    if (catalogue != kCatalogues.front()) words.insert(words.end(), {"--catalogue", catalogue});
    words.insert(words.end(), setting.options.begin(), setting.options.end());
    words.push_back(mount.device);
    words.insert(words.end(), setting.words.begin(), setting.words.end());
    return words;
  }

  std::vector<std::string> SearchWords(const MatrixMount& mount, const MatrixSetting& setting,
                                       std::size_t number) const {
    std::vector<std::string> words = {"explore"};
    AddShared(mount, words);
    words.insert(words.end(), search_.begin(), search_.end());
    words.insert(words.end(), setting.search.begin(), setting.search.end());
    words.emplace_back("--seed");
    words.push_back(std::to_string(first_seed_ + number));
    words.push_back(mount.device);
    return words;
  }

  Matrix& matrix_;
  std::vector<MatrixMount> mounts_;
  std::vector<MatrixSetting> settings_;
  std::vector<std::string> catalogues_{std::string(kCatalogues.front())};
  bool has_seeds_ = false;
  std::uint64_t first_seed_ = 0;
  std::uint64_t last_seed_ = 0;
  std::vector<std::string> search_;  ///< options of all searches
  std::vector<std::string> runs_;    ///< names: those of the catalogues, then the searches
  std::vector<CellPatterns> excludes_;
  std::vector<CellPatterns> includes_;
  std::vector<CellPatterns> limits_;
  std::chrono::seconds seconds_{kUsualCell};
};

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

bool LoadMatrix(const std::string& path, Matrix& matrix, std::string& problem) {
  std::string text;
  return ReadWholeFile(path, kLargestMatrixFile, text, problem) &&
         ParseMatrix(path, text, matrix, problem);
}

bool ParseMatrix(const std::string& path, std::string_view text, Matrix& matrix,
                 std::string& problem) {
  Matrix read;
  read.path = path;
  read.folder = FolderOf(path);
  toml::table table;
  if (!ParseToml(path, text, table, problem)) return false;
  try {
    MatrixReader(read).Read(table);
  } catch (const WrongMatrix& error) {
    problem = error.what();
    return false;
  }
  matrix = std::move(read);
  return true;
}

}  // namespace quorle
