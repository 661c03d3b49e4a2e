#include "tests/further/refusal_tree.h"

#include "harness/memory.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

struct TreeObject {
  const char* name;
  const char* data;  ///< null: a directory
  std::uint32_t protection = EXDF_DEFAULT;
};

// What is in a directory comes behind it.
constexpr TreeObject kTree[] = {
    {"Drawer", nullptr},
    {"Drawer/Source", "source-data"},
    {"Drawer/Target", "target-data"},
    {"Drawer/Kept", "kept-data", EXDF_NO_DELETE},
    {"Drawer/Sealed", "sealed-data", EXDF_NO_WRITE | EXDF_NO_READ},
    {"Drawer/Folder", nullptr},
    {"Drawer/Folder/First", "first-data"},
    {"Drawer/Folder/Second", "second-data"},
};
static_assert(sizeof kTree / sizeof kTree[0] == kRefusalObjects);

constexpr DateStamp kLongAgo = {3653, 754, 0};

/// After so many strangers a scan is ended.
constexpr std::uint32_t kMostStrangers = 20;

constexpr const char* kLeftByCalls[] = {"Drawer/New", "Drawer/Folder/New"};

/// Copies the first bytes of `text`.
template <std::uint32_t size>
void CopyStart(char (&buffer)[size], const char* text) {
  const std::uint32_t length = TextLength(text);
  CopyBytes(buffer, text, length < size ? length : size - 1);
}

bool IsReadable(const TreeObject& object) {
  return object.data != nullptr && (object.protection & EXDF_NO_READ) == 0;
}

/// A date as one number.
std::int64_t TicksOf(const DateStamp& date) {
  constexpr std::int64_t kMinutesPerDay = 24 * 60;
  constexpr std::int64_t kTicksPerMinute = 60 * TICKS_PER_SECOND;
  return (date.ds_Days * kMinutesPerDay + date.ds_Minute) * kTicksPerMinute + date.ds_Tick;
}

bool IsSameBytes(const char (&a)[16], const char (&b)[16]) {
  for (std::uint32_t i = 0; i < sizeof a; ++i) {
    if (a[i] != b[i]) return false;
  }
  return true;
}

/// The first field but the date in which an object differs; null when there is none.
const char* Difference(const ObjectLook& before, const ObjectLook& now) {
  if (before.type != now.type) return "type";
  if (before.size != now.size) return "size";
  if (!IsSameBytes(before.contents, now.contents)) return "contents";
  if (before.protection != now.protection) return "protection";
  if (!IsSameBytes(before.comment, now.comment)) return "comment";
  if (before.owner != now.owner || before.group != now.group) return "owner";
  return nullptr;
}

}  // namespace

RefusalTree::RefusalTree(TestContext& ctx, const char* label)
    : ctx_(ctx), label_(label), work_(ctx, label) {}

RefusalTree::~RefusalTree() {
  if (made_ > 0) {
    for (const char* const name : kLeftByCalls) CleanUp(ctx_, name, label_, kRefusalObjects + 2);
  }
  for (; made_ > 0; --made_) CleanUp(ctx_, kTree[made_ - 1].name, label_, made_ + 1);
}

bool RefusalTree::MakeObject(std::uint32_t index) {
  const TreeObject& object = kTree[index];
  if (object.data == nullptr) return MakeDirectory(ctx_, object.name, label_);
  DosInterface& dos = *ctx_.IDOS;
  const FileHandle file = dos.Open(object.name, MODE_NEWFILE);
  const auto bytes = static_cast<std::int32_t>(TextLength(object.data));
  const bool is_written = file && dos.Write(file, object.data, bytes) == bytes;
  if (!is_written) {
    dos.Printf("\nERROR: %s test failed, cannot write the file \"%s\"; #%n %m\n\n", label_,
               object.name);
  }
  dos.Close(file);
  return is_written;
}

bool RefusalTree::Make() {
  DosInterface& dos = *ctx_.IDOS;
  if (!work_) return false;
  for (std::uint32_t index = 0; index < kRefusalObjects; ++index) {
    ++made_;
    if (!MakeObject(index)) return false;
  }
  // The directory last: what is done to its entries may be seen at it. Of comments and dates nothing is
  // expected: where they cannot be set, they are compared as they are.
  for (std::uint32_t index = kRefusalObjects; index > 0; --index) {
    const char* const name = kTree[index - 1].name;
    dos.SetComment(name, name);
    if (!Mark(index - 1)) {
      dos.Printf("\nERROR: %s test failed, cannot SetProtection(\"%s\"); #%n %m\n\n", label_, name);
      return false;
    }
  }
  return true;
}

bool RefusalTree::Mark(std::uint32_t index) {
  DosInterface& dos = *ctx_.IDOS;
  const TreeObject& object = kTree[index];
  dos.SetDate(object.name, kLongAgo);
  return dos.SetProtection(object.name, object.protection | EXDF_ARCHIVE);
}

void RefusalTree::MarkAgain() {
  for (std::uint32_t index = kRefusalObjects; index > 0; --index) Mark(index - 1);
}

bool RefusalTree::HaveOtherDates(const TreeLook& before, const TreeLook& now) {
  for (std::uint32_t index = 0; index < kRefusalObjects; ++index) {
    const ObjectLook& old = before.objects[index];
    const ObjectLook& object = now.objects[index];
    if (object.is_there && TicksOf(old.date) != TicksOf(object.date)) return true;
  }
  return false;
}

void RefusalTree::LookAtContents(const char* name, char* contents) {
  DosInterface& dos = *ctx_.IDOS;
  const FileHandle file = dos.Open(name, MODE_OLDFILE);
  if (!file) return;
  dos.Read(file, contents, sizeof(ObjectLook::contents));
  dos.Close(file);
}

void RefusalTree::LookAtEntries(const char* directory, TreeLook& look) {
  FurtherDosInterface& further = *FurtherOf(ctx_).IFurtherDos;
  std::uint32_t strangers = 0;
  const DirContextHandle context = further.ObtainDirContext(EX_StringNameInput, directory);
  while (const ExamineData* const entry = further.ExamineDir(context)) {
    char name[sizeof look.stranger] = {};
    ctx_.IUtility->SNPrintf(name, sizeof name, "%s/%s", directory, entry->Name);
    bool is_known = false;
    for (std::uint32_t index = 0; index < kRefusalObjects; ++index) {
      ObjectLook& object = look.objects[index];
      if (object.is_listed || ctx_.IUtility->Stricmp(name, kTree[index].name) != 0) continue;
      object.is_listed = is_known = true;
      break;
    }
    if (is_known) continue;
    if (look.stranger[0] == '\0') CopyStart(look.stranger, name);
    // What is there twice is a stranger too: the scan may have no end.
    if (++strangers == kMostStrangers) break;
  }
  further.ReleaseDirContext(context);
}

void RefusalTree::Look(TreeLook& look) {
  DosInterface& dos = *ctx_.IDOS;
  look = {};
  look.objects[0].is_listed = true;  // in a directory that is not looked at
  for (std::uint32_t index = 0; index < kRefusalObjects; ++index) {
    const TreeObject& object = kTree[index];
    const ExamineData* const data = dos.ExamineObject(EX_StringNameInput, object.name);
    if (data == nullptr) continue;
    ObjectLook& seen = look.objects[index];
    seen = {.is_there = true,
            .is_listed = seen.is_listed,
            .type = data->Type,
            .size = data->FileSize,
            .protection = data->Protection,
            .date = data->Date,
            .owner = data->OwnerUID,
            .group = data->OwnerGID,
            .comment = {},
            .contents = {}};
    CopyStart(seen.comment, data->Comment);
    dos.FreeDosObject(DOS_EXAMINEDATA, data);
    if (IsReadable(object)) LookAtContents(object.name, seen.contents);
  }
  LookAtEntries("Drawer", look);
  LookAtEntries("Drawer/Folder", look);
  InfoData info = {};
  dos.GetDiskInfo(ctx_.device_name, info);
  look.users = info.id_InUse;
}

bool RefusalTree::IsComplete(const TreeLook& look) {
  const char* wrong = look.stranger[0] == '\0' ? nullptr : look.stranger;
  for (std::uint32_t index = 0; index < kRefusalObjects; ++index) {
    const ObjectLook& object = look.objects[index];
    if (!object.is_there || !object.is_listed) wrong = kTree[index].name;
  }
  if (wrong != nullptr) {
    ctx_.IDOS->Printf(
        "\nERROR: %s test failed, ExamineObject() and ExamineDir() disagree about \"%s\".\n\n",
        label_, wrong);
    return false;
  }
  // What cannot be read before a call would look the same after it, whatever it did.
  for (std::uint32_t index = 0; index < kRefusalObjects; ++index) {
    char expected[sizeof(ObjectLook::contents)] = {};
    if (IsReadable(kTree[index])) CopyStart(expected, kTree[index].data);
    if (IsSameBytes(look.objects[index].contents, expected)) continue;
    ctx_.IDOS->Printf("\nERROR: %s test failed, \"%s\" does not hold what was written.\n\n", label_,
                      kTree[index].name);
    return false;
  }
  return true;
}

std::int32_t RefusalTree::Compare(const char* call, const TreeLook& before, const TreeLook& now) {
  for (std::uint32_t index = 0; index < kRefusalObjects; ++index) {
    const ObjectLook& old = before.objects[index];
    const ObjectLook& object = now.objects[index];
    const char* const name = kTree[index].name;
    if (!object.is_there || !object.is_listed) {
      return Failure(ctx_,
                     "\nERROR: %s was refused, but \"%s\" is gone afterwards.\n"
                     "       Programs go on with what they have when a call is refused; nobody "
                     "knows that it is lost.\n\n",
                     call, name);
    }
    const char* field = Difference(old, object);
    const bool has_other_date = TicksOf(old.date) != TicksOf(object.date);
    if (field == nullptr && compares_dates_ && has_other_date) field = "date";
    if (field != nullptr) {
      return Failure(
          ctx_,
          "\nERROR: %s was refused, but changed the %s of \"%s\".\n"
          "       Programs take it for granted that a refused call has done nothing.\n\n",
          call, field, name);
    }
  }
  if (now.stranger[0] != '\0') {
    return Failure(ctx_,
                   "\nERROR: %s was refused, but there is \"%s\" afterwards.\n"
                   "       Nobody knows that it is there, and the directory cannot be deleted.\n\n",
                   call, now.stranger);
  }
  if (before.users != now.users) {
    return Failure(
        ctx_,
        "\nERROR: %s was refused, but the volume has %lu users afterwards, and had %lu.\n"
        "       What nobody has cannot be given back: the volume stays in use.\n\n",
        call, now.users, before.users);
  }
  return kPassed;
}

}  // namespace quorle
