#include "hosted/isolation/isolated_program.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>
#include <vector>

#include "calls/vector_table.h"
#include "calls/words.h"
#include "hosted/calls/packet_adapter.h"
#include "hosted/isolation/crash_trace.h"
#include "hosted/isolation/handler_side.h"
#include "hosted/isolation/wire.h"
#include "platform/constants.h"

namespace quorle::isolation {
namespace {

/// No handler has more to complain of: the services stop at 100.
constexpr std::int64_t kMostComplaints = 1000;

constexpr const char* kMount = "Mount()";
constexpr const char* kUnmount = "Unmount()";

std::string InTheProcess(const std::string& how) {
  return "the handler process " + how + " in " + kMount;
}

}  // namespace

IsolatedProgram::IsolatedProgram(std::unique_ptr<HandlerProgram> program,
                                 IsolationSettings settings, RunWatch& watch)
    : program_(std::move(program)), settings_(settings), watch_(watch) {}

// ---- Mounting ----------------------------------------------------------------------------------

::FileSystemVectorPort* IsolatedProgram::Mount(const ::HandlerMount& mount, HostServices& services,
                                               std::string& problem) {
  mount_ = mount;
  // What the process leaves there is its own copy.
  mount_.Medium = nullptr;
  services_ = &services;
  functions_.clear();
  complaints_.clear();
  calls_ = std::make_unique<HostCalls>(services, watch_);
  link_ = HandlerLink::Create(settings_.limit, settings_.gate, [this](const std::string& name) {
    const bool is_named = services_->SetVolumeName(port_, name.c_str());
    named_its_volume_ = named_its_volume_ || is_named;
    return is_named;
  });
  const ::FileSystemVectors table = RemoteTable(*this);
  const ::TagItem tags[] = {{QUORLE_ADO_Vectors, reinterpret_cast<std::uintptr_t>(&table)},
                            {QUORLE_TAG_DONE, 0}};
  port_ =
      static_cast<::FileSystemVectorPort*>(services.AllocDosObject(QUORLE_DOS_FSVECTORPORT, tags));
  if (link_ == nullptr || port_ == nullptr) {
    problem = "no memory for a handler process";
    return nullptr;
  }
  if (!Launch(problem)) {
    services.FreeDosObject(QUORLE_DOS_FSVECTORPORT, std::exchange(port_, nullptr));
    return nullptr;
  }
  for (std::size_t i = 0; i < VectorCount(); ++i) {
    if (functions_[i] != '1') DropVector(port_->FSV, i);
  }
  may_restart_ = settings_.restart;
  return port_;
}

/// Makes a process that mounts the handler. The process has a copy of everything that it needs.
bool IsolatedProgram::Launch(std::string& problem) {
  calls_->BeginProcess();
  const auto body = [this](SharedBlock& block) {
    if (settings_.traces) LeaveTraces(block.trace());
    HandlerSide(block, program_, mount_, *services_).Run();
  };
  if (!link_->Start(body, problem)) return false;
  if (const auto end = link_->Exchange()) {
    problem = InTheProcess(*end);
    for (const std::string& frame : link_->trace()) problem += "; " + frame;
    return false;
  }
  if (TakeMountAnswer(problem)) return true;
  link_->Kill();
  return false;
}

bool IsolatedProgram::TakeMountAnswer(std::string& problem) {
  MessageReader answer(link_->reply());
  const bool mounted = answer.Number() == 1;
  const std::string said = answer.Text();
  const auto version = static_cast<std::int32_t>(mounted ? answer.Number() : 0);
  const bool takes_packets = mounted && answer.Number() == 1;
  const std::string functions = mounted ? answer.Text() : std::string(VectorCount(), '0');
  const bool has_name = answer.Number() == 1;
  if (!answer.ReadAll() || functions.size() != VectorCount()) {
    problem = InTheProcess(kWithoutShape);
    return false;
  }
  if (!mounted) {
    problem = said;
    return false;
  }
  // Layers over the port know it as it was.
  if (!functions_.empty() && functions != functions_) {
    problem = "the handler has other functions than before";
    return false;
  }
  functions_ = functions;
  takes_packets_ = takes_packets;
  port_->FSV.Version = version;
  FollowVolume(has_name);
  return true;
}

HandlerProgram::Life IsolatedProgram::life() const {
  if (link_ != nullptr && link_->running()) return Life::kRuns;
  return may_restart_ ? Life::kComesBack : Life::kIsOver;
}

void IsolatedProgram::Unmount(::FileSystemVectorPort& port) {
  may_restart_ = false;
  if (link_->running()) {
    link_->BeginCall(kUnmountCall, 0);
    if (const auto end = link_->Exchange()) {
      End(*end, kUnmount);
    } else {
      TakeUnmountAnswer();
    }
  }
  calls_.reset();
  link_.reset();
  services_->FreeDosObject(QUORLE_DOS_FSVECTORPORT, &port);
  port_ = nullptr;
}

void IsolatedProgram::TakeUnmountAnswer() {
  MessageReader answer(link_->reply());
  const std::int64_t count = std::clamp<std::int64_t>(answer.Number(), 0, kMostComplaints);
  for (std::int64_t i = 0; i < count && answer.ok(); ++i) {
    complaints_.push_back(answer.Text());
  }
  if (!answer.ReadAll()) {
    complaints_.clear();
    link_->Kill();
    End(kWithoutShape, kUnmount);
  } else if (const auto end = link_->Finish()) {
    End(*end, kUnmount);
  }
}

// ---- The process -------------------------------------------------------------------------------

bool IsolatedProgram::Ready() {
  if (!link_->running() && may_restart_ && watch_.begun() != ended_in_) Restart();
  return link_->running();
}

void IsolatedProgram::Restart() {
  // A handler that fails once more has to wait for the test after this one.
  ended_in_ = watch_.begun();
  FollowVolume(false);
  std::string problem;
  if (Launch(problem)) {
    LockRootsAgain();
    AddRequestsAgain();
    return;
  }
  may_restart_ = false;
  watch_.ReportFailedRestart(mount_.DeviceName, problem);
}

void IsolatedProgram::LockRootsAgain() {
  const std::vector<::Lock*> roots = calls_->objects().DeadRoots();
  for (::Lock* const lock : roots) {
    ::Lock* const fresh = LockRoot();
    // A handler may give the same lock twice: then it is a root that has been taken already.
    const bool is_new = std::find(roots.begin(), roots.end(), fresh) == roots.end();
    if (fresh != nullptr && is_new) calls_->objects().Rebind(lock, fresh);
  }
}

::Lock* IsolatedProgram::LockRoot() {
  constexpr std::size_t kFSLock = calls::kVectorIndex<&::FileSystemVectors::FSLock>;
  if (functions_[kFSLock] == '1') {
    const std::array<std::int64_t, 3> words = {0, reinterpret_cast<std::intptr_t>(""), SHARED_LOCK};
    return PointedTo<::Lock>(static_cast<std::intptr_t>(CallVector(kFSLock, words).result));
  }
  if (!takes_packets_) return nullptr;
  const PacketText name("");
  ::DosPacket packet{};
  packet.dp_Type = QUORLE_ACTION_LOCATE_OBJECT;
  packet.dp_Arg2 = packet.dp_Arg5 = name.address();
  packet.dp_Arg3 = SHARED_LOCK;
  return PointedTo<::Lock>(static_cast<std::intptr_t>(CallPacket(packet).result));
}

void IsolatedProgram::AddRequestsAgain() {
  constexpr std::size_t kAdd = calls::kVectorIndex<&::FileSystemVectors::FSAddNotify>;
  for (::NotifyRequest* const request : calls_->objects().DeadRequests()) {
    const std::int64_t word = calls::ToWord(request);
    if (functions_[kAdd] == '1') {
      CallVector(kAdd, {&word, 1});
    } else if (takes_packets_) {
      ::DosPacket packet{};
      packet.dp_Type = QUORLE_ACTION_ADD_NOTIFY;
      packet.dp_Arg1 = static_cast<std::intptr_t>(word);
      CallPacket(packet);
    }
  }
}

void IsolatedProgram::End(const std::string& how, const std::string& where) {
  ended_in_ = watch_.begun();
  watch_.ReportEnd(
      {.device = mount_.DeviceName, .how = how, .call = where, .restarted = may_restart_},
      link_->trace());
}

// ---- Calls -------------------------------------------------------------------------------------

calls::Outcome IsolatedProgram::CallVector(std::size_t index, std::span<const std::int64_t> words) {
  return Perform({kVectorCall, static_cast<std::int64_t>(index), VectorShape(index), words});
}

bool IsolatedProgram::Packet(::FileSystemVectorPort&, ::DosPacket& packet) {
  // A process that is no more answers every packet, whether it took packets or not.
  if (Ready() && !takes_packets_) return false;
  calls::SetOutcome(packet, CallPacket(packet));
  return true;
}

calls::Outcome IsolatedProgram::CallPacket(const ::DosPacket& packet) {
  const calls::PacketWords words = calls::WordsOf(packet);
  return Perform({kPacketCall, packet.dp_Type, calls::ShapeOfPacket(packet), words});
}

/// A buffer that is larger than the block is read or written piece by piece. (No link is as long.)
calls::Outcome IsolatedProgram::Perform(const HostCall& call) {
  constexpr auto kMost = static_cast<std::int64_t>(SharedBlock::kDataBytes);
  const std::size_t buffer = std::string_view(call.shape.arguments).find_first_of("RW");
  if (buffer == std::string_view::npos || call.words[buffer + 1] <= kMost) return PerformOnce(call);

  std::array<std::int64_t, calls::kMostArguments> words{};
  std::copy(call.words.begin(), call.words.end(), words.begin());
  std::int64_t rest = words[buffer + 1];
  calls::Outcome all;
  while (rest > 0) {
    const std::int64_t piece = std::min(rest, kMost);
    words[buffer + 1] = piece;
    const calls::Outcome outcome =
        PerformOnce({call.kind, call.number, call.shape, {words.data(), call.words.size()}});
    if (outcome.result < 0) return outcome;
    all.result += outcome.result;
    all.res2 = outcome.res2;
    if (outcome.result != piece) break;
    words[buffer] += piece;
    rest -= piece;
  }
  return all;
}

calls::Outcome IsolatedProgram::PerformOnce(const HostCall& call) {
  if (!Ready()) return calls_->Refuse(call, ERROR_DEVICE_NOT_MOUNTED);
  MessageWriter message = link_->BeginCall(call.kind, call.number);
  const std::int32_t code = calls_->Write(call, message, link_->data());
  if (code != 0) return calls_->Refuse(call, code);
  if (const auto end = link_->Exchange()) {
    End(*end, call.Name());
    return calls_->Refuse(call, ERROR_DEVICE_NOT_MOUNTED);
  }
  Reply reply;
  if (!calls_->Read(call, link_->reply(), reply)) {
    link_->Kill();
    End(kWithoutShape, call.Name());
    return calls_->Refuse(call, ERROR_DEVICE_NOT_MOUNTED);
  }
  FollowVolume(reply.volume_has_name);
  if (reply.breach != Breach::kNone) {
    watch_.ReportCall(mount_.DeviceName, Describe(reply.breach), call.Name());
  }
  if (reply.notified_too_often) {
    watch_.ReportCall(mount_.DeviceName,
                      "notified more than " + std::to_string(kMostNotified) + " times",
                      call.Name());
  }
  const std::vector<::NotifyRequest*> notified = calls_->Notified(call, reply);
  const calls::Outcome outcome = calls_->Take(call, reply, link_->data());
  for (::NotifyRequest* const request : notified) services_->Notify(request);
  return outcome;
}

void IsolatedProgram::FollowVolume(bool has_name) {
  if (has_name || !named_its_volume_) return;
  services_->SetVolumeName(port_, nullptr);
  named_its_volume_ = false;
}

}  // namespace quorle::isolation
