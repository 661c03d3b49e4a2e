#include "selftest/explore/all_deviations.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "handlers/deviate/deviation.h"
#include "handlers/deviate/hidden.h"

namespace quorle::selftest {
namespace {

/// A deviation that something does not see.
struct Unseen {
  enum class By : std::uint8_t {
    kPrograms,        ///< no program that goes through dos does
    kPacketPrograms,  ///< the same, on a packet port
    kFiles,           ///< a search does, a file of calls does not
    kSearches,        ///< a file of calls does, a search does not
  };
  std::string_view name;
  By by;
  std::string_view why;
};

constexpr Unseen kUnseen[] = {
    {"create-directory-exclusive", Unseen::By::kPrograms,
     "dos makes the lock on a new directory a shared one before a program has it; the catalogue calls the handler"},
    {"comment-refused-clears", Unseen::By::kPacketPrograms,
     "the text of a packet has 255 bytes at the most: a longer comment never comes to the handler"},
    {"examine-file-number", Unseen::By::kFiles,
     "the numbers of objects are the filesystem's own, and not written in files"},
    {"examine-object-number", Unseen::By::kFiles, "the same"},
    {"hard-link-across-volumes", Unseen::By::kSearches, "a search has one volume alone"},
    {"hard-link-across-wrong-code", Unseen::By::kSearches, "the same"},
    {"examine-root-number", Unseen::By::kFiles, "the same"},
};

template <class Holds>
bool Any(std::string_view name, Holds holds) {
  return std::any_of(std::begin(kUnseen), std::end(kUnseen),
                     [&](const Unseen& unseen) { return unseen.name == name && holds(unseen.by); });
}

}  // namespace

std::vector<std::string> AllDeviations() {
  std::vector<std::string> names;
  for (const deviate::Deviation& deviation : deviate::Deviations()) {
    names.emplace_back(deviation.name);
  }
  for (const deviate::HiddenDeviation& deviation : deviate::HiddenDeviations()) {
    names.emplace_back(deviation.name);
  }
  return names;
}

bool IsHiddenBy(std::string_view name, PortType port) {
  return Any(name, [&](Unseen::By by) {
    return by == Unseen::By::kPrograms ||
           (by == Unseen::By::kPacketPrograms && port == PortType::kPacket);
  });
}

bool IsHiddenFromSearches(std::string_view name, PortType port) {
  return IsHiddenBy(name, port) ||
         Any(name, [](Unseen::By by) { return by == Unseen::By::kSearches; });
}

bool IsWithoutFile(std::string_view name) {
  return Any(name,
             [](Unseen::By by) { return by == Unseen::By::kPrograms || by == Unseen::By::kFiles; });
}

}  // namespace quorle::selftest
