#include "hosted/isolation/remote_vectors.h"

#include <array>
#include <type_traits>
#include <utility>

namespace quorle::isolation {
namespace {

using Port = ::FileSystemVectorPort;
using Table = ::FileSystemVectors;

/// A function of the table and what it takes.
template <auto place>
struct Vector {
  CallShape shape;
};

/// Hands all functions of the table to `visit`, in one order.
template <class Visit>
constexpr auto WithVectors(Visit visit) {
  return visit(Vector<&Table::FSLock>{{"FSLock()", "LC#", 'O'}},
               Vector<&Table::FSUnLock>{{"FSUnLock()", "U", '#'}},
               Vector<&Table::FSDupLock>{{"FSDupLock()", "L", 'O'}},
               Vector<&Table::FSCreateDir>{{"FSCreateDir()", "LC", 'L'}},
               Vector<&Table::FSParentDir>{{"FSParentDir()", "L", 'L'}},
               Vector<&Table::FSDupLockFromFH>{{"FSDupLockFromFH()", "F", 'L'}},
               Vector<&Table::FSOpenFromLock>{{"FSOpenFromLock()", "NU", '#'}},
               Vector<&Table::FSParentOfFH>{{"FSParentOfFH()", "F", 'L'}},
               Vector<&Table::FSOpen>{{"FSOpen()", "NLC#", '#'}},
               Vector<&Table::FSClose>{{"FSClose()", "X", '#'}},
               Vector<&Table::FSDelete>{{"FSDelete()", "LC", '#'}},
               Vector<&Table::FSRead>{{"FSRead()", "FR#", '-'}},
               Vector<&Table::FSWrite>{{"FSWrite()", "FW#", '-'}},
               Vector<&Table::FSFlush>{{"FSFlush()", "", '#'}},
               Vector<&Table::FSChangeFilePosition>{{"FSChangeFilePosition()", "F##", '#'}},
               Vector<&Table::FSChangeFileSize>{{"FSChangeFileSize()", "F##", '#'}},
               Vector<&Table::FSGetFilePosition>{{"FSGetFilePosition()", "F", '-'}},
               Vector<&Table::FSGetFileSize>{{"FSGetFileSize()", "F", '-'}},
               Vector<&Table::FSChangeLockMode>{{"FSChangeLockMode()", "L#", '#'}},
               Vector<&Table::FSChangeFileMode>{{"FSChangeFileMode()", "F#", '#'}},
               Vector<&Table::FSSetDate>{{"FSSetDate()", "LCD", '#'}},
               Vector<&Table::FSSetProtection>{{"FSSetProtection()", "LC#", '#'}},
               Vector<&Table::FSSetComment>{{"FSSetComment()", "LCC", '#'}},
               Vector<&Table::FSSetGroup>{{"FSSetGroup()", "LC#", '#'}},
               Vector<&Table::FSSetOwner>{{"FSSetOwner()", "LC#", '#'}},
               Vector<&Table::FSRename>{{"FSRename()", "LCLC", '#'}},
               Vector<&Table::FSCreateSoftLink>{{"FSCreateSoftLink()", "LCC", '#'}},
               Vector<&Table::FSCreateHardLink>{{"FSCreateHardLink()", "LCL", '#'}},
               Vector<&Table::FSReadSoftLink>{{"FSReadSoftLink()", "LCR#", '-'}},
               Vector<&Table::FSSameLock>{{"FSSameLock()", "LL", '#'}},
               Vector<&Table::FSSameFile>{{"FSSameFile()", "FF", '#'}},
               Vector<&Table::FSFileSystemAttr>{{"FSFileSystemAttr()", "G", '#'}},
               Vector<&Table::FSVolumeInfoData>{{"FSVolumeInfoData()", "I", '#'}},
               Vector<&Table::FSDeviceInfoData>{{"FSDeviceInfoData()", "I", '#'}},
               Vector<&Table::FSExamineObj>{{"FSExamineObj()", "LC", 'E'}},
               Vector<&Table::FSExamineLock>{{"FSExamineLock()", "L", 'E'}},
               Vector<&Table::FSExamineFile>{{"FSExamineFile()", "F", 'E'}},
               Vector<&Table::FSExamineDir>{{"FSExamineDir()", "E", '#'}},
               Vector<&Table::FSInhibit>{{"FSInhibit()", "#", '#'}},
               Vector<&Table::FSWriteProtect>{{"FSWriteProtect()", "##", '#'}},
               Vector<&Table::FSFormat>{{"FSFormat()", "C#", '#'}},
               Vector<&Table::FSSerialize>{{"FSSerialize()", "", '#'}},
               Vector<&Table::FSRelabel>{{"FSRelabel()", "C", '#'}},
               Vector<&Table::FSLockRecord>{{"FSLockRecord()", "F####", '#'}},
               Vector<&Table::FSUnLockRecord>{{"FSUnLockRecord()", "F##", '#'}});
}

constexpr std::size_t kCount = WithVectors([](auto... vectors) { return sizeof...(vectors); });

constexpr std::array<CallShape, kCount> kShapes =
    WithVectors([](auto... vectors) { return std::array{vectors.shape...}; });

template <class Value>
std::int64_t ToWord(Value value) {
  if constexpr (std::is_pointer_v<Value>) {
    return reinterpret_cast<std::intptr_t>(value);
  } else {
    return static_cast<std::int64_t>(value);
  }
}

template <class Value>
Value FromWord(std::int64_t word) {
  if constexpr (std::is_pointer_v<Value>) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): words carry addresses
    return reinterpret_cast<Value>(static_cast<std::intptr_t>(word));
  } else {
    return static_cast<Value>(word);
  }
}

// ---- The side of the host: functions that lead elsewhere ---------------------------------------

template <std::size_t index, class Result, class... Args>
Result CallElsewhere(Port* port, std::int32_t* res2, Args... args) {
  const std::array<std::int64_t, sizeof...(Args)> words = {ToWord(args)...};
  const Outcome outcome = static_cast<VectorCalls*>(port->FSV.DOSPrivate)->CallVector(index, words);
  *res2 = outcome.res2;
  return FromWord<Result>(outcome.result);
}

template <std::size_t index, class Result, class... Args>
void LeadElsewhere(Result (*&slot)(Port*, std::int32_t*, Args...)) {
  static_assert(sizeof...(Args) <= kMostArguments);
  slot = CallElsewhere<index, Result, Args...>;
}

template <auto... places, std::size_t... indices>
void FillTable(Table& table, std::index_sequence<indices...>, Vector<places>...) {
  (LeadElsewhere<indices>(table.*places), ...);
}

// ---- The side of the handler: functions that are called ----------------------------------------

template <class Result, class... Args, std::size_t... indices>
std::int64_t Apply(Result (*function)(Port*, std::int32_t*, Args...), Port& port,
                   std::int32_t& res2, [[maybe_unused]] const std::int64_t* words,
                   std::index_sequence<indices...>) {
  return ToWord(function(&port, &res2, FromWord<Args>(words[indices])...));
}

template <class Result, class... Args>
std::int64_t Call(Result (*function)(Port*, std::int32_t*, Args...), Port& port, std::int32_t& res2,
                  const std::int64_t* words) {
  return Apply(function, port, res2, words, std::index_sequence_for<Args...>());
}

/// One function of a table, whatever its type.
struct Access {
  bool (*has)(const Table& table);
  void (*drop)(Table& table);
  std::int64_t (*call)(const Table& table, Port& port, std::int32_t& res2,
                       const std::int64_t* words);
};

template <auto place>
constexpr Access AccessTo(Vector<place>) {
  return {[](const Table& table) { return table.*place != nullptr; },
          [](Table& table) { table.*place = nullptr; },
          [](const Table& table, Port& port, std::int32_t& res2, const std::int64_t* words) {
            return Call(table.*place, port, res2, words);
          }};
}

constexpr std::array<Access, kCount> kAccesses =
    WithVectors([](auto... vectors) { return std::array{AccessTo(vectors)...}; });

}  // namespace

std::size_t VectorCount() {
  return kCount;
}

const CallShape& VectorShape(std::size_t index) {
  return kShapes[index];
}

::FileSystemVectors RemoteTable(VectorCalls& calls) {
  Table table{};
  table.StructSize = sizeof table;
  table.Version = QUORLE_FS_VECTORPORT_VERSION;
  table.DOSPrivate = &calls;
  WithVectors([&table](auto... vectors) {
    FillTable(table, std::make_index_sequence<kCount>(), vectors...);
  });
  table.End_Marker = -1;
  return table;
}

void Divert(::FileSystemVectors& table, VectorCalls& calls) {
  const Table own = table;
  table.DOSPrivate = &calls;
  WithVectors([&table](auto... vectors) {
    FillTable(table, std::make_index_sequence<kCount>(), vectors...);
  });
  for (std::size_t i = 0; i < kCount; ++i) {
    if (!HasVector(own, i)) DropVector(table, i);
  }
}

bool HasVector(const ::FileSystemVectors& table, std::size_t index) {
  return kAccesses[index].has(table);
}

void DropVector(::FileSystemVectors& table, std::size_t index) {
  kAccesses[index].drop(table);
}

Outcome CallVectorOf(const ::FileSystemVectors& table, ::FileSystemVectorPort& port,
                     std::size_t index, const std::int64_t* words) {
  Outcome outcome;
  outcome.result = kAccesses[index].call(table, port, outcome.res2, words);
  return outcome;
}

}  // namespace quorle::isolation
