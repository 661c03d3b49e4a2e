#include "results/run_recorder.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "harness/context.h"
#include "platform/constants.h"

namespace quorle {
namespace {

/// What scratch names are asked for first, of any base: "FILE01".
constexpr std::string_view kFirstNumber = "01";
constexpr std::string_view kNoUniqueName = "Cannot build unique object name string.";

/// The object that a CLEANUP ERROR names.
std::string ObjectOf(const std::string& cleanup_error) {
  constexpr std::string_view kBefore = "left the object \"";
  const std::size_t start = cleanup_error.find(kBefore);
  if (start == std::string::npos) return {};
  const std::size_t name = start + kBefore.size();
  return cleanup_error.substr(name, cleanup_error.rfind("\" behind") - name);
}

std::string DosTypeText(std::uint32_t dos_type) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "0x%08X", static_cast<unsigned>(dos_type));
  return text.data();
}

std::int64_t MicrosecondsSince(std::chrono::steady_clock::time_point moment) {
  const auto time = std::chrono::steady_clock::now() - moment;
  return std::chrono::duration_cast<std::chrono::microseconds>(time).count();
}

/// The event of a check of which nothing is known yet.
CheckEvent EventOf(const CheckInfo& info) {
  CheckEvent check;
  check.id = info.id;
  check.catalogue = info.catalogue;
  check.row = info.row;
  check.number = info.number;
  return check;
}

}  // namespace

RunRecorder::RunRecorder(const Selection& selection, EventSink& sink)
    : selection_(selection), sink_(sink) {}

void RunRecorder::Begin(const RunEvent& start) {
  begun_ = Moment::now();
  sink_.Take(start);
}

void RunRecorder::End(std::int32_t result) {
  if (ctx_ != nullptr) SendSkipped(selection_.checks().size());
  sink_.Take(EndEvent{.result = result, .checks = counts_, .us = MicrosecondsSince(begun_)});
}

// ---- The run -----------------------------------------------------------------------------------

void RunRecorder::OnRunStart(const TestContext& ctx, std::int32_t first, std::int32_t last) {
  ctx_ = &ctx;
  first_row_ = first + 1;
  // The first row runs whatever the last one is.
  last_row_ = std::max(first, last) + 1;
  sink_.Take(TargetEvent{.device = ToPlainUtf8(ctx.device_name),
                         .volume = ToPlainUtf8(ctx.volume_name),
                         .filesystem = ToPlainUtf8(ctx.version_text),
                         .dostype = DosTypeText(ctx.dos_type)});
}

void RunRecorder::OnGroupStart(const TestEntry& entry, std::int32_t row) {
  const std::vector<CheckInfo>& checks = selection_.checks();
  const auto first = std::find_if(checks.begin(), checks.end(),
                                  [&](const CheckInfo& check) { return check.row >= row; });
  SendSkipped(static_cast<std::size_t>(first - checks.begin()));
  row_ = row;
  group_ = IdOf(*entry.group);
  worst_ = Verdict::kSkipped;
  group_begun_ = Moment::now();
  group_us_.reset();
  ended_by_.clear();
  is_unsupported_ = false;
  if (comes_back_) is_gone_ = false;
}

void RunRecorder::OnSubTestStart(const SubTest& sub_test, std::int32_t /*number*/) {
  check_ = group_ + "." + sub_test.name;
  first_call_ = calls_ + 1;
  calls_of_check_ = 0;
  was_gone_ = is_gone_;
  ended_here_ = false;
  has_no_name_ = false;
  in_the_way_.clear();
  probes_.clear();
  static_cast<void>(diagnostics_.Take());
  check_begun_ = Moment::now();
}

Verdict RunRecorder::VerdictOf(std::int32_t status, const std::vector<Diagnostic>& said) const {
  if (ended_here_) return Verdict::kFail;
  if (was_gone_ || has_no_name_) return Verdict::kBlocked;
  if (status >= kFatal && ctx_->last_error == ERROR_ACTION_NOT_KNOWN) return Verdict::kUnsupported;
  if (status != kPassed) return Verdict::kFail;
  const bool warned = std::any_of(said.begin(), said.end(), [](const Diagnostic& diagnostic) {
    return diagnostic.type == DiagnosticClass::kWarn;
  });
  if (warned) return Verdict::kWarn;
  return calls_of_check_ == 0 ? Verdict::kSkipped : Verdict::kPass;
}

void RunRecorder::OnSubTestEnd(const SubTest& /*sub_test*/, std::int32_t status) {
  const std::int64_t us = MicrosecondsSince(check_begun_);
  std::vector<Diagnostic> said = diagnostics_.Take();
  const std::vector<CheckInfo>& checks = selection_.checks();
  const auto info = std::find_if(checks.begin() + static_cast<std::ptrdiff_t>(next_), checks.end(),
                                 [&](const CheckInfo& check) { return check.id == check_; });
  const auto index = static_cast<std::size_t>(info - checks.begin());
  SendSkipped(index);
  ++next_;

  CheckEvent check = EventOf(*info);
  check.verdict = VerdictOf(status, said);
  check.result = status;
  if (calls_ >= first_call_) check.calls = {first_call_, calls_};
  check.us = us;
  if (check.verdict == Verdict::kBlocked) {
    if (was_gone_) {
      check.cause = culprit_;
    } else {
      check.objects = in_the_way_;
    }
  }
  if (check.verdict == Verdict::kSkipped) check.why = kNothingToDo;
  if (status >= kFatal) {
    ended_by_ = check_;
    is_unsupported_ = check.verdict == Verdict::kUnsupported;
  }
  std::vector<LeftBehindEvent> left;
  for (const Diagnostic& diagnostic : said) {
    if (diagnostic.type != DiagnosticClass::kCleanup) continue;
    left.push_back({.id = check_, .object = ObjectOf(diagnostic.text), .code = diagnostic.code});
  }
  check.diagnostics = std::move(said);
  Send(std::move(check));
  for (LeftBehindEvent& event : left) sink_.Take(std::move(event));
  check_.clear();
}

void RunRecorder::OnGroupEnd(const TestEntry& entry, std::int32_t result) {
  const std::vector<CheckInfo>& checks = selection_.checks();
  while (next_ < checks.size() && checks[next_].row == row_) {
    Send(SkippedCheck(checks[next_]));
    ++next_;
  }
  if (selection_.IncludesGroup(group_)) {
    const bool is_note = entry.group->sub_tests == nullptr;
    sink_.Take(GroupEvent{.id = group_,
                          .row = row_,
                          .verdict = is_note ? Verdict::kNote : worst_,
                          .result = result,
                          .us = group_us_.value_or(MicrosecondsSince(group_begun_))});
  }
  row_ = 0;
  group_.clear();
}

// ---- Its calls ---------------------------------------------------------------------------------

void RunRecorder::Print(std::string_view text, std::int32_t code) {
  ++calls_;
  if (check_.empty()) return;
  diagnostics_.Add(text, code);
  if (text.find(kNoUniqueName) == std::string_view::npos) return;
  has_no_name_ = true;
  for (const Probe& probe : probes_) {
    if (probe.taken) in_the_way_.push_back(ToPlainUtf8(probe.name));
  }
}

void RunRecorder::SeeLock(const char* name, bool taken) {
  if (check_.empty() || name == nullptr) return;
  const std::string_view text(name);
  if (text.ends_with(kFirstNumber)) probes_.clear();
  probes_.push_back({.name = std::string(text), .taken = taken});
}

// ---- Its handler -------------------------------------------------------------------------------

void RunRecorder::HandlerEnded(const std::string& call, const std::string& how, bool restarted) {
  // One that is gone takes time as well: the first end counts, and one for good stays so.
  comes_back_ = restarted && (!is_gone_ || comes_back_);
  if (!is_gone_) {
    is_gone_ = true;
    ended_here_ = true;
    culprit_ = Here();
  }
  sink_.Take(HandlerEndedEvent{.id = Here(), .call = call, .how = how, .restarted = restarted});
}

void RunRecorder::RestartFailed() {
  is_gone_ = true;
  was_gone_ = true;
  comes_back_ = false;
}

void RunRecorder::BeginRemount() {
  group_us_ = MicrosecondsSince(group_begun_);
}

void RunRecorder::HandlerIsGone() {
  is_gone_ = true;
  comes_back_ = false;
  culprit_ = Here();
}

void RunRecorder::EndRemount(const std::string& group, bool ok, const std::string& text) {
  sink_.Take(RemountEvent{.id = group, .ok = ok, .text = ToPlainUtf8(text)});
}

void RunRecorder::Complain(const std::string& text) {
  sink_.Take(ComplaintEvent{.id = Here(), .text = ToPlainUtf8(text)});
}

void RunRecorder::ObjectLeft(const std::string& object, std::int32_t code) {
  sink_.Take(LeftBehindEvent{.id = Here(), .object = ToPlainUtf8(object), .code = code});
}

// ---- Events ------------------------------------------------------------------------------------

std::string RunRecorder::Here() const {
  return check_.empty() ? group_ : check_;
}

CheckEvent RunRecorder::SkippedCheck(const CheckInfo& info) const {
  CheckEvent check = EventOf(info);
  const bool in_range = info.row >= first_row_ && info.row <= last_row_;
  if (!in_range || !selection_.Includes(info.id)) {
    check.why = kNotSelected;
  } else if (info.row != row_) {
    check.why = kRunEnded;
  } else if (ended_by_.empty()) {
    check.why = kNothingToDo;
  } else {
    check.cause = ended_by_;
    if (is_unsupported_) {
      check.verdict = Verdict::kUnsupported;
    } else {
      check.why = kGroupEnded;
    }
  }
  return check;
}

void RunRecorder::SendSkipped(std::size_t end) {
  for (; next_ < end; ++next_) Send(SkippedCheck(selection_.checks()[next_]));
}

void RunRecorder::Send(CheckEvent check) {
  ++counts_[check.verdict];
  if (check.row == row_) worst_ = std::max(worst_, check.verdict);
  sink_.Take(std::move(check));
}

}  // namespace quorle
