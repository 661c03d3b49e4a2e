#include "tests/further/file_names.h"

#include "harness/further_context.h"

namespace quorle {
namespace {

constexpr std::uint32_t kCommonLength = 30;
constexpr std::uint32_t kMostOfThePlatform = ScratchName::kSize - 1;

/// More than a test makes in one directory: a scan that does not end ends here.
constexpr std::uint32_t kMostEntries = 300;

}  // namespace

std::uint32_t MostLetters(TestContext& ctx) {
  std::uint32_t most = 0;
  if (!FurtherOf(ctx).IFurtherDos->FileSystemAttr(ctx.device_name, FSA_MaxFileNameLengthR, most) ||
      most < 2) {
    return kCommonLength;
  }
  return most < kMostOfThePlatform ? most : kMostOfThePlatform;
}

ScratchName NameOf(std::uint32_t length) {
  ScratchName name;
  for (std::uint32_t i = 0; i < length; ++i) name.text[i] = static_cast<char>('a' + i % 26);
  return name;
}

bool AreEqual(const char* a, const char* b) {
  while (*a != '\0' && *a == *b) {
    ++a;
    ++b;
  }
  return *a == *b;
}

void RemoveEntries(TestContext& ctx, const char* label, std::uint32_t number) {
  FurtherDosInterface& further = *FurtherOf(ctx).IFurtherDos;
  const DirContextHandle scan = further.ObtainDirContext(EX_StringNameInput, "");
  const ExamineData* entry = nullptr;
  for (std::uint32_t left = kMostEntries; left > 0 && (entry = further.ExamineDir(scan)) != nullptr;
       --left) {
    CleanUp(ctx, entry->Name, label, number);
  }
  further.ReleaseDirContext(scan);
}

}  // namespace quorle
