#include "selftest/hidden/caller.h"
#include "selftest/hidden/hidden_calls.h"

namespace quorle::selftest {
namespace {

/// A file "f" of four bytes with a second name "g".
void MakePair(Caller& dos) {
  dos.Put("f", "data");
  dos.HardLink("g", "f");
}

std::string Relation(std::int32_t relation) {
  return relation == LOCK_SAME ? "same" : "different";
}

/// How locks on `a` and `b` relate.
std::string SameLock(Caller& dos, const char* a, const char* b, std::int32_t mode = SHARED_LOCK) {
  const LockHandle first = dos.dos().Lock(a, mode);
  const LockHandle second = mode == SHARED_LOCK ? dos.dos().Lock(b, mode) : first;
  std::string relation = Relation(dos.dos().SameLock(first, second));
  dos.dos().UnLock(first);
  if (second != first) dos.dos().UnLock(second);
  return relation;
}

constexpr HiddenCalls kLinked[] = {
    {"size-of-second-handle-old",
     [](Caller& dos) {
       dos.Put("f", "data");
       const FileHandle reader = dos.dos().Open("f", MODE_OLDFILE);
       dos.WriteTo("f", "more", 4);
       const std::int64_t size = dos.dos().GetFileSize(reader);
       dos.dos().Close(reader);
       return std::to_string(size);
     },
     "8", "4"},
    {"data-of-second-handle-old",
     [](Caller& dos) {
       dos.Put("f", "data");
       const FileHandle reader = dos.dos().Open("f", MODE_OLDFILE);
       dos.Read(reader, 0, 4);
       dos.WriteTo("f", "XY", 0);
       std::string data = dos.Read(reader, 0, 4);
       dos.dos().Close(reader);
       return data;
     },
     "XYta", "data"},
    {"size-through-link-old",
     [](Caller& dos) {
       MakePair(dos);
       dos.WriteTo("f", "more", 4);
       return Joined({dos.Size("f"), dos.Size("g")});
     },
     "8 8", "8 4"},
    {"comment-of-link-apart",
     [](Caller& dos) {
       MakePair(dos);
       dos.dos().SetComment("f", "text");
       return Joined({dos.Comment("f"), dos.Comment("g")});
     },
     "text text", "text "},
    {"protection-of-link-apart",
     [](Caller& dos) {
       MakePair(dos);
       dos.dos().SetProtection("f", EXDF_NO_EXECUTE);
       return Joined({dos.Protection("f"), dos.Protection("g")});
     },
     "2 2", "2 0"},
    {"delete-of-link-empties-file",
     [](Caller& dos) {
       MakePair(dos);
       dos.dos().Delete("f");
       return dos.Get("g");
     },
     "data", ""},
    {"delete-of-link-takes-others",
     [](Caller& dos) {
       MakePair(dos);
       dos.HardLink("h", "f");
       dos.dos().Delete("f");
       return Joined({dos.Lock("g"), dos.Lock("h")});
     },
     "TRUE TRUE", "FALSE 205 FALSE 205"},
    {"link-count-stays",
     [](Caller& dos) {
       MakePair(dos);
       const std::string before = dos.Links("f");
       dos.dos().Delete("g");
       return Joined({before, dos.Links("f")});
     },
     "2 1", "2 2"},
    {"rename-of-link-undoes-it",
     [](Caller& dos) {
       MakePair(dos);
       dos.Rename("g", "h");
       return Joined({dos.Get("h"), dos.Links("f")});
     },
     "data 2", " 1"},
    {"soft-link-cut-at-60",
     [](Caller& dos) {
       dos.dos().MakeLink("f", std::string(61, 't').c_str(), LINK_SOFT);
       char buffer[256] = {};
       const DevProc* const devproc = dos.dos().GetDeviceProc("DH0:", nullptr);
       const std::int32_t length =
           dos.dos().ReadSoftLink(devproc->dvp_Port, {}, "f", buffer, sizeof buffer);
       dos.dos().FreeDeviceProc(devproc);
       return std::to_string(length);
     },
     "61", "60"},
    {"same-lock-through-link-differs",
     [](Caller& dos) {
       MakePair(dos);
       return SameLock(dos, "f", "g");
     },
     "same", "different"},
    {"same-lock-by-name",
     [](Caller& dos) {
       dos.MakeDirectory("d");
       dos.Put("f");
       dos.Put("d/f");
       return SameLock(dos, "f", "d/f");
     },
     "different", "same"},
    {"same-lock-of-exclusive-differs",
     [](Caller& dos) {
       dos.Put("f");
       return SameLock(dos, "f", "f", EXCLUSIVE_LOCK);
     },
     "same", "different"},
    {"same-file-through-link-differs",
     [](Caller& dos) {
       MakePair(dos);
       const FileHandle a = dos.dos().Open("f", MODE_OLDFILE);
       const FileHandle b = dos.dos().Open("g", MODE_OLDFILE);
       std::string relation = Relation(dos.further().SameFile(a, b));
       dos.dos().Close(a);
       dos.dos().Close(b);
       return relation;
     },
     "same", "different"},
    {"null-lock-of-comment-refused",
     [](Caller& dos) {
       dos.Put("f");
       return dos.Result(dos.dos().SetComment("DH0:f", "text"));
     },
     "TRUE", "FALSE 211"},
    {"null-lock-of-rename-refused",
     [](Caller& dos) {
       dos.MakeDirectory("d");
       dos.Put("d/f");
       return dos.Rename("DH0:d/f", "DH0:f");
     },
     "TRUE", "FALSE 211"},
};

}  // namespace

std::span<const HiddenCalls> CallsOfLinks() {
  return kLinked;
}

}  // namespace quorle::selftest
