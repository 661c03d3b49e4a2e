#include "calls/call_shape.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "calls/classic_packets.h"
#include "calls/vector_table.h"
#include "calls/words.h"

namespace quorle::calls {
namespace {

struct PacketShape {
  std::int32_t action = 0;
  std::size_t order = 0;  ///< among those of one action: the first is meant unless another fits
  CallShape shape{};
  std::size_t fixed_at = std::string_view::npos;  ///< the argument that says which is meant
  std::int64_t fixed = 0;
};

/// What has no row of its own: the three of FSOpen(), and a question that dos asks of packet ports.
constexpr std::array kOthers = {
    PacketShape{QUORLE_ACTION_FINDUPDATE,
                0,
                {"ACTION_FINDUPDATE", kPacketLetters<&::FileSystemVectors::FSOpen>.data(), '#'}},
    PacketShape{QUORLE_ACTION_FINDINPUT,
                0,
                {"ACTION_FINDINPUT", kPacketLetters<&::FileSystemVectors::FSOpen>.data(), '#'}},
    PacketShape{QUORLE_ACTION_FINDOUTPUT,
                0,
                {"ACTION_FINDOUTPUT", kPacketLetters<&::FileSystemVectors::FSOpen>.data(), '#'}},
    PacketShape{QUORLE_ACTION_IS_FILESYSTEM, 0, {"ACTION_IS_FILESYSTEM", ".....", '#'}},
};

constexpr bool IsListed(const VectorForm& vector) {
  return vector.packet.action != kActionIsMode;
}

constexpr std::size_t kListed =
    WithVectors([](const auto&... vectors) { return (std::size_t{IsListed(vectors)} + ...); });

/// In the order of the numbers.
constexpr std::array<PacketShape, kListed + kOthers.size() + kClassicPackets.size()> kPackets = [] {
  std::array<PacketShape, kListed + kOthers.size() + kClassicPackets.size()> packets{};
  std::size_t count = 0;
  for (const PacketShape& other : kOthers) packets[count++] = other;
  for (const ClassicPacket& classic : kClassicPackets) {
    packets[count++] = {classic.action, 0, classic.shape};
  }
  ForEachVector([&]<auto function>(const Vector<function>& vector) {
    if (!IsListed(vector)) return;
    packets[count] = {vector.packet.action, count, kPacketShape<function>,
                      vector.packet.layout.find('K'), vector.packet.fixed};
    ++count;
  });
  std::sort(packets.begin(), packets.end(), [](const PacketShape& a, const PacketShape& b) {
    return a.action != b.action ? a.action < b.action : a.order < b.order;
  });
  return packets;
}();

const PacketShape* Find(std::int32_t action) {
  const auto* const found = std::lower_bound(
      kPackets.begin(), kPackets.end(), action,
      [](const PacketShape& packet, std::int32_t wanted) { return packet.action < wanted; });
  return found != kPackets.end() && found->action == action ? found : nullptr;
}

}  // namespace

CallShape ShapeOfPacket(const ::DosPacket& packet) {
  const PacketShape* const known = Find(packet.dp_Type);
  if (known == nullptr) return {"a packet", "#####", '#'};
  if (known->fixed_at == std::string_view::npos) return known->shape;
  const PacketWords words = WordsOf(packet);
  for (const auto* each = known; each != kPackets.end() && each->action == known->action; ++each) {
    if (words[each->fixed_at] == each->fixed) return each->shape;
  }
  return known->shape;
}

std::string NameOfPacket(std::int32_t action) {
  const PacketShape* const known = Find(action);
  return known != nullptr ? known->shape.name : "packet " + std::to_string(action);
}

}  // namespace quorle::calls
