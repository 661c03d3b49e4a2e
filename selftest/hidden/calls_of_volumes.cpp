#include "selftest/hidden/caller.h"
#include "selftest/hidden/hidden_calls.h"

namespace quorle::selftest {
namespace {

constexpr DateStamp kSomeMoment{1000, 1030, 5};

/// The day of the date of "f", which is written; the clock says 16000.
std::string DayOfWritten(Caller& dos) {
  dos.Put("f", "data");
  const std::string date = dos.Date("f");
  return date.substr(0, date.find(' '));
}

/// How many blocks or users more there are after `change`.
template <class Change>
std::string MoreBlocks(Caller& dos, const Change& change) {
  const std::int64_t before = dos.Blocks();
  change();
  return std::to_string(dos.Blocks() - before);
}
template <class Change>
std::string MoreUsers(Caller& dos, const Change& change) {
  const std::int64_t before = dos.Users();
  change();
  return std::to_string(dos.Users() - before);
}

constexpr HiddenCalls kOfVolumes[] = {
    {"written-file-of-1978", DayOfWritten, "16000", "0"},
    {"written-file-ten-years-ahead", DayOfWritten, "16000", "19653"},
    {"new-directory-day-early",
     [](Caller& dos) {
       dos.MakeDirectory("d");
       const std::string date = dos.Date("d");
       return date.substr(0, date.find(' '));
     },
     "16000", "15999"},
    {"set-date-evening-wraps",
     [](Caller& dos) {
       dos.Put("f");
       dos.dos().SetDate("f", kSomeMoment);
       return dos.Date("f");
     },
     "1000 1030 5", "1000 6 5"},
    {"set-comment-dates",
     [](Caller& dos) {
       dos.Put("f");
       dos.dos().SetDate("f", kSomeMoment);
       dos.dos().SetComment("f", "text");
       return dos.Date("f");
     },
     "1000 1030 5", "0 0 0"},
    {"set-protection-dates",
     [](Caller& dos) {
       dos.Put("f");
       dos.dos().SetDate("f", kSomeMoment);
       dos.dos().SetProtection("f", EXDF_NO_EXECUTE);
       return dos.Date("f");
     },
     "1000 1030 5", "0 0 0"},
    {"delete-of-link-keeps-date",
     [](Caller& dos) {
       dos.MakeDirectory("d");
       dos.dos().MakeLink("d/link", "target", LINK_SOFT);
       dos.dos().SetDate("d", kSomeMoment);
       dos.dos().Delete("d/link");
       return std::string(dos.Date("d") == "1000 1030 5" ? "old date" : "new date");
     },
     "new date", "old date"},
    {"delete-of-empty-file-loses-block",
     [](Caller& dos) {
       return MoreBlocks(dos, [&] {
         dos.Put("f");
         dos.dos().Delete("f");
       });
     },
     "0", "1"},
    {"delete-of-directory-loses-block",
     [](Caller& dos) {
       return MoreBlocks(dos, [&] {
         dos.MakeDirectory("d");
         dos.dos().Delete("d");
       });
     },
     "0", "1"},
    {"resize-loses-block",
     [](Caller& dos) {
       return MoreBlocks(dos, [&] {
         dos.Put("f", "data");
         const FileHandle file = dos.dos().Open("f", MODE_OLDFILE);
         dos.dos().ChangeFileSize(file, 1, OFFSET_BEGINNING);
         dos.dos().Close(file);
         dos.dos().Delete("f");
       });
     },
     "0", "1"},
    {"refused-open-counts-user",
     [](Caller& dos) {
       return MoreUsers(dos, [&] { dos.dos().Close(dos.dos().Open("f", MODE_OLDFILE)); });
     },
     "0", "1"},
    {"refused-lock-counts-user",
     [](Caller& dos) {
       return MoreUsers(dos, [&] { dos.dos().UnLock(dos.dos().Lock("f", SHARED_LOCK)); });
     },
     "0", "1"},
    {"parent-of-root-counts-user",
     [](Caller& dos) {
       return MoreUsers(dos, [&] {
         const LockHandle root = dos.dos().Lock("", SHARED_LOCK);
         dos.dos().UnLock(dos.dos().ParentDir(root));
         dos.dos().UnLock(root);
       });
     },
     "0", "1"},
    {"remount-loses-comments",
     [](Caller& dos) {
       dos.Put("f");
       dos.dos().SetComment("f", "text");
       dos.Remount();
       return dos.Comment("f");
     },
     "text", ""},
    {"remount-loses-empty-directories",
     [](Caller& dos) {
       dos.MakeDirectory("d");
       dos.Remount();
       return dos.Lock("d");
     },
     "TRUE", "FALSE 205"},
    {"remount-cuts-files",
     [](Caller& dos) {
       dos.Put("f", std::string(600, 'a'));
       dos.Remount();
       return dos.Size("f");
     },
     "600", "512"},
    {"remount-dates-day-late",
     [](Caller& dos) {
       dos.Put("f");
       dos.dos().SetDate("f", kSomeMoment);
       dos.Remount();
       return dos.Date("f");
     },
     "1000 1030 5", "1001 1030 5"},
    {"remount-refused",
     [](Caller& dos) {
       dos.MakeDirectory("d");
       return dos.Remount();
     },
     "", "the deviation remount-refused refuses the volume"},
};

}  // namespace

std::span<const HiddenCalls> CallsOfVolumes() {
  return kOfVolumes;
}

}  // namespace quorle::selftest
