#include "hosted/isolation/call_guard.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

#include "calls/tags.h"
#include "hosted/calls/packet_adapter.h"
#include "hosted/isolation/wire.h"

namespace quorle::isolation {
namespace {

template <class Object>
Object* At(std::int64_t word) {
  return PointedTo<Object>(static_cast<std::intptr_t>(word));
}

/// How many bytes the argument of `kind` at `at` leads to that the handler fills.
std::size_t FilledBytes(char kind, std::span<const std::int64_t> words, std::size_t at) {
  switch (kind) {
    case 'R':
      return static_cast<std::size_t>(std::max<std::int64_t>(words[at + 1], 0));
    case 'I':
      return sizeof(::InfoData);
    case 'E':
      return sizeof(::PRIVATE_ExamineDirContext);
    default:
      return 0;
  }
}

bool IsFilled(char kind) {
  return kind == 'R' || kind == 'I' || kind == 'E';
}

}  // namespace

void CallGuard::Lend(const calls::CallShape& shape, std::span<const std::int64_t> words,
                     Loan& loan) {
  loan.first = memory_.count();
  std::copy(words.begin(), words.end(), loan.words.begin());
  const std::string_view kinds = shape.arguments;
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    auto* const place = At<std::byte>(words[i]);
    if (place == nullptr) continue;
    if (kinds[i] == 'G') {
      LendTags(At<const ::TagItem>(words[i]), loan.words[i], loan);
    } else if (!IsFilled(kinds[i])) {
      continue;
    } else if (place == place_) {
      memory_.LendInPlace(place, FilledBytes(kinds[i], words, i));
    } else {
      // Without memory for a copy the handler gets the place itself.
      std::byte* const lent = memory_.Lend(place, FilledBytes(kinds[i], words, i));
      if (lent != nullptr) loan.words[i] = reinterpret_cast<std::intptr_t>(lent);
    }
  }
}

/// The tags are lent as well as what they lead to.
void CallGuard::LendTags(const ::TagItem* tags, std::int64_t& word, Loan& loan) {
  std::vector<::TagItem> lent;
  for (const ::TagItem* tag = tags; tag->ti_Tag != QUORLE_TAG_DONE; ++tag) {
    const std::size_t room = calls::RoomBehind(tags, *tag);
    std::byte* const place =
        room == 0 ? nullptr
                  : memory_.Lend(At<const void>(static_cast<std::int64_t>(tag->ti_Data)), room);
    loan.rooms.push_back(place);
    lent.push_back(*tag);
    if (place != nullptr) lent.back().ti_Data = reinterpret_cast<std::uintptr_t>(place);
  }
  lent.push_back({QUORLE_TAG_DONE, 0});
  std::byte* const place = memory_.Lend(lent.data(), lent.size() * sizeof lent[0]);
  if (place == nullptr) {
    loan.rooms.assign(loan.rooms.size(), nullptr);
  } else {
    word = reinterpret_cast<std::intptr_t>(place);
  }
}

bool CallGuard::TakeBack(const calls::CallShape& shape, std::span<const std::int64_t> words,
                         const Loan& loan) {
  const bool holds = memory_.Holds(loan.first);
  const std::string_view kinds = shape.arguments;
  for (std::size_t i = 0; holds && i < kinds.size(); ++i) {
    if (loan.words[i] == words[i]) continue;
    if (kinds[i] == 'E') {
      // The directory stays dos's.
      auto& scan = *At<::PRIVATE_ExamineDirContext>(words[i]);
      const auto& lent = *At<const ::PRIVATE_ExamineDirContext>(loan.words[i]);
      scan.Entry = lent.Entry;
      std::copy(std::begin(lent.FSPrivate), std::end(lent.FSPrivate), scan.FSPrivate);
    } else if (kinds[i] == 'G') {
      const auto* const tags = At<const ::TagItem>(words[i]);
      for (std::size_t n = 0; n < loan.rooms.size(); ++n) {
        if (loan.rooms[n] == nullptr) continue;
        std::memcpy(At<void>(static_cast<std::int64_t>(tags[n].ti_Data)), loan.rooms[n],
                    calls::RoomBehind(tags, tags[n]));
      }
    } else if (const std::size_t bytes = FilledBytes(kinds[i], words, i); bytes != 0) {
      // All of it: what the handler wrote beyond its count is the tester's to find.
      std::memcpy(At<void>(words[i]), At<const void>(loan.words[i]), bytes);
    }
  }
  memory_.TakeBack(loan.first);
  return holds;
}

}  // namespace quorle::isolation
