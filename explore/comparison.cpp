#include "explore/comparison.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <sstream>

#include "explore/value_text.h"
#include "platform/constants.h"

namespace quorle::explore {
namespace {

std::string Hex(std::uint32_t bits) {
  std::ostringstream text;
  text << "0x" << std::hex << bits;
  return text.str();
}

std::optional<Unlike> Numbers(std::string_view what, std::int64_t reference, std::int64_t device) {
  if (reference == device) return std::nullopt;
  return Unlike{what, std::to_string(reference), std::to_string(device)};
}

std::optional<Unlike> Masks(std::string_view what, std::uint32_t reference, std::uint32_t device,
                            std::uint32_t kept) {
  if ((reference & kept) == (device & kept)) return std::nullopt;
  return Unlike{what, Hex(reference), Hex(device)};
}

std::optional<Unlike> Texts(std::string_view what, std::string_view reference,
                            std::string_view device) {
  if (reference == device) return std::nullopt;
  return Unlike{what, Quoted(reference), Quoted(device)};
}

}  // namespace

Comparison::Comparison(const Traits& traits, const SearchClock& clock)
    : traits_(traits), clock_(clock) {}

void Comparison::Begin() {
  device_ids_.clear();
  reference_ids_.clear();
  moments_.clear();
  first_tick_ = clock_.ticks();
}

void Comparison::BeforeCall() {
  if (!traits_.own_clock) return;
  // What was slept through belongs to the call before.
  const std::int64_t now = SearchClock::ToTicks(host_.Now());
  moments_.resize(static_cast<std::size_t>(clock_.ticks() - first_tick_), {now, now});
  moments_.push_back({now, now});
}

void Comparison::AfterCall() {
  if (traits_.own_clock) moments_.back().end = SearchClock::ToTicks(host_.Now());
}

bool Comparison::IsDate(const quorle::DateStamp& reference, const quorle::DateStamp& device) const {
  const std::int64_t due = SearchClock::ToTicks(reference);
  const std::int64_t is = SearchClock::ToTicks(device);
  const std::int64_t grain = traits_.date_ticks;
  const std::int64_t tick = due - first_tick_;
  if (traits_.own_clock && tick >= 0 && tick < std::ssize(moments_)) {
    const Moments& moment = moments_[static_cast<std::size_t>(tick)];
    return is > moment.begin - grain && is < moment.end + grain;
  }
  return std::abs(is - due) < grain;
}

bool Comparison::IsSameObject(std::uint64_t reference, std::uint64_t device) {
  if (!traits_.numbers_objects || reference == 0) return true;
  if (device == 0) return false;
  // A device may use the number of an object that is gone again; the reference never does.
  const auto [known, added] = device_ids_.try_emplace(reference, device);
  if (!added) return known->second == device;
  const auto [owner, first] = reference_ids_.try_emplace(device, reference);
  if (!first) {
    device_ids_.erase(owner->second);
    owner->second = reference;
  }
  return true;
}

std::optional<Unlike> Comparison::Records(const ExamineData& reference, const ExamineData& device) {
  constexpr std::uint32_t kKind = FSO_TYPE_MASK;
  if (auto unlike = Numbers("type", reference.Type & kKind, device.Type & kKind)) return unlike;
  if (auto unlike = Numbers("size", reference.FileSize, device.FileSize)) return unlike;
  if (auto unlike = Texts("name", reference.Name, device.Name)) return unlike;
  if (auto unlike = Texts("comment", reference.Comment, device.Comment)) return unlike;
  const bool is_soft = (reference.Type & kKind) == FSO_TYPE_SOFTLINK;
  if (traits_.shows_targets && (is_soft || traits_.marks_links)) {
    if (auto unlike = Texts("link", reference.Link, device.Link)) return unlike;
  }
  if (auto unlike =
          Masks("protection", reference.Protection, device.Protection, traits_.protection)) {
    return unlike;
  }
  if (auto unlike = Masks("owner", reference.OwnerUID, device.OwnerUID, traits_.owner))
    return unlike;
  if (auto unlike = Masks("group", reference.OwnerGID, device.OwnerGID, traits_.group))
    return unlike;
  // Where a link is no other than the object each name has the count of all of them.
  const bool may_count_more = !traits_.marks_links && device.RefCount > reference.RefCount;
  if (traits_.counts_links && !may_count_more) {
    if (auto unlike = Numbers("links", reference.RefCount, device.RefCount)) return unlike;
  }
  if (!IsDate(reference.Date, device.Date)) {
    return Unlike{"date", DateText(reference.Date), DateText(device.Date)};
  }
  if (!IsSameObject(reference.ObjectID, device.ObjectID)) {
    return Unlike{"number", "that of the object", std::to_string(device.ObjectID)};
  }
  return std::nullopt;
}

std::optional<Unlike> Comparison::Objects(const TreeObject& reference, const TreeObject& device) {
  ExamineData ours = reference.record;
  ours.Name = reference.name.c_str();
  ours.Comment = reference.comment.c_str();
  ours.Link = reference.link.c_str();
  ExamineData theirs = device.record;
  theirs.Name = device.name.c_str();
  theirs.Comment = device.comment.c_str();
  theirs.Link = device.link.c_str();
  if (auto unlike = Records(ours, theirs)) return unlike;
  if (auto unlike = Numbers("refusal", reference.error, device.error)) return unlike;
  if (auto unlike = Numbers("bytes", reference.bytes, device.bytes)) return unlike;
  if (reference.content == device.content) return std::nullopt;
  return Unlike{"contents", std::to_string(reference.bytes) + " bytes", "as many, but other ones"};
}

std::optional<Unlike> Comparison::Trees(const Tree& reference, const Tree& device) {
  if (auto unlike = Numbers("scan", reference.error, device.error)) return unlike;
  auto ours = reference.objects.begin();
  auto theirs = device.objects.begin();
  while (ours != reference.objects.end() || theirs != device.objects.end()) {
    const bool ours_left = ours != reference.objects.end();
    const bool theirs_left = theirs != device.objects.end();
    if (!theirs_left || (ours_left && ours->path < theirs->path)) {
      if (!device.is_cut) return Unlike{"missing", Quoted(ours->path), "nothing"};
      ++ours;
      continue;
    }
    if (!ours_left || theirs->path < ours->path) {
      const bool again =
          theirs != device.objects.begin() && theirs->path == std::prev(theirs)->path;
      return Unlike{again ? "repeated" : "left", again ? "once" : "nothing", Quoted(theirs->path)};
    }
    if (auto unlike = Objects(*ours, *theirs)) {
      unlike->reference = Quoted(ours->path) + ": " + unlike->reference;
      return unlike;
    }
    ++ours;
    ++theirs;
  }
  return std::nullopt;
}

}  // namespace quorle::explore
