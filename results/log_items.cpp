#include "results/log_items.h"

#include <algorithm>
#include <map>
#include <set>

#include "results/check_list.h"

namespace quorle {
namespace {

/// No line is longer, and no message has more of them; the time to look is saved.
constexpr std::size_t kLongestLogLine = 4096;
constexpr std::size_t kMostMessageLines = 32;

using Effects = std::map<std::size_t, std::set<TextEffect>>;

bool Fails(TextEffect effect) {
  return effect == TextEffect::kFails || effect == TextEffect::kEnds ||
         effect == TextEffect::kStops || effect == TextEffect::kUnsupported;
}

/// The slots from which `line` can come, and what follows there.
Effects EffectsOf(std::string_view line, const LogSlots& slots, std::size_t& breaks) {
  Effects effects;
  if (line.size() > kLongestLogLine) return effects;
  for (const CheckText& text : CheckTexts()) {
    if (!FitsText(text.line, line)) continue;
    const std::size_t slot = slots.Find(text.check);
    if (slot == slots.all().size()) continue;
    effects[slot].insert(text.effect);
    breaks = std::max(breaks, text.breaks);
  }
  return effects;
}

/// What is left of `all` when the next line of the message is one of `line`.
void Narrow(Effects& all, const Effects& line) {
  Effects narrowed;
  for (const auto& [slot, effects] : all) {
    const auto same = line.find(slot);
    if (same == line.end()) continue;
    std::set<TextEffect> both;
    std::set_intersection(effects.begin(), effects.end(), same->second.begin(), same->second.end(),
                          std::inserter(both, both.end()));
    // The line that says more: "Internal filesystem locks must be shared locks." ends the group.
    narrowed[slot] = both.empty() ? same->second : both;
  }
  if (!narrowed.empty()) all = std::move(narrowed);
}

/// The group that an unknown message names: "Lock" of "Lock() test failed ..."; else empty.
std::string_view NamedGroup(std::string_view text) {
  const std::size_t end = text.find("()");
  return end == text.npos ? std::string_view() : text.substr(0, end);
}

/// Every check may print a message that is not known; the one that it names is likelier.
void AddAnyCheck(const LogSlots& slots, LogItem& item) {
  item.unknown = true;
  const TextEffect effect = item.diagnostic.type == DiagnosticClass::kError ? TextEffect::kFails
                            : item.diagnostic.type == DiagnosticClass::kCleanup
                                ? TextEffect::kReleases
                                : TextEffect::kPasses;
  const std::size_t named = slots.Find(NamedGroup(item.diagnostic.text));
  for (std::size_t slot = 0; slot < slots.all().size(); ++slot) {
    if (slots.all()[slot].number == 0) continue;
    if (named != slots.all().size() && slots.EndOfRow(slot) != named) continue;
    item.candidates.push_back({slot, effect});
  }
}

/// Whether `next` can be printed after `last`.
bool CanFollow(const LogSlots& slots, const LogCandidate& last, const LogCandidate& next) {
  switch (last.effect) {
    case TextEffect::kStops:
    case TextEffect::kUnsupported:
    case TextEffect::kSkips: {
      const bool same_check = next.slot == last.slot && last.effect == TextEffect::kStops &&
                              next.effect == TextEffect::kReleases;
      return same_check || next.slot > slots.EndOfRow(last.slot);
    }
    case TextEffect::kEnds:
    case TextEffect::kReleases:
      if (next.slot != last.slot) return next.slot > last.slot;
      return next.effect == TextEffect::kReleases || next.effect == TextEffect::kUnsupported;
    default:
      return next.slot >= last.slot;
  }
}

/// Leaves the candidates of which `is_possible` holds, unless that are none.
template <class Predicate>
void Keep(LogItem& item, const Predicate& is_possible) {
  std::vector<LogCandidate> left;
  std::copy_if(item.candidates.begin(), item.candidates.end(), std::back_inserter(left),
               is_possible);
  if (!left.empty()) item.candidates = std::move(left);
}

/// In a group that passed no check failed. In one that did not pass some check did, which said so: what
/// fails no check is not from a group that has neither a closing line nor a failure.
void DropWhatContradictsClosingLines(const LogSlots& slots, std::vector<LogItem>& items) {
  std::set<std::size_t> passed;
  for (const LogItem& item : items) {
    if (item.closing) passed.insert(item.candidates.front().slot);
  }
  std::set<std::size_t> possible = passed;
  for (LogItem& item : items) {
    if (item.closing) continue;
    Keep(item, [&](const LogCandidate& candidate) {
      return !Fails(candidate.effect) || !passed.contains(slots.EndOfRow(candidate.slot));
    });
    for (const LogCandidate& candidate : item.candidates) {
      if (Fails(candidate.effect)) possible.insert(slots.EndOfRow(candidate.slot));
    }
  }
  for (LogItem& item : items) {
    Keep(item, [&](const LogCandidate& candidate) {
      return Fails(candidate.effect) || candidate.effect == TextEffect::kSkips ||
             possible.contains(slots.EndOfRow(candidate.slot));
    });
  }
}

}  // namespace

LogSlots::LogSlots(const Catalogue& catalogue) : catalogue_(catalogue) {
  std::int32_t row = 0;
  std::set<std::string_view> printing;
  for (const CheckText& text : CheckTexts()) printing.insert(text.check);
  const std::vector<CheckInfo> checks = ListChecks(catalogue);
  auto check = checks.begin();
  for (const TestEntry* entry = catalogue.entries; entry->group != nullptr; ++entry) {
    ++row;
    for (; check != checks.end() && check->row == row; ++check) {
      slots_.push_back({.row = row,
                        .number = check->number,
                        .id = check->id,
                        .silent = !printing.contains(check->id)});
    }
    slots_.push_back({.row = row, .number = 0, .id = std::string(IdOf(*entry->group))});
  }
}

std::size_t LogSlots::Find(std::string_view id) const {
  const auto found =
      std::find_if(slots_.begin(), slots_.end(), [&](const Slot& slot) { return slot.id == id; });
  return static_cast<std::size_t>(found - slots_.begin());
}

std::size_t LogSlots::EndOfRow(std::size_t slot) const {
  while (slots_[slot].number != 0) ++slot;
  return slot;
}

bool ReadItem(const ConsoleMessage& message, const LogSlots& slots, LogItem& item) {
  item.diagnostic = message.diagnostic;
  Effects all;
  for (std::size_t i = 0; i < std::min(message.lines.size(), kMostMessageLines); ++i) {
    std::size_t breaks = 1;
    const Effects effects = EffectsOf(TrimmedLine(message.lines[i]), slots, breaks);
    if (effects.empty()) continue;
    item.breaks = breaks;
    if (all.empty()) {
      all = effects;
    } else {
      Narrow(all, effects);
    }
  }
  for (const auto& [slot, effects] : all) {
    for (const TextEffect effect : effects) item.candidates.push_back({slot, effect});
  }
  if (!item.candidates.empty()) return true;
  if (item.diagnostic.type == DiagnosticClass::kNote) {
    // The note of a row without checks stands for its closing line.
    for (std::size_t slot = 0; slot < slots.all().size(); ++slot) {
      const char* const note = slots.Entry(slot).group->note;
      if (note == nullptr || message.diagnostic.text != TrimmedLine(std::string_view(note).substr(
                                                            0, std::string_view(note).find('\n'))))
        continue;
      item.closing = true;
      item.candidates.push_back({slot, TextEffect::kSkips});
    }
    return !item.candidates.empty();
  }
  item.breaks = 2;
  AddAnyCheck(slots, item);
  return true;
}

void FindSources(const LogSlots& slots, std::vector<LogItem>& items) {
  DropWhatContradictsClosingLines(slots, items);

  // From the front: what can follow what stands before. An item that can follow nothing begins again.
  std::vector<bool> begins(items.size(), false);
  std::vector<std::vector<LogCandidate>> fitting(items.size());
  for (std::size_t i = 0; i < items.size(); ++i) {
    const auto follows = [&](const LogCandidate& candidate) {
      return i == 0 || std::any_of(fitting[i - 1].begin(), fitting[i - 1].end(),
                                   [&](const LogCandidate& last) {
                                     return CanFollow(slots, last, candidate);
                                   });
    };
    std::copy_if(items[i].candidates.begin(), items[i].candidates.end(),
                 std::back_inserter(fitting[i]), follows);
    begins[i] = fitting[i].empty();
    if (begins[i]) fitting[i] = items[i].candidates;
  }
  // From the back: what something can follow.
  for (std::size_t i = items.size(); i-- > 1;) {
    if (begins[i]) continue;
    std::vector<LogCandidate>& before = fitting[i - 1];
    before.erase(std::remove_if(before.begin(), before.end(),
                                [&](const LogCandidate& last) {
                                  return std::none_of(fitting[i].begin(), fitting[i].end(),
                                                      [&](const LogCandidate& next) {
                                                        return CanFollow(slots, last, next);
                                                      });
                                }),
                 before.end());
  }
  for (std::size_t i = 0; i < items.size(); ++i) {
    LogItem& item = items[i];
    const auto first =
        std::find_if(fitting[i].begin(), fitting[i].end(), [&](const LogCandidate& candidate) {
          return i == 0 || begins[i] || CanFollow(slots, items[i - 1].source, candidate);
        });
    item.source = *first;
    item.ambiguous = begins[i] || item.unknown || fitting[i].front().slot != fitting[i].back().slot;
  }
}

}  // namespace quorle
