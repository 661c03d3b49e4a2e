#include "hosted/isolation/handler_side.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>

#include "calls/words.h"
#include "hosted/calls/packet_adapter.h"
#include "hosted/isolation/wire.h"

namespace quorle::isolation {
namespace {

template <class Object>
std::int64_t Address(Object* object) {
  return reinterpret_cast<std::intptr_t>(object);
}

template <class Object>
std::string_view BytesOf(const Object& object) {
  return {reinterpret_cast<const char*>(&object), sizeof object};
}

template <class Object>
void Fill(Object& object, std::string_view bytes) {
  if (bytes.size() == sizeof object) std::memcpy(&object, bytes.data(), sizeof object);
}

/// A buffer may be larger than any text that travels.
void WriteText(MessageWriter& reply, const char* text, std::uint32_t size) {
  reply.Number(text == nullptr ? kNoText : std::min<std::int64_t>(size, kMostText));
  if (text != nullptr) reply.Bytes(text);
}

}  // namespace

HandlerSide::HandlerSide(SharedBlock& block, std::unique_ptr<HandlerProgram>& program,
                         const ::HandlerMount& mount, HostServices& outer)
    : block_(block),
      turns_(block.turns(), Side::kHandler),
      program_(program),
      services_(
          outer.clock(),
          [this](const ::MsgPort&, const std::string& name) { return AskForName(name); },
          [&outer](const std::string& line) { outer.Report(line.c_str()); }),
      guard_(block.data().data()),
      mount_(mount) {
  mount_.Dos = &services_.table();
  foreign_lock_.fl_Access = SHARED_LOCK;
  foreign_lock_.fl_Port = &foreign_port_;
  foreign_file_.fh_MsgPort = &foreign_port_;
  foreign_request_.nr_Name = foreign_request_.nr_FullName = "";
  foreign_request_.nr_Handler = &foreign_port_;
  services_.SetNotifyListener([this](::NotifyRequest& request) {
    if (notified_.size() <= kMostNotified) notified_.push_back(request_numbers_.at(&request));
  });
}

void HandlerSide::Run() {
  turns_.Await();
  try {
    Serve();
  } catch (const ProgramEnd& end) {
    MessageWriter reply = ReplyBody();
    reply.Bytes(std::string_view(end.how()).substr(0, kMostEndText));
    Send(reply, kEnded);
  }
}

void HandlerSide::Serve() {
  Mount();
  while (port_ != nullptr) {
    turns_.Await();
    Answer();
  }
}

// ---- Messages ----------------------------------------------------------------------------------

MessageWriter HandlerSide::ReplyBody() {
  return MessageWriter(block_.reply().subspan(kReplyHead));
}

/// What does not fit is sent without a length, which no reader takes.
void HandlerSide::Send(const MessageWriter& reply, std::int64_t kind) {
  MessageWriter head(block_.reply());
  head.Number(kind);
  head.Number(reply.ok() ? static_cast<std::int64_t>(reply.size()) : -1);
  turns_.HandOver();
}

/// Asked while a call is being answered: its arguments stay where they are.
bool HandlerSide::AskForName(const std::string& name) {
  MessageWriter question = ReplyBody();
  question.Bytes(name);
  Send(question, kQuestion);
  turns_.Await();
  MessageReader answer(block_.reply().subspan(kReplyHead));
  return answer.Number() != 0;
}

void HandlerSide::Mount() {
  std::string problem;
  services_.BeginCall("Mount()");
  port_ = program_->Mount(mount_, services_, problem);
  MessageWriter reply = ReplyBody();
  reply.Number(port_ != nullptr ? 1 : 0);
  reply.Bytes(problem);
  if (port_ != nullptr) {
    std::string functions;
    for (std::size_t i = 0; i < VectorCount(); ++i) {
      functions += HasVector(port_->FSV, i) ? '1' : '0';
    }
    reply.Number(port_->FSV.Version);
    reply.Number(program_->TakesPackets() ? 1 : 0);
    reply.Bytes(functions);
  }
  reply.Number(services_.volume_name() ? 1 : 0);
  Send(reply, kAnswer);
}

void HandlerSide::Answer() {
  MessageReader call(block_.call());
  const std::int64_t kind = call.Number();
  const std::int64_t number = call.Number();
  if (kind == kUnmountCall) {
    MessageWriter reply = ReplyBody();
    AnswerUnmount(reply);
    Send(reply, kAnswer);
    return;
  }
  if (call.Number() != 0) services_.SetCheck(call.Text());
  Frame frame;
  ::DosPacket packet{};
  packet.dp_Type = static_cast<std::int32_t>(number);
  if (kind == kPacketCall) {
    // Which of two functions some packets stand for.
    packet.dp_Arg1 = static_cast<std::intptr_t>(call.Number());
    packet.dp_Arg4 = static_cast<std::intptr_t>(call.Number());
  }
  frame.shape = kind == kPacketCall ? calls::ShapeOfPacket(packet)
                                    : VectorShape(static_cast<std::size_t>(number));
  services_.BeginCall(frame.shape.name);
  if (kind == kPacketCall) services_.BeginPacket(packet.dp_Type);
  ReadArguments(call, frame);
  notified_.clear();
  calls::Outcome outcome = MakeCall(frame, kind, number);
  CheckResult(frame, outcome);
  // Only now: the handler may have asked something while it was at it.
  MessageWriter reply = ReplyBody();
  reply.Number(outcome.res2);
  WriteResult(reply, frame, outcome);
  WriteArguments(reply, frame);
  Settle(frame, outcome);
  reply.Number(services_.volume_name() ? 1 : 0);
  reply.Number(static_cast<std::int64_t>(frame.breach));
  WriteNotified(reply);
  Send(reply, kAnswer);
}

/// Reports what the handler did wrong with what it was given, after it is unloaded.
void HandlerSide::AnswerUnmount(MessageWriter& reply) {
  services_.BeginCall("Unmount()");
  services_.SetCheck({});
  program_->Unmount(*port_);
  port_ = nullptr;
  services_.FreeEverything();
  const std::vector<std::string> elsewhere = program_->Complaints();
  program_.reset();
  const std::vector<std::string> complaints = services_.complaints();
  reply.Number(static_cast<std::int64_t>(complaints.size() + elsewhere.size()));
  for (const std::string& complaint : complaints) reply.Bytes(complaint);
  for (const std::string& complaint : elsewhere) reply.Bytes(complaint);
}

// ---- Arguments ---------------------------------------------------------------------------------

void HandlerSide::ReadArguments(MessageReader& call, Frame& frame) {
  const std::string_view kinds = frame.shape.arguments;
  for (std::size_t i = 0; i < kinds.size(); ++i) frame.words[i] = ReadArgument(call, frame, i);
  // Arguments that repeat another one.
  const std::size_t text = kinds.find('T');
  const std::size_t file = kinds.find_first_of("FX");
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    if (kinds[i] == '=' && frame.words[i] != 0) frame.words[i] = frame.words[text];
    if (kinds[i] != 'A') continue;
    const auto* const handle = At<const ::FileHandle>(frame.words[file]);
    frame.words[i] = handle == nullptr ? 0 : handle->fh_Arg1;
  }
}

std::int64_t HandlerSide::ReadArgument(MessageReader& call, Frame& frame, std::size_t at) {
  switch (frame.shape.arguments[at]) {
    case 'L':
    case 'U':
      frame.numbers[at] = call.Number();
      return LockOf(frame.numbers[at], frame);
    case 'F':
    case 'X':
      frame.numbers[at] = call.Number();
      return FileOf(frame.numbers[at], frame);
    case 'N': {
      frame.numbers[at] = call.Number();
      auto handle = std::make_unique<::FileHandle>();
      handle->fh_MsgPort = &port_->MP;
      ::FileHandle* const opened = handle.get();
      files_[frame.numbers[at]] = std::move(handle);
      return Address(opened);
    }
    case 'Q':
      frame.numbers[at] = call.Number();
      return ReadRequest(call, frame.numbers[at]);
    case 'Z':
      frame.numbers[at] = call.Number();
      return RequestOf(frame.numbers[at], frame);
    case 'C':
    case 'T':
      return call.Number() != 0 ? Address(call.Bytes().data()) : 0;
    case 'R':
    case 'W':
      call.Number();
      return Address(block_.data().data());
    case 'D':
      Fill(frame.date, call.Bytes());
      return Address(&frame.date);
    case 'I':
      Fill(frame.info, call.Bytes());
      return Address(&frame.info);
    case 'B':
      Fill(frame.block, call.Bytes());
      return Address(&frame.block);
    case 'G':
      return ReadTags(call, frame);
    case 'E':
      frame.scan.Directory = At<::Lock>(LockOf(call.Number(), frame));
      for (std::intptr_t& word : frame.scan.FSPrivate) {
        word = static_cast<std::intptr_t>(call.Number());
      }
      return Address(&frame.scan);
    default:
      return call.Number();
  }
}

std::int64_t HandlerSide::ReadTags(MessageReader& call, Frame& frame) {
  const std::int64_t count = call.Number();
  if (count < 0) return 0;
  for (std::int64_t i = 0; i < count; ++i) {
    ::TagItem tag{};
    tag.ti_Tag = static_cast<std::uint32_t>(call.Number());
    tag.ti_Data = static_cast<std::uintptr_t>(call.Number());
    const std::string_view bytes = call.Bytes();
    const auto* const from = reinterpret_cast<const std::byte*>(bytes.data());
    frame.rooms.emplace_back(from, from + bytes.size());
    if (!bytes.empty()) {
      tag.ti_Data = reinterpret_cast<std::uintptr_t>(frame.rooms.back().data());
    }
    frame.tags.push_back(tag);
  }
  frame.tags.push_back({QUORLE_TAG_DONE, 0});
  return Address(frame.tags.data());
}

bool HandlerSide::IsAlive(const Known& known) const {
  return services_.SerialOf(known.lock) == known.serial;
}

/// A lock that the handler has freed without being asked to is one no more.
std::int64_t HandlerSide::LockOf(std::int64_t number, Frame& frame) {
  if (number == kNoObject) return 0;
  if (number == kForeignObject) return Address(&foreign_lock_);
  const auto found = locks_.find(number);
  if (found != locks_.end() && IsAlive(found->second)) return Address(found->second.lock);
  Note(frame, Breach::kFreedLock);
  frame.refusal = CodeOf(Breach::kFreedLock);
  return 0;
}

std::int64_t HandlerSide::FileOf(std::int64_t number, Frame& frame) {
  if (number == kNoObject) return 0;
  if (number == kForeignObject) return Address(&foreign_file_);
  const auto found = files_.find(number);
  if (found != files_.end()) return Address(found->second.get());
  frame.refusal = ERROR_INVALID_LOCK;
  return 0;
}

std::int64_t HandlerSide::ReadRequest(MessageReader& call, std::int64_t number) {
  if (number == kNoObject) return 0;
  OwnRequest& own = requests_[number];
  const auto read_text = [&call](std::string& text) -> const char* {
    if (call.Number() == 0) return nullptr;
    text = call.Text();
    return text.c_str();
  };
  own.request.nr_Name = read_text(own.name);
  own.request.nr_FullName = read_text(own.full_name);
  own.request.nr_Flags = static_cast<std::uint32_t>(call.Number());
  own.request.nr_UserData = static_cast<std::uintptr_t>(call.Number());
  own.request.nr_Handler = &port_->MP;
  request_numbers_[&own.request] = number;
  services_.BeginRequest(own.request);
  return Address(&own.request);
}

std::int64_t HandlerSide::RequestOf(std::int64_t number, Frame& frame) {
  if (number == kNoObject) return 0;
  if (number == kForeignObject) return Address(&foreign_request_);
  const auto found = requests_.find(number);
  if (found != requests_.end()) return Address(&found->second.request);
  frame.refusal = ERROR_INVALID_LOCK;
  return 0;
}

// ---- Calls -------------------------------------------------------------------------------------

calls::Outcome HandlerSide::MakeCall(Frame& frame, std::int64_t kind, std::int64_t number) {
  if (frame.refusal != 0) return {calls::FailureOf(frame.shape), frame.refusal};
  const std::span<const std::int64_t> words(frame.words.data(),
                                            std::string_view(frame.shape.arguments).size());
  return guard_.Call(frame.shape, words, frame.breach, [&](const std::int64_t* guarded) {
    return kind == kPacketCall
               ? SendPacket(static_cast<std::int32_t>(number), guarded)
               : CallVectorOf(port_->FSV, *port_, static_cast<std::size_t>(number), guarded);
  });
}

calls::Outcome HandlerSide::SendPacket(std::int32_t action, const std::int64_t* words) {
  ::DosPacket packet = calls::PacketOf(action, words);
  if (!program_->Packet(*port_, packet)) AnswerNotKnown(packet);
  return calls::OutcomeOf(packet);
}

// ---- What the handler gave ---------------------------------------------------------------------

void HandlerSide::Note(Frame& frame, Breach breach) {
  if (frame.breach == Breach::kNone) frame.breach = breach;
}

/// Nothing that the handler gave is looked into before it is known to be from the services.
void HandlerSide::CheckResult(Frame& frame, calls::Outcome& outcome) {
  const auto fail = [&](Breach breach) {
    Note(frame, breach);
    outcome = {calls::FailureOf(frame.shape), CodeOf(breach)};
  };
  const char result = frame.shape.result;
  if ((result == 'L' || result == 'O') && outcome.result != 0 &&
      !services_.OwnsLock(At<const ::Lock>(outcome.result))) {
    fail(Breach::kForeignLock);
  } else if ((result == 'L' || result == 'O') && outcome.result != 0) {
    At<::Lock>(outcome.result)->fl_Port = &port_->MP;
  }
  if (result == 'E' && !CheckRecord(frame, At<::ExamineData>(outcome.result))) fail(frame.breach);
  if (!CheckRecord(frame, frame.scan.Entry)) {
    frame.scan.Entry = nullptr;
    fail(frame.breach);
  }
}

/// Frees one that is none, if it is the services'.
bool HandlerSide::CheckRecord(Frame& frame, ::ExamineData* record) {
  if (record == nullptr) return true;
  const Breach breach = services_.Examine(record);
  if (breach == Breach::kNone) return true;
  if (breach != Breach::kForeignRecord) services_.FreeDosObject(QUORLE_DOS_EXAMINEDATA, record);
  Note(frame, breach);
  return false;
}

void HandlerSide::WriteResult(MessageWriter& reply, const Frame& frame,
                              const calls::Outcome& outcome) {
  switch (frame.shape.result) {
    case 'L':
    case 'O': {
      auto* const lock = At<::Lock>(outcome.result);
      reply.Number(lock == nullptr ? kNoObject : NumberOf(lock));
      reply.Number(lock == nullptr ? 0 : lock->fl_Access);
      break;
    }
    case 'E':
      WriteRecord(reply, At<::ExamineData>(outcome.result));
      break;
    default:
      reply.Number(outcome.result);
      break;
  }
}

void HandlerSide::WriteArguments(MessageWriter& reply, Frame& frame) {
  const std::string_view kinds = frame.shape.arguments;
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    switch (kinds[i]) {
      case 'L':
      case 'U':
        WriteLock(reply, frame.numbers[i]);
        break;
      case 'I':
        reply.Bytes(BytesOf(frame.info));
        break;
      case 'B':
        reply.Bytes(BytesOf(frame.block));
        break;
      case 'G':
        for (const std::vector<std::byte>& room : frame.rooms) {
          reply.Bytes({reinterpret_cast<const char*>(room.data()), room.size()});
        }
        break;
      case 'E':
        for (const std::intptr_t word : frame.scan.FSPrivate) reply.Number(word);
        WriteRecord(reply, std::exchange(frame.scan.Entry, nullptr));
        break;
      default:
        break;
    }
  }
}

/// Whether the lock still is one.
void HandlerSide::WriteLock(MessageWriter& reply, std::int64_t number) {
  const auto found = locks_.find(number);
  const bool alive = found != locks_.end() && IsAlive(found->second);
  reply.Number(alive ? 1 : 0);
  reply.Number(alive ? found->second.lock->fl_Access : 0);
  if (alive || found == locks_.end()) return;
  lock_numbers_.erase(found->second.serial);
  locks_.erase(found);
}

/// Hands the record over by value: the host makes its own.
void HandlerSide::WriteRecord(MessageWriter& reply, ::ExamineData* record) {
  reply.Number(record != nullptr ? 1 : 0);
  if (record == nullptr) return;
  const ::ExamineData& data = *record;
  reply.Number(data.Type);
  reply.Number(data.FileSize);
  reply.Number(data.Date.ds_Days);
  reply.Number(data.Date.ds_Minute);
  reply.Number(data.Date.ds_Tick);
  reply.Number(data.RefCount);
  reply.Number(static_cast<std::int64_t>(data.ObjectID));
  reply.Number(data.Protection);
  reply.Number(data.OwnerUID);
  reply.Number(data.OwnerGID);
  WriteText(reply, data.Name, data.NameSize);
  WriteText(reply, data.Comment, data.CommentSize);
  WriteText(reply, data.Link, data.LinkSize);
  services_.FreeDosObject(QUORLE_DOS_EXAMINEDATA, record);
}

std::int64_t HandlerSide::NumberOf(::Lock* lock) {
  const std::uint64_t serial = services_.SerialOf(lock);
  const auto [known, is_new] = lock_numbers_.try_emplace(serial, last_lock_ + 1);
  if (is_new) locks_[++last_lock_] = {lock, serial};
  return known->second;
}

void HandlerSide::WriteNotified(MessageWriter& reply) {
  const std::size_t count = std::min(notified_.size(), kMostNotified);
  reply.Number(notified_.size() > count ? 1 : 0);
  reply.Number(static_cast<std::int64_t>(count));
  for (std::size_t i = 0; i < count; ++i) reply.Number(notified_[i]);
}

/// Files and requests that the call ended, or did not begin after all, are gone.
void HandlerSide::Settle(const Frame& frame, const calls::Outcome& outcome) {
  const std::string_view kinds = frame.shape.arguments;
  const bool failed = outcome.result == 0;
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    const char kind = kinds[i];
    if (kind == 'X' || (kind == 'N' && failed)) files_.erase(frame.numbers[i]);
    if (kind == 'Z' || (kind == 'Q' && failed)) ForgetRequest(frame.numbers[i]);
  }
}

void HandlerSide::ForgetRequest(std::int64_t number) {
  const auto found = requests_.find(number);
  if (found == requests_.end()) return;
  services_.EndRequest(&found->second.request);
  request_numbers_.erase(&found->second.request);
  requests_.erase(found);
}

}  // namespace quorle::isolation
