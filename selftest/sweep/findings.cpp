#include "selftest/sweep/findings.h"

#include <utility>

#include "selftest/sweep/console_lines.h"

namespace quorle::selftest {
namespace {

std::string TextOf(const KeptEvent& event) {
  return std::string(event.op) + "(" + event.name + "), error " + std::to_string(event.ioerr);
}

/// Whether the output says that an object of this name stayed.
bool IsNamedAsStaying(const std::string& output, const std::string& name) {
  const std::string report = "test left the object \"" + name + "\" behind";
  const std::size_t at = output.find(report);
  return at != std::string::npos && output.rfind("CLEANUP ERROR[", at) > output.rfind('\n', at) &&
         output.rfind("CLEANUP ERROR[", at) != std::string::npos;
}

/// Whether the output says that the object `path` stayed. A further check works in a directory of its own: it
/// names what it made there, or the directory alone.
bool IsReportedToStay(const Outcome& outcome, const std::string& path) {
  const std::string& output = outcome.output;
  if (!outcome.is_further) return IsNamedAsStaying(output, path);
  for (std::size_t from = 0;;) {
    const std::size_t end = path.find('/', from);
    const std::string whole = path.substr(0, end);
    // By its path, in the directory of the test, one above that, or with the device.
    const std::string name = whole.substr(from);
    for (const std::string& called : {whole, name, "/" + name, "DH0:" + whole}) {
      if (IsNamedAsStaying(output, called)) return true;
    }
    if (end == std::string::npos) return false;
    from = end + 1;
  }
}

/// The word of a volume's line that starts with `key`: "label=", "state=", "in-use=".
std::string WordOf(const std::string& line, const std::string& key) {
  const std::size_t at = line.find(' ' + key);
  if (at == std::string::npos) return {};
  // A label may hold blanks.
  const std::size_t from = at + 1 + key.size();
  const std::size_t end = key == "label=" ? line.find(" state=") : line.find(' ', from);
  return line.substr(from, end - from);
}

/// All that is not as it has to be after a run in which the call at `place` misbehaved.
class Findings {
 public:
  Findings(const Outcome& outcome, std::string place)
      : outcome_(outcome), place_(std::move(place)) {
    Result();
    Balance();
    Volumes();
    const std::string line = LineWithoutClass(outcome.output);
    if (!line.empty()) Add(Finding::kLine, {}, "a line without a class: " + line);
    if (!outcome.directory_restored) {
      Add(Finding::kDirectory, {}, "another current directory than before");
    }
    if (!outcome.requesters_restored) {
      Add(Finding::kRequesters, {}, "another window for requesters than before");
    }
  }

  const std::vector<Found>& all() const { return all_; }

 private:
  void Add(Finding finding, std::string object, std::string text) {
    all_.push_back({.finding = finding,
                    .place = place_,
                    .object = std::move(object),
                    .text = std::move(text),
                    .event = 0});
  }

  void Result() {
    const std::int32_t result = outcome_.result;
    if (result != 0 && result != 10 && result != 20) {
      Add(Finding::kResult, {}, "result " + std::to_string(result));
    }
    if (result == 20 && outcome_.ran_tests) {
      Add(Finding::kResult, {}, "result 20, and the tests were run");
    }
  }

  void Balance() {
    std::size_t records = 0;
    for (const Unbalanced& object : outcome_.unbalanced) {
      const bool is_record = object.is_record && !object.released_twice;
      if (is_record) ++records;
      all_.push_back(
          {.finding = is_record ? Finding::kRecord : Finding::kBalance,
           .place = object.place,
           .object = object.object,
           .text = object.object +
                   (object.released_twice ? ", released and not held: " : ", never released: ") +
                   TextOf(outcome_.trace[object.event]),
           .event = object.event});
    }
    if (!outcome_.still_open.empty()) Add(Finding::kStillOpen, {}, outcome_.still_open);
    if (outcome_.open_records != records) {
      Add(Finding::kStillOpen, {},
          std::to_string(outcome_.open_records) +
              " examine records are open, and the trace knows " + std::to_string(records));
    }
  }

  void Volumes() {
    for (const std::string& line : outcome_.came) {
      const std::size_t name_end = line.find(" type=");
      if (name_end == std::string::npos) {
        Volume(line);
        continue;
      }
      const std::size_t colon = line.find(':');
      const std::string name = line.substr(colon + 1, name_end - colon - 1);
      if (!IsReportedToStay(outcome_, name)) Add(Finding::kLeft, name, "left: " + line);
    }
    for (const std::string& line : outcome_.gone) {
      if (line.find(" label=") == std::string::npos) Add(Finding::kVolumes, {}, "gone: " + line);
    }
  }

  /// A volume whose line changed.
  void Volume(const std::string& line) {
    const std::string device = line.substr(0, line.find(" label="));
    for (const std::string& before : outcome_.gone) {
      if (!before.starts_with(device + " label=")) continue;
      if (WordOf(before, "label=") != WordOf(line, "label=")) Add(Finding::kLabel, {}, line);
      if (WordOf(before, "state=") != WordOf(line, "state=")) Add(Finding::kProtection, {}, line);
      if (WordOf(before, "in-use=") != WordOf(line, "in-use=")) Add(Finding::kVolumes, {}, line);
      return;
    }
    Add(Finding::kVolumes, {}, "no such volume before: " + line);
  }

  const Outcome& outcome_;
  std::string place_;
  std::vector<Found> all_;
};

}  // namespace

std::vector<Found> FindingsOf(const Outcome& outcome, const std::string& place) {
  return Findings(outcome, place).all();
}

}  // namespace quorle::selftest
