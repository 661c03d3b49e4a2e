#include <algorithm>
#include <array>
#include <initializer_list>
#include <span>

#include "explore/argument_class.h"
#include "explore/coverage.h"
#include "platform/constants.h"

namespace quorle::explore {
namespace {

/// The codes of an operation, beside success.
struct CodesRow {
  Operation operation;
  std::array<std::int32_t, 9> codes;  ///< up to the first -1
};

constexpr CodesRow CodesOf(Operation operation, std::initializer_list<std::int32_t> codes) {
  CodesRow row{operation, {}};
  row.codes.fill(-1);
  std::copy(codes.begin(), codes.end(), row.codes.begin());
  return row;
}

// 202 is also what each answers while the volume is inhibited; 116 what stands for an object that is none.
constexpr auto kCodes = std::to_array<CodesRow>({
    CodesOf(Operation::kOpen, {115, 202, 205, 210, 212, 214, 217, 222}),
    CodesOf(Operation::kClose, {0}),
    CodesOf(Operation::kRead, {115, 116, 202, 224}),
    CodesOf(Operation::kWrite, {115, 116, 202, 214, 223}),
    CodesOf(Operation::kChangeFilePosition, {115, 116, 202, 219}),
    CodesOf(Operation::kGetFilePosition, {116, 202}),
    CodesOf(Operation::kChangeFileSize, {115, 116, 202, 214, 219, 223}),
    CodesOf(Operation::kGetFileSize, {116, 202}),
    CodesOf(Operation::kChangeLockMode, {115, 116, 202, 212}),
    CodesOf(Operation::kChangeFileMode, {115, 116, 202}),
    CodesOf(Operation::kLock, {202, 205, 210, 212, 217}),
    CodesOf(Operation::kUnLock, {}),
    CodesOf(Operation::kDupLock, {0, 202}),
    CodesOf(Operation::kDupLockFromFH, {116, 202}),
    CodesOf(Operation::kOpenFromLock, {116, 202, 212}),
    CodesOf(Operation::kParentDir, {0, 116, 202}),
    CodesOf(Operation::kParentOfFH, {116, 202}),
    CodesOf(Operation::kSameLock, {}),
    CodesOf(Operation::kSetCurrentDir, {}),
    CodesOf(Operation::kCreateDir, {202, 203, 205, 210, 212, 214, 217}),
    CodesOf(Operation::kCreateDirTree, {202, 203, 205, 210, 212, 214, 217}),
    CodesOf(Operation::kDelete, {202, 205, 210, 212, 214, 216, 217, 222, 223}),
    CodesOf(Operation::kRename, {202, 203, 205, 210, 212, 214, 217}),
    CodesOf(Operation::kMakeHardLink, {116, 202, 203, 205, 210, 212, 214, 217}),
    CodesOf(Operation::kMakeSoftLink, {202, 203, 205, 210, 212, 214, 217}),
    CodesOf(Operation::kReadSoftLink, {120, 202, 205, 210, 212, 217}),
    CodesOf(Operation::kSetComment, {202, 205, 210, 212, 214, 217, 220}),
    CodesOf(Operation::kSetProtection, {202, 205, 210, 212, 214, 217}),
    CodesOf(Operation::kSetDate, {202, 205, 210, 212, 214, 217}),
    CodesOf(Operation::kSetOwner, {202, 205, 210, 212, 214, 217}),
    CodesOf(Operation::kSetGroup, {202, 205, 210, 212, 214, 217}),
    CodesOf(Operation::kExamineName, {202, 205, 210, 212, 217}),
    CodesOf(Operation::kExamineObject, {202, 205, 210, 212, 217}),
    CodesOf(Operation::kExamineFile, {116, 202}),
    CodesOf(Operation::kExamineLock, {116, 202}),
    CodesOf(Operation::kScanLock, {116, 202}),
    CodesOf(Operation::kScanName, {202, 205, 210, 212, 217}),
    CodesOf(Operation::kExamineDir, {116, 202, 212, 232}),
    CodesOf(Operation::kReleaseScan, {}),
    CodesOf(Operation::kSameFile, {}),
    CodesOf(Operation::kLockRecord, {115, 116, 202, 241, 242}),
    CodesOf(Operation::kUnLockRecord, {116, 202, 240}),
    CodesOf(Operation::kStartNotify, {202, 205, 210, 211, 212, 217}),
    CodesOf(Operation::kEndNotify, {}),
    CodesOf(Operation::kGetNotifyMsg, {}),
    CodesOf(Operation::kDiskInfo, {}),
    CodesOf(Operation::kVolumeInfo, {202}),
    CodesOf(Operation::kFileSystemAttr, {202, 236}),
    CodesOf(Operation::kFlush, {202}),
    CodesOf(Operation::kInhibit, {}),
    CodesOf(Operation::kWriteProtect, {115, 202}),
    CodesOf(Operation::kRelabel, {202, 210, 214}),
    CodesOf(Operation::kMakeFiles, {202, 205, 210, 212}),
});

constexpr bool HasEachItsCodes() {
  for (std::size_t i = 0; i != kCodes.size(); ++i) {
    if (static_cast<std::size_t>(kCodes[i].operation) != i) return false;
  }
  return kCodes.size() == kOperations;
}
static_assert(HasEachItsCodes(), "a row for each operation, in the order of the enumeration");

/// Cells, by words with blanks between them; none stand for all there are.
struct CellsRow {
  std::string_view operations;
  std::string_view classes;
  std::string_view outcomes;
  std::string_view reason;
};

/// Cells that are not declared: others stand for them.
constexpr auto kLeftOut = std::to_array<CellsRow>({
    {"",
     "name:plain name:latin-1 name:other-case name:root name:up "
     "name2:plain name2:latin-1 name2:other-case name2:root name2:up",
     "210 217", "what a link leads to is declared of paths"},
    {"", "name:too-long name2:too-long", "202 205 212 217",
     "what comes before the long name in a path is declared of paths"},
    {"change-file-size", "position:far-negative", "214 223", "as of sizes that are less far back"},
});

constexpr std::string_view kWithObject =
    "read write change-file-position get-file-position change-file-size get-file-size "
    "change-lock-mode change-file-mode dup-lock-from-fh open-from-lock parent-dir parent-of-fh "
    "make-hard-link examine-file examine-lock scan-lock examine-dir lock-record unlock-record";
constexpr std::string_view kWithMode =
    "open change-file-position change-file-size change-lock-mode change-file-mode";

/// Cells to which RAM: does not come.
constexpr auto kReasons = std::to_array<CellsRow>({
    // Objects.
    {"", "file:held lock:held scan:held", "116", "an object is there"},
    {"close dup-lock", "file:held lock:held", "0", "an object is there"},
    {"close dup-lock", "file:none lock:none", "ok 202", "there is nothing to close or to copy"},
    {kWithObject, "file:none lock:none scan:none",
     "ok 0 115 202 203 205 210 212 214 217 219 223 224 232 240 241 242",
     "that there is no object is found out first"},
    // Names that are too long.
    {"", "name:too-long name2:too-long", "ok 115 120 211 216 220 222 223",
     "dos refuses such a name before it asks the handler"},
    {"open create-dir delete rename make-hard-link make-soft-link set-comment set-protection set-date "
     "set-owner set-group",
     "name:too-long name2:too-long", "203 214",
     "dos refuses such a name before it asks the handler"},
    // The empty name.
    {"open lock create-dir create-dir-tree delete make-hard-link make-soft-link read-soft-link "
     "set-comment set-protection set-date set-owner set-group examine-name examine-object scan-name "
     "start-notify",
     "name:empty", "205 210 217", "it is the current directory itself, which is there"},
    {"lock create-dir delete set-comment set-protection set-date set-owner set-group examine-name "
     "examine-object scan-name start-notify",
     "name:empty", "212", "it is the current directory itself, whatever that is"},
    {"open", "name:empty", "222", "the current directory is held: 202 comes first"},
    {"create-dir", "name:empty", "ok", "it is there"},
    {"create-dir-tree", "name:empty", "203 214", "it is there, and nothing is made"},
    {"delete", "name:empty", "ok 216 222 223", "the current directory is held: 202 comes first"},
    {"make-hard-link make-soft-link", "name:empty", "ok 202 212 214",
     "dos asks first whether something has the name: 203"},
    {"read-soft-link", "name:empty", "ok 120", "a link cannot be the current directory"},
    // Plain names, and where a code speaks of the path.
    {"make-hard-link make-soft-link", "name:plain", "202",
     "dos takes what it may not look at for something that has the name: 203"},
    {"create-dir make-hard-link make-soft-link start-notify", "name:plain", "205",
     "what is missing is a directory of the path"},
    {"make-files", "name:plain name:empty", "205", "what is missing is a directory of the path"},
    {"make-files", "name:empty", "210", "the names are numbers alone"},
    {"create-dir-tree", "name:plain name:path name:latin-1 name:other-case", "205",
     "what is missing is made"},
    {"start-notify", "name:plain name:empty", "202",
     "dos asks for the path of the current directory first: 211"},
    {"start-notify", "name:plain", "212", "what the name stands for need not be there"},
    {"start-notify", "name:path name:root name:up", "211",
     "the path is walked or given from the root: 202 comes first"},
    // Modes.
    {kWithMode,
     "mode:new mode:old mode:read-write mode:shared mode:exclusive mode:beginning "
     "mode:current mode:end",
     "115", "the mode is one"},
    {kWithMode, "mode:other", "ok 214 219 222 223", "a mode that is none is refused first"},
    {"change-lock-mode", "mode:other", "212", "a mode that is none is refused first"},
    {"lock-record", "mode:other", "ok 202 241 242", "a mode that is none is refused first"},
    {"open", "mode:old", "214 222", "nothing is made and nothing emptied"},
    {"open", "mode:read-write", "222", "nothing is emptied"},
    {"change-lock-mode", "mode:shared", "212", "it answers a directory that is to be exclusive"},
    {"lock-record", "mode:exclusive mode:shared", "241", "who waits gets 242"},
    {"lock-record", "mode:exclusive-at-once mode:shared-at-once", "242",
     "who does not wait gets 241"},
    // Numbers.
    {"read write",
     "bytes:0 bytes:1-510 bytes:511-513 bytes:514-4094 bytes:4095-4097 bytes:4098-65534 "
     "bytes:65535-65537 bytes:more",
     "115", "only a count below 0 is refused so"},
    {"read write", "bytes:negative", "ok 214 223 224", "a count below 0 is refused first"},
    {"read-soft-link", "buffer:negative buffer:0", "ok",
     "nothing fits, not even the end of a text"},
    {"lock-record unlock-record", "range:negative range2:negative range2:0", "ok",
     "no such range can be locked"},
    {"lock-record", "range:negative range2:negative range2:0", "202 241 242",
     "such a range is refused first"},
    {"change-file-position change-file-size", "position:0", "219",
     "0 bytes from where the file begins, is, or ends is in it"},
    {"change-file-size", "position:1-65537 position:to-2g position:beyond-2g", "219",
     "only a size below 0 is refused so, or one that 64 bits do not hold, which is not drawn"},
    {"file-system-attr", "tag:name-length tag:version tag:dos-type", "236", "these are known"},
    {"file-system-attr", "tag:other", "ok", "that one is not known"},
    // Texts.
    {"set-comment", "text:plain text:empty text:path text:latin-1 text:long", "220",
     "it is not too long"},
    {"set-comment", "text:too-long", "ok 214", "the length is looked at first"},
    {"make-soft-link", "text:empty text:too-long", "ok", "no link can have such a target"},
    {"relabel", "text:empty text:path text:too-long", "ok", "no volume can be called so"},
    {"relabel", "text:plain text:latin-1 text:long", "210", "a volume can be called so"},
});

/// Whether `words` are none, or `word` is one of them.
bool Has(std::string_view words, std::string_view word) {
  if (words.empty()) return true;
  for (std::size_t at = words.find(word); at != std::string_view::npos;
       at = words.find(word, at + 1)) {
    const std::size_t end = at + word.size();
    const bool begins = at == 0 || words[at - 1] == ' ';
    if (begins && (end == words.size() || words[end] == ' ')) return true;
  }
  return false;
}

/// The row that the cell is in; null: none.
const CellsRow* FindRow(std::span<const CellsRow> rows, const Cell& cell,
                        std::string_view outcome) {
  const std::string class_text = ClassText(cell);
  const auto found = std::find_if(rows.begin(), rows.end(), [&](const CellsRow& row) {
    return Has(row.operations, RowOf(cell.operation).id) && Has(row.classes, class_text) &&
           Has(row.outcomes, outcome);
  });
  return found == rows.end() ? nullptr : &*found;
}

}  // namespace

std::vector<DeclaredCell> DeclaredCells() {
  const std::vector<std::string> names = OutcomeNames();
  std::vector<DeclaredCell> cells;
  const auto add = [&](const Cell& cell) {
    const std::string& outcome = names[cell.outcome];
    if (FindRow(kLeftOut, cell, outcome) != nullptr) return;
    const CellsRow* const row = FindRow(kReasons, cell, outcome);
    cells.push_back({cell, row == nullptr ? std::string_view() : row->reason});
  };
  for (const CodesRow& codes : kCodes) {
    const ClassedArguments classed = ClassedArgumentsOf(codes.operation);
    for (const std::uint8_t place : std::span(classed.place, classed.count)) {
      for (std::size_t index = 0; index != ClassesOf(codes.operation, place).size(); ++index) {
        Cell cell{codes.operation, place, static_cast<std::uint8_t>(index), 0};
        add(cell);
        for (const std::int32_t code : codes.codes) {
          if (code < 0) break;
          Outcome refused;
          refused.code = code;
          cell.outcome = OutcomeIndexOf(refused);
          add(cell);
        }
      }
    }
  }
  return cells;
}

}  // namespace quorle::explore
