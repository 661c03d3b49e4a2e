#include "tests/further/renamed_file.h"

#include "tests/further/file_names.h"
#include "tests/further/vocabulary.h"
#include "tests/set_up.h"

namespace quorle {

bool MakeTextFile(TestContext& ctx, const char* name, const char* label) {
  DosInterface& dos = *ctx.IDOS;
  const FileHandle file = OpenReadWrite(ctx, name, label);
  if (!file) return false;
  const std::int32_t written = dos.Write(file, kRenamedText, kRenamedTextBytes);
  dos.Close(file);
  if (written == kRenamedTextBytes) return true;
  dos.Printf("\nERROR: %s test failed, cannot Write(\"%s\"); #%n %m\n\n", label, name);
  return false;
}

std::int32_t CheckText(TestContext& ctx, const char* name, const char* old_name,
                       const char* new_name) {
  DosInterface& dos = *ctx.IDOS;
  const FileHandle file = dos.Open(name, MODE_OLDFILE);
  if (!file) {
    return Failure(ctx,
                   "\nERROR: Open(\"%s\",MODE_OLDFILE) failed after Rename(\"%s\",\"%s\"); #%n %m\n"
                   "       What a program had saved under this name is lost.\n\n",
                   name, old_name, new_name);
  }
  char buffer[kReadBytes] = {};
  const std::int32_t count = dos.Read(file, buffer, sizeof buffer);
  dos.Close(file);
  if (count != kRenamedTextBytes || !AreEqual(buffer, kRenamedText)) {
    return Failure(ctx,
                   "\nERROR: The file \"%s\" has other contents after Rename(\"%s\",\"%s\").\n"
                   "       What a program had saved in it is lost.\n\n",
                   name, old_name, new_name);
  }
  return kPassed;
}

}  // namespace quorle
