#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/constants.h"
#include "results/check_list.h"
#include "selftest/sweep/fault_plan.h"
#include "selftest/sweep/findings.h"
#include "selftest/sweep/sweep_run.h"
#include "tests/catalogue.h"
#if defined(QUORLE_SANITIZE)
#include <sanitizer/common_interface_defs.h>
#endif

// Runs each group with one platform call that misbehaves: for each call of the conforming run, from
// the first of the start-up to the last of the tear-down, and for each way in which it can. On a
// vector port and on a packet port, with every combination of NI, NW and NR. Whatever the one call
// does, the program must end well and leave nothing; what it may leave all the same is in kExcuses.
//
// The further catalogue is swept check by check, in one setting on each kind of port. Of the many calls
// that some of its checks make, the first two and the last of an operation misbehave, and of checks of thousands
// of calls only some of the runs are made.
//
// With QUORLE_SWEEP_STEP=N in the environment only every N-th run is made, for slow machines.

namespace quorle::selftest {
namespace {

using Action = FaultRule::Action;

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
        const bool is_it = event.name == found.object || event.name == "DH0:" + found.object;
        return event.op == "Lock" && is_it && event.mode == SHARED_LOCK;
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
    {Finding::kLeft, "", "", "Inhibit(\"DH0:\",false", kNotMade, nullptr,
     "the call that lets everybody back is not made: nothing can be removed"},
    {Finding::kLabel, "Further.Format", "", "Inhibit(\"DH0:\",false", kNotMade, nullptr,
     "the call that lets everybody back is not made: nothing gets its old name"},
    {Finding::kLabel, "Further.Format", "", "Relabel(\"DH0:\",\"DH0 Disk\")", kNotMade, nullptr,
     "the call that restores the name is not made"},
    {Finding::kLabel, "Further.Format", "", "VolNameFromPort(",
     kNotMade | Bit(Action::kDoneFail) | Bit(Action::kSet), nullptr,
     "the name to go back to is not the one from before"},
    {Finding::kLabel, "Further.Serialize", "", "VolNameFromPort(",
     kNotMade | Bit(Action::kDoneFail) | Bit(Action::kSet), nullptr,
     "the name to go back to is not the one from before"},
    {Finding::kLeft, "Further.Format", "", "Lock(\"DH0:\"",
     Bit(Action::kSucceed) | Bit(Action::kSet), nullptr,
     "the directory that is taken for the root of the target is that of another volume"},
    {Finding::kLeft, "Further.Serialize", "", "Lock(\"DH0:\"",
     Bit(Action::kSucceed) | Bit(Action::kSet), nullptr,
     "the directory that is taken for the root of the target is that of another volume"},
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

/// What is run again and again.
struct Swept {
  std::string name;  ///< of the group, for messages and excuses
  std::vector<TestEntry> entries;
  std::vector<std::string> host_words = {};  ///< first on the command line
  bool is_further = false;

  Catalogue catalogue() const {
    return {.name = "swept",
            .entries = entries.data(),
            .is_further = is_further,
            .may_destroy = is_further};
  }
};

class SweepTest : public testing::Test {
 public:
  /// All of `parts` are of one group, whose excuses they share.
  explicit SweepTest(std::vector<Swept> parts)
      : parts_(std::move(parts)), name_(parts_.front().name) {}

  void TestBody() override {
    for (const Swept& part : parts_) SweepPart(part);
    alarm(0);
    RecordProperty("runs", static_cast<int>(runs_));
    std::printf("%s: %zu runs\n", name_.c_str(), runs_);
    if (Step() > 1) return;
    for (std::size_t i = 0; i < std::size(kExcuses); ++i) {
      if (kExcuses[i].group != name_) continue;
      EXPECT_TRUE(used_[i]) << "an excuse that nothing needs: sub-test " << kExcuses[i].sub_test
                            << ", " << kExcuses[i].call << ", " << kExcuses[i].reason;
    }
  }

 private:
  void SweepPart(const Swept& part) {
    swept_ = part;
    for (const char* const port : {"vector", "packet", "classic"}) {
      for (const std::vector<std::string>& switches : Settings()) {
        if (swept_.is_further && !IsForFurther(port, switches)) continue;
        setting_ = std::string(port) + " port";
        std::vector<std::string> words = swept_.host_words;
        words.insert(words.end(), {"--mount", std::string("DH0=ram,port=") + port, "DH0:"});
        words.insert(words.end(), switches.begin(), switches.end());
        for (const std::string& word : switches) setting_ += " " + word;
        Sweep(words);
      }
    }
  }

  void Sweep(const std::vector<std::string>& words) {
    SharedBench bench(words);
    const Outcome conforming = bench.Run(
        swept_.catalogue(), [&](FaultPlan& plan) { plan.Record(bench.watch().current()); });
    const std::vector<CallSite>& sites = conforming.sites;
    ASSERT_FALSE(sites.empty());
    for (const Found& found : FindingsOf(conforming, {})) {
      EXPECT_TRUE(IsExcused(conforming, found, {}, {})) << setting_ << ", no fault: " << found.text;
    }
    const std::vector<bool> chosen = Chosen(sites);
    // A check of thousands of calls takes as long as all the others.
    constexpr std::size_t kUsualCalls = 500;
    const std::size_t step = swept_.is_further ? sites.size() / kUsualCalls + 1 : 1;
    for (std::size_t i = 0; i < sites.size(); ++i) {
      if (!chosen[i]) continue;
      for (const PlannedFault& fault : sites[i].faults) {
        if (++turn_ % (Step() * step) != 0) continue;
        ++runs_;
        std::snprintf(current_run, sizeof current_run, "\n%s, %s, call %zu%s%s: %s\n  is %s\n",
                      name_.c_str(), setting_.c_str(), i + 1,
                      sites[i].place.empty() ? "" : " in sub-test ", sites[i].place.c_str(),
                      sites[i].text.c_str(), fault.text.c_str());
        alarm(kMostSeconds);
        const Outcome outcome = bench.Run(
            swept_.catalogue(), [&](FaultPlan& plan) { plan.Inject(i + 1, sites[i], fault); });
        Check(outcome, sites[i], fault);
      }
    }
  }

  /// The further catalogue is swept with all the switches on a packet port, and with none on the others.
  static bool IsForFurther(std::string_view port, const std::vector<std::string>& switches) {
    constexpr std::size_t kAllSwitches = 3;
    return switches.size() == (port == "packet" ? kAllSwitches : 0);
  }

  /// Which of the calls misbehave: all, and of a further check the first two and the last of an operation.
  std::vector<bool> Chosen(const std::vector<CallSite>& sites) const {
    if (!swept_.is_further) return std::vector<bool>(sites.size(), true);
    std::vector<bool> chosen(sites.size());
    struct Calls {
      std::size_t count = 0;
      std::size_t last = 0;
    };
    std::map<std::string, Calls> operations;
    for (std::size_t i = 0; i < sites.size(); ++i) {
      Calls& calls = operations[sites[i].place + sites[i].op];
      calls.last = i;
      chosen[i] = ++calls.count <= 2;
    }
    for (const auto& [name, calls] : operations) chosen[calls.last] = true;
    return chosen;
  }

  void Check(const Outcome& outcome, const CallSite& site, const PlannedFault& fault) {
    for (const Found& found : FindingsOf(outcome, site.place)) {
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

  std::vector<Swept> parts_;
  std::string name_;
  Swept swept_;  ///< the part that is being swept
  std::string setting_;
  bool used_[std::size(kExcuses)] = {};
  std::size_t turn_ = 0;
  std::size_t runs_ = 0;
  std::size_t failures_ = 0;
};

void Register(const std::string& test_name, const std::vector<Swept>& parts) {
  std::string plain_name = test_name;
  std::replace(plain_name.begin(), plain_name.end(), ' ', '_');
  testing::RegisterTest("Sweep", plain_name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                        [=]() -> SweepTest* { return new SweepTest(parts); });
}

constexpr TestEntry kLast = {nullptr, ""};

/// "FSLock() / ACTION_LOCATE_OBJECT - Lock"
std::string NameOf(const TestEntry& entry) {
  const std::string title = entry.title;
  return title.substr(title.find(" - ") + 3);
}

bool HasExcuses(std::string_view group) {
  return std::any_of(std::begin(kExcuses), std::end(kExcuses),
                     [group](const Excuse& excuse) { return excuse.group == group; });
}

/// Each check of the further catalogue by itself; those of a group with excuses in one test, which sees whether all
/// are needed.
void RegisterFurther() {
  static std::deque<TestGroup> groups;
  static std::deque<std::array<SubTest, 2>> tables;
  for (const TestEntry* entry = kFurtherCatalogue.entries; entry->group != nullptr; ++entry) {
    const std::string id(IdOf(*entry->group));
    const std::string name = id.substr(id.find('.') + 1);
    std::vector<Swept> parts;
    for (const SubTest* check = entry->group->sub_tests; check->run != nullptr; ++check) {
      TestGroup& group = groups.emplace_back(*entry->group);
      group.sub_tests = tables.emplace_back(std::array<SubTest, 2>{*check, SubTest{}}).data();
      const Swept part = {
          .name = id, .entries = {{&group, entry->title}, kLast}, .is_further = true};
      if (!HasExcuses(id)) Register(name + " " + check->name, {part});
      parts.push_back(part);
    }
    if (HasExcuses(id)) Register(name, parts);
  }
}

void RegisterAll() {
  std::vector<TestEntry> stubs;
  for (const TestEntry* entry = kStandardCatalogue.entries; entry->group != nullptr; ++entry) {
    if (entry->group->sub_tests == nullptr) {
      stubs.push_back(*entry);
      continue;
    }
    Register(NameOf(*entry), {{.name = NameOf(*entry), .entries = {*entry, kLast}}});
  }
  stubs.push_back(kLast);
  Register("Rows without tests", {{.name = "Rows without tests", .entries = stubs}});
  Register("Start from the desktop",
           {{.name = "Start from the desktop", .entries = stubs, .host_words = {"--workbench"}}});
  Register("Start on an old system", {{.name = "Start on an old system",
                                       .entries = stubs,
                                       .host_words = {"--dos-version", "53.89"}}});
  RegisterFurther();
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
