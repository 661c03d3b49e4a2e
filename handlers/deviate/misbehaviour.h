#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "handlers/deviate/call.h"
#include "handlers/deviate/deviation.h"
#include "handlers/deviate/original.h"

namespace quorle::deviate {

/// Applies rules: replaces the functions of a port as long as it lives.
class Misbehaviour final : public Interceptor {
 public:
  Misbehaviour(::FileSystemVectorPort& port, const ::HandlerServices& dos,
               std::vector<std::span<const Rule>> rules);
  /// Gives the port its own functions back.
  ~Misbehaviour();
  Misbehaviour(const Misbehaviour&) = delete;
  Misbehaviour& operator=(const Misbehaviour&) = delete;

  void Intercept(Call& call) override;
  void InterceptUnLock(::Lock* lock) override;
  const ::FileSystemVectors& OwnVectors() const override { return original_.vectors(); }

 private:
  /// What was there before the call, as far as the rules for it need that.
  struct Before {
    ObjectState object;
    std::optional<Location> place;
    ObjectState directory;  ///< what is known of the place's directory
    std::string data;       ///< what the file held
    std::int64_t position = 0;
  };
  using RuleList = std::vector<const Rule*>;

  RuleList RulesFor(Op op) const;
  Before LookAt(const Call& call, const RuleList& rules) const;
  void Apply(Call& call, const RuleList& rules);
  bool Fits(const Rule& rule, const Call& call, const Before& before) const;
  bool IsState(State state, const Call& call, const Before& before) const;

  void ChangeArguments(const Rule& rule, Call& call);
  void Answer(const Rule& rule, Call& call);
  void ActAfter(const Rule& rule, Call& call, const Before& before);
  void ChangeObject(const Rule& rule, const Before& before) const;

  void Grant(Call& call);
  void Replace(Call& call) const;
  void Follow(Call& call) const;
  void Force(Call& call, const Before& before) const;
  void Hold(Call& call, std::int32_t mode);
  std::string DataOf(const Call& call) const;
  void RestoreData(const Call& call, const std::string& data) const;
  void Move(const Call& call, std::int64_t position) const;

  bool AnswerForGhost(Call& call);
  bool RefuseForExclusive(Call& call);
  bool IsHeldExclusively(::Lock* lock) const;
  bool IsLocked(const Call& call) const;
  void NoteState(const Call& call, std::int32_t mode);

  Original original_;
  std::vector<std::span<const Rule>> rules_;
  std::string clipped_;  ///< the text of the call at hand, when it was cut
  std::uint32_t pass_key_ = 0;
  std::set<const ::FileHandle*> ghosts_;           ///< opened in name only
  std::set<const ::FileHandle*> exclusive_files_;  ///< opened in MODE_NEWFILE
  std::set<::Lock*> locks_;                        ///< given and not yet released
  bool has_changed_ = false;                       ///< something was deleted
  std::set<::Lock*> exclusive_locks_;              ///< on directories
  std::map<const ::FileHandle*, std::int64_t> kept_positions_;
};

}  // namespace quorle::deviate
