#include "explore/calls_file.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "explore/call_text.h"
#include "explore/value_text.h"
#include "platform/constants.h"

namespace quorle::explore {
namespace {

/// What one file may hold: more is no file of calls, and would take the host's memory.
constexpr std::size_t kMostSteps = 100'000;
constexpr std::size_t kMostTextBytes = 64 << 20;

/// Reads a file line by line.
class CallsParser {
 public:
  explicit CallsParser(std::vector<CallsStep>& steps) : steps_(steps) {}

  bool Take(std::string_view line, std::size_t number, std::string& problem) {
    const bool is_indented = line.starts_with(' ') || line.starts_with('\t');
    TextScanner scanner(line);
    if (line.find('\0') != std::string_view::npos) return Fail(problem, "a byte that is 0");
    if (scanner.IsAtEnd()) return true;
    if (!has_begun_) return TakeHeader(scanner, problem);
    if (is_indented && tree_ != nullptr) return TakeObject(scanner, problem);
    tree_ = nullptr;
    if (steps_.size() == kMostSteps) {
      return Fail(problem, "there are more than " + std::to_string(kMostSteps) + " calls");
    }
    CallsStep& step = steps_.emplace_back();
    step.line = number;
    const std::string_view word = TextScanner(scanner).TakeWord();
    if (word == "tree") return TakeTree(scanner, step, problem);
    if (word == "remount" || word == "empty") return TakeWhole(scanner, step, problem);
    if (!ReadCallLine(scanner.rest(), step.call, problem)) return false;
    return Count(SizeOf(step.call.call) + (step.call.due ? SizeOf(*step.call.due) : 0), problem);
  }

  bool has_begun() const { return has_begun_; }

 private:
  static bool Fail(std::string& problem, std::string text) {
    problem = std::move(text);
    return false;
  }

  static std::size_t SizeOf(const Call& call) { return call.text[0].size() + call.text[1].size(); }
  static std::size_t SizeOf(const DueOutcome& due) {
    std::size_t size = due.bytes ? due.bytes->size() : 0;
    for (const DueField& field : due.fields) size += field.value.size();
    return size;
  }

  bool Count(std::size_t bytes, std::string& problem) {
    text_bytes_ += bytes;
    if (text_bytes_ <= kMostTextBytes) return true;
    return Fail(problem,
                "all texts together have more than " + std::to_string(kMostTextBytes) + " bytes");
  }

  bool TakeHeader(TextScanner& scanner, std::string& problem) {
    has_begun_ = scanner.Take(kCallsHeader) && scanner.IsAtEnd();
    if (has_begun_) return true;
    return Fail(problem, "a file of calls begins with the line " + std::string(kCallsHeader));
  }

  bool TakeTree(TextScanner& scanner, CallsStep& step, std::string& problem) {
    scanner.Take("tree");
    if (!scanner.IsAtEnd()) {
      return Fail(problem, "behind tree stands nothing; what should be there follows, indented");
    }
    paths_.clear();
    step.type = CallsStep::Type::kTree;
    step.tree = std::make_unique<DueTree>();
    tree_ = step.tree.get();
    return true;
  }

  /// What is done to the whole device.
  static bool TakeWhole(TextScanner& scanner, CallsStep& step, std::string& problem) {
    const std::string_view word = scanner.TakeWord();
    step.type = word == "remount" ? CallsStep::Type::kRemount : CallsStep::Type::kEmpty;
    return scanner.IsAtEnd() || Fail(problem, "behind " + std::string(word) + " stands nothing");
  }

  bool TakeObject(TextScanner& scanner, std::string& problem) {
    if (++objects_ > kTreeBounds.objects) {
      return Fail(problem,
                  "the trees have more than " + std::to_string(kTreeBounds.objects) + " objects");
    }
    DueObject& object = tree_->objects.emplace_back();
    if (!scanner.TakeText(object.path, problem)) return false;
    if (!paths_.insert(object.path).second) {
      return Fail(problem, Quoted(object.path) + " is there twice");
    }
    if (!TakeFields(scanner, Result::kRecord, object.record, &object.content, problem)) {
      return false;
    }
    return Count(object.path.size() + SizeOf(object.record) + SizeOf(object.content), problem);
  }

  std::vector<CallsStep>& steps_;
  bool has_begun_ = false;
  DueTree* tree_ = nullptr;      ///< whose objects follow
  std::set<std::string> paths_;  ///< of its objects
  std::size_t objects_ = 0;
  std::size_t text_bytes_ = 0;
};

// ---- Trees ---------------------------------------------------------------------------------------

std::string_view LeafOf(std::string_view path) {
  return path.substr(path.rfind('/') + 1);
}

/// A listed object as a record has it; its texts are those of `object` and `leaf`.
ExamineData RecordOf(const ListedObject& object, const std::string& leaf) {
  ExamineData record{};
  record.Type = object.type;
  record.FileSize = object.size;
  record.Date = {object.date[0], object.date[1], object.date[2]};
  record.RefCount = object.references;
  record.ObjectID = object.id;
  record.Name = leaf.c_str();
  record.Comment = object.comment.c_str();
  record.Link = object.target.c_str();
  record.Protection = object.protection;
  record.OwnerUID = object.owner;
  record.OwnerGID = object.group;
  return record;
}

/// What was read of a file.
DueOutcome ContentOf(const ListedObject& object) {
  DueOutcome content;
  content.value = object.content_bytes;
  content.checksum = object.content_bytes == 0 ? Checksum().value() : object.content;
  return content;
}

void CompareObject(const DueObject& due, const ListedObject& object,
                   std::vector<std::string>& lines) {
  const std::string name = Quoted(due.path);
  if (object.times > 1) {
    lines.push_back(name + " is listed " + std::to_string(object.times) + " times");
  }
  const std::string leaf(LeafOf(due.path));
  const ExamineData record = RecordOf(object, leaf);
  for (const DueField& field : due.record.fields) {
    const NamedField& named = FieldsOf(Result::kRecord)[field.field];
    const std::string value = named.of_record(record);
    if (value == field.value) continue;
    lines.push_back(name + " has " + std::string(named.name) + "=" + value + ", expected " +
                    std::string(named.name) + "=" + field.value);
  }
  if (!due.content.value) return;
  const DueOutcome content = ContentOf(object);
  if (object.error != 0) {
    lines.push_back(name + " cannot be read, error " + std::to_string(object.error));
  } else if (!IsAsDue(due.content, content)) {
    lines.push_back(name + " has Content=" + DataText(content) +
                    ", expected Content=" + DataText(due.content));
  }
}

/// The field of a record for which a comparison has `word`; empty: none.
std::string_view FieldOf(std::string_view word) {
  static constexpr std::pair<std::string_view, std::string_view> kFields[] = {
      {"type", "Type"},       {"size", "FileSize"},  {"name", "Name"},
      {"comment", "Comment"}, {"link", "Link"},      {"protection", "Protection"},
      {"owner", "OwnerUID"},  {"group", "OwnerGID"}, {"links", "RefCount"},
      {"date", "Date"},
  };
  for (const auto& [what, name] : kFields) {
    if (what == word) return name;
  }
  return {};
}

/// One line of a tree. What is a filesystem's own, dates and numbers, is left out, but for the field that
/// differs.
std::string ObjectText(const std::string& path, const ListedObject& object,
                       std::string_view field_that_differs) {
  const std::string leaf(LeafOf(path));
  const ExamineData record = RecordOf(object, leaf);
  const std::uint32_t type = object.type & FSO_TYPE_MASK;
  std::string text = "  " + Quoted(path);
  for (const NamedField& field : FieldsOf(Result::kRecord)) {
    const std::string_view name = field.name;
    const bool is_of_files = name == "FileSize" && type == FSO_TYPE_FILE;
    const bool is_of_links = name == "Link" && type == FSO_TYPE_SOFTLINK;
    const bool is_of_all = name == "Type" || name == "Comment" || name == "Protection" ||
                           name == "OwnerUID" || name == "OwnerGID" || name == field_that_differs;
    if (!is_of_files && !is_of_links && !is_of_all) continue;
    text += " " + std::string(name) + "=" + field.of_record(record);
  }
  if (type == FSO_TYPE_FILE && object.error == 0 && object.content_bytes == object.size) {
    text += " Content=" + DataText(ContentOf(object));
  }
  return text + "\n";
}

// ---- Differences ---------------------------------------------------------------------------------

std::string CommentLine(const std::string& text) {
  std::string line = "# ";
  for (const char c : text) {
    const auto code = static_cast<unsigned char>(c);
    line += code < 0x20 || code > 0x7E ? '?' : c;
  }
  return line + "\n";
}

bool IsDateField(const DueField& field, Result result) {
  return FieldsOf(result)[field.field].name == "Date";
}

/// What of the reference's outcome is expected of a call on which both were alike: what both said, and
/// no date, which is that of the search.
std::optional<DueOutcome> CommonOutcome(DueOutcome reference, const DueOutcome& device,
                                        Result result) {
  if (!Widen(reference, device)) return std::nullopt;
  std::erase_if(reference.fields,
                [&](const DueField& field) { return IsDateField(field, result); });
  return reference;
}

/// The same of the call that showed the difference: of fields those that differ.
DueOutcome DifferingOutcome(DueOutcome reference, const DueOutcome& device) {
  if (reference.done == device.done) {
    std::erase_if(reference.fields, [&](const DueField& field) {
      return std::find(device.fields.begin(), device.fields.end(), field) != device.fields.end();
    });
  }
  return reference;
}

}  // namespace

bool ParseCalls(const std::string& name, std::string_view text, std::vector<CallsStep>& steps,
                std::string& problem) {
  steps.clear();
  if (text.size() > kLargestCallsFile) {
    problem = name + ": it is larger than " + std::to_string(kLargestCallsFile) + " bytes";
    return false;
  }
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  CallsParser parser(steps);
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    if (!parser.Take(text.substr(0, end), number, problem)) {
      problem = name + ":" + std::to_string(number) + ": " + problem;
      return false;
    }
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  if (parser.has_begun()) return true;
  problem = name + ":1: a file of calls begins with the line " + std::string(kCallsHeader);
  return false;
}

std::vector<std::string> CompareTree(const DueTree& due, const VolumeListing& listing) {
  std::vector<std::string> lines;
  if (listing.is_cut) {
    lines.push_back("there are more than " + std::to_string(kTreeBounds.objects) + " objects");
  }
  if (listing.root.error != 0) {
    lines.push_back("the root cannot be listed, error " + std::to_string(listing.root.error));
  }
  std::map<std::string_view, const DueObject*> expected;
  for (const DueObject& object : due.objects) expected.emplace(object.path, &object);
  for (const auto& [path, object] : expected) {
    const auto found = listing.objects.find(std::string(path));
    if (found == listing.objects.end()) {
      lines.push_back(Quoted(path) + " is missing");
    } else {
      CompareObject(*object, found->second, lines);
    }
  }
  for (const auto& [path, object] : listing.objects) {
    if (expected.count(path) == 0) lines.push_back(Quoted(path) + " should not be there");
  }
  return lines;
}

bool ReadLook(std::string_view line, Call& call, std::string& field) {
  TextScanner scanner(line);
  call = {};
  std::string problem;
  if (!scanner.Take("ExamineObject(")) return false;
  if (scanner.Sees("\"")) {
    call.operation = Operation::kExamineObject;
    if (!scanner.TakeText(call.text[0], problem)) return false;
  } else {
    const std::string_view object = scanner.TakeWord();
    const bool is_lock = object.starts_with('l');
    call.operation = is_lock ? Operation::kExamineLock : Operation::kExamineFile;
    const auto number = PlainNumberIn(object.substr(std::min<std::size_t>(1, object.size())));
    if ((!is_lock && !object.starts_with('f')) || !number) return false;
    call.number[1] = *number;
  }
  if (!scanner.Take("):")) return false;
  const std::string_view word = scanner.TakeWord();
  field = FieldOf(word);
  return true;
}

std::string CallsText(const Difference& difference, const DifferenceNotes& notes) {
  std::string text(kCallsHeader);
  text += "\n";
  for (const std::string& comment : notes.comments) text += CommentLine(comment);
  bool is_shown = false;
  for (std::size_t i = 0; i != difference.calls.size(); ++i) {
    const ShownCall& shown = difference.calls[i];
    const Result result = RowOf(shown.call.operation).result;
    text += TextOf(shown.call);
    Call call = shown.call;
    DueOutcome device;
    std::string problem;
    const bool is_known = result != Result::kNothing && i < notes.reference.size() &&
                          ReadDue(shown.device, call, device, problem);
    if (is_known) {
      const DueOutcome& reference = notes.reference[i];
      std::optional<DueOutcome> due = CommonOutcome(reference, device, result);
      if (i + 1 == difference.calls.size() && !shown.reference.empty()) {
        due = DifferingOutcome(reference, device);
        is_shown = true;
      }
      if (due) text += " => " + TextOf(call, *due);
    }
    text += "\n";
  }
  for (const std::string& line : difference.then) text += CommentLine("then: " + line);
  if (is_shown) return text;
  for (const CallLine& look : notes.looks) {
    text += TextOf(look.call) + (look.due ? " => " + TextOf(look.call, *look.due) : "") + "\n";
  }
  if (!notes.looks.empty()) return text;
  const std::string& shown_by = difference.during.empty() ? difference.rule : difference.during;
  if (shown_by == "use" || shown_by == "empty") return text + "empty\n";
  if (shown_by == "remount") text += "remount\n";
  if (notes.tree == nullptr) return text;
  text += "tree\n";
  const std::string_view field =
      FieldOf(std::string_view(difference.id).substr(difference.id.rfind('-') + 1));
  for (const auto& [path, object] : notes.tree->objects) text += ObjectText(path, object, field);
  return text;
}

}  // namespace quorle::explore
