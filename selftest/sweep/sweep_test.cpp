#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "harness/entry.h"
#include "hosted/dos/machine.h"
#include "platform/intercepting.h"
#include "platform/tracing.h"
#include "selftest/support/fault_injector.h"
#include "selftest/support/test_bench.h"
#include "selftest/support/trace_balance.h"
#include "selftest/sweep/console_lines.h"
#include "selftest/sweep/fault_plan.h"
#include "selftest/sweep/sub_test_watch.h"
#include "tests/catalogue.h"
#if defined(QUORLE_SANITIZE)
#include <sanitizer/common_interface_defs.h>
#endif

// Runs each group with one platform call that misbehaves: for each call of the conforming run, from
// the first of the start-up to the last of the tear-down, and for each way in which it can. On a
// vector port and on a packet port, with every combination of NI, NW and NR. Whatever the one call
// does, the program must end well and leave nothing; what it may leave all the same is in kExcuses.
//
// With QUORLE_SWEEP_STEP=N in the environment only every N-th run is made, for slow machines.

namespace quorle::selftest {
namespace {

using Action = FaultRule::Action;

// ---- What is found after a run -----------------------------------------------------------------

enum class Finding : std::uint8_t {
  kResult,      ///< not 0, 10 or 20, or not the one that is due
  kLine,        ///< a printed line without a message class
  kBalance,     ///< something that was not released exactly once
  kStillOpen,   ///< something that the trace does not show, and that the platform still counts
  kRecord,      ///< an examine record that was not released
  kDirectory,   ///< the current directory is not the one from before
  kRequesters,  ///< nor the window for requesters
  kLabel,       ///< nor the volume's name
  kProtection,  ///< the volume is write-protected
  kLeft,        ///< an object that no CLEANUP ERROR names
  kVolumes,     ///< any other difference on a volume
};

struct Found {
  Finding finding;
  std::string place;      ///< sub-test
  std::string object;     ///< its name, when it is one
  std::string text;       ///< for the failure
  std::size_t event = 0;  ///< of the trace, of kRecord: what gave it
};

/// One event of a trace, as far as it is kept.
struct KeptEvent {
  std::string place;      ///< sub-test that made the call
  std::string_view op;    ///< a name of the platform's, which stays
  std::string name;       ///< the first argument, when it is a text
  std::int64_t mode = 0;  ///< the second argument, when it is a number
  bool gave_nothing;      ///< null
  std::int32_t ioerr = 0;
};

std::string TextOf(const KeptEvent& event) {
  return std::string(event.op) + "(" + event.name + "), error " + std::to_string(event.ioerr);
}

/// Keeps a trace, and what it holds.
class SweepTrace final : public TraceSink {
 public:
  explicit SweepTrace(const std::string& place) : place_(place), balance_(place) {}

  bool Take(const TraceEvent& event) override {
    KeptEvent& kept = events_.emplace_back();
    kept.place = place_;
    kept.op = event.op;
    kept.gave_nothing = IsNothing(event.result);
    kept.ioerr = event.ioerr;
    if (!event.args.empty()) {
      if (const auto* const name = std::get_if<std::string_view>(&event.args[0])) kept.name = *name;
    }
    if (event.args.size() > 1) {
      if (const auto* const mode = std::get_if<std::int64_t>(&event.args[1])) kept.mode = *mode;
    }
    return balance_.Take(event);
  }

  std::vector<Unbalanced> Report() const { return balance_.Report(); }
  std::vector<KeptEvent> TakeEvents() { return std::move(events_); }

 private:
  static bool IsNothing(const TraceValue& value) {
    const auto* const handle = std::get_if<TraceHandle>(&value);
    return handle != nullptr ? handle->number == 0 : std::holds_alternative<std::monostate>(value);
  }

  const std::string& place_;
  TraceBalance balance_;
  std::vector<KeptEvent> events_;
};

/// How a run ended.
struct Outcome {
  std::int32_t result = 0;
  bool ran_tests = false;
  std::string output;
  std::vector<KeptEvent> trace;
  std::vector<Unbalanced> unbalanced;
  std::vector<CallSite> sites;  ///< of a run that was recorded
  bool directory_restored = false;
  bool requesters_restored = false;
  std::string still_open;         ///< examine records apart
  std::size_t open_records = 0;   ///< examine records that the platform still counts
  std::vector<std::string> gone;  ///< lines of the volumes that are there no more
  std::vector<std::string> came;  ///< lines of the volumes that were not there before
};

// ---- What may be found -------------------------------------------------------------------------

constexpr unsigned Bit(Action action) {
  return 1U << static_cast<unsigned>(action);
}
constexpr unsigned kAnyAction = ~0U;
constexpr unsigned kNotMade = Bit(Action::kFail) | Bit(Action::kSucceed) | Bit(Action::kDrop);

/// Something that a run may leave, and why.
struct Excuse {
  Finding finding;
  std::string_view group;     ///< "" any
  std::string_view sub_test;  ///< "" any
  std::string_view call;      ///< what the call that misbehaves starts with; "" any
  unsigned actions;           ///< how it does
  bool (*applies)(const Outcome& outcome, const Found& found);  ///< null: always
  std::string_view reason;
};

/// Whether the sub-test examined something once more after it got this record.
bool ExaminedAgain(const Outcome& outcome, const Found& found) {
  return std::any_of(outcome.trace.begin() + static_cast<std::ptrdiff_t>(found.event) + 1,
                     outcome.trace.end(), [&found](const KeptEvent& event) {
                       return event.place == found.place && event.op == "ExamineObject";
                     });
}

/// Whether the clean-up looked for the object and found it in use.
bool IsHiddenByLock(const Outcome& outcome, const Found& found) {
  const auto look =
      std::find_if(outcome.trace.rbegin(), outcome.trace.rend(), [&found](const KeptEvent& event) {
        return event.op == "Lock" && event.name == found.object && event.mode == SHARED_LOCK;
      });
  return look != outcome.trace.rend() && look->gave_nothing && look->ioerr == ERROR_OBJECT_IN_USE;
}

constexpr Excuse kExcuses[] = {
    // Records that sub-tests leave, by their rule.
    {Finding::kRecord, "Examine File", "1", "", kAnyAction, nullptr,
     "as it stands: the record of a scratch file is not released"},
    {Finding::kRecord, "Examine Object", "1", "", kAnyAction, nullptr,
     "as it stands: the record of a scratch file is not released"},
    {Finding::kRecord, "Examine Object", "2", "", kAnyAction, nullptr,
     "as it stands: the record of a scratch link is not released"},
    {Finding::kRecord, "Examine Lock", "2", "", kAnyAction, nullptr,
     "as it stands: the record of a scratch file is not released"},
    {Finding::kRecord, "Set Date", "2", "", kAnyAction, ExaminedAgain,
     "as it stands: of the dates' records only the last is released"},
    {Finding::kRecord, "Set Date", "3", "", kAnyAction, ExaminedAgain,
     "as it stands: of the dates' records only the last is released"},

    // A switch that was moved and denies it is not moved back.
    {Finding::kProtection, "Open File", "8", "WriteProtectVolume(\"DH0:\",true",
     Bit(Action::kDoneFail), nullptr, "as it stands: what is reported as failed is not undone"},
    {Finding::kProtection, "Rename Object", "3", "WriteProtectVolume(\"DH0:\",true",
     Bit(Action::kDoneFail), nullptr, "as it stands: what is reported as failed is not undone"},
    {Finding::kProtection, "Device Info Data", "2", "WriteProtectVolume(\"DH0:\",true",
     Bit(Action::kDoneFail), nullptr, "as it stands: what is reported as failed is not undone"},
    {Finding::kProtection, "Relabel Volume", "2", "WriteProtectVolume(\"DH0:\",true",
     Bit(Action::kDoneFail), nullptr, "as it stands: what is reported as failed is not undone"},
    {Finding::kProtection, "Write Protect", "1", "WriteProtectVolume(\"DH0:\",true",
     Bit(Action::kDoneFail), nullptr, "as it stands: what is reported as failed is not undone"},
    {Finding::kLabel, "Relabel Volume", "1", "Relabel(\"DH0:\",\"_0_new_name_0_\")",
     Bit(Action::kDoneFail), nullptr, "as it stands: what is reported as failed is not undone"},

    // The call that restores is the one that fails.
    {Finding::kProtection, "", "", "WriteProtectVolume(\"DH0:\",false", kNotMade, nullptr,
     "the call that lifts the protection is not made"},
    {Finding::kLabel, "Relabel Volume", "1", "Relabel(\"DH0:\",\"DH0 Disk\")", kNotMade, nullptr,
     "the call that restores the name is not made"},
    {Finding::kLabel, "Relabel Volume", "", "VolNameFromPort(",
     Bit(Action::kFail) | Bit(Action::kDoneFail) | Bit(Action::kSet), nullptr,
     "the name to go back to is not the one from before"},
    {Finding::kDirectory, "", "", "SetCurrentDir(", Bit(Action::kSet), nullptr,
     "the directory to go back to is not the one from before"},
    {Finding::kRequesters, "", "", "SetProcWindow(", Bit(Action::kSet), nullptr,
     "the window to go back to is not the one from before"},

    // Objects that the clean-up cannot see.
    {Finding::kLeft, "", "", "Close(", kNotMade, IsHiddenByLock,
     "as it stands: what the clean-up cannot lock is gone to it, and this is locked for good"},
    {Finding::kLeft, "", "", "UnLock(", kNotMade, IsHiddenByLock,
     "as it stands: what the clean-up cannot lock is gone to it, and this is locked for good"},
    {Finding::kLeft, "", "", "SetCurrentDir(", Bit(Action::kSet), nullptr,
     "the clean-up goes on in another directory, where there is no such object"},
};

// ---- One run -----------------------------------------------------------------------------------

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t from = 0;
  for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', from)) {
    lines.push_back(text.substr(from, at - from));
    from = at + 1;
  }
  return lines;
}

/// The lines of `text` that `other` does not have.
std::vector<std::string> LinesMissing(const std::string& text, const std::string& other) {
  const std::vector<std::string> known = LinesOf(other);
  std::vector<std::string> missing;
  for (std::string& line : LinesOf(text)) {
    if (std::find(known.begin(), known.end(), line) == known.end()) {
      missing.push_back(std::move(line));
    }
  }
  return missing;
}

/// Where a fault that needs another file finds it.
constexpr const char* kOtherFile = "ENV:other-file";

/// A machine that is used for one run after the other, as long as each leaves it as it was.
class SharedBench {
 public:
  explicit SharedBench(std::vector<std::string> words) : words_(std::move(words)) {}

  /// A run whose calls `prepare` makes misbehave.
  template <class Prepare>
  Outcome Run(const TestEntry* catalogue, const Prepare& prepare) {
    if (bench_ == nullptr) {
      bench_ = std::make_unique<TestBench>(words_);
      volumes_ = bench_->Volumes();
    }
    ExecInterface& exec = bench_->machine().exec();
    HostedDos& real = bench_->machine().dos();
    FaultPlan plan(real);
    prepare(plan);
    FaultInjector injector(exec, real, plan, kOtherFile);
    Interception faulty(exec, real, {&injector});
    SweepTrace trace(watch_.current());
    Tracer tracer(faulty.dos(), trace);
    Interception traced(faulty.exec(), faulty.dos(), {&tracer});
    const std::size_t started = watch_.started();

    Outcome outcome;
    real.SetIoErr(0);  // as a process starts
    outcome.result = quorle::Run(traced.exec(), catalogue, watch_);
    outcome.ran_tests = watch_.started() != started;
    outcome.output = bench_->TakeOutput();
    outcome.directory_restored = !real.SetCurrentDir({});
    outcome.requesters_restored = real.SetProcWindow(nullptr) == nullptr;
    outcome.unbalanced = trace.Report();
    outcome.trace = trace.TakeEvents();
    outcome.sites = plan.TakeSites();
    injector.Settle();
    real.Delete(kOtherFile);
    outcome.still_open = bench_->StillOpen(false);
    outcome.open_records = real.CountOpen().examine_records;
    real.ReleaseEverything();
    const std::string volumes = bench_->Volumes();
    if (volumes != volumes_) {
      outcome.gone = LinesMissing(volumes_, volumes);
      outcome.came = LinesMissing(volumes, volumes_);
    }
    if (volumes != volumes_ || !outcome.still_open.empty()) bench_.reset();
    return outcome;
  }

  const SubTestWatch& watch() const { return watch_; }

 private:
  std::vector<std::string> words_;
  std::unique_ptr<TestBench> bench_;
  std::string volumes_;
  SubTestWatch watch_;
};

/// Whether the output says that the object stayed.
bool IsReportedToStay(const std::string& output, const std::string& name) {
  const std::string report = "test left the object \"" + name + "\" behind";
  const std::size_t at = output.find(report);
  return at != std::string::npos && output.rfind("CLEANUP ERROR[", at) > output.rfind('\n', at) &&
         output.rfind("CLEANUP ERROR[", at) != std::string::npos;
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
      if (!IsReportedToStay(outcome_.output, name)) Add(Finding::kLeft, name, "left: " + line);
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

// ---- The sweep of one row ----------------------------------------------------------------------

/// What is being run, for a message when the process dies of it.
char current_run[1024];

void WriteCurrentRun() {
  const ssize_t unused = write(STDERR_FILENO, current_run, std::strlen(current_run));
  static_cast<void>(unused);
}

/// No run takes a hundredth of this.
constexpr unsigned kMostSeconds = 20;

unsigned Step() {
  const char* const text = std::getenv("QUORLE_SWEEP_STEP");
  const long step = text == nullptr ? 1 : std::strtol(text, nullptr, 10);
  return step > 1 ? static_cast<unsigned>(step) : 1;
}

/// The words of the command line after the device, for every combination of the switches.
std::vector<std::vector<std::string>> Settings() {
  std::vector<std::vector<std::string>> settings;
  for (unsigned bits = 0; bits < 8; ++bits) {
    std::vector<std::string> words;
    if ((bits & 1) != 0) words.emplace_back("NI");
    if ((bits & 2) != 0) words.emplace_back("NW");
    if ((bits & 4) != 0) words.emplace_back("NR");
    settings.push_back(words);
  }
  return settings;
}

class SweepTest : public testing::Test {
 public:
  /// `name` is the group's, for messages and excuses; `host_words` come first on the command line.
  SweepTest(std::string name, std::vector<TestEntry> catalogue, std::vector<std::string> host_words)
      : name_(std::move(name)),
        catalogue_(std::move(catalogue)),
        host_words_(std::move(host_words)) {}

  void TestBody() override {
    for (const bool packet : {false, true}) {
      for (const std::vector<std::string>& switches : Settings()) {
        setting_ = packet ? "packet port" : "vector port";
        std::vector<std::string> words = host_words_;
        words.insert(words.end(), {"--mount", packet ? "DH0=ram,port=packet" : "DH0=ram", "DH0:"});
        words.insert(words.end(), switches.begin(), switches.end());
        for (const std::string& word : switches) setting_ += " " + word;
        Sweep(words);
      }
    }
    alarm(0);
    RecordProperty("runs", static_cast<int>(runs_));
    std::printf("%s: %zu runs\n", name_.c_str(), runs_);
    if (Step() > 1) return;
    for (std::size_t i = 0; i < std::size(kExcuses); ++i) {
      if (kExcuses[i].group != name_) continue;
      EXPECT_TRUE(used_[i]) << "an excuse that nothing needs: sub-test " << kExcuses[i].sub_test
                            << ", " << kExcuses[i].reason;
    }
  }

 private:
  void Sweep(const std::vector<std::string>& words) {
    SharedBench bench(words);
    const Outcome conforming = bench.Run(
        catalogue_.data(), [&](FaultPlan& plan) { plan.Record(bench.watch().current()); });
    const std::vector<CallSite>& sites = conforming.sites;
    ASSERT_FALSE(sites.empty());
    const Findings usual(conforming, {});
    for (const Found& found : usual.all()) {
      EXPECT_TRUE(IsExcused(conforming, found, {}, {})) << setting_ << ", no fault: " << found.text;
    }
    for (std::size_t i = 0; i < sites.size(); ++i) {
      for (const PlannedFault& fault : sites[i].faults) {
        if (++turn_ % Step() != 0) continue;
        ++runs_;
        std::snprintf(current_run, sizeof current_run, "\n%s, %s, call %zu%s%s: %s\n  is %s\n",
                      name_.c_str(), setting_.c_str(), i + 1,
                      sites[i].place.empty() ? "" : " in sub-test ", sites[i].place.c_str(),
                      sites[i].text.c_str(), fault.text.c_str());
        alarm(kMostSeconds);
        const Outcome outcome = bench.Run(
            catalogue_.data(), [&](FaultPlan& plan) { plan.Inject(i + 1, sites[i], fault); });
        Check(outcome, sites[i], fault);
      }
    }
  }

  void Check(const Outcome& outcome, const CallSite& site, const PlannedFault& fault) {
    const Findings findings(outcome, site.place);
    for (const Found& found : findings.all()) {
      if (IsExcused(outcome, found, site.text, Bit(fault.rule.action))) continue;
      constexpr std::size_t kMostShown = 100;
      if (++failures_ <= kMostShown) {
        ADD_FAILURE() << current_run << found.text << "\n-- the program printed:\n"
                      << outcome.output;
      }
    }
  }

  bool IsExcused(const Outcome& outcome, const Found& found, std::string_view call,
                 unsigned action) {
    for (std::size_t i = 0; i < std::size(kExcuses); ++i) {
      const Excuse& excuse = kExcuses[i];
      const bool fits = excuse.finding == found.finding &&
                        (excuse.group.empty() || excuse.group == name_) &&
                        (excuse.sub_test.empty() || excuse.sub_test == found.place) &&
                        call.starts_with(excuse.call) &&
                        (excuse.actions == kAnyAction || (excuse.actions & action) != 0);
      if (!fits || (excuse.applies != nullptr && !excuse.applies(outcome, found))) continue;
      used_[i] = true;
      return true;
    }
    return false;
  }

  std::string name_;
  std::vector<TestEntry> catalogue_;
  std::vector<std::string> host_words_;
  std::string setting_;
  bool used_[std::size(kExcuses)] = {};
  std::size_t turn_ = 0;
  std::size_t runs_ = 0;
  std::size_t failures_ = 0;
};

void Register(const std::string& name, const std::vector<TestEntry>& catalogue,
              const std::vector<std::string>& host_words) {
  std::string test_name = name;
  std::replace(test_name.begin(), test_name.end(), ' ', '_');
  testing::RegisterTest("Sweep", test_name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                        [=]() -> SweepTest* { return new SweepTest(name, catalogue, host_words); });
}

void RegisterAll() {
  const TestEntry last = {nullptr, ""};
  std::vector<TestEntry> stubs;
  for (const TestEntry* entry = kCatalogue; entry->group != nullptr; ++entry) {
    if (entry->group->sub_tests == nullptr) {
      stubs.push_back(*entry);
      continue;
    }
    // "FSLock() / ACTION_LOCATE_OBJECT - Lock"
    const std::string title = entry->title;
    Register(title.substr(title.find(" - ") + 3), {*entry, last}, {});
  }
  stubs.push_back(last);
  Register("Rows without tests", stubs, {});
  Register("Start from the desktop", stubs, {"--workbench"});
  Register("Start on an old system", stubs, {"--dos-version", "53.89"});
}

}  // namespace
}  // namespace quorle::selftest

int main(int argc, char** argv) {
  using namespace quorle::selftest;  // NOLINT(google-build-using-namespace): the suite's own
  testing::InitGoogleTest(&argc, argv);
  RegisterAll();
  std::signal(SIGALRM, [](int) { std::abort(); });
#if defined(QUORLE_SANITIZE)
  __sanitizer_set_death_callback(WriteCurrentRun);
#else
  std::signal(SIGSEGV, [](int) { std::abort(); });
#endif
  std::signal(SIGABRT, [](int) { WriteCurrentRun(); });
  return RUN_ALL_TESTS();
}
