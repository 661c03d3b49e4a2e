#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorle::selftest {

/// One platform call that misbehaves in one way. A rule is a line of text:
///
///   OP[(ARG,ARG...)][#N] ACTION
///
/// OP is the operation's name. ARG restricts the rule to calls with these leading arguments, texts
/// as they stand and numbers in decimal; "*" is any. Handles cannot be named: they are "*". #N picks
/// the N-th call that matches, from 1; #N+ that call and all later ones; without it every call misbehaves.
///
/// ACTION:
///   fail CODE         the call is not made; it fails with this error code
///   code CODE         the call is made; afterwards the error code is this one
///   done-fail CODE    the call is made, but reported as failed with this error code
///   succeed           the call is not made; it succeeds (a lock or a file is of some other object)
///   return N [CODE]   the call is not made; it returns this number (and sets the error code)
///   set FIELD=VALUE.. the call is made; these fields of what it gives are replaced
///   scribble          the call is made; then zeros are written over the end of the block of memory
///                     that the tester allocated last, as by a handler that writes where it must not
///
/// An empty line and a line that starts with "//" say nothing.
struct FaultRule {
  enum class Action { kFail, kCode, kDoneFail, kSucceed, kReturn, kSet, kScribble };

  std::string op;
  std::vector<std::string> args;
  std::uint32_t nth = 0;  ///< 0: every call
  bool and_later = false;
  Action action = Action::kFail;
  std::optional<std::int32_t> code;
  std::int64_t value = 0;
  std::map<std::string, std::string> fields;

  std::uint32_t seen = 0;   ///< matching calls so far
  std::uint32_t fired = 0;  ///< calls that misbehaved
};

/// The rules of one run.
class FaultRules {
 public:
  /// Parses a text of rules. A line that is none gives null and says why in `problem`.
  static std::optional<FaultRules> Parse(std::string_view text, std::string& problem);

  /// The rule that the call of `op` with `args` falls under now, or null. Counts the call.
  const FaultRule* Match(std::string_view op, std::initializer_list<std::string> args = {});

  /// The first rule that has not fired yet, or null: a rule that never fires tests nothing.
  const FaultRule* Unused() const;

 private:
  std::vector<FaultRule> rules_;
};

}  // namespace quorle::selftest
