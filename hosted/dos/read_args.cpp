#include "hosted/dos/read_args.h"

#include <limits>
#include <optional>
#include <utility>

#include "hosted/dos/latin1.h"
#include "platform/constants.h"

namespace quorle {
namespace {

bool SameWord(std::string_view a, std::string_view b) {
  return CompareLatin1(a, b) == 0;
}

// ---- Templates ---------------------------------------------------------------------------------

struct Field {
  std::vector<std::string_view> names;  ///< the name and its aliases; a nameless field has none
  bool always = false;                  // /A
  bool keyword = false;                 // /K
  bool is_switch = false;               // /S
  bool toggle = false;                  // /T
  bool number = false;                  // /N
  bool multiple = false;                // /M
  bool rest = false;                    // /F

  bool filled = false;
  std::vector<std::string> items;  ///< what was given; more than one only for /M

  /// Whether an item may fill it by its place in the line.
  bool ByPlace() const { return !keyword && !is_switch && !toggle; }
  /// Whether a value follows its name.
  bool TakesValue() const { return !is_switch; }
};

bool ReadModifier(std::string_view modifier, Field& field) {
  if (modifier.size() != 1) return false;
  switch (modifier[0] | 0x20) {
    case 'a':
      field.always = true;
      return true;
    case 'k':
      field.keyword = true;
      return true;
    case 's':
      field.is_switch = true;
      return true;
    case 't':
      field.toggle = true;
      return true;
    case 'n':
      field.number = true;
      return true;
    case 'm':
      field.multiple = true;
      return true;
    case 'f':
      field.rest = true;
      return true;
    default:
      return false;
  }
}

/// Cuts what stands before the first `delimiter` off `text`, and the delimiter.
std::string_view Cut(std::string_view& text, char delimiter) {
  const std::size_t end = text.find(delimiter);
  const std::string_view part = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return part;
}

/// One field, or none when it is wrong: an empty name among others, an unknown, empty or long
/// modifier, or modifiers that contradict each other.
std::optional<Field> ReadField(std::string_view text) {
  Field field;
  const std::size_t slash = text.find('/');
  std::string_view names = text.substr(0, slash);
  if (!names.empty()) {
    if (names.ends_with('=')) return std::nullopt;
    while (!names.empty()) {
      field.names.push_back(Cut(names, '='));
      if (field.names.back().empty()) return std::nullopt;
    }
  }
  if (slash != std::string_view::npos) {
    std::string_view modifiers = text.substr(slash + 1);
    if (modifiers.empty() || modifiers.ends_with('/')) return std::nullopt;
    while (!modifiers.empty()) {
      if (!ReadModifier(Cut(modifiers, '/'), field)) return std::nullopt;
    }
  }
  const bool valueless = field.is_switch || field.toggle;
  if (field.is_switch && field.toggle) return std::nullopt;
  if (valueless && (field.number || field.multiple || field.rest)) return std::nullopt;
  if (field.rest && (field.multiple || field.number)) return std::nullopt;
  if (field.names.empty() && (valueless || field.keyword)) return std::nullopt;
  return field;
}

/// The fields of a template, or nothing when it is wrong: a wrong field, or more than one /M.
std::optional<std::vector<Field>> ReadTemplate(std::string_view text) {
  std::vector<Field> fields;
  if (text.empty()) return fields;
  const bool open_end = text.ends_with(',');
  bool multiple = false;
  while (!text.empty()) {
    std::optional<Field> field = ReadField(Cut(text, ','));
    if (!field || (field->multiple && multiple)) return std::nullopt;
    multiple = multiple || field->multiple;
    fields.push_back(*std::move(field));
  }
  if (open_end) fields.emplace_back();
  return fields;
}

// ---- Items -------------------------------------------------------------------------------------

struct Item {
  enum class ItemType : std::uint8_t { kEnd, kWord, kQuoted, kEquals, kUnclosed };
  ItemType kind = ItemType::kEnd;
  std::string text;
  std::size_t start = 0;  ///< where it stands in the line

  bool HasText() const { return kind == ItemType::kWord || kind == ItemType::kQuoted; }
};

/// Separates a line into items.
class ItemReader {
 public:
  explicit ItemReader(std::string_view line) : line_(line) {}

  Item Next() {
    while (at_ < line_.size() && IsBlank(line_[at_])) ++at_;
    Item item;
    item.start = at_;
    if (at_ == line_.size() || line_[at_] == ';') {
      at_ = line_.size();
      return item;
    }
    if (line_[at_] == '=') {
      ++at_;
      item.kind = Item::ItemType::kEquals;
    } else if (line_[at_] == '"') {
      ++at_;
      Quoted(item);
    } else {
      item.kind = Item::ItemType::kWord;
      while (at_ < line_.size() && !IsBlank(line_[at_]) && line_[at_] != '=')
        item.text += line_[at_++];
    }
    return item;
  }

  /// Whether a '=' comes next; takes it.
  bool TakeEquals() {
    const std::size_t before = at_;
    if (Next().kind == Item::ItemType::kEquals) return true;
    at_ = before;
    return false;
  }

  /// Everything from `start` on, as it stands.
  std::string Rest(std::size_t start) {
    at_ = line_.size();
    return std::string(line_.substr(start));
  }
  /// Everything from the next item on, as it stands.
  std::string Rest() {
    while (at_ < line_.size() && IsBlank(line_[at_])) ++at_;
    return Rest(at_);
  }

 private:
  static bool IsBlank(char c) { return c == ' ' || c == '\t'; }

  /// Reads to the closing quote, which ends the item whatever follows.
  void Quoted(Item& item) {
    item.kind = Item::ItemType::kUnclosed;
    while (at_ < line_.size()) {
      const char c = line_[at_++];
      if (c == '"') {
        item.kind = Item::ItemType::kQuoted;
        return;
      }
      if (c != '*') {
        item.text += c;
      } else if (at_ < line_.size()) {
        item.text += Escaped(line_[at_++]);
      }
    }
  }

  static char Escaped(char c) {
    switch (c) {
      case 'n':
      case 'N':
        return '\n';
      case 'e':
      case 'E':
        return '\033';
      default:
        return c;
    }
  }

  std::string_view line_;
  std::size_t at_ = 0;
};

// ---- Matching ----------------------------------------------------------------------------------

std::optional<std::int32_t> ReadNumber(std::string_view text) {
  bool negative = false;
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  if (!text.empty() && (text.front() == '-' || text.front() == '+')) {
    negative = text.front() == '-';
    text.remove_prefix(1);
  }
  if (text.empty()) return std::nullopt;
  const std::int64_t limit = std::int64_t{std::numeric_limits<std::int32_t>::max()} + negative;
  std::int64_t value = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return std::nullopt;
    value = value * 10 + (c - '0');
    if (value > limit) return std::nullopt;
  }
  return static_cast<std::int32_t>(negative ? -value : value);
}

/// Gives the items of a line to the fields of a template.
class Matcher {
 public:
  explicit Matcher(std::vector<Field>& fields) : fields_(fields) {}

  /// 0, or the code of what is wrong.
  std::int32_t Match(std::string_view line) {
    ItemReader reader(line);
    for (;;) {
      const Item item = reader.Next();
      std::int32_t error = 0;
      switch (item.kind) {
        case Item::ItemType::kEnd:
          return Missing();
        case Item::ItemType::kEquals:
          return ERROR_BAD_TEMPLATE;
        case Item::ItemType::kUnclosed:
          return ERROR_UNMATCHED_QUOTES;
        case Item::ItemType::kWord:
          if (Field* const named = Named(item.text); named != nullptr) {
            error = FillByName(*named, reader);
            break;
          }
          [[fallthrough]];
        default:
          error = FillByPlace(item, reader);
          break;
      }
      if (error != 0) return error;
    }
  }

 private:
  /// The field of that name, when nothing has filled it yet.
  Field* Named(std::string_view word) {
    for (Field& field : fields_) {
      for (const std::string_view name : field.names) {
        if (SameWord(name, word)) return field.filled ? nullptr : &field;
      }
    }
    return nullptr;
  }

  std::int32_t FillByName(Field& field, ItemReader& reader) {
    if (!field.TakesValue()) return Fill(field, "");
    if (field.rest) {
      reader.TakeEquals();
      return Fill(field, reader.Rest());
    }
    reader.TakeEquals();
    const Item value = reader.Next();
    if (value.kind == Item::ItemType::kUnclosed) return ERROR_UNMATCHED_QUOTES;
    if (!value.HasText()) return ERROR_KEY_NEEDS_ARG;
    return Fill(field, value.text);
  }

  std::int32_t FillByPlace(const Item& item, ItemReader& reader) {
    for (Field& field : fields_) {
      if (!field.ByPlace() || (field.filled && !field.multiple)) continue;
      return Fill(field, field.rest ? reader.Rest(item.start) : item.text);
    }
    return ERROR_TOO_MANY_ARGS;
  }

  static std::int32_t Fill(Field& field, std::string text) {
    if (field.number && !ReadNumber(text)) return ERROR_BAD_NUMBER;
    if (field.toggle && !SameWord(text, "yes") && !SameWord(text, "on") && !SameWord(text, "no") &&
        !SameWord(text, "off")) {
      return ERROR_KEY_NEEDS_ARG;
    }
    field.items.push_back(std::move(text));
    field.filled = true;
    return 0;
  }

  /// At the end of the line: what must be given and was not takes from the end of the /M.
  std::int32_t Missing() {
    Field* multiple = nullptr;
    for (Field& field : fields_) {
      if (field.multiple) multiple = &field;
    }
    for (auto field = fields_.rbegin(); field != fields_.rend(); ++field) {
      if (!field->always || field->filled) continue;
      if (!field->ByPlace() || multiple == nullptr || multiple->items.empty()) {
        return ERROR_REQUIRED_ARG_MISSING;
      }
      if (const std::int32_t error = Fill(*field, multiple->items.back()); error != 0) return error;
      multiple->items.pop_back();
      multiple->filled = !multiple->items.empty();
    }
    return 0;
  }

  std::vector<Field>& fields_;
};

// ---- Results -----------------------------------------------------------------------------------

void Store(const Field& field, ArgumentWord& word, ParsedArguments& owner) {
  const auto number = [&owner](const std::string& text) {
    return owner.AddNumber(ReadNumber(text).value_or(0));
  };
  if (field.multiple) {
    std::vector<const void*> pointers;
    for (const std::string& text : field.items) {
      pointers.push_back(field.number ? static_cast<const void*>(number(text))
                                      : static_cast<const void*>(owner.AddText(text)));
    }
    word.flag =
        pointers.empty() ? 0 : reinterpret_cast<std::intptr_t>(owner.AddList(std::move(pointers)));
    return;
  }
  if (!field.filled) return;
  const std::string& text = field.items.front();
  if (field.is_switch) {
    word.flag = -1;
  } else if (field.toggle) {
    word.flag = SameWord(text, "yes") || SameWord(text, "on") ? -1 : 0;
  } else if (field.number) {
    word.number = number(text);
  } else {
    word.text = owner.AddText(text);
  }
}

/// The part of `line` that counts: up to a line feed or a zero.
std::string_view OneLine(std::string_view line) {
  return line.substr(0, line.find_first_of(std::string_view("\n\0", 2)));
}

/// Whether the last word of `line` is a question mark by itself. Where it is, goes into `at`.
bool EndsInQuestion(std::string_view line, std::size_t& at) {
  const std::size_t last = line.find_last_not_of(" \t");
  if (last == std::string_view::npos || line[last] != '?') return false;
  at = last;
  return last == 0 || line[last - 1] == ' ' || line[last - 1] == '\t';
}

}  // namespace

const char* ParsedArguments::AddText(std::string text) {
  return texts_.emplace_back(std::move(text)).c_str();
}

const std::int32_t* ParsedArguments::AddNumber(std::int32_t number) {
  return &numbers_.emplace_back(number);
}

const void* const* ParsedArguments::AddList(std::vector<const void*> pointers) {
  pointers.push_back(nullptr);
  return lists_.emplace_back(std::move(pointers)).data();
}

ReadArgsResult ParseArguments(std::string_view argument_template, std::string_view line,
                              ArgumentWord* words, Prompter* prompter) {
  std::optional<std::vector<Field>> fields = ReadTemplate(argument_template);
  if (!fields) return {nullptr, ERROR_BAD_TEMPLATE};

  std::string whole(OneLine(line));
  const std::string prompt = std::string(argument_template) + ": ";
  std::size_t question = 0;
  while (prompter != nullptr && EndsInQuestion(whole, question)) {
    whole.erase(question);
    std::string more;
    if (!prompter->Ask(prompt, more)) break;
    whole += OneLine(more);
    if (whole.size() > kMaxLineLength) break;
  }
  if (whole.size() > kMaxLineLength) return {nullptr, ERROR_LINE_TOO_LONG};

  if (const std::int32_t error = Matcher(*fields).Match(whole); error != 0) return {nullptr, error};
  auto arguments = std::make_unique<ParsedArguments>();
  for (std::size_t i = 0; i < fields->size(); ++i) Store((*fields)[i], words[i], *arguments);
  return {std::move(arguments), 0};
}

std::size_t CountFields(std::string_view argument_template) {
  const std::optional<std::vector<Field>> fields = ReadTemplate(argument_template);
  return fields ? fields->size() : 0;
}

}  // namespace quorle
