#include "results/run_record.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>
#include <variant>

#include "results/event_json.h"

namespace quorle {
namespace {

/// No event that this program writes comes near it. A longer line is no event stream.
constexpr std::size_t kLongestLine = 4 << 20;

/// The lines of a file, one at a time.
class Lines {
 public:
  explicit Lines(const std::string& path) : file_(std::fopen(path.c_str(), "re")) {
    if (file_ == nullptr) error_ = errno;
  }

  enum class State : std::uint8_t {
    kLine,     ///< text() is one, its line break left out
    kTorn,     ///< text() is what stands behind the last line break
    kEnd,      ///< there is no more
    kTooLong,  ///< a line that is longer than any event
    kFailed,   ///< why() says why
  };
  State Next() {
    if (file_ == nullptr) return State::kFailed;
    text_.clear();
    for (;;) {
      if (at_ == filled_) {
        at_ = 0;
        filled_ = std::fread(block_.data(), 1, block_.size(), file_.get());
        if (filled_ == 0) {
          if (std::ferror(file_.get()) != 0) {
            error_ = errno;
            return State::kFailed;
          }
          return text_.empty() ? State::kEnd : State::kTorn;
        }
      }
      const std::string_view rest(block_.data() + at_, filled_ - at_);
      const std::size_t end = rest.find('\n');
      text_ += rest.substr(0, end);
      at_ += end == std::string_view::npos ? rest.size() : end + 1;
      if (text_.size() > kLongestLine) return State::kTooLong;
      if (end != std::string_view::npos) return State::kLine;
    }
  }
  const std::string& text() const { return text_; }
  std::string why() const { return std::strerror(error_); }

 private:
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  std::unique_ptr<std::FILE, Close> file_;
  std::vector<char> block_ = std::vector<char>(64 << 10);
  std::size_t at_ = 0;
  std::size_t filled_ = 0;
  std::string text_;
  int error_ = 0;
};

/// Puts an event where a record has its kind.
struct Placement {
  RunRecord& run;

  void operator()(RunEvent&& event) const { run.start = std::move(event); }
  void operator()(TargetEvent&& event) const { run.target = std::move(event); }
  void operator()(CheckEvent&& event) const { run.checks.push_back(std::move(event)); }
  void operator()(GroupEvent&& event) const { run.groups.push_back(std::move(event)); }
  void operator()(HandlerEndedEvent&& event) const { run.handler_ends.push_back(std::move(event)); }
  void operator()(LeftBehindEvent&& event) const { run.left_behind.push_back(std::move(event)); }
  void operator()(ComplaintEvent&& event) const { run.complaints.push_back(std::move(event)); }
  void operator()(RemountEvent&& event) const { run.remounts.push_back(std::move(event)); }
  void operator()(DifferenceEvent&& event) const { run.differences.push_back(std::move(event)); }
  void operator()(ExploreEvent&& event) const { run.search = std::move(event); }
  void operator()(EndEvent&& event) const { run.end = std::move(event); }
  void operator()(CellEvent&& event) const { run.cell = std::move(event); }
};

/// Adds an event to the run that it belongs to, the last of `runs`. False, with `problem`, when it
/// cannot be there.
bool Add(Event event, std::vector<RunRecord>& runs, std::string& problem) {
  if (const auto* const run = std::get_if<RunEvent>(&event)) {
    if (run->version > kEventVersion) {
      problem = "it is version " + std::to_string(run->version) +
                " of the event stream; this program reads version " + std::to_string(kEventVersion);
      return false;
    }
    runs.emplace_back();
  } else if (runs.empty()) {
    problem = "no event stream: the first event is not \"run\"";
    return false;
  }
  Append(std::move(event), runs.back());
  return true;
}

}  // namespace

void Append(Event event, RunRecord& run) {
  std::visit(Placement{run}, std::move(event));
}

bool ReadEvents(const std::string& path, std::vector<RunRecord>& runs, std::string& problem) {
  std::vector<RunRecord> read;
  Lines lines(path);
  EventReader reader;
  std::size_t number = 0;
  const auto refuse = [&](const std::string& why) {
    problem = path + ":" + std::to_string(number) + ": " + why;
    return false;
  };
  for (;;) {
    const Lines::State state = lines.Next();
    if (state == Lines::State::kFailed) {
      problem = "cannot read " + path + ": " + lines.why();
      return false;
    }
    // What stands behind the last line break is the line in which a run was cut off.
    if (state == Lines::State::kEnd || state == Lines::State::kTorn) break;
    ++number;
    if (state == Lines::State::kTooLong) {
      return refuse("no event stream: the line is larger than any event");
    }
    std::string why;
    std::optional<Event> event = reader.Read(lines.text(), why);
    if (!why.empty()) return refuse("no event: " + why);
    if (event && !Add(std::move(*event), read, why)) return refuse(why);
  }
  if (read.empty()) {
    problem = path + ": it holds no run";
    return false;
  }
  for (std::size_t i = 0; i < read.size(); ++i) {
    read[i].source = read.size() == 1 ? path : path + " " + std::to_string(i + 1);
    runs.push_back(std::move(read[i]));
  }
  return true;
}

}  // namespace quorle
