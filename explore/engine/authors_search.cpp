#include "explore/engine/authors_search.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "explore/finding_text.h"
#include "explore/value_text.h"
#include "hosted/dos/volume_listing.h"
#include "results/expectation_file.h"
#include "results/whole_file.h"

namespace quorle::explore {
namespace {

constexpr const char* kEngineDevice = "DH0";

/// `keys` behind a comma, as they stand in a mount.
std::string KeysOfMount(const std::string& keys) {
  return keys.empty() ? std::string() : "," + keys;
}

}  // namespace

std::unique_ptr<AuthorsSearch> AuthorsSearch::Start(const ::Handler& handler,
                                                    const EngineSettings& settings,
                                                    Console& console, std::string& problem) {
  std::unique_ptr<AuthorsSearch> authors(new AuthorsSearch(settings, console));
  if (!settings.expect.empty() &&
      !ReadExpectedDifferences(settings.expect, authors->expected_, problem)) {
    return nullptr;
  }
  if (authors->settings_.out.empty()) authors->settings_.out.assign(1, '.');  // GCC 12 warns of "."
  std::error_code error;
  std::filesystem::create_directories(authors->settings_.out, error);
  if (error) {
    problem = "cannot create the directory " + authors->settings_.out + ": " + error.message();
    return nullptr;
  }
  if (!authors->Mount(handler, problem)) return nullptr;
  return authors;
}

bool AuthorsSearch::Mount(const ::Handler& handler, std::string& problem) {
  MountSpec spec;
  const std::string text =
      kEngineDevice + std::string("=plugin:linked") + KeysOfMount(settings_.mount);
  if (!ParseMountSpec(text, spec, problem)) return false;
  device_ = LoneVolume::Mount(handler, std::move(spec),
                              {.clock = clock_, .console = console_, .watch = &watch_}, problem);
  if (device_ == nullptr) return false;
  HandlerPort& port = device_->port();
  // Each sequence begins on an empty volume, and what somebody has there is not deleted for that.
  if (const VolumeListing listing = ListVolume(port, {.objects = 1}); !listing.objects.empty()) {
    problem = device_->side().device() + " is not empty, there is " +
              Quoted(listing.objects.begin()->first);
    return false;
  }
  if (const std::int32_t code = device_->side().Begin({}); code != 0) {
    problem = device_->side().device() + " cannot be locked, error " + std::to_string(code);
    return false;
  }
  traits_ = ProbeTraits(device_->side(), clock_, true);
  for (const std::string& line : TraitLines(traits_)) console_.Print("trait: " + line + "\n");
  reference_ =
      std::make_unique<ReferenceVolume>(clock_, console_, port.volume_name().value_or("Reference"));
  trial_ = std::make_unique<Trial>(Trial::Parts{.reference = reference_->side(),
                                                .device = device_->side(),
                                                .clock = clock_,
                                                .control = *this,
                                                .traits = traits_},
                                   TrialSettings{.directory = {}, .amounts = Amounts::kSmall});
  search_ = std::make_unique<Search>(
      *trial_, SearchSettings{},
      [this](const Finding& finding, bool first) { Show(finding, first); },
      [](std::uint64_t) { return false; });
  return true;
}

bool AuthorsSearch::Run(std::span<const std::uint8_t> bytes) {
  is_fine_ = true;
  search_->RunOne(ReadChoices(bytes));
  return is_fine_;
}

void AuthorsSearch::Show(const Finding& finding, bool first) {
  const std::string path = settings_.out + "/difference-" + finding.difference.id + ".calls";
  FindingRemarks remarks{.first = first, .expected = {}, .again = {}};
  remarks.again = "quorle replay --mount " + std::string(kEngineDevice) + "=plugin:PLUGIN" +
                  KeysOfMount(settings_.mount) + " " + path + " " + kEngineDevice + ":";
  const auto known = expected_.find(finding.difference.id);
  if (known != expected_.end()) {
    remarks.expected = known->second;
  } else {
    is_fine_ = false;
  }
  console_.Print(FindingText(finding, remarks));
  std::string problem;
  const std::string calls =
      FindingCalls(finding, remarks.again, device_->port().volume_name().value_or(""), console_);
  if (!WriteWholeFile(path, calls, problem)) console_.Report(problem);
}

}  // namespace quorle::explore
