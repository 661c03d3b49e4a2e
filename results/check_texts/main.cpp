// check_texts OUTPUT CONSTANTS SHARED... -- GROUP...: writes the source of CheckTexts(), made of the
// sources of the test groups and of those whose functions they share.
#include <algorithm>
#include <charconv>
#include <cstdio>
#include <deque>
#include <exception>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>

#include "results/check_texts/text_walk.h"

namespace quorle {
namespace {

std::string Content(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// `ERROR_OBJECT_IN_USE = 202`
std::map<std::string, std::int32_t> CodesIn(std::string_view source) {
  const SourceTokens tokens = TokensOf(source);
  std::map<std::string, std::int32_t> codes;
  for (std::size_t i = 0; i + 2 < tokens.size(); ++i) {
    const std::string& name = tokens[i].text;
    const std::string& value = tokens[i + 2].text;
    if (!name.starts_with("ERROR_") || !tokens[i + 1].Is("=")) continue;
    std::int32_t code = 0;
    std::from_chars(value.data(), value.data() + value.size(), code);
    codes[name] = code;
  }
  return codes;
}

std::string Literal(std::string_view text) {
  std::string literal = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') literal += '\\';
    // Three digits: whatever follows is no part of it.
    if (c == kAnyText) {
      literal += "\\001";
    } else {
      literal += c;
    }
  }
  return literal + '"';
}

std::string_view NameOf(TextEffect effect) {
  switch (effect) {
    case TextEffect::kPasses:
      return "kPasses";
    case TextEffect::kFails:
      return "kFails";
    case TextEffect::kEnds:
      return "kEnds";
    case TextEffect::kStops:
      return "kStops";
    case TextEffect::kReleases:
      return "kReleases";
    case TextEffect::kUnsupported:
      return "kUnsupported";
    default:
      return "kSkips";
  }
}

std::string IdOf(const std::string& group, const std::string& check) {
  return group + "." + check;
}

void Write(std::span<char*> arguments) {
  const auto separator = std::find(arguments.begin(), arguments.end(), std::string_view("--"));
  if (arguments.size() < 2 || separator == arguments.end()) {
    throw std::runtime_error("usage: check_texts OUTPUT CONSTANTS SHARED... -- GROUP...");
  }
  SourceSet sources;
  sources.codes = CodesIn(Content(arguments[1]));
  if (sources.codes.empty()) throw std::runtime_error(std::string(arguments[1]) + " has no code");
  std::deque<SourceFile> shared;
  for (auto path = arguments.begin() + 2; path != separator; ++path) {
    sources.shared.push_back(&shared.emplace_back(ReadSource(Content(*path))));
  }
  std::set<std::tuple<std::string, std::string, FoundText>> lines;
  std::size_t checks = 0;
  for (auto path = separator + 1; path != arguments.end(); ++path) {
    const SourceFile file = ReadSource(Content(*path));
    const auto label = file.texts.find("kLabel");
    if (file.checks.empty() || label == file.texts.end()) continue;
    sources.own = &file;
    const std::string group = label->second.substr(0, label->second.find('('));
    for (const std::string& check : file.checks) {
      ++checks;
      for (const FoundText& text : TextsOfCheck(sources, check)) {
        lines.insert({text.line, IdOf(group, check), text});
      }
    }
    // What the group itself prints, without the function that runs its checks.
    const SourceSet alone = {.own = &file, .shared = {}, .codes = sources.codes};
    for (FoundText text : TextsOfCheck(alone, file.runner)) {
      text.effect = TextEffect::kSkips;
      lines.insert({text.line, group, text});
    }
  }
  if (checks == 0) throw std::runtime_error("no source has checks");
  std::ofstream output(arguments[0], std::ios::binary);
  output << "#include \"results/check_texts.h\"\n\nnamespace quorle {\nnamespace {\n\n"
            "constexpr CheckText kTexts[] = {\n";
  for (const auto& [line, check, text] : lines) {
    output << "    {" << Literal(line) << ",\n     " << Literal(check)
           << ", TextEffect::" << NameOf(text.effect) << ", " << text.breaks << "},\n";
  }
  output
      << "};\n\n}  // namespace\n\nstd::span<const CheckText> CheckTexts() {\n  return kTexts;\n}\n\n"
         "}  // namespace quorle\n";
  output.close();
  if (!output) throw std::runtime_error(std::string("cannot write ") + arguments[0]);
}

}  // namespace
}  // namespace quorle

int main(int argc, char** argv) {
  try {
    quorle::Write(std::span(argv, static_cast<std::size_t>(argc)).subspan(1));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "check_texts: %s\n", error.what());
    return 1;
  }
}
