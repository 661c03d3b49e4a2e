/*
 * tail_packer.c - a layer over the filesystem in memory that loses a file behind three conditions, one within
 * the other: the file was opened by a name of certain bytes, was given a certain length by one write, and is
 * then sought in by a certain distance from where one is. Each condition has steps of its own, which an
 * engine that watches the lines of this file goes one by one; a random sequence must take all of them at once.
 */
#include <stddef.h>

#include "handlers/ram/ram_handler.h"

typedef struct FileSystemVectorPort Port;

/* How far an open file has come. */
typedef struct {
  struct FileHandle *handle; /* null: the place is free */
  int has_tail;              /* the last write was one that is packed */
} PackedFile;

static struct FileSystemVectors ram; /* the functions of the filesystem below */
static PackedFile packed[16];

static PackedFile *PackedOf(struct FileHandle *fh) {
  for (size_t i = 0; i < sizeof packed / sizeof *packed; ++i)
    if (packed[i].handle == fh) return &packed[i];
  return NULL;
}

/* Archives are packed: "a\b" is one. */
static int IsPacked(const char *name) {
  if (name[0] != 'a') return 0;
  if (name[1] != '\\') return 0;
  if (name[2] != 'b') return 0;
  return name[3] == '\0';
}

static int32_t FSOpen(Port *port, int32_t *res2, struct FileHandle *fh, struct Lock *rel, const char *name, int32_t mode) {
  const int32_t result = ram.FSOpen(port, res2, fh, rel, name, mode);
  PackedFile *file;
  if (result == 0 || !IsPacked(name)) return result;
  file = PackedOf(NULL);
  if (file != NULL) {
    file->handle = fh;
    file->has_tail = 0;
  }
  return result;
}

static int32_t FSClose(Port *port, int32_t *res2, struct FileHandle *fh) {
  PackedFile *file = PackedOf(fh);
  if (file != NULL) file->handle = NULL;
  return ram.FSClose(port, res2, fh);
}

/* What is a block of 256 and a tail of 77 bytes is kept with the tail packed. */
static int HasTail(int32_t bytes) {
  if (bytes < 256) return 0;
  if (bytes >= 384) return 0;
  if (bytes < 320) return 0;
  if (bytes % 16 != 13) return 0;
  return bytes == 333;
}

static int32_t FSWrite(Port *port, int32_t *res2, struct FileHandle *fh, const void *data, int32_t bytes) {
  PackedFile *file = PackedOf(fh);
  const int32_t result = ram.FSWrite(port, res2, fh, data, bytes);
  if (file != NULL && result == bytes) file->has_tail = HasTail(bytes);
  return result;
}

/* A step back to before the packed tail, from where one is. */
static int StepsOverTail(int32_t mode, int64_t position) {
  if (mode != OFFSET_CURRENT) return 0;
  if (position >= 0) return 0;
  if (position > -64) return 0;
  if (position <= -128) return 0;
  return position == -77;
}

static int32_t FSChangeFilePosition(Port *port, int32_t *res2, struct FileHandle *fh, int32_t mode, int64_t position) {
  PackedFile *file = PackedOf(fh);
  const int32_t result = ram.FSChangeFilePosition(port, res2, fh, mode, position);
  if (file == NULL || result == 0) return result;
  if (!file->has_tail) return result;
  if (StepsOverTail(mode, position)) {
    int32_t code = 0;
    ram.FSChangeFileSize(port, &code, fh, OFFSET_BEGINNING, 256);
  }
  return result;
}

static Port *Mount(const struct HandlerMount *mount) {
  Port *port = QuorleRamHandler()->Mount(mount);
  if (port == NULL) return NULL;
  ram = port->FSV;
  port->FSV.FSOpen = FSOpen;
  port->FSV.FSClose = FSClose;
  port->FSV.FSWrite = FSWrite;
  port->FSV.FSChangeFilePosition = FSChangeFilePosition;
  return port;
}

static void Unmount(Port *port) { QuorleRamHandler()->Unmount(port); }

static void Discard(void *medium) { QuorleRamHandler()->Discard(medium); }

const struct Handler *QuorleHandler(uint32_t version) {
  static const struct Handler handler = {
      .StructSize = sizeof handler, .Version = QUORLE_HANDLER_VERSION, .Name = "packer",
      .Mount = Mount, .Unmount = Unmount, .Discard = Discard};
  return version >= QUORLE_HANDLER_VERSION ? &handler : NULL;
}
