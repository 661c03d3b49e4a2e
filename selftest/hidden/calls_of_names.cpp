#include "selftest/hidden/caller.h"
#include "selftest/hidden/hidden_calls.h"

namespace quorle::selftest {
namespace {

constexpr const char* k31 = "abcdefghijklmnopqrstuvwxyz01234";
constexpr DateStamp kSomeDate{1000, 0, 0};

/// What is there after "f" was called `to`.
template <const char* to>
std::string RenameTo(Caller& dos) {
  dos.Put("f");
  const std::string outcome = dos.Rename("f", to);
  return Joined({outcome, dos.Scan("")});
}

constexpr char kSame[] = "f";
constexpr char kOtherCase[] = "F";

/// A directory "d" and a file "f" of four bytes, which is then moved into it.
std::string MoveInto(Caller& dos) {
  dos.MakeDirectory("d");
  dos.Put("f", "data");
  return dos.Rename("f", "d/f");
}

constexpr HiddenCalls kNamed[] = {
    {"name-cut-at-30",
     [](Caller& dos) {
       dos.Put(k31);
       return Joined({dos.Lock(k31), dos.Scan("")});
     },
     "TRUE abcdefghijklmnopqrstuvwxyz01234", "TRUE abcdefghijklmnopqrstuvwxyz0123"},
    {"new-name-cut-at-30",
     [](Caller& dos) {
       dos.Put(k31);
       return Joined({dos.Lock(k31), dos.Scan("")});
     },
     "TRUE abcdefghijklmnopqrstuvwxyz01234", "FALSE 205 abcdefghijklmnopqrstuvwxyz0123"},
    {"name-loses-blank",
     [](Caller& dos) {
       dos.Put("f ");
       return dos.Lock("f");
     },
     "FALSE 205", "TRUE"},
    {"name-high-bit-lost",
     [](Caller& dos) {
       dos.Put("\xE4");
       return Joined({dos.Lock("\xE4"), dos.Lock("d")});
     },
     "TRUE FALSE 205", "TRUE TRUE"},
    {"rename-to-itself-refused", RenameTo<kSame>, "TRUE f", "FALSE 203 f"},
    {"rename-to-itself-deletes", RenameTo<kSame>, "TRUE f", "TRUE "},
    {"rename-case-refused", RenameTo<kOtherCase>, "TRUE F", "FALSE 203 f"},
    {"rename-case-ignored", RenameTo<kOtherCase>, "TRUE F", "TRUE f"},
    {"rename-case-deletes", RenameTo<kOtherCase>, "TRUE F", "TRUE "},
    {"rename-loses-comment",
     [](Caller& dos) {
       dos.Put("a");
       dos.dos().SetComment("a", "text");
       dos.Rename("a", "b");
       return dos.Comment("b");
     },
     "text", ""},
    {"rename-lifts-protection",
     [](Caller& dos) {
       dos.Put("a");
       dos.dos().SetProtection("a", EXDF_NO_EXECUTE);
       dos.Rename("a", "b");
       return dos.Protection("b");
     },
     "2", "0"},
    {"rename-dates-object",
     [](Caller& dos) {
       dos.Put("a");
       dos.dos().SetDate("a", kSomeDate);
       dos.Rename("a", "b");
       return dos.Date("b");
     },
     "1000 0 0", "0 0 0"},
    {"move-leaves-old-name",
     [](Caller& dos) {
       dos.MakeDirectory("d");
       dos.Put("d/f");
       return Joined({dos.Rename("d/f", "f"), dos.Lock("d/f")});
     },
     "TRUE FALSE 205", "TRUE TRUE"},
    {"move-empties-file",
     [](Caller& dos) {
       return Joined({MoveInto(dos), dos.Get("d/f")});
     },
     "TRUE data", "TRUE "},
    {"move-keeps-source-date",
     [](Caller& dos) {
       dos.MakeDirectory("d");
       dos.Put("d/f");
       dos.dos().SetDate("d", kSomeDate);
       const std::string outcome = dos.Rename("d/f", "f");
       return outcome + (dos.Date("d") == "1000 0 0" ? " old date" : " new date");
     },
     "TRUE new date", "TRUE old date"},
    {"parent-of-moved-is-root",
     [](Caller& dos) {
       MoveInto(dos);
       const LockHandle file = dos.dos().Lock("d/f", SHARED_LOCK);
       const LockHandle parent = dos.dos().ParentDir(file);
       const LockHandle root = dos.dos().Lock("", SHARED_LOCK);
       const bool is_root = dos.dos().SameLock(parent, root) == LOCK_SAME;
       for (const LockHandle lock : {file, parent, root}) dos.dos().UnLock(lock);
       return std::string(is_root ? "root" : "d");
     },
     "d", "root"},
    {"write-after-rename-lost",
     [](Caller& dos) {
       dos.Put("a", "data");
       const FileHandle file = dos.dos().Open("a", MODE_OLDFILE);
       std::string outcome = dos.Rename("a", "b");
       outcome += " " + dos.Result(dos.dos().Write(file, "X", 1) == 1);
       dos.dos().Close(file);
       return Joined({outcome, dos.Get("b")});
     },
     "TRUE TRUE Xata", "TRUE TRUE data"},
};

}  // namespace

std::span<const HiddenCalls> CallsOfNames() {
  return kNamed;
}

}  // namespace quorle::selftest
