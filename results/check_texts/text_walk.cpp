#include "results/check_texts/text_walk.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "platform/format.h"
#include "results/check_texts/source_calls.h"

namespace quorle {
namespace {

using Statement = SourceStatement;
using Statements = std::vector<SourceStatement>;
using Type = SourceToken::Type;

constexpr std::string_view kCurrentCode = "%n";
constexpr std::string_view kBlanks = " \r\f\t";
constexpr std::array<std::string_view, 5> kMessageStarts = {"ERROR:", "ERROR,",
                                                            "WARN:", "INFO:", "CLEANUP ERROR["};

std::string_view Trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == text.npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

bool BeginsMessage(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(" \n");
  if (begin == text.npos) return false;
  return std::any_of(kMessageStarts.begin(), kMessageStarts.end(),
                     [&](std::string_view start) { return text.substr(begin).starts_with(start); });
}

bool IsPrint(const SourceCall& call) {
  return call.method && (call.name == "Printf" || call.name == "PutStr") &&
         !call.arguments.empty() && call.arguments[0].size() == 1 &&
         call.arguments[0][0].type == Type::kText;
}

/// Whether `tokens` has `name = value`.
bool Assigns(const SourceTokens& tokens, const std::string& name, std::string_view value) {
  for (std::size_t i = 0; i + 2 < tokens.size(); ++i) {
    if (tokens[i].Is(name) && tokens[i + 1].Is("=") && tokens[i + 2].Is(value)) return true;
  }
  return false;
}

bool AssignsAnywhere(const Statements& statements, const std::string& name,
                     std::string_view value) {
  return std::any_of(statements.begin(), statements.end(), [&](const Statement& statement) {
    return Assigns(statement.tokens, name, value) || AssignsAnywhere(statement.body, name, value) ||
           AssignsAnywhere(statement.otherwise, name, value);
  });
}

class Walker {
 public:
  explicit Walker(const SourceSet& sources) : sources_(sources) {}

  std::set<FoundText> Walk(const std::string& name) {
    if (const SourceFunction* const function = Find(name)) {
      Scope scope;
      WalkFunction(*function, scope);
      AddUnsupported(*function);
    }
    return std::move(found_);
  }

 private:
  /// What is known of the words of a function: patterns of texts and numbers.
  using Scope = std::map<std::string, std::string, std::less<>>;

  /// Where the walk is in a list of statements.
  struct Frame {
    const Statements* list = nullptr;
    std::size_t next = 0;                 ///< behind the statement that is walked
    const SourceTokens* guard = nullptr;  ///< the condition that leads here
    bool loop = false;
    const SourceFunction* function = nullptr;  ///< whose body the list is
  };

  /// What follows a line.
  struct Rest {
    bool more = false;             ///< another message may follow
    std::set<std::string> failed;  ///< words to which kFailed was assigned
  };

  const SourceFunction* Find(const std::string& name) const {
    if (const auto own = sources_.own->functions.find(name); own != sources_.own->functions.end()) {
      return &own->second;
    }
    for (const SourceFile* const file : sources_.shared) {
      const auto found = file->functions.find(name);
      if (found != file->functions.end()) return &found->second;
    }
    return nullptr;
  }

  // ---- Walking ---------------------------------------------------------------------------------

  void WalkFunction(const SourceFunction& function, Scope& scope) {
    if (frames_.size() > kDeepest) return;
    frames_.push_back({.list = &function.body, .function = &function});
    WalkList(scope);
    frames_.pop_back();
  }

  void WalkList(Scope& scope) {
    const Statements& list = *frames_.back().list;
    for (std::size_t i = 0; i < list.size(); ++i) {
      frames_.back().next = i + 1;
      WalkStatement(list[i], scope);
    }
  }

  void WalkStatement(const Statement& statement, Scope& scope) {
    // What a loop changes has another value each time.
    if (statement.type == Statement::Type::kLoop) ForgetAssigned(statement.body, scope);
    WalkExpression(statement.tokens, scope);
    if (statement.type == Statement::Type::kLoop) ForgetAssigned({statement}, scope);
    switch (statement.type) {
      case Statement::Type::kIf:
        WalkBranch({.list = &statement.body, .guard = &statement.tokens}, scope);
        WalkBranch({.list = &statement.otherwise}, scope);
        break;
      case Statement::Type::kLoop:
        WalkBranch({.list = &statement.body, .loop = true}, scope);
        break;
      case Statement::Type::kReleases:
        ++releases_;
        WalkBranch({.list = &statement.body}, scope);
        --releases_;
        break;
      default:
        WalkBranch({.list = &statement.body}, scope);
        break;
    }
  }

  /// What became known in a branch is known in it alone, and what it changed is not known any more.
  void WalkBranch(const Frame& frame, Scope& scope) {
    if (frame.list->empty()) return;
    const std::string line = line_;
    const Scope before = scope;
    frames_.push_back(frame);
    WalkList(scope);
    frames_.pop_back();
    line_ = line;
    std::erase_if(scope, [&](const auto& known) {
      const auto same = before.find(known.first);
      return same == before.end() || same->second != known.second;
    });
  }

  void WalkExpression(const SourceTokens& tokens, Scope& scope) {
    Scope returned;
    for (const SourceCall& call : CallsIn(tokens)) {
      if (IsPrint(call)) {
        Print(call, scope);
      } else if (call.method) {
        WalkMethod(call, scope);
      } else if (const SourceFunction* const function = Find(call.name)) {
        Scope inner = ScopeOf(*function, call, scope);
        WalkFunction(*function, inner);
        returned = std::move(inner);
        scope.erase(std::string(kCurrentCode));
        NameObject(call, scope);
      }
    }
    Assign(tokens, returned, scope);
  }

  /// What `function` knows of its parameters when it is called like that.
  Scope ScopeOf(const SourceFunction& function, const SourceCall& call, const Scope& scope) const {
    Scope inner;
    for (std::size_t i = 0; i < function.parameters.size() && i < call.arguments.size(); ++i) {
      const std::string& parameter = function.parameters[i];
      if (const auto value = ValueOf(call.arguments[i], scope)) inner[parameter] = *value;
      CopyMembers(scope, PathOf(call.arguments[i]), parameter, inner);
    }
    return inner;
  }

  static void ForgetAssigned(const Statements& statements, Scope& scope) {
    for (const Statement& statement : statements) {
      for (const std::string& path : ChangedIn(statement.tokens)) scope.erase(path);
      ForgetAssigned(statement.body, scope);
      ForgetAssigned(statement.otherwise, scope);
    }
  }

  /// What is known of the members of `from` becomes known of those of `to`.
  static void CopyMembers(const Scope& source, const std::string& from, const std::string& to,
                          Scope& destination) {
    if (from.empty()) return;
    const std::string prefix = from + '.';
    for (const auto& [path, value] : source) {
      if (path.starts_with(prefix)) destination[to + path.substr(from.size())] = value;
    }
  }

  /// `name = value`, where `returned` is what the last function that the value calls knew at its end.
  void Assign(const SourceTokens& tokens, const Scope& returned, Scope& scope) const {
    for (const std::string& changed : ChangedIn(tokens)) scope.erase(changed);
    const std::size_t at = AssignmentIn(tokens);
    if (at == tokens.size()) return;
    const std::string path = PathBefore(tokens, at);
    if (path.empty()) return;
    const SourceTokens value = Part(tokens, at + 1, tokens.size());
    if (const auto known = ValueOf(value, scope)) scope[path] = *known;
    // A function of the harness returns its record under the name that it has there itself.
    CopyMembers(returned, "record", path, scope);
    if (value.front().Is("{")) AssignMembers(tokens, value, path, scope);
  }

  /// `const Examination asked = {function, object};`
  void AssignMembers(const SourceTokens& tokens, const SourceTokens& value, const std::string& path,
                     Scope& scope) const {
    const std::vector<std::string>* const members = MembersOf(tokens);
    const std::vector<SourceTokens> values = ArgumentsIn(Part(value, 1, value.size() - 1));
    for (std::size_t i = 0; members != nullptr && i < members->size() && i < values.size(); ++i) {
      if (const auto known = ValueOf(values[i], scope)) scope[path + '.' + (*members)[i]] = *known;
    }
  }

  /// The members of the structure that a declaration names, or null.
  const std::vector<std::string>* MembersOf(const SourceTokens& tokens) const {
    std::vector<const SourceFile*> files = {sources_.own};
    files.insert(files.end(), sources_.shared.begin(), sources_.shared.end());
    for (const SourceFile* const file : files) {
      for (const SourceToken& token : tokens) {
        const auto found = file->structures.find(token.text);
        if (found != file->structures.end()) return &found->second;
      }
    }
    return nullptr;
  }

  void WalkMethod(const SourceCall& call, Scope& scope) {
    scope.erase(std::string(kCurrentCode));
    const auto& arguments = call.arguments;
    if (call.name == "SetIoErr" && arguments.size() == 1) {
      if (const auto code = ValueOf(arguments[0], scope)) scope[std::string(kCurrentCode)] = *code;
    }
    // SNPrintf(name.text, size, "%s/file#01", directory)
    if (call.name == "SNPrintf" && arguments.size() >= 3 && arguments[0].size() == 3 &&
        arguments[2].size() == 1 && arguments[2][0].type == Type::kText) {
      scope[arguments[0][0].text] = Expanded(call, 2, scope);
    }
  }

  /// `UniqueFile(ctx, name)`: `name` is "FILE" and a number from here on.
  static void NameObject(const SourceCall& call, Scope& scope) {
    constexpr std::array<std::pair<std::string_view, std::string_view>, 3> kBases = {
        {{"UniqueFile", "FILE"}, {"UniqueDirectory", "DIRECTORY"}, {"UniqueLink", "LINK"}}};
    for (const auto& [function, base] : kBases) {
      if (call.name != function || call.arguments.size() != 2) continue;
      scope[call.arguments[1].back().text] = std::string(base) + kAnyText;
    }
  }

  /// What an argument is, if that can be known here: a text or a decimal number.
  std::optional<std::string> ValueOf(const SourceTokens& tokens, const Scope& scope) const {
    if (tokens.size() == 1 && tokens[0].type != Type::kWord) return tokens[0].text;
    const std::string word = PathOf(tokens);
    if (word.empty()) return std::nullopt;
    if (const auto known = scope.find(word); known != scope.end()) return known->second;
    if (const auto code = sources_.codes.find(word); code != sources_.codes.end()) {
      return std::to_string(code->second);
    }
    if (const auto text = sources_.own->texts.find(word); text != sources_.own->texts.end()) {
      return text->second;
    }
    return std::nullopt;
  }

  /// The message that is argument `at` of `call`, with what is known of those behind it.
  std::string Expanded(const SourceCall& call, std::size_t at, const Scope& scope) const {
    std::string text;
    const std::string& format = call.arguments[at][0].text;
    const bool plain = call.name == "PutStr";
    for (const char* p = format.c_str(); *p != '\0';) {
      if (*p != '%' || plain) {
        text += *p++;
        continue;
      }
      const Conversion conversion = ReadConversion(p);
      std::optional<std::string> value;
      if (conversion.type == '%') value = "%";
      if (conversion.type == 'n') {
        const auto code = scope.find(kCurrentCode);
        if (code != scope.end()) value = code->second;
      }
      if (conversion.TakesArgument()) {
        ++at;
        const bool as_it_is =
            conversion.width == 0 && conversion.type != 'x' && conversion.type != 'c';
        if (as_it_is && at < call.arguments.size()) value = ValueOf(call.arguments[at], scope);
      }
      // Of the code 0 there is no text, and no blank before it when ends of lines are trimmed.
      if (conversion.type == 'm' && text.ends_with(' ')) text.pop_back();
      if (value || !text.ends_with(kAnyText)) text += value.value_or(std::string(1, kAnyText));
      p = conversion.end;
    }
    return text;
  }

  void Print(const SourceCall& call, const Scope& scope) {
    const std::string text = Expanded(call, 0, scope);
    for (std::size_t at = 0; at < text.size();) {
      const std::size_t end = text.find('\n', at);
      line_ += text.substr(at, end - at);
      if (end == text.npos) return;
      at = std::min(text.find_first_not_of('\n', end), text.size());
      const std::string line = std::exchange(line_, {});
      const std::string_view trimmed = Trimmed(line);
      if (!trimmed.empty()) {
        found_.insert({.line = std::string(trimmed), .effect = EffectHere(), .breaks = at - end});
      }
    }
  }

  // ---- What follows ----------------------------------------------------------------------------

  TextEffect EffectHere() const {
    if (releases_ > 0) return TextEffect::kReleases;
    Rest rest;
    bool left_loop = false;
    for (std::size_t i = frames_.size(); i-- > 0;) {
      const Frame& frame = frames_[i];
      if (left_loop) {
        left_loop = !frame.loop;
        continue;
      }
      for (std::size_t next = frame.next; next < frame.list->size(); ++next) {
        const Statement& statement = (*frame.list)[next];
        if (statement.type == Statement::Type::kBreak) {
          left_loop = !frame.loop;
          break;
        }
        if (const auto effect = EffectOf(statement, i, rest)) return *effect;
      }
      // The statement that called may itself be a return, of what the function returns.
      if (frame.loop && !left_loop) rest.more = true;
    }
    return TextEffect::kPasses;
  }

  /// What `statement` makes of the line, unless it goes on behind it.
  std::optional<TextEffect> EffectOf(const Statement& statement, std::size_t frame,
                                     Rest& rest) const {
    switch (statement.type) {
      case Statement::Type::kReturn:
        return EffectOfReturn(statement.tokens, frame, rest);
      case Statement::Type::kBlock:
        for (const Statement& inner : statement.body) {
          if (const auto effect = EffectOf(inner, frame, rest)) return effect;
        }
        break;
      default:
        rest.more = rest.more || MayBeginMessage(statement);
        if (statement.type == Statement::Type::kExpression) NoteFailure(statement.tokens, rest);
        break;
    }
    return std::nullopt;
  }

  static void NoteFailure(const SourceTokens& tokens, Rest& rest) {
    if (tokens.size() == 3 && tokens[1].Is("=") && tokens[2].Is("kFailed")) {
      rest.failed.insert(tokens[0].text);
    }
  }

  std::optional<TextEffect> EffectOfReturn(const SourceTokens& value, std::size_t frame,
                                           const Rest& rest) const {
    const SourceFunction& function = FunctionOf(frame);
    const TextEffect fails = rest.more ? TextEffect::kFails : TextEffect::kEnds;
    if (value.empty()) return std::nullopt;
    if (value.size() == 1) {
      const SourceToken& word = value[0];
      if (word.Is("kPassed") || word.Is("true")) return TextEffect::kPasses;
      if (word.Is("kFatal")) return TextEffect::kStops;
      const bool starts_passed = AssignsAnywhere(function.body, word.text, "kPassed");
      if (starts_passed) return rest.failed.count(word.text) != 0 ? fails : TextEffect::kPasses;
      return fails;
    }
    // `in_use ? kFatal : kFailed`, of a line that is printed when in_use.
    if (HasWord(value, "kFatal") && IsGuardedBy(value[0].text, frame)) return TextEffect::kStops;
    return fails;
  }

  const SourceFunction& FunctionOf(std::size_t frame) const {
    while (frames_[frame].function == nullptr) --frame;
    return *frames_[frame].function;
  }

  bool IsGuardedBy(const std::string& word, std::size_t outermost) const {
    for (std::size_t i = outermost + 1; i < frames_.size(); ++i) {
      const SourceTokens* const guard = frames_[i].guard;
      if (guard != nullptr && guard->size() == 1 && (*guard)[0].Is(word)) return true;
    }
    return false;
  }

  bool MayBeginMessage(const Statement& statement) const {
    return AnyOf({statement}, [](const SourceTokens& tokens) {
      const std::vector<SourceCall> calls = CallsIn(tokens);
      return std::any_of(calls.begin(), calls.end(), [](const SourceCall& call) {
        return IsPrint(call) && BeginsMessage(call.arguments[0][0].text);
      });
    });
  }

  /// Whether `holds` is true of the tokens of any of the statements, or of those of what they call. What
  /// releases do is left out.
  template <class Predicate>
  bool AnyOf(const Statements& statements, const Predicate& holds) const {
    std::set<const SourceFunction*> seen;
    return AnyOf(statements, holds, seen);
  }
  template <class Predicate>
  bool AnyOf(const Statements& statements, const Predicate& holds,
             std::set<const SourceFunction*>& seen) const {
    for (const Statement& statement : statements) {
      if (statement.type == Statement::Type::kReleases) continue;
      if (holds(statement.tokens) || AnyOf(statement.body, holds, seen) ||
          AnyOf(statement.otherwise, holds, seen)) {
        return true;
      }
      for (const SourceCall& call : CallsIn(statement.tokens)) {
        const SourceFunction* const function = call.method ? nullptr : Find(call.name);
        if (function == nullptr || !seen.insert(function).second) continue;
        if (AnyOf(function->body, holds, seen)) return true;
      }
    }
    return false;
  }

  // ---- 209 -------------------------------------------------------------------------------------

  /// A check that looks for 209 and ends its group is noted by the runner, under the group's label.
  void AddUnsupported(const SourceFunction& check) {
    const auto label = sources_.own->texts.find("kLabel");
    if (label == sources_.own->texts.end() || !Uses(check.body, "NotImplemented") ||
        !Uses(check.body, "kFatal")) {
      return;
    }
    found_.insert(
        {.line = label->second + " test skipped because it is not implemented for " + kAnyText,
         .effect = TextEffect::kUnsupported,
         .breaks = 1});
  }

  bool Uses(const Statements& statements, std::string_view word) const {
    return AnyOf(statements, [&](const SourceTokens& tokens) { return HasWord(tokens, word); });
  }

  /// No helper calls itself; a source that is written otherwise must not go on for ever.
  static constexpr std::size_t kDeepest = 100;

  const SourceSet& sources_;
  std::vector<Frame> frames_;  ///< from the check inwards
  int releases_ = 0;           ///< how many releases are walked at the moment
  std::string line_;           ///< a line that was begun
  std::set<FoundText> found_;
};

}  // namespace

std::set<FoundText> TextsOfCheck(const SourceSet& sources, const std::string& name) {
  return Walker(sources).Walk(name);
}

}  // namespace quorle
