#include "handlers/deviate/further_notices.h"

#include <algorithm>
#include <iterator>

namespace quorle::deviate {
namespace {

struct FurtherNotice {
  std::string_view deviation;
  std::string_view checks;  ///< in the order of the catalogue
};

// In the order of the deviations' names.
constexpr FurtherNotice kNotices[] = {
    {"change-mode-refused-dates", "Refusals.RefusedLock"},
    {"comment-refused-clears", "Refusals.RefusedAttributes"},
    {"create-dir-of-no-name-granted", "Arguments.NothingIsRefused"},
    {"create-dir-refused-dates", "Refusals.RefusedCreate"},
    {"delete-refused-clears-comment", "Refusals.RefusedDelete"},
    {"delete-refused-removes-entry", "Refusals.RefusedDelete"},
    {"hard-link-across-volumes", "Arguments.LockOfAnotherVolume"},
    {"make-link-refused-leaves-name", "Refusals.RefusedCreate"},
    {"make-soft-link-refused-leaves-name", "Refusals.RefusedCreate"},
    {"move-empties-file", "AddNotify.DirectoryIsWatched"},
    {"move-keeps-source-date", "AddNotify.DirectoryIsWatched"},
    {"move-leaves-old-name", "Arguments.NoLockIsTheRoot"},
    {"notify-initial-missing", "AddNotify.InitialMessage"},
    {"notify-keeps-object", "RemoveNotify.ObjectIsFree"},
    {"notify-never-sent",
     "AddNotify.FileIsWatched AddNotify.DirectoryIsWatched AddNotify.MissingObjectIsWatched AddNotify.EachRequestIsNotified AddNotify.NextWaitsForReply AddNotify.InitialMessage AddNotify.SignalIsSet RemoveNotify.NothingAfterTheEnd RemoveNotify.OtherRequestsStay"},
    {"notify-of-directory-lost", "AddNotify.DirectoryIsWatched"},
    {"notify-of-ended-goes-on",
     "AddNotify.EachRequestIsNotified AddNotify.InitialMessage RemoveNotify.NothingAfterTheEnd RemoveNotify.OtherRequestsStay"},
    {"notify-of-missing-lost", "AddNotify.MissingObjectIsWatched"},
    {"notify-of-second-lost", "AddNotify.EachRequestIsNotified RemoveNotify.OtherRequestsStay"},
    {"notify-twice",
     "AddNotify.FileIsWatched AddNotify.DirectoryIsWatched AddNotify.EachRequestIsNotified AddNotify.InitialMessage RemoveNotify.NothingAfterTheEnd RemoveNotify.OtherRequestsStay"},
    {"notify-unknown", "AddNotify.FileIsWatched"},
    {"null-lock-of-comment-refused", "Arguments.NoLockIsTheRoot"},
    {"null-lock-of-rename-refused", "Arguments.NoLockIsTheRoot"},
    {"open-in-use-refused-dates", "Refusals.RefusedOpen"},
    {"open-new-refused-empties", "Refusals.RefusedOpen"},
    {"open-old-refused-makes-file", "Refusals.RefusedOpen"},
    {"read-refused-moves", "Refusals.RefusedData"},
    {"refused-lock-counts-user",
     "Refusals.RefusedRename Refusals.RefusedOpen Refusals.RefusedCreate Refusals.RefusedLock"},
    {"refused-open-counts-user", "Refusals.RefusedOpen Refusals.ProtectedVolume"},
    {"remove-notify-takes-others", "RemoveNotify.OtherRequestsStay"},
    {"rename-dates-object", "AddNotify.FileIsWatched"},
    {"rename-lifts-protection", "AddNotify.FileIsWatched"},
    {"rename-loses-comment", "AddNotify.FileIsWatched"},
    {"rename-refused-empties-other", "Refusals.RefusedRename"},
    {"rename-refused-loses-source", "Refusals.RefusedRename"},
    {"resize-refused-truncates", "Refusals.RefusedData"},
    {"same-file-after-rename-differs", "SameFile.AfterRename"},
    {"same-file-by-size", "SameFile.DifferentFiles SameFile.AfterRename"},
    {"same-file-of-other-case-differs", "SameFile.OtherCase"},
    {"same-file-of-two-handles-differs",
     "SameFile.OneFile SameFile.OtherCase SameFile.HardLink SameFile.AfterRename"},
    {"same-file-through-link-differs", "SameFile.HardLink"},
    {"same-lock-after-rename-differs", "SameLock.AfterRename"},
    {"same-lock-by-name", "SameLock.DifferentObjects"},
    {"same-lock-of-exclusive-differs", "SameLock.OneObject"},
    {"same-lock-of-other-case-differs", "SameLock.OtherCase"},
    {"same-lock-through-link-differs", "SameLock.HardLink"},
    {"scan-loses-last",
     "Refusals.RefusedRename Refusals.RefusedDelete Refusals.RefusedOpen Refusals.RefusedCreate Refusals.RefusedAttributes Refusals.RefusedData Refusals.RefusedLock Refusals.ProtectedVolume"},
    {"scan-repeats-first",
     "Refusals.RefusedRename Refusals.RefusedDelete Refusals.RefusedOpen Refusals.RefusedCreate Refusals.RefusedAttributes Refusals.RefusedData Refusals.RefusedLock Refusals.ProtectedVolume"},
    {"scan-stops-after-104", "ExamineDir.ThousandsOfEntries"},
    {"seek-refused-moves", "Refusals.RefusedData"},
    {"write-refused-unprotects", "Refusals.RefusedData"},
    {"written-file-of-1978",
     "AddNotify.FileIsWatched AddNotify.EachRequestIsNotified AddNotify.InitialMessage RemoveNotify.NothingAfterTheEnd RemoveNotify.OtherRequestsStay"},
    {"written-file-ten-years-ahead",
     "AddNotify.FileIsWatched AddNotify.EachRequestIsNotified AddNotify.InitialMessage RemoveNotify.NothingAfterTheEnd RemoveNotify.OtherRequestsStay"},
};

}  // namespace

std::string_view FurtherNotices(std::string_view name) {
  const auto* const found =
      std::find_if(std::begin(kNotices), std::end(kNotices),
                   [name](const FurtherNotice& notice) { return notice.deviation == name; });
  return found == std::end(kNotices) ? std::string_view() : found->checks;
}

}  // namespace quorle::deviate
