#include "handlers/hostdir/directory_names.h"

#include <algorithm>
#include <utility>

#include "handlers/common/names.h"
#include "handlers/hostdir/host_names.h"

namespace quorle::hostdir {
namespace {

/// Directories that are remembered, and names in all of them together.
constexpr std::size_t kMostDirectories = 16;
constexpr std::size_t kMostNames = 1'000'000;

/// Ticks of the host are shorter: those of the kernel's clock where times have nanoseconds, and those
/// of FAT, of whole seconds and of hundredths elsewhere.
constexpr std::chrono::milliseconds kFineTick(50);
constexpr std::chrono::milliseconds kCoarseTick(2100);
/// How long names are believed that were changed by this mount since they were read; longer where the
/// reading takes so long that it would be most of the work.
constexpr std::chrono::seconds kOwnChangesLast(1);
constexpr int kReadingsShare = 10;

bool SameMoment(const std::timespec& a, const std::timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

/// Whether the filesystem has times that are finer than hundredths of a second.
bool HasFineTimes(const HostStat& directory) {
  constexpr long kHundredth = 10'000'000;
  return directory.status_changed.tv_nsec % kHundredth != 0;
}

/// Whether no later change of the directory can lead to the times that it has.
bool HasTimesOfItsOwn(const HostStat& directory) {
  return HasFineTimes(directory) && !SameMoment(directory.changed, directory.status_changed);
}

std::string Folded(std::string_view name) {
  std::string folded(name);
  for (char& c : folded) c = static_cast<char>(common::Fold(c));
  return folded;
}

}  // namespace

// ---- DirectoryNames ----------------------------------------------------------------------------

const std::string* DirectoryNames::Find(std::string_view name, const std::string& exact) const {
  const auto found = by_folded_name_.find(Folded(name));
  if (found == by_folded_name_.end()) return nullptr;
  const std::string* first = found->second.front();
  for (const std::string* const candidate : found->second) {
    if (*candidate == exact) return candidate;
    if (*candidate < *first) first = candidate;
  }
  return first;
}

void DirectoryNames::Assign(const std::vector<std::string>& names) {
  by_folded_name_.clear();
  names_.clear();
  by_folded_name_.reserve(names.size());
  for (const std::string& name : names) Add(name);
}

void DirectoryNames::Add(const std::string& host_name) {
  // Whole directories come in order.
  const std::size_t before = names_.size();
  const auto place = names_.emplace_hint(names_.end(), host_name);
  std::string name;
  if (names_.size() == before || !FromHostName(host_name, name)) return;
  by_folded_name_[Folded(name)].push_back(&*place);
}

void DirectoryNames::Remove(const std::string& host_name) {
  const auto place = names_.find(host_name);
  if (place == names_.end()) return;
  std::string name;
  if (FromHostName(host_name, name)) {
    const auto same = by_folded_name_.find(Folded(name));
    std::erase(same->second, &*place);
    if (same->second.empty()) by_folded_name_.erase(same);
  }
  names_.erase(place);
}

// ---- NamesCache --------------------------------------------------------------------------------

bool NamesCache::Known::HasTimes(const HostStat& directory) const {
  return SameMoment(changed, directory.changed) &&
         SameMoment(status_changed, directory.status_changed);
}

NamesCache::Known* NamesCache::Find(const Identity& identity) {
  const auto found = std::find_if(known_.begin(), known_.end(), [&identity](const Known& known) {
    return known.identity == identity;
  });
  if (found == known_.end()) return nullptr;
  known_.splice(known_.begin(), known_, found);
  return &known_.front();
}

const NamesCache::Known* NamesCache::Find(const Identity& identity) const {
  for (const Known& known : known_) {
    if (known.identity == identity) return &known;
  }
  return nullptr;
}

NamesCache::Known& NamesCache::KnownFor(const HostStat& directory) {
  Known* known = Find(directory.identity());
  if (known == nullptr) {
    known = &known_.emplace_front();
    known->identity = directory.identity();
  } else if (known->HasTimes(directory)) {
    return *known;
  }
  known->changed = directory.changed;
  known->status_changed = directory.status_changed;
  known->first_seen = now_();
  known->is_complete = false;
  known->mark.reset();
  return *known;
}

const DirectoryNames* NamesCache::Remembered(const Identity& identity) const {
  const Known* const known = Find(identity);
  return known != nullptr && known->is_read ? &known->names : nullptr;
}

const DirectoryNames* NamesCache::Current(const HostStat& directory) {
  if (Find(directory.identity()) == nullptr) return nullptr;
  const Known& known = KnownFor(directory);
  if (!known.is_complete) return nullptr;
  if (known.has_own_changes &&
      now_() - known.read >
          std::max<Clock::duration>(kOwnChangesLast, known.reading_took * kReadingsShare)) {
    return nullptr;
  }
  return &known.names;
}

DosError NamesCache::Read(const Opened& directory, const DirectoryNames*& names) {
  Known& known = KnownFor(directory.stat);
  known.is_complete = false;
  known.read = now_();
  std::vector<std::string> found;
  if (const DosError error = ListNames(directory.fd.get(), found)) return error;
  ++counters_.readings;
  known.names.Assign(found);
  known.is_read = true;
  known.reading_took = now_() - known.read;
  known.has_own_changes = false;
  const std::chrono::milliseconds tick = HasFineTimes(directory.stat) ? kFineTick : kCoarseTick;
  known.is_complete =
      are_times_kept_ && (HasTimesOfItsOwn(directory.stat) || known.read - known.first_seen > tick);
  names = &known.names;
  DropOldest();
  return kNoError;
}

void NamesCache::DropOldest() {
  std::size_t names = 0;
  std::size_t directories = 0;
  for (auto known = known_.begin(); known != known_.end(); ++known) {
    names += known->names.all().size();
    // One is kept, however large.
    if (++directories == 1 || (directories <= kMostDirectories && names <= kMostNames)) continue;
    known_.erase(known, known_.end());
    return;
  }
}

void NamesCache::Add(const Identity& directory, const std::string& host_name) {
  Known* const known = Find(directory);
  if (known != nullptr) known->names.Add(host_name);
}

void NamesCache::Remove(const Identity& directory, const std::string& host_name) {
  Known* const known = Find(directory);
  if (known != nullptr) known->names.Remove(host_name);
}

void NamesCache::Accept(const HostStat& directory) {
  Known* known = Find(directory.identity());
  if (known == nullptr) return;
  const bool was_complete = known->is_complete;
  known = &KnownFor(directory);
  known->is_complete = was_complete && HasTimesOfItsOwn(directory);
  known->has_own_changes = true;
}

void NamesCache::AddEmpty(const HostStat& directory, const Identity& above) {
  Forget(directory.identity());
  // A directory is made as the one above it is.
  const bool keeps_case = KeepsCase(above);
  Known& known = KnownFor(directory);
  known.read = now_();
  known.is_read = true;
  known.is_complete = are_times_kept_ && HasTimesOfItsOwn(directory);
  known.keeps_case = keeps_case;
  DropOldest();
}

void NamesCache::Forget(const Identity& directory) {
  std::erase_if(known_, [&](const Known& known) { return known.identity == directory; });
}

void NamesCache::SetMark(const HostStat& directory, Mark mark) {
  Known* const known = Find(directory.identity());
  if (known == nullptr || !known->is_complete || !known->HasTimes(directory)) return;
  known->mark = std::move(mark);
}

std::optional<NamesCache::Mark> NamesCache::MarkOf(const HostStat& directory) {
  if (Find(directory.identity()) == nullptr) return std::nullopt;
  const Known& known = KnownFor(directory);
  if (!known.mark || now_() - known.mark->read > kOwnChangesLast) return std::nullopt;
  return known.mark;
}

void NamesCache::ForgetMark(const Identity& directory) {
  Known* const known = Find(directory);
  if (known != nullptr) known->mark.reset();
}

void NamesCache::NoteTimes(const HostStat& before, const HostStat& after) {
  are_times_kept_ = are_times_kept_ || !SameMoment(before.changed, after.changed);
}

bool NamesCache::KeepsCase(const Identity& directory) const {
  const Known* const known = Find(directory);
  return known != nullptr && known->keeps_case;
}

void NamesCache::NoteKeepsCase(const Identity& directory) {
  Known* known = Find(directory);
  if (known == nullptr) {
    known = &known_.emplace_front();
    known->identity = directory;
    DropOldest();
  }
  known->keeps_case = true;
}

}  // namespace quorle::hostdir
