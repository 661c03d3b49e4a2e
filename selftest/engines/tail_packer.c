/*
 * tail_packer.c - a layer over the filesystem in memory that loses what was written behind three conditions,
 * one within the other: the file was opened by a name of certain bytes; it has got a certain size, by two
 * writes; and somebody seeks in it in a certain mode by a certain distance, and writes. Each condition has steps
 * of its own, which an engine that watches the lines of this file goes one by one; a random sequence must
 * take all of them at once.
 */
#include <stddef.h>

#include "handlers/ram/ram_handler.h"

typedef struct FileSystemVectorPort Port;

static struct FileSystemVectors ram; /* the functions of the filesystem below */

/* The archive that was opened last, and how far it has come. */
static struct {
  struct FileHandle* handle; /* null: it was closed */
  enum { IS_NEW, HAS_BLOCKS, HAS_TAIL, IS_AT_TAIL } state;
} packed;

/* Archives are packed: "a.b" is one. */
static int IsPacked(const char* name) {
  if (name[0] != 'a') return 0;
  if (name[1] != '.') return 0;
  if (name[2] != 'b') return 0;
  return name[3] == '\0';
}

static int32_t FSOpen(Port* port, int32_t* res2, struct FileHandle* fh, struct Lock* rel,
                      const char* name, int32_t mode) {
  const int32_t result = ram.FSOpen(port, res2, fh, rel, name, mode);
  if (result == 0 || !IsPacked(name)) return result;
  packed.handle = fh;
  packed.state = IS_NEW;
  return result;
}

static int32_t FSClose(Port* port, int32_t* res2, struct FileHandle* fh) {
  if (packed.handle == fh) packed.handle = NULL;
  return ram.FSClose(port, res2, fh);
}

/* Blocks with their sum behind them, and then a tail, which is kept packed. */
static void Follow(int32_t bytes) {
  if (packed.state == HAS_BLOCKS && bytes == 512) {
    packed.state = HAS_TAIL;
    return;
  }
  packed.state = IS_NEW;
  if (bytes < 4096) return;
  if (bytes > 4097) return;
  if (bytes == 4097) packed.state = HAS_BLOCKS;
}

static int32_t FSWrite(Port* port, int32_t* res2, struct FileHandle* fh, const void* data,
                       int32_t bytes) {
  const int32_t result = ram.FSWrite(port, res2, fh, data, bytes);
  if (packed.handle != fh || result != bytes) return result;
  if (packed.state == IS_AT_TAIL) {
    /* A byte more than the tail has: that is unpacked over what was just written. */
    int32_t code = 0;
    if (bytes == 513) ram.FSChangeFileSize(port, &code, fh, OFFSET_BEGINNING, 4097 + 512);
  }
  Follow(bytes);
  return result;
}

/* A step back over the tail, from the end. */
static int StepsOverTail(int32_t mode, int64_t position) {
  if (mode != OFFSET_END) return 0;
  if (position > -17) return 0;
  if (position < -512) return 0;
  return position == -512;
}

static int32_t FSChangeFilePosition(Port* port, int32_t* res2, struct FileHandle* fh, int32_t mode,
                                    int64_t position) {
  const int32_t result = ram.FSChangeFilePosition(port, res2, fh, mode, position);
  if (packed.handle != fh || result == 0) return result;
  if (packed.state != HAS_TAIL) return result;
  if (StepsOverTail(mode, position)) packed.state = IS_AT_TAIL;
  return result;
}

static Port* Mount(const struct HandlerMount* mount) {
  Port* port = QuorleRamHandler()->Mount(mount);
  if (port == NULL) return NULL;
  ram = port->FSV;
  port->FSV.FSOpen = FSOpen;
  port->FSV.FSClose = FSClose;
  port->FSV.FSWrite = FSWrite;
  port->FSV.FSChangeFilePosition = FSChangeFilePosition;
  return port;
}

static void Unmount(Port* port) {
  QuorleRamHandler()->Unmount(port);
}

static void Discard(void* medium) {
  QuorleRamHandler()->Discard(medium);
}

const struct Handler* QuorleHandler(uint32_t version) {
  static const struct Handler handler = {.StructSize = sizeof handler,
                                         .Version = QUORLE_HANDLER_VERSION,
                                         .Name = "packer",
                                         .Mount = Mount,
                                         .Unmount = Unmount,
                                         .Discard = Discard};
  return version >= QUORLE_HANDLER_VERSION ? &handler : NULL;
}
