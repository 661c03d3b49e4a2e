#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "results/expectation_file.h"
#include "results/run_conditions.h"
#include "results/verdict.h"

namespace quorle {

/// `text` between quotes, as TOML has it.
std::string TomlText(std::string_view text);

/// `"fail"`, or `["pass", "fail"]` of several.
std::string TomlVerdicts(const std::vector<Verdict>& verdicts);

/// What --bless appends to a file.
struct NewEntry {
  std::string check;
  std::vector<Verdict> verdicts;
  std::optional<std::int32_t> code;
  RunConditions when;
};

/// The lines of an entry with the reason "TODO", each ended by `line_break`.
std::string TextOf(const NewEntry& entry, std::string_view line_break);

/// Text that takes the place of a part of another.
struct TextEdit {
  TextPart part;
  std::string text;
};

/// `text` with all `edits` made, which may be in any order. Of parts that overlap each byte goes once.
std::string ApplyEdits(const std::string& text, std::vector<TextEdit> edits);

/// The lines that go with the entry of that index: its own, the comments directly above it (but not those
/// that begin the file) and directly below it, and the blank lines behind. A comment directly above the
/// next entry is that one's.
TextPart LinesOf(const ExpectationFile& file, std::size_t entry);

/// The whole line that `part` is in, with its line break.
TextPart WholeLine(const std::string& text, const TextPart& part);

/// `text` with `entries` appended, a blank line before each.
std::string AppendEntries(std::string text, const std::vector<NewEntry>& entries);

}  // namespace quorle
