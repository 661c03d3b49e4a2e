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
#include "platform/tracing.h"
#include "selftest/support/test_bench.h"
#include "selftest/sweep/console_lines.h"
#include "selftest/sweep/one_fault.h"
#include "selftest/sweep/sub_test_watch.h"
#include "selftest/sweep/trace_balance.h"
#include "tests/catalogue.h"
#if defined(__SANITIZE_ADDRESS__)
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

using Kind = Fault::Kind;

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
  std::string place;     ///< sub-test
  std::string object;    ///< its name, when it is one
  std::string text;      ///< for the failure
  std::size_t line = 0;  ///< of the trace, of kRecord: the call that gave it
};

/// How a run ended.
struct Outcome {
  std::int32_t result = 0;
  bool ran_tests = false;
  std::string output;
  std::vector<TraceLine> trace;
  std::vector<Unbalanced> unbalanced;
  bool directory_restored = false;
  bool requesters_restored = false;
  std::string still_open;         ///< examine records apart
  std::size_t open_records = 0;   ///< examine records that the platform still counts
  std::vector<std::string> gone;  ///< lines of the volumes that are there no more
  std::vector<std::string> came;  ///< lines of the volumes that were not there before
};

// ---- What may be found -------------------------------------------------------------------------

constexpr unsigned Bit(Kind kind) {
  return 1U << static_cast<unsigned>(kind);
}
constexpr unsigned kAnyKind = ~0U;
constexpr unsigned kNotMade = Bit(Kind::kFail) | Bit(Kind::kClaim) | Bit(Kind::kDrop);

/// Something that a run may leave, and why.
struct Excuse {
  Finding finding;
  std::string_view group;     ///< "" any
  std::string_view sub_test;  ///< "" any
  std::string_view call;      ///< what the call that misbehaves starts with; "" any
  unsigned kinds;             ///< how it does
  bool (*applies)(const Outcome& outcome, const Found& found);  ///< null: always
  std::string_view reason;
};

bool IsCall(const TraceLine& line, std::string_view op) {
  return line.text.compare(7, op.size() + 1, std::string(op) + '"') == 0;
}

/// Whether the sub-test examined something once more after it got this record.
bool ExaminedAgain(const Outcome& outcome, const Found& found) {
  return std::any_of(outcome.trace.begin() + static_cast<std::ptrdiff_t>(found.line) + 1,
                     outcome.trace.end(), [&found](const TraceLine& line) {
                       return line.place == found.place && IsCall(line, "ExamineObject");
                     });
}

/// Whether the clean-up looked for the object and was told that it is in use.
bool IsHiddenByLock(const Outcome& outcome, const Found& found) {
  const std::string look = "\"args\":[\"" + found.object + "\",-2],\"result\":";
  for (auto line = outcome.trace.rbegin(); line != outcome.trace.rend(); ++line) {
    if (!IsCall(*line, "Lock") || line->text.find(look) == std::string::npos) continue;
    return line->text.ends_with("\"result\":null,\"ioerr\":202}");
  }
  return false;
}

constexpr Excuse kExcuses[] = {
    // Records that sub-tests leave, by their rule.
    {Finding::kRecord, "Examine File", "1", "", kAnyKind, nullptr,
     "as it stands: the record of a scratch file is not released"},
    {Finding::kRecord, "Examine Object", "1", "", kAnyKind, nullptr,
     "as it stands: the record of a scratch file is not released"},
    {Finding::kRecord, "Examine Object", "2", "", kAnyKind, nullptr,
     "as it stands: the record of a scratch link is not released"},
    {Finding::kRecord, "Examine Lock", "2", "", kAnyKind, nullptr,
     "as it stands: the record of a scratch file is not released"},
    {Finding::kRecord, "Set Date", "2", "", kAnyKind, ExaminedAgain,
     "as it stands: of the dates' records only the last is released"},
    {Finding::kRecord, "Set Date", "3", "", kAnyKind, ExaminedAgain,
     "as it stands: of the dates' records only the last is released"},

    // A switch that was moved and denies it is not moved back.
    {Finding::kProtection, "Open File", "8", "WriteProtectVolume(\"DH0:\",true)",
     Bit(Kind::kDoneFail), nullptr, "as it stands: what is told to have failed is not undone"},
    {Finding::kProtection, "Rename Object", "3", "WriteProtectVolume(\"DH0:\",true)",
     Bit(Kind::kDoneFail), nullptr, "as it stands: what is told to have failed is not undone"},
    {Finding::kProtection, "Device Info Data", "2", "WriteProtectVolume(\"DH0:\",true)",
     Bit(Kind::kDoneFail), nullptr, "as it stands: what is told to have failed is not undone"},
    {Finding::kProtection, "Relabel Volume", "2", "WriteProtectVolume(\"DH0:\",true)",
     Bit(Kind::kDoneFail), nullptr, "as it stands: what is told to have failed is not undone"},
    {Finding::kProtection, "Write Protect", "1", "WriteProtectVolume(\"DH0:\",true)",
     Bit(Kind::kDoneFail), nullptr, "as it stands: what is told to have failed is not undone"},
    {Finding::kLabel, "Relabel Volume", "1", "Relabel(\"DH0:\",\"_0_new_name_0_\")",
     Bit(Kind::kDoneFail), nullptr, "as it stands: what is told to have failed is not undone"},

    // The call that restores is the one that fails.
    {Finding::kProtection, "", "", "WriteProtectVolume(\"DH0:\",false)", kNotMade, nullptr,
     "the call that lifts the protection is not made"},
    {Finding::kLabel, "Relabel Volume", "1", "Relabel(\"DH0:\",\"DH0 Disk\")", kNotMade, nullptr,
     "the call that restores the name is not made"},
    {Finding::kLabel, "Relabel Volume", "", "VolNameFromPort(",
     Bit(Kind::kFail) | Bit(Kind::kDoneFail) | Bit(Kind::kWrong), nullptr,
     "the name to go back to is not the one from before"},
    {Finding::kDirectory, "", "", "SetCurrentDir(", Bit(Kind::kWrong), nullptr,
     "the directory to go back to is not the one from before"},
    {Finding::kRequesters, "", "", "SetProcWindow(", Bit(Kind::kWrong), nullptr,
     "the window to go back to is not the one from before"},

    // Objects that the clean-up cannot see.
    {Finding::kLeft, "", "", "Close(", kNotMade, IsHiddenByLock,
     "as it stands: what the clean-up cannot lock is gone to it, and this is locked for good"},
    {Finding::kLeft, "", "", "UnLock(", kNotMade, IsHiddenByLock,
     "as it stands: what the clean-up cannot lock is gone to it, and this is locked for good"},
    {Finding::kLeft, "", "", "SetCurrentDir(", Bit(Kind::kWrong), nullptr,
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

/// A machine that is used for one run after the other, as long as each leaves it as it was.
class SharedBench {
 public:
  explicit SharedBench(std::vector<std::string> words) : words_(std::move(words)) {}

  Outcome Run(OneFault& one, const TestEntry* catalogue) {
    if (bench_ == nullptr) {
      bench_ = std::make_unique<TestBench>(words_);
      volumes_ = bench_->Volumes();
    }
    HostedDos& real = bench_->machine().dos();
    OneFaultDos dos(real, one);
    OneFaultExec exec(bench_->machine().exec(), dos, one);
    TraceBalance balance(watch_.current());
    Tracer tracer(exec, dos, balance);
    const std::size_t started = watch_.started();

    Outcome outcome;
    real.SetIoErr(0);  // as a process starts
    outcome.result = quorle::Run(tracer.exec(), catalogue, watch_);
    outcome.ran_tests = watch_.started() != started;
    outcome.output = bench_->TakeOutput();
    outcome.directory_restored = !real.SetCurrentDir({});
    outcome.requesters_restored = real.SetProcWindow(nullptr) == nullptr;
    outcome.unbalanced = balance.Report();
    outcome.trace = balance.TakeLines();
    dos.Settle();
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

/// Whether the output tells that the object stayed.
bool IsToldToStay(const std::string& output, const std::string& name) {
  const std::string told = "test left the object \"" + name + "\" behind";
  const std::size_t at = output.find(told);
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
                    .line = 0});
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
      const bool is_record = object.object.starts_with("examine:") && !object.released_twice;
      if (is_record) ++records;
      all_.push_back(
          {.finding = is_record ? Finding::kRecord : Finding::kBalance,
           .place = object.place,
           .object = object.object,
           .text = object.object +
                   (object.released_twice ? ", released and not held: " : ", never released: ") +
                   outcome_.trace[object.line].text,
           .line = object.line});
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
      if (!IsToldToStay(outcome_.output, name)) Add(Finding::kLeft, name, "left: " + line);
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

void TellCurrentRun() {
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
    OneFault one;
    one.Record(bench.watch().current());
    const Outcome conforming = bench.Run(one, catalogue_.data());
    const std::vector<CallSite> sites = one.TakeSites();
    ASSERT_FALSE(sites.empty());
    const Findings usual(conforming, {});
    for (const Found& found : usual.all()) {
      EXPECT_TRUE(IsExcused(conforming, found, {}, {})) << setting_ << ", no fault: " << found.text;
    }
    for (std::size_t i = 0; i < sites.size(); ++i) {
      for (const Fault& fault : sites[i].faults) {
        if (++turn_ % Step() != 0) continue;
        ++runs_;
        std::snprintf(current_run, sizeof current_run, "\n%s, %s, call %zu%s%s: %s\n  is %s\n",
                      name_.c_str(), setting_.c_str(), i + 1,
                      sites[i].place.empty() ? "" : " in sub-test ", sites[i].place.c_str(),
                      sites[i].text.c_str(), fault.Text().c_str());
        alarm(kMostSeconds);
        one.Inject(i + 1, sites[i], fault);
        const Outcome outcome = bench.Run(one, catalogue_.data());
        Check(outcome, sites[i], fault);
      }
    }
  }

  void Check(const Outcome& outcome, const CallSite& site, const Fault& fault) {
    const Findings findings(outcome, site.place);
    for (const Found& found : findings.all()) {
      if (IsExcused(outcome, found, site.text, Bit(fault.kind))) continue;
      constexpr std::size_t kMostShown = 100;
      if (++failures_ <= kMostShown) {
        ADD_FAILURE() << current_run << found.text << "\n-- the program printed:\n"
                      << outcome.output;
      }
    }
  }

  bool IsExcused(const Outcome& outcome, const Found& found, std::string_view call, unsigned kind) {
    for (std::size_t i = 0; i < std::size(kExcuses); ++i) {
      const Excuse& excuse = kExcuses[i];
      const bool fits =
          excuse.finding == found.finding && (excuse.group.empty() || excuse.group == name_) &&
          (excuse.sub_test.empty() || excuse.sub_test == found.place) &&
          call.starts_with(excuse.call) && (excuse.kinds == kAnyKind || (excuse.kinds & kind) != 0);
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
#if defined(__SANITIZE_ADDRESS__)
  __sanitizer_set_death_callback(TellCurrentRun);
#else
  std::signal(SIGSEGV, [](int) { std::abort(); });
#endif
  std::signal(SIGABRT, [](int) { TellCurrentRun(); });
  return RUN_ALL_TESTS();
}
