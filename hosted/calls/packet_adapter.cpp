#include "hosted/calls/packet_adapter.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <tuple>
#include <utility>

#include "calls/vector_table.h"
#include "calls/words.h"

namespace quorle {
namespace {

using calls::kVector;
using Vectors = ::FileSystemVectors;

/// An argument of a function from the word of a packet that carries it.
template <char kLetter, class Arg>
class Unpacked {
 public:
  explicit Unpacked(std::int64_t word) : value_(calls::FromWord<Arg>(word)) {}
  Arg value() const { return value_; }

 private:
  Arg value_;
};

class UnpackedText {
 public:
  explicit UnpackedText(std::int64_t word) : text_(static_cast<std::intptr_t>(word)) {}
  const char* value() const { return text_.c_str(); }

 private:
  PlainText text_;
};
template <class Arg>
class Unpacked<'T', Arg> : public UnpackedText {
  using UnpackedText::UnpackedText;
};
template <class Arg>
class Unpacked<'M', Arg> : public UnpackedText {
  using UnpackedText::UnpackedText;
};

/// Calls `kFunction`, which the port must have, and fills the results of `packet`.
template <auto kFunction, class... Args>
void CallFor(::FileSystemVectorPort& port, ::DosPacket& packet, Args... args) {
  calls::Outcome outcome;
  outcome.result = calls::ToWord((port.FSV.*kFunction)(&port, &outcome.res2, args...));
  if (kVector<kFunction>.result == '#') {
    outcome.result = outcome.result != 0 ? kDosTrue : kDosFalse;
  }
  calls::SetOutcome(packet, outcome);
}

/// The word of the argument `kAt` of `kFunction`: where the layout of its packet has it.
template <auto kFunction, std::size_t kAt>
std::int64_t WordOfArgument(const ::DosPacket& packet) {
  constexpr std::size_t kPlace =
      kVector<kFunction>.packet.layout.find(static_cast<char>('1' + kAt));
  if constexpr (kPlace == std::string_view::npos) {
    static_assert(kVector<kFunction>.packet.action == calls::kActionIsMode);
    return packet.dp_Type;
  } else {
    return calls::WordsOf(packet)[kPlace];
  }
}

template <auto kFunction, class Result, class... Args, std::size_t... kAt>
void Unpack(::FileSystemVectorPort& port, ::DosPacket& packet, calls::VectorMember<Result, Args...>,
            std::index_sequence<kAt...>) {
  const std::tuple<Unpacked<kVector<kFunction>.arguments[kAt], Args>...> arguments(
      WordOfArgument<kFunction, kAt>(packet)...);
  std::apply([&](const auto&... each) { CallFor<kFunction>(port, packet, each.value()...); },
             arguments);
}

template <class Result, class... Args>
constexpr auto IndicesOf(calls::VectorMember<Result, Args...>) {
  return std::index_sequence_for<Args...>();
}

/// Answers `packet` by `kFunction`; false when that is missing.
template <auto kFunction>
bool Answer(::FileSystemVectorPort& port, ::DosPacket& packet) {
  if (port.FSV.*kFunction == nullptr) return false;
  Unpack<kFunction>(port, packet, kFunction, IndicesOf(kFunction));
  return true;
}

void Refuse(::DosPacket& packet, std::int32_t code) {
  packet.dp_Res1 = kDosFalse;
  packet.dp_Res2 = code;
}

// ---- Packets that stand for one of two functions, or for both ------------------------------------

bool AnswerMakeLink(::FileSystemVectorPort& port, ::DosPacket& packet) {
  return packet.dp_Arg4 == QUORLE_PACKET_LINK_HARD
             ? Answer<&Vectors::FSCreateHardLink>(port, packet)
             : Answer<&Vectors::FSCreateSoftLink>(port, packet);
}

bool AnswerChangeMode(::FileSystemVectorPort& port, ::DosPacket& packet) {
  if (packet.dp_Arg1 == calls::kModeOfLock) return Answer<&Vectors::FSChangeLockMode>(port, packet);
  if (packet.dp_Arg1 == calls::kModeOfFile) return Answer<&Vectors::FSChangeFileMode>(port, packet);
  Refuse(packet, ERROR_BAD_NUMBER);
  return true;
}

/// The tags are answered in their order and up to the first failure; 116 when none names an owner or
/// a group. Nothing is changed when a function for one of them is missing.
bool AnswerSetOwnerInfo(::FileSystemVectorPort& port, ::DosPacket& packet) {
  const ::TagItem* const tags = PointedTo<const ::TagItem>(packet.dp_Arg3);
  bool owner_or_group = false;
  for (const ::TagItem* tag = tags; tag != nullptr && tag->ti_Tag != QUORLE_TAG_DONE; ++tag) {
    const bool owner = tag->ti_Tag == calls::kOwnerTag;
    const bool group = tag->ti_Tag == calls::kGroupTag;
    if (owner && port.FSV.FSSetOwner == nullptr) return false;
    if (group && port.FSV.FSSetGroup == nullptr) return false;
    owner_or_group = owner_or_group || owner || group;
  }
  if (!owner_or_group) {
    Refuse(packet, ERROR_REQUIRED_ARG_MISSING);
    return true;
  }
  auto* const lock = PointedTo<::Lock>(packet.dp_Arg1);
  const PlainText name(packet.dp_Arg2);
  for (const ::TagItem* tag = tags; tag->ti_Tag != QUORLE_TAG_DONE; ++tag) {
    const auto id = static_cast<std::uint32_t>(tag->ti_Data);
    if (tag->ti_Tag == calls::kOwnerTag) {
      CallFor<&Vectors::FSSetOwner>(port, packet, lock, name.c_str(), id);
    } else if (tag->ti_Tag == calls::kGroupTag) {
      CallFor<&Vectors::FSSetGroup>(port, packet, lock, name.c_str(), id);
    } else {
      continue;
    }
    if (packet.dp_Res1 == kDosFalse) break;
  }
  return true;
}

// ---- All packets ---------------------------------------------------------------------------------

struct PacketAnswer {
  std::int32_t action;
  bool (*answer)(::FileSystemVectorPort& port, ::DosPacket& packet);
};

constexpr std::array kOthers = {
    PacketAnswer{QUORLE_ACTION_FINDUPDATE, Answer<&Vectors::FSOpen>},
    PacketAnswer{QUORLE_ACTION_FINDINPUT, Answer<&Vectors::FSOpen>},
    PacketAnswer{QUORLE_ACTION_FINDOUTPUT, Answer<&Vectors::FSOpen>},
    PacketAnswer{QUORLE_ACTION_MAKE_LINK, AnswerMakeLink},
    PacketAnswer{QUORLE_ACTION_CHANGE_MODE, AnswerChangeMode},
    PacketAnswer{QUORLE_ACTION_SET_OWNER_INFO, AnswerSetOwnerInfo},
};

/// Whether the packet of `vector` stands for it alone and has a number of its own.
constexpr bool StandsAlone(const calls::VectorForm& vector) {
  return vector.packet.action != calls::kActionIsMode &&
         vector.packet.layout.find_first_of("KG") == std::string_view::npos;
}

constexpr std::size_t kAlone = calls::WithVectors(
    [](const auto&... vectors) { return (std::size_t{StandsAlone(vectors)} + ...); });

/// In the order of the numbers.
constexpr std::array<PacketAnswer, kAlone + kOthers.size()> kAnswers = [] {
  std::array<PacketAnswer, kAlone + kOthers.size()> answers{};
  auto* end = std::copy(kOthers.begin(), kOthers.end(), answers.begin());
  calls::ForEachVector([&end]<auto function>(const calls::Vector<function>& vector) {
    if constexpr (StandsAlone(kVector<function>)) {
      *end++ = {vector.packet.action, Answer<function>};
    }
  });
  std::sort(answers.begin(), answers.end(),
            [](const PacketAnswer& a, const PacketAnswer& b) { return a.action < b.action; });
  return answers;
}();

}  // namespace

PacketText::PacketText(const char* text) {
  const std::size_t length = std::strlen(text);
  fits_ = length <= kMaxLength;
  if (!fits_) return;
  bytes_[0] = static_cast<std::uint8_t>(length);
  std::memcpy(bytes_ + 1, text, length);
}

PlainText::PlainText(std::intptr_t argument) {
  const auto* const bytes = PointedTo<const std::uint8_t>(argument);
  if (bytes != nullptr) std::memcpy(text_, bytes + 1, bytes[0]);
}

bool GivesLock(std::int32_t action) {
  return calls::WithVectors([action](const auto&... vectors) {
    return (((vectors.result == 'L' || vectors.result == 'O') && vectors.packet.action == action) ||
            ...);
  });
}

bool AnswerByVector(::FileSystemVectorPort& port, ::DosPacket& packet) {
  const auto* const found = std::lower_bound(
      kAnswers.begin(), kAnswers.end(), packet.dp_Type,
      [](const PacketAnswer& each, std::int32_t action) { return each.action < action; });
  return found != kAnswers.end() && found->action == packet.dp_Type && found->answer(port, packet);
}

void AnswerNotKnown(::DosPacket& packet) {
  packet.dp_Res1 = kDosFalse;
  packet.dp_Res64 = kDosFalse;
  packet.dp_Res2 = ERROR_ACTION_NOT_KNOWN;
}

}  // namespace quorle
