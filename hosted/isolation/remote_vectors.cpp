#include "hosted/isolation/remote_vectors.h"

#include <array>
#include <tuple>
#include <utility>

#include "calls/vector_table.h"

namespace quorle::isolation {
namespace {

using Port = ::FileSystemVectorPort;
using Table = ::FileSystemVectors;

using calls::kVectors;

constexpr std::size_t kCount = calls::kVectorCount;

template <auto place>
constexpr calls::CallShape ShapeOf(const calls::Vector<place>&) {
  return calls::kVectorShape<place>;
}

constexpr std::array<calls::CallShape, kCount> kShapes =
    std::apply([](const auto&... vectors) { return std::array{ShapeOf(vectors)...}; }, kVectors);

// ---- The side of the host: functions that lead elsewhere ---------------------------------------

template <std::size_t index, class Result, class... Args>
Result CallRemote(Port* port, std::int32_t* res2, Args... args) {
  const std::array<std::int64_t, sizeof...(Args)> words = {calls::ToWord(args)...};
  const calls::Outcome outcome =
      static_cast<VectorCalls*>(port->FSV.DOSPrivate)->CallVector(index, words);
  *res2 = outcome.res2;
  return calls::FromWord<Result>(outcome.result);
}

template <std::size_t index, class Result, class... Args>
void SetRemote(Result (*&slot)(Port*, std::int32_t*, Args...)) {
  static_assert(sizeof...(Args) <= calls::kMostArguments);
  slot = CallRemote<index, Result, Args...>;
}

template <std::size_t... indices>
void SetAllRemote(Table& table, std::index_sequence<indices...>) {
  (SetRemote<indices>(table.*std::get<indices>(kVectors).kFunction), ...);
}

// ---- The side of the handler: functions that are called ----------------------------------------

template <class Result, class... Args, std::size_t... indices>
std::int64_t Apply(Result (*function)(Port*, std::int32_t*, Args...), Port& port,
                   std::int32_t& res2, [[maybe_unused]] const std::int64_t* words,
                   std::index_sequence<indices...>) {
  return calls::ToWord(function(&port, &res2, calls::FromWord<Args>(words[indices])...));
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
constexpr Access AccessTo(const calls::Vector<place>&) {
  return {[](const Table& table) { return table.*place != nullptr; },
          [](Table& table) { table.*place = nullptr; },
          [](const Table& table, Port& port, std::int32_t& res2, const std::int64_t* words) {
            return Call(table.*place, port, res2, words);
          }};
}

constexpr std::array<Access, kCount> kAccesses =
    std::apply([](const auto&... vectors) { return std::array{AccessTo(vectors)...}; }, kVectors);

}  // namespace

std::size_t VectorCount() {
  return kCount;
}

const calls::CallShape& VectorShape(std::size_t index) {
  return kShapes[index];
}

::FileSystemVectors RemoteTable(VectorCalls& calls) {
  Table table{};
  table.StructSize = sizeof table;
  table.Version = QUORLE_FS_VECTORPORT_VERSION;
  table.DOSPrivate = &calls;
  SetAllRemote(table, std::make_index_sequence<kCount>());
  table.End_Marker = -1;
  return table;
}

void Divert(::FileSystemVectors& table, VectorCalls& calls) {
  const Table own = table;
  table.DOSPrivate = &calls;
  SetAllRemote(table, std::make_index_sequence<kCount>());
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

calls::Outcome CallVectorOf(const ::FileSystemVectors& table, ::FileSystemVectorPort& port,
                            std::size_t index, const std::int64_t* words) {
  calls::Outcome outcome;
  outcome.result = kAccesses[index].call(table, port, outcome.res2, words);
  return outcome;
}

}  // namespace quorle::isolation
