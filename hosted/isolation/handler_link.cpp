#include "hosted/isolation/handler_link.h"

#include <algorithm>
#include <utility>

#include "hosted/calls/process_end.h"
#include "hosted/isolation/crash_trace.h"
#include "hosted/isolation/wire.h"

namespace quorle::isolation {
namespace {

/// How long the end of a process may go unnoticed while it should be working.
constexpr std::chrono::milliseconds kGlance{5};
/// A glance that took longer took so long because this process was stopped, or got no processor.
constexpr std::chrono::milliseconds kLongGlance{100};

std::string InSeconds(std::chrono::seconds limit) {
  const auto count = limit.count();
  return std::to_string(count) + (count == 1 ? " second" : " seconds");
}

}  // namespace

void Patience::Count(const HandlerProcess& process, CallGate* gate) {
  CountUpTo(process.IsStopped() ? std::chrono::nanoseconds::zero() : kLongGlance, gate);
}

void Patience::CountLast(CallGate* gate) {
  CountUpTo(kLongGlance, gate);
}

void Patience::CountUpTo(std::chrono::nanoseconds most, CallGate* gate) {
  const auto now = std::chrono::steady_clock::now();
  const std::chrono::nanoseconds gone = now - std::exchange(last_, now);
  const std::chrono::nanoseconds counted = std::min(gone, most);
  spent_ += counted;
  if (gate != nullptr) gate->Excuse(gone - counted);
}

std::unique_ptr<HandlerLink> HandlerLink::Create(std::chrono::seconds limit, CallGate* gate,
                                                 NameQuestion may_be_named) {
  std::unique_ptr<SharedBlock> block = SharedBlock::Create();
  if (block == nullptr) return nullptr;
  return std::unique_ptr<HandlerLink>(
      new HandlerLink(std::move(block), limit, gate, std::move(may_be_named)));
}

HandlerLink::HandlerLink(std::unique_ptr<SharedBlock> block, std::chrono::seconds limit,
                         CallGate* gate, NameQuestion may_be_named)
    : block_(std::move(block)),
      turns_(block_->turns(), Side::kHost),
      limit_(limit),
      gate_(gate),
      may_be_named_(std::move(may_be_named)) {}

bool HandlerLink::Start(const std::function<void(SharedBlock& block)>& body, std::string& problem) {
  block_->Clear();
  ClearTrace(block_->trace());
  trace_.clear();
  block_->LetShare(true);
  process_ = HandlerProcess::Start([&] { body(*block_); }, problem);
  block_->LetShare(false);
  return process_ != nullptr;
}

MessageWriter HandlerLink::BeginCall(std::int64_t kind, std::int64_t number) {
  MessageWriter call(block_->call());
  call.Number(kind);
  call.Number(number);
  return call;
}

std::optional<std::string> HandlerLink::Exchange() {
  Patience patience;
  MessageWriter(block_->reply()).Number(kNothingYet);
  turns_.HandOver();
  while (true) {
    const Awaited seen = turns_.AwaitFor(kGlance);
    if (seen == Awaited::kTimeout) {
      const std::optional<int> status = process_->Status();
      // It may have answered before it ended.
      if (status && turns_.AwaitFor({}) == Awaited::kTimeout) return Ended(DescribeEnd(*status));
      patience.Count(*process_, gate_);
      if (const auto late = IsTooLate(patience, "answer")) return Aborted(*late);
      continue;
    }
    std::int64_t kind = kNothingYet;
    if (seen == Awaited::kGarbage || !Receive(kind)) return Ended(kWithoutShape);
    if (kind == kAnswer) {
      patience.CountLast(gate_);
      return std::nullopt;
    }
    if (kind == kEnded) {
      process_.reset();
      return HowItEnded();
    }
    patience.Count(*process_, gate_);
    if (const auto late = IsTooLate(patience, "answer")) return Aborted(*late);
    AnswerQuestion();
    turns_.HandOver();
  }
}

std::optional<std::string> HandlerLink::Finish() {
  Patience patience;
  std::optional<int> status;
  while (!(status = process_->WaitForEnd(kGlance))) {
    patience.Count(*process_, gate_);
    if (const auto late = IsTooLate(patience, "end")) return Aborted(*late);
  }
  if (*status != 0) return Ended(DescribeEnd(*status));
  process_.reset();
  return std::nullopt;
}

std::optional<std::string> HandlerLink::IsTooLate(const Patience& patience,
                                                  const char* what) const {
  const bool hurries = gate_ != nullptr && gate_->GivesUp();
  if (!hurries && patience.spent() < limit_) return std::nullopt;
  return std::string("did not ") + what + " within " + InSeconds(hurries ? gate_->limit() : limit_);
}

std::string HandlerLink::Aborted(std::string how) {
  // As long as writing a core file may take.
  constexpr std::chrono::seconds kAborting{3};
  process_->Abort();
  process_->WaitForEnd(kAborting);
  return Ended(std::move(how));
}

std::string HandlerLink::Ended(std::string how) {
  process_.reset();
  // What writes over a reply may have written over this as well.
  if (how != kWithoutShape) trace_ = ReadTrace(block_->trace());
  return how;
}

/// Takes what was sent out of the block. False when it cannot have been sent.
bool HandlerLink::Receive(std::int64_t& kind) {
  const std::span<const std::byte> place = block_->reply();
  MessageReader head(place.first(kReplyHead));
  kind = head.Number();
  const std::int64_t length = head.Number();
  const std::span<const std::byte> body = place.subspan(kReplyHead);
  if ((kind != kAnswer && kind != kQuestion && kind != kEnded) || length < 0 ||
      static_cast<std::uint64_t>(length) > body.size()) {
    return false;
  }
  received_.assign(body.begin(), body.begin() + static_cast<std::ptrdiff_t>(length));
  return true;
}

/// What the process itself says of the end of the handler, when it is a line that can be shown.
std::string HandlerLink::HowItEnded() const {
  MessageReader end(received_);
  std::string how = end.Text();
  const bool is_line =
      !how.empty() && how.size() <= kMostEndText &&
      std::all_of(how.begin(), how.end(), [](char c) { return c >= ' ' && c <= '~'; });
  return is_line && end.ReadAll() ? how : kWithoutShape;
}

void HandlerLink::AnswerQuestion() {
  MessageReader question(received_);
  const std::string name = question.Text();
  const bool may = question.ReadAll() && may_be_named_(name);
  MessageWriter(block_->reply().subspan(kReplyHead)).Number(may ? 1 : 0);
}

}  // namespace quorle::isolation
