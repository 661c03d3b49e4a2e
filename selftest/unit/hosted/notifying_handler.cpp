#include "selftest/unit/hosted/notifying_handler.h"

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "hosted/calls/packet_adapter.h"

namespace quorle {
namespace {

using NotifyingPort = ::FileSystemVectorPort;

struct Notifying {
  const ::HandlerServices* dos = nullptr;
  int times = 1;
  bool late = false;
  bool reports_locks = false;
  bool refuses = false;
  ::FileSystemVectors own{};  ///< all functions, also when dos gets none
  std::vector<::NotifyRequest*> requests;
  ::NotifyRequest* removed = nullptr;

  void Report(const std::string& line) const { dos->Report(dos, line.c_str()); }
};

Notifying& NotifyingOf(NotifyingPort* vp) {
  return *static_cast<Notifying*>(vp->FSV.FSPrivate);
}

std::string NotifyText(const char* text) {
  return text == nullptr ? "-" : text;
}

std::int32_t AddOne(NotifyingPort* vp, std::int32_t* res2, ::NotifyRequest* request) {
  Notifying& handler = NotifyingOf(vp);
  handler.Report("add " + NotifyText(request->nr_Name) + " " + NotifyText(request->nr_FullName) +
                 " " + std::to_string(request->nr_Flags) + " " +
                 std::to_string(request->nr_UserData));
  const bool is_fresh =
      std::all_of(std::begin(request->nr_Reserved), std::end(request->nr_Reserved),
                  [](std::uintptr_t word) { return word == 0; });
  *res2 = !is_fresh || request->nr_Handler != &vp->MP ? ERROR_BAD_NUMBER : ERROR_OBJECT_NOT_FOUND;
  if (*res2 == ERROR_BAD_NUMBER || handler.refuses) return 0;
  *res2 = 0;
  request->nr_Reserved[0] = 77;
  handler.requests.push_back(request);
  if ((request->nr_Flags & NRF_NOTIFY_INITIAL) != 0) handler.dos->Notify(handler.dos, request);
  return -1;
}

std::int32_t RemoveOne(NotifyingPort* vp, std::int32_t* res2, ::NotifyRequest* request) {
  Notifying& handler = NotifyingOf(vp);
  handler.Report("remove " + NotifyText(request->nr_FullName));
  handler.dos->Notify(handler.dos, request);
  std::erase(handler.requests, request);
  handler.removed = request;
  *res2 = ERROR_OBJECT_NOT_FOUND;
  return 0;
}

std::int32_t FlushAndNotify(NotifyingPort* vp, std::int32_t*) {
  const Notifying& handler = NotifyingOf(vp);
  for (::NotifyRequest* const request : handler.requests) {
    for (int i = 0; i < handler.times; ++i) handler.dos->Notify(handler.dos, request);
  }
  if (handler.late) handler.dos->Notify(handler.dos, handler.removed);
  return -1;
}

::FileSystemVectors NotifyingTable() {
  ::FileSystemVectors table{};
  table.StructSize = sizeof table;
  table.Version = QUORLE_FS_VECTORPORT_VERSION;
  table.FSAddNotify = AddOne;
  table.FSRemoveNotify = RemoveOne;
  table.FSFlush = FlushAndNotify;
  table.FSLock = [](NotifyingPort* vp, std::int32_t*, ::Lock*, const char*, std::int32_t mode) {
    const ::HandlerServices* const dos = NotifyingOf(vp).dos;
    auto* const lock = static_cast<::Lock*>(dos->AllocDosObject(dos, QUORLE_DOS_LOCK, nullptr));
    lock->fl_Access = mode;
    return lock;
  };
  table.FSUnLock = [](NotifyingPort* vp, std::int32_t*, ::Lock* lock) -> std::int32_t {
    const Notifying& handler = NotifyingOf(vp);
    if (handler.reports_locks) handler.Report("free lock");
    handler.dos->FreeDosObject(handler.dos, QUORLE_DOS_LOCK, lock);
    return -1;
  };
  table.FSDupLock = [](NotifyingPort* vp, std::int32_t* res2, ::Lock* lock) -> ::Lock* {
    if (lock->fl_Port == &vp->MP) return lock;
    *res2 = ERROR_INVALID_LOCK;
    return nullptr;
  };
  table.FSExamineDir = [](NotifyingPort* vp, std::int32_t*,
                          ::PRIVATE_ExamineDirContext* context) -> std::int32_t {
    const ::HandlerServices* const dos = NotifyingOf(vp).dos;
    context->Entry =
        static_cast<::ExamineData*>(dos->AllocDosObject(dos, QUORLE_DOS_EXAMINEDATA, nullptr));
    return -1;
  };
  table.FSSerialize = [](NotifyingPort*, std::int32_t*) -> std::int32_t { _exit(3); };
  table.End_Marker = -1;
  return table;
}

NotifyingPort* MountNotifying(const ::HandlerMount* mount) {
  auto handler = std::make_unique<Notifying>();
  handler->dos = mount->Dos;
  bool packets = false;
  for (std::uint32_t i = 0; i < mount->KeyCount; ++i) {
    const std::string_view key = mount->Keys[i].Key;
    const char* const value = mount->Keys[i].Value;
    if (key == "times") handler->times = std::atoi(value);
    if (key == "late") handler->late = true;
    if (key == "locks") handler->reports_locks = true;
    if (key == "packets") packets = true;
    if (key == "refuse-after") {
      handler->refuses = access(value, F_OK) == 0;
      std::fclose(std::fopen(value, "w"));
    }
  }
  handler->own = NotifyingTable();
  ::FileSystemVectors table = handler->own;
  if (packets) {
    table = {};
    table.StructSize = sizeof table;
    table.Version = QUORLE_FS_VECTORPORT_VERSION;
  }
  const ::TagItem tags[] = {{QUORLE_ADO_Vectors, reinterpret_cast<std::uintptr_t>(&table)},
                            {QUORLE_TAG_DONE, 0}};
  auto* const port = static_cast<NotifyingPort*>(
      mount->Dos->AllocDosObject(mount->Dos, QUORLE_DOS_FSVECTORPORT, tags));
  port->FSV.FSPrivate = handler.release();
  return port;
}

void UnmountNotifying(NotifyingPort* port) {
  Notifying* const handler = &NotifyingOf(port);
  for (::NotifyRequest* const request : handler->requests) {
    handler->Report("left " + NotifyText(request->nr_FullName));
  }
  handler->dos->FreeDosObject(handler->dos, QUORLE_DOS_FSVECTORPORT, port);
  delete handler;
}

/// Answers by the functions that dos did not get.
void OnNotifyingPacket(NotifyingPort* port, ::DosPacket* packet) {
  NotifyingPort whole = *port;
  whole.FSV = NotifyingOf(port).own;
  whole.FSV.FSPrivate = port->FSV.FSPrivate;
  if (packet->dp_Type == QUORLE_ACTION_ADD_NOTIFY) {
    // The port that dos fills in is the real one.
    packet->dp_Res1 = AddOne(port, &packet->dp_Res2, PointedTo<::NotifyRequest>(packet->dp_Arg1));
  } else if (!AnswerByVector(whole, *packet)) {
    AnswerNotKnown(*packet);
  }
}

}  // namespace

const ::Handler& NotifyingHandler() {
  static const ::Handler handler = {sizeof handler, QUORLE_HANDLER_VERSION, "notifying",
                                    MountNotifying, UnmountNotifying,       OnNotifyingPacket,
                                    nullptr};
  return handler;
}

}  // namespace quorle
