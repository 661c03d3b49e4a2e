#include "hosted/connect/packet_codec.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>

#include "calls/tags.h"
#include "hosted/calls/handler_program.h"
#include "hosted/calls/packet_adapter.h"
#include "hosted/connect/member.h"
#include "hosted/connect/records.h"

namespace quorle::connect {
namespace {

using Json = nlohmann::json;

constexpr std::int64_t kMostNumber = std::numeric_limits<std::int64_t>::max();

struct Kind {
  char letter;
  const char* name;
};

constexpr std::array kKinds = {
    Kind{'#', "number"}, Kind{'.', "none"},       Kind{'L', "lock"},    Kind{'U', "lock"},
    Kind{'F', "handle"}, Kind{'N', "new_handle"}, Kind{'X', "handle"},  Kind{'A', "fh_arg1"},
    Kind{'C', "string"}, Kind{'T', "text"},       Kind{'=', "again"},   Kind{'R', "room"},
    Kind{'W', "bytes"},  Kind{'D', "date"},       Kind{'I', "info"},    Kind{'B', "block"},
    Kind{'G', "tags"},   Kind{'E', "scan"},       Kind{'Q', "request"}, Kind{'Z', "request"},
};

struct TagName {
  std::uint32_t tag;
  const char* name;
};

constexpr std::array kTagNames = {
    TagName{QUORLE_FSA_MaxFileNameLengthR, "FSA_MaxFileNameLengthR"},
    TagName{QUORLE_FSA_MaxFileNameLengthW, "FSA_MaxFileNameLengthW"},
    TagName{QUORLE_FSA_VersionNumberR, "FSA_VersionNumberR"},
    TagName{QUORLE_FSA_DOSTypeR, "FSA_DOSTypeR"},
    TagName{QUORLE_FSA_ActivityFlushTimeoutR, "FSA_ActivityFlushTimeoutR"},
    TagName{QUORLE_FSA_InactivityFlushTimeoutR, "FSA_InactivityFlushTimeoutR"},
    TagName{QUORLE_FSA_MaxRecycledEntriesR, "FSA_MaxRecycledEntriesR"},
    TagName{QUORLE_FSA_HasRecycledEntriesR, "FSA_HasRecycledEntriesR"},
    TagName{QUORLE_FSA_VersionStringR, "FSA_VersionStringR"},
    TagName{QUORLE_FSA_VersionStringR_BufSize, "FSA_VersionStringR_BufSize"},
    TagName{QUORLE_OI_OwnerUID, "OI_OwnerUID"},
    TagName{QUORLE_OI_OwnerGID, "OI_OwnerGID"},
};

const char* NameOfTag(std::uint32_t tag) {
  const auto* const found = std::find_if(kTagNames.begin(), kTagNames.end(),
                                         [tag](const TagName& row) { return row.tag == tag; });
  return found == kTagNames.end() ? "" : found->name;
}

/// Whether what `tag` leads to is a text. Otherwise it is a number of 32 bits.
bool LeadsToText(const ::TagItem& tag) {
  return tag.ti_Tag == QUORLE_FSA_VersionStringR;
}

/// The number that `tag` leads to.
std::uint32_t NumberBehind(const ::TagItem& tag) {
  std::uint32_t number = 0;
  std::memcpy(&number, At<const void>(static_cast<std::int64_t>(tag.ti_Data)), sizeof number);
  return number;
}

/// For each tag its number, its name or "", and its value: of one that leads to a number that number, of
/// one that leads to a text the room for it.
Json TagsValue(const ::TagItem* tags) {
  Json list = Json::array();
  for (const ::TagItem* tag = tags; tag != nullptr && tag->ti_Tag != QUORLE_TAG_DONE; ++tag) {
    const std::size_t room = calls::RoomBehind(tags, *tag);
    Json value = room == 0           ? Json(static_cast<std::uint64_t>(tag->ti_Data))
                 : LeadsToText(*tag) ? Json(room)
                                     : Json(NumberBehind(*tag));
    list.push_back(Json::array({tag->ti_Tag, NameOfTag(tag->ti_Tag), std::move(value)}));
  }
  return list;
}

/// What each tag leads to; nil leaves it as it is.
void TakeTags(const Json& answer, const ::TagItem* tags) {
  const Json* const given = Find(answer, "tags");
  if (given == nullptr || tags == nullptr) return;
  if (!given->is_array()) Refuse(*given, "tags", "list");
  const ::TagItem* tag = tags;
  for (const Json& value : *given) {
    if (tag->ti_Tag == QUORLE_TAG_DONE) throw ProgramEnd("gave more \"tags\" than were asked for");
    const ::TagItem& asked = *tag++;
    if (value.is_null()) continue;
    const std::size_t room = calls::RoomBehind(tags, asked);
    if (room == 0) throw ProgramEnd("gave a value for a tag that leads nowhere");
    char* const place = At<char>(static_cast<std::int64_t>(asked.ti_Data));
    if (LeadsToText(asked)) {
      const std::string text = TextFrom(value, "tags", room - 1);
      std::memcpy(place, text.c_str(), text.size() + 1);
    } else {
      const auto number = static_cast<std::uint32_t>(
          Integer(value, "tags", 0, std::numeric_limits<std::uint32_t>::max()));
      std::memcpy(place, &number, sizeof number);
    }
  }
}

/// The arguments of the shape that are of a kind.
std::size_t PlaceOf(const calls::CallShape& shape, const char* letters) {
  return std::string_view(shape.arguments).find_first_of(letters);
}

}  // namespace

const char* KindName(char letter) {
  const auto* const found = std::find_if(
      kKinds.begin(), kKinds.end(), [letter](const Kind& kind) { return kind.letter == letter; });
  return found == kKinds.end() ? "none" : found->name;
}

// ---- To the far end ------------------------------------------------------------------------------

Json PacketCodec::Arguments(const ::DosPacket& packet) {
  const Answered call{calls::ShapeOfPacket(packet), calls::WordsOf(packet), {}};
  Json arguments = Json::array();
  for (std::size_t i = 0; i < std::strlen(call.shape.arguments); ++i) {
    Json value = ArgumentValue(call, i);
    const bool repeats = call.shape.arguments[i] == '=' && value.is_null();
    const char* const kind = KindName(repeats ? '.' : call.shape.arguments[i]);
    arguments.push_back(Json::array({kind, std::move(value)}));
  }
  return arguments;
}

Json PacketCodec::ArgumentValue(const Answered& call, std::size_t at) {
  const std::int64_t word = call.words[at];
  switch (call.shape.arguments[at]) {
    case '#':
      return word;
    case 'L':
    case 'U':
      return objects_.NumberOf(At<const ::Lock>(word));
    case 'F':
    case 'X':
      return objects_.NumberOf(At<const ::FileHandle>(word));
    case 'A':
      return objects_.NumberOf(At<const ::FileHandle>(call.words[PlaceOf(call.shape, "FX")]));
    case 'C':
      return word == 0 ? Json() : TextValue(At<const char>(word));
    case 'T':
      return word == 0 ? Json() : TextValue(PlainText(static_cast<std::intptr_t>(word)).c_str());
    case '=':
      return word == 0 ? Json() : Json(PlaceOf(call.shape, "T") + 1);
    case 'R':
      return std::max<std::int64_t>(call.words[at + 1], 0);
    case 'W':
      return BytesValue({At<const char>(word),
                         static_cast<std::size_t>(std::max<std::int64_t>(call.words[at + 1], 0))});
    case 'D':
      return DateValue(*At<const ::DateStamp>(word));
    case 'B':
      return BlockValue(*At<const ::FileInfoBlock>(word));
    case 'G':
      return TagsValue(At<const ::TagItem>(word));
    case 'E': {
      const auto& scan = *At<const ::PRIVATE_ExamineDirContext>(word);
      return {{"lock", objects_.NumberOf(scan.Directory)},
              {"place",
               Json::array({std::int64_t{scan.FSPrivate[0]}, std::int64_t{scan.FSPrivate[1]}})}};
    }
    case 'Q':
    case 'Z': {
      auto* const request = At<::NotifyRequest>(word);
      return {{"request", NumberOf(request)},
              {"name", TextValue(request->nr_FullName == nullptr ? "" : request->nr_FullName)},
              {"flags", request->nr_Flags}};
    }
    default:
      return nullptr;
  }
}

std::int64_t PacketCodec::NumberOf(::NotifyRequest* request) {
  for (const auto& [number, known] : requests_) {
    if (known == request) return number;
  }
  requests_[++last_request_] = request;
  return last_request_;
}

void PacketCodec::Forget(const ::NotifyRequest* request) {
  std::erase_if(requests_, [request](const auto& known) { return known.second == request; });
}

::NotifyRequest* PacketCodec::RequestOf(std::int64_t number) const {
  const auto found = requests_.find(number);
  return found == requests_.end() ? nullptr : found->second;
}

// ---- From the far end ----------------------------------------------------------------------------

void PacketCodec::TakeAnswer(const Json& answer, ::DosPacket& packet) {
  Answered call{calls::ShapeOfPacket(packet), calls::WordsOf(packet), {}};
  call.outcome.res2 = NumberIn<std::int32_t>(answer, "code", 0);
  call.outcome.result = ResultFrom(answer, call);
  for (std::size_t i = 0; i < std::strlen(call.shape.arguments); ++i) TakeArgument(answer, call, i);
  TakeMode(answer, call);
  calls::SetOutcome(packet, call.outcome);
}

std::int64_t PacketCodec::ResultFrom(const Json& answer, const Answered& call) {
  const Json* const given = Find(answer, "result");
  const bool is_truth = given != nullptr && given->is_boolean();
  if (given == nullptr) {
    if (!answer.contains("result")) throw ProgramEnd("left out \"result\"");
    return calls::FailureOf(call.shape);
  }
  switch (call.shape.result) {
    case 'L':
    case 'O': {
      const std::int64_t number = Integer(*given, "result", 0, kMostNumber);
      if (number == FarObjects::kNone) return 0;
      const auto mode = NumberIn<std::int32_t>(answer, "mode", SHARED_LOCK);
      return reinterpret_cast<std::intptr_t>(objects_.AddLock(number, mode));
    }
    case 'E':
      if (given->is_object()) return reinterpret_cast<std::intptr_t>(RecordFrom(*given, services_));
      if (*given == 0) return 0;
      Refuse(*given, "result", "record: a map, or 0");
    case '#':
      if (is_truth) return given->get<bool>() ? kDosTrue : kDosFalse;
      break;
    default:
      break;
  }
  return Integer(*given, "result");
}

void PacketCodec::TakeArgument(const Json& answer, const Answered& call, std::size_t at) {
  const std::int64_t word = call.words[at];
  const bool done = call.outcome.result != calls::FailureOf(call.shape);
  switch (call.shape.arguments[at]) {
    case 'U':
      if (done) objects_.Forget(At<::Lock>(word));
      break;
    case 'X':
      objects_.Forget(At<const ::FileHandle>(word));
      break;
    case 'N':
      if (done) {
        objects_.AddFile(Integer(Get(answer, "handle"), "handle", 1, kMostNumber),
                         *At<::FileHandle>(word));
      }
      break;
    case 'R':
      TakeBytes(answer, call, at);
      break;
    case 'I':
      if (done) TakeInfo(Get(answer, "info"), *At<::InfoData>(word));
      break;
    case 'B':
      if (done) TakeBlock(Get(answer, "block"), *At<::FileInfoBlock>(word));
      break;
    case 'G':
      TakeTags(answer, At<const ::TagItem>(word));
      break;
    case 'Q':
      if (!done) Forget(At<const ::NotifyRequest>(word));
      break;
    case 'Z':
      Forget(At<const ::NotifyRequest>(word));
      break;
    case 'E':
      if (done) TakeScan(answer, *At<::PRIVATE_ExamineDirContext>(word));
      break;
    default:
      break;
  }
}

/// The mode that a lock has now, of a call that gives none.
void PacketCodec::TakeMode(const Json& answer, const Answered& call) {
  const std::size_t at = PlaceOf(call.shape, "L");
  const bool gives_lock = call.shape.result == 'L' || call.shape.result == 'O';
  if (gives_lock || at == std::string_view::npos) return;
  auto* const lock = At<::Lock>(call.words[at]);
  if (objects_.NumberOf(lock) <= FarObjects::kNone) return;
  lock->fl_Access = NumberIn<std::int32_t>(answer, "mode", lock->fl_Access);
}

/// Fills a buffer. A text of a link ends with a zero, where there is room for it.
void PacketCodec::TakeBytes(const Json& answer, const Answered& call, std::size_t at) {
  const std::int64_t room = std::max<std::int64_t>(call.words[at + 1], 0);
  const Json* const given = Find(answer, "bytes");
  const std::string_view bytes = given == nullptr ? std::string_view() : BytesFrom(*given, "bytes");
  const auto size = static_cast<std::int64_t>(bytes.size());
  if (size > room) {
    throw ProgramEnd("gave " + std::to_string(size) + " bytes for a room of " +
                     std::to_string(room));
  }
  // A count above the room is the port's to report.
  if (call.outcome.result > size && call.outcome.result <= room) {
    throw ProgramEnd("gave the result " + std::to_string(call.outcome.result) + " and " +
                     std::to_string(size) + " bytes");
  }
  char* const place = At<char>(call.words[at]);
  if (size != 0) std::memcpy(place, bytes.data(), bytes.size());
  const bool is_text = PlaceOf(call.shape, "C") != std::string_view::npos;
  if (is_text && size != 0 && size < room) place[size] = '\0';
}

void PacketCodec::TakeScan(const Json& answer, ::PRIVATE_ExamineDirContext& scan) {
  const Json& entry = Get(answer, "entry");
  if (!entry.is_object()) Refuse(entry, "entry", "record: a map");
  if (const Json* const place = Find(answer, "place")) {
    if (!place->is_array() || place->size() != 2) Refuse(*place, "place", "pair of numbers");
    for (std::size_t i = 0; i < 2; ++i) {
      scan.FSPrivate[i] = static_cast<std::intptr_t>(
          Integer((*place)[i], "place", std::numeric_limits<std::intptr_t>::min(),
                  std::numeric_limits<std::intptr_t>::max()));
    }
  }
  scan.Entry = RecordFrom(entry, services_);
}

}  // namespace quorle::connect
