#pragma once

#include <array>
#include <cstdint>

#include "calls/call_shape.h"
#include "quorle/handler.h"

/// Packets that no function stands for: what dos sends to handlers which answer the newer ones with
/// 0 and 209.
///
///     23 EXAMINE_OBJECT   lock, FileInfoBlock                       truth
///     24 EXAMINE_NEXT     lock, FileInfoBlock                       truth, 232 at the end
///   1008 SEEK             fh_Arg1, offset, mode, handle             the old position, -1
///   1022 SET_FILE_SIZE    fh_Arg1, size, mode, handle               the new size, -1
///   1034 EXAMINE_FH       fh_Arg1, FileInfoBlock, handle            truth
///   1036 SET_OWNER        0, lock, name, uid << 16 | gid            truth
///   2008 LOCK_RECORD      fh_Arg1, offset, length, mode, ticks, handle
///                                                                   truth
///   2009 FREE_RECORD      fh_Arg1, offset, length, handle           truth
///
/// The handles are choices of ours: handlers that know nothing of them do not look there.
namespace quorle::calls {

/// A packet and the shape of its arguments, dp_Arg1 to dp_Arg6.
struct ClassicPacket {
  std::int32_t action;
  CallShape shape;
};

inline constexpr std::array kClassicPackets = {
    ClassicPacket{QUORLE_ACTION_EXAMINE_OBJECT, {"ACTION_EXAMINE_OBJECT", "LB...", '#'}},
    ClassicPacket{QUORLE_ACTION_EXAMINE_NEXT, {"ACTION_EXAMINE_NEXT", "LB...", '#'}},
    ClassicPacket{QUORLE_ACTION_SEEK, {"ACTION_SEEK", "A##F.", '-'}},
    ClassicPacket{QUORLE_ACTION_SET_FILE_SIZE, {"ACTION_SET_FILE_SIZE", "A##F.", '-'}},
    ClassicPacket{QUORLE_ACTION_EXAMINE_FH, {"ACTION_EXAMINE_FH", "ABF..", '#'}},
    ClassicPacket{QUORLE_ACTION_SET_OWNER, {"ACTION_SET_OWNER", ".LT#=", '#'}},
    ClassicPacket{QUORLE_ACTION_LOCK_RECORD, {"ACTION_LOCK_RECORD", "A####F", '#'}},
    ClassicPacket{QUORLE_ACTION_FREE_RECORD, {"ACTION_FREE_RECORD", "A##F.", '#'}},
};

/// Whether the packet `action` is newer than classic handlers: they answer it with 0 and 209.
constexpr bool IsNewerPacket(std::int32_t action) {
  switch (action) {
    case QUORLE_ACTION_SAME_FH:
    case QUORLE_ACTION_SET_OWNER_INFO:
    case QUORLE_ACTION_FILESYSTEM_ATTR:
    case QUORLE_ACTION_EXAMINEDATA:
    case QUORLE_ACTION_EXAMINEDATA_FH:
    case QUORLE_ACTION_EXAMINEDATA_OBJ:
    case QUORLE_ACTION_EXAMINEDATA_DIR:
    case QUORLE_ACTION_CHANGE_FILE_POSITION64:
    case QUORLE_ACTION_GET_FILE_POSITION64:
    case QUORLE_ACTION_CHANGE_FILE_SIZE64:
    case QUORLE_ACTION_GET_FILE_SIZE64:
    case QUORLE_ACTION_LOCK_RECORD64:
    case QUORLE_ACTION_FREE_RECORD64:
      return true;
    default:
      return false;
  }
}

}  // namespace quorle::calls
