#include "selftest/hidden/caller.h"
#include "selftest/hidden/hidden_calls.h"

namespace quorle::selftest {
namespace {

/// A date that is not 1978's.
constexpr DateStamp kSomeDay{1000, 0, 0};

std::string RefusedRename(Caller& dos) {
  dos.Put("a", "data");
  dos.Put("b", "other");
  const std::string outcome = dos.Rename("a", "b");
  return Joined({outcome, dos.Lock("a"), dos.Size("b")});
}

constexpr HiddenCalls kRefused[] = {
    {"rename-refused-loses-source", RefusedRename, "FALSE 203 TRUE 5", "FALSE 203 FALSE 205 5"},
    {"rename-refused-empties-other", RefusedRename, "FALSE 203 TRUE 5", "FALSE 203 TRUE 0"},
    {"open-new-refused-empties",
     [](Caller& dos) {
       dos.Put("f", "data");
       dos.dos().SetProtection("f", EXDF_NO_DELETE);
       const FileHandle file = dos.dos().Open("f", MODE_NEWFILE);
       return Joined({dos.Result(static_cast<bool>(file)), dos.Get("f"), dos.Protection("f")});
     },
     "FALSE 222 data 1", "FALSE 222  1"},
    {"open-old-refused-makes-file",
     [](Caller& dos) {
       const FileHandle file = dos.dos().Open("f", MODE_OLDFILE);
       return Joined({dos.Result(static_cast<bool>(file)), dos.Lock("f")});
     },
     "FALSE 205 FALSE 205", "FALSE 205 TRUE"},
    {"open-in-use-refused-dates",
     [](Caller& dos) {
       dos.Put("f");
       dos.dos().SetDate("f", kSomeDay);
       const LockHandle lock = dos.dos().Lock("f", SHARED_LOCK);
       const FileHandle file = dos.dos().Open("f", MODE_NEWFILE);
       const std::string outcome = dos.Result(static_cast<bool>(file));
       dos.dos().UnLock(lock);
       return Joined({outcome, dos.Date("f")});
     },
     "FALSE 202 1000 0 0", "FALSE 202 0 0 0"},
    {"delete-refused-removes-entry",
     [](Caller& dos) {
       dos.MakeDirectory("d");
       dos.Put("d/a");
       dos.Put("d/b");
       const std::string outcome = dos.Result(dos.dos().Delete("d"));
       return Joined({outcome, dos.Scan("d")});
     },
     "FALSE 216 a b", "FALSE 216 a"},
    {"delete-refused-clears-comment",
     [](Caller& dos) {
       dos.Put("f");
       dos.dos().SetComment("f", "text");
       dos.dos().SetProtection("f", EXDF_NO_DELETE);
       const std::string outcome = dos.Result(dos.dos().Delete("f"));
       return Joined({outcome, dos.Comment("f")});
     },
     "FALSE 222 text", "FALSE 222 "},
    {"make-link-refused-leaves-name",
     [](Caller& dos) {
       dos.MakeDirectory("d");
       const LockHandle lock = dos.dos().Lock("d", SHARED_LOCK);
       const std::string outcome = dos.Result(dos.dos().MakeLink("d/link", lock, LINK_HARD));
       dos.dos().UnLock(lock);
       return Joined({outcome, dos.Lock("d/link")});
     },
     "FALSE 212 FALSE 205", "FALSE 212 TRUE"},
    {"make-soft-link-refused-leaves-name",
     [](Caller& dos) {
       const std::string outcome = dos.Result(dos.dos().MakeLink("f", "", LINK_SOFT));
       return Joined({outcome, dos.Lock("f")});
     },
     "FALSE 210 FALSE 205", "FALSE 210 TRUE"},
    {"create-dir-refused-dates",
     [](Caller& dos) {
       dos.Put("f");
       dos.dos().SetDate("f", kSomeDay);
       const LockHandle lock = dos.dos().CreateDir("f");
       return Joined({dos.Result(static_cast<bool>(lock)), dos.Date("f")});
     },
     "FALSE 203 1000 0 0", "FALSE 203 0 0 0"},
    {"comment-refused-clears",
     [](Caller& dos) {
       dos.Put("f");
       dos.dos().SetComment("f", "text");
       const std::string outcome =
           dos.Result(dos.dos().SetComment("f", std::string(300, 'c').c_str()));
       return Joined({outcome, dos.Comment("f")});
     },
     "FALSE 220 text", "FALSE 220 "},
    {"resize-refused-truncates",
     [](Caller& dos) {
       dos.Put("f", "data");
       const FileHandle file = dos.dos().Open("f", MODE_OLDFILE);
       const std::string outcome = dos.Result(dos.dos().ChangeFileSize(file, -1, OFFSET_BEGINNING));
       dos.dos().Close(file);
       return Joined({outcome, dos.Get("f")});
     },
     "FALSE 219 data", "FALSE 219 "},
    {"seek-refused-moves",
     [](Caller& dos) {
       dos.Put("f", "data");
       const FileHandle file = dos.dos().Open("f", MODE_OLDFILE);
       dos.dos().ChangeFilePosition(file, 2, OFFSET_BEGINNING);
       const std::string outcome =
           dos.Result(dos.dos().ChangeFilePosition(file, 5, OFFSET_BEGINNING));
       const std::int64_t position = dos.dos().GetFilePosition(file);
       dos.dos().Close(file);
       return Joined({outcome, std::to_string(position)});
     },
     "FALSE 219 2", "FALSE 219 0"},
    {"write-refused-unprotects",
     [](Caller& dos) {
       dos.Put("f", "data");
       dos.dos().SetProtection("f", EXDF_NO_WRITE);
       return Joined({dos.WriteTo("f", "x", 0), dos.Protection("f")});
     },
     "FALSE 223 4", "FALSE 223 0"},
    {"read-refused-moves",
     [](Caller& dos) {
       dos.Put("f", "data");
       const FileHandle file = dos.dos().Open("f", MODE_OLDFILE);
       dos.dos().SetProtection("f", EXDF_NO_READ);
       const std::string outcome = dos.Read(file, 2, 1);
       const std::int64_t position = dos.dos().GetFilePosition(file);
       dos.dos().Close(file);
       return Joined({outcome, std::to_string(position)});
     },
     "FALSE 224 2", "FALSE 224 0"},
};

}  // namespace

std::span<const HiddenCalls> CallsOfRefusals() {
  return kRefused;
}

}  // namespace quorle::selftest
