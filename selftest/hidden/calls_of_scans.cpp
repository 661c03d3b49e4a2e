#include "selftest/hidden/caller.h"
#include "selftest/hidden/hidden_calls.h"

namespace quorle::selftest {
namespace {

std::string FirstOf(Caller& dos, DirContextHandle scan) {
  const ExamineData* const entry = dos.further().ExamineDir(scan);
  return entry == nullptr ? dos.Result(false) : entry->Name;
}

/// A scan of a directory of four files, of which the first is deleted when it was given.
std::string ScanAndDelete(Caller& dos) {
  for (const char* const name : {"a", "b", "c", "d"}) dos.Put(name);
  const DirContextHandle scan = dos.further().ObtainDirContext(EX_StringNameInput, "");
  std::string names = FirstOf(dos, scan);
  dos.dos().Delete("a");
  while (const ExamineData* const entry = dos.further().ExamineDir(scan)) names += entry->Name;
  dos.further().ReleaseDirContext(scan);
  return names;
}

/// A scan of a directory of two files, with another between them.
std::string ScanWithinScan(Caller& dos) {
  dos.Put("a");
  dos.Put("b");
  const DirContextHandle scan = dos.further().ObtainDirContext(EX_StringNameInput, "");
  std::string names = FirstOf(dos, scan);
  names += " (" + dos.Scan("") + ")";
  while (const ExamineData* const entry = dos.further().ExamineDir(scan)) {
    names += std::string(" ") + entry->Name;
  }
  dos.further().ReleaseDirContext(scan);
  return names;
}

/// Messages for a change of "f", which `prepare` makes or does not: of two programs.
std::string NotifiedOf(Caller& dos) {
  const NotifyHandle first = dos.further().StartNotify("f", NRF_SEND_MESSAGE);
  const NotifyHandle second = dos.further().StartNotify("f", NRF_SEND_MESSAGE);
  dos.dos().Delete("f");
  dos.Put("f", "data");
  std::string notified;
  for (const NotifyHandle request : {first, second}) {
    const MessageHandle message = dos.further().GetNotifyMsg(request);
    notified += message ? 'x' : '-';
    dos.further().ReplyNotifyMsg(message);
    dos.further().EndNotify(request);
  }
  return notified;
}

constexpr HiddenCalls kScanned[] = {
    {"scan-stops-after-104",
     [](Caller& dos) {
       for (int i = 100; i < 205; ++i) dos.Put(std::to_string(i).c_str());
       const std::string names = dos.Scan("");
       return std::to_string(names.size() / 4 + 1);  // of three digits and a blank
     },
     "105", "104"},
    {"scan-loses-last",
     [](Caller& dos) {
       dos.Put("a");
       dos.Put("b");
       return dos.Scan("");
     },
     "a b", "a"},
    {"scan-repeats-first",
     [](Caller& dos) {
       dos.Put("a");
       dos.Put("b");
       return dos.Scan("");
     },
     "a b", "a a b"},
    {"scan-ends-when-disturbed", ScanAndDelete, "abcd", "a"},
    {"scan-skips-when-disturbed", ScanAndDelete, "abcd", "acd"},
    {"scan-restarts-when-disturbed", ScanWithinScan, "a (a b) b", "a (a b) a b"},
    {"scan-hides-empty-files",
     [](Caller& dos) {
       dos.Put("a", "data");
       dos.Put("b");
       dos.Put("c", "data");
       return dos.Scan("");
     },
     "a b c", "a c"},
    {"scan-shows-no-comment",
     [](Caller& dos) {
       dos.Put("f");
       dos.dos().SetComment("f", "text");
       const DirContextHandle scan = dos.further().ObtainDirContext(EX_StringNameInput, "");
       std::string comment = dos.further().ExamineDir(scan)->Comment;
       dos.further().ReleaseDirContext(scan);
       return Joined({comment, dos.Comment("f")});
     },
     "text text", " text"},
    {"scan-shows-links-as-objects",
     [](Caller& dos) {
       dos.dos().MakeLink("f", "target", LINK_SOFT);
       const DirContextHandle scan = dos.further().ObtainDirContext(EX_StringNameInput, "");
       const std::uint32_t type = dos.further().ExamineDir(scan)->Type & FSO_TYPE_MASK;
       dos.further().ReleaseDirContext(scan);
       return std::to_string(type);
     },
     "0", "1"},
    {"scan-of-file-granted",
     [](Caller& dos) {
       dos.Put("f");
       return dos.Scan("f");
     },
     "FALSE 212", ""},
    {"scan-leaks-memory",
     [](Caller& dos) {
       dos.Put("f");
       dos.Scan("");
       return dos.ShutDown();
     },
     "", "DH0: never freed: a piece of memory (1), made in FSExamineDir() (1)\n"},
    {"notify-of-missing-lost", NotifiedOf, "xx", "--"},
    {"notify-of-second-lost",
     [](Caller& dos) {
       dos.Put("f");
       return NotifiedOf(dos);
     },
     "xx", "x-"},
};

}  // namespace

std::span<const HiddenCalls> CallsOfScans() {
  return kScanned;
}

}  // namespace quorle::selftest
