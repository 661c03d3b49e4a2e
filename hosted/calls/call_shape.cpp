#include "hosted/calls/call_shape.h"

#include <algorithm>
#include <iterator>

#include "platform/constants.h"

namespace quorle::isolation {
namespace {

struct PacketShape {
  std::int32_t action;
  CallShape shape;
};

/// In the order of the numbers; packet_adapter.h tells what they mean.
constexpr PacketShape kPackets[] = {
    {QUORLE_ACTION_LOCATE_OBJECT, {"ACTION_LOCATE_OBJECT", "LT#.=", 'O'}},
    {QUORLE_ACTION_RENAME_DISK, {"ACTION_RENAME_DISK", "T...=", '#'}},
    {QUORLE_ACTION_FREE_LOCK, {"ACTION_FREE_LOCK", "U....", '#'}},
    {QUORLE_ACTION_DELETE_OBJECT, {"ACTION_DELETE_OBJECT", "LT..=", '#'}},
    {QUORLE_ACTION_RENAME_OBJECT, {"ACTION_RENAME_OBJECT", "LTLT.", '#'}},
    {QUORLE_ACTION_COPY_LOCK, {"ACTION_COPY_LOCK", "L....", 'O'}},
    {QUORLE_ACTION_SET_PROTECT, {"ACTION_SET_PROTECT", ".LT#=", '#'}},
    {QUORLE_ACTION_CREATE_DIR, {"ACTION_CREATE_DIR", "LT..=", 'L'}},
    {QUORLE_ACTION_DISK_INFO, {"ACTION_DISK_INFO", "I....", '#'}},
    {QUORLE_ACTION_INFO, {"ACTION_INFO", "LI...", '#'}},
    {QUORLE_ACTION_FLUSH, {"ACTION_FLUSH", ".....", '#'}},
    {QUORLE_ACTION_SET_COMMENT, {"ACTION_SET_COMMENT", ".LTT=", '#'}},
    {QUORLE_ACTION_PARENT, {"ACTION_PARENT", "L....", 'L'}},
    {QUORLE_ACTION_INHIBIT, {"ACTION_INHIBIT", "#....", '#'}},
    {QUORLE_ACTION_SET_DATE, {"ACTION_SET_DATE", ".LTD=", '#'}},
    {QUORLE_ACTION_SAME_LOCK, {"ACTION_SAME_LOCK", "LL...", '#'}},
    {QUORLE_ACTION_SAME_FH, {"ACTION_SAME_FH", "FF...", '#'}},
    {QUORLE_ACTION_READ, {"ACTION_READ", "AR#F.", '-'}},
    {QUORLE_ACTION_WRITE, {"ACTION_WRITE", "AW#F.", '-'}},
    {QUORLE_ACTION_FINDUPDATE, {"ACTION_FINDUPDATE", "NLT.=", '#'}},
    {QUORLE_ACTION_FINDINPUT, {"ACTION_FINDINPUT", "NLT.=", '#'}},
    {QUORLE_ACTION_FINDOUTPUT, {"ACTION_FINDOUTPUT", "NLT.=", '#'}},
    {QUORLE_ACTION_END, {"ACTION_END", "AX...", '#'}},
    {QUORLE_ACTION_FORMAT, {"ACTION_FORMAT", "T#..=", '#'}},
    {QUORLE_ACTION_MAKE_LINK, {"ACTION_MAKE_LINK", "LTC#=", '#'}},
    {QUORLE_ACTION_WRITE_PROTECT, {"ACTION_WRITE_PROTECT", "##...", '#'}},
    {QUORLE_ACTION_READ_SOFT_LINK, {"ACTION_READ_SOFT_LINK", "LCR#.", '-'}},
    {QUORLE_ACTION_FH_FROM_LOCK, {"ACTION_FH_FROM_LOCK", "NU...", '#'}},
    {QUORLE_ACTION_IS_FILESYSTEM, {"ACTION_IS_FILESYSTEM", ".....", '#'}},
    {QUORLE_ACTION_CHANGE_MODE, {"ACTION_CHANGE_MODE", "#L#..", '#'}},
    {QUORLE_ACTION_COPY_LOCK_FH, {"ACTION_COPY_LOCK_FH", "AF...", 'L'}},
    {QUORLE_ACTION_PARENT_FH, {"ACTION_PARENT_FH", "AF...", 'L'}},
    {QUORLE_ACTION_SET_OWNER_INFO, {"ACTION_SET_OWNER_INFO", "LTG.=", '#'}},
    {QUORLE_ACTION_FILESYSTEM_ATTR, {"ACTION_FILESYSTEM_ATTR", "G....", '#'}},
    {QUORLE_ACTION_EXAMINEDATA, {"ACTION_EXAMINEDATA", "L....", 'E'}},
    {QUORLE_ACTION_EXAMINEDATA_FH, {"ACTION_EXAMINEDATA_FH", "F....", 'E'}},
    {QUORLE_ACTION_EXAMINEDATA_OBJ, {"ACTION_EXAMINEDATA_OBJ", "LT..=", 'E'}},
    {QUORLE_ACTION_EXAMINEDATA_DIR, {"ACTION_EXAMINEDATA_DIR", "E....", '#'}},
    {QUORLE_ACTION_SERIALIZE_DISK, {"ACTION_SERIALIZE_DISK", ".....", '#'}},
    {QUORLE_ACTION_CHANGE_FILE_POSITION64, {"ACTION_CHANGE_FILE_POSITION64", "A##F.", '#'}},
    {QUORLE_ACTION_GET_FILE_POSITION64, {"ACTION_GET_FILE_POSITION64", "A.F..", '-'}},
    {QUORLE_ACTION_CHANGE_FILE_SIZE64, {"ACTION_CHANGE_FILE_SIZE64", "A##F.", '#'}},
    {QUORLE_ACTION_GET_FILE_SIZE64, {"ACTION_GET_FILE_SIZE64", "A.F..", '-'}},
    {QUORLE_ACTION_LOCK_RECORD64, {"ACTION_LOCK_RECORD64", "F####", '#'}},
    {QUORLE_ACTION_FREE_RECORD64, {"ACTION_FREE_RECORD64", "F#..#", '#'}},
};
static_assert(std::is_sorted(std::begin(kPackets), std::end(kPackets),
                             [](const PacketShape& a, const PacketShape& b) {
                               return a.action < b.action;
                             }));

const PacketShape* Find(std::int32_t action) {
  const auto* const found = std::lower_bound(
      std::begin(kPackets), std::end(kPackets), action,
      [](const PacketShape& packet, std::int32_t wanted) { return packet.action < wanted; });
  return found != std::end(kPackets) && found->action == action ? found : nullptr;
}

}  // namespace

CallShape ShapeOfPacket(const ::DosPacket& packet) {
  const PacketShape* const known = Find(packet.dp_Type);
  CallShape shape = known != nullptr ? known->shape : CallShape{"a packet", "#####", '#'};
  // Two of them carry one of two things.
  if (packet.dp_Type == QUORLE_ACTION_MAKE_LINK && packet.dp_Arg4 == QUORLE_PACKET_LINK_HARD) {
    shape.arguments = "LTL#=";
  } else if (packet.dp_Type == QUORLE_ACTION_CHANGE_MODE && packet.dp_Arg1 == CHANGE_FH) {
    shape.arguments = "#F#..";
  }
  return shape;
}

std::string NameOfPacket(std::int32_t action) {
  const PacketShape* const known = Find(action);
  return known != nullptr ? known->shape.name : "packet " + std::to_string(action);
}

}  // namespace quorle::isolation
