#include "hosted/isolation/reply.h"

#include <limits>

#include "calls/tags.h"
#include "hosted/isolation/wire.h"

namespace quorle::isolation {
namespace {

/// Reads the parts of an answer and remembers whether each was one.
class AnswerReader {
 public:
  explicit AnswerReader(MessageReader& message) : message_(message) {}

  bool ok() const { return ok_; }
  bool ReadAll() const { return ok_ && message_.ReadAll(); }

  std::int64_t Number() { return message_.Number(); }

  /// A number that its type can hold.
  template <class Value>
  Value As() {
    const std::int64_t number = message_.Number();
    Check(number >= static_cast<std::int64_t>(std::numeric_limits<Value>::min()) &&
          (sizeof(Value) == sizeof number ||
           number <= static_cast<std::int64_t>(std::numeric_limits<Value>::max())));
    return static_cast<Value>(number);
  }

  bool Flag() {
    const std::int64_t number = message_.Number();
    Check(number == 0 || number == 1);
    return number == 1;
  }

  Breach AsBreach() {
    const std::int64_t number = message_.Number();
    const bool is_one = number >= 0 && number <= static_cast<std::int64_t>(kLastBreach);
    Check(is_one);
    return is_one ? static_cast<Breach>(number) : Breach::kNone;
  }

  void Numbers(std::size_t most, std::vector<std::int64_t>& numbers) {
    const std::int64_t count = message_.Number();
    Check(count >= 0 && count <= static_cast<std::int64_t>(most));
    for (std::int64_t i = 0; ok_ && i < count; ++i) numbers.push_back(message_.Number());
  }

  std::string_view Bytes(std::size_t size) {
    const std::string_view bytes = message_.Bytes();
    Check(bytes.size() == size);
    return bytes;
  }

  std::optional<TextImage> Text() {
    const std::int64_t size = message_.Number();
    if (size == kNoText) return std::nullopt;
    const std::string_view text = message_.Bytes();
    // Shorter than its buffer: there is room for the zero that ends it, and there is one.
    Check(size > 0 && size <= static_cast<std::int64_t>(kMostText) &&
          static_cast<std::int64_t>(text.size()) < size &&
          text.find('\0') == std::string_view::npos);
    return TextImage{static_cast<std::uint32_t>(size), text};
  }

  std::optional<RecordImage> Record() {
    if (!Flag()) return std::nullopt;
    RecordImage image{};
    image.data.Type = As<std::uint32_t>();
    image.data.FileSize = Number();
    image.data.Date.ds_Days = As<std::int32_t>();
    image.data.Date.ds_Minute = As<std::int32_t>();
    image.data.Date.ds_Tick = As<std::int32_t>();
    image.data.RefCount = As<std::uint32_t>();
    image.data.ObjectID = static_cast<std::uint64_t>(Number());
    image.data.Protection = As<std::uint32_t>();
    image.data.OwnerUID = As<std::uint32_t>();
    image.data.OwnerGID = As<std::uint32_t>();
    image.name = Text();
    image.comment = Text();
    image.link = Text();
    return image;
  }

  void Rooms(const ::TagItem* tags, std::vector<std::string_view>& rooms) {
    for (const ::TagItem* tag = tags; tag != nullptr && tag->ti_Tag != QUORLE_TAG_DONE; ++tag) {
      rooms.push_back(Bytes(calls::RoomBehind(tags, *tag)));
    }
  }

 private:
  void Check(bool right) { ok_ = ok_ && right && message_.ok(); }

  MessageReader& message_;
  bool ok_ = true;
};

void ReadArgument(AnswerReader& answer, char kind, const ::TagItem* tags,
                  Reply::Argument& argument) {
  switch (kind) {
    case 'L':
    case 'U':
      argument.alive = answer.Flag();
      argument.mode = answer.As<std::int32_t>();
      break;
    case 'I':
      argument.bytes = answer.Bytes(sizeof(::InfoData));
      break;
    case 'B':
      argument.bytes = answer.Bytes(sizeof(::FileInfoBlock));
      break;
    case 'G':
      answer.Rooms(tags, argument.rooms);
      break;
    case 'E':
      for (std::intptr_t& word : argument.words) word = answer.As<std::intptr_t>();
      argument.entry = answer.Record();
      break;
    default:
      break;
  }
}

}  // namespace

bool ReadAnswer(MessageReader& message, const calls::CallShape& shape, const ::TagItem* tags,
                Reply& reply) {
  AnswerReader answer(message);
  reply.res2 = answer.As<std::int32_t>();
  switch (shape.result) {
    case 'L':
    case 'O':
      reply.result = answer.Number();
      reply.mode = answer.As<std::int32_t>();
      break;
    case 'E':
      reply.record = answer.Record();
      break;
    default:
      reply.result = answer.Number();
      break;
  }
  const std::string_view kinds = shape.arguments;
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    ReadArgument(answer, kinds[i], tags, reply.arguments[i]);
  }
  reply.volume_has_name = answer.Flag();
  reply.breach = answer.AsBreach();
  reply.notified_too_often = answer.Flag();
  answer.Numbers(kMostNotified, reply.notified);
  return answer.ReadAll();
}

}  // namespace quorle::isolation
