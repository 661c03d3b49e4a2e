/*
 * tail_packer.c - a layer over the filesystem in memory that keeps the tail of a file packed, and loses what
 * a file grows by behind three conditions, one within the other: the last two writes were a block with its sum
 * and a tail; then somebody steps back over that tail, from the end; and then the file is made longer, from
 * there. Nothing else may come between. Each condition has steps, and an engine that watches the lines of this file goes
 * them one by one; a sequence of random calls must take all of them at once.
 */
#include <stddef.h>

#include "handlers/ram/ram_handler.h"

typedef struct FileSystemVectorPort Port;

enum { TAIL = 512, BLOCK_WITH_SUM = 513 };

static struct FileSystemVectors ram; /* the functions of the filesystem below */

/* The file that was written last, and how far it has come since. */
static struct {
  struct FileHandle* handle; /* null: something else came between */
  enum {
    HAS_BLOCK,
    HAS_TAIL,
    STEPS_FROM_END, /* in a seek, as far as it was looked at */
    STEPS_BACK,
    IS_BEFORE_TAIL,
    GROWS_FROM_HERE, /* in a change of the size, the same */
    GROWS,
    GROWS_OVER_TAIL
  } state;
} packed;

static int Is(const struct FileHandle* fh, int state) {
  if (packed.handle != fh) return 0;
  return packed.state == (unsigned)state;
}

static int32_t FSOpen(Port* port, int32_t* res2, struct FileHandle* fh, struct Lock* rel,
                      const char* name, int32_t mode) {
  packed.handle = NULL;
  return ram.FSOpen(port, res2, fh, rel, name, mode);
}

static int32_t FSClose(Port* port, int32_t* res2, struct FileHandle* fh) {
  packed.handle = NULL;
  return ram.FSClose(port, res2, fh);
}

static int32_t FSRead(Port* port, int32_t* res2, struct FileHandle* fh, void* data, int32_t bytes) {
  packed.handle = NULL;
  return ram.FSRead(port, res2, fh, data, bytes);
}

/* A block with its sum behind it, and then a tail. */
static int32_t FSWrite(Port* port, int32_t* res2, struct FileHandle* fh, const void* data,
                       int32_t bytes) {
  const int32_t result = ram.FSWrite(port, res2, fh, data, bytes);
  const int has_block = Is(fh, HAS_BLOCK);
  packed.handle = NULL;
  if (result != bytes) return result;
  if (has_block && bytes == TAIL) {
    packed.handle = fh;
    packed.state = HAS_TAIL;
  }
  if (bytes == BLOCK_WITH_SUM) {
    packed.handle = fh;
    packed.state = HAS_BLOCK;
  }
  return result;
}

/* A step back over the tail, from the end. */
static int32_t FSChangeFilePosition(Port* port, int32_t* res2, struct FileHandle* fh, int32_t mode,
                                    int64_t position) {
  const int32_t result = ram.FSChangeFilePosition(port, res2, fh, mode, position);
  const int has_tail = Is(fh, HAS_TAIL);
  packed.handle = NULL;
  if (result == 0 || !has_tail) return result;
  if (mode != OFFSET_END) return result;
  packed.state = STEPS_FROM_END;
  if (position >= 0) return result;
  packed.state = STEPS_BACK;
  if (position != -TAIL) return result;
  packed.handle = fh;
  packed.state = IS_BEFORE_TAIL;
  return result;
}

/* Growth from before the tail by more than the tail: that is taken for what was packed. */
static int32_t FSChangeFileSize(Port* port, int32_t* res2, struct FileHandle* fh, int32_t mode,
                                int64_t position) {
  const int32_t result = ram.FSChangeFileSize(port, res2, fh, mode, position);
  const int is_before_tail = Is(fh, IS_BEFORE_TAIL);
  packed.handle = NULL;
  if (result == 0 || !is_before_tail) return result;
  if (mode != OFFSET_CURRENT) return result;
  packed.state = GROWS_FROM_HERE;
  if (position <= 0) return result;
  packed.state = GROWS;
  if (position != TAIL + 1) return result;
  packed.state = GROWS_OVER_TAIL;
  ram.FSChangeFileSize(port, res2, fh, mode, TAIL);
  return result;
}

static Port* Mount(const struct HandlerMount* mount) {
  Port* port = QuorleRamHandler()->Mount(mount);
  if (port == NULL) return NULL;
  ram = port->FSV;
  port->FSV.FSOpen = FSOpen;
  port->FSV.FSClose = FSClose;
  port->FSV.FSRead = FSRead;
  port->FSV.FSWrite = FSWrite;
  port->FSV.FSChangeFilePosition = FSChangeFilePosition;
  port->FSV.FSChangeFileSize = FSChangeFileSize;
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
