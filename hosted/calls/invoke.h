#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "calls/classic_packets.h"
#include "calls/vector_table.h"
#include "calls/words.h"
#include "hosted/calls/classic_fallback.h"
#include "hosted/calls/handler_port.h"
#include "hosted/calls/mounted_handler.h"
#include "hosted/calls/packet_adapter.h"

/// How one function of the table is called, by vector or by the packet that stands for it:
/// HandlerPort::Invoke(), of which HandlerPort's operations are made. Whoever calls a function that
/// has no operation includes this.
namespace quorle {

template <class Function>
struct HandlerPort::Vectored {
  const HandlerPort& port;
  Function function;

  explicit operator bool() const { return function != nullptr; }
  template <class... Args>
  auto operator()(Args... args) const {
    const CallGate::Passage passage = port.Pass();
    return function(args...);
  }
};

template <class Function>
HandlerPort::Vectored<Function> HandlerPort::Vector(Function(::FileSystemVectors::*member),
                                                    CallGate::Purpose purpose) const {
  const bool by_vector = type_ == PortType::kVector && Admits(purpose);
  return {*this, by_vector ? vector_port_->FSV.*member : nullptr};
}

/// An argument of a function as a packet carries it.
template <char kLetter>
class Packed {
 public:
  template <class Arg>
  explicit Packed(Arg argument) : word_(calls::ToWord(argument)) {}
  std::int64_t word() const { return word_; }
  static bool Fits(std::int32_t&) { return true; }

 private:
  std::int64_t word_;
};

/// A text with its length. One that is too long is `kCode`.
template <std::int32_t kCode>
class PackedText {
 public:
  explicit PackedText(const char* text) : text_(text) {}
  std::int64_t word() const { return text_.address(); }
  bool Fits(std::int32_t& res2) const {
    if (!text_.fits()) res2 = kCode;
    return text_.fits();
  }

 private:
  PacketText text_;
};
template <>
class Packed<'T'> : public PackedText<ERROR_LINE_TOO_LONG> {
  using PackedText::PackedText;
};
template <>
class Packed<'M'> : public PackedText<ERROR_COMMENT_TOO_BIG> {
  using PackedText::PackedText;
};

/// All arguments of `kFunction` as its packet carries them.
template <auto kFunction, class Indices>
struct PackedArguments;
template <auto kFunction, std::size_t... kAt>
struct PackedArguments<kFunction, std::index_sequence<kAt...>> {
  static constexpr const calls::VectorForm& kForm = calls::kVector<kFunction>;
  using Tuple = std::tuple<Packed<kForm.arguments[kAt]>...>;

  template <class... Args>
  explicit PackedArguments(Args... args) : packed(args...) {
    if constexpr (kForm.packet.layout.find('G') != std::string_view::npos) {
      const auto id = std::get<sizeof...(Args) - 1>(packed).word();
      tags[0] = {static_cast<std::uint32_t>(kForm.packet.fixed), static_cast<std::uintptr_t>(id)};
    }
    constexpr std::size_t kFile = kForm.arguments.find_first_of("FX");
    if constexpr (kFile != std::string_view::npos) {
      file = std::get<kFile>(std::tuple(args...));
    }
  }
  PackedArguments(const PackedArguments&) = delete;
  PackedArguments& operator=(const PackedArguments&) = delete;

  /// Whether all texts fit; the code of the last that does not goes to `res2`.
  bool Fit(std::int32_t& res2) const {
    return (std::get<sizeof...(kAt) - 1 - kAt>(packed).Fits(res2) && ...);
  }

  calls::PacketWords Words() const {
    return {Word<0>(), Word<1>(), Word<2>(), Word<3>(), Word<4>(), 0};
  }

 private:
  template <std::size_t kPlace>
  std::int64_t Word() const {
    constexpr char kWhat = kForm.packet.layout[kPlace];
    if constexpr (kWhat >= '1' && kWhat <= '9') {
      return std::get<kWhat - '1'>(packed).word();
    } else if constexpr (kWhat == '=') {
      return std::get<kForm.arguments.find('T')>(packed).word();
    } else if constexpr (kWhat == 'A') {
      return file->fh_Arg1;
    } else if constexpr (kWhat == 'K') {
      return kForm.packet.fixed;
    } else if constexpr (kWhat == 'G') {
      return calls::ToWord(tags.data());
    } else {
      static_assert(kWhat == '.' || kWhat == 'L');
      return 0;
    }
  }

  Tuple packed;
  std::array<::TagItem, 2> tags{{{QUORLE_TAG_DONE, 0}, {QUORLE_TAG_DONE, 0}}};
  const ::FileHandle* file = nullptr;
};

/// One call of `kFunction` through a HandlerPort.
template <class Result, class... Args, calls::VectorMember<Result, Args...> kFunction>
class Invocation<kFunction> {
 public:
  /// A truth value of a function that returns one, else what it returns.
  using Answer = std::conditional_t<calls::kVector<kFunction>.result == '#', bool, Result>;

  static Answer Run(HandlerPort& port, std::int32_t& res2, Args... args) {
    return RunWith(port, res2, kIndices, args...);
  }

 private:
  static constexpr const calls::VectorForm& kForm = calls::kVector<kFunction>;
  static constexpr std::index_sequence_for<Args...> kIndices{};
  static constexpr bool kHasClassicWay = ClassicFallback::Has(kForm.packet.action);
  static constexpr CallGate::Purpose kPurpose =
      kForm.Releases() ? CallGate::Purpose::kRelease : CallGate::Purpose::kAnything;

  template <std::size_t... kAt>
  static Answer RunWith(HandlerPort& port, std::int32_t& res2, std::index_sequence<kAt...>,
                        Args... args) {
    port.Begin(res2, kForm.name);
    if (!(Holds<kForm.arguments[kAt]>(port, res2, args) && ...)) return Failure();
    (Prepare<kForm.arguments[kAt]>(port, args), ...);
    const auto function = port.Vector(kFunction, kPurpose);
    Answer answer =
        function ? Accept(port, res2, calls::ToWord(function(port.vector_port_, &res2, args...)),
                          args...)
                 : Send(port, res2, args...);
    (Check<kForm.arguments[kAt]>(port, res2, answer, args), ...);
    return answer;
  }

  /// Not inlined: its texts on the stack would cost the way by vector time.
  [[gnu::noinline]] static Answer Send(HandlerPort& port, std::int32_t& res2, Args... args) {
    std::int32_t action = kForm.packet.action;
    if (kHasClassicWay && port.classic_ != nullptr && port.classic_->IsRemembered(action)) {
      return SendClassic(port, res2, args...);
    }
    if constexpr (kForm.packet.action == calls::kActionIsMode) {
      // The mode becomes the number of the packet: any other number would ask for something else.
      action = std::get<sizeof...(Args) - 1>(std::tuple(args...));
      if (action != MODE_READWRITE && action != MODE_OLDFILE && action != MODE_NEWFILE) {
        res2 = ERROR_BAD_NUMBER;
        return Failure();
      }
    }
    const PackedArguments<kFunction, std::index_sequence_for<Args...>> packed(args...);
    if (!packed.Fit(res2)) return Failure();
    ::DosPacket packet = calls::PacketOf(action, packed.Words().data());
    const bool by_vector = port.Deliver(packet);
    const calls::Outcome outcome = calls::OutcomeOf(packet);
    res2 = outcome.res2;
    if (!by_vector && IsNotKnown(outcome)) {
      if (calls::IsNewerPacket(kForm.packet.action) && kHasClassicWay && port.classic_ != nullptr) {
        port.classic_->Remember(action);
        return SendClassic(port, res2, args...);
      }
      if (kForm.result == '-') return Failure();
    }
    return Accept(port, res2, outcome.result, args...);
  }

  static Answer SendClassic(HandlerPort& port, std::int32_t& res2, Args... args) {
    const std::array<std::int64_t, sizeof...(Args)> words{calls::ToWord(args)...};
    const calls::Outcome outcome = port.classic_->Send(kForm, words);
    res2 = outcome.res2;
    return Accept(port, res2, outcome.result, args...);
  }

  static Answer Failure() {
    return static_cast<Answer>(calls::FromWord<Result>(kForm.result == '-' ? -1 : 0));
  }

  static bool IsNotKnown(const calls::Outcome& outcome) {
    return outcome.result == 0 && outcome.res2 == ERROR_ACTION_NOT_KNOWN;
  }

  /// The answer that `result` is, or a failure that was reported and whose code is in `res2`.
  static Answer Accept(HandlerPort& port, std::int32_t& res2, std::int64_t result, Args... args) {
    constexpr std::size_t kBuffer = kForm.arguments.find_first_of("RW");
    if constexpr (kForm.result == '#') {
      return result != 0;
    } else if constexpr (std::is_pointer_v<Result>) {
      return port.Accepted(res2, calls::FromWord<Result>(result));
    } else if constexpr (kBuffer != std::string_view::npos) {
      return port.CheckedCount(res2, result, std::get<kBuffer + 1>(std::tuple(args...)));
    } else {
      return result;
    }
  }

  // ---- Arguments -------------------------------------------------------------------------------

  /// Whether a lock that the call uses is one still.
  template <char kLetter, class Arg>
  static bool Holds(HandlerPort& port, std::int32_t& res2, Arg arg) {
    if constexpr (kLetter == 'L' || kLetter == 'U') {
      return port.IsLive(res2, arg);
    } else if constexpr (kLetter == 'E') {
      return port.IsLive(res2, arg->Directory);
    } else {
      return true;
    }
  }

  template <char kLetter, class Arg>
  static void Prepare(const HandlerPort& port, Arg arg) {
    if constexpr (kLetter == 'N') arg->fh_MsgPort = port.port_;
    if constexpr (kLetter == 'Q') {
      if (arg != nullptr) arg->nr_Handler = port.port_;
    }
  }

  /// What the handler gave through an argument: without it the call failed.
  template <char kLetter, class Arg>
  static void Check(HandlerPort& port, std::int32_t& res2, Answer& answer, Arg arg) {
    if constexpr (kLetter == 'G') {
      if (HandlerPort::EndTexts(arg) || !answer) return;
      port.Report(Breach::kTextWithoutEnd, res2);
      answer = false;
    } else if constexpr (kLetter == 'E') {
      const bool has_entry = arg->Entry != nullptr;
      arg->Entry = port.Accepted(res2, arg->Entry);
      answer = answer && has_entry == (arg->Entry != nullptr);
    }
  }
};

template <auto kFunction, class... Args>
auto HandlerPort::Invoke(std::int32_t& res2, Args... args) {
  return Invocation<kFunction>::Run(*this, res2, args...);
}

}  // namespace quorle
