#include "program/explore_command.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "explore/coverage.h"
#include "explore/reference_volume.h"
#include "explore/search.h"
#include "explore/search_clock.h"
#include "explore/side.h"
#include "explore/traits.h"
#include "explore/tree.h"
#include "explore/trial.h"
#include "explore/value_text.h"
#include "hosted/dos/volume_listing.h"
#include "platform/constants.h"
#include "platform/intercepting.h"
#include "platform/trace_json.h"
#include "platform/tracing.h"
#include "program/device_session.h"
#include "program/difference_report.h"
#include "program/event_file.h"
#include "program/explore_options.h"
#include "program/explored_device.h"
#include "program/line_file.h"
#include "program/names_line.h"
#include "program/run_start.h"
#include "results/whole_file.h"

namespace quorle {
namespace {

using explore::Difference;

/// Where a volume that is not empty is worked in.
constexpr std::string_view kScratchDirectory = "quorle-explore";
constexpr std::size_t kLargestTraits = 1 << 20;
constexpr std::size_t kLargestCoverage = 16 << 20;
constexpr std::size_t kLargestChoices = 64 << 20;
constexpr ListingBounds kRestBounds = {
    .objects = 20000, .file_bytes = 64 << 10, .all_bytes = 8 << 20};

/// A search from its beginning to its end.
class Exploration {
 public:
  Exploration(const ExploreOptions& options, Console& console)
      : options_(options), console_(console), report_(options, console), events_(console) {}

  std::int32_t Run() {
    if (!ReadChoicesFile() || !ReadCoverage() || !report_.Prepare() || !session_.Mount() ||
        !FindDevice()) {
      return RETURN_FAIL;
    }
    if (options_.host.trace_file && !trace_.Open(options_.host.trace_file->c_str())) {
      return RETURN_FAIL;
    }
    device_.emplace(options_, session_, *port_, console_);
    device_->BeginSequence();
    if (!Begin() || !OpenEvents()) return RETURN_FAIL;
    std::string problem;
    if (!HoldTheTraits(problem)) {
      console_.Report(problem);
      return RETURN_FAIL;
    }
    Search();
    return End();
  }

 private:
  bool ReadChoicesFile();
  bool ReadCoverage();
  bool WriteCoverage();
  bool FindDevice();
  bool Begin();
  bool BeginAgain();
  std::int32_t TryAFile();
  bool OpenEvents();
  bool HoldTheTraits(std::string& problem);
  void Search();
  std::int32_t End();
  void LookAtTheRest();
  void Refuse(const std::string& what) { console_.Report("explore: " + what); }

  const ExploreOptions& options_;
  Console& console_;
  DifferenceReport report_;
  EventFile events_;
  explore::SearchClock clock_;
  LineFile trace_{kTraceFile, console_};
  // The watch speaks to the explored device; what it prints for people would come again and again.
  DeviceSession session_{options_.host, console_, clock_, nullptr};
  explore::Choices choices_;
  explore::CoverageTable coverage_;
  HandlerPort* port_ = nullptr;
  std::optional<ExploredDevice> device_;
  std::optional<JsonTrace> json_;
  std::optional<Tracer> tracer_;
  std::optional<Interception> interception_;
  std::unique_ptr<explore::ReferenceVolume> reference_;
  std::unique_ptr<explore::Side> side_;
  VolumeListing before_;
  std::optional<explore::TreeObject> root_before_;
  std::string directory_;
  explore::Traits traits_;
  bool traits_differ_ = false;
  bool rest_differs_ = false;
  std::unique_ptr<explore::Trial> trial_;
  explore::SearchSummary summary_;
  std::map<std::string, explore::Finding> findings_;
};

bool Exploration::ReadChoicesFile() {
  if (!options_.choices) return true;
  std::string text;
  std::string problem;
  if (!ReadWholeFile(*options_.choices, kLargestChoices, text, problem)) {
    console_.Report(problem);
    return false;
  }
  choices_ =
      explore::ReadChoices({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  return true;
}

bool Exploration::ReadCoverage() {
  std::error_code error;
  if (!options_.coverage || !std::filesystem::exists(*options_.coverage, error)) return true;
  std::string text;
  std::string problem;
  if (ReadWholeFile(*options_.coverage, kLargestCoverage, text, problem)) {
    problem = coverage_.Add(text);
    if (!problem.empty()) problem = *options_.coverage + ": " + problem;
  }
  if (problem.empty()) return true;
  console_.Report(problem);
  return false;
}

bool Exploration::WriteCoverage() {
  std::string problem;
  if (!options_.coverage || WriteWholeFile(*options_.coverage, coverage_.Text(), problem)) {
    return true;
  }
  console_.Report(problem);
  return false;
}

bool Exploration::FindDevice() {
  port_ = session_.Find(options_.device);
  if (options_.device.ends_with(':') && port_ != nullptr && port_->type() != PortType::kNone) {
    return true;
  }
  Refuse(explore::Quoted(options_.device) + " is not a device with a filesystem, such as RAM:");
  return false;
}

/// Makes a file and deletes it. Returns 0, or the code with which nothing can be made there at all; that a handler
/// ends, or has no such operation, is for the search to say.
std::int32_t Exploration::TryAFile() {
  DosInterface& dos = side_->dos();
  constexpr const char* kName = "q";
  const FileHandle file = dos.Open(kName, MODE_NEWFILE);
  const std::int32_t code = file ? 0 : dos.IoErr();
  if (file) dos.Close(file);
  dos.Delete(kName);
  if (BeginAgain()) return 0;
  return code == ERROR_DISK_FULL || code == ERROR_DISK_WRITE_PROTECTED ? code : 0;
}

/// Begins again where the handler has ended. False when it has not.
bool Exploration::BeginAgain() {
  if (device_->HowItEnded().empty()) return false;
  side_->End();
  device_->BeginSequence();
  if (!directory_.empty()) {
    DosInterface& dos = side_->dos();
    dos.UnLock(dos.CreateDir((side_->device() + directory_).c_str()));
  }
  side_->Begin(directory_);
  return true;
}

/// Finds a place to work in, and what the filesystem can do.
bool Exploration::Begin() {
  Machine& machine = session_.machine();
  const std::string device = port_->device_name() + ":";
  if (options_.host.trace_file) {
    json_.emplace(trace_);
    tracer_.emplace(machine.dos(), *json_);
    interception_.emplace(machine.exec(), machine.dos(), std::vector<CallHook*>{&*tracer_},
                          &machine.further());
    side_ = std::make_unique<explore::Side>(interception_->dos(), interception_->further(), device);
  } else {
    side_ = std::make_unique<explore::Side>(machine.dos(), machine.further(), device);
  }
  if (side_->Begin({}) == 0) root_before_ = explore::KeepBase(*side_);
  side_->End();
  before_ = ListVolume(*port_, kRestBounds);
  if (!before_.objects.empty()) {
    directory_ = kScratchDirectory;
    for (int number = 2; before_.objects.count(directory_) != 0; ++number) {
      directory_ = std::string(kScratchDirectory) + "-" + std::to_string(number);
    }
    std::vector<std::string> names;
    for (const auto& [path, object] : before_.objects) names.push_back(path);
    console_.Print(device + " is not empty, there is " + NamesLine(names) + "; worked in " +
                   explore::Quoted(directory_) + ", what is there is left alone\n");
    const LockHandle made = machine.dos().CreateDir((device + directory_).c_str());
    if (!made) {
      Refuse(device + directory_ + " cannot be made, error " +
             std::to_string(machine.dos().IoErr()));
      return false;
    }
    machine.dos().UnLock(made);
  }
  if (const std::int32_t code = side_->Begin(directory_); code != 0) {
    Refuse(device + directory_ + " cannot be locked, error " + std::to_string(code));
    return false;
  }
  if (const std::int32_t code = TryAFile(); code != 0) {
    Refuse("no file can be made in " + device + directory_ + ", error " + std::to_string(code));
    return false;
  }
  traits_ = explore::ProbeTraits(*side_, clock_, directory_.empty(), [&] { return BeginAgain(); });
  reference_ = std::make_unique<explore::ReferenceVolume>(
      clock_, console_, port_->volume_name().value_or("Reference"));
  for (const std::string& line : explore::TraitLines(traits_)) {
    console_.Print("trait: " + line + "\n");
  }
  return true;
}

bool Exploration::OpenEvents() {
  if (!options_.host.results.events) return true;
  if (!events_.Open(*options_.host.results.events)) return false;
  events_.Write(RunStart(options_.host, session_, options_.device));
  return true;
}

bool Exploration::HoldTheTraits(std::string& problem) {
  if (!options_.traits) return true;
  std::error_code error;
  if (!std::filesystem::exists(*options_.traits, error)) {
    return WriteWholeFile(*options_.traits, explore::TraitsText(traits_), problem);
  }
  std::string text;
  if (!ReadWholeFile(*options_.traits, kLargestTraits, text, problem)) return false;
  std::vector<std::string> unlike;
  if (!explore::HoldTraits(traits_, text, unlike, problem)) {
    problem = *options_.traits + ": " + problem;
    return false;
  }
  for (const std::string& line : unlike) {
    traits_differ_ = true;
    console_.Print("trait differs from " + *options_.traits + ": " + line + "\n");
  }
  return true;
}

void Exploration::Search() {
  trial_ = std::make_unique<explore::Trial>(
      explore::Trial::Parts{.reference = reference_->side(),
                            .device = *side_,
                            .clock = clock_,
                            .control = *device_,
                            .traits = traits_,
                            .observer = options_.coverage ? &coverage_ : nullptr},
      explore::TrialSettings{
          .remount = options_.host.remount.each || options_.host.remount.after_run.has_value(),
          .directory = directory_,
          .amounts = options_.choices ? explore::Amounts::kSmall : explore::Amounts::kAll});
  explore::Search search(
      *trial_, options_.search,
      [&](const explore::Finding& finding, bool first) {
        // A trace of it is made by calls of its own.
        side_->End();
        device_->BeginSequence();
        report_.Show(finding, first, session_, *port_, trial_->directory());
        // It may have ended the handler.
        device_->BeginSequence();
        if (side_->Begin(trial_->directory()) == 0) explore::Empty(*side_);
        side_->End();
      },
      [&](std::uint64_t seed) {
        device_->BeginSeed(seed);
        return device_->IsOver();
      });
  summary_ = options_.choices ? search.RunOne(choices_) : search.Run();
  findings_ = search.findings();
}

/// What was there before must be as it was, and what was made must be gone.
void Exploration::LookAtTheRest() {
  device_->BeginSequence();
  side_->End();
  const std::string device = port_->device_name() + ":";
  if (port_->life() != HandlerProgram::Life::kRuns) return;
  for (const std::string& directory : {directory_, trial_->directory()}) {
    if (!directory.empty()) session_.machine().dos().Delete((device + directory).c_str());
  }
  // The root was worked in. Not every filesystem can give it back what it had.
  if (root_before_ && side_->Begin({}) == 0) explore::RestoreBase(*side_, *root_before_);
  side_->End();
  VolumeListing after = ListVolume(*port_, kRestBounds);
  after.root = before_.root;
  constexpr std::size_t kMostLines = 20;
  const std::vector<std::string> lines = CompareListings(*port_, before_, after);
  rest_differs_ = !lines.empty();
  for (std::size_t i = 0; i < std::min(lines.size(), kMostLines); ++i) {
    console_.Print(device + " is not as it was: " + lines[i] + "\n");
  }
  if (lines.size() > kMostLines) {
    console_.Print("and " + std::to_string(lines.size() - kMostLines) + " more of that\n");
  }
}

std::string Seconds(std::chrono::microseconds time) {
  const auto tenths = time.count() / 100000;
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
}

std::int32_t Exploration::End() {
  LookAtTheRest();
  ExploreEvent event;
  event.sequences = static_cast<std::int64_t>(summary_.sequences);
  event.calls = static_cast<std::int64_t>(summary_.calls);
  event.us = summary_.time.count();
  event.traits = explore::TraitLines(traits_);
  for (const auto& [id, finding] : findings_) {
    const DifferenceEvent difference = report_.EventOf(finding);
    ++(difference.weight == "note" ? event.notes
       : difference.expected       ? event.expected
                                   : event.differences);
    events_.Write(difference);
  }
  for (const auto& [id, note] : trial_->notes()) {
    ++event.notes;
    report_.ShowNote(note);
    explore::Finding finding;
    finding.difference = note;
    finding.difference.weight = Difference::Weight::kNote;
    events_.Write(report_.EventOf(finding));
  }
  trial_.reset();
  side_.reset();
  std::vector<std::string> complaints = session_.machine().ShutDown();
  for (const std::string& complaint : complaints) console_.Report(complaint);
  const auto count = [](std::int64_t number, const char* what) {
    return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
  };
  const std::int64_t a_second =
      summary_.time.count() > 0
          ? static_cast<std::int64_t>(static_cast<double>(event.calls) * 1e6 /
                                      static_cast<double>(summary_.time.count()))
          : 0;
  console_.Print(
      count(event.sequences, "sequence") + ", " + count(event.calls, "pair") + " of calls in " +
      Seconds(summary_.time) + " seconds (" + std::to_string(a_second) +
      " a second): " + count(event.differences, "difference") + ", " +
      std::to_string(event.expected) + " expected, " + count(event.notes, "note") + "\n");
  const bool is_covered = WriteCoverage();
  const bool is_fine = is_covered && event.differences == 0 && !traits_differ_ && !rest_differs_ &&
                       complaints.empty() && !device_->has_complaints() && !report_.failed() &&
                       !trace_.failed();
  if (session_.breaks().IsPending()) console_.Report("explore: interrupted");
  events_.Write(event);
  EndEvent end;
  end.result = is_fine ? RETURN_OK : RETURN_ERROR;
  end.us = event.us;
  events_.Write(end);
  return is_fine && !events_.failed() ? RETURN_OK : RETURN_ERROR;
}

}  // namespace

std::int32_t RunExplore(std::span<const char* const> words, Console& console) {
  ExploreOptions options;
  if (const auto status = ReadExploreOptions(words, options, console)) return *status;
  return Exploration(options, console).Run();
}

}  // namespace quorle
