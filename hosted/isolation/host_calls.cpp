#include "hosted/isolation/host_calls.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "calls/tags.h"
#include "hosted/calls/packet_adapter.h"
#include "hosted/isolation/wire.h"

namespace quorle::isolation {
namespace {

template <class Object>
void WriteObjectBytes(const Object* object, MessageWriter& message) {
  message.Bytes({reinterpret_cast<const char*>(object), sizeof *object});
}

void WriteText(std::int64_t word, bool prefixed, MessageWriter& message) {
  message.Number(word != 0 ? 1 : 0);
  if (word == 0) return;
  const auto* const text = At<const char>(word);
  const std::size_t length =
      prefixed ? std::size_t{1} + static_cast<unsigned char>(*text) : std::strlen(text);
  message.Bytes({text, length});
}

void WriteTags(const ::TagItem* tags, MessageWriter& message) {
  if (tags == nullptr) {
    message.Number(-1);
    return;
  }
  std::size_t count = 0;
  while (tags[count].ti_Tag != QUORLE_TAG_DONE) ++count;
  message.Number(static_cast<std::int64_t>(count));
  for (const ::TagItem* tag = tags; tag != tags + count; ++tag) {
    const std::size_t room = calls::RoomBehind(tags, *tag);
    message.Number(tag->ti_Tag);
    message.Number(static_cast<std::int64_t>(tag->ti_Data));
    message.Bytes(room == 0 ? std::string_view()
                            : std::string_view(
                                  At<const char>(static_cast<std::int64_t>(tag->ti_Data)), room));
  }
}

void TakeTags(const ::TagItem* tags, const std::vector<std::string_view>& rooms) {
  for (std::size_t i = 0; i < rooms.size(); ++i) {
    if (rooms[i].empty()) continue;
    std::memcpy(At<char>(static_cast<std::int64_t>(tags[i].ti_Data)), rooms[i].data(),
                rooms[i].size());
  }
}

/// How many bytes of a buffer of `size` are in the block.
std::size_t Room(std::int64_t size, std::span<const std::byte> data) {
  return static_cast<std::size_t>(
      std::clamp<std::int64_t>(size, 0, static_cast<std::int64_t>(data.size())));
}

/// Moves what is in a buffer; neither side need have one when nothing is.
void Copy(void* to, const void* from, std::size_t bytes) {
  if (bytes != 0) std::memcpy(to, from, bytes);
}

std::uint32_t BufferSize(const std::optional<TextImage>& image) {
  return image ? image->size : 1;
}

void TakeText(const std::optional<TextImage>& image, char*& text, std::uint32_t& size) {
  if (!image) {
    text = nullptr;
    size = 0;
    return;
  }
  Copy(text, image->text.data(), image->text.size());
  text[image->text.size()] = '\0';
}

const ::TagItem* TagsOf(const HostCall& call) {
  const std::size_t at = std::string_view(call.shape.arguments).find('G');
  return at == std::string_view::npos ? nullptr : At<const ::TagItem>(call.words[at]);
}

}  // namespace

std::string HostCall::Name() const {
  return kind == kPacketCall ? calls::NameOfPacket(static_cast<std::int32_t>(number)) : shape.name;
}

void HostCalls::BeginProcess() {
  objects_.BeginProcess();
  sent_check_ = -1;
}

// ---- To the process ----------------------------------------------------------------------------

void HostCalls::WriteCheck(MessageWriter& message) {
  const bool is_new = sent_check_ != watch_.moves();
  message.Number(is_new ? 1 : 0);
  if (is_new) message.Bytes(watch_.Check());
}

std::int32_t HostCalls::Write(const HostCall& call, MessageWriter& message,
                              std::span<std::byte> data) {
  WriteCheck(message);
  if (call.kind == kPacketCall) {
    // Which of two functions some packets stand for.
    message.Number(call.words[0]);
    message.Number(call.words[3]);
  }
  const std::string_view kinds = call.shape.arguments;
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    if (!WriteArgument(call, i, message, data)) return ERROR_DEVICE_NOT_MOUNTED;
  }
  if (!message.ok()) return ERROR_LINE_TOO_LONG;
  sent_check_ = watch_.moves();
  return 0;
}

/// False when it is dead.
bool HostCalls::WriteObject(HostObjects::Number number, MessageWriter& message) {
  message.Number(number.number);
  return !number.dead;
}

/// One of an earlier process was added there: its first notification has been sent.
void HostCalls::WriteRequest(const ::NotifyRequest* request, MessageWriter& message) {
  message.Number(request == nullptr ? kNoObject : objects_.NextRequest());
  if (request == nullptr) return;
  WriteText(calls::ToWord(request->nr_Name), false, message);
  WriteText(calls::ToWord(request->nr_FullName), false, message);
  const auto initial = static_cast<std::uint32_t>(NRF_NOTIFY_INITIAL);
  const std::uint32_t flags = request->nr_Flags;
  message.Number(objects_.Of(request).dead ? flags & ~initial : flags);
  message.Number(static_cast<std::int64_t>(request->nr_UserData));
}

bool HostCalls::WriteArgument(const HostCall& call, std::size_t at, MessageWriter& message,
                              std::span<std::byte> data) {
  const std::int64_t word = call.words[at];
  const char kind = call.shape.arguments[at];
  switch (kind) {
    case 'L':
    case 'U':
      return WriteObject(objects_.Of(At<const ::Lock>(word)), message);
    case 'F':
    case 'X':
      return WriteObject(objects_.Of(At<const ::FileHandle>(word)), message);
    case 'N':
      message.Number(objects_.NextFile());
      break;
    case 'Q':
      WriteRequest(At<const ::NotifyRequest>(word), message);
      break;
    case 'Z':
      return WriteObject(objects_.Of(At<const ::NotifyRequest>(word)), message);
    case 'C':
    case 'T':
      WriteText(word, kind == 'T', message);
      break;
    case 'R':
    case 'W': {
      const std::size_t room = Room(call.words[at + 1], data);
      message.Number(static_cast<std::int64_t>(room));
      Copy(data.data(), At<const void>(word), room);
      break;
    }
    case 'D':
      WriteObjectBytes(At<const ::DateStamp>(word), message);
      break;
    case 'I':
      WriteObjectBytes(At<const ::InfoData>(word), message);
      break;
    case 'B':
      WriteObjectBytes(At<const ::FileInfoBlock>(word), message);
      break;
    case 'G':
      WriteTags(At<const ::TagItem>(word), message);
      break;
    case 'E': {
      const auto& scan = *At<const ::PRIVATE_ExamineDirContext>(word);
      const bool alive = WriteObject(objects_.Of(scan.Directory), message);
      for (const std::intptr_t place : scan.FSPrivate) message.Number(place);
      return alive;
    }
    case '#':
      message.Number(word);
      break;
    default:
      // Nothing, or what the process has itself.
      message.Number(word != 0 ? 1 : 0);
      break;
  }
  return true;
}

// ---- From the process --------------------------------------------------------------------------

bool HostCalls::Read(const HostCall& call, std::span<const std::byte> message, Reply& reply) const {
  MessageReader reader(message);
  if (!ReadAnswer(reader, call.shape, TagsOf(call), reply)) return false;
  const bool notifies = std::all_of(
      reply.notified.begin(), reply.notified.end(),
      [this](std::int64_t number) { return number > 0 && number <= objects_.NextRequest(); });
  const bool gives_lock = call.shape.result == 'L' || call.shape.result == 'O';
  return notifies && (!gives_lock || reply.result == kNoObject || objects_.MayBe(reply.result));
}

std::vector<::NotifyRequest*> HostCalls::Notified(const HostCall& call, const Reply& reply) const {
  const std::size_t begins = std::string_view(call.shape.arguments).find('Q');
  std::vector<::NotifyRequest*> requests;
  for (const std::int64_t number : reply.notified) {
    const bool is_new = begins != std::string_view::npos && number == objects_.NextRequest();
    ::NotifyRequest* const request =
        is_new ? At<::NotifyRequest>(call.words[begins]) : objects_.RequestOf(number);
    if (request != nullptr) requests.push_back(request);
  }
  return requests;
}

calls::Outcome HostCalls::Take(const HostCall& call, const Reply& reply,
                               std::span<const std::byte> data) {
  const bool is_root = NamesTheRoot(call);
  const std::string_view kinds = call.shape.arguments;
  for (std::size_t i = 0; i < kinds.size(); ++i) TakeArgument(call, i, reply, data);

  calls::Outcome outcome{reply.result, reply.res2};
  const char result = call.shape.result;
  if ((result == 'L' || result == 'O') && reply.result != kNoObject) {
    outcome.result =
        reinterpret_cast<std::intptr_t>(objects_.ProxyFor(reply.result, reply.mode, is_root));
  } else if (result == 'E') {
    outcome.result = reply.record ? reinterpret_cast<std::intptr_t>(MakeRecord(*reply.record)) : 0;
  } else {
    return outcome;
  }
  const bool was_given = reply.result != kNoObject || reply.record;
  if (was_given && outcome.result == 0) outcome.res2 = ERROR_NO_FREE_STORE;
  return outcome;
}

void HostCalls::TakeArgument(const HostCall& call, std::size_t at, const Reply& reply,
                             std::span<const std::byte> data) {
  const std::int64_t word = call.words[at];
  const Reply::Argument& argument = reply.arguments[at];
  switch (call.shape.arguments[at]) {
    case 'L':
    case 'U': {
      auto* const lock = At<::Lock>(word);
      if (objects_.Of(lock).number <= kNoObject) break;
      if (argument.alive) {
        lock->fl_Access = argument.mode;
      } else if (call.shape.arguments[at] == 'U' && (at == 0 || reply.result != 0)) {
        objects_.Forget(lock);
      } else {
        // The handler took it away: dos still has it.
        objects_.Detach(lock);
      }
      break;
    }
    case 'N':
      if (reply.result != 0) objects_.AddFile(At<const ::FileHandle>(word));
      break;
    case 'X':
      objects_.Forget(At<const ::FileHandle>(word));
      break;
    case 'Q':
      if (word != 0 && reply.result != 0) objects_.AddRequest(At<::NotifyRequest>(word));
      break;
    case 'Z':
      objects_.Forget(At<const ::NotifyRequest>(word));
      break;
    case 'R':
      // All of it: what the handler wrote beyond its count is the tester's to find.
      Copy(At<void>(word), data.data(), Room(call.words[at + 1], data));
      break;
    case 'I':
    case 'B':
      Copy(At<void>(word), argument.bytes.data(), argument.bytes.size());
      break;
    case 'G':
      TakeTags(At<const ::TagItem>(word), argument.rooms);
      break;
    case 'E': {
      auto& scan = *At<::PRIVATE_ExamineDirContext>(word);
      std::copy(argument.words.begin(), argument.words.end(), scan.FSPrivate);
      if (argument.entry) scan.Entry = MakeRecord(*argument.entry);
      break;
    }
    default:
      break;
  }
}

::ExamineData* HostCalls::MakeRecord(const RecordImage& image) {
  const ::TagItem tags[] = {{QUORLE_ADO_ExamineData_NameSize, BufferSize(image.name)},
                            {QUORLE_ADO_ExamineData_CommentSize, BufferSize(image.comment)},
                            {QUORLE_ADO_ExamineData_LinkSize, BufferSize(image.link)},
                            {QUORLE_TAG_DONE, 0}};
  auto* const record =
      static_cast<::ExamineData*>(services_.AllocDosObject(QUORLE_DOS_EXAMINEDATA, tags));
  if (record == nullptr) return nullptr;
  record->Type = image.data.Type;
  record->FileSize = image.data.FileSize;
  record->Date = image.data.Date;
  record->RefCount = image.data.RefCount;
  record->ObjectID = image.data.ObjectID;
  record->Protection = image.data.Protection;
  record->OwnerUID = image.data.OwnerUID;
  record->OwnerGID = image.data.OwnerGID;
  TakeText(image.name, record->Name, record->NameSize);
  TakeText(image.comment, record->Comment, record->CommentSize);
  TakeText(image.link, record->Link, record->LinkSize);
  return record;
}

bool HostCalls::NamesTheRoot(const HostCall& call) const {
  if (call.shape.result != 'O') return false;
  const std::string_view kinds = call.shape.arguments;
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    const std::int64_t word = call.words[i];
    if (kinds[i] == 'L' && !objects_.IsRoot(At<const ::Lock>(word))) return false;
    // Either kind of text begins with a zero when it is empty.
    const bool is_text = kinds[i] == 'C' || kinds[i] == 'T';
    if (is_text && word != 0 && *At<const char>(word) != '\0') return false;
  }
  return true;
}

calls::Outcome HostCalls::Refuse(const HostCall& call, std::int32_t code) {
  const std::string_view kinds = call.shape.arguments;
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    if (kinds[i] == 'X') objects_.Forget(At<const ::FileHandle>(call.words[i]));
    if (kinds[i] == 'Z') objects_.Forget(At<const ::NotifyRequest>(call.words[i]));
  }
  // Of a call that begins with it, the release is all there is to it.
  if (kinds.starts_with('U')) objects_.Forget(At<::Lock>(call.words[0]));
  return {calls::FailureOf(call.shape), code};
}

}  // namespace quorle::isolation
