#pragma once

#include "quorle/handler.h"

namespace quorle {

/// A handler without files: it grants locks, every scan gives entries without a name and without an end, and reports and notifies as its mount keys say.
///
///   packets=1   it has a function for packets alone: 4097, 4098, LOCATE_OBJECT, FREE_LOCK and FLUSH
///   times=N     FSFlush() notifies of every request N times, in the order in which they came; 1 unless
///               given
///   locks=1     it reports "free lock" when it frees one
///   late=1      FSFlush() notifies of the request that was removed last as well
///   refuse-after=FILE
///               FSAddNotify() refuses everything with 205 when FILE is there, which the mount makes
///
/// FSAddNotify() reports "add NAME FULLNAME FLAGS USERDATA", notifies at once when NRF_NOTIFY_INITIAL is
/// set, and refuses a request whose nr_Handler is not its own port or whose nr_Reserved is not 0 with
/// 115. FSRemoveNotify() reports "remove FULLNAME", notifies of it once more, and fails. FSDupLock()
/// fails with 211 when the lock's fl_Port is not the handler's port. FSSerialize() ends the process.
const ::Handler& NotifyingHandler();

}  // namespace quorle
