#include <cstdint>

#include "harness/memory.h"
#include "tests/further/groups.h"
#include "tests/further/vocabulary.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "FileSystemAttr()";
/// The longest name that dos takes.
constexpr std::uint32_t kMostBytes = 255;
/// FSA_Dummy + 99, which is nothing.
constexpr std::uint32_t kUnknownTag = 0x8000238B;

/// What the filesystem answers to one question.
struct AttributeAnswer {
  bool is_known = false;  ///< whether it has an answer, which it need not
  std::uint32_t value = 0;
};

/// Asks for `tag`, which is called `tag_name`. Returns the status.
std::int32_t AskFor(TestContext& ctx, std::uint32_t tag, const char* tag_name,
                    AttributeAnswer& answer) {
  answer.is_known = FurtherOf(ctx).IFurtherDos->FileSystemAttr(ctx.device_name, tag, answer.value);
  if (answer.is_known) return kPassed;
  if (ctx.IDOS->IoErr() != ERROR_NOT_IMPLEMENTED) {
    return FailedCall(ctx, "\nERROR: FileSystemAttr(%s) failed; #%n %m\n\n", tag_name);
  }
  if (ctx.NoInfoMessages()) return kPassed;
  ctx.IDOS->Printf("\nINFO:  FileSystemAttr(%s) is not available; #%n %m\n\n", tag_name);
  return kPassed;
}

/// Asks for the length of a name, which a program can rely on when it is known. Returns the status.
std::int32_t AskForNameLength(TestContext& ctx, AttributeAnswer& answer) {
  const std::int32_t status = AskFor(ctx, FSA_MaxFileNameLengthR, "FSA_MaxFileNameLengthR", answer);
  if (!answer.is_known || answer.value != 0) return status;
  return Failure(ctx,
                 "\nERROR: FileSystemAttr(FSA_MaxFileNameLengthR) promises names of 0 bytes.\n"
                 "       A program that goes by it can name nothing.\n\n");
}

/// Reads digits; `text` is behind them afterwards.
std::uint32_t ReadDigits(const char*& text) {
  std::uint32_t number = 0;
  for (; *text >= '0' && *text <= '9'; ++text) {
    number = number * 10 + static_cast<std::uint32_t>(*text - '0');
  }
  return number;
}

/// Finds the first version and revision in `text`, as "53.1", behind a blank, as FSA_VersionNumberR has
/// them; 0 when there are none.
std::uint32_t FindVersion(const char* text) {
  for (; *text != '\0'; ++text) {
    if (*text != ' ') continue;
    const char* rest = text + 1;
    const std::uint32_t version = ReadDigits(rest);
    if (*rest != '.') continue;
    ++rest;
    const std::uint32_t number = version << 16 | ReadDigits(rest);
    if (number != 0) return number;
  }
  return 0;
}

/// What became of a file that was to be made under a name.
enum class NameFate : std::uint8_t {
  kRefused,
  kLost,   ///< it was made, and is not found, or is called otherwise
  kCut,    ///< it is called by the beginning of the name, and found so
  kWhole,  ///< it is called so
};

/// A file in the current directory, made under a name of a given length if that can be done. It is removed at
/// the end, whatever it is called. A refusal leaves its code in IoErr().
class [[nodiscard]] NameTrial {
 public:
  NameTrial(TestContext& ctx, std::uint32_t length) : ctx_(ctx) {
    DosInterface& dos = *ctx.IDOS;
    for (std::uint32_t i = 0; i < length; ++i) asked_[i] = static_cast<char>('a' + i % 26);
    const FileHandle file = dos.Open(asked_, MODE_NEWFILE);
    if (!file) return;
    const ExamineData* const data = dos.ExamineObject(EX_FileHandleInput, file);
    if (data != nullptr) ctx.IUtility->Strlcpy(kept_, data->Name, sizeof kept_);
    dos.FreeDosObject(DOS_EXAMINEDATA, data);
    dos.Close(file);
    fate_ = NameFate::kLost;
    if (kept_[0] == '\0') return;
    const LockHandle lock = dos.Lock(kept_, SHARED_LOCK);
    dos.UnLock(lock);
    char beginning[kSize];
    ctx.IUtility->Strlcpy(beginning, asked_, kept_bytes() + 1);
    if (!lock || ctx.IUtility->Stricmp(beginning, kept_) != 0) return;
    fate_ = kept_bytes() == length ? NameFate::kWhole : NameFate::kCut;
  }
  ~NameTrial() {
    CleanUp(ctx_, kept_, kLabel, 2);
    CleanUp(ctx_, asked_, kLabel, 3);
  }
  NameTrial(const NameTrial&) = delete;
  NameTrial& operator=(const NameTrial&) = delete;

  NameFate fate() const { return fate_; }
  /// The length of the name that the file says it has; 0 without a file.
  std::uint32_t kept_bytes() const { return TextLength(kept_); }

 private:
  static constexpr std::uint32_t kSize = kMostBytes + 1;

  TestContext& ctx_;
  NameFate fate_ = NameFate::kRefused;
  char asked_[kSize] = {};
  char kept_[kSize] = {};
};

// 1. The length of a name is known, and there are names of it.
std::int32_t NameLengthIsGiven(TestContext& ctx, std::int32_t) {
  AttributeAnswer length;
  return AskForNameLength(ctx, length);
}

// 2. The version is that of the version text.
std::int32_t VersionIsThatOfTheText(TestContext& ctx, std::int32_t) {
  AttributeAnswer version;
  const std::int32_t status = AskFor(ctx, FSA_VersionNumberR, "FSA_VersionNumberR", version);
  if (!version.is_known) return status;
  const std::uint32_t in_text = FindVersion(ctx.version_text);
  if (in_text == 0) {
    if (ctx.NoInfoMessages()) return kPassed;
    ctx.IDOS->Printf(
        "\nINFO:  FileSystemAttr() gives version %lu.%lu, and the version text \"%s\" has none.\n\n",
        version.value >> 16, version.value & 0xFFFF, ctx.version_text);
    return kPassed;
  }
  if (version.value != in_text) {
    return Failure(ctx,
                   "\nERROR: FileSystemAttr() gives version %lu.%lu, and the version text \"%s\".\n"
                   "       A program that needs a newer filesystem looks at one of them, its user "
                   "at the other.\n\n",
                   version.value >> 16, version.value & 0xFFFF, ctx.version_text);
  }
  return kPassed;
}

// 3. The DOS type is that of the disk information.
std::int32_t TypeIsThatOfTheDisk(TestContext& ctx, std::int32_t) {
  AttributeAnswer type;
  const std::int32_t status = AskFor(ctx, FSA_DOSTypeR, "FSA_DOSTypeR", type);
  if (!type.is_known) return status;
  InfoData info = {};
  if (!ctx.IDOS->GetDiskInfo(ctx.device_name, info)) {
    ctx.IDOS->Printf("\nERROR: %s test failed, cannot GetDiskInfo(\"%s\"); #%n %m\n\n", kLabel,
                     ctx.device_name);
    return kFailed;
  }
  const auto of_disk = static_cast<std::uint32_t>(info.id_DiskType);
  if (type.value != of_disk) {
    return Failure(ctx,
                   "\nERROR: FileSystemAttr() gives the DOS type 0x%08lx, and GetDiskInfo() "
                   "0x%08lx.\n"
                   "       Programs choose by it how they treat the volume.\n\n",
                   type.value, of_disk);
  }
  return kPassed;
}

// 4. What it does not know it refuses with 236: 209 would say that it answers nothing at all.
std::int32_t UnknownTagIsRefused(TestContext& ctx, std::int32_t) {
  AttributeAnswer type;
  const std::int32_t status = AskFor(ctx, FSA_DOSTypeR, "FSA_DOSTypeR", type);
  if (status != kPassed) return status;
  std::uint32_t value = 0;
  if (FurtherOf(ctx).IFurtherDos->FileSystemAttr(ctx.device_name, kUnknownTag, value)) {
    return Failure(ctx,
                   "\nERROR: FileSystemAttr() answers 0x%08lx, which is no tag.\n"
                   "       A program takes what it did not get for an answer.\n\n",
                   kUnknownTag);
  }
  if (WrongError(ctx, ERROR_NOT_IMPLEMENTED)) {
    return WrongCode(ctx, ERROR_NOT_IMPLEMENTED,
                     "\nWARN:  FileSystemAttr(0x%08lx) failed ok, but the error code was wrong; "
                     "#%n %m\n",
                     kUnknownTag);
  }
  return kPassed;
}

// 5. A name of the length that it promises is kept whole. Whether a terminating zero is counted is not agreed
// upon.
std::int32_t NameOfThatLength(TestContext& ctx, std::int32_t) {
  AttributeAnswer length;
  const std::int32_t status = AskForNameLength(ctx, length);
  if (!length.is_known || status != kPassed) return status;
  const std::uint32_t bytes = length.value < kMostBytes ? length.value : kMostBytes;
  const WorkDirectory work(ctx, kLabel);
  if (!work) return kFailed;

  if (NameTrial(ctx, bytes).fate() == NameFate::kWhole) return kPassed;
  if (NameTrial(ctx, bytes - 1).fate() != NameFate::kWhole) {
    return Failure(ctx,
                   "\nERROR: no file is kept under a whole name of %lu bytes, nor of one less.\n"
                   "       FileSystemAttr(FSA_MaxFileNameLengthR) promises it, and programs make "
                   "names up to it.\n\n",
                   bytes);
  }
  if (ctx.NoInfoMessages()) return kPassed;
  ctx.IDOS->Printf(
      "\nINFO:  FileSystemAttr(FSA_MaxFileNameLengthR) counts the zero after a name of %lu "
      "bytes.\n\n",
      bytes - 1);
  return kPassed;
}

// 6. A name that is a byte longer is refused, or cut, and never lost.
std::int32_t LongerNameIsNotLost(TestContext& ctx, std::int32_t) {
  AttributeAnswer length;
  const std::int32_t status = AskForNameLength(ctx, length);
  if (!length.is_known || status != kPassed) return status;
  if (length.value >= kMostBytes) return kPassed;  // dos takes none that is longer
  const WorkDirectory work(ctx, kLabel);
  if (!work) return kFailed;

  const std::uint32_t bytes = length.value + 1;
  const NameTrial longer(ctx, bytes);
  const NameFate fate = longer.fate();
  if (fate == NameFate::kRefused && WrongError(ctx, ERROR_INVALID_COMPONENT_NAME)) {
    return WrongCode(ctx, ERROR_INVALID_COMPONENT_NAME,
                     "\nWARN:  Open() of a file with a name of %lu bytes failed ok, but the "
                     "error code was wrong; #%n %m\n",
                     bytes);
  }
  if (fate == NameFate::kLost) {
    return Failure(ctx,
                   "\nERROR: Open() made a file under a name of %lu bytes, and it is not found "
                   "by the beginning of it.\n"
                   "       What a program saves there is lost.\n\n",
                   bytes);
  }
  if (fate == NameFate::kCut && !ctx.NoInfoMessages()) {
    ctx.IDOS->Printf(
        "\nINFO:  Open() made a file under a name of %lu bytes, and cut it to %lu.\n"
        "       A refusal would be better: two long names may become the same.\n\n",
        bytes, longer.kept_bytes());
  }
  return kPassed;
}

// 7. Time-outs and deleted objects that are kept: each tag is answered, or refused with 236. What the answers come
// to is the filesystem's own affair.
std::int32_t OptionalTags(TestContext& ctx, std::int32_t) {
  struct OptionalTag {
    std::uint32_t tag;
    const char* name;
  };
  constexpr OptionalTag kTags[] = {
      {FSA_ActivityFlushTimeoutR, "FSA_ActivityFlushTimeoutR"},
      {FSA_InactivityFlushTimeoutR, "FSA_InactivityFlushTimeoutR"},
      {FSA_MaxRecycledEntriesR, "FSA_MaxRecycledEntriesR"},
      {FSA_HasRecycledEntriesR, "FSA_HasRecycledEntriesR"},
  };
  AttributeAnswer type;
  const std::int32_t status = AskFor(ctx, FSA_DOSTypeR, "FSA_DOSTypeR", type);
  if (status != kPassed) return status;
  for (const OptionalTag& tag : kTags) {
    std::uint32_t value = 0;
    if (FurtherOf(ctx).IFurtherDos->FileSystemAttr(ctx.device_name, tag.tag, value)) continue;
    if (WrongError(ctx, ERROR_NOT_IMPLEMENTED)) {
      return WrongCode(
          ctx, ERROR_NOT_IMPLEMENTED,
          "\nWARN:  FileSystemAttr(%s) failed, which it may, but the error code was wrong; "
          "#%n %m\n",
          tag.name);
    }
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"NameLengthIsGiven", NameLengthIsGiven},            // 1
    {"VersionIsThatOfTheText", VersionIsThatOfTheText},  // 2
    {"TypeIsThatOfTheDisk", TypeIsThatOfTheDisk},        // 3
    {"UnknownTagIsRefused", UnknownTagIsRefused},        // 4
    {"NameOfThatLength", NameOfThatLength},              // 5
    {"LongerNameIsNotLost", LongerNameIsNotLost},        // 6
    {"OptionalTags", OptionalTags},                      // 7
    {},
};

}  // namespace

const TestGroup kFurtherFileSystemAttrGroup = {
    .label = kLabel, .sub_tests = kSubTests, .id = "Further.FileSystemAttr"};

}  // namespace quorle
