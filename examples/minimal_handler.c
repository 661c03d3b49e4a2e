/*
 * minimal_handler.c - a small filesystem that keeps its files in memory.
 *
 *   cc -shared -fPIC $(pkg-config --cflags quorle) minimal_handler.c -o minimal_handler.so
 *   quorle --mount DH0=plugin:./minimal_handler.so DH0:
 *
 * It reads and writes, has directories, dates and protection bits. It is not finished, and some of it is
 * wrong: docs/handler-authors.md goes through what the tester says and how it is fixed.
 */
#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "quorle/handler.h"

typedef struct FileSystemVectorPort Port;

/* A file or a directory. The children of a directory are a list. */
typedef struct Node {
  char name[256];
  int is_directory;
  struct Node *parent, *next, *children;
  char *data;
  int64_t size;
  struct DateStamp date;
  uint32_t protection;
  uint64_t id;
} Node;

/* An open file: what fh_Arg2 of its handle leads to. */
typedef struct {
  Node *node;
  int64_t position;
} OpenFile;

/* The volume: what FSPrivate of the table leads to. */
typedef struct {
  const struct HandlerServices *dos;
  Node root;
  Node *deleted; /* freed in the end: there may be locks that lead to them */
  uint64_t last_id;
  uint32_t in_use; /* locks and open files */
} Volume;

/* ---- The tree ------------------------------------------------------------------------------- */

static Volume *VolumeOf(Port *port) { return port->FSV.FSPrivate; }

static Node *NodeOf(Port *port, struct Lock *lock) { return lock ? lock->fl_FSPrivate1 : &VolumeOf(port)->root; }

static int SameName(const char *a, const char *b) {
  while (*a && tolower((unsigned char)*a) == tolower((unsigned char)*b)) ++a, ++b;
  return *a == *b;
}

/* The object `name` in the directory of `rel`, or null with the code. */
static Node *Find(Port *port, int32_t *res2, struct Lock *rel, const char *name) {
  Node *node = NodeOf(port, rel);
  if (*name == '\0') return node;
  for (node = node->children; node; node = node->next)
    if (SameName(node->name, name)) return node;
  *res2 = ERROR_OBJECT_NOT_FOUND;
  return NULL;
}

static void Touch(Port *port, Node *node) {
  const struct HandlerServices *dos = VolumeOf(port)->dos;
  dos->DateStamp(dos, &node->date);
  node->protection &= ~(uint32_t)EXDF_ARCHIVE;
}

static Node *Create(Port *port, int32_t *res2, struct Lock *rel, const char *name, int is_directory) {
  Node *parent = NodeOf(port, rel), *node = calloc(1, sizeof *node);
  if (node == NULL) {
    *res2 = ERROR_NO_FREE_STORE;
    return NULL;
  }
  snprintf(node->name, sizeof node->name, "%s", name);
  node->is_directory = is_directory;
  node->id = ++VolumeOf(port)->last_id;
  node->parent = parent;
  node->next = parent->children;
  parent->children = node;
  Touch(port, node);
  Touch(port, parent);
  return node;
}

static void Unlink(Node *node) {
  Node **place = &node->parent->children;
  while (*place != node) place = &(*place)->next;
  *place = node->next;
}

static void Free(Node *node) {
  while (node->children) {
    Node *child = node->children;
    Unlink(child);
    Free(child);
  }
  free(node->data);
  if (node->parent) free(node); /* the root is a part of the volume */
}

/* ---- Locks ---------------------------------------------------------------------------------- */

static struct Lock *GiveLock(Port *port, int32_t *res2, Node *node, int32_t mode) {
  Volume *volume = VolumeOf(port);
  struct Lock *lock = volume->dos->AllocDosObject(volume->dos, QUORLE_DOS_LOCK, NULL);
  if (lock == NULL) {
    *res2 = ERROR_NO_FREE_STORE;
    return NULL;
  }
  lock->fl_Access = node->is_directory ? SHARED_LOCK : mode;
  lock->fl_FSPrivate1 = node;
  ++volume->in_use;
  return lock;
}

static struct Lock *FSLock(Port *port, int32_t *res2, struct Lock *rel, const char *name, int32_t mode) {
  Node *node = Find(port, res2, rel, name);
  return node ? GiveLock(port, res2, node, mode) : NULL;
}

static int32_t FSUnLock(Port *port, int32_t *res2, struct Lock *lock) {
  Volume *volume = VolumeOf(port);
  (void)res2;
  if (lock == NULL) return -1;
  --volume->in_use;
  volume->dos->FreeDosObject(volume->dos, QUORLE_DOS_LOCK, lock);
  return -1;
}

static struct Lock *FSDupLock(Port *port, int32_t *res2, struct Lock *lock) {
  return GiveLock(port, res2, NodeOf(port, lock), SHARED_LOCK);
}

static struct Lock *FSCreateDir(Port *port, int32_t *res2, struct Lock *rel, const char *name) {
  Node *node = Find(port, res2, rel, name);
  if (node) {
    *res2 = ERROR_OBJECT_EXISTS;
    return NULL;
  }
  *res2 = 0;
  node = Create(port, res2, rel, name, 1);
  return node ? GiveLock(port, res2, node, SHARED_LOCK) : NULL;
}

static struct Lock *FSParentDir(Port *port, int32_t *res2, struct Lock *lock) {
  Node *parent = NodeOf(port, lock)->parent;
  return parent ? GiveLock(port, res2, parent, SHARED_LOCK) : NULL;
}

/* ---- Files ---------------------------------------------------------------------------------- */

static OpenFile *FileOf(struct FileHandle *fh) { return fh->fh_Arg2; }

static int32_t OpenNode(Port *port, int32_t *res2, struct FileHandle *fh, Node *node) {
  OpenFile *file = calloc(1, sizeof *file);
  if (node->is_directory || file == NULL) {
    *res2 = node->is_directory ? ERROR_OBJECT_WRONG_TYPE : ERROR_NO_FREE_STORE;
    free(file);
    return 0;
  }
  file->node = node;
  fh->fh_Arg2 = file;
  ++VolumeOf(port)->in_use;
  return -1;
}

static int32_t FSOpen(Port *port, int32_t *res2, struct FileHandle *fh, struct Lock *rel, const char *name, int32_t mode) {
  Node *node = Find(port, res2, rel, name);
  if (node == NULL && mode != MODE_OLDFILE) {
    *res2 = 0;
    node = Create(port, res2, rel, name, 0);
  }
  if (node == NULL || !OpenNode(port, res2, fh, node)) return 0;
  if (mode == MODE_NEWFILE) {
    node->size = 0;
    Touch(port, node);
  }
  return -1;
}

static int32_t FSClose(Port *port, int32_t *res2, struct FileHandle *fh) {
  (void)res2;
  free(FileOf(fh));
  --VolumeOf(port)->in_use;
  return -1;
}

static int32_t FSRead(Port *port, int32_t *res2, struct FileHandle *fh, void *buffer, int32_t bytes) {
  OpenFile *file = FileOf(fh);
  int64_t left = file->node->size - file->position;
  int32_t count = left < bytes ? (int32_t)left : bytes;
  (void)port, (void)res2;
  if (count <= 0) return 0;
  memcpy(buffer, file->node->data + file->position, (size_t)count);
  file->position += count;
  return count;
}

static int32_t FSWrite(Port *port, int32_t *res2, struct FileHandle *fh, const void *data, int32_t bytes) {
  OpenFile *file = FileOf(fh);
  Node *node = file->node;
  int64_t end = file->position + bytes;
  if (bytes <= 0) return 0;
  if (end > node->size) {
    char *larger = realloc(node->data, (size_t)end);
    if (larger == NULL) {
      *res2 = ERROR_DISK_FULL;
      return -1;
    }
    node->data = larger;
    node->size = end;
  }
  memcpy(node->data + file->position, data, (size_t)bytes);
  file->position = end;
  Touch(port, node);
  return bytes;
}

static int32_t FSChangeFilePosition(Port *port, int32_t *res2, struct FileHandle *fh, int32_t mode, int64_t position) {
  OpenFile *file = FileOf(fh);
  int64_t size = file->node->size;
  int64_t start = mode == OFFSET_CURRENT ? file->position : mode == OFFSET_END ? size : 0;
  (void)port;
  if (position < -start || position > size - start) {
    *res2 = ERROR_SEEK_ERROR;
    return 0;
  }
  file->position = start + position;
  return -1;
}

static int64_t FSGetFilePosition(Port *port, int32_t *res2, struct FileHandle *fh) {
  (void)port, (void)res2;
  return FileOf(fh)->position;
}

static int64_t FSGetFileSize(Port *port, int32_t *res2, struct FileHandle *fh) {
  (void)port, (void)res2;
  return FileOf(fh)->node->size;
}

/* ---- Objects -------------------------------------------------------------------------------- */

static int32_t FSDelete(Port *port, int32_t *res2, struct Lock *rel, const char *name) {
  Node *node = Find(port, res2, rel, name);
  if (node == NULL || node->parent == NULL) return 0;
  Unlink(node);
  Touch(port, node->parent);
  node->next = VolumeOf(port)->deleted;
  VolumeOf(port)->deleted = node;
  return -1;
}

static int32_t FSRename(Port *port, int32_t *res2, struct Lock *source_rel, const char *source,
                        struct Lock *destination_rel, const char *destination) {
  Node *node = Find(port, res2, source_rel, source), *parent = NodeOf(port, destination_rel);
  if (node == NULL || node->parent == NULL) return 0;
  Unlink(node);
  Touch(port, node->parent);
  snprintf(node->name, sizeof node->name, "%s", destination);
  node->parent = parent;
  node->next = parent->children;
  parent->children = node;
  Touch(port, parent);
  return -1;
}

static int32_t FSSetDate(Port *port, int32_t *res2, struct Lock *rel, const char *name, const struct DateStamp *date) {
  Node *node = Find(port, res2, rel, name);
  if (node) node->date = *date;
  return node ? -1 : 0;
}

static int32_t FSSetProtection(Port *port, int32_t *res2, struct Lock *rel, const char *name, uint32_t mask) {
  Node *node = Find(port, res2, rel, name);
  if (node) node->protection = mask;
  return node ? -1 : 0;
}

/* ---- Examination ---------------------------------------------------------------------------- */

static struct ExamineData *Examine(Port *port, int32_t *res2, Node *node) {
  const struct HandlerServices *dos = VolumeOf(port)->dos;
  struct ExamineData *data = dos->AllocDosObject(dos, QUORLE_DOS_EXAMINEDATA, NULL);
  if (data == NULL) {
    *res2 = ERROR_NO_FREE_STORE;
    return NULL;
  }
  data->Type = node->is_directory ? FSO_TYPE_DIRECTORY : FSO_TYPE_FILE;
  data->FileSize = node->is_directory ? -1 : node->size;
  data->Date = node->date;
  data->RefCount = 1;
  data->ObjectID = node->id;
  data->Protection = node->protection;
  snprintf(data->Name, data->NameSize, "%s", node->name);
  return data;
}

static struct ExamineData *FSExamineLock(Port *port, int32_t *res2, struct Lock *lock) {
  return Examine(port, res2, NodeOf(port, lock));
}

static struct ExamineData *FSExamineFile(Port *port, int32_t *res2, struct FileHandle *fh) {
  return Examine(port, res2, FileOf(fh)->node);
}

/* FSPrivate[0] counts the objects that the scan has given. */
static int32_t FSExamineDir(Port *port, int32_t *res2, struct PRIVATE_ExamineDirContext *context) {
  Node *node = NodeOf(port, context->Directory)->children;
  for (intptr_t i = 0; node && i < context->FSPrivate[0]; ++i) node = node->next;
  if (node == NULL) {
    *res2 = ERROR_NO_MORE_ENTRIES;
    return 0;
  }
  ++context->FSPrivate[0];
  context->Entry = Examine(port, res2, node);
  return context->Entry ? -1 : 0;
}

/* ---- The volume ----------------------------------------------------------------------------- */

static int32_t FSInfoData(Port *port, int32_t *res2, struct InfoData *info) {
  (void)res2;
  memset(info, 0, sizeof *info);
  info->id_DiskState = ID_DISKSTATE_VALIDATED;
  info->id_BytesPerBlock = 512;
  info->id_NumBlocks = 1 << 20;
  info->id_DiskType = 0x444F5309;
  info->id_InUse = VolumeOf(port)->in_use;
  return -1;
}

static Port *Mount(const struct HandlerMount *mount) {
  const struct HandlerServices *dos = mount->Dos;
  const char *name = "Minimal";
  Volume *volume = calloc(1, sizeof *volume);
  if (volume == NULL) return NULL;
  for (uint32_t i = 0; i < mount->KeyCount; ++i)
    if (strcmp(mount->Keys[i].Key, "volume") == 0) name = mount->Keys[i].Value;
  struct FileSystemVectors table = {
      .StructSize = sizeof table, .Version = QUORLE_FS_VECTORPORT_VERSION, .FSPrivate = volume,
      .FSLock = FSLock, .FSUnLock = FSUnLock, .FSDupLock = FSDupLock, .FSCreateDir = FSCreateDir,
      .FSParentDir = FSParentDir, .FSOpen = FSOpen, .FSClose = FSClose, .FSRead = FSRead, .FSWrite = FSWrite,
      .FSChangeFilePosition = FSChangeFilePosition, .FSGetFilePosition = FSGetFilePosition,
      .FSGetFileSize = FSGetFileSize, .FSDelete = FSDelete, .FSRename = FSRename, .FSSetDate = FSSetDate,
      .FSSetProtection = FSSetProtection, .FSExamineLock = FSExamineLock, .FSExamineFile = FSExamineFile,
      .FSExamineDir = FSExamineDir, .FSVolumeInfoData = FSInfoData, .FSDeviceInfoData = FSInfoData,
      .End_Marker = -1};
  struct TagItem tags[] = {{QUORLE_ADO_Vectors, (uintptr_t)&table}, {QUORLE_TAG_DONE, 0}};
  Port *port = dos->AllocDosObject(dos, QUORLE_DOS_FSVECTORPORT, tags);
  if (port && dos->SetVolumeName(dos, port, name)) {
    volume->dos = dos;
    volume->root.is_directory = 1;
    volume->root.id = ++volume->last_id;
    snprintf(volume->root.name, sizeof volume->root.name, "%s", name);
    Touch(port, &volume->root);
    return port;
  }
  if (port) snprintf(mount->Problem, mount->ProblemSize, "the volume name %s is taken", name);
  dos->FreeDosObject(dos, QUORLE_DOS_FSVECTORPORT, port);
  free(volume);
  return NULL;
}

static void Unmount(Port *port) {
  Volume *volume = VolumeOf(port);
  while (volume->deleted) {
    Node *node = volume->deleted;
    volume->deleted = node->next;
    Free(node);
  }
  Free(&volume->root);
  volume->dos->FreeDosObject(volume->dos, QUORLE_DOS_FSVECTORPORT, port);
  free(volume);
}

const struct Handler *QuorleHandler(uint32_t version) {
  static const struct Handler handler = {
      .StructSize = sizeof handler, .Version = QUORLE_HANDLER_VERSION, .Name = "minimal", .Mount = Mount, .Unmount = Unmount};
  return version >= QUORLE_HANDLER_VERSION ? &handler : NULL;
}
