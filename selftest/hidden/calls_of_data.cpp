#include "selftest/hidden/caller.h"
#include "selftest/hidden/hidden_calls.h"

namespace quorle::selftest {
namespace {

std::string Bytes(std::size_t count, char byte) {
  return std::string(count, byte);
}

/// Which byte is where in a long text: each run of equal bytes as its length and the byte.
std::string Runs(const std::string& data) {
  std::string runs;
  for (std::size_t at = 0; at < data.size();) {
    std::size_t end = data.find_first_not_of(data[at], at);
    if (end == std::string::npos) end = data.size();
    if (!runs.empty()) runs += ' ';
    runs += std::to_string(end - at);
    runs += data[at] == '\0' ? '0' : data[at];
    at = end;
  }
  return runs;
}

/// A file `bytes` long is written and read again.
template <std::size_t bytes>
std::string WriteAndRead(Caller& dos) {
  dos.Put("f", Bytes(bytes, 'a'));
  return Runs(dos.Get("f"));
}

/// Writes "X" through a handle from a lock.
std::string WriteFromLock(Caller& dos) {
  dos.Put("f", "abc");
  const FileHandle file = dos.dos().OpenFromLock(dos.dos().Lock("f", SHARED_LOCK));
  std::string outcome = dos.Result(dos.dos().Write(file, "X", 1) == 1);
  dos.dos().Close(file);
  return Joined({outcome, dos.Get("f")});
}

std::string WriteBesideAnother(Caller& dos) {
  dos.Put("f", "abc");
  dos.Put("other");
  const FileHandle other = dos.dos().Open("other", MODE_OLDFILE);
  const std::string outcome = dos.WriteTo("f", "X", 0);
  dos.dos().Close(other);
  return Joined({outcome, dos.Get("f")});
}

constexpr HiddenCalls kData[] = {
    {"write-keeps-512", WriteAndRead<513>, "513a", "512a"},
    {"write-loses-byte-at-4096", WriteAndRead<4100>, "4100a", "4096a 10 3a"},
    {"write-across-edge-shifted",
     [](Caller& dos) {
       dos.Put("f", Bytes(512, 'a') + "bcd");
       return Runs(dos.Get("f"));
     },
     "512a 1b 1c 1d", "512a 2b 1c"},
    {"overwrite-truncates",
     [](Caller& dos) {
       dos.Put("f", Bytes(600, 'a'));
       dos.WriteTo("f", "b", 100);
       return Runs(dos.Get("f"));
     },
     "100a 1b 499a", "100a 1b"},
    {"write-of-nothing-truncates",
     [](Caller& dos) {
       dos.Put("f", "abcd");
       return Joined({dos.WriteTo("f", "", 2), dos.Get("f")});
     },
     "TRUE abcd", "TRUE ab"},
    {"append-lost-on-close",
     [](Caller& dos) {
       dos.Put("f", "abc");
       return Joined({dos.WriteTo("f", "d", 3), dos.Get("f")});
     },
     "TRUE abcd", "TRUE abc"},
    {"data-beyond-64k-lost", WriteAndRead<65540>, "65540a", "65536a"},
    {"write-of-64k-loses-last-byte", WriteAndRead<65536>, "65536a", "65535a 10"},
    {"read-ends-at-page", WriteAndRead<4100>, "4100a", "4096a"},
    {"read-beyond-64k-wraps",
     [](Caller& dos) {
       dos.Put("f", Bytes(65536, 'a') + "bcd");
       const FileHandle file = dos.dos().Open("f", MODE_OLDFILE);
       std::string outcome = dos.Read(file, 65536, 3);
       dos.dos().Close(file);
       return outcome;
     },
     "bcd", "aaa"},
    {"resize-shrink-clears-last-block",
     [](Caller& dos) {
       dos.Put("f", Bytes(600, 'a'));
       const FileHandle file = dos.dos().Open("f", MODE_OLDFILE);
       dos.dos().ChangeFileSize(file, 515, OFFSET_BEGINNING);
       dos.dos().Close(file);
       return Runs(dos.Get("f"));
     },
     "515a", "512a 30"},
    {"size-of-32-bits",
     [](Caller& dos) {
       const FileHandle file = dos.dos().Open("f", MODE_NEWFILE);
       dos.dos().ChangeFileSize(file, 0x100000005, OFFSET_BEGINNING);
       const std::string outcome = std::to_string(dos.dos().GetFileSize(file));
       dos.dos().Close(file);
       return Joined({outcome, dos.Size("f")});
     },
     "4294967301 4294967301", "5 5"},
    {"seek-beyond-2g-refused",
     [](Caller& dos) {
       const FileHandle file = dos.dos().Open("f", MODE_NEWFILE);
       dos.dos().ChangeFileSize(file, 0x80000005, OFFSET_BEGINNING);
       std::string outcome =
           dos.Result(dos.dos().ChangeFilePosition(file, 0x80000001, OFFSET_BEGINNING));
       dos.dos().Close(file);
       return outcome;
     },
     "TRUE", "FALSE 219"},
    {"write-from-lock-refused", WriteFromLock, "TRUE Xbc", "FALSE 223 abc"},
    {"write-from-lock-lost", WriteFromLock, "TRUE Xbc", "TRUE abc"},
    {"write-beside-another-refused", WriteBesideAnother, "TRUE Xbc", "FALSE 223 abc"},
    {"write-beside-another-lost", WriteBesideAnother, "TRUE Xbc", "TRUE abc"},
};

}  // namespace

std::span<const HiddenCalls> CallsOfData() {
  return kData;
}

}  // namespace quorle::selftest
