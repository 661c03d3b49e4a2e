/* Plugins that cannot be mounted, each for one reason: REFUSED is the number of the reason. */
#include <stdio.h>

#include "quorle/handler.h"

#if REFUSED == 1 /* exports nothing */

int NotTheFunction(void);
int NotTheFunction(void) { return 0; }

#elif REFUSED == 2 /* wants a newer host */

const struct Handler *QuorleHandler(uint32_t version) {
  (void)version;
  return NULL;
}

#else

static struct FileSystemVectorPort *Mount(const struct HandlerMount *mount) {
#if REFUSED == 7 /* says why not */
  snprintf(mount->Problem, mount->ProblemSize, "no room\nfor %s", mount->DeviceName);
  return NULL;
#else
  /* A table without functions, of a version that is too old for REFUSED 8. */
  struct FileSystemVectors table = {.StructSize = sizeof table, .Version = REFUSED == 8 ? 50 : 53, .End_Marker = -1};
  struct TagItem tags[] = {{QUORLE_ADO_Vectors, (uintptr_t)&table}, {QUORLE_TAG_DONE, 0}};
  struct FileSystemVectorPort *port = mount->Dos->AllocDosObject(mount->Dos, QUORLE_DOS_FSVECTORPORT, tags);
  port->FSV.FSPrivate = (void *)mount->Dos;
  return port;
#endif
}

static void Unmount(struct FileSystemVectorPort *port) {
  const struct HandlerServices *dos = port->FSV.FSPrivate;
  dos->FreeDosObject(dos, QUORLE_DOS_FSVECTORPORT, port);
}

static void OnPacket(struct FileSystemVectorPort *port, struct DosPacket *packet) {
  (void)port;
  packet->dp_Res1 = 0;
  packet->dp_Res2 = ERROR_ACTION_NOT_KNOWN;
}

const struct Handler *QuorleHandler(uint32_t version) {
  static const struct Handler handler = {
      .StructSize = REFUSED == 4 ? 16 : sizeof handler,
      .Version = REFUSED == 3 ? 0 : QUORLE_HANDLER_VERSION,
      .Name = "refused",
      .Mount = REFUSED == 5 ? NULL : Mount,
      .Unmount = Unmount,
      .Packet = REFUSED == 6 ? NULL : OnPacket};
  (void)version;
  return &handler;
}

#endif
