/*
 * tail_packer.c - a layer over the filesystem in memory that packs the tail of a file, and loses a byte behind three
 * conditions, one within the other: the last two writes were a block with its sum and a tail; then somebody steps
 * back over that tail, from the end; and then cuts it off. Nothing else that concerns the data of files may come between.
 * Each condition has steps, and an engine that watches the lines of this file goes them one by one; a sequence
 * of random calls must take all of them at once.
 */
#include <stddef.h>

#include "handlers/ram/ram_handler.h"

typedef struct FileSystemVectorPort Port;

enum { TAIL = 512, BLOCK_WITH_SUM = 513 };

static struct FileSystemVectors ram; /* the functions of the filesystem below */

/* The file that was written last, and how far it has come since. */
static struct {
  const struct FileHandle* handle; /* null: something else came between */
  enum {
    HAS_BLOCK,
    IS_WRITTEN_ON, /* looking at a write behind that */
    HAS_TAIL,
    STEPS_FROM_END, /* looking at a seek */
    STEPS_BACK,
    IS_BEFORE_TAIL,
    IS_CUT, /* looking at a change of the size */
    IS_CUT_SHORT,
    HAS_LOST
  } state;
} packed;

/* Whether this file has come so far. Whatever is done now, what is not the next step is the end of it. */
static int Leave(const struct FileHandle* fh, int state) {
  const int is_there = packed.handle == fh && (int)packed.state == state;
  packed.handle = NULL;
  return is_there;
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
  const int has_block = Leave(fh, HAS_BLOCK);
  if (result != bytes) return result;
  if (bytes == BLOCK_WITH_SUM) {
    packed.handle = fh;
    packed.state = HAS_BLOCK;
    return result;
  }
  if (!has_block) return result;
  packed.state = IS_WRITTEN_ON;
  if (bytes != TAIL) return result;
  packed.handle = fh;
  packed.state = HAS_TAIL;
  return result;
}

/* A step back over the tail, from the end. */
static int32_t FSChangeFilePosition(Port* port, int32_t* res2, struct FileHandle* fh, int32_t mode,
                                    int64_t position) {
  const int32_t result = ram.FSChangeFilePosition(port, res2, fh, mode, position);
  if (!Leave(fh, HAS_TAIL) || result == 0) return result;
  packed.state = STEPS_FROM_END;
  if (mode != OFFSET_END) return result;
  packed.state = STEPS_BACK;
  if (position != -TAIL) return result;
  packed.handle = fh;
  packed.state = IS_BEFORE_TAIL;
  return result;
}

/* The tail is cut off, and the sum with it. */
static int32_t FSChangeFileSize(Port* port, int32_t* res2, struct FileHandle* fh, int32_t mode,
                                int64_t position) {
  const int32_t result = ram.FSChangeFileSize(port, res2, fh, mode, position);
  if (!Leave(fh, IS_BEFORE_TAIL) || result == 0) return result;
  packed.state = IS_CUT;
  if (mode != OFFSET_BEGINNING) return result;
  packed.state = IS_CUT_SHORT;
  if (position != BLOCK_WITH_SUM) return result;
  packed.state = HAS_LOST;
  ram.FSChangeFileSize(port, res2, fh, mode, position - 1);
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
