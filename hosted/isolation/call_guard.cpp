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

/// How many bytes the argument of `kind` at `at` leads to that the handler fills.
std::size_t FilledBytes(char kind, std::span<const std::int64_t> words, std::size_t at) {
  switch (kind) {
    case 'R':
      return static_cast<std::size_t>(std::max<std::int64_t>(words[at + 1], 0));
    case 'I':
      return sizeof(::InfoData);
    case 'B':
      return sizeof(::FileInfoBlock);
    case 'E':
      return sizeof(::PRIVATE_ExamineDirContext);
    default:
      return 0;
  }
}

bool IsFilled(char kind) {
  return kind == 'R' || kind == 'I' || kind == 'B' || kind == 'E';
}

}  // namespace

void CallGuard::CopyIn(const calls::CallShape& shape, std::span<const std::int64_t> words,
                       Copies& copies) {
  copies.first = memory_.count();
  std::copy(words.begin(), words.end(), copies.words.begin());
  const std::string_view kinds = shape.arguments;
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    auto* const place = At<std::byte>(words[i]);
    if (place == nullptr) continue;
    if (kinds[i] == 'G') {
      CopyInTags(At<const ::TagItem>(words[i]), copies.words[i], copies);
    } else if (!IsFilled(kinds[i])) {
      continue;
    } else if (place == place_) {
      memory_.FenceInPlace(place, FilledBytes(kinds[i], words, i));
    } else {
      // Without memory for a copy the handler gets the place itself.
      std::byte* const copy = memory_.Copy(place, FilledBytes(kinds[i], words, i));
      if (copy != nullptr) copies.words[i] = reinterpret_cast<std::intptr_t>(copy);
    }
  }
}

/// The tags are copied as well as what they lead to.
void CallGuard::CopyInTags(const ::TagItem* tags, std::int64_t& word, Copies& copies) {
  std::vector<::TagItem> copy;
  for (const ::TagItem* tag = tags; tag->ti_Tag != QUORLE_TAG_DONE; ++tag) {
    const std::size_t room = calls::RoomBehind(tags, *tag);
    std::byte* const place =
        room == 0 ? nullptr
                  : memory_.Copy(At<const void>(static_cast<std::int64_t>(tag->ti_Data)), room);
    copies.rooms.push_back(place);
    copy.push_back(*tag);
    if (place != nullptr) copy.back().ti_Data = reinterpret_cast<std::uintptr_t>(place);
  }
  copy.push_back({QUORLE_TAG_DONE, 0});
  std::byte* const place = memory_.Copy(copy.data(), copy.size() * sizeof copy[0]);
  if (place == nullptr) {
    copies.rooms.assign(copies.rooms.size(), nullptr);
  } else {
    word = reinterpret_cast<std::intptr_t>(place);
  }
}

bool CallGuard::CopyOut(const calls::CallShape& shape, std::span<const std::int64_t> words,
                        const Copies& copies) {
  const bool holds = memory_.IsIntact(copies.first);
  const std::string_view kinds = shape.arguments;
  for (std::size_t i = 0; holds && i < kinds.size(); ++i) {
    if (copies.words[i] == words[i]) continue;
    if (kinds[i] == 'E') {
      // The directory stays dos's.
      auto& scan = *At<::PRIVATE_ExamineDirContext>(words[i]);
      const auto& copy = *At<const ::PRIVATE_ExamineDirContext>(copies.words[i]);
      scan.Entry = copy.Entry;
      std::copy(std::begin(copy.FSPrivate), std::end(copy.FSPrivate), scan.FSPrivate);
    } else if (kinds[i] == 'G') {
      const auto* const tags = At<const ::TagItem>(words[i]);
      for (std::size_t n = 0; n < copies.rooms.size(); ++n) {
        if (copies.rooms[n] == nullptr) continue;
        std::memcpy(At<void>(static_cast<std::int64_t>(tags[n].ti_Data)), copies.rooms[n],
                    calls::RoomBehind(tags, tags[n]));
      }
    } else if (const std::size_t bytes = FilledBytes(kinds[i], words, i); bytes != 0) {
      // All of it: what the handler wrote beyond its count is the tester's to find.
      std::memcpy(At<void>(words[i]), At<const void>(copies.words[i]), bytes);
    }
  }
  memory_.Release(copies.first);
  return holds;
}

}  // namespace quorle::isolation
