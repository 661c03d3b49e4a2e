#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/call.h"

namespace quorle::selftest {

/// A part of a run.
struct RunPlace {
  enum class Phase { kStart, kGroup, kSubTest, kEnd };

  Phase phase = Phase::kStart;
  std::int32_t row = 0;       ///< of the catalogue, from 1; of a rule 0 is any
  std::int32_t sub_test = 0;  ///< from 1; 0 unless `phase` is kSubTest
};

/// One platform call that misbehaves in one way. A rule is a line of text:
///
///   [PLACE/]OP[(ARG,ARG...)][#N] ACTION
///
/// PLACE restricts the rule to a part of the run:
///   start             what comes before the first group
///   3                 sub-test 3 of each group
///   24.3              sub-test 3 of row 24
///   group, 24.group   what a group does beside its sub-tests
///   end               what comes after a group, until the next one begins
/// OP is the operation's name as traces have it; "Printf" and "PutStr" are apart. ARG restricts the
/// rule to calls with these leading arguments, in the order of traces: texts as they are, numbers in
/// decimal, truth values as 1 and 0, a date by its days, data by their number of bytes, a handle as
/// "handle" or "0"; SHARED, EXCLUSIVE, OLDFILE, READWRITE and NEWFILE are modes; "*" is any. #N picks the N-th call that matches, from 1,
/// counted from the beginning of the place, or of the run without a place; #N+ that call and all
/// later ones of the run; without it every call there misbehaves.
///
/// ACTION:
///   fail CODE         the call is not made; it fails with this error code
///   code CODE         the call is made; afterwards the error code is this one
///   done-fail CODE    the call is made, but reported as failed with this error code
///   succeed           the call is not made; it succeeds (a lock, a file, a scan is of some other object)
///   return N [CODE]   the call is not made; it returns this number (and sets the error code)
///   set FIELD=VALUE.. the call is made; these fields of what it gives are replaced
///   scribble          the call is made; then zeros are written over the end of the block of memory
///                     that the tester allocated last, as by a handler that writes where it must not
///   drop              the release is not made, and reported as done
///
/// Fields for "set": of a record of ExamineObject() Type, FileSize, Days, Minute, Tick, RefCount, ObjectID, Name,
/// Comment, Link, Protection, OwnerUID, OwnerGID; of GetDiskInfo() and VolumeInfoData() DiskState,
/// NumBlocks, NumBlocksUsed, BytesPerBlock, DiskType, InUse, MoreUsers, which is added; of FileSystemAttr() version, dostype, and
/// value, of the one that asks for a number; of DevNameFromPort() and VolNameFromPort() name; of
/// PortRecordOf() node_type, version, word78; of OpenLibrary() version, revision; of DateStamp() Days;
/// of Read() data, and fill, a character that the rest of the buffer is filled with, which the count
/// does not show; of a count or a number result; of a lock or a file mode=other. The sweep has further
/// ones (fault_injector.cpp). An unknown field replaces nothing.
///
/// An empty line and a line that starts with "//" say nothing.
struct FaultRule {
  enum class Action : std::uint8_t {
    kFail,
    kCode,
    kDoneFail,
    kSucceed,
    kReturn,
    kSet,
    kScribble,
    kDrop
  };

  std::optional<RunPlace> place;
  std::string op;
  std::vector<std::string> args;
  std::uint32_t nth = 0;  ///< 0: every call
  bool and_later = false;
  Action action = Action::kFail;
  std::optional<std::int32_t> code;
  std::int64_t value = 0;
  std::map<std::string, std::string> fields;

  bool in_place = true;                   ///< whether calls count now
  std::uint32_t seen = 0;                 ///< matching calls since the place began
  std::uint32_t seen_in_run = 0;          ///< matching calls in all places
  std::vector<std::uint32_t> fired = {};  ///< the calls that misbehaved, by seen_in_run
  std::optional<std::vector<std::uint32_t>> bound_to;  ///< these misbehave, whatever the place is
};

/// Says which calls misbehave.
class FaultSource {
 public:
  /// The rule that `call`, which is about to be made, falls under, or null. Counts the call.
  virtual const FaultRule* Match(const Call& call) = 0;
  /// `call` fell under none and was made.
  virtual void OnMade(const Call& /*call*/) {}

 protected:
  FaultSource() = default;
  FaultSource(const FaultSource&) = default;
  FaultSource& operator=(const FaultSource&) = default;
  ~FaultSource() = default;
};

/// The rules of one run.
class FaultRules final : public FaultSource {
 public:
  /// Parses a text of rules. A line that is none gives null and says why in `problem`.
  static std::optional<FaultRules> Parse(std::string_view text, std::string& problem);

  /// The rules of a run that was, for a run that makes the same calls and cannot say where it is:
  /// a rule with a place is bound to the calls at which it fired. One without stays as it is: records
  /// in place are looked at without a call, which then cannot be counted.
  FaultRules BoundToCalls() const;

  /// The run begins.
  void Begin();
  /// The run is in `place` from now on.
  void Enter(const RunPlace& place);

  const FaultRule* Match(const Call& call) override;

  /// The first rule that has not fired yet, or null: a rule that never fires tests nothing.
  const FaultRule* Unused() const;

 private:
  std::vector<FaultRule> rules_;
};

}  // namespace quorle::selftest
