#include "program/option_list.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <utility>

namespace quorle {
namespace {

/// The help text with our own line of usage.
class HelpFormatter final : public CLI::Formatter {
 public:
  explicit HelpFormatter(std::string usage) : usage_(std::move(usage)) {}
  std::string make_usage(const CLI::App*, std::string) const override { return usage_; }

 private:
  std::string usage_;
};

/// Moves the options from the front of `words` to `taken`; a lone "--" behind them goes. False,
/// with `problem` filled, when one of them is no option or has not what it needs. (CLI11 would go on
/// behind a word that it does not know, and take the next word for a value that is empty.)
bool TakeOptionWords(const CLI::App& app, std::span<const char* const>& words,
                     std::vector<std::string>& taken, std::string& problem) {
  while (!words.empty() && std::string_view(words.front()).starts_with("--")) {
    const std::string word = words.front();
    words = words.subspan(1);
    if (word == "--") return true;
    const std::size_t equals = word.find('=');
    const std::string name = word.substr(0, equals);
    const bool has_value = equals != std::string::npos;
    const CLI::Option* const option = app.get_option_no_throw(name);
    if (option == nullptr) {
      problem = name + " is not an option; --help lists them";
      return false;
    }
    const bool wants_value = option->get_items_expected_max() > 0;
    if (has_value && !wants_value) {
      problem = name + " takes no value";
      return false;
    }
    taken.push_back(word);
    if (wants_value && !has_value && !words.empty()) {
      taken.emplace_back(words.front());
      words = words.subspan(1);
    } else if (wants_value && (!has_value || equals + 1 == word.size())) {
      problem = name + " needs a value";
      return false;
    }
  }
  return true;
}

/// What was given for one option.
struct GivenOption {
  std::vector<std::string> values;  ///< of one that is repeatable
  std::string value;
  bool flag = false;
};

void Declare(CLI::App& app, std::span<const CommandOption> options, const CommandTexts& texts,
             std::vector<GivenOption>& given) {
  app.set_help_flag(kHelpOption, kHelpHelp);
  if (!texts.version.empty()) {
    app.set_version_flag(kVersionOption, texts.version, kVersionHelp);
  }
  app.formatter(std::make_shared<HelpFormatter>(texts.usage));
  app.footer(texts.footer);
  for (std::size_t i = 0; i < options.size(); ++i) {
    const CommandOption& option = options[i];
    if (option.type == nullptr) {
      app.add_flag(option.name, given[i].flag, option.help);
    } else if (option.is_repeatable) {
      app.add_option(option.name, given[i].values, option.help)
          ->type_name(option.type)
          ->expected(1)
          ->allow_extra_args(false)
          ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    } else {
      app.add_option(option.name, given[i].value, option.help)
          ->type_name(option.type)
          ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    }
  }
}

CommandLine Ended(CommandLine::Type type, std::string text) {
  if (type == CommandLine::Type::kRefused) {
    while (text.ends_with('\n')) text.pop_back();
  } else if (!text.ends_with('\n')) {
    text += '\n';
  }
  return {.type = type, .text = std::move(text), .values = {}, .rest = {}};
}

}  // namespace

CommandLine SeparateOptions(std::span<const char* const> words,
                            std::span<const CommandOption> options, const CommandTexts& texts) {
  using Type = CommandLine::Type;
  std::vector<GivenOption> given(options.size());
  CLI::App app(texts.about, texts.name);
  Declare(app, options, texts, given);

  std::vector<std::string> taken;
  std::string problem;
  if (!TakeOptionWords(app, words, taken, problem)) return Ended(Type::kRefused, problem);
  try {
    std::reverse(taken.begin(), taken.end());  // CLI11 takes them from the end
    app.parse(std::move(taken));
  } catch (const CLI::CallForHelp&) {
    return Ended(Type::kAnswer, app.help());
  } catch (const CLI::CallForVersion& version) {
    return Ended(Type::kAnswer, version.what());
  } catch (const CLI::ParseError& error) {
    return Ended(Type::kRefused, error.what());
  }
  CommandLine line;
  line.rest = words;
  for (std::size_t i = 0; i < options.size(); ++i) {
    const CommandOption& option = options[i];
    const std::size_t times = app.count(option.name);
    if (option.type != nullptr && !option.is_repeatable && times > 1) {
      return Ended(Type::kRefused, std::string(option.name) + " is given twice");
    }
    if (times == 0) continue;
    line.values[option.name] =
        option.is_repeatable ? given[i].values : std::vector<std::string>{given[i].value};
  }
  return line;
}

std::string ReadOptionValues(std::span<const CommandOption> options, const CommandLine& line) {
  for (const CommandOption& option : options) {
    const auto given = line.values.find(option.name);
    if (option.read == nullptr || given == line.values.end()) continue;
    for (const std::string& value : given->second) {
      const std::string problem = option.read(value);
      if (!problem.empty()) return std::string(option.name) + ": " + problem;
    }
  }
  return {};
}

std::vector<CommandOption> WithoutReaders(std::vector<CommandOption> options) {
  for (CommandOption& option : options) option.read = nullptr;
  return options;
}

}  // namespace quorle
