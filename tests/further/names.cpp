#include <cstdint>

#include "harness/at_end.h"
#include "tests/further/file_names.h"
#include "tests/further/groups.h"
#include "tests/further/vocabulary.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "Names";

/// Makes the file `name` in the current directory: it must be found, have exactly this name and be gone when it is
/// deleted. A name that not every filesystem has may be refused, or be another, which is an INFO; `cut` is the one
/// that it then may be found by, if it is not by its own. Returns the status.
std::int32_t TryName(TestContext& ctx, const char* name, bool is_optional,
                     const char* cut = nullptr) {
  DosInterface& dos = *ctx.IDOS;
  const bool is_noted = is_optional && !ctx.NoInfoMessages();
  const FileHandle file = dos.Open(name, MODE_NEWFILE);
  if (!file) {
    if (!is_optional) {
      return FailedCall(ctx,
                        "\nERROR: Open(\"%s\",MODE_NEWFILE) failed; #%n %m\n"
                        "       Programs cannot save under this name.\n\n",
                        name);
    }
    if (is_noted) {
      dos.Printf(
          "\nINFO:  Open(\"%s\",MODE_NEWFILE) failed; #%n %m\n"
          "       Not every filesystem has this name.\n\n",
          name);
    }
    return kPassed;
  }
  dos.Close(file);

  const ExamineData* data = dos.ExamineObject(EX_StringNameInput, name);
  const char* found = name;
  if (data == nullptr && cut != nullptr) {
    found = cut;
    data = dos.ExamineObject(EX_StringNameInput, cut);
  }
  if (data == nullptr) {
    return Failure(ctx,
                   "\nERROR: ExamineObject(\"%s\") failed after the file was made; #%n %m\n"
                   "       What programs save under this name is not found again.\n\n",
                   name);
  }
  std::int32_t status = kPassed;
  const bool is_whole = AreEqual(data->Name, name);
  if (!is_whole && !is_optional) {
    status =
        Failure(ctx,
                "\nERROR: ExamineObject(\"%s\") gave the name \"%s\".\n"
                "       Names that differ become one, and a copy of them all has fewer files.\n\n",
                name, data->Name);
  }
  if (!is_whole && is_noted) {
    dos.Printf(
        "\nINFO:  Open(\"%s\",MODE_NEWFILE) made a file of the name \"%s\".\n"
        "       Not every filesystem has this name.\n\n",
        name, data->Name);
  }
  dos.FreeDosObject(DOS_EXAMINEDATA, data);
  if (status == kPassed && !dos.Delete(found)) {
    return Failure(ctx,
                   "\nERROR: Delete(\"%s\") failed after the file was made; #%n %m\n"
                   "       What programs save under this name stays forever.\n\n",
                   found);
  }
  return status;
}

// 1. A name of each length up to the limit.
std::int32_t EachLength(TestContext& ctx, std::int32_t) {
  WorkDirectory work(ctx, kLabel);
  const AtEnd release([&] {
    if (work) RemoveEntries(ctx, kLabel, 2);
  });
  if (!work) return kFailed;
  const std::uint32_t most = MostLetters(ctx);
  for (std::uint32_t length = 1; length < most; ++length) {
    const std::int32_t status = TryName(ctx, NameOf(length), false);
    if (status != kPassed) return status;
  }
  // Whether the limit counts the zero behind a name is said in two ways.
  return TryName(ctx, NameOf(most), true, NameOf(most - 1));
}

// 2. A name with each printable character of Latin-1 but ":" and "/".
std::int32_t EachCharacter(TestContext& ctx, std::int32_t) {
  constexpr std::uint32_t kFirst = 0x21;
  constexpr std::uint32_t kLast = 0xFF;
  WorkDirectory work(ctx, kLabel);
  const AtEnd release([&] {
    if (work) RemoveEntries(ctx, kLabel, 3);
  });
  if (!work) return kFailed;
  for (std::uint32_t code = kFirst; code <= kLast; ++code) {
    if (code == ':' || code == '/' || (code > 0x7E && code < 0xA1)) continue;
    const char name[] = {'a', static_cast<char>(code), 'b', '\0'};
    const std::int32_t status = TryName(ctx, name, false);
    if (status != kPassed) return status;
  }
  return kPassed;
}

/// A name that is tried.
struct TriedName {
  const char* name;  ///< null ends a list
  bool is_optional = false;
};

/// Tries the names of a list, one after the other. Returns the status.
std::int32_t TryNames(TestContext& ctx, const TriedName* names, std::uint32_t number) {
  WorkDirectory work(ctx, kLabel);
  const AtEnd release([&] {
    if (work) RemoveEntries(ctx, kLabel, number);
  });
  if (!work) return kFailed;
  for (; names->name != nullptr; ++names) {
    const std::int32_t status = TryName(ctx, names->name, names->is_optional);
    if (status != kPassed) return status;
  }
  return kPassed;
}

// 3. Blanks, dots, and what patterns and scripts are made of.
std::int32_t BlanksDotsAndPatterns(TestContext& ctx, std::int32_t) {
  constexpr TriedName kNames[] = {
      {"a b"},
      {" before"},
      {"behind "},
      {"a  b"},
      {"name.txt"},
      {".hidden"},
      {"dot."},
      {"a..b"},
      {
          "...",
      },
      {"a#?b"},
      {"#?"},
      {"a*b"},
      {"what?"},
      {"[a-z]"},
      {"(a|b)"},
      {"~(a)"},
      {"a|b"},
      {"100%"},
      {"%s%ld"},
      {"it's"},
      {"'a'"},
      {"\"a\""},
      {"a;b"},
      {"a,b=c"},
      {"`a`"},
      {"<a>"},
      {"a\\b"},
      {"$a"},
      {".", true},
      {"..", true},
      {nullptr},
  };
  return TryNames(ctx, kNames, 4);
}

// 4. The case of a name is kept.
std::int32_t CaseIsKept(TestContext& ctx, std::int32_t) {
  constexpr TriedName kNames[] = {
      {"lower"}, {"UPPER"}, {"MixedCase"}, {"\xE0\xE9\xF6\xFE"}, {"\xC0\xC9\xD6\xDE"}, {nullptr},
  };
  return TryNames(ctx, kNames, 5);
}

/// Two spellings of a name.
struct Spellings {
  char first[8];
  char second[8];
};

/// A file that is made under the first spelling must be found under the second one, which is then no free name
/// for a directory. Returns the status.
std::int32_t CheckSpellings(TestContext& ctx, const Spellings& name) {
  DosInterface& dos = *ctx.IDOS;
  if (!MakeFile(ctx, name.first, kLabel)) return kFailed;
  const LockHandle lock = dos.Lock(name.second, SHARED_LOCK);
  dos.UnLock(lock);
  if (!lock) {
    return Failure(ctx,
                   "\nERROR: Lock(\"%s\",SHARED_LOCK) of the file \"%s\" failed; #%n %m\n"
                   "       Case is ignored in names: users and programs write them in any.\n\n",
                   name.second, name.first);
  }
  const LockHandle directory = dos.CreateDir(name.second);
  if (directory) {
    dos.UnLock(directory);
    return Failure(ctx,
                   "\nERROR: CreateDir(\"%s\") beside the file \"%s\" actually succeeded.\n"
                   "       Which of the two a name finds is then left to chance.\n\n",
                   name.second, name.first);
  }
  if (WrongError(ctx, ERROR_OBJECT_EXISTS)) {
    return WrongCode(
        ctx, ERROR_OBJECT_EXISTS,
        "\nWARN:  CreateDir(\"%s\") beside the file \"%s\" failed ok, but the error code was wrong; #%n %m\n",
        name.second, name.first);
  }
  dos.Delete(name.first);
  return kPassed;
}

// 5. The case of the letters A to Z is ignored.
std::int32_t CaseIsIgnored(TestContext& ctx, std::int32_t) {
  WorkDirectory work(ctx, kLabel);
  const AtEnd release([&] {
    if (work) RemoveEntries(ctx, kLabel, 6);
  });
  if (!work) return kFailed;
  for (char letter = 'a'; letter <= 'z'; ++letter) {
    const std::int32_t status =
        CheckSpellings(ctx, {{'a', letter, '\0'}, {'A', static_cast<char>(letter - 0x20), '\0'}});
    if (status != kPassed) return status;
  }
  return kPassed;
}

// 6. The case of the other letters of Latin-1 is ignored; signs that stand in the same places are two.
std::int32_t CaseOfAccentsIsIgnored(TestContext& ctx, std::int32_t) {
  constexpr std::uint32_t kFirst = 0xE0;
  constexpr std::uint32_t kLast = 0xFE;
  constexpr std::uint32_t kDivision = 0xF7;
  DosInterface& dos = *ctx.IDOS;
  WorkDirectory work(ctx, kLabel);
  const AtEnd release([&] {
    if (work) RemoveEntries(ctx, kLabel, 7);
  });
  if (!work) return kFailed;
  for (std::uint32_t code = kFirst; code <= kLast; ++code) {
    if (code == kDivision) continue;
    const std::int32_t status = CheckSpellings(
        ctx, {{'a', static_cast<char>(code), '\0'}, {'a', static_cast<char>(code - 0x20), '\0'}});
    if (status != kPassed) return status;
  }

  constexpr Spellings kDifferent[] = {{"a\xF7", "a\xD7"}, {"a\xFF", "a\xDF"}};
  for (const Spellings& name : kDifferent) {
    if (!MakeFile(ctx, name.first, kLabel)) return kFailed;
    const LockHandle lock = dos.Lock(name.second, SHARED_LOCK);
    dos.UnLock(lock);
    if (lock && !ctx.NoInfoMessages()) {
      dos.Printf(
          "\nINFO:  Lock(\"%s\",SHARED_LOCK) found the file \"%s\".\n"
          "       They are two signs and no letter in two cases: each could be in a name of its own.\n\n",
          name.second, name.first);
    }
    dos.Delete(name.first);
  }
  return kPassed;
}

constexpr char kUpper[] = "Upper";
constexpr char kLower[] = "Upper/Lower";

/// Makes the directory "Upper" and the file "Lower" in it.
bool MakeUpperAndLower(TestContext& ctx) {
  return MakeDirectory(ctx, kUpper, kLabel) && MakeFile(ctx, kLower, kLabel);
}

// 7. A "/" ends the name of a directory, or is its parent; it is in no name.
std::int32_t SlashSeparates(TestContext& ctx, std::int32_t) {
  constexpr char kMissing[] = "Missing/Lower";
  DosInterface& dos = *ctx.IDOS;
  WorkDirectory work(ctx, kLabel);
  LockHandle upper;
  LockHandle lower;
  const AtEnd release([&] {
    dos.UnLock(lower);
    dos.UnLock(upper);
    if (!work) return;
    CleanUp(ctx, kMissing, kLabel, 8);
    CleanUp(ctx, kLower, kLabel, 9);
    CleanUp(ctx, kUpper, kLabel, 10);
  });
  if (!work) return kFailed;
  if (!MakeUpperAndLower(ctx)) return kFailed;
  upper = SharedLock(ctx, kUpper, kLabel);
  if (!upper) return kFailed;
  const LockHandle previous = dos.SetCurrentDir(upper);
  lower = SharedLock(ctx, "Lower", kLabel);
  dos.SetCurrentDir(previous);
  if (!lower) return kFailed;

  ScratchName from_root;
  ctx.IUtility->SNPrintf(from_root.text, ScratchName::kSize, ":%s/%s", work.name(), kLower);
  ScratchName from_parent;
  ctx.IUtility->SNPrintf(from_parent.text, ScratchName::kSize, "/%s/%s", work.name(), kLower);
  const char* const paths[] = {kLower, "Upper//Upper/Lower", from_root, from_parent};
  for (const char* const path : paths) {
    const LockHandle found = dos.Lock(path, SHARED_LOCK);
    const std::int32_t relation = dos.SameLock(found, lower);
    dos.UnLock(found);
    if (relation != LOCK_SAME) {
      return Failure(
          ctx,
          "\nERROR: Lock(\"%s\",SHARED_LOCK) is not the file \"Lower\" in \"Upper\".\n"
          "       A \"/\" ends the name of a directory; without one it leads to the parent.\n\n",
          path);
    }
  }

  const FileHandle file = dos.Open(kMissing, MODE_NEWFILE);
  if (file) {
    dos.Close(file);
    return Failure(ctx,
                   "\nERROR: Open(\"%s\",MODE_NEWFILE) actually succeeded without that directory.\n"
                   "       No name has a \"/\" in it: nothing could reach such a file.\n\n",
                   kMissing);
  }
  // Some say that the directory is not found, and not the object.
  if (dos.IoErr() != ERROR_DIR_NOT_FOUND && WrongError(ctx, ERROR_OBJECT_NOT_FOUND)) {
    return WrongCode(
        ctx, ERROR_OBJECT_NOT_FOUND,
        "\nWARN:  Open(\"%s\",MODE_NEWFILE) failed ok, but the error code was wrong; #%n %m\n",
        kMissing);
  }
  return kPassed;
}

// 8. A ":" ends the name of a device or volume; it is in no name.
std::int32_t ColonEndsADevice(TestContext& ctx, std::int32_t) {
  constexpr char kColonName[] = "Upper:Lower";
  DosInterface& dos = *ctx.IDOS;
  WorkDirectory work(ctx, kLabel);
  const AtEnd release([&] {
    if (!work) return;
    CleanUp(ctx, kLower, kLabel, 11);
    CleanUp(ctx, kUpper, kLabel, 12);
    RemoveEntries(ctx, kLabel, 13);
  });
  if (!work) return kFailed;
  if (!MakeUpperAndLower(ctx)) return kFailed;

  const LockHandle root = dos.Lock(":", SHARED_LOCK);
  const std::int32_t relation = dos.SameLock(root, ctx.root_lock);
  dos.UnLock(root);
  if (relation != LOCK_SAME) {
    return Failure(
        ctx,
        "\nERROR: Lock(\":\",SHARED_LOCK) in a directory is not the root of its volume.\n"
        "       Programs that know no name of their volume find its root by it.\n\n");
  }
  const LockHandle device = dos.Lock(kColonName, SHARED_LOCK);
  if (device) {
    dos.UnLock(device);
    return Failure(
        ctx,
        "\nERROR: Lock(\"%s\",SHARED_LOCK) actually succeeded without that device.\n"
        "       What stands before a \":\" is a device or a volume, and no directory.\n\n",
        kColonName);
  }
  if (WrongError(ctx, ERROR_DEVICE_NOT_MOUNTED)) {
    return WrongCode(
        ctx, ERROR_DEVICE_NOT_MOUNTED,
        "\nWARN:  Lock(\"%s\",SHARED_LOCK) failed ok, but the error code was wrong; #%n %m\n",
        kColonName);
  }

  // The first one ends the device: the handler gets the second one in a name.
  ScratchName path;
  ctx.IUtility->SNPrintf(path.text, ScratchName::kSize, "%s%s/%s", ctx.device_name, work.name(),
                         kColonName);
  const FileHandle file = dos.Open(path, MODE_NEWFILE);
  if (file) {
    dos.Close(file);
    return Failure(ctx,
                   "\nERROR: Open(\"%s\",MODE_NEWFILE) actually succeeded.\n"
                   "       No name has a \":\" in it: nothing could reach such a file by it.\n\n",
                   path);
  }
  const std::int32_t code = dos.IoErr();
  if (code != ERROR_INVALID_COMPONENT_NAME && !ctx.NoInfoMessages()) {
    dos.Printf(
        "\nINFO:  Open(\"%s\",MODE_NEWFILE) failed ok, with another code than 210; #%n %m\n\n",
        path);
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"EachLength", EachLength},                          // 1
    {"EachCharacter", EachCharacter},                    // 2
    {"BlanksDotsAndPatterns", BlanksDotsAndPatterns},    // 3
    {"CaseIsKept", CaseIsKept},                          // 4
    {"CaseIsIgnored", CaseIsIgnored},                    // 5
    {"CaseOfAccentsIsIgnored", CaseOfAccentsIsIgnored},  // 6
    {"SlashSeparates", SlashSeparates},                  // 7
    {"ColonEndsADevice", ColonEndsADevice},              // 8
    {},
};

}  // namespace

const TestGroup kFurtherNamesGroup = {
    .label = kLabel, .sub_tests = kSubTests, .id = "Further.Names"};

}  // namespace quorle
