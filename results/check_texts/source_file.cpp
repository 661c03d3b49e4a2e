#include "results/check_texts/source_file.h"

#include <algorithm>
#include <utility>

namespace quorle {
namespace {

using Type = SourceToken::Type;

/// Reads the statements of a function's body.
class StatementReader {
 public:
  explicit StatementReader(const SourceTokens& tokens) : tokens_(tokens) {}

  std::vector<SourceStatement> ReadAll() {
    std::vector<SourceStatement> statements;
    while (at_ < tokens_.size()) {
      if (tokens_[at_].Is("case") || tokens_[at_].Is("default")) {
        while (at_ < tokens_.size() && !tokens_[at_].Is(":")) ++at_;
        ++at_;
        continue;
      }
      statements.push_back(Read());
    }
    return statements;
  }

 private:
  using Statement = SourceStatement;

  bool Sees(std::string_view word) const { return at_ < tokens_.size() && tokens_[at_].Is(word); }

  /// What the brackets at `at_` hold, which is moved behind them.
  SourceTokens TakeBrackets() {
    const std::size_t end = ClosingBracket(tokens_, at_);
    SourceTokens inner = Part(tokens_, at_ + 1, end);
    at_ = end + 1;
    return inner;
  }

  SourceTokens TakeUpToSemicolon() {
    const std::size_t begin = at_;
    while (at_ < tokens_.size() && !tokens_[at_].Is(";")) {
      const bool opens = tokens_[at_].Is("(") || tokens_[at_].Is("[") || tokens_[at_].Is("{");
      at_ = opens ? ClosingBracket(tokens_, at_) + 1 : at_ + 1;
    }
    SourceTokens taken = Part(tokens_, begin, at_);
    ++at_;
    return taken;
  }

  /// The statement that is the body of another.
  std::vector<Statement> ReadBody() {
    if (Sees("{")) return StatementReader(TakeBrackets()).ReadAll();
    std::vector<Statement> body;
    if (at_ < tokens_.size()) body.push_back(Read());
    return body;
  }

  Statement Read() {
    Statement statement;
    if (Sees("{")) {
      statement.type = Statement::Type::kBlock;
      statement.body = ReadBody();
    } else if (Sees("if") || Sees("for") || Sees("while") || Sees("switch")) {
      statement.type = Sees("if")       ? Statement::Type::kIf
                       : Sees("switch") ? Statement::Type::kBlock
                                        : Statement::Type::kLoop;
      ++at_;
      statement.tokens = TakeBrackets();
      statement.body = ReadBody();
      if (statement.type == Statement::Type::kIf && Sees("else")) {
        ++at_;
        statement.otherwise = ReadBody();
      }
    } else if (Sees("return")) {
      ++at_;
      statement.type = Statement::Type::kReturn;
      statement.tokens = TakeUpToSemicolon();
    } else if (Sees("break") || Sees("continue")) {
      statement.type = Statement::Type::kBreak;
      TakeUpToSemicolon();
    } else {
      statement.tokens = TakeUpToSemicolon();
      ReadReleases(statement);
    }
    return statement;
  }

  /// `const AtEnd release([&] { ... });`
  static void ReadReleases(Statement& statement) {
    const auto is = [&](std::string_view word) {
      return std::find_if(statement.tokens.begin(), statement.tokens.end(),
                          [&](const SourceToken& token) { return token.Is(word); });
    };
    const auto open = is("{");
    if (is("AtEnd") == statement.tokens.end() || open == statement.tokens.end()) return;
    const auto begin = static_cast<std::size_t>(open - statement.tokens.begin());
    const std::size_t end = ClosingBracket(statement.tokens, begin);
    statement.type = Statement::Type::kReleases;
    statement.body = StatementReader(Part(statement.tokens, begin + 1, end)).ReadAll();
    statement.tokens.clear();
  }

  SourceTokens tokens_;
  std::size_t at_ = 0;
};

/// The last word of each parameter: "TestContext& ctx, const char* label".
std::vector<std::string> ParametersIn(const SourceTokens& tokens) {
  std::vector<std::string> names;
  std::string last;
  for (const SourceToken& token : tokens) {
    if (token.Is(",")) names.push_back(std::exchange(last, {}));
    if (token.type == Type::kWord) last = token.text;
  }
  if (!tokens.empty()) names.push_back(last);
  return names;
}

class FileReader {
 public:
  explicit FileReader(std::string_view source) : tokens_(TokensOf(source)) {}

  SourceFile Read() {
    ReadTexts();
    std::size_t begin = 0;
    for (std::size_t i = 0; i < tokens_.size(); ++i) {
      if (tokens_[i].Is(";") || tokens_[i].Is("}")) {
        begin = i + 1;
      } else if (tokens_[i].Is("{")) {
        // A namespace has its declarations inside.
        const std::size_t end = ClosingBracket(tokens_, i);
        const bool space = tokens_[begin].Is("namespace");
        if (!space) {
          ReadBraces(begin, i, end);
          i = end;
        }
        begin = i + 1;
      }
    }
    return std::move(file_);
  }

 private:
  /// `constexpr char kLabel[] = "Lock()";`
  void ReadTexts() {
    for (std::size_t i = 0; i + 4 < tokens_.size(); ++i) {
      if (tokens_[i].type == Type::kWord && tokens_[i + 1].Is("[") && tokens_[i + 2].Is("]") &&
          tokens_[i + 3].Is("=") && tokens_[i + 4].type == Type::kText) {
        file_.texts[tokens_[i].text] = tokens_[i + 4].text;
      }
    }
  }

  /// The declaration from `begin`, which has braces from `open` to `close`.
  void ReadBraces(std::size_t begin, std::size_t open, std::size_t close) {
    const SourceTokens head = Part(tokens_, begin, open);
    const auto has = [&](std::string_view word) {
      return std::any_of(head.begin(), head.end(),
                         [&](const SourceToken& token) { return token.Is(word); });
    };
    if (has("SubTestTable")) {
      ReadChecks(open, close);
      return;
    }
    if (has("TestGroup") && has("=")) {
      ReadGroup(open, close);
      return;
    }
    if (has("struct") && head.size() == 2) {
      ReadStructure(head.back().text, open, close);
      return;
    }
    std::size_t bracket = 0;
    while (bracket < head.size() && !head[bracket].Is("(")) ++bracket;
    if (bracket == 0 || bracket >= head.size() || has("=") || has("struct") || has("class")) return;
    SourceFunction function;
    function.name = head[bracket - 1].text;
    function.parameters = ParametersIn(Part(head, bracket + 1, ClosingBracket(head, bracket)));
    function.body = StatementReader(Part(tokens_, open + 1, close)).ReadAll();
    file_.functions[function.name] = std::move(function);
  }

  /// `{"MissingObject", MissingObject},`
  void ReadChecks(std::size_t open, std::size_t close) {
    for (std::size_t i = open; i < close; ++i) {
      if (tokens_[i].type == Type::kText && tokens_[i - 1].Is("{")) {
        file_.checks.push_back(tokens_[i].text);
      }
    }
  }

  /// `{ const char* function; const char* object; }`
  void ReadStructure(const std::string& name, std::size_t open, std::size_t close) {
    for (std::size_t i = open + 1; i < close; ++i) {
      if (tokens_[i].Is(";")) file_.structures[name].push_back(tokens_[i - 1].text);
    }
  }

  /// `{.label = kLabel, .sub_tests = kSubTests, .run = RunOnNamedVolume}`
  void ReadGroup(std::size_t open, std::size_t close) {
    for (std::size_t i = open; i + 2 < close; ++i) {
      if (tokens_[i].Is("run") && tokens_[i + 1].Is("=")) file_.runner = tokens_[i + 2].text;
    }
  }

  SourceTokens tokens_;
  SourceFile file_;
};

}  // namespace

SourceFile ReadSource(std::string_view source) {
  return FileReader(source).Read();
}

}  // namespace quorle
